// Parametric stereo, a frame of 32 slots at a time: its primitives at every processor
// level, and the whole way from mono to stereo at the level in use. `ticks` are those
// of the time stamp counter, a frame; they mean something on an idle machine only.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>

#include "dsp/rows.h"
#include "levels.h"
#include "sbr/ps.h"
#include "sbr/ps_state.h"

namespace {

using namespace orbel;

struct Frame {
  Frame() {
    std::mt19937 random(1);
    for (QmfRow* rows : {real, imag}) {
      for (int32_t n = 0; n < kQmfSlots; ++n) {
        for (float& x : rows[n])
          x = static_cast<float>(static_cast<int32_t>(random() % 65536) - 32768);
      }
    }
    PsInit(&ps);
    PsSetLevel(&ps, kPsFull);
  }
  // An envelope over the whole frame, in the configuration's bands.
  void Send(int32_t configuration, bool hasPhases) {
    PsFrame& frame = ps.frame;
    frame.num_env = 1;
    frame.border[0] = kQmfSlots - 1;
    frame.wide = configuration;
    frame.enable_ipdopd = hasPhases ? 1 : 0;
    PsParameters& sent = frame.envelope[0];
    sent.iidCount = sent.iccCount = configuration != 0 ? 34 : 20;
    for (int8_t& index : sent.iid.of) index = static_cast<int8_t>(3 - index);
    for (int8_t& index : sent.icc.of) index = static_cast<int8_t>(2 - index);
    if (hasPhases) {
      for (int b = 0; b < 11; ++b) sent.ipd.of[b] = sent.opd.of[b] = static_cast<int8_t>(b & 7);
    }
    ps.isFresh = 1;
  }
  PsState ps;
  alignas(32) QmfRow real[kQmfSlots], imag[kQmfSlots];
  alignas(32) QmfRow leftReal[kQmfSlots], leftImag[kQmfSlots];
  alignas(32) QmfRow rightReal[kQmfSlots], rightImag[kQmfSlots];
};

struct Job {
  const char* name;
  void (*run)(int level, PsState& ps, const DspPsRows& in, const DspPsRows& out);
};

DspPsRows SplitRows(PsState& ps) { return {ps.splitReal[0], ps.splitImag[0], kDspPsSplitLanes}; }

// Half a frame each, the second half on the rows of the first.
constexpr Job kJobs[] = {
    {"limit",
     [](int level, PsState& ps, const DspPsRows& in, const DspPsRows& out) {
       dspPsLimit_32fRow[level](&in, &out, kPsChunk, ps.qmfBands);
     }},
    {"split in 10",
     [](int level, PsState& ps, const DspPsRows& in, const DspPsRows&) {
       const DspPsRows split = SplitRows(ps);
       const DspPsRows qmf = PsRowsAt(in, kPsHybridReach, 0);
       dspPsSplit20_32fRow[level](&qmf, &split, kPsTables.split20, kPsChunk);
     }},
    {"split in 32",
     [](int level, PsState& ps, const DspPsRows& in, const DspPsRows&) {
       const DspPsRows split = SplitRows(ps);
       const DspPsRows qmf = PsRowsAt(in, kPsHybridReach, 0);
       dspPsSplit34_32fRow[level](&qmf, &split, kPsTables.split34, kPsChunk);
     }},
    {"transients",
     [](int level, PsState& ps, const DspPsRows& in, const DspPsRows&) {
       const DspPsRows split = SplitRows(ps);
       dspPsTransients_32fRow[level](&kPsConfigurations[0].layout, &split, &in, kQmfBands,
                                     &ps.transients, ps.gains[0], kPsChunk);
     }},
    {"all-pass",
     [](int level, PsState& ps, const DspPsRows& in, const DspPsRows& out) {
       dspPsAllPass_32fRow[level](&in, &out, kPsTables.allPassQmf[0], ps.qmfAllPass,
                                  kPsAllPassVectors, kPsChunk);
     }},
    {"mix",
     [](int level, PsState& ps, const DspPsRows& in, const DspPsRows& out) {
       const DspPsRows right = {ps.lateReal[0], ps.lateImag[0], kQmfBands};
       dspPsMix_32fRow[level](&in, &in, ps.gains[0], &out, &right, ps.values, ps.steps, 16,
                              kPsChunk);
     }},
    {"mix with phases",
     [](int level, PsState& ps, const DspPsRows& in, const DspPsRows& out) {
       const DspPsRows right = {ps.lateReal[0], ps.lateImag[0], kQmfBands};
       dspPsMixComplex_32fRow[level](&in, &in, ps.gains[0], &out, &right, ps.values, ps.steps, 16,
                                     kPsChunk);
     }},
};

void RunWhole(benchmark::State& state, int32_t configuration, bool hasPhases, int32_t bands) {
  const auto f = std::make_unique<Frame>();
  for (QmfRow* rows : {f->real, f->imag})
    for (int32_t n = 0; n < kQmfSlots; ++n) std::fill(rows[n] + bands, rows[n] + kQmfBands, 0.0F);
  MeasureTicks(state, [&] {
    std::copy(&f->real[0][0], f->real[kQmfSlots - 1] + kQmfBands, &f->leftReal[0][0]);
    std::copy(&f->imag[0][0], f->imag[kQmfSlots - 1] + kQmfBands, &f->leftImag[0][0]);
    f->Send(configuration, hasPhases);
    PsApply(&f->ps, f->leftReal, f->leftImag, f->rightReal, f->rightImag, f->real, f->imag);
  });
}

[[maybe_unused]] const bool kRegistered = [] {
  ForEachLevel([](int level, const std::string& end) {
    for (const Job& job : kJobs) {
      const std::string name = std::string("ps ") + job.name + end;
      benchmark::RegisterBenchmark(name.c_str(), [&job, level](benchmark::State& state) {
        const auto f = std::make_unique<Frame>();
        const DspPsRows in = {f->real[0], f->imag[0], kQmfBands};
        const DspPsRows out = {f->leftReal[0], f->leftImag[0], kQmfBands};
        MeasureTicks(state, [&] {
          for (int half = 0; half < 2; ++half) job.run(level, f->ps, in, out);
        });
      });
    }
  });
  const auto whole = [](const char* name, int32_t configuration, bool hasPhases, int32_t bands) {
    benchmark::RegisterBenchmark(
        name, [=](benchmark::State& state) { RunWhole(state, configuration, hasPhases, bands); });
  };
  whole("ps frame, 20 bands", 0, false, 64);
  whole("ps frame, 20 bands, upper third empty", 0, false, 44);
  whole("ps frame, 20 bands, phases", 0, true, 64);
  whole("ps frame, 34 bands, phases", 1, true, 64);
  return true;
}();

}  // namespace
