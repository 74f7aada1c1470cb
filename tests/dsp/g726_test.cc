// G.726 against published check values, coded streams with reference output, and a
// plain model.

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "dsp/g726_model.h"
#include "dsp/primitives.h"

namespace orbel {
namespace {

// A delayed signal value as the recommendation's 11-bit word: sign, exponent of 4
// bits, mantissa of 6. The state's own form has the sign in bit 15 and leaves out
// the mantissa's top bit, which is always set; so its exponent begins at bit 5.
constexpr int32_t G726DelayedWord(int16_t shortFloat) {
  const int32_t sign = shortFloat < 0 ? 1 << 10 : 0;
  return sign | (shortFloat >> 5 & 15) << 6 | 32 | (shortFloat & 31);
}

constexpr int32_t kModes[] = {kG726Mode16k, kG726Mode24k, kG726Mode32k, kG726Mode40k};

std::vector<uint8_t> Unpack(const std::vector<uint8_t>& bytes, int bits) {
  std::vector<uint8_t> codes(bytes.size() * 8 / bits);
  for (size_t i = 0; i < codes.size() * bits; ++i) {
    codes[i / bits] |= static_cast<uint8_t>((bytes[i / 8] >> (i % 8) & 1) << (i % bits));
  }
  return codes;
}

std::vector<int16_t> Decode(int bits, int32_t law, const std::vector<uint8_t>& codes) {
  G726DecoderState state;
  EXPECT_EQ(dspDecoderInitG726(&state, kModes[bits - 2], law), kDspOk);
  std::vector<int16_t> samples(codes.size());
  EXPECT_EQ(
      dspDecodeG726_8u16s(&state, codes.data(), samples.data(), static_cast<int32_t>(codes.size())),
      kDspOk);
  return samples;
}

std::vector<uint8_t> ReadFile(const std::string& name) {
  std::ifstream file(std::string(ORBEL_TEST_DATA) + "/telephony/" + name, std::ios::binary);
  EXPECT_TRUE(file) << name;
  return {std::istreambuf_iterator<char>(file), {}};
}

TEST(G726, CheckValues) {
  struct {
    int bits;
    std::vector<int16_t> linear;
    int sum;
    std::vector<int16_t> aLaw, muLaw;
  } const cases[] = {
      {2,
       {-15, 16, 4, -4, -15, -5, -4, 16},
       10995,
       {0x56, 0xD1, 0xD4, 0x55, 0x56, 0x54, 0x55, 0xD1},
       {0x77, 0xF7, 0xFD, 0x7D, 0x77, 0x7C, 0x7D, 0xF7}},
      {3,
       {-4, 0, 15, 0, 0, 10, 0, -17},
       1830,
       {0x54, 0xD4, 0xD6, 0xD5, 0xD5, 0xD7, 0xD4, 0x51},
       {0x7D, 0xFE, 0xF7, 0xFF, 0xFF, 0xFA, 0xFE, 0x76}},
      {4,
       {15, -7, -2, 22, 4, -32, -30, 45},
       -28399,
       {0xD1, 0x57, 0x55, 0xD0, 0xD4, 0x52, 0x52, 0xDE},
       {0xF7, 0x7B, 0x7E, 0xF4, 0xFD, 0x6F, 0x70, 0xEC}},
      {5,
       {9, -18, 0, 2, -12, -24, 44, 31},
       -15149,
       {0xD7, 0x51, 0x55, 0xD5, 0x56, 0x53, 0xDE, 0xD2},
       {0xFA, 0x76, 0xFF, 0xFE, 0x79, 0x73, 0xEC, 0xEF}},
  };
  for (const auto& check : cases) {
    std::vector<uint8_t> bytes(40 * check.bits);
    uint32_t s = 1;
    for (uint8_t& byte : bytes) {
      s = (s * 1103515245U + 12345U) & 0x7FFFFFFF;
      byte = static_cast<uint8_t>(s >> 16);
    }
    const std::vector<uint8_t> codes = Unpack(bytes, check.bits);
    const auto firstEight = [&](int32_t law) {
      std::vector<int16_t> samples = Decode(check.bits, law, codes);
      samples.resize(8);
      return samples;
    };
    const std::vector<int16_t> linear = Decode(check.bits, kG726Linear, codes);
    EXPECT_EQ(std::accumulate(linear.begin(), linear.end(), 0), check.sum);
    EXPECT_EQ(firstEight(kG726Linear), check.linear);
    EXPECT_EQ(firstEight(kG726ALaw), check.aLaw);
    EXPECT_EQ(firstEight(kG726MuLaw), check.muLaw);
  }
}

// The references are at 16-bit scale, four times ours, and wrap where that leaves
// 16 bits; only the streams of random codes get there.
TEST(G726, StreamsDecodeToTheirReferences) {
  struct {
    const char* name;
    int bits;
    int wrapped;
  } const streams[] = {
      {"g726_16k_speech_8000", 2, 0},      {"g726_24k_speech_8000", 3, 0},
      {"g726_24k_speech_8000_enc2", 3, 0}, {"g726_24k_click_8000", 3, 0},
      {"g726_24k_random", 3, 46},          {"g726_32k_speech_8000", 4, 0},
      {"g726_32k_speech_8000_enc2", 4, 0}, {"g726_32k_click_8000", 4, 0},
      {"g726_32k_random", 4, 98},          {"g726_40k_speech_8000", 5, 0},
  };
  for (const auto& stream : streams) {
    const std::string name = stream.name;
    const std::vector<int16_t> samples =
        Decode(stream.bits, kG726Linear, Unpack(ReadFile(name + ".raw"), stream.bits));
    const std::vector<uint8_t> reference = ReadFile(name + ".pcm");
    ASSERT_EQ(reference.size(), samples.size() * 2) << name;
    int wrapped = 0;
    for (size_t i = 0; i < samples.size(); ++i) {
      const int want = static_cast<int16_t>(reference[2 * i] | reference[2 * i + 1] << 8);
      if (samples[i] * 4 == want) continue;
      ++wrapped;
      ASSERT_TRUE(samples[i] == -8192 || samples[i] == 8191) << name << " sample " << i;
    }
    EXPECT_EQ(wrapped, stream.wrapped) << name;
  }
}

// Loud, quiet and tonal input, and codes that no encoder sends: everything that
// reaches the limits, the wraps and the tone reset.
std::vector<int16_t> Signal(uint32_t seed, int length) {
  std::mt19937 random(seed);
  std::vector<int16_t> signal(length);
  int kind = 0;
  int period = 8;
  for (int i = 0; i < length; ++i) {
    if (i % 400 == 0) {
      kind = static_cast<int>(random() % 5);
      period = 2 + static_cast<int>(random() % 40);
    }
    const int noise = static_cast<int>(random() % 16384) - 8192;
    const int square = i % period < period / 2 ? 8191 : -8192;
    const int values[] = {noise, noise / 512, square, square / 16, 0};
    signal[i] = static_cast<int16_t>(values[kind]);
  }
  return signal;
}

TEST(G726, EncodesAsTheModelDoes) {
  for (int bits = 2; bits <= 5; ++bits) {
    for (uint32_t seed = 1; seed <= 5; ++seed) {
      const std::vector<int16_t> signal = Signal(seed, 20000);
      G726EncoderState state;
      ASSERT_EQ(dspEncoderInitG726(&state, kModes[bits - 2]), kDspOk);
      std::vector<uint8_t> codes(signal.size());
      ASSERT_EQ(dspEncodeG726_16s8u(&state, signal.data(), codes.data(), 20000), kDspOk);
      G726Model model(bits);
      for (size_t i = 0; i < signal.size(); ++i) {
        ASSERT_EQ(codes[i], model.Encode(signal[i])) << bits << " bits, seed " << seed << ", " << i;
      }
    }
  }
}

TEST(G726, DecodesAsTheModelDoes) {
  for (int bits = 2; bits <= 5; ++bits) {
    for (uint32_t seed = 1; seed <= 6; ++seed) {
      std::vector<uint8_t> codes(20000);
      G726Model encoder(bits);
      std::mt19937 random(seed);
      const std::vector<int16_t> signal = Signal(seed, 20000);
      const uint8_t ones = static_cast<uint8_t>((1 << bits) - 1);
      for (size_t i = 0; i < codes.size(); ++i) {
        // Coded signals, random codes, and long runs of one code.
        const int kind = static_cast<int>((i / 500 + seed) % 3);
        const int sent = encoder.Encode(signal[i]);
        codes[i] = static_cast<uint8_t>(kind == 0 ? sent : kind == 1 ? random() : i / 500 * 5);
        codes[i] &= ones;
      }
      const std::vector<int16_t> linear = Decode(bits, kG726Linear, codes);
      const std::vector<int16_t> aLaw = Decode(bits, kG726ALaw, codes);
      const std::vector<int16_t> muLaw = Decode(bits, kG726MuLaw, codes);
      G726Model models[] = {G726Model(bits), G726Model(bits), G726Model(bits)};
      for (size_t i = 0; i < codes.size(); ++i) {
        const auto where = [&] {
          return std::to_string(bits) + " bits, seed " + std::to_string(seed) + ", " +
                 std::to_string(i);
        };
        ASSERT_EQ(linear[i], models[0].Decode(codes[i])) << where();
        ASSERT_EQ(aLaw[i], models[1].DecodeToLaw(codes[i], true)) << where();
        ASSERT_EQ(muLaw[i], models[2].DecodeToLaw(codes[i], false)) << where();
      }
    }
  }
}

// Calls of any size give what one call gives, and bits above the code are ignored.
TEST(G726, SplittingTheInputChangesNothing) {
  for (int bits = 2; bits <= 5; ++bits) {
    std::vector<uint8_t> codes(997);
    std::mt19937 random(7);
    for (uint8_t& code : codes) code = static_cast<uint8_t>(random());
    const std::vector<int16_t> whole = Decode(bits, kG726Linear, codes);
    G726DecoderState state;
    ASSERT_EQ(dspDecoderInitG726(&state, kModes[bits - 2], kG726Linear), kDspOk);
    std::vector<int16_t> parts(codes.size());
    for (size_t at = 0, size = 1; at < codes.size(); at += size, size = size % 11 + 1) {
      size = std::min(size, codes.size() - at);
      for (size_t i = at; i < at + size; ++i) codes[i] &= static_cast<uint8_t>((1 << bits) - 1);
      ASSERT_EQ(dspDecodeG726_8u16s(&state, &codes[at], &parts[at], static_cast<int32_t>(size)),
                kDspOk);
    }
    EXPECT_EQ(parts, whole);
  }
}

TEST(G726, ResetState) {
  G726EncoderState encoder;
  G726DecoderState decoder;
  ASSERT_EQ(dspEncoderInitG726(&encoder, kG726Mode24k), kDspOk);
  ASSERT_EQ(dspDecoderInitG726(&decoder, kG726Mode24k, kG726ALaw), kDspOk);
  EXPECT_EQ(decoder.law, kG726ALaw);
  for (const G726Adaptation* a : {&encoder.adaptation, &decoder.adaptation}) {
    EXPECT_EQ(a->yl, 34816);
    EXPECT_EQ(a->yu, 544);
    for (int16_t value : a->delayed) EXPECT_EQ(G726DelayedWord(value), 32);
    for (int16_t coefficient : a->coefficients) EXPECT_EQ(coefficient, 0);
    EXPECT_EQ(a->pk1 | a->pk2 | a->dms | a->dml | a->ap | a->td, 0);
  }
}

TEST(G726, RefusesWhatItDoesNotKnow) {
  G726EncoderState encoder;
  G726DecoderState decoder;
  uint8_t code = 0;
  int16_t sample = 0;
  int32_t size = 0;
  EXPECT_EQ(dspEncoderSizeG726(nullptr), kDspNullPointer);
  EXPECT_EQ(dspDecoderSizeG726(nullptr), kDspNullPointer);
  EXPECT_EQ(dspEncoderSizeG726(&size), kDspOk);
  EXPECT_EQ(size, static_cast<int32_t>(sizeof encoder));
  EXPECT_EQ(dspDecoderSizeG726(&size), kDspOk);
  EXPECT_EQ(size, static_cast<int32_t>(sizeof decoder));
  EXPECT_EQ(dspEncoderInitG726(nullptr, 0), kDspNullPointer);
  EXPECT_EQ(dspDecoderInitG726(nullptr, 0, 9), kDspNullPointer);
  for (int32_t mode : {0, 16, 18, 21, 25, -1}) {
    EXPECT_EQ(dspEncoderInitG726(&encoder, mode), kDspBadArgument);
    EXPECT_EQ(dspDecoderInitG726(&decoder, mode, kG726Linear), kDspBadArgument);
  }
  for (int32_t law : {-1, 3}) {
    EXPECT_EQ(dspDecoderInitG726(&decoder, kG726Mode32k, law), kDspBadArgument);
  }
  // A state that was never made.
  decoder.mode = encoder.mode = 0;
  EXPECT_EQ(dspDecodeG726_8u16s(&decoder, &code, &sample, 1), kDspBadArgument);
  EXPECT_EQ(dspEncodeG726_16s8u(&encoder, &sample, &code, 1), kDspBadArgument);
  ASSERT_EQ(dspDecoderInitG726(&decoder, kG726Mode32k, kG726Linear), kDspOk);
  EXPECT_EQ(dspDecodeG726_8u16s(&decoder, &code, &sample, 0), kDspBadLength);
  EXPECT_EQ(dspDecodeG726_8u16s(&decoder, nullptr, &sample, 0), kDspNullPointer);
}

// Going down from mu-law's plus zero (0xFF) gives the code below both zeros.
TEST(G726, AdjustmentSkipsTheMinusZero) {
  G726DecoderState state;
  ASSERT_EQ(dspDecoderInitG726(&state, kG726Mode40k, kG726MuLaw), kDspOk);
  const uint8_t codes[3] = {14, 12, 29};
  int16_t out[3] = {};
  ASSERT_EQ(dspDecodeG726_8u16s(&state, codes, out, 3), kDspOk);
  EXPECT_EQ(out[2], 0x7E);
}

}  // namespace
}  // namespace orbel
