// Parametric stereo: the parser against a writer that sends chosen indices, the signal
// path against what its filters and matrices are for and against direct sums.
#include "sbr/ps.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstring>
#include <memory>
#include <numbers>
#include <random>
#include <vector>

#include "sbr/ps_huffman_tables.h"
#include "sbr/ps_hybrid.h"
#include "sbr/ps_mix.h"
#include "sbr/ps_parameters.h"
#include "sbr/ps_state.h"
#include "support/bit_writer.h"

namespace orbel {
namespace {

using Value = std::complex<double>;
constexpr double kPi = std::numbers::pi;

std::unique_ptr<PsState> MakeState(int32_t level) {
  auto ps = std::make_unique<PsState>();
  PsInit(ps.get());
  PsSetLevel(ps.get(), level);
  return ps;
}

int32_t Parse(PsState* ps, const BitWriter& bits, int32_t* bitsRead) {
  const auto data = bits.Exact(bits.bytes.size());
  BitReader reader;
  BitReaderInit(&reader, data.get(), bits.bytes.size());
  const int32_t status = PsDataParse(&reader, ps, bitsRead);
  EXPECT_EQ(GetBitPosition(reader), static_cast<uint32_t>(*bitsRead));
  return status;
}

// Lays down ps_data() for chosen indices and keeps what a decoder has to know by then.
class Writer {
 public:
  PsHeader header = {};
  PsParameters last = {20, 20, 11, {}, {}, {}, {}};
  PsFrame sent = {};
  BitWriter bits;

  explicit Writer(uint32_t seed) : random_(seed) {}

  int32_t Draw(int32_t below) { return static_cast<int32_t>(random_() % uint32_t(below)); }

  // `withHeader` draws one; `phases` sends phases in an extension, mostly with an unknown one
  // behind them that looks like others.
  void Data(bool withHeader, bool phases) {
    bits = {};
    sent = {};
    bits.Put(withHeader ? 1 : 0, 1);
    if (withHeader) {
      header = {1, Draw(6), 1, Draw(6), phases || Draw(2) != 0 ? 1 : 0};
      for (const int32_t mode : {header.iid_mode, header.icc_mode}) {
        bits.Put(1, 1);
        bits.Put(static_cast<uint32_t>(mode), 3);
      }
      bits.Put(static_cast<uint32_t>(header.enable_ext), 1);
    }
    const int32_t kind = Draw(2);
    const int32_t code = Draw(4);
    constexpr int32_t kCounts[2][4] = {{0, 1, 2, 4}, {1, 2, 3, 4}};
    sent.num_env = kCounts[kind][code];
    bits.Put(static_cast<uint32_t>(4 * kind + code), 3);
    for (int32_t e = 0; e < sent.num_env; ++e) {
      sent.border[e] = kind != 0 ? Draw(32) : 32 * (e + 1) / sent.num_env - 1;
      if (kind != 0) bits.Put(static_cast<uint32_t>(sent.border[e]), 5);
    }
    const int32_t iidCount = PsBandCount(header.iid_mode);
    const int32_t iccCount = PsBandCount(header.icc_mode);
    PsParameters before;
    PsMapParameters(last, iidCount, iccCount, &before);
    const bool isFine = header.iid_mode >= 3;
    const int32_t largest = isFine ? 15 : 7;
    for (int32_t e = 0; e < sent.num_env; ++e)
      sent.envelope[e] = {iidCount, iccCount, PsPhaseCount(iidCount), {}, {}, {}, {}};
    for (int32_t e = 0; e < sent.num_env; ++e)
      Indices(isFine ? 2 : 0, -largest, largest, iidCount, e == 0 ? before : sent.envelope[e - 1],
              &PsParameters::iid, &sent.envelope[e]);
    for (int32_t e = 0; e < sent.num_env; ++e)
      Indices(4, 0, 7, iccCount, e == 0 ? before : sent.envelope[e - 1], &PsParameters::icc,
              &sent.envelope[e]);
    if (header.enable_ext != 0) Extension(phases, before);
    if (sent.num_env != 0) last = sent.envelope[sent.num_env - 1];
  }

