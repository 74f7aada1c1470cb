// WAV input: every order of chunks, every kind of damage that can be read
// around, and a clear word where it can't.
#include <gtest/gtest.h>

#include "tools/tool_run.h"

namespace orbel {
namespace {

Bytes Little(uint32_t value, int count) {
  Bytes bytes;
  for (int i = 0; i < count; ++i) bytes.push_back(static_cast<uint8_t>(value >> (8 * i)));
  return bytes;
}

Bytes operator+(Bytes left, const Bytes& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

Bytes Text(const std::string& text) { return {text.begin(), text.end()}; }

Bytes Chunk(const std::string& id, uint32_t size, const Bytes& content) {
  return Text(id) + Little(size, 4) + content;
}

Bytes Format(uint32_t tag, uint32_t channels = 1, uint32_t rate = 8000) {
  return Chunk("fmt ", 16,
               Little(tag, 2) + Little(channels, 2) + Little(rate, 4) + Little(rate, 4) +
                   Little(1, 2) + Little(8, 2));
}

Bytes Riff(const Bytes& chunks) {
  return Chunk("RIFF", static_cast<uint32_t>(chunks.size() + 4), Text("WAVE") + chunks);
}

const Bytes kSound = Noise(100, 9);

TEST(WavInput, ReadsAroundDamage) {
  const Workplace work;
  work.Put("raw", kSound);
  ASSERT_EQ(work.Orbel("decode raw --format mulaw -o want.pcm").exitCode, 0);
  const Bytes want = work.Get("want.pcm");

  const Bytes format = Format(7);
  const Bytes data = Chunk("data", 100, kSound);
  const Bytes extensible = Chunk("fmt ", 40,
                                 Little(0xFFFE, 2) + Little(1, 2) + Little(8000, 4) +
                                     Little(8000, 4) + Little(1, 2) + Little(8, 2) + Little(22, 2) +
                                     Little(8, 2) + Little(4, 4) + Little(7, 2) + Bytes(14, 0));
  const struct {
    const char* what;
    Bytes wav;
    bool pipe;         // can be read from one, too
    const char* note;  // or null where all is said to be good
  } kCases[] = {
      {"plain", Riff(format + data), true, nullptr},
      {"chunks around",
       Riff(Chunk("LIST", 4, Text("INFO")) + format + Chunk("fact", 4, Little(100, 4)) + data +
            Chunk("LIST", 4, Text("INFO"))),
       true, nullptr},
      {"odd chunk, padded", Riff(Chunk("junk", 3, Text("abc") + Bytes(1, 0)) + format + data), true,
       nullptr},
      {"odd chunk, pad forgotten", Riff(Chunk("junk", 3, Text("abc")) + format + data), true,
       nullptr},
      {"data first", Riff(data + format), false, nullptr},
      {"extensible", Riff(extensible + data), true, nullptr},
      {"short format",
       Riff(Chunk("fmt ", 14, Bytes(format.begin() + 8, format.begin() + 22)) + data), true,
       nullptr},
      {"streamed", Riff(format + Chunk("data", 0xFFFFFFFF, kSound)), true, nullptr},
      {"streamed, signed", Riff(format + Chunk("data", 0x7FFFF000, kSound)), true, nullptr},
      {"RIFF size 0", Chunk("RIFF", 0, Text("WAVE") + format + data), true, nullptr},
      {"data size 0", Riff(format + Chunk("data", 0, kSound)), true, "says 0 bytes"},
      {"truncated", Riff(format + Chunk("data", 5000, kSound)), false,
       "says 5000 bytes, 100 are there (byte 40)"},
  };
  for (const auto& test : kCases) {
    work.Put("in.wav", test.wav);
    const ToolResult result = work.Orbel("decode in.wav -o o.pcm");
    EXPECT_EQ(result.exitCode, 0) << test.what << ": " << result.err;
    EXPECT_EQ(work.Get("o.pcm"), want) << test.what;
    if (test.note == nullptr)
      EXPECT_EQ(result.err, "") << test.what;
    else
      EXPECT_NE(result.err.find(test.note), std::string::npos) << test.what << ": " << result.err;
    if (!test.pipe) continue;
    const ToolResult piped = work.Shell("cat in.wav | orbel decode - -o o.pcm");
    EXPECT_EQ(piped.exitCode, 0) << test.what << ": " << piped.err;
    EXPECT_EQ(work.Get("o.pcm"), want) << test.what << " from a pipe";
  }

  work.Put("in.wav", Riff(format + Chunk("data", 5000, kSound)));
  const ToolResult piped = work.Shell("cat in.wav | orbel decode - -o o.pcm");
  EXPECT_NE(piped.err.find("ends 4900 bytes early (byte 144)"), std::string::npos) << piped.err;
  EXPECT_EQ(work.Get("o.pcm"), want);

  work.Put("in.wav", Riff(format + Chunk("data", 0, {}) + Chunk("LIST", 4, Text("INFO"))));
  EXPECT_EQ(work.Orbel("decode in.wav -o o.pcm").exitCode, 0);
  EXPECT_EQ(work.Get("o.pcm"), Bytes());
}

TEST(WavInput, RefusesClearly) {
  const Workplace work;
  const Bytes data = Chunk("data", 100, kSound);
  const struct {
    Bytes wav;
    const char* complaint;
  } kCases[] = {
      {Riff(Format(1) + data), "in.wav: WAV file of plain PCM: nothing to decode (byte 20)"},
      {Riff(Format(0x11) + data), "IMA ADPCM, only mu-law and A-law are read (byte 20)"},
      {Riff(Format(7, 2) + data),
       "in.wav: WAV file of 2 channels, only 1 can be decoded (byte 22)"},
      {Riff(Format(6, 1, 16000) + data), "of 16000 Hz, only 8000 Hz can be decoded (byte 24)"},
      {Riff(data), "in.wav: WAV file without a format chunk (byte 120)"},
      {Riff(Format(7)), "in.wav: WAV file without a data chunk (byte 36)"},
      {Riff(Chunk("fmt ", 16, Little(7, 2))), "in.wav: WAV format chunk is cut off (byte 22)"},
      {Riff(Format(7) + Bytes(20, 1)), "in.wav: no WAV chunk where one should start (byte 36)"},
      {Riff({}), "in.wav: WAV file without format and data chunks (byte 12)"},
      {Chunk("RF64", 0, Text("WAVE") + Format(7) + data), "in.wav: RF64 files are not read"},
  };
  for (const auto& test : kCases) {
    work.Put("in.wav", test.wav);
    const ToolResult result = work.Orbel("decode in.wav -o o.wav");
    EXPECT_TRUE(result.Complains(1, test.complaint)) << test.complaint << ", but: " << result.err;
    EXPECT_FALSE(work.Has("o.wav")) << test.complaint;
  }
  work.Put("in.wav", Riff(Format(7) + data));
  EXPECT_TRUE(work.Orbel("decode in.wav --format alaw -o o.wav")
                  .Complains(1, "in.wav: WAV file of mulaw, not of alaw"));
  work.Put("in.wav", Riff(data + Format(7)));
  EXPECT_TRUE(work.Shell("cat in.wav | orbel decode - -o o.wav")
                  .Complains(1, "standard input: WAV data in front of the format, in a pipe"));
}

}  // namespace
}  // namespace orbel
