// The predictor against the steps of ISO/IEC 14496-3, line by line and with the
// reciprocal as the product of its two tables.

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <set>
#include <vector>

#include "dsp/primitives.h"

namespace orbel {
namespace {

float CutBits(float v) { return std::bit_cast<float>(std::bit_cast<uint32_t>(v) & 0xFFFF0000U); }
float RoundBits(float v) {
  return std::bit_cast<float>((std::bit_cast<uint32_t>(v) + 0x8000U) & 0xFFFF0000U);
}

struct ModelLine {
  float cor[2] = {0, 0}, var[2] = {1, 1}, r[2] = {0, 0};
};

std::set<uint32_t> mantissasSeen;

float TableReciprocal(float variance) {
  const uint32_t bits = std::bit_cast<uint32_t>(variance);
  const int32_t exponent = static_cast<int32_t>(bits >> 23);
  if (exponent < 128) return 0;
  mantissasSeen.insert(bits >> 16 & 127);
  const double exact = 0.953125 / (1 + (bits >> 16 & 127) / 128.0);  // 0.47 to 0.95
  const double unit = exact < 0.5 ? 0x1p-9 : 0x1p-8;
  return static_cast<float>(std::nearbyint(exact / unit) * unit) *
         static_cast<float>(std::ldexp(1.0, 127 - exponent));
}

float ModelStep(ModelLine& s, float x, bool used) {
  const float k0 = s.cor[0] * TableReciprocal(s.var[0]);
  const float k1 = s.cor[1] * TableReciprocal(s.var[1]);
  const float p0 = s.r[0] * k0;
  if (used) x += RoundBits(s.r[1] * k1 + p0);
  const float input[2] = {x, x - p0};
  for (int i = 0; i < 2; ++i) {
    s.cor[i] = CutBits(0.90625F * s.cor[i] + s.r[i] * input[i]);
    s.var[i] = CutBits((s.r[i] * s.r[i] + input[i] * input[i]) * 0.5F + 0.90625F * s.var[i]);
  }
  s.r[1] = CutBits((s.r[0] - k0 * x) * 0.953125F);
  s.r[0] = CutBits(x * 0.953125F);
  return x;
}

class Prediction : public testing::Test {
 protected:
  static constexpr int32_t kLines = 1022;  // no multiple of 4
  static constexpr int32_t kPredicted = 670;

  void SetUp() override {
    int32_t size = 0;
    ASSERT_EQ(dspPredictGetSize(kLines, &size), kDspOk);
    ASSERT_EQ(size, 24 * kLines + 288);
    memory_.resize(static_cast<size_t>(size));
    ASSERT_EQ(dspPredictInit(&state_, kLines, memory_.data()), kDspOk);
  }

  void ExpectEqual(const ModelLine& want, int32_t line) const {
    const float got[] = {state_->cor0[line], state_->cor1[line], state_->var0[line],
                         state_->var1[line], state_->r0[line],   state_->r1[line]};
    // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison): bits are compared
    ASSERT_EQ(std::memcmp(got, &want, sizeof got), 0) << "line " << line;
  }

