// The filterbank against a forward transform written as its definition.

#include "aac/filterbank.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <random>
#include <tuple>
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

// Full scale comes back at full scale, through all window kinds, shapes and changes.
TEST(Filterbank, ReconstructsPerfectly) {
  const Bank bank(kTransformInverse, kObjectLc);
  constexpr int kFrames = 40;
  std::mt19937 random(7);
  std::vector<float> signal(1024 * (kFrames + 1));
  for (float& sample : signal) sample = random() % 2 != 0 ? 32767.0F : -32768.0F;
  std::vector<float> kept(1024);
  std::vector<float> out(1024);
  std::array<int, 4> seen = {};
  int32_t sequence = kOnlyLong;
  int32_t prevShape = 0;
  for (int frame = 0; frame < kFrames; ++frame) {
    const bool fromShort = sequence == kLongStart || sequence == kEightShort;
    const bool toShort = random() % 2 != 0;
    if (fromShort) {
      sequence = toShort ? kEightShort : kLongStop;
    } else {
      sequence = toShort ? kLongStart : kOnlyLong;
    }
    ++seen[size_t(sequence)];
    const auto shape = static_cast<int32_t>(random() % 2);
    const float* x = signal.data() + 1024 * frame;
    std::vector<float> lines;
    if (sequence == kEightShort) {
      for (int w = 0; w < 8; ++w)
        DirectForward(x + 448 + 128 * w, sequence, shape, w == 0 ? prevShape : shape, &lines);
    } else {
      DirectForward(x, sequence, shape, prevShape, &lines);
    }
    Filterbank(bank.spec, lines.data(), kept.data(), sequence, shape, prevShape, out.data(),
               kept.data());
    for (size_t n = 0; frame > 0 && n < 1024; ++n)
      ASSERT_NEAR(out[n], x[n], 0.05) << "frame " << frame << " sequence " << sequence;
    prevShape = shape;
  }
  for (int count : seen) EXPECT_GT(count, 2);
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

// Values of rising halves, and sums of them at index -1, calculated apart with 64-bit floats.
TEST(Windows, KaiserBesselValues) {
  const FilterbankWindows& all = Windows();
  struct Spot {
    const float* rising;
    int length;
    int n;
    double value;
  };
  const auto& [c, s, ssrLong, ssrShort] =
      std::tie(all.longRising[1], all.shortRising[1], all.ssrLongRising[1], all.ssrShortRising[1]);
  const Spot spots[] = {
      {c, 1024, 0, 0.000292561534838},       {c, 1024, 128, 0.039608205833394},
      {c, 1024, 511, 0.706119339105634},     {c, 1024, 768, 0.984164851197866},
      {c, 1024, 1023, 0.999999957203873},    {c, 1024, -1, 606.781832908936},
      {s, 128, 0, 0.000043795704094},        {s, 128, 16, 0.013619707410347},
      {s, 128, 63, 0.697406466302381},       {s, 128, 96, 0.994671056511039},
      {s, 128, 127, 0.999999999040968},      {s, 128, -1, 73.915037150328},
      {ssrLong, 256, 0, 0.000585123004197},  {ssrLong, 256, 127, 0.703148693723597},
      {ssrLong, 256, -1, 151.695035903331},  {ssrShort, 32, 4, 0.017124029349669},
      {ssrShort, 32, 24, 0.996196408989750}, {ssrShort, 32, -1, 18.470522505244},
  };
  for (const Spot& spot : spots) {
    double got = spot.n < 0 ? 0 : double{spot.rising[spot.n]};
    for (int n = 0; spot.n < 0 && n < spot.length; ++n) got += double{spot.rising[n]};
    EXPECT_NEAR(got, spot.value, spot.n < 0 ? 1e-5 : 4e-8) << spot.length << " " << spot.n;
  }
  EXPECT_NEAR(all.longRising[0][0], std::sin(std::numbers::pi / 4096), 1e-10);
  EXPECT_NEAR(all.ssrShortFalling[0][0], std::cos(std::numbers::pi / 128), 1e-7);
}

}  // namespace
}  // namespace orbel
