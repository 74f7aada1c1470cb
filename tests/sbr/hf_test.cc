// HF generation, envelope adjustment and the driver, on elements filled by hand.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <numbers>
#include <random>
#include <vector>

#include "dsp/dispatch.h"
#include "dsp/primitives.h"
#include "sbr/frequency_tables.h"
#include "sbr/hf_model.h"
#include "sbr/low_power.h"

namespace orbel {
namespace {

constexpr double kPi = std::numbers::pi;

struct Grid {
  int32_t frameClass, pointer, L_E;
  int32_t t_E[6];
  int32_t freqRes[5];
  int32_t middle;  // the noise floors' border, as an envelope
};

// Each begins where the one before it ends, in a circle.
constexpr Grid kGrids[] = {
    {kFixFix, 0, 1, {0, 16}, {1}, 0},
    {kFixVar, 2, 3, {0, 4, 10, 18}, {1, 0, 1}, 2},
    {kVarVar, 1, 3, {2, 6, 14, 19}, {0, 1, 1}, 2},
    {kVarFix, 3, 3, {3, 5, 7, 16}, {0, 0, 1}, 2},
    {kFixFix, 0, 4, {0, 4, 8, 12, 16}, {0, 0, 0, 0}, 2},
};

// A decoder of one element.
struct Rig {
  explicit Rig(int32_t mode, int32_t elementId = 0) : random(7), sbrMode(mode) {
    dspInit();
    SbrElementInit(element.get());
    element->samplingIndex = 4;
    element->bs_start_freq = 7;
    element->bs_stop_freq = 9;
    element->headerCount = 1;
    element->elementId = elementId;
    EXPECT_EQ(SbrBuildTables(element.get()), 0);
  }

  int32_t Draw(int32_t from, int32_t to) {
    return from + static_cast<int32_t>(random() % static_cast<uint32_t>(to - from + 1));
  }

  void SetGrid(int32_t channel, const Grid& g) {
    SbrGrid& grid = element->grid[channel];
    SbrChannelData& data = element->channelData[channel];
    element->bs_frame_class[channel] = g.frameClass;
    element->bs_pointer[channel] = g.pointer;
    grid.L_E = g.L_E;
    grid.L_Q = g.L_E > 1 ? 2 : 1;
    std::copy_n(g.t_E, 6, grid.t_E);
    std::copy_n(g.freqRes, 5, grid.freqRes);
    grid.t_Q[0] = g.t_E[0];
    grid.t_Q[1] = g.L_E > 1 ? g.t_E[g.middle] : g.t_E[1];
    grid.t_Q[2] = g.t_E[g.L_E];
    for (int32_t l = 0; l < g.L_E; ++l)
      data.envOffset[l + 1] =
          data.envOffset[l] + (g.freqRes[l] != 0 ? element->N_high : element->N_low);
    for (int32_t q = 0; q < 2; ++q) data.noiseOffset[q + 1] = data.noiseOffset[q] + element->N_Q;
  }

  void Fill(int32_t channel, int16_t envelope, int16_t noise) {
    std::fill_n(element->channelData[channel].envValues, 320, envelope);
    std::fill_n(element->channelData[channel].noiseValues, 10, noise);
  }

  // The core of the next frame: noise, or tones at radians per sample.
  std::vector<float> Core(double amplitude, const std::vector<double>& tones = {}) {
    std::vector<float> pcm(2048);
    for (int32_t n = 0; n < 1024; ++n, ++time) {
      double x = tones.empty() ? Draw(-1000, 1000) / 1000.0 : 0;
      for (double w : tones) x += std::cos(w * static_cast<double>(time));
      pcm[static_cast<size_t>(n)] = static_cast<float>(amplitude * x);
    }
    return pcm;
  }

  void Decode(int32_t channel, std::vector<float>* pcm) {
    const SbrFrameContext context = {sbrMode, false, work.get(), nullptr, nullptr};
    SbrFrameDecode(element.get(), channel, &states[static_cast<size_t>(channel)], context,
                   pcm->data());
  }

  // Twice the real path's energies are the complex path's.
  double Energy(int32_t slot, int32_t k) const {
    const double re = work->outReal[0][slot][k];
    const double im = work->outImag[0][slot][k];
    return sbrMode == kSbrReal ? 2 * re * re : re * re + im * im;
  }

