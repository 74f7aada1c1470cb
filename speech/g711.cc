#include "speech/g711.h"

#include "dsp/primitives.h"

namespace orbel {
namespace {

enum class FrameAction { kExpand, kConceal, kNoise };

struct FrameRule {
  FrameAction action;
  int32_t noiseType;  // the frame type that comfort noise is told
  int32_t previous;   // previousFrameType afterwards
};

// What a frame means, by its type and by what came before. A silent stretch runs
// on over lost frames: only a loss after speech is concealed.
const FrameRule* FindRule(int32_t frameType, int32_t previousFrameType) {
  static constexpr FrameRule kAfterSpeech[] = {
      {FrameAction::kConceal, 0, FrameSpeech},              // FrameLost
      {FrameAction::kConceal, 0, FrameSpeech},              // FrameNoData
      {FrameAction::kNoise, FrameSidAfterSpeech, FrameSid}  // FrameSid
  };
  static constexpr FrameRule kAfterSid[] = {
      {FrameAction::kNoise, FrameNoData, FrameSid},  // FrameLost
      {FrameAction::kNoise, FrameNoData, FrameSid},  // FrameNoData
      {FrameAction::kNoise, FrameSid, FrameSid}      // FrameSid
  };
  static constexpr FrameRule kSpeech = {FrameAction::kExpand, 0, FrameSpeech};
  if (frameType == FrameSpeech) return &kSpeech;
  if (frameType < FrameLost || frameType > FrameSid) return nullptr;
  return (previousFrameType == FrameSid ? kAfterSid : kAfterSpeech) + (frameType - FrameLost);
}

}  // namespace

int32_t G711BankSize(int32_t direction) {
  constexpr size_t kHeader = offsetof(G711Handle, decoder);
  switch (direction) {
    case 0:
      return static_cast<int32_t>(kHeader + sizeof(G711EncoderState));
    case 1:
      return static_cast<int32_t>(kHeader + sizeof(G711DecoderState));
    default:
      return static_cast<int32_t>(kHeader);
  }
}

int32_t G711DecoderInit(G711DecoderState* state, int32_t law) {
  if (law != kLawA && law != kLawMu) return -5;
  *state = {};
  state->stateSize = sizeof(G711DecoderState);
  state->key = kG711DecoderKey;
  state->law = law;
  state->frameLaw = law;
  ResetConcealment(&state->concealment);
  state->previousFrameType = FrameSpeech;
  return 0;
}

int32_t G711EncoderInit(G711EncoderState* state, int32_t law, int32_t vad) {
  if (state == nullptr || vad > 1) return -3;
  if (law != kLawA && law != kLawMu) return -5;
  *state = {};
  state->stateSize = sizeof(G711EncoderState);
  state->key = kG711EncoderKey;
  state->vad = vad;
  state->law = law;
  state->frameLaw = law;
  return 0;
}

int32_t G711DecodeFrame(G711DecoderState* state, const uint8_t* bits, int32_t frameType,
                        int16_t* pcm) {
  if (state == nullptr || bits == nullptr || pcm == nullptr) return FRAME_ERR_ARGUMENT;
  if (state->stateSize <= 0) return FRAME_ERR_NOT_READY;
  if (state->key != kG711DecoderKey) return FRAME_ERR_BAD_KEY;
  const FrameRule* const rule = FindRule(frameType, state->previousFrameType);
  if (rule == nullptr) return FRAME_ERR_ARGUMENT;

  switch (rule->action) {
    case FrameAction::kExpand:
      if (state->frameLaw == kLawA) {
        dspALawToLin_8u16s(bits, pcm, kG711FrameSamples);
      } else {
        dspMuLawToLin_8u16s(bits, pcm, kG711FrameSamples);
      }
      AcceptFrame(&state->concealment, pcm);
      break;
    case FrameAction::kConceal:
      ConcealFrame(&state->concealment, pcm);
      break;
    case FrameAction::kNoise:
      return FRAME_ERR_NOT_READY;  // no comfort noise decoder in this state
  }
  state->previousFrameType = rule->previous;
  return FRAME_OK;
}

void G711Compress(int32_t law, const int16_t* pcm, uint8_t* bits, int32_t count) {
  if (law == kLawA) {
    dspLinToALaw_16s8u(pcm, bits, count);
  } else {
    dspLinToMuLaw_16s8u(pcm, bits, count);
  }
}

}  // namespace orbel
