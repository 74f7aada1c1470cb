// Vector arithmetic: the rules' edges, against arithmetic without limits.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "dsp/primitives.h"

namespace orbel {
namespace {

using Samples = std::vector<int16_t>;

const Samples kSamples = {-32768, 32767, 0, -1, 1, 5, -5, 12345, -12345, 2, -2, 100, -32767};

int32_t Length(const Samples& v) { return static_cast<int32_t>(v.size()); }

// (value + half a unit) / 2^scale, towards minus infinity, held within 16 bits.
int16_t Scaled(double value, int32_t scale) {
  const double unit = std::ldexp(1.0, scale);
  const double rounded = std::floor((value + (scale > 0 ? unit / 2 : 0)) / unit);
  return static_cast<int16_t>(std::clamp(rounded, -32768.0, 32767.0));
}

TEST(VectorArithmetic, MultiplyWithScale) {
  for (int32_t scale : {0, 1, 7, 14, 15, 16, 29, 30, 31, 32, 33, 63, 64, 1000, 0x7FFFFFFF}) {
    for (int16_t value : kSamples) {
      Samples out(kSamples.size());
      Samples inPlace = kSamples;
      ASSERT_EQ(dspMulC_16s_Sfs(kSamples.data(), value, out.data(), Length(out), scale), kDspOk);
      ASSERT_EQ(dspMulC_16s_ISfs(value, inPlace.data(), Length(out), scale), kDspOk);
      EXPECT_EQ(inPlace, out);
      for (size_t i = 0; i < out.size(); ++i) {
        ASSERT_EQ(out[i], Scaled(1.0 * kSamples[i] * value, std::min(scale, 100)))
            << kSamples[i] << " * " << value << " scale " << scale;
      }
    }
  }
}

TEST(VectorArithmetic, Sums) {
  Samples other = kSamples;
  std::rotate(other.begin(), other.begin() + 1, other.end());
  Samples out(kSamples.size());
  ASSERT_EQ(dspAdd_16s(kSamples.data(), other.data(), out.data(), Length(out)), kDspOk);
  for (size_t i = 0; i < out.size(); ++i) EXPECT_EQ(out[i], Scaled(kSamples[i] + other[i], 0));
  for (int32_t scale : {0, 1, 15, 16, 17, 18, 32, 1000}) {
    out = other;
    ASSERT_EQ(dspAdd_16s_ISfs(kSamples.data(), out.data(), Length(out), scale), kDspOk);
    for (size_t i = 0; i < out.size(); ++i) {
      EXPECT_EQ(out[i], Scaled(kSamples[i] + other[i], scale)) << scale;
    }
  }
  for (int16_t value : {0, 30000, -30000}) {
    out = kSamples;
    ASSERT_EQ(dspAddC_16s_I(value, out.data(), Length(out)), kDspOk);
    for (size_t i = 0; i < out.size(); ++i) EXPECT_EQ(out[i], Scaled(kSamples[i] + value, 0));
  }
}

TEST(VectorArithmetic, Shifts) {
  for (int32_t count : {0, 1, 8, 15, 16, 17, 31, 32, 1000}) {
    Samples out(kSamples.size());
    Samples inPlace = kSamples;
    ASSERT_EQ(dspRShiftC_16s(kSamples.data(), count, out.data(), Length(out)), kDspOk);
    ASSERT_EQ(dspRShiftC_16s_I(count, inPlace.data(), Length(out)), kDspOk);
    EXPECT_EQ(inPlace, out);
    for (size_t i = 0; i < out.size(); ++i) {
      EXPECT_EQ(out[i], std::floor(std::ldexp(kSamples[i], -std::min(count, 100)))) << count;
    }
  }
}

TEST(VectorArithmetic, MovingAndExtremes) {
  Samples out = kSamples;
  ASSERT_EQ(dspMove_16s(out.data(), out.data() + 2, Length(out) - 2), kDspOk);
  EXPECT_TRUE(std::equal(out.begin() + 2, out.end(), kSamples.begin()));
  int16_t result = 0;
  for (size_t first = 0; first < kSamples.size(); ++first) {
    const int32_t length = static_cast<int32_t>(kSamples.size() - first);
    ASSERT_EQ(dspMax_16s(&kSamples[first], length, &result), kDspOk);
    EXPECT_EQ(result, *std::max_element(kSamples.begin() + first, kSamples.end()));
    ASSERT_EQ(dspMin_16s(&kSamples[first], length, &result), kDspOk);
    EXPECT_EQ(result, *std::min_element(kSamples.begin() + first, kSamples.end()));
  }
}

// An empty pointer comes before a bad length, and that before all else; nothing is
// written then.
TEST(VectorArithmetic, Refusals) {
  int16_t a[2] = {1, 2};
  int16_t b[2] = {3, 4};
  uint8_t c[2] = {5, 6};
  EXPECT_EQ(dspMulC_16s_Sfs(nullptr, 1, b, 0, -1), kDspNullPointer);
  EXPECT_EQ(dspMulC_16s_Sfs(a, 1, b, 0, -1), kDspBadLength);
  EXPECT_EQ(dspMulC_16s_Sfs(a, 1, b, 1, -1), kDspBadScale);
  EXPECT_EQ(dspMulC_16s_ISfs(1, nullptr, 1, -1), kDspNullPointer);
  EXPECT_EQ(dspMulC_16s_ISfs(1, b, 1, -1), kDspBadScale);
  EXPECT_EQ(dspAdd_16s(a, nullptr, b, 1), kDspNullPointer);
  EXPECT_EQ(dspAdd_16s(a, a, b, -5), kDspBadLength);
  EXPECT_EQ(dspAdd_16s_ISfs(a, b, 0, 17), kDspBadLength);
  EXPECT_EQ(dspAdd_16s_ISfs(a, b, 1, -1), kDspBadScale);
  EXPECT_EQ(dspAddC_16s_I(0, nullptr, 1), kDspNullPointer);
  EXPECT_EQ(dspAddC_16s_I(0, b, 0), kDspBadLength);
  EXPECT_EQ(dspRShiftC_16s(a, -1, b, 0), kDspBadLength);
  EXPECT_EQ(dspRShiftC_16s(a, -1, b, 1), kDspBadShift);
  EXPECT_EQ(dspRShiftC_16s_I(-1, b, 1), kDspBadShift);
  EXPECT_EQ(dspMax_16s(a, 0, b), kDspBadLength);
  EXPECT_EQ(dspMin_16s(a, 1, nullptr), kDspNullPointer);
  EXPECT_EQ(dspCopy_16s(a, b, 0), kDspBadLength);
  EXPECT_EQ(dspMove_16s(nullptr, b, 1), kDspNullPointer);
  EXPECT_EQ(dspZero_8u(c, -1), kDspBadLength);
  EXPECT_EQ(dspALawToLin_8u16s(nullptr, b, 1), kDspNullPointer);
  EXPECT_EQ(dspLinToMuLaw_16s8u(a, c, 0), kDspBadLength);
  EXPECT_EQ(b[0], 3);
  EXPECT_EQ(c[0], 5);
}

}  // namespace
}  // namespace orbel
