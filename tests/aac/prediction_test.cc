// Long-term prediction where no stream leads: short windows. Long ones are in the
// hand-made streams.

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <vector>

#include "aac/long_term_prediction.h"
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
    ics_->ltp_data_present = 1;
  }

  // What is added to the lines of window w.
  void Expect(int32_t w, const float* spectrum) {
    const int32_t start = 2824 - ics_->ltp_short_lag[w] - ics_->ltp_lag;
    const int32_t missing = std::max(0, start + 256 - 3072);
    for (int32_t i = 0; i < 256; ++i) {
      float& sample = held_[static_cast<size_t>(i)];
      if (i < missing) {
        sample = 0;
      } else if (start + i < 3072) {
        sample =
            kGains[ics_->ltp_coef] * timeline_[static_cast<size_t>(start) + static_cast<size_t>(i)];
      }
    }
    float lines[128] = {};
    const int32_t prev = w == 0 ? context_.prevWindowShape : ics_->window_shape;
    LtpForwardFilterbank(spec_, held_.data(), kEightShort, ics_->window_shape, prev, lines);
    for (int32_t band = 0; band < 14; ++band) {
      const bool used = band < ics_->max_sfb && band < 8 && ics_->ltp_short_used[w];
      for (int32_t k = kShortBands[band]; k < kShortBands[band + 1]; ++k)
        ASSERT_EQ(spectrum[k], used ? lines[k] : 0) << "window " << w << ", line " << k;
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
    std::vector<float> spectrum(1024);
    ApplyLongTermPrediction(context_, *ics_, spectrum.data());
    for (size_t w = 0; w < 8; ++w) {
      if (ics_->ltp_short_used[w] != 0) {
        Expect(static_cast<int32_t>(w), &spectrum[128 * w]);
      } else {
        for (size_t k = 0; k < 128; ++k) ASSERT_EQ(spectrum[128 * w + k], 0);
      }
    }
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
