// The four-band filterbank and its gain control against the encoder's side: gain
// applied before a forward transform, all in direct form.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <numbers>
#include <random>
#include <vector>

#include "aac/ssr_filterbank.h"
#include "aac/ssr_tables.h"
#include "aac/windows.h"
#include "support/bit_writer.h"

namespace orbel {
namespace {

constexpr double kPi = std::numbers::pi;

double Prototype(int j) { return kSsrPrototype[j < 48 ? j : 95 - j]; }

using Bands = std::vector<double>;  // interleaved by fours

// sum over B and j of v_B(n - j) Q(j) cos((2B + 1)(2j - 3) pi / 16), v_B being the band
// with three zeros behind each sample.
double Synthesis(const Bands& bands, int n) {
  double sum = 0;
  for (int j = n % 4; j < 96 && j <= n; j += 4)
    for (int b = 0; b < 4; ++b)
      sum += bands[static_cast<size_t>(n - j) + static_cast<size_t>(b)] * Prototype(j) *
             std::cos((2 * b + 1) * (2 * j - 3) * kPi / 16);
  return sum;
}

// The analysis filters of an encoder.
double Analysis(const std::vector<double>& x, int n, int b) {
  double sum = 0;
  for (int j = 0; j < 96 && j <= n; ++j)
    sum += x[static_cast<size_t>(n - j)] * Prototype(j) / 4 *
           std::cos((2 * b + 1) * (2 * j + 5) * kPi / 16);
  return sum;
}

TEST(SsrSynthesis, ReconstructsAnAnalysedSignal) {
  double energy = 0;
  for (int j = 0; j < 96; ++j) energy += Prototype(j) * Prototype(j);
  EXPECT_NEAR(energy, 8, 1e-3);

  constexpr int kLength = 2048;
  std::mt19937 random(5);
  std::vector<double> signal(kLength);
  for (double& sample : signal) sample = static_cast<double>(random()) * 0x1p-16 - 32768;
  std::vector<float> bands(92);
  for (int n = 0; n < kLength; n += 4)
    for (int b = 0; b < 4; ++b) bands.push_back(static_cast<float>(Analysis(signal, n, b)));
  std::vector<float> output(kLength);
  for (size_t at = 0; at < kLength; at += 1024) SsrSynthesis(&bands[92 + at], &output[at]);
  double signalEnergy = 0, errorEnergy = 0;
  for (size_t n = 95; n < kLength; ++n) {
    signalEnergy += signal[n - 95] * signal[n - 95];
    errorEnergy += (output[n] - signal[n - 95]) * (output[n] - signal[n - 95]);
  }
  EXPECT_GT(10 * std::log10(signalEnergy / errorEnergy), 70);
}

// One window's gain control data of a band.
struct Gain {
  std::vector<int> level, location;  // codes

  double Alev(size_t m) const {
    if (level.empty() || m == level.size() + 1) return 1;
    return std::exp2(level[m == 0 ? 0 : m - 1] - 4);
  }
  double Fragment(int j) const {
    size_t m = 0;
    while (m < location.size() && 8 * location[m] <= j) ++m;
    const int p = j - (m == 0 ? 0 : 8 * location[m - 1]);
    if (p > 7) return Alev(m + 1);
    return std::exp2(((8 - p) * std::log2(Alev(m)) + p * std::log2(Alev(m + 1))) / 8);
  }
};

// Windows of each window_sequence: their number, bits of a location, ALOC(NAD + 1).
struct Kind {
  int windows, bits[2], end[2];
};
constexpr Kind kKinds[4] = {{1, {5, 5}, {256, 256}},
                            {2, {4, 2}, {112, 32}},
                            {8, {2, 2}, {32, 32}},
                            {2, {4, 5}, {112, 256}}};

// The encoder of one channel.
struct Encoder {
  std::mt19937 random{2};
  Bands bands;   // what is coded
  Gain kept[4];  // the gain of the last window of the frame before
  IndividualChannelStream ics = {};
  BitWriter bits;

