// Silence coding of G.711, a frame of 10 ms at a time: what encoding with vad
// costs in speech and in noise, and comfort noise with and without its post
// filter. realTimeCalls is how many streams one core could run, timesPlain the
// cost over plain G.711 in the same direction, measured in the same run.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <ctime>
#include <vector>

#include "speech/speech_codec.h"

namespace {

using namespace orbel;

struct Codec {
  const SpeechCodecFunctions& table = kSpeechCodecG711U;
  SpeechCodecOptions options = {};
  std::vector<int64_t> memory;
  void* handle = nullptr;

  Codec(int32_t direction, int32_t vad, int32_t postFilter) {
    options.direction = direction;
    options.modes = {64000, 0, vad, 0, postFilter};
    SpeechMemBank bank = {};
    table.GetBankSizes(&options, &bank);
    memory.resize(static_cast<size_t>(bank.size) / 8 + 1);
    bank.memory = memory.data();
    table.Init(&options, &bank, &handle);
  }
  int32_t Encode(int16_t* samples, uint8_t* bytes) {
    SpeechPcmStream pcm = {samples, 160, 8000, 16, 64000};
    SpeechBitstream bits = {bytes, 0, 0, 0};
    benchmark::DoNotOptimize(table.Encode(handle, &pcm, &bits));
    benchmark::ClobberMemory();
    return bits.frameType;
  }
  void Decode(uint8_t* bytes, int32_t frameType, int16_t* samples) {
    SpeechBitstream bits = {bytes, frameType == FrameSpeech ? 80 : 2, frameType, 64000};
    SpeechPcmStream pcm = {samples, 0, 0, 0, 0};
    benchmark::DoNotOptimize(table.Decode(handle, &bits, &pcm));
    benchmark::ClobberMemory();
  }
};

constexpr size_t kFrames = 400;

// Four seconds: noise at -50 dB and, if asked for, a voice above it: harmonics
// whose pitch glides and whose level rises and falls four times a second.
std::vector<int16_t> Signal(bool voice) {
  std::vector<int16_t> pcm(kFrames * 80);
  uint32_t seed = 1;
  double phase = 0;
  for (size_t i = 0; i < pcm.size(); ++i) {
    const double t = static_cast<double>(i) / 8000;
    double noise = 0;
    for (int k = 0; k < 4; ++k)
      noise += (seed = seed * 1664525u + 1013904223u) / 4294967296.0 - 0.5;
    double value = noise * 180;
    phase += 6.283185307 * (120 + 40 * std::sin(5 * t)) / 8000;
    if (voice)
      for (int k = 1; k < 20; ++k)
        value += 3000 * (1.2 + std::sin(25 * t)) / (1 + std::abs(k - 5 - 3 * std::sin(9 * t))) / 2 *
                 std::sin(k * phase);
    pcm[i] = static_cast<int16_t>(std::clamp(value, -32768.0, 32767.0));
  }
  return pcm;
}

// Of this thread, so that other work on the machine does not count.
double CpuSeconds() {
  timespec now = {};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// The loop of a benchmark and, ahead of it and behind it, that of the plain codec,
// of which the faster counts.
template <typename Frame, typename Plain>
void Compare(benchmark::State& state, Frame frame, Plain plain) {
  double plainTime = 1e9;
  const auto timePlain = [&] {
    for (int run = 0; run < 5; ++run) {
      const double from = CpuSeconds();
      for (size_t i = 0; i < 20000; ++i) plain(i % kFrames);
      plainTime = std::min(plainTime, (CpuSeconds() - from) / 20000);
    }
  };
  timePlain();
  size_t i = 0;
  const double from = CpuSeconds();
  for (auto _ : state) {
    frame(i);
    if (++i == kFrames) i = 0;
  }
  const double time = (CpuSeconds() - from) / static_cast<double>(state.iterations());
  timePlain();
  state.counters["usPerFrame"] = time * 1e6;
  state.counters["realTimeCalls"] = 0.01 / time;
  state.counters["timesPlain"] = time / plainTime;
}

void EncodeWithVad(benchmark::State& state) {
  std::vector<int16_t> pcm = Signal(state.range(0) != 0);
  Codec codec(0, 1, 0), plain(0, 0, 0);
  uint8_t bytes[80];
  int64_t speech = 0, all = 0;
  Compare(
      state,
      [&](size_t i) {
        speech += codec.Encode(&pcm[i * 80], bytes) == FrameSpeech;
        ++all;
      },
      [&](size_t i) { plain.Encode(&pcm[i * 80], bytes); });
  state.counters["speechShare"] = static_cast<double>(speech) / static_cast<double>(all);
}
BENCHMARK(EncodeWithVad)->ArgName("voice")->Arg(0)->Arg(1);

// A descriptor every eighth frame and nothing between.
void DecodeComfortNoise(benchmark::State& state) {
  Codec codec(1, 1, static_cast<int32_t>(state.range(0))), plain(1, 0, 0);
  uint8_t bytes[80] = {};
  uint8_t descriptors[4][2] = {{0x12, 0x5C}, {0x93, 0x60}, {0x2A, 0x9E}, {0xC1, 0x1C}};
  int16_t samples[80];
  Compare(
      state,
      [&](size_t i) {
        codec.Decode(descriptors[i / 8 % 4], i % 8 == 0 ? FrameSid : FrameNoData, samples);
      },
      [&](size_t i) {
        bytes[i % 80] = static_cast<uint8_t>(i);
        plain.Decode(bytes, FrameSpeech, samples);
      });
}
BENCHMARK(DecodeComfortNoise)->ArgName("postFilter")->Arg(0)->Arg(1);

}  // namespace

BENCHMARK_MAIN();
