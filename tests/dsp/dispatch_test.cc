// Which processor gets which level.

#include "dsp/dispatch.h"

#include <gtest/gtest.h>

#include <cstring>

namespace orbel {
namespace {

// A processor made of its identification results.
struct FakeProcessor {
  bool readable = true;
  const char* vendor = "GenuineIntel";
  uint32_t ecx = 0;
  uint32_t edx = 7U << 23;
  uint32_t control = 7;
  int controlReads = 0;
} fake;

bool FakeIdentify(uint32_t leaf, uint32_t subLeaf, DspCpuInfo* result) {
  if (!fake.readable) return false;
  *result = {leaf, subLeaf, fake.ecx, fake.edx};
  if (leaf == 0) {
    std::memcpy(&result->ebx, fake.vendor, 4);
    std::memcpy(&result->edx, fake.vendor + 4, 4);
    std::memcpy(&result->ecx, fake.vendor + 8, 4);
  }
  return leaf < 8;
}

uint32_t FakeControl() {
  ++fake.controlReads;
  return fake.control;
}

constexpr uint32_t kEcxSse3 = 1U << 0;
constexpr uint32_t kEcxPclmulqdq = 1U << 1;
constexpr uint32_t kEcxSsse3 = 1U << 9;
constexpr uint32_t kEcxSse41 = 1U << 19;
constexpr uint32_t kEcxSse42 = 1U << 20;
constexpr uint32_t kEcxMovbe = 1U << 22;
constexpr uint32_t kEcxAes = 1U << 25;
constexpr uint32_t kEcxOsxsave = 1U << 27;
constexpr uint32_t kEcxAvx = 1U << 28;

class Dispatch : public testing::Test {
 protected:
  void SetUp() override { fake = FakeProcessor(); }

  void TearDown() override {
    DspSetProcessor(kDspThisProcessor);
    dspSetFeatureMask(~uint64_t{0});
    dspInit();
  }

