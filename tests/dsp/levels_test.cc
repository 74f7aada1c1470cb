// Every level of every primitive against level 0, bit for bit.

#include <gtest/gtest.h>

#include <cstring>
#include <iostream>
#include <memory>
#include <set>
#include <string>

#include "dsp/dispatch.h"
#include "dsp/family_cases.h"
#include "dsp/primitive_cases.h"
#include "dsp/rows.h"

namespace orbel {
namespace {

bool RunsHere(int level) {
  constexpr uint64_t kNeeds[kDspLevels] = {0, kDspSse3, kDspSsse3, kDspSse41,
                                           kDspAvx | kDspAvxEnabled};
  return (dspFeatures & kNeeds[level]) == kNeeds[level];
}

// Where two buffers differ, for the message.
size_t FirstDifference(const CaseBuffers& one, const CaseBuffers& other) {
  const auto* a = reinterpret_cast<const unsigned char*>(&one);
  const auto* b = reinterpret_cast<const unsigned char*>(&other);
  size_t at = 0;
  while (at < sizeof one && a[at] == b[at]) ++at;
  return at;
}

// The processor's own features, whatever an earlier test has left behind.
void DetectHere() {
  DspSetProcessor(kDspThisProcessor);
  dspInit();
  ASSERT_NE(dspFeatures & kDspSse2, 0U);
  for (int level = 1; level < kDspLevels; ++level)
    if (!RunsHere(level)) std::cout << "level " << level << " does not run on this processor\n";
}

TEST(Levels, EqualLevelZero) {
  DetectHere();
  const auto input = std::make_unique<CaseBuffers>();
  const auto want = std::make_unique<CaseBuffers>();
  const auto got = std::make_unique<CaseBuffers>();
  for (uint32_t seed : {1U, 2U, 3U}) {
    for (bool extreme : {false, true}) {
      input->Fill(seed, extreme);
      for (const PrimitiveCase& run : kPrimitiveCases) {
        for (int32_t length : {1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31, 80, 160, 1024}) {
          for (int32_t offset : {0, 1, 3, 8}) {
            *want = *input;
            const int32_t status = run.run(0, *want, offset, length);
            for (int level = 1; level < kDspLevels; ++level) {
              if (!RunsHere(level)) continue;
              *got = *input;
              ASSERT_EQ(run.run(level, *got, offset, length), status);
              ASSERT_EQ(FirstDifference(*want, *got), sizeof *want)
                  << run.primitive << " " << run.what << ", level " << level << ", length "
                  << length << ", offset " << offset << ", seed " << seed;
            }
          }
        }
      }
    }
  }
}

// What a primitive may write: its own elements and nothing behind or before them.
TEST(Levels, WriteOnlyTheirElements) {
  DetectHere();
  const auto input = std::make_unique<CaseBuffers>();
  const auto after = std::make_unique<CaseBuffers>();
  input->Fill(4, false);
  for (const PrimitiveCase& run : kPrimitiveCases) {
    // Moving by 1 writes one element further on.
    const int32_t end = std::string(run.what) == "up by 1" ? 1 : 0;
    for (int32_t length : {1, 7, 8, 21, 80}) {
      for (int level = 0; level < kDspLevels; ++level) {
        if (!RunsHere(level)) continue;
        constexpr int32_t kOffset = 5;
        *after = *input;
        run.run(level, *after, kOffset, length);
        ASSERT_EQ(std::memcmp(after->filter, input->filter, sizeof input->filter), 0);
        for (int32_t i = 0; i < kCaseRoom; ++i) {
          ASSERT_EQ(after->first[i], input->first[i]) << run.primitive;
          ASSERT_EQ(after->second[i], input->second[i]) << run.primitive;
          ASSERT_EQ(after->codes[i], input->codes[i]) << run.primitive;
          if (i >= kOffset && i < kOffset + length + end) continue;
          ASSERT_EQ(after->out[i], input->out[i]) << run.primitive << " length " << length;
          ASSERT_EQ(after->outCodes[i], input->outCodes[i]) << run.primitive;
        }
      }
    }
  }
}

TEST(Levels, FamiliesEqualLevelZero) {
  DetectHere();
  for (const auto& cases : {VlcCases(), TransformCases(), PredictionCases(), ToolCases(),
                            QmfCases(), SbrCases(), PsCases(), AlsCases(), BsacCases()}) {
    for (const FamilyCase& run : cases) {
      for (uint32_t seed : {1U, 2U, 3U}) {
        for (bool extreme : {false, true}) {
          for (int32_t length : {1, 2, 3, 4, 5, 7, 8, 9, 16, 31, 65, 160}) {
            const std::vector<uint8_t> want = run.run(0, seed, extreme, length);
            for (int level = 1; level < kDspLevels; ++level) {
              if (!RunsHere(level)) continue;
              ASSERT_EQ(run.run(level, seed, extreme, length), want)
                  << run.primitive << " " << run.what << ", level " << level << ", length "
                  << length << ", extreme " << extreme << ", seed " << seed;
            }
          }
        }
      }
    }
  }
}

TEST(Levels, CaseListNamesEveryPrimitive) {
  std::set<std::string> named;
  for (const PrimitiveCase& run : kPrimitiveCases) named.insert(run.primitive);
  for (const auto& cases : {VlcCases(), TransformCases(), PredictionCases(), ToolCases(),
                            QmfCases(), SbrCases(), PsCases(), AlsCases(), BsacCases()})
    for (const FamilyCase& run : cases) named.insert(run.primitive);
#define COUNT_NAME(name, params, args) \
  EXPECT_EQ(named.erase(#name), 1U) << #name " is not in the list of cases";
  DSP_KERNELS(COUNT_NAME)
#undef COUNT_NAME
  EXPECT_TRUE(named.empty());
}

}  // namespace
}  // namespace orbel
