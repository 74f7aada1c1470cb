// Processor levels: which variant of the primitives is in force, and why.
//
// The level is chosen when the library loads, before any export can run, and
// does not change afterwards; every entry reads it without a lock.
#pragma once

#include <cstdint>

#include "dsp/status.h"

namespace orbel {

// Levels, indices into the rows of the primitives.
constexpr int32_t kDspLevelSse2 = 0;
constexpr int32_t kDspLevelSse3 = 1;
constexpr int32_t kDspLevelSsse3 = 2;
constexpr int32_t kDspLevelSse41 = 3;
constexpr int32_t kDspLevelAvx = 4;  // never chosen by itself

// Bits of dspFeatures.
constexpr uint64_t kDspMmx = 1U << 0;
constexpr uint64_t kDspSse = 1U << 1;
constexpr uint64_t kDspSse2 = 1U << 2;
constexpr uint64_t kDspSse3 = 1U << 3;
constexpr uint64_t kDspSsse3 = 1U << 4;
constexpr uint64_t kDspMovbe = 1U << 5;
constexpr uint64_t kDspSse41 = 1U << 6;
constexpr uint64_t kDspSse42 = 1U << 7;
constexpr uint64_t kDspAvx = 1U << 8;
constexpr uint64_t kDspAvxEnabled = 1U << 9;  // the operating system keeps the AVX state
constexpr uint64_t kDspAes = 1U << 10;
constexpr uint64_t kDspPclmulqdq = 1U << 11;

// The level in force, 0 to 4; written by dspInit and dspInitForced only.
extern int32_t dspLevel;
// 1 when level 2 was chosen for a small in-order core. Nothing reads it.
extern int32_t dspLevelHint;
// What the processor has. Filled once; dspFeaturesValid is 1 from then on.
extern uint64_t dspFeatures;
extern int32_t dspFeaturesValid;
// ANDed with dspFeatures wherever the features are read. All ones at start.
extern uint64_t dspFeatureMask;

// The four results of a processor identification leaf. With the tag below,
// `eax` and `ecx` name the wanted leaf and sub-leaf on entry, as they do for the
// instruction itself.
struct DspCpuInfo {
  uint32_t eax, ebx, ecx, edx;
};

// Read as eight bytes in memory: "getinfoa".
constexpr uint64_t kDspInfoTag = 0x616F666E69746567;

// Detects the features and chooses the level. Returns 0, or 20 when the
// processor is not of the vendor that the variants are tuned for; the level is
// the same then.
int32_t dspInit();

// Chooses the level that a code stands for (dispatch.cc has the list). Some
// codes set dspFeatureMask too. Returns 0, or 21 for a code it does not know,
// with nothing changed. The caller answers for the processor having the level.
int32_t dspInitForced(int32_t level);

// *features receives dspFeatures AND dspFeatureMask. `info` may be null; it
// receives leaf 1, or the leaf and sub-leaf that it names when *features came
// in holding kDspInfoTag. Returns 0, -8 for null `features`, or 36 when the
// processor cannot be identified, with nothing written.
int32_t dspGetFeatures(uint64_t* features, DspCpuInfo* info);

// Stores `mask` in dspFeatureMask. Returns 0. The level stays.
int32_t dspSetFeatureMask(uint64_t mask);

// True when any of `bits` is in both dspFeatures and dspFeatureMask.
bool dspTestFeatures(uint64_t bits);

// Where the features come from; tests put a processor of their own in its place.
struct DspProcessor {
  // Identification results of a leaf. False when the processor lacks the leaf.
  bool (*identify)(uint32_t leaf, uint32_t subLeaf, DspCpuInfo* result);
  // Low half of extended control register 0.
  uint32_t (*extendedControl)();
};
extern const DspProcessor kDspThisProcessor;

// Replaces the processor and forgets the features read from the one before.
// For tests: no other thread may be inside the library.
void DspSetProcessor(const DspProcessor& processor);

}  // namespace orbel
