#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>

#include "dsp/family_cases.h"
#include "dsp/rows.h"

namespace orbel {
namespace {

constexpr int32_t kRows = kDspPsSlots + 12;
constexpr int32_t kStride = kDspPsQmfBands + 1;

// Random rows and constants, used at odd places; slots from 1 to 32 come of the length.
struct Rows {
  Rows(uint32_t seed, bool isExtreme, int32_t length)
      : random(seed), extreme(isExtreme), slots((length - 1) % kDspPsSlots + 1) {
    for (auto& plane : planes) {
      plane.resize(kRows * kStride + 8);
      for (float& x : plane) x = Sample();
    }
    constants.resize(2 * 8 * kDspPsLanes);
    for (float& x : constants) x = Unit();
    state.resize(8 * kDspPsAllPassState + 8);
    for (float& x : state) x = Sample();
    gains.resize(kDspPsSlots * kDspPsGainStride + 8);
    for (float& x : gains) x = Unit();
    for (auto* memory : {transients.peak, transients.difference, transients.smooth})
      for (int32_t b = 0; b < kDspPsBandRoom; ++b) memory[b] = std::abs(Unit());
    for (int32_t i = 0; i < kDspPsSplitLanes; ++i) layout.splitBand[i] = random() % 9;
    for (int32_t i = 0; i <= layout.runs; ++i)
      layout.border[i] = static_cast<uint8_t>(std::min(4 + i * i / 2, kDspPsQmfBands));
  }

  float Unit() { return static_cast<float>(static_cast<int32_t>(random())) * 0x1p-31F; }
  // No sum may overflow: which of two NaNs it keeps is open.
  float Sample() {
    constexpr float kEnds[] = {0.0F, -0.0F, 1e-42F, -1e-30F, 32767, -32768, 1e15F, -1e-15F};
    return extreme && random() % 4 != 0 ? kEnds[random() % 8] : Unit() * 32768.0F;
  }
  float* Limits() {
    planes[0][70] = INFINITY;
    planes[0][72] = -NAN;
    planes[1][75] = 1.0001e15F;
    return planes[0].data();
  }

  DspPsRows At(int32_t pair, int32_t row, int32_t lane) {
    const int32_t at = row * kStride + lane;
    return {planes[2 * pair].data() + at, planes[2 * pair + 1].data() + at, kStride};
  }

  std::vector<uint8_t> Bytes(int32_t status) const {
    std::vector<uint8_t> bytes;
    const auto add = [&bytes](const void* from, size_t size) {
      const size_t at = bytes.size();
      bytes.resize(at + size);
      std::memcpy(bytes.data() + at, from, size);
    };
    add(&status, sizeof status);
    add(&number, sizeof number);
    add(&transients, sizeof transients);
    for (const auto& plane : planes) add(plane.data(), plane.size() * sizeof(float));
    for (const auto* vector : {&constants, &state, &gains})
      add(vector->data(), vector->size() * sizeof(float));
    return bytes;
  }

  std::mt19937 random;
  bool extreme;
  int32_t slots;
  int32_t number = 0;
  std::vector<float> planes[8], constants, state, gains;
  DspPsTransients transients;
  DspPsLayout layout = {34, 12, 9, 11, {}, {}};
};

#define CASE(name, what, one, two, three, ...)                                     \
  {                                                                                \
#name, what, [](int level, uint32_t seed, bool extreme, int32_t length) {        \
      Rows v(seed, extreme, length);                                             \
      const DspPsRows a = one;                                                   \
      [[maybe_unused]] const DspPsRows b = two;                                  \
      [[maybe_unused]] const DspPsRows c = three;                                \
      [[maybe_unused]] const DspPsRows d = v.At(3, 1, 1);                        \
      return v.Bytes(name##Row[level](__VA_ARGS__));                             \
    } \
  }

constexpr FamilyCase kCases[] = {
    CASE(dspPsLimit_32f, "", v.At(0, 0, 1), v.At(1, 0, 0), a, &a, &b, v.slots,
         (v.Limits(), &v.number)),
    CASE(dspPsSplit20_32f, "", v.At(0, 6, 1), v.At(1, 0, 2), a, &a, &b, &v.constants[1], v.slots),
    CASE(dspPsSplit34_32f, "", v.At(0, 6, 1), v.At(1, 0, 2), a, &a, &b, &v.constants[1], v.slots),
    CASE(dspPsTransients_32f, "", v.At(0, 0, 1), v.At(1, 0, 0), a, &v.layout, &a, &b,
         length % 2 == 0 ? 64 : 20, &v.transients, &v.gains[1], v.slots),
    CASE(dspPsAllPass_32f, "", v.At(0, 0, 1), v.At(1, 0, 0), a, &a, &b, &v.constants[1],
         &v.state[3], length % 8 + 1, v.slots),
    CASE(dspPsMix_32f, "", v.At(0, 0, 1), v.At(1, 0, 0), v.At(2, 0, 1), &a, &b, &v.gains[1], &c, &d,
         v.constants.data() + 1, v.constants.data() + 8 * kDspPsLanes - 1, length % 16 + 1,
         v.slots),
    CASE(dspPsMixComplex_32f, "", v.At(0, 0, 1), v.At(1, 0, 0), v.At(2, 0, 1), &a, &b, &v.gains[1],
         &c, &d, v.constants.data(), v.constants.data() + 8 * kDspPsLanes, length % 16 + 1,
         v.slots),
    CASE(dspPsMix_32f, "no slots", v.At(0, 0, 1), v.At(1, 0, 0), v.At(2, 0, 1), &a, &b, &v.gains[1],
         &c, &d, v.constants.data(), v.constants.data(), 1, v.slots - v.slots),
};

}  // namespace

std::span<const FamilyCase> PsCases() { return kCases; }

}  // namespace orbel
