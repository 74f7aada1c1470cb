#include "aac/element_tools.h"

#include "aac/individual_channel_stream.h"
#include "aac/noise.h"
#include "aac/stereo.h"
#include "dsp/primitives.h"

namespace orbel {
namespace {

void StoreWindow(AACDecoderState* state, const IndividualChannelStream& ics, int32_t channel) {
  state->windowShape[channel] = ics.window_shape;
  state->windowSequence[channel] = ics.window_sequence;
  state->wildScale[channel] = ics.wildScale;
}

void Dequantize(AACDecoderState* state, IndividualChannelStream* ics, int32_t channel) {
  if (ics->pulse_data_present != 0) ApplyPulses(ics);
  InverseQuantize(*ics, state->spectrum[channel]);
}

void LongTermPrediction(AACDecoderState* state, const IndividualChannelStream& ics, int32_t channel,
                        const TnsRecord& tns) {
  // A second time changes nothing.
  if (state->audioObjectType == kObjectBsac && ics.ltp_data_present != 0)
    for (float(&history)[kMaxFrameLength] : state->ltpHistory[channel])
      dspRoundTo16s_32f(history, history, kFrameLength);
  LtpContext* context = &state->ltpContext;
  for (int32_t i = 0; i < 3; ++i)
    context->history[i] = state->ltpHistory[channel][state->ltpHistoryIndex[i]];
  context->prevWindowShape = state->prevWindowShape[channel];
  context->filterbank = &state->filterbankSpec;
  context->tns = &tns;
  context->work = state->ltpWork;
  ApplyLongTermPrediction(*context, ics, state->spectrum[channel]);
}

// Prediction or gain data of a single or a coupling channel, by object type.
void ObjectTypeTool(AACDecoderState* state, const IndividualChannelStream& ics, int32_t channel,
                    const TnsRecord& tns) {
  if (state->audioObjectType == kObjectMain)
    ApplyMainPrediction(state->spectrum[channel], ics, state->predictors[channel]);
  else if (HasLongTermPrediction(state->audioObjectType))
    LongTermPrediction(state, ics, channel, tns);
  else if (state->audioObjectType == kObjectSsr)
    CopyGainControl(ics, &state->gainControl[channel]);
}

int64_t CountBands(const IndividualChannelStream& ics, int32_t first, int32_t last) {
  int64_t bands = 0;
  for (int32_t g = 0; g < ics.num_window_groups; ++g)
    for (int32_t b = 0; b < ics.max_sfb; ++b)
      bands += ics.sfb_cb[g][b] >= first && ics.sfb_cb[g][b] <= last ? 1 : 0;
  return bands;
}

void CountStream(FrameTools* tools, const IndividualChannelStream& ics) {
  ++tools->windowSequence[ics.window_sequence];
  ++tools->windowShape[ics.window_shape];
  tools->pulse += ics.pulse_data_present;
  tools->tns += ics.tns_data_present;
  tools->gainControl += ics.gain_control_data_present;
  tools->longTermPrediction += ics.ltp_data_present;
  tools->noiseBands += CountBands(ics, kNoiseBook, kNoiseBook);
  tools->intensityBands += CountBands(ics, kIntensityBookOutOfPhase, kIntensityBook);
}

void CountPair(FrameTools* tools, const ChannelPairElement& pair) {
  CountStream(tools, pair.stream[0]);
  CountStream(tools, pair.stream[1]);
  const IndividualChannelStream& ics = pair.stream[1];
  if (pair.ms_mask_present == 0) return;
  for (int32_t g = 0; g < ics.num_window_groups; ++g)
    for (int32_t b = 0; b < ics.max_sfb; ++b)
      if (ics.sfb_cb[g][b] < kNoiseBook && (pair.ms_mask_present == 2 || pair.ms_used[g][b] != 0))
        ++tools->midSideBands;
}

void CountPrediction(const AACDecoderState& state, const IndividualChannelStream& ics) {
  if (state.tools != nullptr && state.audioObjectType == kObjectMain)
    state.tools->mainPrediction += ics.predictor_data_present;
}

}  // namespace

void SingleChannelTools(AACDecoderState* state, int32_t channel) {
  IndividualChannelStream* ics = &state->singleChannel.stream;
  float* lines = state->spectrum[channel];
  TnsRecord* tns = &state->tnsData[channel];
  StoreWindow(state, *ics, channel);
  Dequantize(state, ics, channel);
  ApplyNoise(*ics, nullptr, lines, nullptr, 0, nullptr, &state->noiseSeed);
  ShortWindowInterleave(*ics, lines);
  TnsPrepare(*ics, tns);
  ObjectTypeTool(state, *ics, channel, *tns);
  if (state->tools != nullptr) CountStream(state->tools, *ics);
  CountPrediction(*state, *ics);
}

void ChannelPairTools(AACDecoderState* state, int32_t channel) {
  ChannelPairElement* pair = &state->channelPair;
  float* left = state->spectrum[channel];
  float* right = state->spectrum[channel + 1];
  for (int32_t c = 0; c < 2; ++c) StoreWindow(state, pair->stream[c], channel + c);
  for (int32_t c = 0; c < 2; ++c) Dequantize(state, &pair->stream[c], channel + c);
  state->wildScale[channel] |= pair->stream[1].wildScale;
  state->wildScale[channel + 1] |= pair->stream[0].wildScale;
  ApplyMidSide(*pair, left, right);
  ApplyNoise(pair->stream[0], &pair->stream[1], left, right, pair->ms_mask_present, pair->ms_used,
             &state->noiseSeed);
  ApplyIntensity(*pair, left, right);
  // Unlike a single channel's, a pair's prediction comes before the short windows
  // are put into order.
  for (int32_t c = 0; c < 2; ++c)
    if (state->audioObjectType == kObjectMain)
      ApplyMainPrediction(state->spectrum[channel + c], pair->stream[c],
                          state->predictors[channel + c]);
  for (int32_t c = 0; c < 2; ++c) {
    const IndividualChannelStream& ics = pair->stream[c];
    TnsRecord* tns = &state->tnsData[channel + c];
    TnsPrepare(ics, tns);
    ShortWindowInterleave(ics, state->spectrum[channel + c]);
    if (HasLongTermPrediction(state->audioObjectType))
      LongTermPrediction(state, ics, channel + c, *tns);
    else if (state->audioObjectType == kObjectSsr)
      CopyGainControl(ics, &state->gainControl[channel + c]);
    CountPrediction(*state, ics);
  }
  if (state->tools != nullptr) CountPair(state->tools, *pair);
}

void LowFrequencyTools(AACDecoderState* state, int32_t channel) {
  IndividualChannelStream* ics = &state->lowFrequency.stream;
  StoreWindow(state, *ics, channel);
  Dequantize(state, ics, channel);
  state->tnsData[channel].active = 0;
  if (state->tools != nullptr) CountStream(state->tools, *ics);
}

void CouplingChannelTools(AACDecoderState* state, int32_t index) {
  const int32_t channel = kFirstCouplingChannel + index;
  IndividualChannelStream* ics = &state->coupling.stream;
  float* lines = state->spectrum[channel];
  StoreWindow(state, *ics, channel);
  Dequantize(state, ics, channel);
  ApplyNoise(*ics, nullptr, lines, nullptr, 0, nullptr, &state->noiseSeed);
  ShortWindowInterleave(*ics, lines);
  TnsRecord* tns = &state->tnsData[channel];
  TnsPrepare(*ics, tns);
  ObjectTypeTool(state, *ics, channel, *tns);
  if (tns->active != 0) TnsApply(*tns, lines);
  CouplingGainsCompute(state->coupling, state->couplingInfo[index], &state->couplingGains[index]);
  if (state->tools != nullptr) CountStream(state->tools, *ics);
}

}  // namespace orbel
