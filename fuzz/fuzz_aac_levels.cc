// The same stream at every processor level: the same status words, the same PCM.
#include <cstdlib>

#include "aac_run.h"
#include "dsp/dispatch.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  constexpr int32_t kCodes[] = {0, 32, 33, 38, 70};  // SSE2, SSE3, SSSE3, SSE4.1, AVX
  static const bool avx = orbel::dspTestFeatures(orbel::kDspAvxEnabled);
  uint64_t first = 0;
  for (const int32_t code : kCodes) {
    if (code == 70 && !avx) continue;
    orbel::dspInitForced(code);
    const uint64_t hash = RunDecoder(data, size);
    if (code == 0) first = hash;
    if (hash != first) std::abort();
  }
  return 0;
}
