#include "speech/g726_codec.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>
#include <random>
#include <vector>

#include "dsp/primitives.h"
#include "speech/codec_run.h"
#include "speech/g726_packing.h"

namespace orbel {
namespace {

using Bytes = std::vector<uint8_t>;
using Samples = std::vector<int16_t>;
constexpr int32_t kEncoder = 0, kDecoder = 1;
constexpr int32_t kRates[] = {16000, 24000, 32000, 40000};

Bytes RandomBytes(std::mt19937& random, size_t count) {
  Bytes bytes(count);
  for (uint8_t& b : bytes) b = static_cast<uint8_t>(random());
  return bytes;
}

// Decodes all whole blocks, in as many calls as the frame size takes.
Samples DecodeAll(const CodecRun& decoder, const Bytes& coded) {
  const auto* g726 = static_cast<const G726Handle*>(decoder.handle);
  const auto room = static_cast<size_t>(g726->frameSize) / 2;
  Samples out;
  for (size_t at = 0; at < coded.size();) {
    const auto d = decoder.Decode(
        Bytes(coded.begin() + static_cast<std::ptrdiff_t>(at), coded.end()), 0, room);
    EXPECT_EQ(d.status, SPEECH_OK);
    EXPECT_EQ(d.pcm.bitRate, decoder.options.modes.bitRate);
    if (d.status != SPEECH_OK || d.bits.byteCount <= 0) break;
    out.insert(out.end(), d.samples.begin(), d.samples.end());
    at += static_cast<size_t>(d.bits.byteCount);
  }
  return out;
}

TEST(G726Packing, BitByBit) {
  std::mt19937 random(2);
  for (int32_t n = 2; n <= 5; ++n) {
    for (int32_t blocks : {1, 2, 3, 10}) {
      const size_t bytes = static_cast<size_t>(blocks) * static_cast<size_t>(n);
      const size_t count = static_cast<size_t>(blocks) * 8;
      // Exact-size heap blocks: one byte too far is seen.
      const Bytes packed = RandomBytes(random, bytes);
      Bytes codes(count), want(count), back(bytes);
      G726Unpack(n, packed.data(), codes.data(), blocks);
      for (size_t bit = 0; bit < bytes * 8; ++bit) {
        const size_t place = bit % static_cast<size_t>(n);
        want[bit / static_cast<size_t>(n)] |=
            static_cast<uint8_t>((packed[bit / 8] >> bit % 8 & 1) << place);
      }
      EXPECT_EQ(codes, want) << n;
      // What stands above a code is not packed.
      for (uint8_t& code : codes) code = static_cast<uint8_t>(code | random() << n);
      G726Pack(n, codes.data(), back.data(), blocks);
      EXPECT_EQ(back, packed) << n;
    }
  }
}

// References have 16-bit scale, four times the decoder's range, and wrap where
// the decoder limits.
TEST(G726Codec, Streams) {
  struct Case {
    const char* name;
    int32_t bitRate;
  };
  for (const Case& c : {Case{"g726_16k_speech_8000", 16000},
                        {"g726_24k_speech_8000", 24000},
                        {"g726_24k_click_8000", 24000},
                        {"g726_24k_random", 24000},
                        {"g726_32k_speech_8000", 32000},
                        {"g726_32k_click_8000", 32000},
                        {"g726_32k_random", 32000},
                        {"g726_40k_speech_8000", 40000}}) {
    const Bytes coded = ReadData<uint8_t>(std::string(c.name) + ".raw");
    const Samples reference = ReadData<int16_t>(std::string(c.name) + ".pcm");
    CodecRun decoder(kSpeechCodecG726, kDecoder, c.bitRate);
    const Samples samples = DecodeAll(decoder, coded);
    ASSERT_EQ(samples.size(), reference.size());
    for (size_t i = 0; i < samples.size(); ++i) {
      if (samples[i] == -8192 || samples[i] == 8191) continue;
      ASSERT_EQ(samples[i] * 4, reference[i]) << c.name << " sample " << i;
    }
  }
}

// The law option reaches the primitive under its own code there.
TEST(G726Codec, Laws) {
  std::mt19937 random(31);
  for (int32_t rate = 0; rate < 4; ++rate) {
    constexpr int32_t kModes[] = {kG726Mode16k, kG726Mode24k, kG726Mode32k, kG726Mode40k};
    const Bytes coded = RandomBytes(random, static_cast<size_t>(rate + 2) * 50);
    Bytes codes(400);
    G726Unpack(rate + 2, coded.data(), codes.data(), 50);
    const int32_t lawCodes[][2] = {
        {0, kG726Linear}, {1, kG726ALaw}, {2, kG726MuLaw}, {-1, kG726MuLaw}};
    for (const auto& [law, code] : lawCodes) {
      G726DecoderState state;
      Samples want(400);
      ASSERT_EQ(dspDecoderInitG726(&state, kModes[rate], code), 0);
      ASSERT_EQ(dspDecodeG726_8u16s(&state, codes.data(), want.data(), 400), 0);
      EXPECT_EQ(DecodeAll(CodecRun(kSpeechCodecG726, kDecoder, kRates[rate], law), coded), want);
    }
  }
}

TEST(G726Codec, FrameSizeAndBlockRules) {
  struct Case {
    int32_t bitRate, frameSize, byteCount, used, pcmBytes;
  };
  for (const Case& c : {Case{32000, 0, 10, 4, 16},
                        {32000, 0, 3, 0, 0},
                        {32000, 0, 0, 0, 0},
                        {32000, 0, -9, 0, 0},
                        {24000, 0, 5, 3, 16},
                        {40000, 17, 99, 5, 16},
                        {32000, 160, 1000, 40, 160},
                        {32000, 160, 39, 36, 144},
                        {24000, 200, 91, 36, 192},
                        {16000, 1600, 1000, 200, 1600},
                        {32000, -16, 40, 0, 0},
                        {32000, INT32_MIN, 40, 0, 0},
                        {32000, INT32_MAX, 85, 84, 336}}) {
    CodecRun decoder(kSpeechCodecG726, kDecoder, c.bitRate);
    if (c.frameSize != 0) {
      EXPECT_EQ(decoder.table->SetFrameSize(&decoder.options, decoder.handle, c.frameSize),
                SPEECH_OK);
    }
    Bytes bytes(static_cast<size_t>(std::max(c.used, 1)), 0x91);
    Samples samples(static_cast<size_t>(c.pcmBytes) / 2 + 1);
    SpeechBitstream bits = {bytes.data(), c.byteCount, 0, c.bitRate};
    SpeechPcmStream pcm = {samples.data(), -1, 0, 0, 0};
    EXPECT_EQ(decoder.table->Decode(decoder.handle, &bits, &pcm), SPEECH_OK);
    EXPECT_EQ(bits.byteCount, c.used) << c.bitRate << ' ' << c.frameSize << ' ' << c.byteCount;
    EXPECT_EQ(pcm.byteCount, c.pcmBytes) << c.bitRate << ' ' << c.frameSize << ' ' << c.byteCount;
  }
  CodecRun decoder(kSpeechCodecG726, kDecoder, 32000);
  const auto setFrameSize = decoder.table->SetFrameSize;
  for (int32_t size : {1, 15, 16})
    EXPECT_EQ(setFrameSize(&decoder.options, decoder.handle, size), SPEECH_ERR_FAILED);
}

// Neither the cut of the input nor a failed call changes what is heard.
TEST(G726Codec, SplittingChangesNothing) {
  std::mt19937 random(17);
  for (int32_t bitRate : kRates) {
    const Bytes coded = RandomBytes(random, static_cast<size_t>(bitRate / 8000) * 137);
    const Samples whole = DecodeAll(CodecRun(kSpeechCodecG726, kDecoder, bitRate), coded);
    ASSERT_EQ(whole.size(), 137u * 8);
    for (int32_t frameSize : {32, 160, 176, 100000}) {
      CodecRun decoder(kSpeechCodecG726, kDecoder, bitRate);
      decoder.table->SetFrameSize(&decoder.options, decoder.handle, frameSize);
      EXPECT_EQ(DecodeAll(decoder, coded), whole) << bitRate << ' ' << frameSize;
      // Starting over gives the same again, a block at a time.
      EXPECT_EQ(decoder.table->Reinit(&decoder.options.modes, decoder.handle), SPEECH_OK);
      const Bytes before = decoder.State();
      decoder.options.modes.bitRate = 64000;
      EXPECT_EQ(decoder.Decode(coded).status, SPEECH_ERR_BAD_BIT_RATE);
      decoder.options.modes.bitRate = bitRate;
      EXPECT_EQ(decoder.State(), before);
      EXPECT_EQ(DecodeAll(decoder, coded), whole);
    }
  }
}

TEST(G726Codec, ChangeOfRateStartsOver) {
  std::mt19937 random(19);
  const Bytes first = RandomBytes(random, 400), second = RandomBytes(random, 300);
  for (int32_t law : {0, 1}) {
    CodecRun changed(kSpeechCodecG726, kDecoder, 32000, law);
    changed.table->SetFrameSize(&changed.options, changed.handle, 320);
    DecodeAll(changed, first);
    changed.options.modes.bitRate = 24000;
    const Samples after = DecodeAll(changed, second);
    EXPECT_EQ(after, DecodeAll(CodecRun(kSpeechCodecG726, kDecoder, 24000, law), second));
    EXPECT_EQ(static_cast<G726Handle*>(changed.handle)->frameSize, 320);
    EXPECT_EQ(static_cast<G726Handle*>(changed.handle)->bitRate, 24000);
    // With a past at that rate it would have been something else.
    EXPECT_NE(after, DecodeAll(changed, second));
  }
}

TEST(G726Codec, LostInputRunsOnThroughZeroCodes) {
  std::mt19937 random(23);
  const Bytes coded = RandomBytes(random, 400);
  for (int32_t frameSize : {16, 352}) {
    CodecRun lost(kSpeechCodecG726, kDecoder, 32000), zeros(kSpeechCodecG726, kDecoder, 32000);
    DecodeAll(lost, coded);
    DecodeAll(zeros, coded);
    if (frameSize > 16) lost.table->SetFrameSize(&lost.options, lost.handle, frameSize);
    const auto d = lost.Decode({}, CodecRun::kNullRecord, static_cast<size_t>(frameSize) / 2);
    EXPECT_EQ(d.status, SPEECH_OK);
    EXPECT_EQ(d.pcm.byteCount, frameSize);
    EXPECT_EQ(d.pcm.bitRate, 32000);
    EXPECT_EQ(d.samples, DecodeAll(zeros, Bytes(static_cast<size_t>(frameSize) / 4, 0)));
    EXPECT_EQ(DecodeAll(lost, coded), DecodeAll(zeros, coded));

    lost.table->SetFrameSize(&lost.options, lost.handle, -32);
    EXPECT_EQ(lost.Decode({}, CodecRun::kNullRecord).pcm.byteCount, 0);
  }
}

Bytes EncodeAll(const CodecRun& encoder, Samples samples, int32_t byteCount) {
  Bytes bytes(samples.size() / 8 * 5 + 10);
  SpeechPcmStream pcm = {samples.data(), byteCount, 8000, 16, encoder.options.modes.bitRate};
  SpeechBitstream bits = {bytes.data(), 0, -1, 0};
  EXPECT_EQ(encoder.table->Encode(encoder.handle, &pcm, &bits), SPEECH_OK);
  EXPECT_EQ(bits.frameType, 0);
  EXPECT_EQ(bits.bitRate, encoder.options.modes.bitRate);
  bytes.resize(static_cast<size_t>(bits.byteCount));
  return bytes;
}

TEST(G726Codec, EncodeTailReadsZeros) {
  std::mt19937 random(29);
  for (int32_t bitRate : kRates) {
    for (int32_t byteCount : {1, 15, 16, 17, 160, 170, 333}) {
      // Room for whole samples, and not one more.
      Samples samples(static_cast<size_t>(byteCount + 1) / 2);
      for (int16_t& s : samples) s = static_cast<int16_t>(random());
      Samples padded(static_cast<size_t>(byteCount + 15) / 16 * 8);
      std::memcpy(padded.data(), samples.data(), static_cast<size_t>(byteCount));
      const auto paddedBytes = static_cast<int32_t>(padded.size() * 2);
      const Bytes got =
          EncodeAll(CodecRun(kSpeechCodecG726, kEncoder, bitRate), samples, byteCount);
      EXPECT_EQ(got.size(), padded.size() / 8 * static_cast<size_t>(bitRate / 8000));
      EXPECT_EQ(got, EncodeAll(CodecRun(kSpeechCodecG726, kEncoder, bitRate), padded, paddedBytes));
    }
  }
}

// What was decoded codes to the same codes again as from the start, and more
// bits mean less noise: 12 dB down in level, as the decoder's range is.
TEST(G726Codec, EncodeAndDecode) {
  const Samples speech = ReadData<int16_t>("g711_ulaw_speech_8000.pcm");
  double last = 0;
  for (int32_t bitRate : kRates) {
    CodecRun encoder(kSpeechCodecG726, kEncoder, 16000);
    encoder.options.modes.bitRate = bitRate;  // the record's rate is followed
    const Bytes coded = EncodeAll(encoder, speech, static_cast<int32_t>(speech.size() * 2));
    EXPECT_EQ(coded, EncodeAll(CodecRun(kSpeechCodecG726, kEncoder, bitRate), speech,
                               static_cast<int32_t>(speech.size() * 2)));
    const Samples back = DecodeAll(CodecRun(kSpeechCodecG726, kDecoder, bitRate), coded);
    ASSERT_EQ(back.size(), speech.size());
    double signal = 0, noise = 0;
    for (size_t i = 0; i < back.size(); ++i) {
      const double want = speech[i] / 4.0;
      signal += want * want;
      noise += (back[i] - want) * (back[i] - want);
    }
    const double snr = 10 * std::log10(signal / noise);
    EXPECT_GT(snr, last + 3) << bitRate;
    EXPECT_GT(snr, 8 + (bitRate - 16000) / 2000.0) << bitRate;
    last = snr;
  }
}

}  // namespace
}  // namespace orbel
