// The hot loops of lossless decoding at every processor level: Rice codes as 16-bit
// music has them, and synthesis of 16-bit and of wider samples.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "dsp/dispatch.h"
#include "dsp/rows.h"

namespace {

using namespace orbel;

constexpr const char* kLevelNames[kDspLevels] = {"sse2", "sse3", "ssse3", "sse41", "avx"};
constexpr int32_t kLength = 2048;

void Rice(benchmark::State& bench, int level) {
  std::mt19937 random(1);
  std::vector<uint8_t> data(4 * kLength);
  for (uint8_t& byte : data) byte = static_cast<uint8_t>(random());
  std::vector<int32_t> values(kLength);
  for (auto _ : bench) {
    uint64_t position = 0;
    dspAlsRice_1u32sRow[level](data.data(), data.size(), &position, 7, values.data(), kLength);
    benchmark::ClobberMemory();
  }
  bench.SetItemsProcessed(bench.iterations() * kLength);
}

void Synthesis(benchmark::State& bench, int level, int32_t order, int32_t amplitude) {
  std::mt19937 random(1);
  const auto count = static_cast<uint32_t>(amplitude);
  std::vector<int32_t> coefficients(static_cast<size_t>(order)), residual(kLength);
  for (int32_t& c : coefficients) c = static_cast<int32_t>(random() % 80000) - 40000;
  for (int32_t& x : residual) x = static_cast<int32_t>(random() % count) - amplitude / 2;
  std::vector<int32_t> samples(static_cast<size_t>(order + kLength));
  for (auto _ : bench) {
    std::copy(residual.begin(), residual.end(), samples.begin() + order);
    dspAlsSynthesis_32s_IRow[level](coefficients.data(), order, samples.data() + order, kLength);
    benchmark::ClobberMemory();
  }
  bench.SetItemsProcessed(bench.iterations() * kLength);
}

[[maybe_unused]] const bool kRegistered = [] {
  dspInit();
  for (int level = 0; level < kDspLevels; ++level) {
    if (level == kDspLevelAvx && !dspTestFeatures(kDspAvxEnabled)) continue;
    const std::string name = kLevelNames[level];
    benchmark::RegisterBenchmark(("dspAlsRice_1u32s/" + name).c_str(),
                                 [level](benchmark::State& bench) { Rice(bench, level); });
    for (int32_t order : {16, 32, 1024})
      for (int32_t amplitude : {2000, 2000000})
        benchmark::RegisterBenchmark(
            ("dspAlsSynthesis_32s_I/" + std::to_string(order) +
             (amplitude > 65536 ? "/wide/" : "/narrow/") + name)
                .c_str(),
            [=](benchmark::State& bench) { Synthesis(bench, level, order, amplitude); });
  }
  return true;
}();

}  // namespace
