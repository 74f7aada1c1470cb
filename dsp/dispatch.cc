#include "dsp/dispatch.h"

#include <cpuid.h>

namespace orbel {
namespace {

// Automatic selection stops at SSE4.1 on purpose; the AVX variants are reached
// by dspInitForced alone.
constexpr bool kAvxAllowed = false;

// Bits 1 and 2 of the extended control register: SSE and AVX state.
constexpr uint32_t kVectorStates = 6;

struct FeatureSource {
  uint64_t feature;
  uint32_t DspCpuInfo::*word;
  int bit;
};

constexpr FeatureSource kFeatureSources[] = {
    {kDspMmx, &DspCpuInfo::edx, 23},      {kDspSse, &DspCpuInfo::edx, 25},
    {kDspSse2, &DspCpuInfo::edx, 26},     {kDspSse3, &DspCpuInfo::ecx, 0},
    {kDspSsse3, &DspCpuInfo::ecx, 9},     {kDspMovbe, &DspCpuInfo::ecx, 22},
    {kDspSse41, &DspCpuInfo::ecx, 19},    {kDspSse42, &DspCpuInfo::ecx, 20},
    {kDspAvx, &DspCpuInfo::ecx, 28},      {kDspAes, &DspCpuInfo::ecx, 25},
    {kDspPclmulqdq, &DspCpuInfo::ecx, 1},
};

bool Identify(uint32_t leaf, uint32_t subLeaf, DspCpuInfo* result) {
  // The count of leaves is asked for in the leaf's own range, the basic one or
  // one of the extended ones.
  const uint32_t range = leaf & 0x80000000U;
  if (static_cast<uint32_t>(__get_cpuid_max(range, nullptr)) < leaf) return false;
  __cpuid_count(leaf, subLeaf, result->eax, result->ebx, result->ecx, result->edx);
  return true;
}

uint32_t ExtendedControl() {
  uint32_t low;
  uint32_t high;
  __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  return low;
}

DspProcessor currentProcessor = {Identify, ExtendedControl};

uint64_t FeaturesOf(const DspCpuInfo& leaf1) {
  uint64_t features = 0;
  for (const FeatureSource& source : kFeatureSources) {
    if ((leaf1.*source.word >> source.bit) & 1) features |= source.feature;
  }
  // The control register can be read only where the operating system uses it.
  const bool readable = ((leaf1.ecx >> 27) & 1) && ((leaf1.ecx >> 28) & 1);
  if (readable && (currentProcessor.extendedControl() & kVectorStates) == kVectorStates) {
    features |= kDspAvxEnabled;
  }
  return features;
}

void SetLevel(int32_t level, int32_t hint) {
  dspLevel = level;
  dspLevelHint = hint;
}

void ChooseLevel(uint64_t features) {
  const auto has = [features](uint64_t bits) { return (features & bits) == bits; };
  if (kAvxAllowed && has(kDspAvx | kDspAvxEnabled)) return SetLevel(kDspLevelAvx, 0);
  if (has(kDspSse41)) return SetLevel(kDspLevelSse41, 0);
  if (has(kDspMovbe | kDspSsse3)) return SetLevel(kDspLevelSsse3, 1);
  if (has(kDspSsse3)) return SetLevel(kDspLevelSsse3, 0);
  if (has(kDspSse3)) return SetLevel(kDspLevelSse3, 0);
  SetLevel(kDspLevelSse2, 0);
}

// The vendor that the variants are tuned for, as leaf 0 spells it.
bool IsTunedVendor() {
  DspCpuInfo leaf0;
  return currentProcessor.identify(0, 0, &leaf0) && leaf0.ebx == signature_INTEL_ebx &&
         leaf0.edx == signature_INTEL_edx && leaf0.ecx == signature_INTEL_ecx;
}

}  // namespace

int32_t dspLevel = kDspLevelSse2;
int32_t dspLevelHint = 0;
uint64_t dspFeatures = 0;
int32_t dspFeaturesValid = 0;
uint64_t dspFeatureMask = ~uint64_t{0};

const DspProcessor kDspThisProcessor = {Identify, ExtendedControl};

void DspSetProcessor(const DspProcessor& processor) {
  currentProcessor = processor;
  dspFeatures = 0;
  dspFeaturesValid = 0;
}

int32_t dspInit() {
  uint64_t features = 0;
  if (dspGetFeatures(&features, nullptr) == kDspOk) {
    ChooseLevel(features);
  } else {
    SetLevel(kDspLevelSse2, 0);
  }
  return IsTunedVendor() ? kDspOk : kDspOtherVendor;
}

int32_t dspInitForced(int32_t level) {
  switch (level) {
    case -1:
    case 0:
    case 96:
      SetLevel(kDspLevelSse2, 0);
      return kDspOk;
    case 32:
    case 66:
      SetLevel(kDspLevelSse3, 0);
      return kDspOk;
    case 33:
    case 34:
    case 67:
      SetLevel(kDspLevelSsse3, 0);
      return kDspOk;
    case 36:
      SetLevel(kDspLevelSsse3, 1);
      return kDspOk;
    case 35:
    case 68:
      SetLevel(kDspLevelSse41, 0);
      return dspSetFeatureMask(~(kDspSse42 | kDspAes | kDspPclmulqdq));
    case 37:
    case 69:
      SetLevel(kDspLevelSse41, 0);
      return dspSetFeatureMask(~(kDspAes | kDspPclmulqdq));
    case 38:
    case 71:
      SetLevel(kDspLevelSse41, 0);
      return kDspOk;
    case 70:
      SetLevel(kDspLevelAvx, 0);
      return kDspOk;
    default:
      return kDspUnknownLevel;
  }
}

int32_t dspGetFeatures(uint64_t* features, DspCpuInfo* info) {
  if (features == nullptr) return kDspNullPointer;
  // Identification is slow, hundreds of times so on a virtual machine: it runs
  // only where its results are wanted.
  DspCpuInfo result;
  if (!dspFeaturesValid) {
    if (!currentProcessor.identify(1, 0, &result)) return kDspFeaturesUnreadable;
    dspFeatures = FeaturesOf(result);
    dspFeaturesValid = 1;
  }
  if (info != nullptr) {
    const bool named = *features == kDspInfoTag;
    const uint32_t leaf = named ? info->eax : 1;
    const uint32_t subLeaf = named ? info->ecx : 0;
    if (!currentProcessor.identify(leaf, subLeaf, &result)) return kDspFeaturesUnreadable;
    *info = result;
  }
  *features = dspFeatures & dspFeatureMask;
  return kDspOk;
}

int32_t dspSetFeatureMask(uint64_t mask) {
  dspFeatureMask = mask;
  return kDspOk;
}

bool dspTestFeatures(uint64_t bits) { return (dspFeatures & dspFeatureMask & bits) != 0; }

}  // namespace orbel
