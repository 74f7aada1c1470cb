// Silence coding of G.711 as a caller of the codec tables meets it: real speech
// with pauses in noise of several levels, and whatever a network may deliver.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "dsp/primitives.h"
#include "speech/codec_run.h"
#include "support/flac_reader.h"
#include "support/heap_meter.h"

namespace orbel {
namespace {

constexpr int32_t kEncoder = 0, kDecoder = 1;
using Bytes = std::vector<uint8_t>;
using Samples = std::vector<int16_t>;

struct Law {
  const char* name;
  const SpeechCodecFunctions* table;
  int32_t (*expand)(const uint8_t*, int16_t*, int32_t);
  int32_t (*compress)(const int16_t*, uint8_t*, int32_t);
};
const Law kLaws[] = {
    {"A-law", &kSpeechCodecG711A, dspALawToLin_8u16s, dspLinToALaw_16s8u},
    {"mu-law", &kSpeechCodecG711U, dspMuLawToLin_8u16s, dspLinToMuLaw_16s8u},
};

// Nine seconds with pauses of 0.6, 1.1 and 1.4 s (espeak-ng), all zeros there.
const Samples& CleanSpeech() {
  static const Samples speech =
      ReadFlac(ORBEL_TEST_DATA "/telephony/speech_pauses_8000.flac").samples;
  return speech;
}

// Noise of this mean level, in decibels against full scale: white, or with most of
// its energy from 150 to 500 Hz, like a room's. Below 140 Hz the encoder hears
// nothing.
std::vector<double> Noise(size_t count, double level, bool coloured, uint32_t seed) {
  std::mt19937 random(seed);
  std::vector<double> noise(count);
  double low = 0, lowest = 0, energy = 0;
  for (double& n : noise) {
    double white = -6;
    for (int i = 0; i < 12; ++i) white += random() / 4294967296.0;
    low += 0.2 * (white - low);
    lowest += 0.1 * (low - lowest);
    n = coloured ? low - lowest : white;
    energy += n * n;
  }
  const double scale = 32768 * std::pow(10, level / 20) / std::sqrt(energy / count);
  for (double& n : noise) n *= scale;
  return noise;
}

Samples Mix(const Samples& speech, const std::vector<double>& noise) {
  Samples mixed(speech.size());
  for (size_t i = 0; i < mixed.size(); ++i)
    mixed[i] = static_cast<int16_t>(std::clamp(std::lround(speech[i] + noise[i]), -32768L, 32767L));
  return mixed;
}

// Mean level of samples [from, to), those before the first being zero.
double Level(const Samples& pcm, int64_t from, int64_t to) {
  double energy = 0;
  for (int64_t i = std::max<int64_t>(from, 0); i < to; ++i) {
    const double s = pcm[static_cast<size_t>(i)];
    energy += s * s;
  }
  return 10 * std::log10(std::max(energy / static_cast<double>(to - from), 1e-9) / 32768 / 32768);
}

struct Frame {
  int32_t type;
  Bytes bytes;
};

// One frame; what lies behind the bytes that it counts must stay untouched.
Frame Encode(const CodecRun& run, const int16_t* pcm) {
  uint8_t bytes[82];
  std::fill(std::begin(bytes), std::end(bytes), uint8_t{0xEE});
  int16_t input[80];
  std::copy(pcm, pcm + 80, input);
  SpeechPcmStream in = {input, 160, 8000, 16, 64000};
  SpeechBitstream out = {bytes, -1, -1, -1};
  EXPECT_EQ(run.table->Encode(run.handle, &in, &out), SPEECH_OK);
  EXPECT_EQ(in.byteCount, 160);
  EXPECT_EQ(out.byteCount, out.frameType == FrameSpeech ? 80 : 2);
  EXPECT_EQ(bytes[out.byteCount == 80 ? 80 : 2], 0xEE);
  return {out.frameType, Bytes(bytes, bytes + std::clamp(out.byteCount, 0, 80))};
}

std::vector<Frame> EncodeAll(const Law& law, const Samples& pcm) {
  const CodecRun encoder(*law.table, kEncoder, 64000, 0, 1);
  EXPECT_EQ(encoder.status, SPEECH_OK);
  std::vector<Frame> frames;
  for (size_t at = 0; at + 80 <= pcm.size(); at += 80) frames.push_back(Encode(encoder, &pcm[at]));
  return frames;
}

Samples DecodeAll(const Law& law, const std::vector<Frame>& frames, bool postFilter) {
  CodecRun decoder(*law.table, kDecoder, 64000);
  decoder.options.modes.postFilter = postFilter ? 1 : 0;
  EXPECT_EQ(decoder.table->Control(&decoder.options.modes, decoder.handle), SPEECH_OK);
  Samples pcm;
  for (const Frame& frame : frames) {
    const auto d = decoder.Decode(frame.bytes, frame.type);
    EXPECT_EQ(d.status, SPEECH_OK);
    pcm.insert(pcm.end(), d.samples.begin(), d.samples.end());
  }
  return pcm;
}

// A frame carries the 80 samples that end in the middle of its input. Those in
// which the clean speech stands out of the noise must be sent; those sent are
// exact; and the pauses must save something.
TEST(Silence, SpeechWithPausesInNoise) {
  const Samples& clean = CleanSpeech();
  ASSERT_EQ(clean.size() % 80, 0u);
  ASSERT_GT(clean.size(), 70000u);
  struct Case {
    double level;
    bool coloured;
  };
  const Case cases[] = {{-80, false}, {-65, false}, {-55, false}, {-55, true}, {-45, false}};
  for (const Law& law : kLaws) {
    for (const Case& c : cases) {
      const Samples pcm = Mix(clean, Noise(clean.size(), c.level, c.coloured, 1));
      const std::vector<Frame> frames = EncodeAll(law, pcm);
      const Samples heard = DecodeAll(law, frames, true);
      ASSERT_EQ(heard.size(), pcm.size());
      int counts[4] = {}, lost = 0;
      double sentEnergy = 0, lostEnergy = 0;
      for (size_t f = 0; f < frames.size(); ++f) {
        const Frame& frame = frames[f];
        ASSERT_TRUE(frame.type == 0 || frame.type == 1 || frame.type == 3);
        ++counts[frame.type];
        const int64_t from = static_cast<int64_t>(f) * 80 - 40;
        const double level = Level(clean, from, from + 80);
        (frame.type == FrameSpeech ? sentEnergy : lostEnergy) += std::pow(10, level / 10);
        if (frame.type == FrameNoData) {
          EXPECT_EQ(frame.bytes, Bytes(2));
        }
        if (frame.type == FrameSid) {
          EXPECT_EQ(frame.bytes[1] & 1, 0);
        }
        if (frame.type == FrameSpeech) {
          Samples want(80);
          for (int64_t i = 0; i < 80; ++i)
            want[static_cast<size_t>(i)] = from + i < 0 ? 0 : pcm[static_cast<size_t>(from + i)];
          Bytes codes(80);
          law.compress(want.data(), codes.data(), 80);
          ASSERT_EQ(frame.bytes, codes) << "frame " << f;
        } else if (level > std::max(c.level + 15, -60.0)) {
          ++lost;
        }
      }
      const double silent = 1 - static_cast<double>(counts[3]) / static_cast<double>(frames.size());
      std::printf(
          "%-6s %s noise %3.0f dB: %d speech, %d SID, %d nothing (%.0f %% silent, %.0f %% of the "
          "bytes saved); lost: %d frames, %.4f %% of the speech's energy\n",
          law.name, c.coloured ? "low" : "white", c.level, counts[3], counts[1], counts[0],
          100 * silent,
          100 - 100.0 * (counts[3] * 80 + counts[1] * 2) / static_cast<double>(pcm.size()), lost,
          100 * lostEnergy / (sentEnergy + lostEnergy));
      EXPECT_GE(silent, 0.3);  // the pauses are a third
      EXPECT_LE(silent, 0.45);
      EXPECT_EQ(lost, 0);
      EXPECT_LT(lostEnergy, 0.002 * sentEnergy);
    }
  }
}

// Ten seconds of background, and what is heard, second by second, past the first two.
// Annex B aims below the level, and a descriptor stays while the gain is within two
// steps of its own.
TEST(Silence, ComfortNoiseKeepsTheLevel) {
  struct Case {
    bool coloured, postFilter;
    double worst;  // of a second
  };
  for (const Case& c : {Case{false, false, 4}, Case{false, true, 4.5}, Case{true, false, 6.5},
                        Case{true, true, 6.5}}) {
    double bias = 0, worst = 0, silent = 0;
    int seconds = 0;
    for (int round = 0; round < 16; ++round) {
      const double level = -64.5 + 1.9 * round;
      const Samples pcm =
          Mix(Samples(80000), Noise(80000, level, c.coloured, static_cast<uint32_t>(round)));
      const Law& law = kLaws[round % 2];
      const std::vector<Frame> frames = EncodeAll(law, pcm);
      const Samples heard = DecodeAll(law, frames, c.postFilter);
      for (int64_t at = 16000; at < 80000; at += 8000, ++seconds) {
        const double error = Level(heard, at, at + 8000) - Level(pcm, at, at + 8000);
        bias += error;
        if (std::abs(error) > std::abs(worst)) worst = error;
      }
      for (size_t f = 200; f < frames.size(); ++f) silent += frames[f].type != FrameSpeech;
    }
    std::printf("%s noise, post filter %s: bias %+.2f dB, worst second %+.2f dB, %.1f %% silent\n",
                c.coloured ? "low" : "white", c.postFilter ? "on" : "off", bias / seconds, worst,
                silent / seconds);
    EXPECT_NEAR(bias / seconds, -3, 1);
    EXPECT_LT(std::abs(worst), c.worst);
    EXPECT_GT(silent / seconds, 95);
  }
}

// Whatever a bank held before, wherever it lies: same input, same output.
void Refill(CodecRun* run, int64_t fill) {
  std::fill(run->memory.begin(), run->memory.end(), fill);
  run->status = run->table->Init(&run->options, &run->bank, &run->handle);
}

TEST(Silence, AnyFramesEndInDefinedSamples) {
  for (uint32_t seed = 1; seed <= 40; ++seed) {
    std::mt19937 random(seed);
    const Law& law = kLaws[seed % 2];
    CodecRun a(*law.table, kDecoder, 64000), b(*law.table, kDecoder, 64000);
    Refill(&b, seed % 3 == 0 ? 0 : -1);
    ASSERT_EQ(b.status, SPEECH_OK);
    const uint32_t favour = random() % 4;
    for (int f = 0; f < 300; ++f) {
      const int32_t types[] = {FrameLost, FrameNoData, FrameSid, FrameSpeech};
      const int32_t type = types[random() % 3 == 0 ? favour : random() % 4];
      Bytes bytes(type == FrameSpeech ? 80 : 2);
      for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random());
      if (random() % 50 == 0) {
        a.options.modes.postFilter = static_cast<int32_t>(random() % 2);
        const auto slot = random() % 4 == 0 ? law.table->Reinit : law.table->Control;
        ASSERT_EQ(slot(&a.options.modes, a.handle), SPEECH_OK);
        ASSERT_EQ(slot(&a.options.modes, b.handle), SPEECH_OK);
      }
      const auto heard = a.Decode(bytes, type), again = b.Decode(bytes, type, 81);
      ASSERT_EQ(heard.status, SPEECH_OK);
      ASSERT_EQ(again.status, SPEECH_OK);
      ASSERT_EQ(heard.samples, again.samples) << "seed " << seed << " frame " << f;
    }
  }
}

TEST(Silence, EncodersDoNotReadWhatTheBankHeld) {
  const Samples& clean = CleanSpeech();
  const Samples pcm = Mix(clean, Noise(clean.size(), -50, true, 3));
  for (int64_t fill : {int64_t{0}, int64_t{-1}}) {
    CodecRun a(*kLaws[0].table, kEncoder, 64000, 0, 1), b(*kLaws[0].table, kEncoder, 64000, 0, 1);
    Refill(&b, fill);
    for (size_t at = 0; at + 80 <= pcm.size(); at += 80) {
      if (at == 40000) {
        ASSERT_EQ(a.table->Reinit(&a.options.modes, a.handle), SPEECH_OK);
        Refill(&b, ~fill);
      }
      const Frame x = Encode(a, &pcm[at]), y = Encode(b, &pcm[at]);
      ASSERT_EQ(x.type, y.type) << at / 80;
      ASSERT_EQ(x.bytes, y.bytes) << at / 80;
    }
  }
}

TEST(Silence, NoFrameAllocates) {
  const Samples& clean = CleanSpeech();
  const CodecRun encoder(kSpeechCodecG711U, kEncoder, 64000, 0, 1);
  const CodecRun decoder(kSpeechCodecG711U, kDecoder, 64000, 0, 1);
  Samples input(80), output(80);
  Bytes bytes(80);
  int counts[4] = {};
  const int64_t before = heap::Read().allocations;
  for (size_t at = 0; at + 80 <= clean.size(); at += 80) {
    std::copy_n(&clean[at], 80, input.begin());
    SpeechPcmStream in = {input.data(), 160, 8000, 16, 64000};
    SpeechBitstream coded = {bytes.data(), 0, 0, 0};
    encoder.table->Encode(encoder.handle, &in, &coded);
    ++counts[coded.frameType & 3];
    SpeechPcmStream out = {output.data(), 0, 0, 0, 0};
    decoder.table->Decode(decoder.handle, at % 400 == 0 ? nullptr : &coded, &out);
  }
  EXPECT_EQ(heap::Read().allocations, before);
  EXPECT_GT(counts[0], 0);
  EXPECT_GT(counts[1], 0);
  EXPECT_GT(counts[3], 0);
}

}  // namespace
}  // namespace orbel
