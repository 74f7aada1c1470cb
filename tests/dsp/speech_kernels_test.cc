// Noise, filters and logarithm of G.729 against their check values and against the
// standard's basic operators, one by one.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <vector>

#include "dsp/norm.h"
#include "dsp/primitives.h"

namespace orbel {
namespace {

TEST(Gaussian, CheckValues) {
  int16_t seed = 11111;
  for (int draw = 0; draw < 3; ++draw) seed = static_cast<int16_t>(seed * 31821 + 13849);
  std::vector<int16_t> out(40);
  ASSERT_EQ(dspGaussian_16s(&seed, out.data(), 40), kDspOk);
  out.resize(8);
  EXPECT_EQ(out, (std::vector<int16_t>{86, -609, 391, 173, -80, -718, -47, 559}));
  EXPECT_EQ(static_cast<uint16_t>(seed), 38770);
}

// From every seed, and in pieces of any size, the same draws.
TEST(Gaussian, IsTwelveDrawsASampleFromEverySeed) {
  for (int start = -32768; start < 32768; start += 97) {
    int16_t seed = static_cast<int16_t>(start);
    int16_t pieces = seed;
    int16_t draw = seed;
    int16_t out[11];
    int16_t split[11];
    ASSERT_EQ(dspGaussian_16s(&seed, out, 11), kDspOk);
    ASSERT_EQ(dspGaussian_16s(&pieces, split, 3), kDspOk);
    ASSERT_EQ(dspGaussian_16s(&pieces, split + 3, 8), kDspOk);
    for (int i = 0; i < 11; ++i) {
      int sum = 0;
      for (int k = 0; k < 12; ++k) sum += draw = static_cast<int16_t>(draw * 31821 + 13849);
      ASSERT_EQ(out[i], sum >> 7) << start;
      ASSERT_EQ(split[i], sum >> 7) << start;
    }
    ASSERT_EQ(seed, draw);
    ASSERT_EQ(pieces, draw);
  }
}

// The standard's operators, with its overflow flag.
bool overflow;

int32_t Sat(int64_t v) {
  const int64_t held = std::clamp<int64_t>(v, INT32_MIN, INT32_MAX);
  if (held != v) overflow = true;
  return static_cast<int32_t>(held);
}
int32_t L_add(int32_t a, int32_t b) { return Sat(int64_t{a} + b); }
int32_t L_sub(int32_t a, int32_t b) { return Sat(int64_t{a} - b); }
int32_t L_mult(int16_t a, int16_t b) { return Sat(int64_t{a} * b * 2); }
int32_t L_mac(int32_t s, int16_t a, int16_t b) { return L_add(s, L_mult(a, b)); }
int32_t L_msu(int32_t s, int16_t a, int16_t b) { return L_sub(s, L_mult(a, b)); }
int32_t L_shl(int32_t v, int n) { return Sat(int64_t{v} * (int64_t{1} << n)); }
int16_t Hi(int32_t v) { return static_cast<int16_t>(v >> 16); }
int16_t Round(int32_t v) { return Hi(L_add(v, 32768)); }
int16_t Mult(int16_t a, int16_t b) { return static_cast<int16_t>(std::min((a * b) >> 15, 32767)); }

struct Pair {
  int16_t h = 0, l = 0;
};
int32_t Mpy32_16(Pair v, int16_t n) { return L_mac(L_mult(v.h, n), Mult(v.l, n), 1); }

std::vector<int16_t> Noise(uint32_t seed, int length, int shift) {
  std::mt19937 random(seed);
  std::vector<int16_t> noise(length);
  for (int16_t& v : noise) v = static_cast<int16_t>(static_cast<int16_t>(random()) >> shift);
  return noise;
}

TEST(Synthesis, FollowsTheOperators) {
  int saturated = 0;
  int plain = 0;
  for (uint32_t seed = 0; seed < 300; ++seed) {
    // From quiet to far too loud; every tenth filter has the extreme coefficients.
    const int shift = static_cast<int>(seed % 8);
    std::vector<int16_t> filter = Noise(seed, 11, 3 + shift / 2);
    filter[0] = 4096;
    if (seed % 10 == 9) filter[1 + seed % 10] = filter[0] = -32768;
    const std::vector<int16_t> excitation = Noise(seed + 1000, 40, shift);
    const std::vector<int16_t> memory = Noise(seed + 2000, 10, shift);
    for (int32_t scale : {12, 13}) {
      std::vector<int16_t> y = memory;
      overflow = false;
      for (int n = 0; n < 40; ++n) {
        int32_t s = L_mult(excitation[n], filter[0]);
        for (int j = 1; j <= 10; ++j) s = L_msu(s, filter[j], y[y.size() - j]);
        y.push_back(Round(L_shl(s, 15 - scale)));
      }
      std::vector<int16_t> out(40);
      const int32_t status =
          dspSynthesis_16s(filter.data(), excitation.data(), out.data(), 40, scale, memory.data());
      ASSERT_EQ(status, overflow ? kDspSaturated : kDspOk) << seed;
      ASSERT_TRUE(std::equal(out.begin(), out.end(), y.begin() + 10)) << seed;
      ++(overflow ? saturated : plain);
      // In place, with the memory right in front of the output, as a caller has it.
      std::vector<int16_t> block = memory;
      block.insert(block.end(), excitation.begin(), excitation.end());
      ASSERT_EQ(dspSynthesis_16s(filter.data(), &block[10], &block[10], 40, scale, block.data()),
                status);
      ASSERT_TRUE(std::equal(out.begin(), out.end(), block.begin() + 10)) << seed;
    }
  }
  EXPECT_GT(saturated, 50);
  EXPECT_GT(plain, 50);
}

TEST(HighPass, FollowsTheOperators) {
  for (uint32_t seed = 0; seed < 60; ++seed) {
    for (int32_t scale : {12, 13}) {
      const std::vector<int16_t> signal = Noise(seed, 160, static_cast<int>(seed % 6));
      const int16_t b140[] = {1899, -3798, 1899};
      const int16_t b100[] = {7699, -15398, 7699};
      const int16_t* b = scale == 12 ? b140 : b100;
      const int16_t a1 = scale == 12 ? 7807 : 15836;
      const int16_t a2 = scale == 12 ? -3733 : -7667;
      std::vector<int16_t> out = signal;
      int16_t state[6] = {};
      ASSERT_EQ(dspHighPass_16s_I(out.data(), 80, scale, state), kDspOk);
      ASSERT_EQ(dspHighPass_16s_I(out.data() + 80, 80, scale, state), kDspOk);
      int16_t x1 = 0;
      int16_t x2 = 0;
      Pair y1;
      Pair y2;
      for (size_t n = 0; n < signal.size(); ++n) {
        int32_t s = L_add(Mpy32_16(y1, a1), Mpy32_16(y2, a2));
        s = L_mac(L_mac(L_mac(s, signal[n], b[0]), x1, b[1]), x2, b[2]);
        s = L_shl(s, scale == 12 ? 3 : 2);
        const int16_t want = scale == 12 ? Round(s) : Round(L_shl(s, 1));
        ASSERT_EQ(out[n], want) << "seed " << seed << " scale " << scale << " sample " << n;
        y2 = y1;
        y1 = {Hi(s), static_cast<int16_t>((s >> 1) - Hi(s) * 32768)};
        x2 = x1;
        x1 = signal[n];
      }
    }
  }
}

// Half and double the signal in the passband, and nothing of a constant.
TEST(HighPass, GainsAndConstant) {
  for (int32_t scale : {12, 13}) {
    std::vector<int16_t> tone(1600);
    std::vector<int16_t> constant(1600, 8000);
    for (size_t i = 0; i < tone.size(); ++i) {
      tone[i] =
          static_cast<int16_t>(std::lround(8000 * std::sin(0.785398163 * static_cast<double>(i))));
    }
    int16_t state[6] = {};
    int16_t constantState[6] = {};
    ASSERT_EQ(dspHighPass_16s_I(tone.data(), 1600, scale, state), kDspOk);
    ASSERT_EQ(dspHighPass_16s_I(constant.data(), 1600, scale, constantState), kDspOk);
    double energy = 0;
    for (size_t i = 800; i < tone.size(); ++i) energy += double{1} * tone[i] * tone[i];
    EXPECT_NEAR(std::sqrt(energy / 800 * 2), scale == 12 ? 4000 : 16000, scale == 12 ? 200 : 800);
    EXPECT_NEAR(constant.back(), 0, 40);
  }
}

TEST(SpeechKernels, InterpolationHalvesEachFirst) {
  const int16_t first[] = {32767, -32768, 3, -3, 1};
  const int16_t second[] = {32767, -32768, 1, -1, -32768};
  int16_t out[5];
  ASSERT_EQ(dspInterpolate_16s(first, second, out, 5), kDspOk);
  const int16_t want[] = {32766, -32768, 1, -3, -16384};
  for (int i = 0; i < 5; ++i) EXPECT_EQ(out[i], want[i]);
}

TEST(SpeechKernels, Refusals) {
  int16_t v[16] = {};
  EXPECT_EQ(dspGaussian_16s(nullptr, v, 1), kDspNullPointer);
  EXPECT_EQ(dspGaussian_16s(v, v + 1, 0), kDspBadLength);
  EXPECT_EQ(dspSynthesis_16s(v, v, v, 1, 12, nullptr), kDspNullPointer);
  EXPECT_EQ(dspSynthesis_16s(v, v, v, 0, 11, v), kDspBadLength);
  EXPECT_EQ(dspSynthesis_16s(v, v, v, 1, 11, v), kDspBadScale);
  EXPECT_EQ(dspSynthesis_16s(v, v, v, 1, 14, v), kDspBadScale);
  EXPECT_EQ(dspHighPass_16s_I(v, 1, 12, nullptr), kDspNullPointer);
  EXPECT_EQ(dspHighPass_16s_I(v, 1, 0, v + 1), kDspBadScale);
  EXPECT_EQ(dspInterpolate_16s(v, v, nullptr, 1), kDspNullPointer);
}

TEST(Logarithm, NormAndLog2) {
  for (int bit = 0; bit < 31; ++bit) {
    EXPECT_EQ(Norm(1 << bit), 30 - bit);
    EXPECT_EQ(Norm(static_cast<int32_t>((2U << bit) - 1)), 30 - bit);
  }
  EXPECT_EQ(Log2(3).exponent, 1);
  EXPECT_EQ(Log2(3).fraction, 19167);
  EXPECT_EQ(Log2(1000000).exponent, 19);
  EXPECT_EQ(Log2(1000000).fraction, 30524);
  EXPECT_EQ(Log2(0).exponent | Log2(-5).fraction, 0);
  // Off by the table's two units and by the chord between two of its rows.
  std::mt19937 random(1);
  for (int i = 0; i < 10000; ++i) {
    const int32_t value = static_cast<int32_t>(random() >> (1 + i % 31)) | 1;
    const Logarithm log = Log2(value);
    EXPECT_NEAR(log.exponent * 32768.0 + log.fraction, std::log2(value) * 32768, 8) << value;
  }
}

}  // namespace
}  // namespace orbel
