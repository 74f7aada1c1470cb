// ER BSAC through the tool: bare frames and raw units, and fewer layers.
#include <gtest/gtest.h>

#include <cmath>

#include "support/flac_reader.h"
#include "tools/tool_run.h"

namespace orbel {
namespace {

const std::string kData = ORBEL_TEST_DATA "/bsac/";

TEST(Bsac, BareFramesAndRawUnits) {
  const Workplace work;
  const struct {
    std::string name;
    const char* config;
    const char* layers;
  } kCases[] = {{"long44_full", "b209080000", "\"layers\": {\"least\": 30, \"most\": 30"},
                {"long16", "b409080000", "\"layers\": {\"least\": "},
                {"long44_deep", "b209080000", "\"title\": \"MPEG-4 ER BSAC\""}};
  for (const auto& test : kCases) {
    const Bytes frames = ReadFile(kData + test.name + ".bsac");
    const ReferencePcm want = ReadFlac(kData + test.name + ".flac");
    const std::string config = std::string(" --config ") + test.config;
    work.Put("frames", frames);
    const ToolResult result = work.Orbel("decode frames --format bsac -o o.pcm" + config);
    ASSERT_EQ(result.exitCode, 0) << test.name << result.err;
    EXPECT_EQ(result.err, "") << test.name;
    const std::vector<int16_t> pcm = AsPcm(work.Get("o.pcm"));
    ASSERT_EQ(pcm.size(), 10240u) << test.name;
    ASSERT_EQ(want.samples.size(), pcm.size()) << test.name;
    for (size_t i = 0; i < pcm.size(); ++i)  // the reference has the sign turned
      ASSERT_LE(std::abs(pcm[i] + want.samples[i]), 1) << test.name << " sample " << i;
    const ToolResult info = work.Orbel("info frames --json --format bsac" + config);
    EXPECT_NE(info.out.find(test.layers), std::string::npos) << info.out;

    Bytes units;
    for (size_t at = 0; at < frames.size();) {
      const size_t size = static_cast<size_t>(frames[at]) << 3 | frames[at + 1] >> 5;
      for (int shift = 0; shift < 32; shift += 8)
        units.push_back(static_cast<uint8_t>(size >> shift));
      for (const size_t end = at + size; at < end; ++at) units.push_back(frames.at(at));
    }
    work.Put("units", units);
    ASSERT_EQ(work.Orbel("decode units -o u.pcm" + config).exitCode, 0) << test.name;
    EXPECT_TRUE(AsPcm(work.Get("u.pcm")) == pcm) << test.name;
    ASSERT_EQ(work.Orbel("decode units -o u.pcm --layer 0" + config).exitCode, 0) << test.name;
    EXPECT_FALSE(AsPcm(work.Get("u.pcm")) == pcm) << test.name;
    ASSERT_EQ(work.Orbel("decode units -o u.pcm --layer 63" + config).exitCode, 0) << test.name;
    EXPECT_TRUE(AsPcm(work.Get("u.pcm")) == pcm) << test.name;
  }
  work.Put("noise", Bytes(100, 0));
  EXPECT_TRUE(work.Orbel("decode noise --format bsac -o o.wav --config b209080000")
                  .Complains(1, "noise: no BSAC frame"));
}

}  // namespace
}  // namespace orbel
