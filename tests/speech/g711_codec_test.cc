#include "speech/g711.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "dsp/primitives.h"
#include "speech/codec_run.h"

namespace orbel {
namespace {

constexpr int32_t kEncoder = 0, kDecoder = 1;
constexpr uint8_t kByte = 0x5A;  // what CodecRun fills a new bank with
using Bytes = std::vector<uint8_t>;
using Samples = std::vector<int16_t>;

struct LawCase {
  const SpeechCodecFunctions* table;
  const char* file;
  int32_t law;
  uint8_t silence;
  int32_t (*expand)(const uint8_t*, int16_t*, int32_t);
  int32_t (*compress)(const int16_t*, uint8_t*, int32_t);
};
const LawCase kLaws[] = {
    {&kSpeechCodecG711A, "g711_alaw", kLawA, 0xD5, dspALawToLin_8u16s, dspLinToALaw_16s8u},
    {&kSpeechCodecG711U, "g711_ulaw", kLawMu, 0xFF, dspMuLawToLin_8u16s, dspLinToMuLaw_16s8u},
};

Bytes RandomFrame(std::mt19937& random) {
  Bytes bytes(80);
  for (uint8_t& b : bytes) b = static_cast<uint8_t>(random());
  return bytes;
}

Bytes FrameOf(const Bytes& coded, size_t frame, uint8_t fill) {
  Bytes bytes(80, fill);
  for (size_t i = 0; i < 80 && frame * 80 + i < coded.size(); ++i) bytes[i] = coded[frame * 80 + i];
  return bytes;
}

// With losses sown in: frames that neither were lost nor follow a loss are the
// reference's, and what stands in for the lost ones keeps the level.
TEST(G711Codec, StreamsWithAndWithoutLosses) {
  for (const LawCase& law : kLaws) {
    for (const char* suffix : {"_speech_8000", "_click_8000", "_all_codes"}) {
      const std::string name = std::string(law.file) + suffix;
      const Bytes coded = ReadData<uint8_t>(name + ".raw");
      const Samples reference = ReadData<int16_t>(name + ".pcm");
      ASSERT_EQ(coded.size(), reference.size());
      for (size_t every : {size_t{0}, size_t{7}}) {
        CodecRun decoder(*law.table, kDecoder, 64000);
        double lostEnergy = 0, concealedEnergy = 0;
        bool wasLost = false;
        for (size_t f = 0; f * 80 < coded.size(); ++f) {
          const bool lost = every != 0 && f % every == every - 1;
          const auto d =
              decoder.Decode(FrameOf(coded, f, law.silence), lost ? FrameLost : FrameSpeech);
          ASSERT_EQ(d.status, SPEECH_OK);
          for (size_t i = 0; i < 80 && f * 80 + i < reference.size(); ++i) {
            const double want = reference[f * 80 + i];
            if (!lost && !wasLost) {
              ASSERT_EQ(d.samples[i], want) << name << " frame " << f;
            }
            if (lost) lostEnergy += want * want;
            if (lost) concealedEnergy += double{1} * d.samples[i] * d.samples[i];
          }
          wasLost = lost;
        }
        if (every != 0 && name.find("speech") != std::string::npos) {
          EXPECT_GT(concealedEnergy, lostEnergy / 2) << name;
          EXPECT_LT(concealedEnergy, lostEnergy * 2) << name;
        }
      }
    }
  }
}

TEST(G711Codec, DecodeWritesItsRecords) {
  CodecRun decoder(kSpeechCodecG711A, kDecoder, 64000);
  decoder.options.modes.bitRate = 4711;  // taken over, not looked at
  auto d = decoder.Decode(Bytes(80, 0xD5));
  EXPECT_EQ(d.status, SPEECH_OK);
  EXPECT_EQ(d.bits.byteCount, 80);
  EXPECT_EQ(d.pcm.byteCount, 160);
  EXPECT_EQ(d.pcm.sampleRate, 8000);
  EXPECT_EQ(d.pcm.bitsPerSample, 16);
  EXPECT_EQ(d.pcm.bitRate, 4711);
  for (int32_t type : {FrameLost, FrameNoData}) {
    d = decoder.Decode(Bytes(80), type);
    EXPECT_EQ(d.bits.byteCount, 2);
    EXPECT_EQ(d.pcm.byteCount, 160);
  }
  d = decoder.Decode({}, CodecRun::kNullRecord);
  EXPECT_EQ(d.status, SPEECH_OK);
  EXPECT_EQ(d.pcm.bitRate, 64000);
  EXPECT_EQ(d.pcm.byteCount, 160);

  // A speech frame takes 80 bytes whatever the count says.
  Bytes codes(80, 0x2A);
  Samples samples(80);
  for (int32_t count : {0, 79, -5, 1000}) {
    SpeechBitstream bits = {codes.data(), count, FrameSpeech, 64000};
    SpeechPcmStream pcm = {samples.data(), 0, 0, 0, 0};
    EXPECT_EQ(decoder.table->Decode(decoder.handle, &bits, &pcm), SPEECH_OK);
    EXPECT_EQ(bits.byteCount, 80);
    EXPECT_EQ(samples[79], -32256);
  }
}

// A frame that fails leaves the state, the samples and the records as they were.
TEST(G711Codec, RefusedFramesChangeNothing) {
  std::mt19937 random(5);
  for (bool afterLoss : {false, true}) {
    CodecRun decoder(kSpeechCodecG711U, kDecoder, 64000, 0, 1);
    decoder.Decode(RandomFrame(random));
    if (afterLoss) decoder.Decode(Bytes(80), FrameLost);
    const Bytes before = decoder.State();
    // 5 is for inside use.
    for (int32_t type : {2, 4, 5, 6, -2, INT32_MAX, INT32_MIN}) {
      const auto d = decoder.Decode(Bytes(80, 1), type);
      EXPECT_EQ(d.status, SPEECH_ERR_FAILED) << type;
      EXPECT_EQ(d.bits.byteCount, 80);
      EXPECT_EQ(d.pcm.byteCount, -1);
      EXPECT_EQ(d.samples, Samples(80, 12345));
    }
    EXPECT_EQ(decoder.State(), before);
  }
  // The frame's own checks, in their order.
  G711DecoderState state = {};
  Bytes bytes(80);
  Samples samples(80);
  state.key = 1;
  EXPECT_EQ(G711DecodeFrame(&state, bytes.data(), 3, samples.data()), FRAME_ERR_NOT_READY);
  state.stateSize = 1;
  EXPECT_EQ(G711DecodeFrame(&state, bytes.data(), 3, samples.data()), FRAME_ERR_BAD_KEY);
  EXPECT_EQ(G711DecodeFrame(&state, bytes.data(), 3, nullptr), FRAME_ERR_ARGUMENT);
  EXPECT_EQ(G711DecodeFrame(nullptr, bytes.data(), 3, samples.data()), FRAME_ERR_ARGUMENT);
  EXPECT_EQ(G711DecoderInit(&state, 3), -5);
  EXPECT_EQ(state.key, 1u);
  EXPECT_EQ(G711EncoderInit(nullptr, kLawA, 0), -3);
}

// Lost, not sent, and no record at all are one thing after speech. Afterwards
// the previous type is still speech.
TEST(G711Codec, WaysToReportALoss) {
  std::mt19937 random(9);
  CodecRun a(kSpeechCodecG711A, kDecoder, 64000), b(kSpeechCodecG711A, kDecoder, 64000),
      c(kSpeechCodecG711A, kDecoder, 64000);
  const auto* state = &static_cast<G711Handle*>(a.handle)->decoder;
  for (int frame = 0; frame < 60; ++frame) {
    const Bytes bytes = RandomFrame(random);
    const bool lost = frame == 0 || frame % 10 > 3;
    const auto da = a.Decode(bytes, lost ? FrameLost : FrameSpeech);
    const auto db = b.Decode(bytes, lost ? FrameNoData : FrameSpeech);
    const auto dc = c.Decode(bytes, lost ? CodecRun::kNullRecord : FrameSpeech);
    ASSERT_EQ(da.samples, db.samples);
    ASSERT_EQ(da.samples, dc.samples);
    ASSERT_EQ(state->previousFrameType, FrameSpeech);
    if (frame == 0) {
      EXPECT_EQ(da.samples, Samples(80, 0));
      EXPECT_EQ(state->concealment.erasureCount, 1);
      EXPECT_EQ(state->concealment.pitch, 40);
    }
  }
}

TEST(G711Codec, ReinitForgetsAndControlDoesNot) {
  std::mt19937 random(11);
  const Bytes frame = RandomFrame(random);
  CodecRun reset(kSpeechCodecG711U, kDecoder, 64000), kept(kSpeechCodecG711U, kDecoder, 64000);
  for (CodecRun* run : {&reset, &kept}) {
    run->Decode(frame);
    run->Decode({}, CodecRun::kNullRecord);
  }
  SpeechCodecModes modes = {64000, 0, 1, 0, 5};
  EXPECT_EQ(reset.table->Reinit(&modes, reset.handle), SPEECH_OK);
  EXPECT_EQ(reset.Decode({}, CodecRun::kNullRecord).samples, Samples(80, 0));
  EXPECT_EQ(kept.table->Control(&modes, kept.handle), SPEECH_OK);
  EXPECT_NE(kept.Decode({}, CodecRun::kNullRecord).samples, Samples(80, 0));
  EXPECT_EQ(static_cast<G711Handle*>(kept.handle)->decoder.concealment.erasureCount, 2);
  for (CodecRun* run : {&reset, &kept}) {
    EXPECT_EQ(static_cast<G711Handle*>(run->handle)->vad, 1);
    EXPECT_EQ(static_cast<G711Handle*>(run->handle)->postFilter, 5);
  }
  // The law is the table's whose slot is called.
  EXPECT_EQ(kSpeechCodecG711A.Reinit(&modes, reset.handle), SPEECH_OK);
  EXPECT_EQ(reset.Decode(Bytes(80, 0)).samples, Samples(80, -5504));

  CodecRun encoder(kSpeechCodecG711U, kEncoder, 64000);
  for (const auto slot : {kSpeechCodecG711U.Reinit, kSpeechCodecG711U.Control}) {
    modes.vad ^= 1;
    EXPECT_EQ(slot(&modes, encoder.handle), SPEECH_OK);
    EXPECT_EQ(static_cast<G711Handle*>(encoder.handle)->encoder.vad, modes.vad);
    auto* wrong = static_cast<G711Handle*>(encoder.handle);
    wrong->direction = 2;
    EXPECT_EQ(slot(&modes, wrong), SPEECH_ERR_FAILED);
    wrong->direction = 0;
  }
}

TEST(G711Codec, Encode) {
  std::mt19937 random(13);
  for (const LawCase& law : kLaws) {
    CodecRun encoder(*law.table, kEncoder, 64000);
    ASSERT_EQ(encoder.status, SPEECH_OK);
    for (int round = 0; round < 50; ++round) {
      Samples samples(81);
      for (int16_t& s : samples) s = static_cast<int16_t>(random());
      samples[0] = -32768;
      samples[1] = 32767;
      Bytes want(80), got(81, kByte);
      law.compress(samples.data(), want.data(), 80);
      SpeechPcmStream pcm = {samples.data(), 160 + round % 3, 8000, 16, 64000};
      SpeechBitstream bits = {got.data(), 0, 0, 0};
      ASSERT_EQ(law.table->Encode(encoder.handle, &pcm, &bits), SPEECH_OK);
      EXPECT_EQ(got[80], kByte);
      got.resize(80);
      ASSERT_EQ(got, want);
      EXPECT_EQ(bits.byteCount, 80);
      EXPECT_EQ(bits.frameType, FrameSpeech);
      EXPECT_EQ(bits.bitRate, 64000);
      EXPECT_EQ(pcm.byteCount, 160);
    }

    struct Case {
      SpeechPcmStream pcm;
      int32_t status, byteCount;
    };
    Samples samples(80);
    Bytes bytes(80);
    int16_t* const data = samples.data();
    for (const Case& c : {Case{{data, 160, 8000, 8, 64000}, -5, 160},
                          {{data, 160, 16000, 16, 64000}, -5, 160},
                          {{data, 0, 8000, 16, 32000}, -4, 0},
                          {{data, 159, 8000, 16, 64000}, -6, 0},
                          {{data, -1, 8000, 16, 64000}, -6, 0},
                          {{nullptr, 160, 8000, 16, 64000}, -1, 160}}) {
      SpeechPcmStream pcm = c.pcm;
      SpeechBitstream bits = {bytes.data(), -1, -1, -1};
      EXPECT_EQ(law.table->Encode(encoder.handle, &pcm, &bits), c.status);
      EXPECT_EQ(pcm.byteCount, c.byteCount);
      EXPECT_EQ(bits.byteCount, -1);
    }
  }
}

// A failed Init leaves a handle in a bank that need not hold a state.
TEST(G711Codec, DecodeRefusesAHandleWithoutAState) {
  for (const int32_t direction : {0, 2, -1}) {
    alignas(32) uint8_t memory[16384] = {};
    SpeechCodecOptions options = {};
    options.direction = direction;
    options.modes.bitRate = 64000;
    SpeechMemBank bank = {memory, sizeof memory, 32, 0, 0};
    void* handle = nullptr;
    const int32_t result = kSpeechCodecG711A.Init(&options, &bank, &handle);
    EXPECT_EQ(result, direction == 0 ? SPEECH_OK : SPEECH_ERR_FAILED);
    ASSERT_NE(handle, nullptr);
    int16_t samples[80];
    SpeechPcmStream pcm = {samples, 7, 0, 0, 0};
    EXPECT_EQ(kSpeechCodecG711A.Decode(handle, nullptr, &pcm), SPEECH_ERR_FAILED);
    EXPECT_EQ(pcm.byteCount, 7);
  }
}

}  // namespace
}  // namespace orbel
