// Variable length codes on random codes, spectral values against double arithmetic.
#include <gtest/gtest.h>

#include <bit>
#include <cfenv>
#include <cmath>
#include <limits>
#include <memory>
#include <random>
#include <vector>

#include "dsp/primitives.h"
#include "support/bit_writer.h"

namespace orbel {
namespace {

// A complete code: words are split in two until there are `count`, most often long ones.
std::vector<DspVlcCode> RandomCode(int32_t count, int32_t maxLength, std::mt19937& random) {
  std::vector<DspVlcCode> codes = {{0, 1, 0}, {1, 1, 0}};
  while (static_cast<int32_t>(codes.size()) < count) {
    DspVlcCode& split = codes[random() % 4 != 0 ? codes.size() - 1 : random() % codes.size()];
    if (split.length >= maxLength) {
      std::swap(codes[random() % codes.size()], codes.back());
      continue;
    }
    split = {split.code << 1, static_cast<int16_t>(split.length + 1), 0};
    codes.push_back({split.code | 1, split.length, 0});
  }
  for (DspVlcCode& code : codes) code.value = static_cast<int16_t>(random());
  return codes;
}

using Levels = std::vector<int32_t>;

int32_t Build(const std::vector<DspVlcCode>& codes, const Levels& levels,
              std::unique_ptr<uint64_t[]>* memory) {
  int32_t size = 0;
  const int32_t count = static_cast<int32_t>(codes.size());
  const int32_t depth = static_cast<int32_t>(levels.size());
  if (const int32_t bad = dspVlcGetSize(codes.data(), count, levels.data(), depth, &size)) {
    return bad;
  }
  *memory = std::make_unique<uint64_t[]>((static_cast<size_t>(size) + 7) / 8);
  return dspVlcInit(codes.data(), count, levels.data(), depth,
                    reinterpret_cast<DspVlcTable*>(memory->get()));
}

TEST(VariableLengthCodes, WhatIsWrittenIsRead) {
  const struct {
    int32_t count, maxLength;
    Levels levels;
  } kCases[] = {{2, 1, {1}},          {2, 1, {12}},         {40, 9, {9}},
                {40, 9, {4, 5}},      {121, 19, {8, 6, 5}}, {625, 24, {10, 5, 10}},
                {625, 24, {8, 8, 8}}, {1089, 14, {10, 4}},  {300, 22, {12, 10}}};
  std::mt19937 random(7);
  for (const auto& testCase : kCases) {
    const auto codes = RandomCode(testCase.count, testCase.maxLength, random);
    std::unique_ptr<uint64_t[]> memory;
    ASSERT_EQ(Build(codes, testCase.levels, &memory), kDspOk) << testCase.count;
    const auto* table = reinterpret_cast<const DspVlcTable*>(memory.get());
    for (int32_t start = 0; start < 8; ++start) {
      BitWriter writer;
      writer.Put(0xFF, start);
      std::vector<int16_t> want;
      for (const DspVlcCode& code : codes) {
        const DspVlcCode& other = codes[random() % codes.size()];
        for (const DspVlcCode& put : {code, other}) {
          writer.Put(put.code, put.length);
          want.push_back(put.value);
        }
      }
      const size_t size = writer.bytes.size();
      const auto block = writer.Exact(size);
      for (int32_t count : {1, 2, 3, 5, 70, static_cast<int32_t>(want.size())}) {
        if (count > static_cast<int32_t>(want.size())) continue;
        std::vector<int16_t> got(static_cast<size_t>(count));
        const uint8_t* one = block.get();
        int32_t oneOffset = start;
        for (int32_t i = 0; i < count; ++i) {
          int32_t value = 0;
          ASSERT_EQ(dspVlcDecodeOne(&one, &oneOffset, block.get() + size, &value, table), kDspOk);
          ASSERT_EQ(value, want[static_cast<size_t>(i)]);
        }
        const uint8_t* bytes = block.get();
        int32_t bitOffset = start;
        ASSERT_EQ(
            dspVlcDecodeBlock(&bytes, &bitOffset, block.get() + size, got.data(), count, table),
            kDspOk);
        ASSERT_TRUE(std::equal(got.begin(), got.end(), want.begin())) << "start " << start;
        ASSERT_EQ(bytes, one);
        ASSERT_EQ(bitOffset, oneOffset);
        if (count == static_cast<int32_t>(want.size())) {
          ASSERT_EQ((bytes - block.get()) * 8 + bitOffset, writer.position);
        }
      }
    }
  }
}

// Cut anywhere, a stream reads as if zeros followed; the sanitizers watch its ends.
TEST(VariableLengthCodes, BehindTheEndAreZeros) {
  std::mt19937 random(8);
  const auto codes = RandomCode(300, 17, random);
  std::unique_ptr<uint64_t[]> memory;
  ASSERT_EQ(Build(codes, {8, 5, 4}, &memory), kDspOk);
  const auto* table = reinterpret_cast<const DspVlcTable*>(memory.get());
  BitWriter writer;
  for (int i = 0; i < 20; ++i) writer.Put(random(), 8);
  for (size_t size = 1; size <= writer.bytes.size(); ++size) {
    const auto cut = writer.Exact(size);
    auto padded = std::make_unique<uint8_t[]>(size + 2000);
    std::copy(cut.get(), cut.get() + size, padded.get());
    for (int32_t decoder = 0; decoder < 4; ++decoder) {
      const auto run = [&](const uint8_t* from, const uint8_t* end, int32_t start,
                           std::vector<int16_t>& out) {
        const uint8_t* bytes = from;
        int32_t bit = start;
        const int32_t count = 200;
        if (decoder == 0) dspVlcDecodeBlock(&bytes, &bit, end, out.data(), count, table);
        if (decoder == 1) dspVlcDecodePairs_16s(&bytes, &bit, end, out.data(), count, table);
        if (decoder == 2) dspVlcDecodeQuads_16s(&bytes, &bit, end, out.data(), count, 3, table);
        if (decoder == 3) dspVlcDecodeEscape(&bytes, &bit, end, out.data(), count, table);
        return static_cast<int64_t>(reinterpret_cast<uintptr_t>(bytes) -
                                    reinterpret_cast<uintptr_t>(from)) *
                   8 +
               bit;
      };
      for (int32_t start : {0, 5, 7}) {
        std::vector<int16_t> want(800), got(800);
        const int64_t position = run(padded.get(), padded.get() + size + 2000, start, want);
        ASSERT_EQ(run(cut.get(), cut.get() + size, start, got), position) << decoder;
        ASSERT_EQ(got, want) << "decoder " << decoder << ", " << size << " bytes";
        // A position that is already behind the end stays a number.
        run(cut.get() + size, cut.get() + size - 1, start, got);
      }
    }
  }
}

TEST(VariableLengthCodes, BadDescriptionsAreRefused) {
  using Codes = std::vector<DspVlcCode>;
  const Codes kGood = {{0, 1, 1}, {2, 2, 2}, {3, 2, 3}};
  const struct {
    const char* what;
    Codes codes;
    Levels levels;
  } kCases[] = {
      {"not complete", {{0, 1, 1}, {2, 2, 2}}, {4}},
      {"a missing end in the second level", {{0, 1, 1}, {2, 2, 2}, {6, 3, 3}}, {2, 2}},
      {"a word that begins another", {{0, 1, 1}, {1, 1, 2}, {3, 2, 3}}, {4}},
      {"the same across levels", {{0, 1, 1}, {1, 1, 2}, {7, 3, 3}}, {1, 2}},
      {"a word twice", {{0, 1, 1}, {1, 1, 2}, {1, 1, 2}}, {4}},
      {"longer than the levels", kGood, {1}},
      {"more bits than length", {{0, 1, 1}, {2, 1, 2}}, {4}},
      {"length 0", {{0, 0, 1}}, {4}},
      {"four levels", kGood, {1, 1, 1, 1}},
      {"a level of no bits", kGood, {1, 0, 2}},
      {"a wide first level", kGood, {13}},
      {"a wide second level", kGood, {1, 11}},
      {"a long prefix", kGood, {9, 8, 1}},
  };
  std::unique_ptr<uint64_t[]> memory;
  ASSERT_EQ(Build(kGood, {1, 1}, &memory), kDspOk);
  for (const auto& testCase : kCases) {
    EXPECT_EQ(Build(testCase.codes, testCase.levels, &memory), kDspBadArgument) << testCase.what;
  }
}

TEST(SpectralValues, Power43IsRoundedToNearest) {
  std::vector<int16_t> values(65536);
  for (int32_t i = 0; i < 65536; ++i)
    values[static_cast<size_t>(i)] = static_cast<int16_t>(i - 32768);
  std::vector<float> lines(65536 + 1, -1);
  ASSERT_EQ(dspPow43_16s32f(values.data(), lines.data(), 65536, nullptr, 0), kDspOk);
  for (size_t i = 0; i < values.size(); ++i) {
    const long double power = std::pow(std::fabs(static_cast<long double>(values[i])), 4.0L / 3);
    const float want = static_cast<float>(values[i] < 0 ? -power : power);
    ASSERT_EQ(std::bit_cast<uint32_t>(lines[i]), std::bit_cast<uint32_t>(want)) << values[i];
  }
  EXPECT_EQ(lines[65536], -1);
  // By bands: lines 3 up to 14 only.
  const int32_t offsets[] = {3, 4, 14};
  std::vector<float> some(20, -1);
  ASSERT_EQ(dspPow43_16s32f(values.data() + 32760, some.data(), 2, offsets, 1), kDspOk);
  for (size_t i = 0; i < some.size(); ++i) {
    EXPECT_EQ(some[i], i >= 3 && i < 14 ? lines[32760 + i] : -1) << i;
  }
}

TEST(SpectralValues, GainIsRoundedToNearest) {
  for (int32_t offset :
       {100, 0, -32768, std::numeric_limits<int32_t>::max(), std::numeric_limits<int32_t>::min()}) {
    std::vector<int16_t> factors;
    for (int32_t v = -32768; v<32768; v += v> - 900 && v < 900 ? 1 : 61) {
      factors.push_back(static_cast<int16_t>(v));
    }
    std::vector<float> gains(factors.size());
    ASSERT_EQ(dspScaleFactorGain_16s32f(factors.data(), offset, gains.data(),
                                        static_cast<int32_t>(gains.size())),
              kDspOk);
    for (size_t i = 0; i < gains.size(); ++i) {
      const long double exponent = (static_cast<long double>(factors[i]) - offset) / 4;
      const float want = static_cast<float>(std::pow(2.0L, exponent));
      ASSERT_EQ(gains[i], want) << factors[i] << " - " << offset;
    }
  }
}

TEST(SpectralValues, BandsTakeTheirGains) {
  const int32_t offsets[] = {1, 5, 5, 4, 11, 30};  // one band of no and one of negative width
  const float gains[] = {2, 3, 5, -7, 0.5F};
  std::vector<float> lines(32, 1);
  ASSERT_EQ(dspMulBands_32f(lines.data(), gains, offsets, 5), kDspOk);
  for (int32_t i = 0; i < 32; ++i) {
    float want = 1;
    for (int32_t band = 0; band < 5; ++band) {
      if (i >= offsets[band] && i < offsets[band + 1]) want *= gains[band];
    }
    EXPECT_EQ(lines[static_cast<size_t>(i)], want) << i;
  }
}

TEST(SpectralValues, SamplesAreRoundedAndHeld) {
  std::vector<float> special = {0.5F,     1.5F,      -0.5F,     -2.5F,   32766.5F,     32767.4F,
                                32767.5F, -32768.5F, -32769.0F, 3e9F,    -3e9F,        1e38F,
                                -1e38F,   INFINITY,  -INFINITY, -0.0F,   1e-40F,       32768.0F,
                                NAN,      -NAN,      0.4999F,   0.5001F, 2147483648.0F};
  std::mt19937 random(9);
  for (int32_t channels : {1, 2, 3, 4, 5, 6, 8, 9}) {
    for (int32_t length : {1, 2, 7, 8, 9, 16, 27, 1024}) {
      std::vector<std::vector<float>> input(static_cast<size_t>(channels));
      std::vector<const float*> pointers;
      for (auto& channel : input) {
        for (int32_t i = 0; i < length; ++i) {
          channel.push_back(
              random() % 3 == 0
                  ? special[random() % special.size()]
                  : std::ldexp(static_cast<float>(static_cast<int32_t>(random())), -15));
        }
        pointers.push_back(channel.data());
      }
      std::vector<int16_t> out(static_cast<size_t>(channels * length + 1), 77);
      ASSERT_EQ(dspInterleaveFloatTo16s(pointers.data(), channels, length, out.data()), kDspOk);
      EXPECT_EQ(out.back(), 77);
      for (size_t i = 0; i + 1 < out.size(); ++i) {
        const float x = input[i % pointers.size()][i / pointers.size()];
        const double rounded = std::nearbyint(std::fmin(std::fmax(x, -32768.0F), 32767.0F));
        ASSERT_EQ(out[i], std::isnan(x) ? 0 : static_cast<int16_t>(rounded)) << x;
      }
    }
  }
}

}  // namespace
}  // namespace orbel