 private:
  void Code(int32_t book, int32_t value) {
    const PsHuffmanBook& codes = kPsHuffmanBooks[book];
    const PsHuffmanCode& code = codes.codes[value + codes.offset];
    bits.Put(code.word, code.length);
  }

  void Indices(int32_t book, int32_t least, int32_t most, int32_t count, const PsParameters& before,
               PsIndices PsParameters::*kind, PsParameters* now) {
    // No difference leads from the ends of the fine grid to those of the other.
    const auto& old = (before.*kind).of;
    const bool fits = *std::max_element(old, old + kPsBands) <= most &&
                      *std::min_element(old, old + kPsBands) >= least;
    const int32_t dt = fits ? Draw(2) : 0;
    bits.Put(static_cast<uint32_t>(dt), 1);
    for (int32_t b = 0; b < count; ++b) {
      const int32_t index = least + Draw(most - least + 1);
      const int32_t from = dt != 0 ? (before.*kind).of[b] : b != 0 ? (now->*kind).of[b - 1] : 0;
      (now->*kind).of[b] = static_cast<int8_t>(index);
      Code(book + dt, book >= 6 ? (index - from) & 7 : index - from);
    }
  }

  // Its size takes the escape when it must; bits up to the next byte are ones.
  void Extension(bool phases, const PsParameters& before) {
    const BitWriter outer = bits;
    bits = {};
    if (phases) {
      bits.Put(1, 3);  // id 0 and enable_ipdopd
      sent.enable_ipdopd = 1;
      for (int32_t e = 0; e < sent.num_env; ++e) {
        const PsParameters& previous = e == 0 ? before : sent.envelope[e - 1];
        const int32_t count = sent.envelope[e].phaseCount;
        Indices(6, 0, 7, count, previous, &PsParameters::ipd, &sent.envelope[e]);
        Indices(8, 0, 7, count, previous, &PsParameters::opd, &sent.envelope[e]);
      }
      bits.Put(0, 1);
      if (sent.num_env != 0) bits.Put(3 << 8, 10);
    }
    while (bits.position % 8 != 0) bits.Put(1, 1);
    const BitWriter inner = bits;
    bits = outer;
    const auto size = static_cast<uint32_t>(inner.bytes.size());
    bits.Put(std::min(size, 15U), 4);
    if (size >= 15) bits.Put(size - 15, 8);
    for (const uint8_t byte : inner.bytes) bits.Put(byte, 8);
  }

