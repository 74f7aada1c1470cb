// Generation and adjustment of the high band at every processor level, for a frame of
// 32 slots, 16 low and 33 high bands. `ticks` are those of the time stamp counter, a
// frame; they mean something on an idle machine only.
#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>
#include <random>
#include <string>

#include "dsp/rows.h"
#include "levels.h"

namespace {

using namespace orbel;

constexpr int32_t kLowBands = 16;
constexpr int32_t kHighBands = 33;
constexpr int32_t kSlots = 32;

struct Rows {
  Rows() {
    std::mt19937 random(1);
    for (auto* rows : {&lowReal, &lowImag, &highReal, &highImag, &levels})
      for (float& value : *rows)
        value = static_cast<float>(static_cast<int32_t>(random() % 65536) - 32768) * 0x1p-15F;
  }
  float lowReal[40 * 64], lowImag[40 * 64], highReal[40 * 64], highImag[40 * 64], levels[40 * 64];
  float alpha[4 * 64] = {}, energy[64] = {}, outReal[40 * 64] = {}, outImag[40 * 64] = {};
};

struct Job {
  const char* name;
  void (*run)(int level, Rows& r);
};

constexpr Job kJobs[] = {
    {"predict, complex",
     [](int level, Rows& r) {
       dspSbrPredict_32fcRow[level](r.lowReal, r.lowImag, kLowBands, r.alpha);
     }},
    {"predict, real",
     [](int level, Rows& r) { dspSbrPredict_32fRow[level](r.lowReal, kLowBands, r.alpha); }},
    {"generate, complex",
     [](int level, Rows& r) {
       dspSbrGenerate_32fcRow[level](r.lowReal, r.lowImag, r.levels, kHighBands, kSlots, r.outReal,
                                     r.outImag, r.energy);
     }},
    {"generate, real",
     [](int level, Rows& r) {
       dspSbrGenerate_32fRow[level](r.lowReal, r.levels, kHighBands, kSlots, r.outReal, r.energy);
     }},
    {"adjust, complex",
     [](int level, Rows& r) {
       dspSbrAdjust_32fcRow[level](r.highReal, r.highImag, r.levels, r.levels + 64, 3, kHighBands,
                                   kSlots, r.outReal, r.outImag);
     }},
    {"adjust, real",
     [](int level, Rows& r) {
       dspSbrAdjust_32fRow[level](r.highReal, r.levels, r.levels + 64, 3, kHighBands, kSlots,
                                  r.outReal);
     }},
    {"bound a frame",
     [](int level, Rows& r) { dspBound_32f_IRow[level](0x1p24F, r.lowReal, 1024); }},
};

void RunJob(benchmark::State& state, const Job& job, int level) {
  const auto rows = std::make_unique<Rows>();
  MeasureTicks(state, [&] { job.run(level, *rows); });
}

[[maybe_unused]] const bool kRegistered = ForEachLevel([](int level, const std::string& end) {
  for (const Job& job : kJobs) {
    const std::string name = std::string("band replication, ") + job.name + end;
    benchmark::RegisterBenchmark(
        name.c_str(), [&job, level](benchmark::State& state) { RunJob(state, job, level); });
  }
});

}  // namespace
