// The QMF banks at every processor level, a frame of 32 time slots at a time. `ticks`
// are those of the time stamp counter, a frame; they mean something on an idle machine
// only.
#include <benchmark/benchmark.h>

#include <memory>
#include <random>
#include <string>

#include "dsp/rows.h"
#include "levels.h"

namespace {

using namespace orbel;

struct Frame {
  Frame() {
    std::mt19937 random(1);
    for (float* vector : {real, imag, samples}) {
      for (int32_t i = 0; i < 2048; ++i)
        vector[i] = static_cast<float>(static_cast<int32_t>(random() % 65536) - 32768);
    }
  }
  float real[2048], imag[2048], samples[2048];
  float history[2048] = {};
};

struct Job {
  const char* name;
  void (*run)(int level, Frame& f, float* imag);
};

constexpr Job kJobs[] = {
    {"analysis",
     [](int level, Frame& f, float* imag) {
       dspQmfAnalysis_32fRow[level](f.samples, f.history, f.real, imag);
     }},
    {"synthesis 64",
     [](int level, Frame& f, float* imag) {
       dspQmfSynthesis_32fRow[level](f.real, imag, 48, 64, f.history, f.samples);
     }},
    {"synthesis 32",
     [](int level, Frame& f, float* imag) {
       dspQmfSynthesis_32fRow[level](f.real, imag, 32, 32, f.history, f.samples);
     }},
};

void RunJob(benchmark::State& state, const Job& job, bool isComplex, int level) {
  const auto frame = std::make_unique<Frame>();
  MeasureTicks(state, [&] { job.run(level, *frame, isComplex ? frame->imag : nullptr); });
  state.SetItemsProcessed(state.iterations() * 1024);
}

[[maybe_unused]] const bool kRegistered = ForEachLevel([](int level, const std::string& end) {
  for (const Job& job : kJobs) {
    for (bool isComplex : {true, false}) {
      const std::string name =
          std::string("qmf ") + job.name + (isComplex ? " complex" : " real") + end;
      benchmark::RegisterBenchmark(name.c_str(), [&job, isComplex, level](benchmark::State& s) {
        RunJob(s, job, isComplex, level);
      });
    }
  }
});

}  // namespace
