#include "aac/tool_memory.h"

#include <algorithm>

#include "aac/code_tables.h"
#include "dsp/primitives.h"

namespace orbel {
namespace {

constexpr int32_t kBsacStateSize = 51856;
constexpr int32_t kFilterbankSpare = 10;
constexpr int32_t kPsWorkLeast = 2400;

constexpr uint64_t RoundUp16(uint64_t size) { return (size + 15) & ~uint64_t{15}; }

// The work areas of band replication for ten element slots, and of parametric
// stereo.
uint64_t SbrWorkSize() {
  const SbrWorkSizes sizes = QuerySbrWorkSizes();
  const int32_t slot = sizes.b + 2 * (sizes.a + sizes.c + sizes.e) + sizes.d + sizes.f;
  const int32_t total = kMaxSbrElements * slot + std::max(sizes.g, kPsWorkLeast) + 15;
  return static_cast<uint64_t>(total) & ~uint64_t{15};
}

}  // namespace

uint64_t StateBlockSize() {
  uint64_t size = kStateRoom + SbrWorkSize();
  for (int32_t i = 0; i < kCodeTableCount; ++i)
    size += RoundUp16(static_cast<uint64_t>(CodeTableSize(i)));
  return size;
}

int32_t QueryToolMemory(AACDecoderState* state, int32_t objectType, uint8_t* memory,
                        int32_t* size) {
  const int32_t kinds =
      objectType == kObjectLtp ? kTransformInverse | kTransformForward : kTransformInverse;
  const int32_t front = objectType == kObjectBsac ? kBsacStateSize : 0;
  int32_t bankSize = 0;
  if (FilterbankInit(&state->filterbankSpec, nullptr, kinds, objectType, &bankSize) != 0) return -1;
  bankSize += kFilterbankSpare;
  int32_t predictorSize = 0;
  if (objectType == kObjectMain && dspPredictGetSize(kFrameLength, &predictorSize) != 0) return -1;
  *size = front + bankSize + kMaxChannels * predictorSize;
  if (memory == nullptr) return 0;
  if (FilterbankInit(&state->filterbankSpec, memory + front, kinds, objectType, &bankSize) != 0)
    return -1;
  if (objectType != kObjectMain) return 0;
  uint8_t* at = memory + front + bankSize + kFilterbankSpare;
  for (MainPredictorState*& predictor : state->predictors) {
    if (dspPredictInit(&predictor, kFrameLength, at) != 0) return -1;
    at += predictorSize;
  }
  return 0;
}

}  // namespace orbel
