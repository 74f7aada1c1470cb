// The interface of the speech codecs: one constant table of functions per
// codec, and the plain records that they take. A codec owns no memory: the
// caller asks how much it wants, hands it over in banks, and frees it when the
// stream ends. There is nothing else to release.
//
// A handle takes one call at a time; separate handles share nothing. No slot
// allocates. Results are the SPEECH_... codes below.
#pragma once

#include <cstdint>

namespace orbel {

enum : int32_t {
  SPEECH_OK = 0,
  SPEECH_ERR_NULL_ARGUMENT = -1,  // a required pointer, other than the handle
  SPEECH_ERR_BAD_MODE = -2,       // vad not offered
  SPEECH_ERR_BAD_BIT_RATE = -4,   // a bit rate not offered
  SPEECH_ERR_BAD_PCM_TYPE = -5,   // PCM other than 8000 Hz, 16 bits
  SPEECH_ERR_FAILED = -6,         // direction, size, too little input, a failed frame
  SPEECH_ERR_BAD_HANDLE = -7,     // null handle
  SPEECH_ERR_BAD_BANK = -8,       // a bank without memory, too small or misaligned
};

enum SpeechFrameType : int32_t {
  FrameLost = -1,           // the frame did not arrive
  FrameNoData = 0,          // nothing was sent for this frame
  FrameSid = 1,             // silence descriptor, 2 bytes
  FrameSpeech = 3,          // active speech, 80 bytes for G.711
  FrameSidAfterSpeech = 5,  // inside the codec only: a descriptor right after speech
};

// The part of the options that may change while a stream runs.
struct SpeechCodecModes {
  int32_t bitRate;  // bit/s
  int32_t reserved1;
  int32_t vad;  // 0 off, 1 on
  int32_t reserved2;
  int32_t postFilter;  // comfort noise post filter: 0 off, else on
};

struct SpeechCodecOptions {
  int32_t direction;  // 0 encoder, 1 decoder; GetOutputSize also takes 2
  int32_t law;        // PCM law of the G.726 decoder's output: 0 linear, 1 A-law, else mu-law
  int32_t frameSize;  // written by GetInfo, read by nobody
  int32_t reserved;
  SpeechCodecModes modes;
};

// One piece of memory for a codec.
struct SpeechMemBank {
  void* memory;       // the caller's; null out of GetBankSizes
  int32_t size;       // bytes wanted
  int32_t alignment;  // of memory, in bytes
  int32_t reserved;
  int32_t kind;
};

// Coded bytes: in for Decode, out for Encode.
struct SpeechBitstream {
  uint8_t* data;      // Decode only reads
  int32_t byteCount;  // coded bytes; out of Decode, those used
  int32_t frameType;  // a SpeechFrameType
  int32_t bitRate;    // bit/s
};

// PCM: in for Encode, out for Decode.
struct SpeechPcmStream {
  int16_t* data;
  int32_t byteCount;
  int32_t sampleRate;  // Hz
  int32_t bitsPerSample;
  int32_t bitRate;  // of the coded side
};

struct SpeechCodecInfo {
  const char* name;
  int32_t maxFrameBytes;
  int32_t sampleRate;
  int32_t bitsPerSample;
  int32_t bitRateCount;
  const int32_t* bitRates;
  SpeechCodecOptions options;
};
static_assert(sizeof(SpeechCodecInfo) == 72);

// The slots, in order, behind a reserved word.
struct SpeechCodecFunctions {
  int64_t reserved;
  int32_t (*GetInfoSize)(int32_t* size);
  int32_t (*GetInfo)(const void* handle, SpeechCodecInfo* info);
  int32_t (*GetBankCount)(const SpeechCodecOptions* options, int32_t* count);
  int32_t (*GetBankSizes)(const SpeechCodecOptions* options, SpeechMemBank* banks);
  int32_t (*Init)(const SpeechCodecOptions* options, const SpeechMemBank* banks, void** handle);
  int32_t (*Reinit)(const SpeechCodecModes* modes, void* handle);
  int32_t (*Control)(const SpeechCodecModes* modes, void* handle);
  int32_t (*Encode)(void* handle, SpeechPcmStream* pcm, SpeechBitstream* bits);
  int32_t (*Decode)(void* handle, SpeechBitstream* bits, SpeechPcmStream* pcm);
  int32_t (*GetOutputSize)(const SpeechCodecOptions* options, int32_t bitRate, int32_t sourceBytes,
                           int32_t* destinationBytes);
  int32_t (*SetFrameSize)(const SpeechCodecOptions* options, void* handle, int32_t frameSize);
};

extern const SpeechCodecFunctions kSpeechCodecG711A;  // "IPP_G711A"
extern const SpeechCodecFunctions kSpeechCodecG711U;  // "IPP_G711U"
extern const SpeechCodecFunctions kSpeechCodecG726;   // "IPP_G726"

// The table whose info record bears this name, or null.
const SpeechCodecFunctions* SpeechCodecByName(const char* name);

}  // namespace orbel
