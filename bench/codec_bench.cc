// The speech codecs as their caller drives them: G.711 a frame at a time, lost
// frames, and G.726 a block of 8 samples at a time, as with the default frame
// size, and 80 samples at a time. items_per_second counts samples; xRealTime is
// how many streams of 8000 Hz one core could run.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "speech/concealment.h"
#include "speech/speech_codec.h"

namespace {

using namespace orbel;

struct Decoder {
  const SpeechCodecFunctions& table;
  SpeechCodecOptions options = {};
  std::vector<int64_t> memory;
  void* handle = nullptr;
  std::vector<uint8_t> coded = std::vector<uint8_t>(8000);
  int16_t samples[80] = {};

  Decoder(const SpeechCodecFunctions& codec, int32_t bitRate) : table(codec) {
    options.direction = 1;
    options.modes.bitRate = bitRate;
    SpeechMemBank bank = {};
    table.GetBankSizes(&options, &bank);
    memory.resize(static_cast<size_t>(bank.size) / 8 + 1);
    bank.memory = memory.data();
    table.Init(&options, &bank, &handle);
    uint32_t s = 1;
    for (uint8_t& byte : coded) byte = static_cast<uint8_t>((s = s * 1103515245u + 12345u) >> 16);
  }
};

void CountSamples(benchmark::State& state, int64_t samplesPerCall) {
  const int64_t samples = state.iterations() * samplesPerCall;
  state.SetItemsProcessed(samples);
  state.counters["xRealTime"] =
      benchmark::Counter(static_cast<double>(samples) / 8000, benchmark::Counter::kIsRate);
}

void DecodeSteadily(benchmark::State& state, Decoder& d, int32_t bytesPerCall, int32_t samples) {
  size_t at = 0;
  for (auto _ : state) {
    SpeechBitstream bits = {d.coded.data() + at, bytesPerCall, FrameSpeech,
                            d.options.modes.bitRate};
    SpeechPcmStream pcm = {d.samples, 0, 0, 0, 0};
    benchmark::DoNotOptimize(d.table.Decode(d.handle, &bits, &pcm));
    at += static_cast<size_t>(bytesPerCall);
    if (at + static_cast<size_t>(bytesPerCall) > d.coded.size()) at = 0;
  }
  CountSamples(state, samples);
}

void G711Decode(benchmark::State& state) {
  Decoder d(state.range(0) == 1 ? kSpeechCodecG711A : kSpeechCodecG711U, 64000);
  DecodeSteadily(state, d, 80, 80);
}
BENCHMARK(G711Decode)->ArgName("law")->Arg(1)->Arg(2);

void G726Decode(benchmark::State& state) {
  const auto bitRate = static_cast<int32_t>(state.range(0));
  const auto samples = static_cast<int32_t>(state.range(1));
  Decoder d(kSpeechCodecG726, bitRate);
  d.table.SetFrameSize(&d.options, d.handle, samples * 2);
  DecodeSteadily(state, d, bitRate / 8000 * samples / 8, samples);
}
BENCHMARK(G726Decode)
    ->ArgNames({"rate", "samples"})
    ->ArgsProduct({{16000, 24000, 32000, 40000}, {8, 80}});

// The first lost frame holds the pitch search; the second and third grow the
// buffer; from the seventh on there is silence.
void ConcealLost(benchmark::State& state) {
  ConcealmentState speech;
  ResetConcealment(&speech);
  int16_t frame[80];
  uint32_t s = 1;
  for (int n = 0; n < 480; ++n) {
    s = s * 1103515245u + 12345u;
    frame[n % 80] = static_cast<int16_t>((n % 67 - 33) * 300 + static_cast<int32_t>(s >> 22));
    if (n % 80 == 79) AcceptFrame(&speech, frame);
  }
  for (int64_t i = 1; i < state.range(0); ++i) ConcealFrame(&speech, frame);
  ConcealmentState lossy;
  for (auto _ : state) {
    // A copy's pointers are put right: they belong to the state they lie in.
    lossy = speech;
    lossy.bufferEnd = lossy.pitchBuffer + kConcealHistory;
    lossy.bufferStart = lossy.bufferEnd - lossy.bufferLength;
    ConcealFrame(&lossy, frame);
    benchmark::DoNotOptimize(frame);
  }
  CountSamples(state, 80);
}
BENCHMARK(ConcealLost)->ArgName("frame")->Arg(1)->Arg(2)->Arg(4)->Arg(7);

}  // namespace

BENCHMARK_MAIN();
