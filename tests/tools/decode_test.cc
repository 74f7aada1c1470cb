// What comes out of the tool is exactly what was coded: every format, every
// length of tail, files and pipes.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <sstream>

#include "speech/speech_codec.h"
#include "tools/tool_run.h"

namespace orbel {
namespace {

using Pcm = std::vector<int16_t>;

// ITU-T G.711: sign, segment, step, by the formula.
int16_t MuLaw(uint8_t code) {
  const int bits = code ^ 0xFF;
  const int magnitude = ((((bits & 15) << 3) + 132) << (bits >> 4 & 7)) - 132;
  return static_cast<int16_t>((bits & 0x80) != 0 ? -magnitude : magnitude);
}

int16_t ALaw(uint8_t code) {
  const int bits = code ^ 0x55;
  const int segment = bits >> 4 & 7;
  const int step = ((bits & 15) << 4) + 8;
  const int magnitude = segment == 0 ? step : (step + 256) << (segment - 1);
  return static_cast<int16_t>((bits & 0x80) != 0 ? magnitude : -magnitude);
}

// The codec table itself, fed with whole blocks.
Pcm G726(const Bytes& coded, int32_t bitRate) {
  const auto grain = static_cast<size_t>(bitRate / 8000);
  const SpeechCodecFunctions& codec = kSpeechCodecG726;
  SpeechCodecInfo info = {};
  codec.GetInfo(nullptr, &info);
  info.options.direction = 1;
  info.options.law = 0;
  info.options.modes.bitRate = bitRate;
  SpeechMemBank bank = {};
  codec.GetBankSizes(&info.options, &bank);
  std::vector<uint64_t> memory(static_cast<size_t>(bank.size) / 8 + 8);
  bank.memory = memory.data();
  void* handle = nullptr;
  EXPECT_EQ(codec.Init(&info.options, &bank, &handle), SPEECH_OK);

  Bytes padded = coded;
  padded.resize((coded.size() + grain - 1) / grain * grain);
  Pcm pcm;
  for (size_t at = 0; at < padded.size(); at += grain) {
    int16_t block[8] = {};
    SpeechBitstream bits = {};
    bits.data = &padded[at];
    bits.byteCount = static_cast<int32_t>(grain);
    bits.frameType = FrameSpeech;
    bits.bitRate = bitRate;
    SpeechPcmStream out = {};
    out.data = block;
    EXPECT_EQ(codec.Decode(handle, &bits, &out), SPEECH_OK);
    pcm.insert(pcm.end(), block, block + 8);
  }
  pcm.resize(coded.size() * 8 / grain);
  return pcm;
}

// IMA ADPCM as cameras send it, one code after the other.
Pcm Ima(const Bytes& coded, size_t blockBytes) {
  constexpr int kMoves[8] = {-1, -1, -1, -1, 2, 4, 6, 8};
  std::vector<int> steps;
  for (const char* word =
           "7 8 9 10 11 12 13 14 16 17 19 21 23 25 28 31 34 37 41 45 50 55 60 66 73 80 88 97 107 "
           "118 130 143 157 173 190 209 230 253 279 307 337 371 408 449 494 544 598 658 724 796 "
           "876 963 1060 1166 1282 1411 1552 1707 1878 2066 2272 2499 2749 3024 3327 3660 4026 "
           "4428 4871 5358 5894 6484 7132 7845 8630 9493 10442 11487 12635 13899 15289 16818 "
           "18500 20350 22385 24623 27086 29794 32767";
       *word != 0; ++word) {
    if (steps.empty() || *word == ' ') steps.push_back(0);
    if (*word != ' ') steps.back() = steps.back() * 10 + (*word - '0');
  }
  EXPECT_EQ(steps.size(), 89u);
  Pcm pcm;
  int predictor = 0;
  int index = 0;
  for (size_t at = 0; at < coded.size(); ++at) {
    if (at % blockBytes == 2) index = std::clamp(int{static_cast<int8_t>(coded[at])}, 0, 88);
    if (at % blockBytes < 4) continue;
    for (const int code : {coded[at] >> 4, coded[at] & 15}) {
      const int step = steps[static_cast<size_t>(index)];
      int change = step / 8;
      if ((code & 4) != 0) change += step;
      if ((code & 2) != 0) change += step / 2;
      if ((code & 1) != 0) change += step / 4;
      predictor = std::clamp(predictor + ((code & 8) != 0 ? -change : change), -32768, 32767);
      index = std::clamp(index + kMoves[code & 7], 0, 88);
      pcm.push_back(static_cast<int16_t>(predictor));
    }
  }
  return pcm;
}

Pcm Expected(const std::string& options, const Bytes& coded) {
  Pcm pcm;
  if (options.find("mulaw") != std::string::npos)
    std::transform(coded.begin(), coded.end(), std::back_inserter(pcm), MuLaw);
  else if (options.find("alaw") != std::string::npos)
    std::transform(coded.begin(), coded.end(), std::back_inserter(pcm), ALaw);
  else if (const size_t at = options.find("g726-"); at != std::string::npos)
    pcm = G726(coded, 1000 * std::stoi(options.substr(at + 5)));
  else
    pcm = Ima(coded, std::stoul(options.substr(options.rfind(' '))));
  return pcm;
}

void ExpectWav(const Bytes& wav, const Pcm& pcm, const std::string& what) {
  ASSERT_EQ(wav.size(), 44 + 2 * pcm.size()) << what;
  EXPECT_EQ(std::string(wav.begin(), wav.begin() + 4), "RIFF") << what;
  EXPECT_EQ(LittleAt(wav, 4, 4), wav.size() - 8) << what;
  EXPECT_EQ(std::string(wav.begin() + 8, wav.begin() + 16), "WAVEfmt ") << what;
  EXPECT_EQ(LittleAt(wav, 16, 4), 16u) << what;
  EXPECT_EQ(LittleAt(wav, 20, 2), 1u) << what;         // PCM
  EXPECT_EQ(LittleAt(wav, 22, 2), 1u) << what;         // channels
  EXPECT_EQ(LittleAt(wav, 24, 4), 8000u) << what;      // rate
  EXPECT_EQ(LittleAt(wav, 28, 4), 16000u) << what;     // bytes a second
  EXPECT_EQ(LittleAt(wav, 32, 4), 0x100002u) << what;  // alignment, bits
  EXPECT_EQ(std::string(wav.begin() + 36, wav.begin() + 40), "data") << what;
  EXPECT_EQ(LittleAt(wav, 40, 4), 2 * pcm.size()) << what;
  EXPECT_TRUE(AsPcm(wav, 44) == pcm) << what;
}

const std::string kSamples = ORBEL_SAMPLES "/";

ToolResult DecodeSample(const Workplace& work, const std::string& file, const std::string& words) {
  return work.Orbel("decode '" + kSamples + file + "'" + words + " -o o.wav");
}

TEST(Decode, EverySampleFile) {
  const Workplace work;
  const Bytes list = ReadFile(kSamples + "list.txt");
  std::istringstream lines(std::string(list.begin(), list.end()));
  int files = 0;
  for (std::string line; std::getline(lines, line); ++files) {
    const std::string file = line.substr(0, line.find(' '));
    const std::string words = line.substr(file.size());
    std::string options = words;
    Bytes coded = ReadFile(kSamples + file);
    const auto is = [&](const char* end) { return file.ends_with(end); };
    if (is(".aac") || is(".adif") || is(".au") || is(".als") || is(".bsac")) {
      // What comes out of these is looked at elsewhere.
      const ToolResult result = DecodeSample(work, file, words);
      EXPECT_EQ(result.exitCode, 0) << line;
      EXPECT_EQ(result.err, "") << line;
      continue;
    }
    if (file.ends_with(".wav")) {
      options = file;                                  // tells the law
      coded.erase(coded.begin(), coded.begin() + 58);  // RIFF, 18 bytes of format, fact, data
    }
    const ToolResult result = DecodeSample(work, file, words);
    ASSERT_EQ(result.exitCode, 0) << line << result.err;
    EXPECT_EQ(result.out + result.err, "") << line;
    ExpectWav(work.Get("o.wav"), Expected(options, coded), line);
  }
  EXPECT_EQ(files, 23);
}

// No sample is lost or added, wherever the input ends and however it is cut.
TEST(Decode, TailsOfEveryLength) {
  const Workplace work;
  const struct {
    const char* options;
    size_t most;
    const char* note;  // what is said where the length is odd to the format
  } kCases[] = {{"--format mulaw --sample-bytes 160", 162, ""},
                {"--format alaw --sample-bytes 7", 16, ""},
                {"--format g726-32 --sample-bytes 8", 18, ""},
                {"--format g726-16 --sample-bytes 4", 9, ""},
                {"--format g726-40 --sample-bytes 10", 21, "ends within a block of 5 bytes"},
                {"--format g726-24 --sample-bytes 6", 14, "ends within a block of 3 bytes"},
                {"--format g726-24", 7, "ends within a block of 3 bytes"},
                {"--format ima --sample-bytes 9", 20, "ends within a block header"}};
  for (const auto& test : kCases) {
    const std::string options = test.options;
    const size_t least = test.most > 20 ? test.most - 5 : 0;
    for (size_t length = least; length <= test.most; ++length) {
      const std::string what = options + ", " + std::to_string(length) + " bytes";
      const Bytes coded = Noise(length, 11);
      const Pcm pcm = Expected(options, coded);
      work.Put("in", coded);
      const ToolResult result = work.Orbel("decode in " + options + " -o o.wav");
      ASSERT_EQ(result.exitCode, 0) << what << result.err;
      ExpectWav(work.Get("o.wav"), pcm, what);
      const bool odd = options.find("g726-24") != std::string::npos   ? length % 3 != 0
                       : options.find("g726-40") != std::string::npos ? length % 5 != 0
                       : options.find("ima") != std::string::npos
                           ? length % 9 != 0 && length % 9 <= 4
                           : false;
      EXPECT_EQ(result.err.find(test.note) != std::string::npos && !result.err.empty(), odd)
          << what << result.err;
    }
  }
}

// Longer than any buffer: the size of the samples and the road of the bytes
// change nothing.
TEST(Decode, PipesAndSampleSizesChangeNothing) {
  const Workplace work;
  const Bytes coded = Noise(300001, 5);
  work.Put("in", coded);
  for (const std::string format : {"mulaw", "alaw", "g726-32", "g726-24", "g726-16", "g726-40"}) {
    const std::string options = " --format " + format;
    const Pcm pcm = Expected(options, coded);
    ASSERT_EQ(work.Orbel("decode in -o file.wav" + options).exitCode, 0);
    ExpectWav(work.Get("file.wav"), pcm, format);
    ASSERT_EQ(work.Orbel("decode in -o o.pcm --sample-bytes 240" + options).exitCode, 0);
    EXPECT_TRUE(AsPcm(work.Get("o.pcm")) == pcm) << format;
    ASSERT_EQ(work.Shell("cat in | orbel decode - -o - --raw" + options + " | cat >o.pcm").exitCode,
              0);
    EXPECT_TRUE(AsPcm(work.Get("o.pcm")) == pcm) << format;
    // The length is known only at the end; a file's header is put right.
    ASSERT_EQ(work.Shell("cat in | orbel decode - -o piped.wav" + options).exitCode, 0);
    EXPECT_TRUE(work.Get("piped.wav") == work.Get("file.wav")) << format;
    ASSERT_EQ(work.Shell("cat in | orbel decode - -o - " + options + " | cat >o.wav").exitCode, 0);
    const Bytes wav = work.Get("o.wav");
    EXPECT_EQ(LittleAt(wav, 4, 4), 0xFFFFFFFFu);
    EXPECT_EQ(LittleAt(wav, 40, 4), 0xFFFFFFFFu);
    EXPECT_TRUE(AsPcm(wav, 44) == pcm) << format;
  }
  // From a file into a pipe the sizes are known at once.
  ASSERT_EQ(work.Shell("orbel decode - -o - --format alaw <in | cat >o.wav").exitCode, 0);
  ExpectWav(work.Get("o.wav"), Expected("alaw", coded), "standard input from a file");
}

// Sound leaves a pipe as it comes, not only when there is a bufferful.
TEST(Decode, LivePipeIsNotHeldBack) {
  const Workplace work;
  work.Put("in", Noise(160, 3));
  // The feeder goes on when the reader has its 20 ms, or much too late.
  const ToolResult result = work.Shell(
      "mkfifo live; { cat in; timeout 10 head -c 1 live || touch late; } | "
      "orbel decode - -o - --raw --format mulaw | "
      "{ head -c 320 | wc -c; exec 3<>live; echo >&3; cat >/dev/null; }");
  EXPECT_EQ(std::stoi(result.out), 320) << result.err;
  EXPECT_FALSE(work.Has("late"));
}

TEST(Decode, ImaBlocksKeepTheSound) {
  const Workplace work;
  Bytes sound;
  for (int i = 0; i < 8000; ++i) {
    const auto sample = static_cast<uint16_t>(
        static_cast<int16_t>(std::lround(9000 * std::sin(i * 0.21) + 5000 * std::sin(i * 0.037))));
    sound.push_back(static_cast<uint8_t>(sample));
    sound.push_back(static_cast<uint8_t>(sample >> 8));
  }
  work.Put("sound", sound);
  ASSERT_EQ(work.Shell("'" ORBEL_IMA_WRITER "' 100 <sound >blocks && orbel decode blocks "
                       "--format ima --sample-bytes 100 -o o.pcm")
                .exitCode,
            0);
  const Pcm want = AsPcm(sound);
  const Pcm got = AsPcm(work.Get("o.pcm"));
  ASSERT_EQ(got.size(), want.size());
  double signal = 0;
  double noise = 0;
  for (size_t i = 0; i < want.size(); ++i) {
    const double error = want[i] - got[i];
    signal += static_cast<double>(want[i]) * want[i];
    noise += error * error;
  }
  EXPECT_GT(10 * std::log10(signal / noise), 25.0);
}

TEST(Info, CountsAndLevels) {
  const Workplace work;
  Bytes tone(8000);
  for (size_t i = 0; i < tone.size(); ++i) tone[i] = i % 2 == 0 ? 0x80 : 0x00;  // full scale
  work.Put("tone", tone);
  const ToolResult json = work.Orbel("info --json --format mulaw tone");
  EXPECT_EQ(json.exitCode, 0) << json.err;
  // 32124 of 32768, peak and RMS alike
  for (const char* field : {"\"format\": \"mulaw\"", "\"samples\": 8000", "\"seconds\": 1.000",
                            "\"bitRate\": 64000", "\"peakDbfs\": -0.17", "\"rmsDbfs\": -0.17"})
    EXPECT_NE(json.out.find(field), std::string::npos) << field << " in " << json.out;

  work.Put("silence", Bytes(400, 0xFF));
  const ToolResult silence = work.Orbel("info --json --format mulaw silence tone");
  EXPECT_NE(silence.out.find("\"rmsDbfs\": null"), std::string::npos) << silence.out;
  EXPECT_EQ(std::count(silence.out.begin(), silence.out.end(), '\n'), 2);

  const ToolResult decoded = work.Orbel("decode --json --format mulaw tone -o o.wav");
  for (const char* field : {"\"output\": \"o.wav\"", "\"samples\": 8000", "\"timesRealTime\": "})
    EXPECT_NE(decoded.out.find(field), std::string::npos) << field << " in " << decoded.out;

  const ToolResult text = work.Orbel("info '" + kSamples + "gate-alaw.wav'");
  EXPECT_NE(text.out.find("G.711 A-law, WAV, 8000 Hz"), std::string::npos) << text.out;
  EXPECT_NE(text.out.find("3.100 s, 24800 samples"), std::string::npos) << text.out;
}

}  // namespace
}  // namespace orbel
