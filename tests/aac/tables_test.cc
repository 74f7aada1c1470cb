// The Huffman tables against the standard's books, and the tables of sampling frequencies.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

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

// A tuple as a coder writes it: word, signs, escapes.
void PutTuple(int32_t book, const std::vector<int32_t>& values, BitWriter& writer) {
  const SpectrumBook& data = kSpectrumBooks[book];
  int32_t row = 0;
  for (int32_t value : values) {
    if (data.isSigned) {
      row = row * (2 * data.largest + 1) + value + data.largest;
    } else {
      row = row * (data.largest + 1) + std::min(std::abs(value), data.largest);
    }
  }
  writer.Put(data.codes[row].word, data.codes[row].length);
  for (int32_t value : values) {
    if (!data.isSigned && value != 0) writer.Put(value < 0, 1);
  }
  for (int32_t value : values) {
    if (book != 11 || std::abs(value) < 16) continue;
    int32_t ones = 0;
    while (std::abs(value) >> (ones + 5) != 0) ++ones;
    for (int32_t i = 0; i < ones; ++i) writer.Put(1, 1);
    writer.Put(0, 1);
    writer.Put(static_cast<uint32_t>(std::abs(value) - (1 << (ones + 4))), ones + 4);
  }
}

TEST(HuffmanTables, EachTupleWithEachSignIsRead) {
  constexpr int32_t kCodes[] = {121, 81, 81, 625, 625, 81, 81, 225, 225, 625, 625, 1089};
  std::mt19937 random(3);
  for (int32_t book = 1; book <= 11; ++book) {
    const SpectrumBook& data = kSpectrumBooks[book];
    const int32_t side = 2 * data.largest + 1;
    std::vector<std::vector<int32_t>> tuples;
    for (int32_t i = 0; i < (data.dimension == 4 ? side * side * side * side : side * side); ++i) {
      std::vector<int32_t> tuple(static_cast<size_t>(data.dimension));
      for (int32_t k = data.dimension - 1, digits = i; k >= 0; --k, digits /= side) {
        tuple[static_cast<size_t>(k)] = digits % side - data.largest;
      }
      for (int32_t& value : tuple) {
        if (book != 11 || std::abs(value) < 16) continue;
        // Escaped values of every length.
        const int32_t ones = static_cast<int32_t>(random() % 9);
        value =
            (value < 0 ? -1 : 1) * static_cast<int32_t>((16U << ones) + random() % (16U << ones));
      }
      tuples.push_back(tuple);
    }
    EXPECT_EQ(static_cast<int32_t>(tuples.size()), kCodes[book]);
    std::shuffle(tuples.begin(), tuples.end(), random);
    BitWriter writer;
    std::vector<int16_t> want;
    for (const auto& tuple : tuples) {
      PutTuple(book, tuple, writer);
      want.insert(want.end(), tuple.begin(), tuple.end());
    }
    const auto block = writer.Exact(writer.bytes.size());
    const uint8_t* bytes = block.get();
    const uint8_t* end = bytes + writer.bytes.size();
    int32_t bitOffset = 0;
    std::vector<int16_t> got(want.size());
    const int32_t count = static_cast<int32_t>(tuples.size());
    const DspVlcTable* table = CodeTables()[book];
    if (book < 5) {
      dspVlcDecodeQuads_16s(&bytes, &bitOffset, end, got.data(), count, kQuadFieldBits[book],
                            table);
    } else if (book < 11) {
      dspVlcDecodePairs_16s(&bytes, &bitOffset, end, got.data(), count, table);
    } else {
      dspVlcDecodeEscape(&bytes, &bitOffset, end, got.data(), 2 * count, table);
    }
    EXPECT_EQ(got, want) << "book " << book;
    EXPECT_EQ((bytes - block.get()) * 8 + bitOffset, writer.position) << "book " << book;
  }
}

TEST(HuffmanTables, ScaleFactorsAreRead) {
  BitWriter writer;
  for (const HuffmanCode& code : kScaleFactorCodes) writer.Put(code.word, code.length);
  const uint8_t* bytes = writer.bytes.data();
  int32_t bitOffset = 0;
  for (int32_t i = 0; i < kScaleFactorCodeCount; ++i) {
    int32_t value = -1;
    dspVlcDecodeOne(&bytes, &bitOffset, writer.bytes.data() + writer.bytes.size(), &value,
                    CodeTables()[0]);
    ASSERT_EQ(value, i);
  }
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
    PutTuple(11, {-8191, 8191}, writer);
    const uint8_t* bytes = writer.bytes.data();
    int32_t bitOffset = 0;
    int16_t got[4] = {};
    dspVlcDecodeEscape(&bytes, &bitOffset, bytes + writer.bytes.size(), got, 4, CodeTables()[11]);
    EXPECT_EQ(got[0], escape.want) << escape.ones;
    EXPECT_EQ(got[1], 1);
    EXPECT_EQ(got[2], -8191);
    EXPECT_EQ(got[3], 8191);
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
