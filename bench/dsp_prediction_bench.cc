// The predictor of AAC Main at every processor level: the 672 lines of 44.1 and
// 48 kHz, as bands of a usual width, all of them used, and none.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "dsp/rows.h"
#include "levels.h"

namespace {

using namespace orbel;

constexpr int32_t kBands = 42;
constexpr int32_t kWidth = 16;
constexpr int32_t kLines = kBands * kWidth;

void Predict(benchmark::State& bench, int level, bool use) {
  std::vector<uint8_t> memory(24 * kLines + 288);
  std::vector<int32_t> offsets;
  for (int32_t band = 0; band <= kBands; ++band) offsets.push_back(band * kWidth);
  const std::vector<uint8_t> used(kBands, use ? 1 : 0);
  MainPredictorState* state = nullptr;
  dspPredictInitRow[level](&state, kLines, memory.data());
  // Sixteen frames of a chord, again and again.
  std::vector<float> spectra(16 * kLines);
  for (size_t i = 0; i < spectra.size(); ++i)
    spectra[i] = 3000 * std::sin(0.7F * static_cast<float>(i % 256) + static_cast<float>(i % 7));
  std::vector<float> spectrum(kLines);
  size_t frame = 0;
  for (auto _ : bench) {
    const float* from = &spectra[frame++ % 16 * kLines];
    std::copy(from, from + kLines, spectrum.begin());
    dspPredictBands_32fRow[level](spectrum.data(), offsets.data(), kBands, used.data(), state);
    benchmark::ClobberMemory();
  }
  bench.SetItemsProcessed(bench.iterations() * kLines);
}

[[maybe_unused]] const bool kRegistered = ForEachLevel([](int level, const std::string& end) {
  for (bool use : {true, false}) {
    const std::string name = std::string("dspPredictBands_32f/") + (use ? "used" : "unused") + end;
    benchmark::RegisterBenchmark(
        name.c_str(), [level, use](benchmark::State& bench) { Predict(bench, level, use); });
  }
});

}  // namespace
