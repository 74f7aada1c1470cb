#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>

#include "dsp/family_cases.h"
#include "dsp/rows.h"

namespace orbel {
namespace {

constexpr int32_t kSamples[] = {2048, 64, 512, 256};

// Random vectors, used at odd places, each with room for more than its part.
struct Vectors {
  Vectors(uint32_t seed, bool isExtreme, int32_t length)
      : random(seed), extreme(isExtreme), samples(kSamples[length % 4]) {
    const int32_t most = std::max(length, samples) + 8;
    for (std::vector<float>* vector : {&one, &two, &three, &four, &out}) {
      for (int32_t i = 0; i < most; ++i) vector->push_back(Value());
    }
    work.resize(static_cast<size_t>(samples) * 4 + 16 + 1);
    memory.resize(64);
  }

  // Never so large that a sum overflows: which of two NaNs a sum keeps is open.
  float Value() {
    constexpr float kEnds[] = {0.0F, -0.0F, 1e-42F, -1e-38F, 32767, -32768, 1e30F, -1e30F};
    const uint32_t draw = random();
    if (extreme && draw % 4 != 0) return kEnds[draw >> 8 & 7];
    return std::ldexp(static_cast<float>(draw) - 0x1p31F, static_cast<int>(draw % 24) - 31);
  }

  // The transforms' records, placed by the level's own Init.
  DspImdctSpec* Inverse(int level) {
    status += dspImdctInit_32fRow[level](&inverse, samples, memory.data() + 3, nullptr);
    return inverse;
  }
  DspMdctFwdSpec* Forward(int level) {
    status += dspMdctFwdInit_32fRow[level](&forward, samples, memory.data() + 3, nullptr);
    return forward;
  }

  std::vector<uint8_t> Bytes(int32_t last) const {
    std::vector<uint8_t> bytes(sizeof number);
    std::memcpy(bytes.data(), number, sizeof number);
    bytes.push_back(static_cast<uint8_t>(status + last));
    for (const std::vector<float>* vector : {&one, &two, &three, &four, &out}) {
      const auto* from = reinterpret_cast<const uint8_t*>(vector->data());
      bytes.insert(bytes.end(), from, from + vector->size() * sizeof(float));
    }
    return bytes;
  }

  std::mt19937 random;
  bool extreme;
  int32_t samples;
  int32_t status = 0;
  int32_t number[3] = {};
  std::vector<float> one, two, three, four, out;
  std::vector<uint8_t> work, memory;
  DspImdctSpec* inverse = nullptr;
  DspMdctFwdSpec* forward = nullptr;
};

#define CASE(name, what, ...)                                                           \
  {                                                                                     \
#name, what, [](int level, uint32_t seed, bool extreme, [[maybe_unused]] int32_t n) { \
      Vectors v(seed, extreme, n);                                                        \
      return v.Bytes(name##Row[level](__VA_ARGS__));                                      \
    } \
  }

constexpr FamilyCase kCases[] = {
    CASE(dspCopy_32f, "", &v.one[1], &v.out[2], n),
    CASE(dspZero_32f, "", &v.out[1], n),
    CASE(dspIsZero_32f, "", &v.one[1], n, v.number),
    CASE(dspAdd_32f, "", &v.one[1], &v.two[2], &v.out[3], n),
    CASE(dspMul_32f, "", &v.one[1], &v.two[2], &v.out[3], n),
    CASE(dspMul_32f, "in place", &v.out[1], &v.two[2], &v.out[1], n),
    CASE(dspImdctGetSize_32f, "", v.samples, v.number, v.number + 1, v.number + 2),
    CASE(dspMdctFwdGetSize_32f, "", v.samples, v.number, v.number + 1, v.number + 2),
    CASE(dspImdctInit_32f, "", &v.inverse, n, v.memory.data(), nullptr),
    CASE(dspMdctFwdInit_32f, "", &v.forward, n, v.memory.data(), nullptr),
    CASE(dspImdct_32f, "", &v.one[1], &v.out[3], v.Inverse(level), &v.work[1]),
    CASE(dspMdctFwd_32f, "", &v.one[1], &v.out[3], v.Forward(level), &v.work[1]),
    CASE(dspImdctWindowOverlap_32f, "", &v.one[1], &v.two[1], &v.three[2], &v.four[3], &v.out[3],
         &v.four[3], v.Inverse(level), &v.work[1]),
};

}  // namespace

std::span<const FamilyCase> TransformCases() { return kCases; }

}  // namespace orbel