  std::mt19937 random_;
};

void ExpectSame(const PsParameters& got, const PsParameters& want) {
  EXPECT_EQ(std::memcmp(&got, &want, sizeof want), 0);
}

TEST(PsData, GivesWhatWasSentInEveryMode) {
  const auto ps = MakeState(kPsFull);
  Writer writer(1);
  for (int32_t i = 0; i < 3000; ++i) {
    SCOPED_TRACE(i);
    writer.Data(i == 0 || writer.Draw(2) != 0, writer.Draw(2) != 0);
    int32_t bitsRead = 0;
    ASSERT_EQ(Parse(ps.get(), writer.bits, &bitsRead), 0);
    ASSERT_EQ(bitsRead, writer.bits.position);
    const PsFrame& got = ps->frame;
    const PsFrame& want = writer.sent;
    ASSERT_EQ(got.num_env, want.num_env);
    ASSERT_EQ(got.enable_ipdopd, want.enable_ipdopd);
    ASSERT_EQ(got.isFine, writer.header.iid_mode >= 3);
    ASSERT_EQ(got.mixing, writer.header.icc_mode >= 3);
    ASSERT_EQ(got.wide, writer.header.iid_mode % 3 == 2 || writer.header.icc_mode % 3 == 2);
    for (int32_t e = 0; e < want.num_env; ++e) {
      ASSERT_EQ(got.border[e], want.border[e]);
      ExpectSame(got.envelope[e], want.envelope[e]);
    }
    ASSERT_FALSE(HasFailure());
  }
}

TEST(PsData, WhatCannotBeDecodedChangesNothing) {
  const auto ps = MakeState(kPsFull);
  int32_t bitsRead = 0;
  BitWriter noHeader;
  noHeader.Put(0b0001, 4);
  EXPECT_EQ(Parse(ps.get(), noHeader, &bitsRead), 0);
  EXPECT_EQ(bitsRead, 4);
  EXPECT_FALSE(PsHasData(*ps));

  Writer writer(2);
  writer.Data(true, true);
  ASSERT_EQ(Parse(ps.get(), writer.bits, &bitsRead), 0);
  EXPECT_TRUE(PsHasData(*ps));
  PsRestart(ps.get());
  EXPECT_FALSE(PsHasData(*ps));
  ASSERT_EQ(Parse(ps.get(), noHeader, &bitsRead), 0);
  EXPECT_TRUE(PsHasData(*ps));
  const PsState before = *ps;
  for (const uint32_t mode : {6U, 7U}) {
    for (const int place : {0, 1}) {
      BitWriter bits;
      bits.Put(place == 0 ? 0b11 : 0b101, place == 0 ? 2 : 3);
      bits.Put(mode, 3);
      bits.Put(0, 8);
      EXPECT_NE(Parse(ps.get(), bits, &bitsRead), 0);
      // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison): every byte is told
      EXPECT_EQ(std::memcmp(ps.get(), &before, sizeof before), 0);
    }
  }

  // Differences that add up beyond the grid stop at its end; missing data is zeros.
  BitWriter bits;
  bits.Put(0b1'1'000'0'0'0'01, 10);
  bits.Put(0, 1);
  for (int32_t b = 0; b < 10; ++b) bits.Put(0x3FFFF, 18);
  ASSERT_EQ(Parse(ps.get(), bits, &bitsRead), 0);
  for (int32_t b = 0; b < 10; ++b) EXPECT_EQ(ps->frame.envelope[0].iid.of[b], 7);
  bits.bytes.resize(2);
  EXPECT_EQ(Parse(ps.get(), bits, &bitsRead), 0);
}

TEST(PsParameters, MapBetweenBandCounts) {
  PsIndices ten = {};
  for (int32_t b = 0; b < 10; ++b) ten.of[b] = static_cast<int8_t>(2 * b - 7);
  PsIndices mapped;
  PsMapIndices(ten, 10, 20, &mapped);
  for (int32_t b = 0; b < 20; ++b) EXPECT_EQ(mapped.of[b], ten.of[b / 2]);
  for (const int32_t via : {20, 34}) {
    PsMapIndices(ten, 10, via, &mapped);
    PsMapIndices(mapped, via, 10, &mapped);
    EXPECT_EQ(std::memcmp(&mapped, &ten, sizeof ten), 0) << via;
  }
  PsIndices steps = {};
  for (int32_t b = 0; b < 34; ++b) steps.of[b] = static_cast<int8_t>(b % 2 != 0 ? -b : 0);
  PsMapIndices(steps, 34, 20, &mapped);
  constexpr int8_t kWanted[20] = {0, 0,   -2, -3,  -3,  -4,  0,   -11, -6,  -7,
                                  0, -17, 0,  -19, -10, -11, -12, -13, -15, -16};
  EXPECT_TRUE(std::equal(kWanted, kWanted + 20, mapped.of));
  PsMapIndices(steps, 20, 34, &mapped);
  EXPECT_EQ(mapped.of[1], 0);   // half of -1
  EXPECT_EQ(mapped.of[4], -1);  // half of -3
  EXPECT_EQ(mapped.of[33], -19);
}

TEST(PsTables, MatricesHaveTheLevelDifferenceAndCorrelation) {
  constexpr double kIcc[] = {1, 0.937, 0.84118, 0.60092, 0.36764, 0, -0.589, -1};
  constexpr int32_t kIid[2][16] = {{0, 2, 4, 7, 10, 14, 18, 25},
                                   {0, 2, 4, 6, 8, 10, 13, 16, 19, 22, 25, 30, 35, 40, 45, 50}};
  for (int mixing : {0, 1}) {
    for (int fine : {0, 1}) {
      const int largest = fine != 0 ? 15 : 7;
      for (int index = -largest; index <= largest; ++index) {
        for (int icc = 0; icc < 8; ++icc) {
          const float* const h = kPsTables.matrices[mixing][PsIidRow(fine != 0, index)][icc];
          const double left = double(h[0]) * h[0] + double(h[2]) * h[2];
          const double right = double(h[1]) * h[1] + double(h[3]) * h[3];
          const double cross = double(h[0]) * h[1] + double(h[2]) * h[3];
          EXPECT_NEAR(left + right, 2, 1e-6);
          const double wanted = kIid[fine][std::abs(index)] * (index < 0 ? -1 : 1);
          EXPECT_NEAR(10 * std::log10(left / right), wanted, 1e-4);
          const double rho = mixing == 0 ? kIcc[icc] : std::max(kIcc[icc], 0.05);
          EXPECT_NEAR(cross / std::sqrt(left * right), rho, 1e-4);
          EXPECT_GE(h[0], mixing == 0 ? -2.0F : 0.0F);
        }
      }
    }
  }
}

// Mono rows in and the two channels out, frame by frame.
class Stereo {
 public:
  Stereo(int32_t level, int32_t configuration) : ps_(MakeState(level)) {
    ps_->configuration = configuration;
  }
  PsState& ps() { return *ps_; }

