// The filterbank where streams do not lead: sequences that no encoder makes, and the
// forward way of short windows.

#include "aac/filterbank.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>
#include <vector>

#include "aac/channel_stream.h"
#include "aac/windows.h"

namespace orbel {
namespace {

// Memory of the size that was asked for, at an odd multiple of 16.
struct Bank {
  explicit Bank(int32_t kinds, int32_t objectType) {
    int32_t size = 0;
    EXPECT_EQ(FilterbankInit(nullptr, nullptr, kinds, objectType, &size), 0);
    memory.resize(static_cast<size_t>(size) + 48);
    uint8_t* at = memory.data() + 48 - reinterpret_cast<uintptr_t>(memory.data()) % 32;
    EXPECT_EQ(FilterbankInit(&spec, at, kinds, objectType, nullptr), 0);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(spec.work) % 32, 0U);
  }
  std::vector<uint8_t> memory;
  FilterbankSpec spec;
};

// Sample n of one window of the sequence: 2048 samples, or the 256 of a short one.
double WindowAt(int32_t sequence, int32_t shape, int32_t prevShape, int n) {
  const FilterbankWindows& all = Windows();
  const bool isShort = sequence == kEightShort;
  const int half = isShort ? 128 : 1024;
  const bool rises = n < half;
  const int at = rises ? n : 2 * half - 1 - n;
  const int32_t use = rises ? prevShape : shape;
  if (isShort) return double{all.shortRising[use][at]};
  if (sequence != (rises ? kLongStop : kLongStart)) return double{all.longRising[use][at]};
  return at < 448 ? 0 : at < 576 ? double{all.shortRising[use][at - 448]} : 1;
}

// Lines of one window over the samples at `x`, appended.
void DirectForward(const float* x, int32_t sequence, int32_t shape, int32_t prevShape,
                   std::vector<float>* lines) {
  const size_t count = sequence == kEightShort ? 256 : 2048;
  std::vector<double> windowed;
  std::vector<double> cosines;
  for (size_t n = 0; n < count; ++n)
    windowed.push_back(double{x[n]} * WindowAt(sequence, shape, prevShape, int(n)));
  for (size_t i = 0; i < 4 * count; ++i)
    cosines.push_back(std::cos(std::numbers::pi / (2.0 * double(count)) * double(i)));
  for (size_t k = 0; k < count / 2; ++k) {
    double sum = 0;
    for (size_t n = 0; n < count; ++n)
      sum += windowed[n] * cosines[(2 * n + count / 2 + 1) * (2 * k + 1) % (4 * count)];
    lines->push_back(static_cast<float>(2 * sum));
  }
}

TEST(Filterbank, FlatAndEmptyParts) {
  const Bank bank(kTransformInverse, kObjectLc);
  std::vector<float> lines(1024);
  std::vector<float> before(1024);
  for (size_t i = 0; i < 1024; ++i) {
    lines[i] = static_cast<float>(i % 17) - 8;
    before[i] = static_cast<float>(i);
  }
  std::vector<float> out(1024);
  std::vector<float> kept(1024);
  for (int32_t sequence : {kLongStart, kEightShort, kLongStop}) {
    kept.assign(1024, 77);
    Filterbank(bank.spec, lines.data(), before.data(), sequence, 1, 0, out.data(), kept.data());
    for (size_t n = 576; n < 1024 && sequence != kLongStop; ++n) ASSERT_EQ(kept[n], 0) << n;
    for (size_t n = 0; n < 448 && sequence != kLongStart; ++n) ASSERT_EQ(out[n], before[n]) << n;
    EXPECT_NE(kept[575], 0);
    EXPECT_NE(out[448], before[448]);
  }
  // Silence lets the kept half out and leaves none.
  lines.assign(1024, 0);
  Filterbank(bank.spec, lines.data(), before.data(), kOnlyLong, 1, 0, out.data(), kept.data());
  EXPECT_EQ(out, before);
  EXPECT_EQ(kept, lines);
}

TEST(Filterbank, ForwardForPredictionEqualsTheDirectForm) {
  const Bank bank(kTransformInverse | kTransformForward, kObjectLtp);
  std::mt19937 random(3);
  std::vector<float> x(2048);
  for (float& sample : x) sample = static_cast<float>(int(random() % 65536) - 32768);
  for (int32_t sequence : {kOnlyLong, kLongStart, kEightShort, kLongStop}) {
    for (int32_t shapes = 0; shapes < 4; ++shapes) {
      std::vector<float> want;
      DirectForward(x.data(), sequence, shapes & 1, shapes >> 1, &want);
      std::vector<float> got(want.size());
      LtpForwardFilterbank(bank.spec, x.data(), sequence, shapes & 1, shapes >> 1, got.data());
      for (size_t k = 0; k < want.size(); ++k) ASSERT_NEAR(got[k], want[k], 1.0F) << sequence;
    }
  }
}

}  // namespace
}  // namespace orbel
