// The QMF banks at every level, twice each, so that histories come round.
#include <cmath>
#include <cstring>
#include <random>

#include "dsp/family_cases.h"
#include "dsp/rows.h"

namespace orbel {
namespace {

// kBands is 0 for the analysis.
template <bool kComplex, int32_t kBands, int32_t kUsed = kBands>
std::vector<uint8_t> Run(int level, uint32_t seed, bool extreme, int32_t length) {
  constexpr float kEnds[] = {0.0F, -0.0F, 1e-42F, -1e-38F, 32767, -32768, 1e30F, -1e30F};
  constexpr size_t kRoom = 2048 + 8;
  std::mt19937 random(seed);
  std::vector<float> all(4 * kRoom);
  for (float& value : all) {
    const uint32_t draw = random();
    value = extreme && draw % 4 != 0 ? kEnds[draw >> 8 & 7]
                                     : std::ldexp(static_cast<float>(draw) - 0x1p31F, -16);
  }
  float* history = all.data() + length % 4;
  float* samples = history + kRoom;
  float* real = samples + kRoom;
  float* imag = kComplex ? real + kRoom : nullptr;
  int32_t status = 0;
  for (int frame = 0; frame < 2; ++frame) {
    status += kBands == 0
                  ? dspQmfAnalysis_32fRow[level](samples, history, real, imag)
                  : dspQmfSynthesis_32fRow[level](real, imag, kUsed, kBands, history, samples);
  }
  std::vector<uint8_t> bytes(all.size() * sizeof(float) + 1, static_cast<uint8_t>(status));
  std::memcpy(bytes.data(), all.data(), bytes.size() - 1);
  return bytes;
}

constexpr FamilyCase kCases[] = {{"dspQmfAnalysis_32f", "complex", Run<true, 0>},
                                 {"dspQmfAnalysis_32f", "real", Run<false, 0>},
                                 {"dspQmfSynthesis_32f", "complex, 64", Run<true, 64>},
                                 {"dspQmfSynthesis_32f", "complex, 32", Run<true, 32>},
                                 {"dspQmfSynthesis_32f", "complex, 41 of 64", Run<true, 64, 41>},
                                 {"dspQmfSynthesis_32f", "real, 64", Run<false, 64>},
                                 {"dspQmfSynthesis_32f", "real, 41 of 64", Run<false, 64, 41>},
                                 {"dspQmfSynthesis_32f", "real, 32", Run<false, 32>}};

}  // namespace

std::span<const FamilyCase> QmfCases() { return kCases; }

}  // namespace orbel
