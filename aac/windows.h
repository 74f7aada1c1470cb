// Windows of the filterbank (ISO/IEC 14496-3, subpart 4), for both window shapes:
// 0 sine, 1 Kaiser-Bessel derived. Made once, when the library loads; read-only
// from then on.
#pragma once

namespace orbel {

// Halves of windows. A falling half is its rising half reversed.
struct FilterbankWindows {
  float longRising[2][1024];
  float longFalling[2][1024];
  // A short half as long as a long one: 448 zeros, 128 samples, 448 ones; reversed.
  float stopRising[2][1024];
  float startFalling[2][1024];
  float shortRising[2][128];
  float shortFalling[2][128];
  // Object type 3: the halves for the bands' transforms.
  float ssrLongRising[2][256];
  float ssrLongFalling[2][256];
  float ssrShortRising[2][32];
  float ssrShortFalling[2][32];
};

const FilterbankWindows& Windows();

}  // namespace orbel