  // Both channels are kept; `in` and they count slots from the start on.
  template <typename Source>
  void Run(int32_t frames, Source source) {
    for (int32_t f = 0; f < frames; ++f) {
      const size_t start = left.size();
      while (in.size() < start + kQmfSlots + kPsAheadRows) {
        in.emplace_back(kQmfBands);
        for (int32_t k = 0; k < kQmfBands; ++k)
          in.back()[k] = std::complex<float>(source(static_cast<int32_t>(in.size()) - 1, k));
      }
      QmfRow aheadReal[kPsAheadRows], aheadImag[kPsAheadRows];
      for (int32_t n = 0; n < kQmfSlots + kPsAheadRows; ++n)
        for (int32_t k = 0; k < kQmfBands; ++k) {
          const Value x = in[start + static_cast<size_t>(n)][k];
          (n < kQmfSlots ? real_[n] : aheadReal[n - kQmfSlots])[k] = static_cast<float>(x.real());
          (n < kQmfSlots ? imag_[n] : aheadImag[n - kQmfSlots])[k] = static_cast<float>(x.imag());
        }
      const int32_t bands =
          PsApply(ps_.get(), real_, imag_, rightReal_, rightImag_, aheadReal, aheadImag);
      for (int32_t n = 0; n < kQmfSlots; ++n) {
        left.emplace_back(kQmfBands);
        right.emplace_back(kQmfBands);
        for (int32_t k = 0; k < bands; ++k) {
          left.back()[k] = {real_[n][k], imag_[n][k]};
          right.back()[k] = {rightReal_[n][k], rightImag_[n][k]};
        }
      }
    }
  }
  Value In(int32_t n, int32_t k) const { return n < 0 ? 0 : in[static_cast<size_t>(n)][k]; }

