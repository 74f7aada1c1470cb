// The Huffman tables against the standard's books, and the tables of sampling frequencies.
#include <gtest/gtest.h>

#include <cmath>

#include "aac/code_tables.h"
#include "aac/huffman_tables.h"
#include "aac/sampling_tables.h"
#include "dsp/primitives.h"
#include "support/bit_writer.h"

namespace orbel {
namespace {

// That no word begins another is what building the tables checks.
TEST(HuffmanTables, AreComplete) {
  for (int32_t book = 0; book < kSpectrumBookCount; ++book) {
    ASSERT_NE(CodeTables()[book], nullptr) << book;
    const HuffmanCode* codes = book == 0 ? kScaleFactorCodes : kSpectrumBooks[book].codes;
    const int32_t count = book == 0 ? kScaleFactorCodeCount : kSpectrumBooks[book].count;
    double kraft = 0;
    for (int32_t i = 0; i < count; ++i) kraft += std::ldexp(1.0, -codes[i].length);
    EXPECT_EQ(kraft, 1.0) << book;
  }
  EXPECT_EQ(kScaleFactorCodes[60].length, 1);
  EXPECT_EQ(kScaleFactorCodes[120].word, 0x7FFF3U);
  EXPECT_EQ(kSpectrumBooks[1].codes[40].length, 1);
  EXPECT_EQ(kSpectrumBooks[11].codes[288].word, 0x4U);
}

// Prefixes that are too long: what they give is defined, and they end.
TEST(HuffmanTables, LongEscapesWrap) {
  const struct {
    int32_t ones;
    bool closed;    // by a zero
    uint32_t word;  // the bits behind
    int16_t want;
  } kCases[] = {{9, true, 5, 8192 + 5},        {10, true, 16383, 32767},
                {11, true, 1, -32767},         {12, true, 0x8000, -32768},
                {20, true, 0xABCDEF, -12817},  {24, true, 0xFFF1234, 0x1234},
                {24, false, 0xFFF1234, 0x1234}};
  for (const auto& escape : kCases) {
    BitWriter writer;
    writer.Put(kSpectrumBooks[11].codes[16 * 17 + 1].word, kSpectrumBooks[11].codes[273].length);
    writer.Put(0, 2);
    for (int32_t i = 0; i < escape.ones; ++i) writer.Put(1, 1);
    writer.Put(escape.closed ? 0 : 1, 1);
    writer.Put(escape.word, escape.ones + 4);
    writer.Put(kSpectrumBooks[11].codes[1].word, kSpectrumBooks[11].codes[1].length);
    writer.Put(1, 1);
    const uint8_t* bytes = writer.bytes.data();
    int32_t bitOffset = 0;
    int16_t got[4] = {};
    dspVlcDecodeEscape(&bytes, &bitOffset, bytes + writer.bytes.size(), got, 4, CodeTables()[11]);
    EXPECT_EQ(got[0], escape.want) << escape.ones;
    EXPECT_EQ(got[1], 1);
    EXPECT_EQ(got[2], 0);  // what follows is read in its place
    EXPECT_EQ(got[3], -1);
    EXPECT_EQ((bytes - writer.bytes.data()) * 8 + bitOffset, writer.position);
  }
}

TEST(SamplingTables, BandsFillTheWindow) {
  for (int32_t index = 0; index < 12; ++index) {
    for (const auto& [bands, lines] :
         {std::pair{kLongBands[index], 1024}, std::pair{kShortBands[index], 128}}) {
      EXPECT_EQ(bands.offsets[0], 0);
      EXPECT_EQ(bands.offsets[bands.count], lines);
      int32_t before = 0;
      for (int32_t i = 0; i < bands.count; ++i) {
        const int32_t width = bands.offsets[i + 1] - bands.offsets[i];
        EXPECT_TRUE(width > 0 && width % 4 == 0) << index << " band " << i;
        // Bands widen with frequency, but for the remainder at the end.
        EXPECT_TRUE(width + 4 >= before || i == bands.count - 1) << index << " band " << i;
        before = width;
      }
    }
    int32_t limits[4];
    for (int32_t type : {0, 1, 2, 3, 4}) {
      TnsLimits(index, type, limits);
      EXPECT_LE(limits[0], kShortBands[index].count);
      EXPECT_LE(limits[1], kLongBands[index].count);
      EXPECT_EQ(limits[2], 7);
      EXPECT_EQ(limits[3], type == 1 || type == 4 ? 20 : 12);
    }
    EXPECT_LE(kPredictorBands[index], kLongBands[index].count);
    EXPECT_EQ(SamplingIndexOf(SamplingFrequency(index)), index);
  }
  EXPECT_EQ(kLongBands[12].count + kShortBands[12].count + kPredictorBands[12], 0);
  EXPECT_EQ(kLongBands[12].offsets[0] + kShortBands[12].offsets[0], 0);
}

TEST(SamplingTables, SpotValues) {
  EXPECT_EQ(kLongBands[0].offsets[31], 384);
  EXPECT_EQ(kLongBands[3].offsets[28], 292);
  EXPECT_EQ(kLongBands[5].count, 51);
  EXPECT_EQ(kLongBands[8].offsets[36], 616);
  EXPECT_EQ(kShortBands[4].offsets[10], 68);
  EXPECT_EQ(kShortBands[11].offsets[8], 36);
  int32_t limits[4];
  TnsLimits(4, 2, limits);
  EXPECT_EQ(limits[0], 14);
  EXPECT_EQ(limits[1], 42);
  TnsLimits(2, 3, limits);
  EXPECT_EQ(limits[0], 7);
  EXPECT_EQ(limits[1], 27);
  EXPECT_EQ(SamplingFrequency(12), 7350);
  EXPECT_EQ(SamplingFrequency(13) + SamplingFrequency(-1) + SamplingFrequency(15), 0);
  EXPECT_EQ(SamplingIndexOf(92017), 0);
  EXPECT_EQ(SamplingIndexOf(92016), 1);
  EXPECT_EQ(SamplingIndexOf(9391), 10);
  EXPECT_EQ(SamplingIndexOf(9390), 11);
  EXPECT_EQ(SamplingIndexOf(0), 11);
  EXPECT_EQ(ChannelMask(6), 63);
  EXPECT_EQ(ChannelMask(5), 55);
  EXPECT_EQ(ChannelMask(7) + ChannelMask(0), 0);
}

}  // namespace
}  // namespace orbel
