// Help, wrong usage and failures: the exit code, one line that says what and
// where, and nothing half done left behind.
#include <gtest/gtest.h>

#include "tools/tool_run.h"

namespace orbel {
namespace {

TEST(Usage, HelpAndVersion) {
  const Workplace work;
  for (const std::string words :
       {"--help", "decode --help", "encode --help", "play -h", "info --help"}) {
    const ToolResult result = work.Orbel(words);
    EXPECT_EQ(result.exitCode, 0) << words;
    EXPECT_NE(result.out.find("orbel "), std::string::npos) << words;
    EXPECT_EQ(result.err, "") << words;
  }
  EXPECT_NE(work.Orbel("--help").out.find("Exit codes: 0 done, 1 failed, 2 wrong usage"),
            std::string::npos);
  EXPECT_EQ(work.Orbel("--version").out.find("orbel "), 0u);
}

TEST(Usage, WrongCommandLines) {
  const Workplace work;
  work.Put("in", Noise(100, 1));
  const struct {
    const char* words;
    const char* complaint;
  } kCases[] = {
      {"", "orbel --help"},
      {"decdoe in", "unknown command 'decdoe'; did you mean 'decode'?"},
      {"--versoin", "unknown option '--versoin'"},
      {"decode", "needs an input"},
      {"decode in --format mulaw", "-o FILE.wav"},
      {"decode in -o", "-o needs a file name"},
      {"decode in --fromat mulaw -o o.wav", "unknown option '--fromat'; did you mean '--format'?"},
      {"decode in --volume 3 -o o.wav", "decode has no option '--volume'"},
      {"decode in in --format mulaw -o o.wav", "takes one input"},
      {"decode in --raw=yes -o o.wav", "--raw takes no value"},
      {"decode in -o o.wav",
       "in: not a WAV, ADTS, ADIF, ALS or framed speech file; say what it holds"},
      {"decode in --format mulow -o o.wav", "unknown format 'mulow'; did you mean 'mulaw'?"},
      {"decode in --format ima -o o.wav", "needs --sample-bytes"},
      {"decode in --format ima --sample-bytes 4 -o o.wav", "5 or more, not 4"},
      {"decode in --format g726-32 --sample-bytes 6 -o o.wav", "a multiple of 4, not 6"},
      {"decode in --format g726-40 --sample-bytes 6 -o o.wav", "a multiple of 5, not 6"},
      {"decode in --format g726-16 --player -o o.wav", "a player has no format g726-16"},
      {"decode in --format mulaw --layer 1 -o o.wav", "--layer is for AAC, not for mulaw"},
      {"decode in --layer 64 -o o.wav", "-1 to 63, not '64'"},
      {"decode in --vad --format mulaw -o o.wav", "decode has no option '--vad'"},
      {"encode in --format mulaw --volume 1 -o o.wav", "encode has no option '--volume'"},
      {"decode in --format mulaw --sample-bytes 0 -o o.wav", "not '0'"},
      {"decode in --format mulaw --sample-bytes 1x -o o.wav", "not '1x'"},
      {"decode in --format mulaw --sample-bytes 99999999999 -o o.wav", "not '99999999999'"},
      {"play in --format mulaw --volume 65536", "0 to 65535, not '65536'"},
      {"decode in --sbr-mode 19 -o o.wav", "--sbr-mode takes 18 or 28, not '19'"},
      {"decode in --downsample 2 -o o.wav", "--downsample takes 0 or 1, not '2'"},
      {"play in --ps on", "--ps takes off, 111 or 411, not 'on'"},
      {"play in --ps 411 --downsample 1", "--ps contradicts --downsample 1"},
      {"play in --ps 111 --sbr-mode 28", "--ps contradicts --sbr-mode 28"},
      {"info in --sbr-mode 28 --player", "a player has no --sbr-mode"},
      {"decode in --ps off --format mulaw -o o.wav", "--ps is for AAC, not for mulaw"},
      {"play in --format mulaw --volume -1", "not '-1'"},
  };
  for (const auto& test : kCases) {
    const ToolResult result = work.Orbel(test.words);
    EXPECT_TRUE(result.Complains(2, test.complaint)) << test.words << ": " << result.err;
    EXPECT_EQ(result.out, "") << test.words;
    EXPECT_FALSE(work.Has("o.wav")) << test.words;
  }
}

TEST(Usage, InputNamesMayLookLikeOptions) {
  const Workplace work;
  work.Put("--raw", Noise(10, 1));
  EXPECT_EQ(work.Orbel("decode --format=alaw --output=o.pcm -- --raw").exitCode, 0);
  EXPECT_EQ(work.Get("o.pcm").size(), 20u);
}

TEST(Failures, SayWhatAndWhere) {
  const Workplace work;
  work.Put("in", Noise(100000, 1));
  const struct {
    const char* line;
    const char* complaint;
  } kCases[] = {
      {"orbel decode no --format mulaw -o o.wav", "no: No such file"},
      {"orbel decode . --format mulaw -o o.wav", ".: Is a directory"},
      {"orbel info no --format mulaw", "no: No such file"},
      {"orbel decode in --format mulaw -o no/o.wav", "no/o.wav: No such file"},
      {"orbel decode in --format mulaw -o in", "in: is the input itself"},
      {"orbel decode in --format mulaw -o /dev/full", "/dev/full: can't be written: No space left"},
      {"orbel info in --format mulaw >/dev/full", "standard output: No space left"},
      {"(ulimit -f 40; orbel decode in --format mulaw -o o.wav)",
       "o.wav: can't be written: File too large (byte "},
      // A machine without a sound device.
      {"touch none; ALSA_CONFIG_PATH=$PWD/none orbel play in --format mulaw",
       "in: no sound device can be opened"},
  };
  for (const auto& test : kCases) {
    const ToolResult result = work.Shell(test.line);
    EXPECT_TRUE(result.Complains(1, test.complaint)) << test.line << ": " << result.err;
    EXPECT_FALSE(work.Has("o.wav")) << test.line;
  }
  EXPECT_EQ(work.Get("in"), Noise(100000, 1));
}

TEST(Failures, LeaveAnOlderOutputAloneUntilThereIsSomethingToWrite) {
  const Workplace work;
  work.Put("o.wav", Noise(10, 1));
  EXPECT_EQ(work.Orbel("decode no --format mulaw -o o.wav").exitCode, 1);
  EXPECT_EQ(work.Get("o.wav"), Noise(10, 1));
}

// A WAV file can't hold more than 4 GB: known before the first byte is written.
TEST(Failures, TooLongForWav) {
  const Workplace work;
  const ToolResult result =
      work.Shell("truncate -s 3G in && orbel decode in --format mulaw -o o.wav");
  EXPECT_TRUE(result.Complains(1, "o.wav: 6442450944 bytes, more than")) << result.err;
  EXPECT_FALSE(work.Has("o.wav"));
}

TEST(Failures, ClosedPipeIsQuiet) {
  const Workplace work;
  work.Put("in", Noise(1000000, 1));
  const ToolResult result = work.Shell(
      "{ orbel decode in --format mulaw -o -; echo code $? >code; } | head -c 100 | wc -c");
  EXPECT_EQ(std::stoi(result.out), 100);
  EXPECT_EQ(result.err, "");
  const Bytes code = work.Get("code");
  EXPECT_EQ(std::string(code.begin(), code.end()), "code 0\n");
}

TEST(Failures, StoppedHalfwayLeavesNoFile) {
  const Workplace work;
  work.Put("in", Noise(100000, 1));
  const ToolResult result =
      work.Shell("mkfifo feed; '" ORBEL_TOOL
                 "' decode feed --format mulaw -o o.wav & tool=$!; exec 3>feed; "
                 "cat in >&3; while [ ! -s o.wav ]; do sleep 0.01; done; kill $tool; wait $tool");
  EXPECT_EQ(result.exitCode, 128 + 15);
  EXPECT_FALSE(work.Has("o.wav"));
}

}  // namespace
}  // namespace orbel