  // The left channel becomes the mono signal, the right one the decorrelated one.
  void ShowDecorrelated() {
    for (int c : {0, 1, 3}) {
      std::fill_n(ps_->matrices.of[c], kPsBands, c == 1 ? 0.0F : 1.0F);
      std::fill_n(ps_->values + c * kDspPsLanes, kDspPsLanes, c == 1 ? 0.0F : 1.0F);
    }
  }
  // One envelope up to slot 31, all bands alike.
  void Send(int32_t bands, int32_t iid, int32_t icc, int32_t ipd = 0, int32_t opd = 0) {
    PsFrame& frame = ps_->frame;
    frame = {};
    frame.num_env = 1;
    frame.border[0] = 31;
    frame.wide = bands == 34;
    frame.enable_ipdopd = ipd != 0 || opd != 0;
    PsParameters& sent = frame.envelope[0];
    sent.iidCount = sent.iccCount = bands;
    std::fill_n(sent.iid.of, bands, static_cast<int8_t>(iid));
    std::fill_n(sent.icc.of, bands, static_cast<int8_t>(icc));
    std::fill_n(sent.ipd.of, PsPhaseCount(bands), static_cast<int8_t>(ipd));
    std::fill_n(sent.opd.of, PsPhaseCount(bands), static_cast<int8_t>(opd));
    ps_->isFresh = 1;
  }

  std::vector<std::vector<Value>> in, left, right;

