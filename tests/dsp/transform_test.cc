// The transforms against the sums that they stand for.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>
#include <vector>

#include "dsp/primitives.h"

namespace orbel {
namespace {

constexpr int32_t kLengths[] = {2048, 512, 256, 64};
constexpr float kGuard = 77;

std::vector<float> Noise(int32_t count, uint32_t seed) {
  std::mt19937 random(seed);
  std::vector<float> values;
  for (int32_t i = 0; i < count; ++i) {
    values.push_back(static_cast<float>(static_cast<int32_t>(random() % 65536) - 32768));
  }
  return values;
}

// A transform with memory of just the sizes that it asked for.
template <typename Spec, auto kGetSize, auto kInit>
struct Transform {
  explicit Transform(int32_t samples) {
    int32_t specSize = 0;
    int32_t initSize = 0;
    int32_t workSize = 0;
    EXPECT_EQ(kGetSize(samples, &specSize, &initSize, &workSize), kDspOk);
    memory.resize(static_cast<size_t>(specSize));
    work.resize(static_cast<size_t>(workSize));
    std::vector<uint8_t> init(static_cast<size_t>(initSize));
    EXPECT_EQ(kInit(&spec, samples, memory.data(), init.data()), kDspOk);
  }
  std::vector<uint8_t> memory;
  std::vector<uint8_t> work;
  Spec* spec = nullptr;
};
using Inverse = Transform<DspImdctSpec, dspImdctGetSize_32f, dspImdctInit_32f>;
using Forward = Transform<DspMdctFwdSpec, dspMdctFwdGetSize_32f, dspMdctFwdInit_32f>;

void ExpectNear(const std::vector<double>& want, const std::vector<float>& got) {
  double most = 0;
  double error = 0;
  for (size_t i = 0; i < want.size(); ++i) {
    most = std::max(most, std::abs(want[i]));
    error = std::max(error, std::abs(want[i] - double{got[i]}));
  }
  EXPECT_LT(error, 1e-6 * most);
}

TEST(Transform, EqualsTheDirectSum) {
  for (int32_t samples : kLengths) {
    Inverse inverse(samples);
    Forward forward(samples);
    const auto count = static_cast<size_t>(samples);
    const std::vector<float> x = Noise(samples, 1);
    std::vector<float> lines(count / 2 + 1, kGuard);
    std::vector<float> back(count + 1, kGuard);
    ASSERT_EQ(dspMdctFwd_32f(x.data(), lines.data(), forward.spec, forward.work.data()), kDspOk);
    ASSERT_EQ(dspImdct_32f(lines.data(), back.data(), inverse.spec, inverse.work.data()), kDspOk);
    EXPECT_EQ(lines.back(), kGuard);
    EXPECT_EQ(back.back(), kGuard);

    std::vector<double> wantLines(count / 2);
    std::vector<double> wantBack(count);
    for (size_t n = 0; n < count; ++n) {
      for (size_t k = 0; k < count / 2; ++k) {
        const double phase = (double(n) + double(count + 2) / 4) * (double(k) + 0.5);
        const double term = 2 * std::cos(2 * std::numbers::pi / samples * phase);
        wantLines[k] += term * double{x[n]};
        wantBack[n] += term / samples * double{lines[k]};
      }
    }
    ExpectNear(wantLines, lines);
    ExpectNear(wantBack, back);
  }
}

// The fused form is what the plain transform, two products and a sum give.
TEST(Transform, WindowAndOverlapEqualTheirParts) {
  for (int32_t samples : kLengths) {
    Inverse inverse(samples);
    const int32_t half = samples / 2;
    const std::vector<float> lines = Noise(half, 2);
    const std::vector<float> rising = Noise(half, 3);
    const std::vector<float> falling = Noise(half, 4);
    std::vector<float> kept = Noise(half, 5);
    std::vector<float> x = Noise(samples, 6);
    std::vector<float> want = kept;
    std::vector<float> wantKept = kept;
    std::vector<float> output = kept;
    dspImdct_32f(lines.data(), x.data(), inverse.spec, inverse.work.data());
    dspMul_32f(x.data(), rising.data(), want.data(), half);
    dspAdd_32f(kept.data(), want.data(), want.data(), half);
    dspMul_32f(x.data() + half, falling.data(), wantKept.data(), half);
    dspImdctWindowOverlap_32f(lines.data(), rising.data(), falling.data(), kept.data(),
                              output.data(), kept.data(), inverse.spec, inverse.work.data());
    EXPECT_EQ(output, want) << samples;
    EXPECT_EQ(kept, wantKept) << samples;
  }
}

TEST(Transform, RefusesWhatItCannotDo) {
  uint8_t memory[64];
  int32_t size = 0;
  DspImdctSpec* spec = nullptr;
  for (int32_t samples : {INT32_MIN, 0, 128, 1920, 4096, INT32_MAX}) {
    EXPECT_EQ(dspImdctGetSize_32f(samples, &size, &size, &size), kDspBadLength);
    EXPECT_EQ(dspImdctInit_32f(&spec, samples, memory, nullptr), kDspBadLength);
  }
  EXPECT_EQ(spec, nullptr);
  EXPECT_EQ(dspImdctInit_32f(&spec, 2048, nullptr, nullptr), kDspNullPointer);
  float x = 0;
  EXPECT_EQ(dspImdct_32f(&x, &x, nullptr, memory), kDspNullPointer);
}

TEST(FloatVectors, SilenceIsBothZeros) {
  std::vector<float> values(37, -0.0F);
  int32_t result = 2;
  for (size_t last : {0, 15, 16, 36}) {
    values[last] = 1e-45F;
    EXPECT_EQ(dspIsZero_32f(values.data(), 37, &result), kDspOk);
    EXPECT_EQ(result, 0);
    values[last] = 0;
  }
  EXPECT_EQ(dspIsZero_32f(values.data(), 37, &result), kDspOk);
  EXPECT_EQ(result, 1);
}

}  // namespace
}  // namespace orbel
