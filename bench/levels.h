// What the benchmarks of primitives share.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>

#include "dsp/dispatch.h"

namespace orbel {

// Calls body(level, name) for the levels that this processor has; names are "/sse2" and
// so on.
template <typename Body>
bool ForEachLevel(Body body) {
  constexpr const char* kNames[kDspLevels] = {"/sse2", "/sse3", "/ssse3", "/sse41", "/avx"};
  dspInit();
  for (int level = 0; level < kDspLevels; ++level) {
    if (level == kDspLevelAvx && !dspTestFeatures(kDspAvxEnabled)) continue;
    body(level, std::string(kNames[level]));
  }
  return true;
}

// Runs `body` over and over; `ticks` are those of the time stamp counter, once through.
template <typename Body>
void MeasureTicks(benchmark::State& state, Body body) {
  const uint64_t start = __builtin_ia32_rdtsc();
  for (auto _ : state) {
    body();
    benchmark::ClobberMemory();
  }
  const uint64_t took = __builtin_ia32_rdtsc() - start;
  state.counters["ticks"] = static_cast<double>(took) / static_cast<double>(state.iterations());
}

}  // namespace orbel
