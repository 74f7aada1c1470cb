// The QMF banks against the sums that define them, and against each other.
#include "sbr/qmf.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <memory>
#include <numbers>
#include <random>
#include <vector>

#include "dsp/primitives.h"
#include "dsp/qmf_tables.h"

namespace orbel {
namespace {

using Value = std::complex<double>;

constexpr double kPi = std::numbers::pi;
constexpr float kGuard = 77;
constexpr int kFrames = 2;
constexpr int kRows = kFrames * kQmfSlots;

struct Bank {
  bool isComplex;
  int bands;  // of the synthesis
  int used;
};
constexpr Bank kBanks[] = {{true, 64, 64},  {true, 64, 41},  {true, 32, 32},
                           {false, 64, 64}, {false, 64, 41}, {false, 32, 32}};

struct Rows {
  QmfRow real[kRows];
  QmfRow imag[kRows];
};

struct States {
  QmfAnalysis analysis;
  QmfSynthesis synthesis;
};

// The real banks are the cosines of other phases.
Value Turn(Bank bank, int bands, int k, double complexPhase, double realPhase) {
  if (!bank.isComplex) return std::cos(kPi * (k + 0.5) * realPhase / (2 * bands));
  return std::polar(1.0, kPi * (k + 0.5) * complexPhase / (2 * bands));
}

std::vector<float> Noise(size_t count, uint32_t seed) {
  std::mt19937 random(seed);
  std::vector<float> values(count);
  for (float& value : values)
    value = static_cast<float>(static_cast<int>(random() % 65536) - 32768);
  return values;
}

struct Difference {
  double most = 0;
  double error = 0;
  void Add(Value want, Value got) {
    most = std::max(most, std::abs(want));
    error = std::max(error, std::abs(want - got));
  }
  bool IsSmall() const { return error < 1e-6 * most; }
};

void Analyse(Bank bank, QmfAnalysis* state, const float* core, Rows* rows, int first) {
  SbrAnalyse(state, core, rows->real + first, bank.isComplex ? rows->imag + first : nullptr);
}

void Synthesise(Bank bank, QmfSynthesis* state, const Rows& rows, int first, float* pcm) {
  SbrSynthesise(state, rows.real + first, bank.isComplex ? rows.imag + first : nullptr, bank.used,
                bank.bands == 32, pcm);
}

TEST(QmfWindow, HasTheStandardsSymmetryAndEnergy) {
  double energy = 0;
  for (int n = 0; n < 640; ++n) {
    energy += kQmfWindow[n] * kQmfWindow[n];
    const int mirror = (640 - n) % 640;
    const double sign = n != 0 && (n / 128 + mirror / 128) % 2 != 0 ? -1 : 1;
    EXPECT_EQ(kQmfWindow[n], sign * kQmfWindow[mirror]) << n;
  }
  EXPECT_NEAR(energy, 64, 1e-9);
}

TEST(Qmf, AnalysisEqualsTheDirectSum) {
  for (Bank bank : {kBanks[0], kBanks[3]}) {
    const std::vector<float> core = Noise(kFrames * 1024, 1);
    const auto states = std::make_unique<States>();
    const auto rows = std::make_unique<Rows>();
    for (QmfRow* part : {rows->real, rows->imag}) std::fill_n(part[0], kRows * kQmfBands, kGuard);
    for (int frame = 0; frame < kFrames; ++frame)
      Analyse(bank, &states->analysis, &core[size_t(1024 * frame)], rows.get(), frame * kQmfSlots);
    Difference difference;
    for (int slot = 0; slot < kRows; ++slot) {
      double u[64] = {};
      for (int n = 0; n < std::min(320, 32 * slot + 32); ++n)
        u[n % 64] += double{core[size_t(32 * slot + 31 - n)]} * kQmfWindow[2 * n];
      for (int k = 0; k < 32; ++k) {
        Value want = 0;
        for (int n = 0; n < 64; ++n)
          want += u[n] * Turn(bank, 32, k, 2 * n - 0.5, 2 * n - 96) * 2.0 / 8.0;
        const float imag = bank.isComplex ? rows->imag[slot][k] : 0.0F;
        difference.Add(want, Value(rows->real[slot][k], imag));
        ASSERT_EQ(rows->real[slot][k + 32], kGuard);
        ASSERT_EQ(rows->imag[slot][bank.isComplex ? k + 32 : k], kGuard);
      }
    }
    EXPECT_TRUE(difference.IsSmall()) << bank.isComplex << " " << difference.error;
  }
}

TEST(Qmf, SynthesisEqualsTheDirectSum) {
  for (Bank bank : kBanks) {
    const int bands = bank.bands;
    const auto states = std::make_unique<States>();
    const auto rows = std::make_unique<Rows>();
    uint32_t seed = 2;
    for (QmfRow* part : {rows->real, rows->imag}) {
      const std::vector<float> noise = Noise(kRows * kQmfBands, seed++);
      std::copy(noise.begin(), noise.end(), part[0]);
      for (int slot = 0; slot < kRows; ++slot)
        std::fill(part[slot] + bank.used, part[slot] + kQmfBands, 0.0F);
    }
    std::vector<float> pcm(size_t(kRows * bands) + 1, kGuard);
    for (int frame = 0; frame < kFrames; ++frame) {
      const int first = frame * kQmfSlots;
      Synthesise(bank, &states->synthesis, *rows, first, &pcm[size_t(first * bands)]);
    }
    EXPECT_EQ(pcm.back(), kGuard);
    double v[kRows][128] = {};
    Difference difference;
    for (int slot = 0; slot < kRows; ++slot) {
      for (int n = 0; n < 2 * bands; ++n) {
        const double phase = bands == 64 ? 2 * n - 255 : 2 * n - 127.5;
        for (int k = 0; k < bands; ++k) {
          const Value x(rows->real[slot][k], bank.isComplex ? rows->imag[slot][k] : 0.0F);
          const double scale = bank.isComplex ? 8.0 / 64 : 8.0 / 32;
          v[slot][n] += scale * (x * Turn(bank, bands, k, phase, 2 * n - bands)).real();
        }
      }
      for (int m = 0; m < bands; ++m) {
        double want = 0;
        for (int back = 0; back < std::min(10, slot + 1); ++back)
          want +=
              v[slot - back][m + back % 2 * bands] * kQmfWindow[(back * bands + m) * (64 / bands)];
        difference.Add(want, double{pcm[size_t(slot * bands + m)]});
      }
    }
    EXPECT_TRUE(difference.IsSmall()) << bank.isComplex << bands << " " << difference.error;
  }
}

// Tones up to nine tenths of the band, whose samples are known at any time and rate,
// come out 289 core samples late, at gain 1 and as well as the window can.
TEST(Qmf, SynthesisUndoesAnalysis) {
  std::mt19937 random(3);
  std::vector<Value> tones;  // frequency, phase
  for (int i = 0; i < 60; ++i) {
    const double frequency = double(random()) * 0x1p-32 * 0.9 * kPi;
    tones.emplace_back(frequency, double(random()));
  }
  const auto signal = [&tones](double time) {
    double sum = 0;
    for (Value tone : tones) sum += 1000 * std::cos(tone.real() * time + tone.imag());
    return sum;
  };
  std::vector<float> core;
  for (int i = 0; i < 4 * 1024; ++i) core.push_back(static_cast<float>(signal(i)));
  for (Bank bank : kBanks) {
    const auto states = std::make_unique<States>();
    const auto rows = std::make_unique<Rows>();
    double energy = 0;
    double noise = 0;
    for (int start = 0; start < 4 * 1024; start += 1024) {
      std::vector<float> pcm(size_t(kQmfSlots * bank.bands));
      Analyse(bank, &states->analysis, &core[size_t(start)], rows.get(), 0);
      Synthesise(bank, &states->synthesis, *rows, 0, pcm.data());
      if (start == 0) continue;
      for (size_t i = 0; i < pcm.size(); ++i) {
        const double want = signal(start + double(i) * 32 / bank.bands - 289);
        energy += want * want;
        noise += (want - double{pcm[i]}) * (want - double{pcm[i]});
      }
    }
    EXPECT_GT(10 * std::log10(energy / noise), 58.5) << bank.isComplex << " " << bank.bands;
  }
}

TEST(Qmf, PrimitivesRefuseWhatTheyCannotDo) {
  std::vector<float> x(4096);
  for (int32_t bands : {INT32_MIN, 0, 33, 128})
    EXPECT_EQ(dspQmfSynthesis_32f(&x[0], &x[0], 64, bands, &x[0], &x[0]), kDspBadLength);
  EXPECT_EQ(dspQmfSynthesis_32f(&x[0], &x[0], 64, 64, nullptr, &x[0]), kDspNullPointer);
  EXPECT_EQ(dspQmfAnalysis_32f(nullptr, &x[0], &x[0], &x[0]), kDspNullPointer);
}

}  // namespace
}  // namespace orbel
