#include "aac/state.h"

#include <cstring>

#include "aac/code_tables.h"
#include "aac/sampling_tables.h"
#include "als/als_decoder.h"

namespace orbel {
namespace {

constexpr int32_t kNotSet = -999;
constexpr int32_t kDefaultSbrMode = 18;
constexpr int32_t kDefaultSbrDownsample = 1;
constexpr int32_t kNoBandsIndex = kSamplingIndexCount - 1;

template <typename Work>
void ForEachStream(AACDecoderState* state, Work work) {
  work(&state->channelPair.stream[0]);
  work(&state->channelPair.stream[1]);
  work(&state->singleChannel.stream);
  work(&state->lowFrequency.stream);
  work(&state->coupling.stream);
}

void SetBands(AACDecoderState* state, int32_t index) {
  ForEachStream(state, [&](IndividualChannelStream* ics) {
    ics->numSwbLong = kLongBands[index].count;
    ics->swbOffsetLong = kLongBands[index].offsets;
    ics->numSwbShort = kShortBands[index].count;
    ics->swbOffsetShort = kShortBands[index].offsets;
    ics->predMaxSfb = kPredictorBands[index];
    TnsLimits(index, state->audioObjectType, ics->tnsLimits);
  });
}

}  // namespace

void ConfigureSampling(AACDecoderState* state, int32_t index) {
  state->samplingIndex = index;
  state->samplingFrequency = SamplingFrequency(index);
  state->pceMapBuilt = 0;
  SetBands(state, index);
}

void ChangeSbrMode(AACDecoderState* state, int32_t mode) {
  state->sbrMode = mode;
  std::memset(state->sbrChannelUsed, 0, sizeof state->sbrChannelUsed);
}

void PassPsLevel(AACDecoderState* state) {
  if (state->psReady == 0) {
    if (state->psSupportLevel == 0) return;
    PsInit(state->psState);
    state->psReady = 1;
  }
  PsSetLevel(state->psState, state->psSupportLevel);
}

void AACDecoderStateReset(AACDecoderState* state) {
  state->frameNumber = 0;
  state->noiseSeed = 0;
  state->sbrPresent = 0;
  state->pendingFrameBytes = 0;
  for (int32_t i = 0; i < 3; ++i) state->ltpHistoryIndex[i] = i;
  if (state->sbrMode == kNotSet) state->sbrMode = kDefaultSbrMode;
  if (state->sbrDownsample == kNotSet) state->sbrDownsample = kDefaultSbrDownsample;
  if (state->sbrSupportLevel == kNotSet) state->sbrSupportLevel = kReadExtensions;
  for (float(&overlap)[kMaxFrameLength] : state->overlap)
    std::memset(overlap, 0, kFrameLength * sizeof(float));
  std::memset(state->prevWindowShape, 0, sizeof state->prevWindowShape);
  std::memset(state->sbrChannelUsed, 0, sizeof state->sbrChannelUsed);
  if (state->psReady != 0) PsRestart(state->psState);
  PassPsLevel(state);
  ClearObjectTypeState(state);
}

void ClearObjectTypeState(AACDecoderState* state) {
  if (HasLongTermPrediction(state->audioObjectType)) {
    std::memset(state->ltpHistory, 0, sizeof state->ltpHistory);
    std::memset(state->ltpWork, 0, sizeof state->ltpWork);
  } else if (state->audioObjectType == kObjectSsr) {
    std::memset(state->ssrBuffers, 0, sizeof state->ssrBuffers);
    for (int32_t c = 0; c < kMaxChannels; ++c)
      ResetGainControl(&state->gainControl[c], &state->gainState[c]);
  } else if (state->audioObjectType == kObjectAls) {
    AlsReset(&state->alsState);
  }
}

void AACDecoderStateInit(AACDecoderState* state) {
  state->huffmanTables = CodeTables();
  ForEachStream(
      state, [state](IndividualChannelStream* ics) { ics->huffmanTables = state->huffmanTables; });
  SetBands(state, kNoBandsIndex);
  for (SbrElement& element : state->sbrElements) SbrElementInit(&element);
  state->sbrMode = kNotSet;
  state->sbrDownsample = kNotSet;
  state->sbrSupportLevel = kNotSet;
  AACDecoderStateReset(state);
  state->numChannels = 1;
  state->prevNumChannels = 1;
  state->frameLength = kFrameLength;
  state->channelConfiguration = -1;
}

}  // namespace orbel
