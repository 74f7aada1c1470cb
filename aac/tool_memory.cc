#include "aac/tool_memory.h"

#include <algorithm>
#include <new>

#include "aac/code_tables.h"
#include "aac/frame_decoder.h"
#include "als/als_decoder.h"
#include "dsp/primitives.h"
#include "dsp/vlc_table.h"
#include "sbr/ps_code_tables.h"
#include "sbr/sbr_code_tables.h"
#include "sbr/sbr_huffman_tables.h"

namespace orbel {
namespace {

constexpr int32_t kBsacStateSize = 51856;
static_assert(sizeof(BsacState) <= kBsacStateSize);
constexpr int32_t kFilterbankSpare = 10;
constexpr int32_t kPsWorkLeast = 2400;
constexpr int32_t kAreaAlignment = 32;

constexpr uint64_t RoundUp16(uint64_t size) { return (size + 15) & ~uint64_t{15}; }

// Bytes of the work areas of one element slot of band replication (b, d and f once,
// a, c and e for each of two channels) and of parametric stereo (g).
struct SbrWorkSizes {
  int32_t a, b, c, d, e, f, g;
};

SbrWorkSizes QuerySbrWorkSizes() {
  SbrWorkSizes sizes = {};
  sizes.a = static_cast<int32_t>(sizeof(SbrChannel));
  sizes.g = PsStateSize() + kAreaAlignment;
  return sizes;
}

// For ten element slots.
uint64_t SbrWorkSize() {
  const SbrWorkSizes sizes = QuerySbrWorkSizes();
  const int32_t slot = sizes.b + 2 * (sizes.a + sizes.c + sizes.e) + sizes.d + sizes.f;
  const int32_t total = kMaxSbrElements * slot + std::max(sizes.g, kPsWorkLeast) + 15;
  return static_cast<uint64_t>(total) & ~uint64_t{15};
}

uint64_t TablesSize(const DspVlcTable* const* tables, int32_t count) {
  uint64_t size = 0;
  for (int32_t i = 0; i < count; ++i)
    size += RoundUp16(sizeof(DspVlcTable) +
                      static_cast<uint64_t>(tables[i]->cellCount) * sizeof(DspVlcCell));
  return size;
}

uint64_t CodeTablesSize() {
  return TablesSize(CodeTables(), kCodeTableCount) +
         TablesSize(SbrCodeTables(), kSbrHuffmanBookCount) +
         TablesSize(PsCodeTables(), kPsBookCount);
}

uint8_t* AlignArea(uint8_t* at) {
  return at + (-reinterpret_cast<uintptr_t>(at) & (kAreaAlignment - 1));
}

int32_t QueryAlsMemory(AlsState* state, const AlsConfig& config, uint8_t* memory, int32_t* size) {
  uint64_t bytes = 0;
  const int32_t result = AlsMemorySize(config, &bytes);
  if (result != kAlsGood) return result;
  *size = static_cast<int32_t>(bytes);
  if (memory != nullptr) AlsInit(state, config, memory);
  return kAlsGood;
}

}  // namespace

uint64_t StateBlockSize() { return kStateRoom + CodeTablesSize() + SbrWorkSize(); }

void PlaceSbrAreas(AACDecoderState* state) {
  // The code tables are made once and shared; their room holds the alignment.
  uint8_t* at = AlignArea(reinterpret_cast<uint8_t*>(state) + kStateRoom);
  state->sbrChannels = reinterpret_cast<SbrChannel*>(at);
  at += 2 * kMaxSbrElements * sizeof(SbrChannel);
  state->psState = reinterpret_cast<PsState*>(AlignArea(at));
}

int32_t QueryToolMemory(AACDecoderState* state, int32_t objectType, const AlsConfig& als,
                        uint8_t* memory, int32_t* size) {
  if (objectType == kObjectAls) return QueryAlsMemory(&state->alsState, als, memory, size);
  const int32_t kinds =
      HasLongTermPrediction(objectType) ? kTransformInverse | kTransformForward : kTransformInverse;
  const int32_t front = objectType == kObjectBsac ? kBsacStateSize : 0;
  int32_t bankSize = 0;
  if (FilterbankInit(&state->filterbankSpec, nullptr, kinds, objectType, &bankSize) != 0)
    return kFrameNoMemory;
  bankSize += kFilterbankSpare;
  int32_t predictorSize = 0;
  if (objectType == kObjectMain && dspPredictGetSize(kFrameLength, &predictorSize) != 0)
    return kFrameNoMemory;
  *size = front + bankSize + kMaxChannels * predictorSize;
  if (memory == nullptr) return 0;
  if (FilterbankInit(&state->filterbankSpec, memory + front, kinds, objectType, &bankSize) != 0)
    return kFrameNoMemory;
  if (objectType == kObjectBsac) state->bsacState = new (memory) BsacState{};
  if (objectType != kObjectMain) return 0;
  uint8_t* at = memory + front + bankSize + kFilterbankSpare;
  for (MainPredictorState*& predictor : state->predictors) {
    if (dspPredictInit(&predictor, kFrameLength, at) != 0) return kFrameNoMemory;
    at += predictorSize;
  }
  return 0;
}

}  // namespace orbel
