// Transforms and float vectors at every processor level, a frame of 1024 samples at
// a time. `ticks` are those of the time stamp counter, a frame; they mean something
// on an idle machine only.
#include <benchmark/benchmark.h>

#include <memory>
#include <random>
#include <string>

#include "dsp/rows.h"
#include "levels.h"

namespace {

using namespace orbel;

constexpr int32_t kFrame = 1024;

struct Frame {
  Frame() {
    std::mt19937 random(1);
    for (float* vector : {lines, rising, falling, overlap}) {
      for (int32_t i = 0; i < kFrame; ++i) {
        vector[i] = static_cast<float>(static_cast<int32_t>(random() % 65536) - 32768) * 0x1p-15F;
      }
    }
  }
  float lines[kFrame], rising[kFrame], falling[kFrame], overlap[kFrame];
  float output[2 * kFrame] = {};
  uint8_t work[16 * kFrame] = {};
  uint8_t memory[64];
};

struct Job {
  const char* name;
  bool transforms;  // at every length, as often as fills a frame
  void (*run)(int level, Frame& f, int32_t at, const void* spec);
};

constexpr Job kJobs[] = {
    {"inverse, window, overlap", true,
     [](int level, Frame& f, int32_t at, const void* spec) {
       dspImdctWindowOverlap_32fRow[level](f.lines + at, f.rising, f.falling, f.overlap + at,
                                           f.output + at, f.overlap + at,
                                           static_cast<const DspImdctSpec*>(spec), f.work);
     }},
    {"inverse", true,
     [](int level, Frame& f, int32_t at, const void* spec) {
       dspImdct_32fRow[level](f.lines + at, f.output + 2 * at,
                              static_cast<const DspImdctSpec*>(spec), f.work);
     }},
    {"add", false,
     [](int level, Frame& f, int32_t, const void*) {
       dspAdd_32fRow[level](f.lines, f.overlap, f.output, kFrame);
     }},
    {"silence test", false,
     [](int level, Frame& f, int32_t, const void*) {
       int32_t silent = 0;
       dspIsZero_32fRow[level](reinterpret_cast<const float*>(f.work), kFrame, &silent);
       benchmark::DoNotOptimize(silent);
     }},
};

template <typename Body>
void Measure(benchmark::State& state, Body body) {
  MeasureTicks(state, body);
  state.SetItemsProcessed(state.iterations() * kFrame);
}

void RunJob(benchmark::State& state, const Job& job, int32_t samples, int level) {
  const auto frame = std::make_unique<Frame>();
  DspImdctSpec* spec = nullptr;
  if (samples != 0) dspImdctInit_32fRow[level](&spec, samples, frame->memory, nullptr);
  const int32_t step = samples != 0 ? samples / 2 : kFrame;
  Measure(state, [&] {
    for (int32_t at = 0; at < kFrame; at += step) job.run(level, *frame, at, spec);
  });
}

void RunForward(benchmark::State& state, int32_t samples, int level) {
  const auto frame = std::make_unique<Frame>();
  DspMdctFwdSpec* spec = nullptr;
  dspMdctFwdInit_32fRow[level](&spec, samples, frame->memory, nullptr);
  Measure(state, [&] {
    for (int32_t at = 0; at < kFrame; at += samples / 2) {
      dspMdctFwd_32fRow[level](frame->output + 2 * at, frame->lines + at, spec, frame->work);
    }
  });
}

[[maybe_unused]] const bool kRegistered = ForEachLevel([](int level, const std::string& end) {
  const auto add = [&](const char* name, int32_t samples, auto body) {
    std::string full = name + end;
    if (samples != 0) full.append("/").append(std::to_string(samples));
    benchmark::RegisterBenchmark(full.c_str(), body);
  };
  for (const Job& job : kJobs) {
    for (int32_t samples : {2048, 512, 256, 64}) {
      const int32_t length = job.transforms ? samples : 0;
      add(job.name, length,
          [&job, length, level](benchmark::State& state) { RunJob(state, job, length, level); });
      if (length == 0) break;
    }
  }
  for (int32_t samples : {2048, 256}) {
    add("forward", samples,
        [samples, level](benchmark::State& state) { RunForward(state, samples, level); });
  }
});

}  // namespace
