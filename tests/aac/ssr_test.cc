// The four-band filterbank: its synthesis against an encoder's analysis in direct form.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <random>
#include <vector>

#include "aac/ssr_filterbank.h"
#include "aac/ssr_tables.h"

namespace orbel {
namespace {

constexpr double kPi = std::numbers::pi;

double Prototype(int j) { return kSsrPrototype[j < 48 ? j : 95 - j]; }

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