  std::vector<uint8_t> memory_;
  MainPredictorState* state_ = nullptr;
};

TEST_F(Prediction, EqualsTheTableForm) {
  const int32_t offsets[] = {0, 4, 21, 100, 400, kPredicted};
  std::vector<ModelLine> model(kLines);
  std::vector<float> spectrum(kLines);
  std::mt19937 random(7);
  const auto uniform = [&random] { return static_cast<float>(random()) * 0x1p-31F - 1; };
  int32_t predicted = 0;
  for (int frame = 0; frame < 200; ++frame) {
    uint8_t used[5];
    for (uint8_t& flag : used) flag = random() & 1;
    for (int32_t i = 0; i < kLines; ++i) {  // a tone in noise, levels from 1 to 2^20; then silence
      const size_t at = static_cast<size_t>(i);
      const float level = frame < 150 ? std::exp2(static_cast<float>(i % 21)) : 0;
      spectrum[at] = level * (std::sin(0.3F * static_cast<float>(frame * (i % 7))) + uniform());
    }
    std::vector<float> want = spectrum;
    for (int32_t band = 0; band < 5; ++band) {
      for (int32_t i = offsets[band]; i < offsets[band + 1]; ++i) {
        const size_t at = static_cast<size_t>(i);
        want[at] = ModelStep(model[at], want[at], used[band] != 0);
        predicted += want[at] != spectrum[at];
      }
    }
    ASSERT_EQ(dspPredictBands_32f(spectrum.data(), offsets, 5, used, state_), kDspOk);
    ASSERT_EQ(spectrum, want) << "frame " << frame;
    if (frame % 16 == 9) {
      const int32_t group = frame % 30;
      ASSERT_EQ(dspPredictResetGroup_32f(30, group, state_), kDspOk);
      for (size_t i = static_cast<size_t>(group); i < model.size(); i += 30) model[i] = {};
    }
    for (int32_t i = 0; i < kLines; ++i) ExpectEqual(model[static_cast<size_t>(i)], i);
  }
  EXPECT_GT(predicted, 10000);
  EXPECT_EQ(mantissasSeen.size(), 128U);
  ASSERT_EQ(dspPredictReset_32f(state_), kDspOk);
  for (int32_t i = 0; i < kLines; ++i) ExpectEqual({}, i);
}

// Spectra that no encoder makes must leave a state that works, and the silence after
// them must lead to zero without a stay in the denormals.
TEST_F(Prediction, StatesStayInRange) {
  const int32_t offsets[] = {0, kLines};
  const uint8_t used[] = {1};
  std::vector<float> spectrum(kLines);
  std::mt19937 random(3);
  constexpr float kInf = std::numeric_limits<float>::infinity();
  const float lines[] = {kInf, -kInf, kInf - kInf, 0x1p70F, 0x1.8p39F, -0x1.4p39F, -3e38F, 1e-38F};
  for (int frame = 0; frame < 3000; ++frame) {
    for (float& line : spectrum) line = frame < 1000 ? lines[random() % (3 + frame % 6)] : 0.0F;
    const std::vector<float> before = spectrum;
    dspPredictBands_32f(spectrum.data(), offsets, 1, used, state_);
    for (size_t i = 0; i < spectrum.size(); ++i)
      ASSERT_EQ(std::isfinite(spectrum[i]), std::isfinite(before[i]));
    for (const float* array : {state_->cor0, state_->cor1, state_->var0, state_->var1}) {
      for (int32_t i = 0; i < kLines; ++i)
        ASSERT_TRUE(array[i] == 0 || std::fabs(array[i]) >= 0x1p-100F) << "frame " << frame;
    }
  }
  EXPECT_EQ(*std::max_element(state_->var1, state_->var1 + kLines), 0);
}

TEST_F(Prediction, Statuses) {
  const int32_t offsets[] = {0, 4};
  const uint8_t used[] = {1};
  float spectrum[4] = {};
  int32_t size = 0;
  EXPECT_EQ(dspPredictGetSize(0, &size), kDspBadLength);
  EXPECT_EQ(dspPredictGetSize(0x7FFFFFFF, &size), kDspBadLength);
  EXPECT_EQ(dspPredictInit(&state_, 4, nullptr), kDspNullPointer);
  EXPECT_EQ(dspPredictBands_32f(spectrum, offsets, 0, used, state_), kDspBadLength);
  EXPECT_EQ(dspPredictBands_32f(spectrum, offsets, 1, used, nullptr), kDspNullPointer);
  EXPECT_EQ(dspPredictResetGroup_32f(0, 0, state_), kDspBadLength);
  state_->mark = 58;
  EXPECT_EQ(dspPredictBands_32f(spectrum, offsets, 1, used, state_), kDspBadState);
  EXPECT_EQ(dspPredictResetGroup_32f(30, 0, state_), kDspBadState);
  EXPECT_EQ(dspPredictReset_32f(state_), kDspBadState);
}

}  // namespace
}  // namespace orbel
