// Lossless streams through the tool: the samples that were coded, in a WAV file
// that says what they are.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <sstream>

#include "support/bit_writer.h"
#include "support/md5.h"
#include "tools/tool_run.h"

namespace orbel {
namespace {

const std::string kData = ORBEL_TEST_DATA "/als/";

Bytes Stream(const std::string& name) { return ReadFile(kData + name + ".als"); }

struct Wav {
  uint32_t tag = 0;
  uint32_t channels = 0;
  uint32_t bits = 0;
  Bytes data;
};

Wav ReadWav(const Bytes& bytes) {
  Wav wav;
  if (bytes.size() < 44) return wav;
  wav.tag = LittleAt(bytes, 20, 2);
  wav.channels = LittleAt(bytes, 22, 2);
  wav.bits = LittleAt(bytes, 34, 2);
  EXPECT_EQ(LittleAt(bytes, 32, 2), wav.channels * wav.bits / 8);
  EXPECT_EQ(LittleAt(bytes, 28, 4), LittleAt(bytes, 24, 4) * wav.channels * wav.bits / 8);
  EXPECT_EQ(LittleAt(bytes, 4, 4), bytes.size() - 8);
  EXPECT_EQ(wav.tag == 0xFFFE, wav.channels > 2 || wav.bits > 16);
  if (wav.tag == 0xFFFE) wav.tag = LittleAt(bytes, 44, 2);
  size_t at = 20 + LittleAt(bytes, 16, 4);
  while (bytes.at(at) != 'd') at += 8 + LittleAt(bytes, at + 4, 4);
  const size_t size = LittleAt(bytes, at + 4, 4);
  EXPECT_EQ(at + 8 + size + size % 2, bytes.size());
  wav.data.assign(bytes.begin() + static_cast<ptrdiff_t>(at + 8),
                  bytes.begin() + static_cast<ptrdiff_t>(at + 8 + size));
  return wav;
}

TEST(Als, EveryStreamIsExact) {
  const Workplace work;
  const Bytes list = ReadFile(kData + "list.txt");
  std::istringstream lines(std::string(list.begin(), list.end()));
  int files = 0;
  for (std::string name, format, md5; lines >> name >> format >> md5; ++files) {
    const std::string file = kData + name + ".als";
    const ToolResult result = work.Orbel("decode '" + file + "' -o o.wav");
    ASSERT_EQ(result.exitCode, 0) << name << result.err;
    EXPECT_EQ(result.err, "") << name;
    const Wav wav = ReadWav(work.Get("o.wav"));
    EXPECT_EQ(Md5(wav.data), md5) << name;
    EXPECT_EQ(wav.tag, format[0] == 'f' ? 3u : 1u) << name;
    EXPECT_EQ(wav.bits, std::stoul(format.substr(1))) << name;
    const ToolResult info = work.Orbel("info --json '" + file + "'");
    for (const char* const fact :
         {"\"title\": \"MPEG-4 ALS\"", "\"checksum\": \"good\"", "\"badFrames\": 0"})
      EXPECT_NE(info.out.find(fact), std::string::npos) << name << info.out << info.err;
    const ToolResult piped = work.Shell("cat '" + file + "' | orbel decode - -o - | cat >o.pcm");
    ASSERT_EQ(piped.exitCode, 0) << name << piped.err;
    Bytes all = work.Get("o.pcm");
    ASSERT_GT(all.size(), wav.data.size());
    all.erase(all.begin(), all.end() - static_cast<ptrdiff_t>(wav.data.size()));
    EXPECT_TRUE(all == wav.data) << name << " through pipes";
  }
  EXPECT_EQ(files, 27);
}

uint32_t BigAt(const Bytes& bytes, size_t at) {
  return static_cast<uint32_t>(bytes.at(at)) << 24 |
         LittleAt({bytes[at + 3], bytes[at + 2], bytes[at + 1]}, 0, 3);
}

// Bytes of a configuration without channel positions, words and auxiliary data.
size_t RecordBytes(const Bytes& als) {
  const bool hasChecksum = (als[21] & 0x80) != 0;
  const auto size = [&](size_t at) { return BigAt(als, at) == 0xFFFFFFFF ? 0 : BigAt(als, at); };
  return 30 + size(22) + size(26) + (hasChecksum ? 4 : 0);
}

TEST(Als, RawUnitsWithAConfiguration) {
  const Workplace work;
  const struct {
    const char* name;
    bool hasSizes;  // in front of each random-access unit
  } kCases[] = {{"rice_mono16", false}, {"ra_mono", true}};
  for (const auto& test : kCases) {
    const Bytes als = Stream(test.name);
    BitWriter config;
    config.Put(31, 5);
    config.Put(36 - 32, 6);
    config.Put(15, 4);
    config.Put(BigAt(als, 4), 24);
    config.Put(0, 4 + 5);
    Bytes units;
    const size_t record = RecordBytes(als);
    for (size_t at = 0; at < record; ++at) config.Put(als[at], 8);
    for (size_t at = record; at < als.size();) {
      const size_t size = test.hasSizes ? 4 + BigAt(als, at) : als.size() - at;
      for (int shift = 0; shift < 32; shift += 8)
        units.push_back(static_cast<uint8_t>(size >> shift));
      for (const size_t end = at + size; at < end; ++at) units.push_back(als.at(at));
    }
    std::string hex;
    for (const uint8_t byte : config.bytes) {
      char digits[3];
      std::snprintf(digits, sizeof digits, "%02x", byte);
      hex += digits;
    }
    work.Put("units", units);
    const ToolResult result = work.Orbel("decode units -o o.pcm --config " + hex);
    EXPECT_EQ(result.exitCode, 0) << test.name << result.err;
    EXPECT_EQ(result.err, "") << test.name;
    EXPECT_EQ(Md5(work.Get("o.pcm")), "1ef2d1406f723cd6851121f3fc6ed245") << test.name;
  }
}

// Rounded to 16 bits, whatever the samples are.
TEST(Als, Plays) {
  const Workplace work;
  for (const std::string name : {"const8", "rice_mono16", "s24_96k", "w_mix_32"}) {
    const std::string file = std::string(" '").append(kData).append(name).append(".als'");
    const ToolResult result = work.Shell(
        std::string("printf 'pcm.!default { type file file \"%s\" format raw slave.pcm { type "
                    "null } }' $PWD/played >conf; export ALSA_CONFIG_PATH=$PWD/conf; orbel play")
            .append(file)
            .append(" && orbel decode -o o.wav")
            .append(file));
    ASSERT_EQ(result.exitCode, 0) << name << result.err;
    const Wav wav = ReadWav(work.Get("o.wav"));
    const std::vector<int16_t> played = AsPcm(work.Get("played"));
    const size_t step = wav.bits / 8;
    ASSERT_GE(played.size(), wav.data.size() / step) << name;
    const double full = std::ldexp(1.0, static_cast<int>(wav.bits));
    for (size_t i = 0; i * step < wav.data.size(); ++i) {
      double want = LittleAt(wav.data, i * step, static_cast<int>(step));
      if (wav.bits == 8) want -= 128;
      if (want >= full / 2) want -= full;
      ASSERT_NEAR(played[i], std::min(want * 65536 / full, 32767.0), 0.51)
          << name << " sample " << i;
    }
  }
}

TEST(Als, DamageAndRefusals) {
  const Workplace work;
  const Bytes whole = Stream("rice_mono16");
  Bytes cut(whole.begin(), whole.end() - 100);
  Bytes flipped = whole;
  flipped[whole.size() / 2] ^= 0x10;
  Bytes adaptive = whole;
  adaptive[21] |= 0x40;  // RLS-LMS
  const struct {
    const char* what;
    Bytes bytes;
    int code;
    const char* complaint;
  } kCases[] = {
      {"cut short", cut, 0, "note: ends within a frame"},
      {"a wrong bit", flipped, 0, "in: note: "},
      {"adaptive predictor", adaptive, 1, "in: uses the adaptive RLS-LMS predictor"},
      {"header alone", Bytes(whole.begin(), whole.begin() + 20), 1, "within its ALS configuration"},
  };
  for (const auto& test : kCases) {
    work.Put("in", test.bytes);
    const ToolResult result = work.Orbel("decode in -o o.pcm");
    EXPECT_EQ(result.exitCode, test.code) << test.what << result.err;
    EXPECT_NE(result.err.find(test.complaint), std::string::npos) << test.what << result.err;
  }
  work.Put("in", whole);
  for (const char* const words : {"--format mulaw", "--config 1210", "--player"})
    EXPECT_EQ(work.Orbel(std::string("info in ") + words).exitCode, 2) << words;
}

}  // namespace
}  // namespace orbel
