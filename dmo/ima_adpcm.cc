#include "dmo/ima_adpcm.h"

#include <algorithm>
#include <cstring>

#include "dmo/ima_tables.h"

namespace orbel {
namespace {

constexpr int kLastStep = kImaSteps - 1;

// One 4-bit code: sign in bit 3, magnitude below. The step is that of the index
// before the code moves it; its three parts are cut one by one.
inline int DecodeOne(int code, int* predictor, int* index) {
  const int step = kImaStepTable[*index];
  *index = std::clamp(*index + kImaIndexTable[code], 0, kLastStep);
  int difference = step >> 3;
  difference += (code & 4) != 0 ? step : 0;
  difference += (code & 2) != 0 ? step >> 1 : 0;
  difference += (code & 1) != 0 ? step >> 2 : 0;
  *predictor += (code & 8) != 0 ? -difference : difference;
  *predictor = std::clamp(*predictor, -32768, 32767);
  return *predictor;
}

}  // namespace

void ImaStartBlock(ImaAdpcmState* state, uint8_t headerIndex) noexcept {
  // Signed: from 128 on it is negative, and so held at 0.
  state->stepIndex = headerIndex < 128 ? std::min<int>(headerIndex, kLastStep) : 0;
}

void ImaDecode(ImaAdpcmState* state, const uint8_t* codes, uint32_t count,
               uint8_t* samples) noexcept {
  int predictor = state->predictor;
  int index = state->stepIndex;
  for (uint32_t i = 0; i < count; ++i) {
    const int16_t pair[2] = {
        static_cast<int16_t>(DecodeOne(codes[i] >> 4, &predictor, &index)),
        static_cast<int16_t>(DecodeOne(codes[i] & 15, &predictor, &index)),
    };
    std::memcpy(samples + size_t{4} * i, pair, sizeof pair);
  }
  state->predictor = static_cast<int16_t>(predictor);
  state->stepIndex = index;
}

}  // namespace orbel
