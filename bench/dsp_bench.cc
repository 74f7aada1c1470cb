// Every primitive at every processor level, then what the vector form of G.711
// compression gains over a plain loop.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "dsp/dispatch.h"
#include "dsp/primitive_cases.h"
#include "dsp/primitives.h"
#include "g711_scalar.h"

namespace {

using namespace orbel;

constexpr const char* kLevelNames[kDspLevels] = {"sse2", "sse3", "ssse3", "sse41", "avx"};

void RunCase(benchmark::State& state, const PrimitiveCase& run, int level, int32_t length) {
  const auto buffers = std::make_unique<CaseBuffers>();
  buffers->Fill(1, false);
  for (auto _ : state) {
    benchmark::DoNotOptimize(run.run(level, *buffers, 0, length));
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * length);
}

void RegisterCases() {
  for (const PrimitiveCase& run : kPrimitiveCases) {
    for (int level = 0; level < kDspLevels; ++level) {
      if (level == kDspLevelAvx && !dspTestFeatures(kDspAvxEnabled)) continue;
      for (int32_t length : {80, kCaseLength}) {
        std::string name = std::string(run.primitive) + (*run.what != 0 ? " " : "") + run.what +
                           "/" + kLevelNames[level] + "/" + std::to_string(length);
        std::replace(name.begin(), name.end(), ' ', '_');
        benchmark::RegisterBenchmark(name.c_str(), [run, level, length](benchmark::State& state) {
          RunCase(state, run, level, length);
        });
      }
    }
  }
}

// G.726 as the codec calls it: eight samples a call.
void DecodeBlocks(benchmark::State& state) {
  const auto buffers = std::make_unique<CaseBuffers>();
  buffers->Fill(1, false);
  const int32_t mode = static_cast<int32_t>(state.range(0));
  dspDecoderInitG726(&buffers->decoder, mode, kG726Linear);
  int at = 0;
  for (auto _ : state) {
    dspDecodeG726_8u16s(&buffers->decoder, buffers->codes + at, buffers->out, 8);
    at = (at + 8) % kCaseLength;
  }
  state.SetItemsProcessed(state.iterations() * 8);
}
BENCHMARK(DecodeBlocks)->Arg(kG726Mode16k)->Arg(kG726Mode24k)->Arg(kG726Mode32k)->Arg(kG726Mode40k);

// Nanoseconds a sample, the best of many runs over the same block.
template <typename Compress>
double Nanoseconds(Compress compress, const std::vector<int16_t>& samples,
                   std::vector<uint8_t>& codes) {
  using Clock = std::chrono::steady_clock;
  constexpr int kPasses = 2;
  double best = 1e9;
  for (int run = 0; run < 300; ++run) {
    const auto start = Clock::now();
    for (int pass = 0; pass < kPasses; ++pass) {
      compress(samples.data(), codes.data(), static_cast<int32_t>(samples.size()));
      benchmark::ClobberMemory();
    }
    const std::chrono::duration<double, std::nano> took = Clock::now() - start;
    best = std::min(best, took.count() / kPasses / static_cast<double>(samples.size()));
  }
  return best;
}

// 65536 samples, too many for a branch predictor to learn by heart. Noise at levels
// spread over all segments is the plain loop's worst case, a swelling voice-like tone
// a kind one.
std::vector<int16_t> Noise() {
  std::mt19937 random(1);
  std::vector<int16_t> samples(65536);
  for (int16_t& sample : samples) {
    sample = static_cast<int16_t>(static_cast<int16_t>(random()) >> random() % 9);
  }
  return samples;
}

std::vector<int16_t> Tone() {
  std::vector<int16_t> samples(65536);
  for (size_t i = 0; i < samples.size(); ++i) {
    const double t = static_cast<double>(i) / 8000;
    const double level = 8000 * (1.1 + std::sin(20 * t));
    const double voice = std::sin(750 * t) + 0.5 * std::sin(3100 * t) + 0.2 * std::sin(9000 * t);
    samples[i] = static_cast<int16_t>(level * voice);
  }
  return samples;
}

template <typename Plain>
void PrintRatio(const char* what, const std::vector<int16_t>& samples, Plain plain,
                int32_t (*vector)(const int16_t*, uint8_t*, int32_t)) {
  std::vector<uint8_t> codes(samples.size());
  std::vector<uint8_t> plainCodes(samples.size());
  const double fast = Nanoseconds(vector, samples, codes);
  const double slow = Nanoseconds(plain, samples, plainCodes);
  std::printf("G.711 compression, %s: level 3 %.3f ns a sample, plain loop %.3f ns, ratio %.1f%s\n",
              what, fast, slow, slow / fast, codes == plainCodes ? "" : " (CODES DIFFER)");
}

}  // namespace

int main(int argc, char** argv) {
  RegisterCases();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  const auto aLaw = dspLinToALaw_16s8uRow[kDspLevelSse41];
  const auto muLaw = dspLinToMuLaw_16s8uRow[kDspLevelSse41];
  PrintRatio("A-law, noise", Noise(), ScalarLinToALaw, aLaw);
  PrintRatio("mu-law, noise", Noise(), ScalarLinToMuLaw, muLaw);
  PrintRatio("A-law, tone", Tone(), ScalarLinToALaw, aLaw);
  PrintRatio("mu-law, tone", Tone(), ScalarLinToMuLaw, muLaw);
  return 0;
}
