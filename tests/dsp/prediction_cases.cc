#include <bit>
#include <cstring>
#include <random>

#include "dsp/family_cases.h"
#include "dsp/prediction_kernels.h"
#include "dsp/rows.h"

namespace orbel {
namespace {

float Line(std::mt19937& random, bool extreme) {
  constexpr uint32_t kEnds[] = {0,          0x80000000, 0x53800000, 0xD37FFFFF,  // 0, near 2^40
                                0x00080000, 0xFF61B1E6, 0x7F800000, 0xFFC00000};
  if (extreme && random() % 8 != 0) return std::bit_cast<float>(kEnds[random() % 8]);
  return static_cast<float>(1 << random() % 24) * (static_cast<float>(random()) * 0x1p-31F - 1);
}

// A state in memory that is no more than was asked for, four frames of a slowly moving
// spectrum, and what `then` does with the state after that.
using Then = int32_t (*)(int level, uint32_t seed, MainPredictorState* state);

template <int kFrames, Then kThen>
std::vector<uint8_t> Run(int level, uint32_t seed, bool extreme, int32_t length) {
  int32_t size = 0;
  int32_t status = dspPredictGetSizeRow[level](length, &size);
  std::vector<uint8_t> memory(static_cast<size_t>(size) + seed % 32, 0xA5);
  MainPredictorState* state = nullptr;
  status += dspPredictInitRow[level](&state, length, memory.data() + seed % 32);

  constexpr size_t kGuard = 8;
  std::mt19937 random(seed);
  std::vector<float> tone(static_cast<size_t>(length) + kGuard);
  for (float& line : tone) line = Line(random, false);
  std::vector<float> spectrum = tone;
  const int32_t offsets[] = {0, (length + 1) / 2, length};
  for (int frame = 0; frame < kFrames; ++frame) {
    for (size_t i = 0; i < tone.size(); ++i)
      spectrum[i] = extreme ? Line(random, true) : tone[i] + 0.01F * Line(random, false);
    const uint8_t used[] = {1, static_cast<uint8_t>(frame & 1)};
    status += dspPredictBands_32fRow[level](spectrum.data(), offsets, 2, used, state);
  }
  status += kThen(level, seed, state);

  const size_t arrayBytes = static_cast<size_t>(length) * sizeof(float);
  const size_t spectrumBytes = spectrum.size() * sizeof(float);
  std::vector<uint8_t> bytes(6 * arrayBytes + spectrumBytes + sizeof status);
  uint8_t* to = bytes.data();
  for (const float* array :
       {state->cor0, state->cor1, state->var0, state->var1, state->r0, state->r1}) {
    std::memcpy(to, array, arrayBytes);
    to += arrayBytes;
  }
  std::memcpy(to, spectrum.data(), spectrumBytes);
  std::memcpy(to + spectrumBytes, &status, sizeof status);
  return bytes;
}

int32_t Nothing(int, uint32_t, MainPredictorState*) { return 0; }
int32_t ResetGroup(int level, uint32_t seed, MainPredictorState* state) {
  return dspPredictResetGroup_32fRow[level](30, static_cast<int32_t>(seed % 30), state);
}
int32_t Reset(int level, uint32_t, MainPredictorState* state) {
  return dspPredictReset_32fRow[level](state);
}

constexpr FamilyCase kCases[] = {{"dspPredictGetSize", "", Run<0, Nothing>},
                                 {"dspPredictInit", "", Run<0, Nothing>},
                                 {"dspPredictBands_32f", "four frames", Run<4, Nothing>},
                                 {"dspPredictResetGroup_32f", "", Run<4, ResetGroup>},
                                 {"dspPredictReset_32f", "", Run<4, Reset>}};

}  // namespace

std::span<const FamilyCase> PredictionCases() { return kCases; }

}  // namespace orbel
