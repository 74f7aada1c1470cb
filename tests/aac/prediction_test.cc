// The prediction tools as the decoder calls them.

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <vector>

#include "aac/long_term_prediction.h"
#include "aac/main_prediction.h"
#include "dsp/primitives.h"
#include "support/bit_writer.h"

namespace orbel {
namespace {

constexpr int32_t kLongBands[] = {0, 4, 12, 100, 640, 1024};
constexpr int32_t kShortBands[] = {0, 4, 8, 12, 16, 20, 28, 36, 44, 56, 68, 80, 96, 112, 128};

std::unique_ptr<IndividualChannelStream> MakeStream() {
  auto ics = std::make_unique<IndividualChannelStream>();
  ics->numSwbLong = 5;
  ics->numSwbShort = 14;
  ics->swbOffsetLong = kLongBands;
  ics->swbOffsetShort = kShortBands;
  return ics;
}

TEST(MainPrediction, ResetsWhatTheStreamSays) {
  const auto ics = MakeStream();
  ics->predMaxSfb = 4;
  ics->predictor_reset = 1;
  std::vector<uint8_t> memory(24 * 1024 + 288);
  MainPredictorState* state = nullptr;
  ASSERT_EQ(dspPredictInit(&state, 1024, memory.data()), kDspOk);
  std::vector<float> spectrum(1024, 1000.0F);
  for (int32_t group : {0, 31, 1, 30}) {
    ics->predictor_reset_group_number = group;
    ApplyMainPrediction(spectrum.data(), *ics, state);
    for (int32_t line = 0; line < 1024; ++line) {
      const bool reset = (group == 1 || group == 30) && line % 30 == group - 1;
      ASSERT_EQ(state->r0[line] == 0, reset || line >= 640) << group << ", line " << line;
    }
  }
  ics->window_sequence = kEightShort;
  const std::vector<float> before = spectrum;
  ApplyMainPrediction(spectrum.data(), *ics, state);
  EXPECT_EQ(spectrum, before);
  EXPECT_TRUE(std::all_of(state->r0, state->r0 + 1024, [](float r) { return r == 0; }));
}

// The filterbank's forward way has a test of its own; what goes into it and what is
// done with the result is worked out here.
class LongTermPrediction : public testing::Test {
 protected:
  static constexpr float kGains[8] = {0.570829F, 0.696616F, 0.813004F, 0.911304F,
                                      0.984900F, 1.067894F, 1.194601F, 1.369533F};

  void SetUp() override {
    const int32_t kinds = kTransformInverse | kTransformForward;
    int32_t size = 0;
    ASSERT_EQ(FilterbankInit(&spec_, nullptr, kinds, kObjectLtp, &size), 0);
    memory_.resize(static_cast<size_t>(size) + 16);
    ASSERT_EQ(FilterbankInit(&spec_, memory_.data(), kinds, kObjectLtp, &size), 0);
    std::mt19937 random(11);
    for (float& sample : timeline_)
      sample = static_cast<float>(static_cast<int32_t>(random() % 65536) - 32768);
    tns_.length[0][0] = 1024;
    tns_.lpc[0][0] = 1;
    tns_.lpc[0][1] = 0.75F;
    tns_.order[0][0] = tns_.direction[0][0] = tns_.windowCount = tns_.active = 1;
    ics_->ltp_data_present = 1;
  }

  // What is added to the lines of window w, 0 for a long one.
  void Expect(int32_t w, const float* spectrum) {
    const bool isShort = ics_->window_sequence == kEightShort;
    const int32_t count = isShort ? 256 : 2048;
    const int32_t start = (isShort ? 2824 - ics_->ltp_short_lag[w] : 2048) - ics_->ltp_lag;
    const int32_t missing = std::max(0, start + count - 3072);
    for (int32_t i = 0; i < count; ++i) {
      float& sample = held_[static_cast<size_t>(i)];
      if (isShort ? i < missing : start + i >= 3072) {
        sample = 0;
      } else if (start + i < 3072) {
        sample =
            kGains[ics_->ltp_coef] * timeline_[static_cast<size_t>(start) + static_cast<size_t>(i)];
      }
    }
    float lines[1024] = {};
    const int32_t prev = w == 0 ? context_.prevWindowShape : ics_->window_shape;
    LtpForwardFilterbank(spec_, held_.data(), ics_->window_sequence, ics_->window_shape, prev,
                         lines);
    for (int32_t k = 1023; k > 0 && ics_->tns_data_present != 0; --k)
      lines[k] += 0.75F * lines[k - 1];
    for (int32_t band = 0; band < (isShort ? 14 : 5); ++band) {
      const int32_t* at = &(isShort ? kShortBands : kLongBands)[band];
      const bool used = band < ics_->max_sfb &&
                        (isShort ? band < 8 && ics_->ltp_short_used[w] : ics_->ltp_long_used[band]);
      for (int32_t k = at[0]; k < at[1]; ++k)
        ASSERT_EQ(spectrum[k], used ? lines[k] : 0) << "window " << w << ", line " << k;
    }
  }