  std::mt19937 random;
  int32_t sbrMode;
  int64_t time = 0;
  std::unique_ptr<SbrElement> element = std::make_unique<SbrElement>();
  std::unique_ptr<SbrWork> work = std::make_unique<SbrWork>();
  std::vector<SbrChannel> states = std::vector<SbrChannel>(2);
};

// Every row against the model: all classes, coupling, smoothing, limiter, sinusoids,
// rows that run over.
TEST(Hf, ComplexPathIsTheModel) {
  for (int32_t variant = 0; variant < 8; ++variant) {
    Rig rig(kSbrComplex, 1);
    SbrElement& e = *rig.element;
    e.bs_coupling = variant & 1;
    e.bs_smoothing_mode = variant >> 1 & 1;
    e.bs_interpol_freq = variant >> 2 & 1;
    e.bs_amp_res = variant >> 1 & 1;
    HfModel models[2];
    ModelRows want[2];
    for (int32_t frame = 0; frame < 11; ++frame) {
      e.bs_limiter_gains = frame % 4;
      for (int32_t channel = 0; channel < 2; ++channel) {
        rig.SetGrid(channel, kGrids[(frame + (e.bs_coupling != 0 ? 0 : channel * 4)) % 5]);
        SbrChannelData& data = e.channelData[channel];
        const bool balance = channel == 1 && e.bs_coupling != 0;
        for (int16_t& v : data.envValues)
          v = static_cast<int16_t>(balance ? rig.Draw(8, 16)
                                           : rig.Draw(9, 20) << (1 - e.bs_amp_res));
        for (int16_t& v : data.noiseValues) v = static_cast<int16_t>(rig.Draw(balance ? 9 : 2, 14));
        for (int32_t k = 0; k < e.N_high; ++k)
          data.bs_add_harmonic[k] = rig.Draw(0, 3) == 0 ? 1 : 0;
        for (int32_t& mode : e.bs_invf_mode[channel]) mode = rig.Draw(0, 3);
      }
      for (int32_t channel = 0; channel < 2; ++channel) {
        const SbrElement before = e;
        const SbrChannel& state = rig.states[static_cast<size_t>(channel)];
        const int32_t overrun = e.slotOverrun[channel];
        std::vector<float> pcm = rig.Core(frame % 4 == 3 ? 2 : 9000);
        rig.Decode(channel, &pcm);
        ModelRows& rows = want[channel];
        std::copy_n(rows[kQmfSlots], overrun * kQmfBands, rows[0]);
        models[channel].Run(before, channel, state, rows);
        const int32_t end = 2 * before.grid[channel].t_E[before.grid[channel].L_E];
        for (int32_t slot = 0; slot < end; ++slot) {
          const bool over = slot >= kQmfSlots;
          const float* real = over ? state.overReal[slot - 32] : rig.work->outReal[0][slot];
          const float* imag = over ? state.overImag[slot - 32] : rig.work->outImag[0][slot];
          for (int32_t k = over ? e.kx : 0; k < kQmfBands; ++k) {
            std::complex<double> x;
            if (k < e.kx)
              x = {state.lowReal[slot + 2][k], state.lowImag[slot + 2][k]};
            else if (k < e.kx + e.M)
              x = rows[slot][k];
            ASSERT_NEAR(std::abs(x - std::complex<double>(real[k], imag[k])), 0,
                        1e-3 * std::abs(x) + 0.05)
                << "variant " << variant << " frame " << frame << " channel " << channel << " slot "
                << slot << " band " << k;
          }
        }
      }
      EXPECT_EQ(e.resetFlag, 0);
      EXPECT_EQ(e.prevKx, e.kx);
    }
  }
}

// With little noise, each band has the energy that was sent, whatever the core's was.
TEST(Hf, EnvelopeEnergyIsWhatWasSent) {
  for (int32_t mode : {kSbrComplex, kSbrReal}) {
    for (bool tonal : {false, true}) {
      Rig rig(mode);
      SbrElement& e = *rig.element;
      e.bs_limiter_gains = 3;
      e.bs_interpol_freq = 0;
      rig.SetGrid(0, kGrids[4]);
      rig.Fill(0, 0, 30);
      for (int32_t i = 0; i < 4 * e.N_low; ++i)
        e.channelData[0].envValues[i] = static_cast<int16_t>(8 + i * 7 % 11);
      std::vector<double> tones;
      for (int32_t k = 0; tonal && k < 32; ++k) tones.push_back((k + 0.3 + k % 5 * 0.1) * kPi / 32);
      double sent = 0, got = 0;
      for (int32_t frame = 0; frame < 6; ++frame) {
        std::vector<float> pcm = rig.Core(tonal ? 300 : 3000, tones);
        rig.Decode(0, &pcm);
        for (int32_t l = 0; frame > 1 && l < 4; ++l) {
          for (int32_t b = 0; b < e.N_low; ++b) {
            double energy = 0;
            for (int32_t slot = 8 * l; slot < 8 * l + 8; ++slot)
              for (int32_t k = e.f_TableLow[b]; k < e.f_TableLow[b + 1]; ++k)
                energy += rig.Energy(slot, k) / 8;
            const double want = std::pow(2.0, 8 + (l * e.N_low + b) * 7 % 11) *
                                (e.f_TableLow[b + 1] - e.f_TableLow[b]);
            sent += want;
            got += energy;
            if (mode == kSbrReal) continue;  // its groups of bands share their energy
            EXPECT_NEAR(10 * std::log10(energy / want), 0, 0.05) << tonal << l << " " << b;
          }
        }
      }
      EXPECT_NEAR(10 * std::log10(got / sent), 0, 0.05) << "mode " << mode << " tonal " << tonal;
    }
  }
}

// On the same material, both paths give the same energies; filtering is the same too.
TEST(Hf, RealPathHasTheComplexEnergies) {
  for (bool tonal : {false, true}) {
    double energy[2][kQmfBands] = {};
    int32_t kx = 0, end = 0;
    for (int32_t real : {0, 1}) {
      Rig rig(real != 0 ? kSbrReal : kSbrComplex);
      SbrElement& e = *rig.element;
      for (int32_t& mode : e.bs_invf_mode[0]) mode = 2;
      kx = e.kx;
      end = e.kx + e.M;
      for (int32_t frame = 0; frame < 40; ++frame) {
        rig.SetGrid(0, kGrids[frame % 5]);
        rig.Fill(0, 24, 9);
        std::vector<float> pcm =
            rig.Core(5000, tonal ? std::vector{0.51, 1.13, 1.42} : std::vector<double>{});
        rig.Decode(0, &pcm);
        for (int32_t slot = 0; frame > 1 && slot < kQmfSlots; ++slot)
          for (int32_t k = 0; k < kQmfBands; ++k) energy[real][k] += rig.Energy(slot, k);
      }
    }
    double all[2] = {};
    for (int32_t k = kx; k < end; ++k) {
      all[0] += energy[0][k];
      all[1] += energy[1][k];
      if (tonal) continue;
      EXPECT_NEAR(10 * std::log10(energy[1][k] / energy[0][k]), 0, 0.8) << k;
    }
    EXPECT_NEAR(10 * std::log10(all[1] / all[0]), 0, 0.5) << "tonal " << tonal;
    for (int32_t k = end; k < kQmfBands; ++k) EXPECT_EQ(energy[0][k] + energy[1][k], 0);
  }
}

// A sinusoid on a silent core comes out as one pure tone of the level that was sent, in
// the middle of its band; in the real path the leak into the bands beside it does that.
TEST(Hf, SinusoidsArePure) {
  for (int32_t mode : {kSbrComplex, kSbrReal}) {
    for (int32_t sine : {0, 3, 6}) {
      Rig rig(mode);
      SbrElement& e = *rig.element;
      rig.Fill(0, 16, 60);
      rig.SetGrid(0, kGrids[0]);
      e.bs_amp_res = 0;
      e.channelData[0].bs_add_harmonic[sine] = 1;
      const int32_t band = (e.f_TableHigh[sine] + e.f_TableHigh[sine + 1]) / 2;
      double power = 0;
      std::complex<double> tone;
      int32_t samples = 0;
      for (int32_t frame = 0; frame < 8; ++frame) {
        std::vector<float> pcm(2048);
        rig.Decode(0, &pcm);
        for (int32_t n = 0; frame > 1 && n < 2048; ++n, ++samples) {
          const double x = pcm[static_cast<size_t>(n)];
          power += x * x;
          tone += x * std::polar(1.0, (band + 0.5) * kPi / 64 * samples);
        }
      }
      const double inTone = 2 * std::norm(tone) / samples;
      EXPECT_GT(10 * std::log10(inTone / (power - inTone)), 60) << mode << " band " << band;
      EXPECT_GT(power, 0);
    }
  }
}

TEST(Hf, AliasingIsFoundAtBandBorders) {
  dspInit();
  for (int32_t border = 4; border < 20; ++border) {
    for (double offset : {-0.06, 0.06}) {
      auto analysis = std::make_unique<QmfAnalysis>();
      auto rows = std::make_unique<QmfRow[]>(kSbrRows);
      std::vector<float> pcm(1024);
      for (int64_t n = -1024; n < 1024; ++n) {
        pcm[static_cast<size_t>(n & 1023)] = static_cast<float>(
            1000 * std::cos((border + offset) * kPi / 32 * static_cast<double>(n)));
        if ((n & 1023) != 1023) continue;
        for (int r = 0; r < 8; ++r) std::memcpy(rows[r], rows[32 + r], sizeof(QmfRow));
        SbrAnalyse(analysis.get(), pcm.data(), &rows[8], nullptr);
      }
      alignas(16) float alpha[3 * kQmfBands], degree[32];
      dspSbrPredict_32f(rows[0], 32, alpha);
      alpha[2 * kQmfBands] = 0;
      SbrAliasingDegree(alpha + 2 * kQmfBands, 32, degree);
      EXPECT_EQ(degree[border], 1) << border << " " << offset;
    }
  }
}

// Groups end where the degree is 0 and at sinusoids; within a group energy stays, and
// at full degree gains are the same.
TEST(Hf, AliasingReductionKeepsTheEnergyOfAGroup) {
  const float degree[8] = {0, 1, 1, 0, 0, 1, 0.5F, 0};
  const float energy[8] = {4, 1, 100, 7, 9, 3, 2, 11};
  float sine[8] = {};
  const float before[8] = {1, 50, 0.5F, 3, 8, 2, 5, 6};
  for (bool withSine : {false, true}) {
    sine[4] = withSine ? 1.0F : 0.0F;
    float gain[8];
    std::copy_n(before, 8, gain);
    SbrReduceAliasing(degree, sine, energy, 8, gain);
    const auto sums = [&](int from, int to) {
      double was = 0, is = 0;
      for (int k = from; k < to; ++k) was += energy[k] * before[k], is += energy[k] * gain[k];
      return is / was;
    };
    EXPECT_NEAR(sums(0, 3), 1, 1e-5);
    EXPECT_NEAR(gain[0] / gain[2], 1, 1e-5);
    EXPECT_EQ(gain[3], 3);
    EXPECT_NEAR(sums(withSine ? 5 : 4, 7), 1, 1e-5);
    EXPECT_EQ(gain[4] == before[4], withSine);
    EXPECT_NE(gain[5], before[5]);
    EXPECT_EQ(gain[7], 6);
  }
}

// Borders that fall, pointers outside, wild values, tables and cores: output stays
// finite.
TEST(Hf, SurvivesAnything) {
  for (int32_t mode : {kSbrComplex, kSbrReal}) {
    Rig rig(mode, 1);
    SbrElement& e = *rig.element;
    for (int32_t frame = 0; frame < 400; ++frame) {
      for (int32_t channel = 0; channel < 2; ++channel) {
        Grid g = {rig.Draw(0, 3), rig.Draw(0, 7), rig.Draw(1, 5), {}, {}, 0};
        for (int32_t& border : g.t_E) border = rig.Draw(-9, 19);
        for (int32_t& high : g.freqRes) high = rig.Draw(0, 1);
        g.middle = rig.Draw(0, 5);
        rig.SetGrid(channel, g);
        SbrChannelData& data = e.channelData[channel];
        for (int16_t& v : data.envValues)
          v = static_cast<int16_t>(rig.Draw(-32768, 32767) >> rig.Draw(0, 14));
        for (int16_t& v : data.noiseValues)
          v = static_cast<int16_t>(rig.Draw(-32768, 32767) >> rig.Draw(0, 14));
        for (int32_t k = 0; k < e.N_high; ++k) data.bs_add_harmonic[k] = rig.Draw(0, 1);
        for (int32_t& invf : e.bs_invf_mode[channel]) invf = rig.Draw(0, 3);
      }
      e.bs_coupling = rig.Draw(0, 1);
      e.bs_limiter_gains = rig.Draw(0, 3);
      e.bs_smoothing_mode = rig.Draw(0, 1);
      if (frame % 20 == 19) {
        e.bs_start_freq = rig.Draw(0, 15);
        e.bs_stop_freq = rig.Draw(0, 13);
        e.bs_xover_band = rig.Draw(0, 4);
        e.sbrError = SbrBuildTables(&e);
        e.resetFlag = 1;
      }
      for (int32_t channel = 0; channel < 2; ++channel) {
        std::vector<float> pcm = rig.Core(rig.Draw(0, 2) * 1e4);
        if (frame % 7 == 0) pcm[500] = std::numeric_limits<float>::quiet_NaN();
        if (frame % 7 == 1) pcm[501] = -std::numeric_limits<float>::infinity();
        rig.Decode(channel, &pcm);
        for (float x : pcm) ASSERT_TRUE(std::isfinite(x)) << mode << " " << frame;
      }
    }
  }
}

// What ran over keeps the borders of its own frame when new tables come.
TEST(Hf, OldBordersHoldWhereAnEnvelopeRanOver) {
  for (int32_t xover : {0, 3}) {
    Rig rig(kSbrComplex);
    SbrElement& e = *rig.element;
    e.bs_xover_band = 3 - xover;
    ASSERT_EQ(SbrBuildTables(&e), 0);
    rig.SetGrid(0, kGrids[1]);
    rig.Fill(0, 12, 9);
    std::vector<float> pcm = rig.Core(9000);
    rig.Decode(0, &pcm);
    const SbrChannel before = rig.states[0];
    e.bs_xover_band = xover;
    ASSERT_EQ(SbrBuildTables(&e), 0);
    e.resetFlag = 1;
    const int32_t kx[2] = {e.prevKx, e.kx};
    ASSERT_NE(kx[0], kx[1]);
    rig.SetGrid(0, kGrids[2]);
    pcm = rig.Core(9000);
    rig.Decode(0, &pcm);
    for (int32_t slot = 0; slot < 8; ++slot) {
      for (int32_t k = 0; k < kQmfBands; ++k) {
        const float got = rig.work->outReal[0][slot][k];
        const bool over = slot < 4;
        if (k < kx[over ? 0 : 1]) {
          ASSERT_EQ(got, rig.states[0].lowReal[slot + 2][k]) << slot << " " << k;
        } else if (over) {
          ASSERT_EQ(got, before.overReal[slot][k]) << slot << " " << k;
        } else {
          ASSERT_EQ(got != 0, k < e.kx + e.M) << slot << " " << k;
        }
      }
    }
  }
}

// Without usable data the core goes through alone, and what ran over is dropped.
TEST(Hf, PassesTheCoreWithoutData) {
  for (int32_t mode : {kSbrComplex, kSbrReal}) {
    Rig rig(mode);
    SbrElement& e = *rig.element;
    rig.SetGrid(0, kGrids[1]);
    rig.Fill(0, 30, 9);
    std::vector<float> pcm = rig.Core(9000);
    rig.Decode(0, &pcm);
    EXPECT_EQ(e.slotOverrun[0], 4);
    e.sbrError = kSbrBadStream;
    pcm = rig.Core(9000);
    rig.Decode(0, &pcm);
    for (int32_t slot = 0; slot < kQmfSlots; ++slot) {
      for (int32_t k = 0; k < kQmfBands; ++k) {
        const float want = k < 32 ? rig.states[0].lowReal[slot + 2][k] : 0.0F;
        ASSERT_EQ(rig.work->outReal[0][slot][k], want) << slot << " " << k;
      }
    }
    EXPECT_EQ(e.slotOverrun[0], 0);
  }
}

}  // namespace
}  // namespace orbel