  // Gain data for the frame, as bits and as numbers.
  std::vector<Gain> Draw(int band, const Kind& kind, bool sent) {
    std::vector<Gain> gains;
    for (int w = 0; w < kind.windows; ++w) {
      Gain gain;
      const int codes = std::min(1 << kind.bits[w > 0], kind.end[w > 0] / 8);
      for (int at = 0; sent && at < codes && gain.level.size() < 7; ++at) {
        if (random() % 3 != 0) continue;
        gain.location.push_back(at);
        gain.level.push_back(static_cast<int>(2 + random() % 5));
      }
      if (sent) bits.Put(static_cast<uint32_t>(gain.level.size()), 3);
      for (size_t i = 0; i < gain.level.size(); ++i) {
        bits.Put(static_cast<uint32_t>(gain.level[i]), 4);
        bits.Put(static_cast<uint32_t>(gain.location[i]), kind.bits[w > 0]);
      }
      gains.push_back(gain);
    }
    kept[band] = gains.back();
    return gains;
  }

  // The gain function over the 512 samples of a frame, or eight times 64.
  static std::vector<double> Function(int sequence, const Gain& old, const std::vector<Gain>& g) {
    std::vector<double> f;
    const auto add = [&f](double scale, const Gain* gain, int count) {
      for (int j = 0; j < count; ++j) f.push_back(gain ? scale * gain->Fragment(j) : 1);
    };
    const double both = g.size() > 1 ? g[0].Alev(0) * g[1].Alev(0) : 1;
    if (sequence == kOnlyLong) {
      add(g[0].Alev(0), &old, 256);
      add(1, &g[0], 256);
    } else if (sequence == kLongStart) {
      add(both, &old, 256);
      add(g[1].Alev(0), &g[0], 112);
      add(1, &g[1], 32);
      add(1, nullptr, 112);
    } else if (sequence == kLongStop) {
      add(1, nullptr, 112);
      add(both, &old, 32);
      add(g[1].Alev(0), &g[0], 112);
      add(1, &g[1], 256);
    } else {
      for (size_t w = 0; w < 8; ++w) {
        add(g[w].Alev(0), w == 0 ? &old : &g[w - 1], 32);
        add(1, &g[w], 32);
      }
    }
    return f;
  }

  static double Weight(int sequence, int shape, int prevShape, int w, int i) {
    const FilterbankWindows& windows = Windows();
    if (sequence == kEightShort)
      return windows.ssrShortRising[w == 0 && i < 32 ? prevShape : shape][i < 32 ? i : 63 - i];
    const bool rises = i < 256;
    const int at = rises ? i : 511 - i, side = rises ? prevShape : shape;
    if (sequence != (rises ? kLongStop : kLongStart)) return windows.ssrLongRising[side][at];
    return at < 112 ? 0 : at < 144 ? windows.ssrShortRising[side][at - 112] : 1;
  }

  // Codes frame t; its window starts at band sample 256 t.
  std::vector<float> Frame(size_t t, int sequence, int shape, int prevShape) {
    const Kind& kind = kKinds[sequence];
    bits = {};
    const uint32_t maxBand = random() % 4;
    bits.Put(maxBand, 2);
    std::vector<float> spectrum(1024);
    const bool isShort = sequence == kEightShort;
    const size_t n = isShort ? 64 : 512, half = n / 2;
    for (int band = 0; band < 4; ++band) {
      const Gain old = kept[band];
      const std::vector<Gain> gains =
          Draw(band, kind, band > 0 && band <= static_cast<int>(maxBand));
      const std::vector<double> gain = Function(sequence, old, gains);
      for (size_t w = 0; w < (isShort ? 8U : 1U); ++w) {
        const size_t start = 256 * t + (isShort ? 112 + 32 * w : 0);
        for (size_t k = 0; k < half; ++k) {
          double line = 0;
          for (size_t i = 0; i < n; ++i)
            line += 2 * bands[4 * (start + i) + static_cast<size_t>(band)] * gain[w * n + i] *
                    Weight(sequence, shape, prevShape, static_cast<int>(w), static_cast<int>(i)) *
                    std::cos(kPi / (2 * static_cast<double>(n)) *
                             static_cast<double>((2 * i + 1 + half) * (2 * k + 1) % (4 * n)));
          const size_t at = static_cast<size_t>(band) * half + (band & 1 ? half - 1 - k : k);
          spectrum[128 * w + at] = static_cast<float>(line);
        }
      }
    }
    ics.window_sequence = sequence;
    ics.gain_control_data_present = maxBand > 0 || random() % 2 == 0;
    return spectrum;
  }

