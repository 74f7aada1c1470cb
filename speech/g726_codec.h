// G.726 (ITU-T G.726) behind its codec table: 8000 Hz speech at 16000, 24000,
// 32000 or 40000 bit/s. The quantiser and predictor are primitives; here are
// blocks, packing, the frame size rule and the change of bit rate.
//
// The decoder keeps its 14-bit range in 16-bit words, 12 dB below G.711 at the
// same level; the encoder scales its input down by 2 bits. With a law other than
// linear each output word holds a code byte.
//
// A null data pointer in a record is SPEECH_ERR_NULL_ARGUMENT where bytes are
// due, and a handle of the other direction SPEECH_ERR_FAILED, both found behind
// the checks of the records and of the handle itself, before anything changes.
#pragma once

#include <cstdint>

#include "dsp/g726_state.h"

namespace orbel {

inline constexpr int32_t kG726BlockPcmBytes = 16;
inline constexpr int32_t kG726MaxBlockBytes = 5;  // coded, at the highest rate

// The memory bank of the codec. The state is that of the direction.
struct G726Handle {
  int32_t direction;
  int32_t bitRate;    // one of the four
  int32_t law;        // as in SpeechCodecOptions
  int32_t frameSize;  // PCM bytes that one Decode may produce, a multiple of 16
  union {
    G726EncoderState encoder;
    G726DecoderState decoder;
  };
};

}  // namespace orbel
