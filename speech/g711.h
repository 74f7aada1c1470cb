// G.711 (ITU-T G.711) as a stream of 10 ms frames: 80 codes, 80 samples at
// 8000 Hz. Around the law conversion stands the logic of frame types: a frame
// may be speech, a silence descriptor, not sent or lost.
#pragma once

#include <cstddef>
#include <cstdint>

#include "speech/concealment.h"
#include "speech/speech_codec.h"

namespace orbel {

inline constexpr int32_t kG711FrameBytes = 80;  // coded
inline constexpr int32_t kG711FrameSamples = 80;
inline constexpr int32_t kG711PcmBytes = 160;
inline constexpr int32_t kG711SidBytes = 2;  // a silence descriptor
inline constexpr int32_t kG711BitRate = 64000;

enum G711Law : int32_t { kLawA = 1, kLawMu = 2 };

// Results of a frame; the codec's slots report each as SPEECH_ERR_FAILED.
enum : int32_t {
  FRAME_OK = 0,
  FRAME_ERR_ARGUMENT = -3,   // null pointer, unknown frame type
  FRAME_ERR_NOT_READY = -4,  // the state is not set up
  FRAME_ERR_BAD_KEY = -5,    // the memory is some other state's
};

// The silence side: comfort_noise.h and silence_encoder.h. Its states lie directly
// behind the codec's, their scratch behind them.
struct ComfortNoiseDecoderState;
struct ComfortNoiseEncoderState;

inline constexpr uint32_t kG711DecoderKey = 0xDEC711;
inline constexpr uint32_t kG711EncoderKey = 0xECD711;

struct G711DecoderState {
  int32_t stateSize;  // bytes, with the comfort noise state; above 0 once initialised
  uint32_t key;
  int32_t reserved;
  int32_t law;
  ConcealmentState concealment;
  int32_t frameLaw;  // the law that frames are decoded by
  ComfortNoiseDecoderState* comfortNoise;
  int32_t previousFrameType;  // FrameSpeech or FrameSid
};

struct G711EncoderState {
  int32_t stateSize;
  uint32_t key;
  int32_t vad;
  int32_t law;
  int32_t frameLaw;  // the law that frames are coded by: A-law, or mu-law for all else
  ComfortNoiseEncoderState* silence;
  int16_t delayLine[kG711FrameSamples / 2];  // with vad, speech leaves 5 ms late
};

// The memory bank of the codec. Holds pointers into itself: it may not be moved.
struct G711Handle {
  int32_t direction;
  int32_t postFilter;
  int32_t vad;
  int32_t law;  // the table's
  union {
    G711EncoderState encoder;
    G711DecoderState decoder;
  };
};

// Bytes of the bank by direction, silence state and scratch included; for any other
// direction the header alone.
int32_t G711BankSize(int32_t direction);

// Sets the scratch of the silence state that lies, or will lie, in a bank of
// G711BankSize for the handle's direction. Comes before the two below.
void G711PlaceScratch(G711Handle* handle);

// Both make the state behind `state` as well, which keeps the scratch it has.
//
// As after speech, with silence in the history. -5 for a law that is neither of
// the two, and the state is left as it was.
int32_t G711DecoderInit(G711DecoderState* state, int32_t law);

// -3 for a null state or vad above 1, -5 for an unknown law.
int32_t G711EncoderInit(G711EncoderState* state, int32_t law, int32_t vad);

// One frame into 80 samples at pcm. `bits` is read for FrameSpeech (80 bytes)
// and FrameSid (2 bytes) only, but may not be null. Nothing changes on failure.
int32_t G711DecodeFrame(G711DecoderState* state, const uint8_t* bits, int32_t frameType,
                        int16_t* pcm);

// One frame of 80 samples. With vad 1 the frame may be FrameSid or FrameNoData, 2
// bytes (those of FrameNoData are 0), and speech leaves half a frame late. Else
// all is FrameSpeech, 80 bytes. FRAME_ERR_NOT_READY when the silence encoder
// fails, with nothing written.
int32_t G711EncodeFrame(G711EncoderState* state, const int16_t* pcm, uint8_t* bits,
                        int32_t* frameType);

}  // namespace orbel
