// The spectral tools' primitives at every level, and their arithmetic against plain
// loops.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>

#include "dsp/family_cases.h"
#include "dsp/primitives.h"
#include "dsp/rows.h"

namespace orbel {
namespace {

constexpr size_t kGuard = 8;

std::vector<float> Lines(uint32_t seed, bool extreme, int32_t length) {
  std::mt19937 random(seed);
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  constexpr float kEnds[] = {0.0F,     -0.0F,     1e30F,     -1e30F,     3e38F,
                             32767.5F, -32768.5F, kInfinity, -kInfinity, 1e-40F};
  std::vector<float> lines(static_cast<size_t>(length) + kGuard);
  for (float& line : lines)
    line = extreme ? kEnds[random() % std::size(kEnds)]
                   : static_cast<float>(random()) * 1e-5F - 20000.0F;
  return lines;
}

// Everything that was written and the status, as bytes.
std::vector<uint8_t> Bytes(const std::vector<float>& one, const std::vector<float>& two,
                           int32_t status) {
  std::vector<uint8_t> bytes((one.size() + two.size()) * sizeof(float) + sizeof status);
  std::memcpy(bytes.data(), one.data(), one.size() * sizeof(float));
  if (!two.empty())
    std::memcpy(bytes.data() + one.size() * sizeof(float), two.data(), two.size() * sizeof(float));
  std::memcpy(bytes.data() + bytes.size() - sizeof status, &status, sizeof status);
  return bytes;
}

std::vector<uint8_t> Noise(int level, uint32_t seed, bool extreme, int32_t length) {
  std::vector<float> lines = Lines(seed, false, length);
  std::vector<float> sums(5);
  auto state = static_cast<int32_t>(seed * 2654435761U);
  const int32_t third = extreme ? length / 3 : length / 3 / 4 * 4;
  const int32_t offsets[] = {0, third, third, 2 * third, length};
  const int32_t status = dspNoiseBands_32fRow[level](&state, lines.data(), offsets, 4, sums.data());
  return Bytes(lines, sums, status ^ state);
}

template <int kOrder, int kStep>
std::vector<uint8_t> AllPole(int level, uint32_t seed, bool, int32_t length) {
  std::vector<float> lines = Lines(seed, false, length);
  std::vector<float> lpc = Lines(seed + 1, false, 20);
  for (float& tap : lpc) tap *= 1e-6F;
  float* first = lines.data() + (kStep < 0 ? length - 1 : 0);
  const int32_t status = dspAllPole_32f_IRow[level](lpc.data(), kOrder, first, kStep, length);
  return Bytes(lines, lpc, status);
}

std::vector<uint8_t> MidSide(int level, uint32_t seed, bool, int32_t length) {
  std::vector<float> left = Lines(seed, false, length);
  std::vector<float> right = Lines(seed + 1, false, length);
  const int32_t status = dspMidSide_32f_IRow[level](left.data(), right.data(), length);
  return Bytes(left, right, status);
}

std::vector<uint8_t> MulC(int level, uint32_t seed, bool extreme, int32_t length) {
  const std::vector<float> src = Lines(seed, extreme, length);
  std::vector<float> dst = Lines(seed + 1, false, length);
  const int32_t status = dspMulC_32fRow[level](src.data(), 0.7F, dst.data(), length);
  return Bytes(src, dst, status);
}

std::vector<uint8_t> Limit(int level, uint32_t seed, bool extreme, int32_t length) {
  std::vector<float> lines = Lines(seed, extreme, length);
  if (extreme) lines[0] = std::numeric_limits<float>::quiet_NaN();
  const int32_t status = dspLimit_32f_IRow[level](lines.data(), length);
  return Bytes(lines, {}, status);
}

std::vector<uint8_t> RoundTo16s(int level, uint32_t seed, bool extreme, int32_t length) {
  std::vector<float> src = Lines(seed, extreme, length);
  if (extreme) src[0] = std::numeric_limits<float>::quiet_NaN();
  std::vector<float> dst = Lines(seed + 1, false, length);
  const int32_t status = dspRoundTo16s_32fRow[level](src.data(), dst.data(), length);
  return Bytes(dst, {}, status);
}

constexpr FamilyCase kCases[] = {{"dspNoiseBands_32f", "", Noise},
                                 {"dspAllPole_32f_I", "1 up", AllPole<1, 1>},
                                 {"dspAllPole_32f_I", "9 down", AllPole<9, -1>},
                                 {"dspAllPole_32f_I", "12 up", AllPole<12, 1>},
                                 {"dspAllPole_32f_I", "20 up", AllPole<20, 1>},
                                 {"dspMidSide_32f_I", "", MidSide},
                                 {"dspMulC_32f", "", MulC},
                                 {"dspLimit_32f_I", "", Limit},
                                 {"dspRoundTo16s_32f", "", RoundTo16s}};

TEST(ToolKernels, EqualPlainLoops) {
  // Bands of whole fours, of none, and of odd widths.
  const int32_t offsets[] = {0, 8, 8, 20, 25, 37};
  std::vector<float> drawn(37), sums(5);
  int32_t seed = -5;
  ASSERT_EQ(dspNoiseBands_32f(&seed, drawn.data(), offsets, 5, sums.data()), kDspOk);
  auto state = static_cast<uint32_t>(-5);
  for (int32_t band = 0; band < 5; ++band) {
    float total = 0.0F;
    for (int32_t i = offsets[band]; i < offsets[band + 1]; ++i) {
      state = state * 1664525U + 1013904223U;
      const auto value = static_cast<float>(static_cast<int32_t>(state));
      ASSERT_EQ(drawn[static_cast<size_t>(i)], value);
      total += value * value;
    }
    EXPECT_EQ(sums[static_cast<size_t>(band)], total);
  }
  EXPECT_EQ(seed, static_cast<int32_t>(state));

  for (int32_t order = 1; order <= 20; ++order) {
    std::vector<float> lpc(21), lines = Lines(7, false, 300);
    for (size_t k = 0; k < lpc.size(); ++k) lpc[k] = 0.9F / static_cast<float>(2 * k + 1 + order);
    std::vector<double> want(lines.begin(), lines.end());
    for (size_t n = 0; n < 300; ++n)
      for (size_t k = 1; k <= static_cast<size_t>(order) && k <= n; ++k)
        want[n] -= static_cast<double>(lpc[k]) * want[n - k];
    ASSERT_EQ(dspAllPole_32f_I(lpc.data(), order, lines.data(), 1, 300), kDspOk);
    for (size_t n = 0; n < 300; ++n) ASSERT_NEAR(lines[n], want[n], 0.05) << order << " " << n;
  }
  EXPECT_EQ(dspAllPole_32f_I(drawn.data(), 21, drawn.data(), 1, 4), kDspBadArgument);

  const float halves[] = {0.5F, -0.5F, 1.5F, 0.49F, 40000.0F, -40000.0F};
  float rounded[6];
  ASSERT_EQ(dspRoundTo16s_32f(halves, rounded, 6), kDspOk);
  const float expected[] = {1, -1, 2, 0, 32767, -32768};
  for (int i = 0; i < 6; ++i) EXPECT_EQ(rounded[i], expected[i]) << i;
}

}  // namespace

std::span<const FamilyCase> ToolCases() { return kCases; }

}  // namespace orbel