  // Starts over on a processor with these bits.
  int32_t InitOn(uint32_t ecx, const char* vendor = "GenuineIntel", uint32_t control = 7) {
    fake.ecx = ecx;
    fake.vendor = vendor;
    fake.control = control;
    fake.controlReads = 0;
    DspSetProcessor({FakeIdentify, FakeControl});
    return dspInit();
  }
};

TEST_F(Dispatch, LevelFollowsTheFeatures) {
  constexpr uint32_t kUpToSsse3 = kEcxSse3 | kEcxSsse3;
  constexpr uint32_t kUpToSse41 = kUpToSsse3 | kEcxSse41;
  struct {
    uint32_t ecx;
    int32_t level, hint;
  } const cases[] = {
      {0, 0, 0},
      {kEcxMovbe, 0, 0},
      {kEcxSse3, 1, 0},
      {kEcxSse3 | kEcxMovbe, 1, 0},
      {kUpToSsse3, 2, 0},
      {kUpToSsse3 | kEcxMovbe, 2, 1},
      {kUpToSse41, 3, 0},
      {kUpToSse41 | kEcxMovbe, 3, 0},
      {kUpToSse41 | kEcxSse42 | kEcxOsxsave | kEcxAvx, 3, 0},
      {~0U, 3, 0},
  };
  for (const auto& check : cases) {
    EXPECT_EQ(InitOn(check.ecx), kDspOk) << check.ecx;
    EXPECT_EQ(dspLevel, check.level) << check.ecx;
    EXPECT_EQ(dspLevelHint, check.hint) << check.ecx;
    EXPECT_EQ(InitOn(check.ecx, "SomebodyElse"), kDspOtherVendor);
    EXPECT_EQ(dspLevel, check.level) << check.ecx;
  }
}

TEST_F(Dispatch, EveryFeatureHasItsBit) {
  struct {
    uint32_t ecx, edx;
    uint64_t feature;
  } const cases[] = {
      {0, 1U << 23, 1 << 0},
      {0, 1U << 25, 1 << 1},
      {0, 1U << 26, 1 << 2},
      {kEcxSse3, 0, 1 << 3},
      {kEcxSsse3, 0, 1 << 4},
      {kEcxMovbe, 0, 1 << 5},
      {kEcxSse41, 0, 1 << 6},
      {kEcxSse42, 0, 1 << 7},
      {kEcxAvx, 0, 1 << 8},
      {kEcxAes, 0, 1 << 10},
      {kEcxPclmulqdq, 0, 1 << 11},
      {kEcxOsxsave, 0, 0},
      {kEcxOsxsave | kEcxAvx, 0, 1 << 8 | 1 << 9},
  };
  for (const auto& check : cases) {
    fake.edx = check.edx;
    InitOn(check.ecx);
    EXPECT_EQ(dspFeatures, check.feature) << check.ecx << " " << check.edx;
    EXPECT_EQ(dspFeaturesValid, 1);
    // The control register may only be read where both bits are set.
    EXPECT_EQ(fake.controlReads, check.feature == (1 << 8 | 1 << 9) ? 1 : 0);
  }
  for (uint32_t control : {0U, 1U, 2U, 4U, 5U}) {
    InitOn(kEcxOsxsave | kEcxAvx, "GenuineIntel", control);
    EXPECT_FALSE(dspTestFeatures(kDspAvxEnabled)) << control;
  }
}

TEST_F(Dispatch, UnreadableFeaturesGiveLevelZero) {
  fake.readable = false;
  EXPECT_EQ(InitOn(~0U), kDspOtherVendor);
  EXPECT_EQ(dspLevel, 0);
  EXPECT_EQ(dspFeaturesValid, 0);
  uint64_t features = 5;
  EXPECT_EQ(dspGetFeatures(&features, nullptr), kDspFeaturesUnreadable);
  EXPECT_EQ(features, 5U);
  fake.readable = true;
  EXPECT_EQ(dspInit(), kDspOk);
  EXPECT_EQ(dspLevel, 3);
}

TEST_F(Dispatch, ForcedLevels) {
  constexpr uint64_t kAll = ~uint64_t{0};
  constexpr uint64_t kHideThree = static_cast<uint64_t>(int64_t{-3201});
  constexpr uint64_t kHideTwo = static_cast<uint64_t>(int64_t{-3073});
  struct {
    int32_t code, level, hint;
    uint64_t mask;
  } const cases[] = {
      {-1, 0, 0, kAll},     {0, 0, 0, kAll},        {96, 0, 0, kAll},       {32, 1, 0, kAll},
      {66, 1, 0, kAll},     {33, 2, 0, kAll},       {34, 2, 0, kAll},       {67, 2, 0, kAll},
      {36, 2, 1, kAll},     {35, 3, 0, kHideThree}, {68, 3, 0, kHideThree}, {37, 3, 0, kHideTwo},
      {69, 3, 0, kHideTwo}, {38, 3, 0, kAll},       {71, 3, 0, kAll},       {70, 4, 0, kAll},
  };
  for (int32_t code = -3; code <= 99; ++code) {
    dspLevel = 1;
    dspLevelHint = 7;
    dspSetFeatureMask(kAll);
    const auto* known = std::begin(cases);
    while (known != std::end(cases) && known->code != code) ++known;
    const bool unknown = known == std::end(cases);
    EXPECT_EQ(dspInitForced(code), unknown ? kDspUnknownLevel : kDspOk) << code;
    EXPECT_EQ(dspLevel, unknown ? 1 : known->level) << code;
    EXPECT_EQ(dspLevelHint, unknown ? 7 : known->hint) << code;
    EXPECT_EQ(dspFeatureMask, unknown ? kAll : known->mask) << code;
  }
}

TEST_F(Dispatch, MaskHidesFeatures) {
  InitOn(kEcxSse3 | kEcxSsse3 | kEcxSse41 | kEcxSse42 | kEcxAes);
  EXPECT_TRUE(dspTestFeatures(kDspSse42));
  EXPECT_TRUE(dspTestFeatures(kDspAvx | kDspAes));
  EXPECT_FALSE(dspTestFeatures(kDspAvx));
  EXPECT_FALSE(dspTestFeatures(0));
  dspInitForced(35);
  EXPECT_FALSE(dspTestFeatures(kDspSse42));
  EXPECT_TRUE(dspTestFeatures(kDspSse41));
  // The selection looks through the mask as well.
  dspSetFeatureMask(~kDspSse41);
  EXPECT_EQ(dspInit(), kDspOk);
  EXPECT_EQ(dspLevel, 2);
  uint64_t features = 0;
  EXPECT_EQ(dspGetFeatures(&features, nullptr), kDspOk);
  EXPECT_EQ(features, dspFeatures & ~kDspSse41);
}

TEST_F(Dispatch, GetFeaturesReportsLeaves) {
  InitOn(kEcxSse3);
  uint64_t features = 0;
  DspCpuInfo info = {4, 0, 3, 0};
  EXPECT_EQ(dspGetFeatures(nullptr, &info), kDspNullPointer);
  EXPECT_EQ(dspGetFeatures(&features, &info), kDspOk);
  EXPECT_EQ(info.eax, 1U);  // leaf 1, whatever was in there
  EXPECT_EQ(info.ecx, kEcxSse3);
  EXPECT_EQ(info.edx, fake.edx);

  std::memcpy(&features, "getinfoa", 8);
  info = {4, 0, 3, 0};
  EXPECT_EQ(dspGetFeatures(&features, &info), kDspOk);
  EXPECT_EQ(info.eax, 4U);
  EXPECT_EQ(info.ebx, 3U);
  EXPECT_EQ(features, dspFeatures);

  std::memcpy(&features, "getinfoa", 8);
  info = {99, 0, 0, 0};
  EXPECT_EQ(dspGetFeatures(&features, &info), kDspFeaturesUnreadable);
  EXPECT_EQ(info.eax, 99U);
}

// On the machine that runs this, and with the real instruction.
TEST_F(Dispatch, ThisProcessor) {
  const int32_t vendor = dspInit();
  DspCpuInfo info = {};
  uint64_t features = kDspInfoTag;
  ASSERT_EQ(dspGetFeatures(&features, &info), kDspOk);
  EXPECT_EQ(std::memcmp(&info.ebx, "Genu", 4) == 0, vendor == kDspOk);
  EXPECT_TRUE(dspTestFeatures(kDspSse2));
  EXPECT_EQ(dspTestFeatures(kDspSse41), dspLevel == 3);
  EXPECT_LE(dspLevel, 3);
}

}  // namespace
}  // namespace orbel