  // The bits of the gain data through the parser, which has to take them all.
  void Parse(GainControlRecord* record) {
    BitReader reader;
    BitReaderInit(&reader, bits.bytes.data(), bits.bytes.size());
    GainControlParse(&ics, &reader);
    ASSERT_EQ(GetBitPosition(reader), bits.position);
    CopyGainControl(ics, record);
  }
};

class SsrDecoder : public testing::Test {
 protected:
  void SetUp() override {
    int32_t size = 0;
    ASSERT_EQ(FilterbankInit(&spec_, nullptr, kTransformInverse, kObjectSsr, &size), 0);
    memory_.resize(static_cast<size_t>(size) + 16);
    ASSERT_EQ(FilterbankInit(&spec_, memory_.data(), kTransformInverse, kObjectSsr, &size), 0);
    ResetGainControl(&record_, &state_);
  }

  std::vector<float> Decode(const std::vector<float>& spectrum, int sequence, int shape, int prev) {
    std::vector<float> output(1024);
    SsrFilterbank(spec_, spectrum.data(), sequence, shape, prev, record_, &state_, buffers_.data(),
                  output.data());
    return output;
  }

  FilterbankSpec spec_;
  std::vector<uint8_t> memory_;
  GainControlRecord record_;
  GainState state_;
  std::vector<float> buffers_ = std::vector<float>(2048);
};

TEST_F(SsrDecoder, UndoesTheEncodersGain) {
  constexpr int kSequences[] = {0, 0, 1, 2, 2, 3, 0, 1, 2, 3, 1, 2, 3, 0, 0};
  Encoder encoder;
  for (size_t i = 0; i < 4 * 256 * (std::size(kSequences) + 1); ++i)
    encoder.bands.push_back(static_cast<double>(encoder.random()) * 0x1p-18 - 8192);
  int prev = 0;
  for (size_t t = 0; t < std::size(kSequences); ++t) {
    const int sequence = kSequences[t], shape = static_cast<int>(encoder.random() % 2);
    const std::vector<float> spectrum = encoder.Frame(t, sequence, shape, prev);
    encoder.Parse(&record_);
    const std::vector<float> output = Decode(spectrum, sequence, shape, prev);
    prev = shape;
    if (t < 2) continue;  // until the overlap and the filter's memory are filled
    for (int n = 0; n < 1024; ++n)
      ASSERT_NEAR(output[static_cast<size_t>(n)],
                  Synthesis(encoder.bands, static_cast<int>(1024 * t) + n), 0.05)
          << "frame " << t << ", sample " << n;
  }
}

// Whatever one frame holds, the next one is a signal again.
TEST_F(SsrDecoder, ForgetsBrokenSpectra) {
  const std::vector<float> silence(1024);
  Decode(std::vector<float>(1024, std::numeric_limits<float>::infinity()), kLongStart, 1, 0);
  EXPECT_EQ(Decode(silence, kEightShort, 0, 1), silence);
  Decode(std::vector<float>(1024, 3e38F), kOnlyLong, 1, 0);
  for (float sample : Decode(silence, kOnlyLong, 0, 1)) ASSERT_TRUE(std::isfinite(sample));
}

}  // namespace
}  // namespace orbel
