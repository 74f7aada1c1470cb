// What the tool encodes: the codec tables' bytes, and frames with silence coding
// in their container.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "speech/speech_codec.h"
#include "tools/tool_run.h"

namespace orbel {
namespace {

using Pcm = std::vector<int16_t>;

Bytes operator+(Bytes left, const Bytes& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

Bytes AsWav(const Pcm& pcm, uint32_t rate = 8000, uint32_t channels = 1) {
  Bytes wav = {'R', 'I', 'F', 'F', 0, 0, 0, 0, 'W', 'A', 'V', 'E', 'f', 'm', 't', ' '};
  const auto put = [&](uint32_t value, int count) {
    for (int i = 0; i < count; ++i) wav.push_back(static_cast<uint8_t>(value >> (8 * i)));
  };
  put(16, 4);
  put(1 | channels << 16, 4);
  put(rate, 4);
  put(rate * channels * 2, 4);
  put(channels * 2 | 16 << 16, 4);
  wav = wav + Bytes{'d', 'a', 't', 'a'};
  put(static_cast<uint32_t>(2 * pcm.size()), 4);
  for (const int16_t sample : pcm) put(static_cast<uint16_t>(sample), 2);
  return wav;
}

Pcm RandomPcm(size_t count, int most) {
  std::mt19937 random(5);
  std::uniform_int_distribution<int> value(-most, most);
  Pcm pcm(count);
  for (int16_t& sample : pcm) sample = static_cast<int16_t>(value(random));
  return pcm;
}

// All samples through the codec's table at once, filled up to whole frames.
Bytes Coded(const SpeechCodecFunctions& codec, int32_t bitRate, Pcm pcm) {
  const bool isG711 = bitRate == 64000;
  const size_t samples = pcm.size();
  if (isG711) pcm.resize((samples + 79) / 80 * 80);
  SpeechCodecInfo info = {};
  codec.GetInfo(nullptr, &info);
  info.options.direction = 0;
  info.options.modes = {bitRate, 0, 0, 0, 0};
  SpeechMemBank bank = {};
  codec.GetBankSizes(&info.options, &bank);
  std::vector<std::max_align_t> memory(static_cast<size_t>(bank.size) / 16 + 8);
  const auto address = reinterpret_cast<uintptr_t>(memory.data());
  bank.memory = reinterpret_cast<void*>((address + 31) / 32 * 32);
  void* handle = nullptr;
  EXPECT_EQ(codec.Init(&info.options, &bank, &handle), SPEECH_OK);
  Bytes bytes;
  const size_t step = isG711 ? 80 : std::max<size_t>(pcm.size(), 1);
  for (size_t at = 0; at < pcm.size(); at += step) {
    Bytes some(step + 8);
    SpeechPcmStream in = {&pcm[at], static_cast<int32_t>(2 * step), 8000, 16, bitRate};
    SpeechBitstream out = {some.data(), 0, FrameSpeech, bitRate};
    EXPECT_EQ(codec.Encode(handle, &in, &out), SPEECH_OK);
    some.resize(static_cast<size_t>(out.byteCount));
    bytes = bytes + some;
  }
  if (isG711) bytes.resize(samples);
  return bytes;
}

TEST(Encode, WhatTheCodecGives) {
  const Workplace work;
  const struct {
    std::string format;
    const SpeechCodecFunctions& codec;
    int32_t bitRate;
  } kCases[] = {{"mulaw", kSpeechCodecG711U, 64000},  {"alaw", kSpeechCodecG711A, 64000},
                {"g726-16", kSpeechCodecG726, 16000}, {"g726-24", kSpeechCodecG726, 24000},
                {"g726-32", kSpeechCodecG726, 32000}, {"g726-40", kSpeechCodecG726, 40000}};
  for (const auto& test : kCases) {
    for (const size_t samples : {size_t{0}, size_t{1}, size_t{80}, size_t{87}, size_t{30000}}) {
      const std::string what = test.format + ", samples " + std::to_string(samples);
      const Pcm pcm = RandomPcm(samples, 20000);
      const Bytes want = Coded(test.codec, test.bitRate, pcm);
      work.Put("in.wav", AsWav(pcm));
      const std::string format = " --format " + test.format;
      const ToolResult result = work.Orbel("encode in.wav -o out" + format);
      ASSERT_EQ(result.exitCode, 0) << what << result.err;
      EXPECT_EQ(result.out + result.err, "") << what;
      EXPECT_TRUE(work.Get("out") == want) << what;
      ASSERT_EQ(work.Shell("cat in.wav | orbel encode - -o -" + format + " | cat >out").exitCode,
                0);
      EXPECT_TRUE(work.Get("out") == want) << what << " through pipes";
      if (test.bitRate != 64000 || samples == 0) continue;
      // The law's own WAV files tell what they are.
      ASSERT_EQ(work.Orbel("encode in.wav -o law.wav" + format).exitCode, 0) << what;
      const Bytes law = work.Get("law.wav");
      EXPECT_EQ(law.size(), 58 + samples + samples % 2) << what;
      EXPECT_EQ(LittleAt(law, 4, 4), law.size() - 8) << what;
      ASSERT_EQ(work.Shell("orbel decode law.wav -o a.pcm && orbel decode out -o b.pcm" + format)
                    .exitCode,
                0);
      EXPECT_TRUE(work.Get("a.pcm") == work.Get("b.pcm")) << what;
    }
  }
}

TEST(Encode, RefusesClearly) {
  const Workplace work;
  work.Put("in.wav", AsWav(Pcm(100)));
  work.Put("wide.wav", AsWav(Pcm(100), 16000));
  work.Put("stereo.wav", AsWav(Pcm(100), 8000, 2));
  work.Put("noise", Noise(100, 1));
  const struct {
    const char* words;
    int code;
    const char* complaint;
  } kCases[] = {
      {"wide.wav -o o --format alaw", 1, "16000 Hz, channels 1; encode takes 16-bit PCM, 8000 Hz"},
      {"stereo.wav -o o --format alaw", 1,
       "channels 2; encode takes 16-bit PCM, 8000 Hz, mono: sox"},
      {"noise -o o --format alaw", 1, "noise: not a WAV file"},
      {"in.wav -o in.wav --format alaw", 1, "is the input itself"},
      {"in.wav -o o", 2, "encode needs --format"},
      {"in.wav --format alaw", 2, "encode needs an output"},
      {"in.wav -o o --format ima", 2, "no encoder for ima"},
      {"in.wav -o o --format g726-32 --vad", 2, "--vad is for mulaw and alaw, not for g726-32"},
      {"in.wav -o o.wav --format g726-32", 2, "a WAV file holds mulaw or alaw"},
      {"in.wav -o o.wav --format alaw --vad", 2, "a WAV file holds mulaw or alaw without --vad"},
      {"in.wav -o o --format alaw --layer 1", 2, "encode has no option '--layer'"},
  };
  for (const auto& test : kCases) {
    const ToolResult result = work.Orbel(std::string("encode ") + test.words);
    EXPECT_TRUE(result.Complains(test.code, test.complaint)) << test.words << ": " << result.err;
    EXPECT_FALSE(work.Has("o")) << test.words;
  }
}

Bytes FramedHead(uint8_t law, uint32_t frames) {
  return {'O',
          'R',
          'B',
          'V',
          1,
          law,
          0,
          0,
          static_cast<uint8_t>(frames),
          static_cast<uint8_t>(frames >> 8),
          static_cast<uint8_t>(frames >> 16),
          static_cast<uint8_t>(frames >> 24)};
}

TEST(Framed, HandWrittenFrames) {
  const Workplace work;
  const Bytes code = Noise(3 * 80, 2);
  Bytes frames;
  for (size_t at = 0; at < code.size(); at += 80) {
    frames.push_back(3);
    frames.insert(frames.end(), &code[at], &code[at] + 80);
  }
  const struct {
    const char* what;
    Bytes bytes;
    size_t samples;
    const char* note;
    bool isExact = true;  // the samples are those of the plain law
  } kCases[] = {
      {"mu-law", FramedHead(2, 3) + frames, 240, ""},
      {"A-law", FramedHead(1, 3) + frames, 240, ""},
      {"to the end", FramedHead(2, 0xFFFFFFFF) + frames, 240, ""},
      {"none", FramedHead(2, 0), 0, ""},
      {"a loss", FramedHead(2, 5) + frames + Bytes{255, 255}, 400, ""},
      {"cut short", FramedHead(2, 3) + Bytes(frames.begin(), frames.end() - 1), 160,
       "ends within a frame (byte 174)"},
      {"too few", FramedHead(2, 5) + frames, 240, "ends 2 frames early (byte 255)"},
      {"more behind", FramedHead(2, 3) + frames + frames, 240, "bytes behind the last frame"},
      {"a type of its own", FramedHead(2, 4) + frames + Bytes{2}, 240, "no frame has type 2"},
      {"lost first", FramedHead(2, 4) + Bytes{255} + frames, 320, "", false},
  };
  for (const auto& test : kCases) {
    work.Put("in", test.bytes);
    work.Put("law", code);
    const ToolResult result = work.Orbel("decode in -o o.wav");
    ASSERT_EQ(result.exitCode, 0) << test.what << result.err;
    EXPECT_EQ(result.err.empty(), std::string(test.note).empty()) << test.what << result.err;
    EXPECT_NE(result.err.find(test.note), std::string::npos) << test.what << result.err;
    const Pcm pcm = AsPcm(work.Get("o.wav"), 44);
    ASSERT_EQ(pcm.size(), test.samples) << test.what;
    ASSERT_EQ(work.Shell("cat in | orbel decode - -o o.pcm").exitCode, 0) << test.what;
    EXPECT_TRUE(AsPcm(work.Get("o.pcm")) == pcm) << test.what;
    if (!test.isExact) continue;
    ASSERT_EQ(work.Orbel(std::string("decode law -o o.pcm --format ") +
                         (test.bytes[5] == 1 ? "alaw" : "mulaw"))
                  .exitCode,
              0);
    const Pcm want = AsPcm(work.Get("o.pcm"));
    EXPECT_TRUE(std::equal(
        pcm.begin(), pcm.begin() + std::ptrdiff_t(std::min<size_t>(pcm.size(), 240)), want.begin()))
        << test.what;
  }
  work.Put("in", FramedHead(2, 5) + frames + Bytes{255, 255});
  const ToolResult info = work.Orbel("info in --json");
  EXPECT_NE(info.out.find("\"frameTypes\": {\"speech\": 3, \"silence\": 0, \"nothing\": 0, "
                          "\"lost\": 2}, \"savedBytes\": 143"),
            std::string::npos)
      << info.out;
  work.Put("in", FramedHead(3, 5));
  EXPECT_TRUE(work.Orbel("info in").Complains(1, "law 3 (byte 5)"));
}

// Loud tones with noise far below between them: sent and silent in turn, and
// what is sent is the law's own code, 40 samples late.
TEST(Framed, SilenceIsNotSent) {
  const Workplace work;
  constexpr size_t kSecond = 8000;
  Pcm pcm = RandomPcm(8 * kSecond + 33, 12);
  for (size_t i = 0; i < pcm.size(); ++i)
    if (i / kSecond % 4 == 1)
      pcm[i] = static_cast<int16_t>(std::lround(9000 * std::sin(static_cast<double>(i) * 0.31) *
                                                (1 + std::sin(static_cast<double>(i) * 0.004))));
  work.Put("in.wav", AsWav(pcm));
  for (const std::string format : {"mulaw", "alaw"}) {
    const ToolResult result = work.Orbel("encode in.wav -o out --vad --json --format " + format);
    ASSERT_EQ(result.exitCode, 0) << format << result.err;
    const size_t frames = (pcm.size() + 40 + 79) / 80;
    const Bytes out = work.Get("out");
    EXPECT_EQ(LittleAt(out, 8, 4), frames) << format;
    EXPECT_LT(out.size(), pcm.size() / 2) << format;  // a quarter is sound
    ASSERT_EQ(work.Orbel("decode out -o o.pcm").exitCode, 0) << format;
    const Pcm got = AsPcm(work.Get("o.pcm"));
    ASSERT_EQ(got.size(), 80 * frames) << format;
    ASSERT_EQ(work.Orbel("encode in.wav -o law --format " + format).exitCode, 0);
    ASSERT_EQ(work.Orbel("decode law -o law.pcm --format " + format).exitCode, 0);
    const Pcm law = AsPcm(work.Get("law.pcm"));
    for (size_t i = kSecond + 800; i + 800 < 2 * kSecond; ++i)
      ASSERT_EQ(got[i + 40], law[i]) << format << " sample " << i;
    const ToolResult info = work.Orbel("info --json out");
    EXPECT_NE(info.out.find("\"seconds\": 8.01"), std::string::npos) << info.out;
    EXPECT_EQ(info.out.find("\"silence\": 0"), std::string::npos) << info.out;
  }
}

}  // namespace
}  // namespace orbel
