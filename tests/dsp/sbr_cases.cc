#include <algorithm>
#include <cmath>
#include <random>

#include "dsp/family_cases.h"
#include "dsp/rows.h"

namespace orbel {
namespace {

constexpr int32_t kBand = 64;

// Rows, used at odd places.
struct Rows {
  Rows(uint32_t seed, bool isExtreme) : random(seed), extreme(isExtreme) {
    for (std::vector<float>* rows : {&real, &imag, &alpha, &outReal, &outImag, &energy})
      for (int32_t i = 0; i < 42 * kBand; ++i) rows->push_back(Value());
  }

  // Squares of squares of these are still finite.
  float Value() {
    constexpr float kEnds[] = {0.0F, -0.0F, 1e-42F, -1e-38F, 1.0F, -32768, 1e8F, -1e8F};
    const uint32_t draw = random();
    if (extreme && draw % 4 != 0) return kEnds[draw >> 8 & 7];
    return std::ldexp(static_cast<float>(draw) - 0x1p31F, static_cast<int>(draw % 12) - 31);
  }

  float* Squares() {
    for (float& value : energy) value = std::fabs(value);
    return &energy[1];
  }

  std::vector<uint8_t> Bytes(int32_t status) const {
    std::vector<uint8_t> bytes = {static_cast<uint8_t>(status)};
    for (const std::vector<float>* rows : {&alpha, &outReal, &outImag, &energy}) {
      const auto* from = reinterpret_cast<const uint8_t*>(rows->data());
      bytes.insert(bytes.end(), from, from + rows->size() * sizeof(float));
    }
    return bytes;
  }

  std::mt19937 random;
  bool extreme;
  std::vector<float> real, imag, alpha, outReal, outImag, energy;
};

#define CASE(name, what, ...)                                                           \
  {                                                                                     \
#name, what, [](int level, uint32_t seed, bool extreme, [[maybe_unused]] int32_t n) { \
      Rows v(seed, extreme);                                                            \
      [[maybe_unused]] const int32_t bands = std::min(n, 60);                           \
      [[maybe_unused]] const int32_t rows = 1 + n % 38;                                 \
      return v.Bytes(name##Row[level](__VA_ARGS__));                                    \
    } \
  }

constexpr FamilyCase kCases[] = {
    CASE(dspBound_32f_I, "", 100.0F, &v.outReal[1], n),
    CASE(dspSqrt_32f_I, "", v.Squares(), n),
    CASE(dspSbrPredict_32fc, "", &v.real[1], &v.imag[2], bands, &v.alpha[3]),
    CASE(dspSbrPredict_32f, "", &v.real[1], bands, &v.alpha[3]),
    CASE(dspSbrGenerate_32fc, "", &v.real[1], &v.imag[2], &v.alpha[3], bands, rows, &v.outReal[1],
         &v.outImag[2], &v.energy[3]),
    CASE(dspSbrGenerate_32f, "", &v.real[1], &v.alpha[3], bands, rows, &v.outReal[1], &v.energy[3]),
    CASE(dspSbrGenerate_32f, "61 bands", &v.real[1], &v.alpha[3], 61, rows, &v.outReal[1],
         &v.energy[3]),
    CASE(dspSbrAdjust_32fc, "", &v.real[1], &v.imag[2], &v.alpha[3], &v.energy[1], n * 37, bands,
         rows, &v.outReal[1], &v.outImag[2]),
    CASE(dspSbrAdjust_32fc, "no noise", &v.real[1], &v.imag[2], &v.alpha[3], nullptr, n, bands,
         rows, &v.outReal[1], &v.outImag[2]),
    CASE(dspSbrAdjust_32f, "", &v.real[1], &v.alpha[3], &v.energy[1], n * 37, bands, rows,
         &v.outReal[1]),
};

}  // namespace

std::span<const FamilyCase> SbrCases() { return kCases; }

}  // namespace orbel