 private:
  std::unique_ptr<PsState> ps_;
  QmfRow real_[kQmfSlots], imag_[kQmfSlots], rightReal_[kQmfSlots], rightImag_[kQmfSlots];
};

// Steady noise: every sample has the same magnitude.
struct Noise {
  std::mt19937 random{5};
  Value operator()(int32_t, int32_t) { return std::polar(1000.0, random() * 0x1p-31 * kPi); }
};

TEST(PsHybrid, SplitAndAddedUpIsTheSignal) {
  for (int32_t way : {0, 1}) {
    Stereo stereo(kPsFull, way);
    stereo.Run(3, Noise());
    for (int32_t n = 0; n < 96; ++n)
      for (int32_t k = 0; k < kQmfBands; ++k) {
        ASSERT_LT(std::abs(stereo.left[n][k] - stereo.In(n, k)), 2e-3) << n << " " << k;
        ASSERT_EQ(stereo.left[n][k], stereo.right[n][k]);
      }
  }
}

TEST(PsHybrid, ATonePeaksInTheBandOfItsFrequency) {
  for (int32_t way : {0, 1}) {
    const PsConfiguration& configuration = kPsConfigurations[way];
    int32_t first = 0;
    for (int32_t q = 0; q < configuration.splitQmfBands; first += configuration.splitSizes[q++]) {
      for (int32_t lane = first; lane < first + configuration.splitSizes[q]; ++lane) {
        Stereo stereo(kPsFull, way);
        const double step = kPi * configuration.centre[lane] / 24;
        stereo.Run(1, [&](int32_t n, int32_t k) { return k == q ? std::polar(1.0, step * n) : 0; });
        const auto power = [&](int32_t l) {
          return std::hypot(stereo.ps().splitReal[10][l], stereo.ps().splitImag[10][l]);
        };
        for (int32_t l = 0; l < configuration.layout.splitLanes; ++l) {
          if (l != lane) {
            EXPECT_GT(power(lane), 1.5 * power(l)) << way << " " << lane << " " << l;
          }
        }
      }
    }
  }
}

// The decorrelator of unsplit bands as its equations stand, one band at a time.
struct Decorrelator {
  Value history[3][5] = {};
  Value Step(Value x, int32_t k, double decay) {
    constexpr double kCoefficient[3] = {0.65143905753106, 0.56471812200776, 0.48954165955695};
    constexpr double kRotation[3] = {0.43, 0.75, 0.347};
    x *= std::polar(1.0, -kPi * 0.39 * (k + 0.5));
    for (int m = 0; m < 3; ++m) {
      const Value late = history[m][2 + m] * std::polar(1.0, -kPi * kRotation[m] * (k + 0.5));
      const Value now = x + kCoefficient[m] * decay * late;
      x = late - kCoefficient[m] * decay * now;
      for (int i = 4; i > 0; --i) history[m][i] = history[m][i - 1];
      history[m][0] = now;
    }
    return x;
  }
};

TEST(PsDecorrelator, FollowsItsEquationsThroughTransients) {
  for (int32_t way : {0, 1}) {
    Stereo stereo(kPsFull, way);
    stereo.ShowDecorrelated();
    Noise noise;
    stereo.Run(4, [&](int32_t n, int32_t k) { return noise(n, k) * (n % 29 == 3 ? 20.0 : 1.0); });
    const DspPsLayout& layout = kPsConfigurations[way].layout;
    const int32_t firstBand = layout.border[0];
    int32_t attenuated = 0;
    for (int32_t run = 1; run < layout.runs; ++run) {  // the first may hold split bands too
      double peak = 0;
      double difference = 0;
      double smooth = 0;
      std::vector<Decorrelator> bands(kQmfBands);
      for (int32_t n = 0; n < 128; ++n) {
        double power = 0;
        for (int32_t k = layout.border[run]; k < layout.border[run + 1]; ++k)
          power += std::norm(stereo.In(n, k));
        peak = std::max(power, 0.76592833836465 * peak);
        difference = 0.75 * difference + 0.25 * (peak - power);
        smooth = 0.75 * smooth + 0.25 * power;
        const double gain = 1.5 * difference > smooth ? smooth / (1.5 * difference) : 1;
        attenuated += gain < 1 ? 1 : 0;
        for (int32_t k = layout.border[run]; k < layout.border[run + 1]; ++k) {
          const double decay = std::max(0.0, 1 - 0.05 * (k - firstBand));
          const Value wanted = k < 23   ? bands[k].Step(stereo.In(n - 2, k), k, decay)
                               : k < 35 ? stereo.In(n - 14, k)
                                        : stereo.In(n - 1, k);
          ASSERT_LT(std::abs(stereo.right[n][k] - gain * wanted), 0.05)
              << way << " " << n << " " << k;
        }
      }
    }
    EXPECT_GT(attenuated, 50);
  }
}

TEST(PsMix, MovesInStraightLinesBetweenBorders) {
  // Level differences alone: left and right are the mono signal times c2 and c1.
  const auto gain = [](double decibels) {
    const double c = std::pow(10, decibels / 20);
    return c * std::sqrt(2 / (1 + c * c));
  };
  const struct {
    int32_t count;
    int32_t border[4];
    int32_t iid[4];
    std::vector<std::pair<int32_t, double>> points;  // slot and gain there, lines between
  } cases[] = {
      {1, {31}, {7}, {{-1, 1}, {31, gain(25)}}},
      {2, {7, 23}, {-3, 2}, {{-1, 1}, {7, gain(-7)}, {23, gain(4)}, {31, gain(4)}}},
      {3, {20, 9, 30}, {1, 5, -7}, {{-1, 1}, {20, gain(2)}, {30, gain(-25)}, {31, gain(-25)}}},
      {4, {31, 31, 0, 5}, {1, 2, 3, 4}, {{-1, 1}, {31, gain(2)}}},
      {0, {}, {}, {{-1, 1}, {31, 1}}},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.border[0]);
    Stereo stereo(111, 0);
    stereo.Run(1, [](int32_t, int32_t) { return 100.0; });
    stereo.Send(10, 0, 0);
    PsFrame& frame = stereo.ps().frame;
    frame.num_env = test.count;
    for (int32_t e = 0; e < test.count; ++e) {
      frame.border[e] = test.border[e];
      frame.envelope[e] = frame.envelope[0];
      std::fill_n(frame.envelope[e].iid.of, 10, static_cast<int8_t>(test.iid[e]));
    }
    stereo.Run(2, [](int32_t, int32_t) { return 100.0; });
    for (size_t i = 1; i < test.points.size(); ++i) {
      const auto [from, before] = test.points[i - 1];
      const auto [to, after] = test.points[i];
      for (int32_t n = from + 1; n <= to; ++n) {
        // The second jump of the third case has no slots of its own.
        const double start = i == 2 && test.count == 3 ? gain(14) : before;
        const double wanted = start + (after - start) * (n - from) / (to - from);
        for (int32_t k : {0, 2, 3, 40, 63})
          ASSERT_NEAR(stereo.left[32 + n][k].real(), 100 * wanted, 0.01) << n << " " << k;
      }
    }
    const double held = test.count == 4 ? gain(10) : test.points.back().second;
    for (int32_t k : {0, 3, 63}) EXPECT_NEAR(stereo.left[70][k].real(), 100 * held, 0.01);
  }
}

TEST(PsMix, TurnsPhasesAndTheirOppositesOnlyAtTheFullLevel) {
  for (int32_t bands : {20, 34}) {
    for (int32_t level : {111, kPsFull}) {
      Stereo stereo(level, 0);
      // In band 0 a tone of negative frequency, elsewhere constants.
      const auto source = [](int32_t n, int32_t k) {
        return k == 0 ? std::polar(100.0, -kPi / 4 * n) : Value(100);
      };
      for (int32_t f = 0; f < 4; ++f) {
        stereo.Send(bands, 0, 0, 2, 1);
        stereo.Run(1, source);
      }
      const bool turns = level == kPsFull;
      for (int32_t k : {4, 5, 6, 20}) {
        const double opd = turns && k < 6 ? kPi / 4 : 0;
        const Value mono = stereo.In(100, k);
        EXPECT_LT(std::abs(stereo.left[100][k] - mono * std::polar(1.0, opd)), 0.6) << k;
        EXPECT_LT(std::abs(stereo.right[100][k] - mono * std::polar(1.0, -opd)), 0.6) << k;
      }
      const double turned = std::arg(stereo.left[100][0] / stereo.In(100, 0));
      EXPECT_NEAR(turned, turns ? -kPi / 4 : 0, 0.1) << bands;
      stereo.Send(bands, 0, 0);
      stereo.Run(2, source);
      EXPECT_LT(std::abs(stereo.left[170][4] - 100.0), 0.01);
    }
  }
}

TEST(PsMix, ConfigurationsFollowEachOtherWithoutABreak) {
  Stereo stereo(kPsFull, 0);
  for (int32_t f = 0; f < 12; ++f) {
    stereo.Send(f % 2 != 0 ? 34 : 20, 5, 0);
    stereo.Run(1, [](int32_t n, int32_t k) { return std::polar(100.0, 0.01 * n * (k + 1)); });
    EXPECT_EQ(stereo.ps().configuration, f % 2);
  }
  for (int32_t n = 40; n < 384; ++n)
    for (int32_t k = 0; k < kQmfBands; ++k)
      ASSERT_NEAR(std::abs(stereo.left[n][k]), 100 * 1.3868, 0.5) << n << " " << k;
}

TEST(PsApply, ForgetsWhatIsNoSignalAndEndsInSilence) {
  Stereo stereo(kPsFull, 0);
  Noise noise;
  for (int32_t f = 0; f < 40; ++f) {
    stereo.Send(f % 3 == 0 ? 34 : 20, f % 15 - 7, f % 8, f % 8, f % 5);
    stereo.Run(1, [&](int32_t n, int32_t k) {
      constexpr double kBad[] = {NAN, INFINITY, 1e38, 1e-40, -1e15, 1e-15};
      return n < 640 ? noise(n, k) * kBad[(n / 3 + k) % 6] : 0;
    });
  }
  for (size_t n = 0; n < stereo.left.size(); ++n)
    for (int32_t k = 0; k < kQmfBands; ++k)
      ASSERT_TRUE(std::isfinite(std::abs(stereo.left[n][k] + stereo.right[n][k])));
  for (const float x : stereo.ps().qmfAllPass) ASSERT_LT(std::abs(x), 1e5F);
  for (int32_t f = 0; f < 60; ++f) stereo.Run(1, [](int32_t, int32_t) { return 0.0; });
  for (const float x : stereo.ps().splitAllPass) ASSERT_EQ(x, 0);
  for (const float x : stereo.ps().qmfAllPass) ASSERT_EQ(x, 0);
  for (const float x : stereo.ps().transients.smooth) ASSERT_EQ(x, 0);
  for (const float x : stereo.ps().transients.peak) ASSERT_EQ(x, 0);
}

}  // namespace
}  // namespace orbel