  void Run() {
    std::vector<float> spectrum(1024);
    ApplyLongTermPrediction(context_, *ics_, spectrum.data());
    if (ics_->window_sequence != kEightShort) return Expect(0, spectrum.data());
    for (int32_t w = 0; w < 8; ++w) {
      if (ics_->ltp_short_used[w] != 0) {
        Expect(w, &spectrum[static_cast<size_t>(128 * w)]);
      } else {
        for (size_t k = 0; k < 128; ++k) ASSERT_EQ(spectrum[static_cast<size_t>(128 * w) + k], 0);
      }
    }
  }

  FilterbankSpec spec_;
  std::vector<uint8_t> memory_;
  std::vector<float> timeline_ = std::vector<float>(3072);
  std::vector<float> work_ = std::vector<float>(kLtpWorkLength);
  std::vector<float> held_ = std::vector<float>(2048);  // stays from window to window
  TnsRecord tns_ = {};
  std::unique_ptr<IndividualChannelStream> ics_ = MakeStream();
  LtpContext context_ = {
      {&timeline_[0], &timeline_[1024], &timeline_[2048]}, 0, &spec_, &tns_, work_.data()};
};

TEST_F(LongTermPrediction, LongWindows) {
  constexpr int32_t kSequences[] = {kOnlyLong, kLongStart, kLongStop};
  constexpr int32_t kLags[] = {0, 1, 700, 1024, 1500, 2047};
  for (int run = 0; run < 6; ++run) {
    ics_->max_sfb = run == 5 ? 3 : 5;
    ics_->window_sequence = kSequences[run % 3];
    ics_->window_shape = run & 1;
    context_.prevWindowShape = run >> 1 & 1;
    ics_->ltp_lag = kLags[run];
    ics_->ltp_coef = run + (run > 2);
    ics_->tns_data_present = run == 2 || run == 3;
    for (int32_t band = 0; band < 5; ++band) ics_->ltp_long_used[band] = (run + band) % 3 != 0;
    Run();
  }
}

TEST_F(LongTermPrediction, ShortWindows) {
  constexpr int32_t kLags[] = {2047, 0, 3, 900, 8, 9};
  ics_->window_sequence = kEightShort;
  for (int run = 0; run < 6; ++run) {
    ics_->max_sfb = run == 5 ? 3 : 14;
    ics_->window_shape = run & 1;
    context_.prevWindowShape = run >> 1 & 1;
    ics_->ltp_lag = kLags[run];
    ics_->ltp_coef = run;
    for (int32_t w = 0; w < 8; ++w) {
      ics_->ltp_short_used[w] = run == 3 || (run + w) % 3 != 0;
      ics_->ltp_short_lag[w] = run == 1 ? w & 1 : 5 * w % 16;
    }
    Run();
  }
}

TEST(LtpData, IsParsedFieldByField) {
  const auto ics = MakeStream();
  const auto parse = [&ics](const BitWriter& bits) {
    BitReader reader;
    BitReaderInit(&reader, bits.bytes.data(), bits.bytes.size());
    LtpDataParse(ics.get(), &reader);
    EXPECT_EQ(GetBitPosition(reader), bits.position);
    EXPECT_EQ(ics->ltp_lag, 1027);
    EXPECT_EQ(ics->ltp_coef, 5);
  };
  BitWriter head;
  head.Put(1027, 11);
  head.Put(5, 3);

  BitWriter bits = head;  // of 49 bands the first 40 have a flag
  for (int32_t band = 0; band < 40; ++band) bits.Put(band % 3 == 0, 1);
  std::fill(std::begin(ics->ltp_long_used), std::end(ics->ltp_long_used), 7);
  ics->max_sfb = 49;
  parse(bits);
  for (int32_t band = 0; band < 49; ++band)
    EXPECT_EQ(ics->ltp_long_used[band], band < 40 && band % 3 == 0) << band;

  bits = head;  // windows without prediction, without a lag, with one
  for (uint32_t w = 0; w < 8; ++w) {
    constexpr int32_t kCounts[] = {1, 2, 6};
    const uint32_t values[] = {0, 2, 0x30 | w};
    bits.Put(values[w % 3], kCounts[w % 3]);
  }
  ics->window_sequence = kEightShort;
  parse(bits);
  for (int32_t w = 0; w < 8; ++w) {
    EXPECT_EQ(ics->ltp_short_used[w], w % 3 != 0);
    EXPECT_EQ(ics->ltp_short_lag[w], w % 3 == 2 ? w : 0);
  }
}

}  // namespace
}  // namespace orbel
