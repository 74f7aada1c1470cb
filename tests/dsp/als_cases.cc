// The lossless decoder's primitives at every level, and their arithmetic against plain
// loops.
#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "dsp/family_cases.h"
#include "dsp/primitives.h"
#include "dsp/rows.h"

namespace orbel {
namespace {

using Values = std::vector<int32_t>;

constexpr size_t kGuard = 8;

// `bits` bits with sign; extremes are the ends of 32 bits and of 16.
Values Noise(uint32_t seed, size_t length, int bits, bool extreme = false) {
  std::mt19937 random(seed);
  constexpr int32_t kEnds[] = {0, 1, -1, 32767, -32768, 0x7FFFFFFF, -0x7FFFFFFF - 1};
  Values values(length);
  for (int32_t& value : values)
    value = extreme ? kEnds[random() % std::size(kEnds)]
                    : static_cast<int32_t>(random()) >> (32 - bits);
  return values;
}

std::vector<uint8_t> Bytes(const Values& values, int64_t status) {
  std::vector<uint8_t> bytes(values.size() * sizeof(int32_t) + sizeof status);
  std::memcpy(bytes.data(), values.data(), values.size() * sizeof(int32_t));
  std::memcpy(bytes.data() + bytes.size() - sizeof status, &status, sizeof status);
  return bytes;
}

// Data that runs out, with long runs of ones where extreme.
template <int kParameter>
std::vector<uint8_t> Rice(int level, uint32_t seed, bool extreme, int32_t length) {
  std::mt19937 random(seed);
  std::vector<uint8_t> data(static_cast<size_t>(length) + 3);
  for (uint8_t& byte : data)
    byte = static_cast<uint8_t>(extreme && random() % 8 != 0 ? 255U : random());
  Values dst(static_cast<size_t>(length) + kGuard, -1);
  uint64_t position = seed % 11;
  dspAlsRice_1u32sRow[level](data.data(), data.size(), &position, kParameter, dst.data(), length);
  return Bytes(dst, static_cast<int64_t>(position));
}

std::vector<uint8_t> StepUp(int level, uint32_t seed, bool extreme, int32_t length) {
  const Values src = Noise(seed, static_cast<size_t>(length), 24, extreme);
  Values dst(src.size() + kGuard, -1);
  return Bytes(
      dst, dspAlsStepUp_32sRow[level](src.data(), extreme ? -1048544 : 700001, dst.data(), length) ^
               dst[0]);
}

// `kBits` of the samples' range; 16 stays within it at first and leaves it later.
template <int kOrder, int kBits>
std::vector<uint8_t> Synthesis(int level, uint32_t seed, bool extreme, int32_t length) {
  Values samples = Noise(seed, static_cast<size_t>(kOrder + length) + kGuard, kBits);
  Values coefficients = Noise(seed + 1, kOrder, 32, extreme);
  if (!extreme)
    for (int32_t& c : coefficients) c /= kOrder * 1700;
  const int32_t status =
      dspAlsSynthesis_32s_IRow[level](coefficients.data(), kOrder, samples.data() + kOrder, length);
  return Bytes(samples, status);
}

template <int kLag>
std::vector<uint8_t> LongTerm(int level, uint32_t seed, bool extreme, int32_t length) {
  Values samples = Noise(seed, static_cast<size_t>(length) + kGuard, 20, extreme);
  const int32_t gains[] = {8, -16, extreme ? -0x7FFFFFFF : 100, 24, -8};
  return Bytes(samples, dspAlsLongTerm_32s_IRow[level](gains, kLag, samples.data(), length));
}

template <int kTaps, int kDelay>
std::vector<uint8_t> Correlate(int level, uint32_t seed, bool extreme, int32_t length) {
  const Values master = Noise(seed, static_cast<size_t>(length) + 64, 24, extreme);
  Values samples = Noise(seed + 1, static_cast<size_t>(length) + kGuard, 24, extreme);
  const int16_t weights[] = {204, -192, 51, 12, 0, -140};
  return Bytes(samples, dspAlsCorrelate_32s_IRow[level](weights, kTaps, kDelay, master.data() + 32,
                                                        samples.data(), length));
}

constexpr FamilyCase kCases[] = {{"dspAlsRice_1u32s", "0", Rice<0>},
                                 {"dspAlsRice_1u32s", "4", Rice<4>},
                                 {"dspAlsRice_1u32s", "9", Rice<9>},
                                 {"dspAlsRice_1u32s", "17", Rice<17>},
                                 {"dspAlsRice_1u32s", "31", Rice<31>},
                                 {"dspAlsStepUp_32s", "", StepUp},
                                 {"dspAlsSynthesis_32s_I", "8", Synthesis<8, 10>},
                                 {"dspAlsSynthesis_32s_I", "24", Synthesis<24, 10>},
                                 {"dspAlsSynthesis_32s_I", "32 full", Synthesis<32, 16>},
                                 {"dspAlsSynthesis_32s_I", "64", Synthesis<64, 10>},
                                 {"dspAlsSynthesis_32s_I", "1024", Synthesis<1024, 10>},
                                 {"dspAlsSynthesis_32s_I", "16 wide", Synthesis<16, 32>},
                                 {"dspAlsLongTerm_32s_I", "4", LongTerm<4>},
                                 {"dspAlsLongTerm_32s_I", "6", LongTerm<6>},
                                 {"dspAlsLongTerm_32s_I", "21", LongTerm<21>},
                                 {"dspAlsCorrelate_32s_I", "3", Correlate<3, 0>},
                                 {"dspAlsCorrelate_32s_I", "6", Correlate<6, 30>},
                                 {"dspAlsCorrelate_32s_I", "6 back", Correlate<6, -31>}};

TEST(AlsKernels, EqualPlainLoops) {
  // Codes of every parameter, written by the rule and read from any bit on.
  std::mt19937 random(5);
  for (int32_t k = 0; k <= 31; ++k) {
    Values values = Noise(random(), 300, k == 0 ? 4 : k + 1);
    values[7] = k == 0 ? -90 : static_cast<int32_t>(70U << (k < 24 ? k : 0));
    std::vector<bool> bits(static_cast<size_t>(k % 9));
    for (int32_t value : values) {
      const auto magnitude = static_cast<uint32_t>(value < 0 ? ~value : value);
      const uint32_t ones = k == 0 ? 2 * magnitude + (value < 0 ? 1 : 0) : magnitude >> (k - 1);
      bits.insert(bits.end(), ones, true);
      bits.push_back(false);
      if (k > 0) bits.push_back(value >= 0);
      for (int32_t bit = k - 2; bit >= 0; --bit) bits.push_back((magnitude >> bit & 1) != 0);
    }
    std::vector<uint8_t> data(bits.size() / 8 + 1);
    for (size_t i = 0; i < bits.size(); ++i)
      data[i / 8] = static_cast<uint8_t>(data[i / 8] | (bits[i] ? 128 >> (i % 8) : 0));
    Values read(values.size());
    auto position = static_cast<uint64_t>(k % 9);
    ASSERT_EQ(dspAlsRice_1u32s(data.data(), data.size(), &position, k, read.data(), 300), kDspOk);
    ASSERT_EQ(read, values) << k;
    ASSERT_EQ(position, bits.size()) << k;
  }
  // Every order, samples that outgrow 16 bits, and coefficients that do not split.
  for (int32_t order = 8; order <= 1024; order += order < 80 ? 8 : 232)
    for (int loud : {0, 1, 2}) {
      const auto n = static_cast<size_t>(order);
      Values x = Noise(random(), n + 601, loud == 1 ? 16 : 9);
      Values c = Noise(random(), n, loud == 2 ? 31 : 22);
      for (int32_t& value : c) value /= loud == 2 ? 1 : 2 * order;
      Values want = x;
      for (size_t i = n; i < want.size(); ++i) {
        uint64_t sum = 1 << 19;
        for (size_t j = 0; j < n; ++j)
          sum += static_cast<uint64_t>(int64_t{c[j]} * want[i - 1 - j]);
        want[i] =
            static_cast<int32_t>(static_cast<uint32_t>(want[i]) - static_cast<uint32_t>(sum >> 20));
      }
      ASSERT_EQ(dspAlsSynthesis_32s_I(c.data(), order, x.data() + n, 601), kDspOk);
      ASSERT_EQ(x, want) << order << " " << loud;
    }
}

}  // namespace

std::span<const FamilyCase> AlsCases() { return kCases; }

}  // namespace orbel
