#include "speech/g711.h"

#include "dsp/primitives.h"
#include "speech/comfort_noise.h"
#include "speech/silence_encoder.h"

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

// Where the silence states lie: directly behind the codec's.
ComfortNoiseDecoderState* SilenceBehind(G711DecoderState* state) {
  return reinterpret_cast<ComfortNoiseDecoderState*>(state + 1);
}

ComfortNoiseEncoderState* SilenceBehind(G711EncoderState* state) {
  return reinterpret_cast<ComfortNoiseEncoderState*>(state + 1);
}

static_assert(alignof(ComfortNoiseDecoderState) <= alignof(G711DecoderState));
static_assert(alignof(ComfortNoiseEncoderState) <= alignof(G711EncoderState));

constexpr size_t kDecoderBytes = sizeof(G711DecoderState) + sizeof(ComfortNoiseDecoderState);
constexpr size_t kEncoderBytes = sizeof(G711EncoderState) + sizeof(ComfortNoiseEncoderState);

// The first aligned address behind a silence state.
template <typename State>
uint8_t* ScratchBehind(State* silence) {
  const uintptr_t misfit = reinterpret_cast<uintptr_t>(silence + 1) % kSilenceScratchAlignment;
  uint8_t* const end = reinterpret_cast<uint8_t*>(silence + 1);
  return misfit == 0 ? end : end + (kSilenceScratchAlignment - misfit);
}

void Compress(int32_t law, const int16_t* pcm, uint8_t* bits, int32_t count) {
  if (law == kLawA) {
    dspLinToALaw_16s8u(pcm, bits, count);
  } else {
    dspLinToMuLaw_16s8u(pcm, bits, count);
  }
}

// Most significant bit first: switch 1, first stage 5, second stage 4, gain 5.
void PackSid(const int16_t* parameters, uint8_t* bits) {
  const uint32_t word = (parameters[0] & 1u) << 15 | (parameters[1] & 31u) << 10 |
                        (parameters[2] & 15u) << 6 | (parameters[3] & 31u) << 1;
  bits[0] = static_cast<uint8_t>(word >> 8);
  bits[1] = static_cast<uint8_t>(word & 0xFF);
}

}  // namespace

int32_t G711BankSize(int32_t direction) {
  constexpr size_t kHeader = offsetof(G711Handle, decoder);
  // Banks aligned to less than the scratch are taken too.
  constexpr size_t kScratch = kSilenceScratchBytes + kSilenceScratchAlignment;
  switch (direction) {
    case 0:
      return static_cast<int32_t>(kHeader + kEncoderBytes + kScratch);
    case 1:
      return static_cast<int32_t>(kHeader + kDecoderBytes + kScratch);
    default:
      return static_cast<int32_t>(kHeader);
  }
}

void G711PlaceScratch(G711Handle* handle) {
  if (handle->direction == 0) {
    ComfortNoiseEncoderState* const silence = SilenceBehind(&handle->encoder);
    silence->head.scratchBase = ScratchBehind(silence);
  } else if (handle->direction == 1) {
    ComfortNoiseDecoderState* const silence = SilenceBehind(&handle->decoder);
    silence->head.scratchBase = ScratchBehind(silence);
  }
}

int32_t G711DecoderInit(G711DecoderState* state, int32_t law) {
  if (law != kLawA && law != kLawMu) return -5;
  *state = {};
  state->stateSize = kDecoderBytes;
  state->key = kG711DecoderKey;
  state->law = law;
  state->frameLaw = law;
  state->comfortNoise = SilenceBehind(state);
  ResetConcealment(&state->concealment);
  state->previousFrameType = FrameSpeech;
  ComfortNoiseDecoderInit(state->comfortNoise, 1);
  state->comfortNoise->postFilter = 0;
  return 0;
}

int32_t G711EncoderInit(G711EncoderState* state, int32_t law, int32_t vad) {
  if (state == nullptr || vad > 1) return -3;
  if (law != kLawA && law != kLawMu) return -5;
  *state = {};
  state->stateSize = kEncoderBytes;
  state->key = kG711EncoderKey;
  state->vad = vad;
  state->law = law;
  state->frameLaw = law;
  state->silence = SilenceBehind(state);
  SilenceEncoderInit(state->silence, 1, 1);
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
      if (ComfortNoiseDecodeFrame(state->comfortNoise, bits, rule->noiseType, pcm) != 0)
        dspZero_16s(pcm, kG711FrameSamples);  // not for a state made by Init
      AcceptFrame(&state->concealment, pcm);
      break;
  }
  state->previousFrameType = rule->previous;
  return FRAME_OK;
}

int32_t G711EncodeFrame(G711EncoderState* state, const int16_t* pcm, uint8_t* bits,
                        int32_t* frameType) {
  constexpr int32_t kHalf = kG711FrameSamples / 2;
  if (state->vad != 1) {
    Compress(state->frameLaw, pcm, bits, kG711FrameSamples);
    *frameType = FrameSpeech;
    return FRAME_OK;
  }
  int16_t parameters[4] = {};
  int32_t type = FrameSpeech;
  if (SilenceEncodeFrame(state->silence, pcm, parameters, &type) != 0) return FRAME_ERR_NOT_READY;
  if (type == FrameSpeech) {
    Compress(state->frameLaw, state->delayLine, bits, kHalf);
    Compress(state->frameLaw, pcm, bits + kHalf, kHalf);
  } else {
    PackSid(parameters, bits);
  }
  dspCopy_16s(pcm + kHalf, state->delayLine, kHalf);
  *frameType = type;
  return FRAME_OK;
}

}  // namespace orbel
