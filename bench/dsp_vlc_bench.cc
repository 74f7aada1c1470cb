// Codes of the AAC books, drawn as often as their lengths suit, in runs as long as a run
// of bands; spectral values of the size that they usually have; and conversion to 16
// bits. `cycles` are those of the time stamp counter for a code, a line or a sample,
// in the best of the runs.
#include <benchmark/benchmark.h>
#include <x86intrin.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "aac/code_tables.h"
#include "aac/huffman_tables.h"
#include "aac/sampling_tables.h"
#include "dsp/rows.h"
#include "levels.h"
#include "support/bit_writer.h"

namespace {

using namespace orbel;

constexpr int32_t kCodes = 65536;  // too many to be learnt by heart
constexpr int32_t kRun = 32;
constexpr int32_t kLines = 1024;

BitWriter Stream(int32_t book) {
  const HuffmanCode* codes = book == 0 ? kScaleFactorCodes : kSpectrumBooks[book].codes;
  const SpectrumBook& data = kSpectrumBooks[book];
  std::mt19937 random(1);
  std::vector<double> weights;
  for (int32_t i = 0; i < (book == 0 ? kScaleFactorCodeCount : data.count); ++i) {
    weights.push_back(std::ldexp(1.0, -codes[i].length));
  }
  std::discrete_distribution<int32_t> rows(weights.begin(), weights.end());
  BitWriter writer;
  for (int32_t i = 0; i < kCodes; ++i) {
    const int32_t row = rows(random);
    writer.Put(codes[row].word, codes[row].length);
    if (book == 0 || data.isSigned) continue;
    int32_t digits[4];
    for (int32_t k = data.dimension - 1, rest = row; k >= 0; --k, rest /= data.largest + 1) {
      digits[k] = rest % (data.largest + 1);
      if (digits[k] != 0) writer.Put(random() & 1, 1);
    }
    if (book != 11) continue;
    for (int32_t k = 0; k < 2; ++k) {
      if (digits[k] == 16) writer.Put(random() & 15, 5);  // magnitudes 16 to 31
    }
  }
  return writer;
}

// `run` does `items` things at a time.
void Measure(benchmark::State& state, int64_t items, const std::function<void()>& run) {
  uint64_t least = UINT64_MAX;
  for (auto _ : state) {
    const uint64_t start = __rdtsc();
    run();
    benchmark::ClobberMemory();
    least = std::min<uint64_t>(least, __rdtsc() - start);
  }
  state.SetItemsProcessed(state.iterations() * items);
  state.counters["cycles"] = static_cast<double>(least) / static_cast<double>(items);
}

void Decode(benchmark::State& state, int32_t book, int level) {
  const BitWriter writer = Stream(book);
  const DspVlcTable* table = CodeTables()[book];
  std::vector<int16_t> values(4 * kRun);
  int16_t* const dst = values.data();
  Measure(state, kCodes, [&] {
    const uint8_t* bytes = writer.bytes.data();
    const uint8_t* const end = bytes + writer.bytes.size();
    int32_t bit = 0;
    for (int32_t at = 0; at < kCodes; at += kRun) {
      if (book == 0) {
        dspVlcDecodeBlockRow[level](&bytes, &bit, end, dst, kRun, table);
      } else if (book < 5) {
        dspVlcDecodeQuads_16sRow[level](&bytes, &bit, end, dst, kRun, kQuadFieldBits[book], table);
      } else if (book < 11) {
        dspVlcDecodePairs_16sRow[level](&bytes, &bit, end, dst, kRun, table);
      } else {
        dspVlcDecodeEscapeRow[level](&bytes, &bit, end, dst, 2 * kRun, table);
      }
    }
  });
}

void DecodeOne(benchmark::State& state, int level) {
  const BitWriter writer = Stream(0);
  Measure(state, kCodes, [&] {
    const uint8_t* bytes = writer.bytes.data();
    const uint8_t* const end = bytes + writer.bytes.size();
    int32_t bit = 0;
    int32_t value = 0;
    for (int32_t at = 0; at < kCodes; ++at) {
      dspVlcDecodeOneRow[level](&bytes, &bit, end, &value, CodeTables()[0]);
    }
  });
}

// Values that fall with frequency, as in a stream of 128 kbit/s.
void Dequantise(benchmark::State& state, int level, bool gains) {
  std::mt19937 random(1);
  std::vector<int16_t> values;
  for (int32_t i = 0; i < kLines; ++i) {
    std::normal_distribution<double> value(0, 20 * std::exp(-i / 200.0));
    values.push_back(static_cast<int16_t>(value(random)));
  }
  std::vector<float> lines(kLines, 1);
  const std::vector<float> factors(51, 1);
  const ScaleFactorBands& bands = kLongBands[3];
  Measure(state, kLines, [&] {
    if (gains) {
      dspMulBands_32fRow[level](lines.data(), factors.data(), bands.offsets, bands.count);
    } else {
      dspPow43_16s32fRow[level](values.data(), lines.data(), kLines, nullptr, 0);
    }
  });
}

void Interleave(benchmark::State& state, int level, int32_t channels) {
  const std::vector<float> samples(kLines + 8, 1000.4F);
  std::vector<const float*> pointers;
  for (int32_t i = 0; i < channels; ++i) pointers.push_back(samples.data() + i);
  std::vector<int16_t> out(static_cast<size_t>(kLines * channels));
  Measure(state, kLines * channels, [&] {
    dspInterleaveFloatTo16sRow[level](pointers.data(), channels, kLines, out.data());
  });
}

void Register(const std::string& name, const std::function<void(benchmark::State&)>& run) {
  benchmark::RegisterBenchmark(name.c_str(), run);
}

[[maybe_unused]] const bool kRegistered = ForEachLevel([](int level, const std::string& end) {
  for (int32_t book = 0; book < kCodeTableCount; ++book) {
    Register("decode/" + std::to_string(book) + end,
             [=](benchmark::State& state) { Decode(state, book, level); });
  }
  Register("decode/one" + end, [=](benchmark::State& state) { DecodeOne(state, level); });
  Register("pow43" + end, [=](benchmark::State& state) { Dequantise(state, level, false); });
  Register("gains" + end, [=](benchmark::State& state) { Dequantise(state, level, true); });
  for (int32_t channels : {1, 2, 6}) {
    Register("interleave/" + std::to_string(channels) + end,
             [=](benchmark::State& state) { Interleave(state, level, channels); });
  }
});

}  // namespace
