// The slots of the two G.711 tables. They share all code and differ in the name
// and in the law that they hand on.

#include "speech/codec_tables.h"
#include "speech/comfort_noise.h"
#include "speech/g711.h"

namespace orbel {
namespace {

// A constant address for frames without bytes; nothing reads it.
constexpr uint8_t kNoBytes[kG711SidBytes] = {};

template <G711Law kLaw>
int32_t GetInfo(const void* handle, SpeechCodecInfo* info) {
  if (info == nullptr) return SPEECH_ERR_NULL_ARGUMENT;
  info->name = kLaw == kLawA ? "IPP_G711A" : "IPP_G711U";
  info->maxFrameBytes = kG711FrameBytes;
  info->sampleRate = kSpeechSampleRate;
  info->bitsPerSample = kSpeechBitsPerSample;
  info->bitRateCount = kG711RateCount;
  info->bitRates = kSpeechBitRates;
  SpeechCodecOptions& options = info->options;
  options.frameSize = kG711PcmBytes;
  options.modes.reserved1 = 0;
  options.modes.reserved2 = 0;
  if (handle != nullptr) {
    const auto* g711 = static_cast<const G711Handle*>(handle);
    options.direction = g711->direction;
    options.law = g711->law;
    options.modes.vad = g711->vad;
    options.modes.postFilter = g711->postFilter;
    return SPEECH_OK;
  }
  options.direction = 0;
  options.law = kLawA;  // in both tables: a default that nothing of G.711 reads
  options.modes.bitRate = kG711BitRate;
  options.modes.vad = 1;
  options.modes.postFilter = 1;
  return SPEECH_OK;
}

int32_t GetBankSizes(const SpeechCodecOptions* options, SpeechMemBank* banks) {
  if (options == nullptr || banks == nullptr) return SPEECH_ERR_NULL_ARGUMENT;
  SpeechDescribeBank(banks);
  if (options->direction != 0 && options->direction != 1) return SPEECH_ERR_FAILED;
  banks->size = G711BankSize(options->direction);
  return SPEECH_OK;
}

int32_t MakeState(G711Handle* handle) {
  switch (handle->direction) {
    case 0:
      G711EncoderInit(&handle->encoder, handle->law, handle->vad);
      return SPEECH_OK;
    case 1:
      G711DecoderInit(&handle->decoder, handle->law);
      handle->decoder.comfortNoise->postFilter = handle->postFilter;
      return SPEECH_OK;
    default:
      return SPEECH_ERR_FAILED;
  }
}

template <G711Law kLaw>
int32_t Init(const SpeechCodecOptions* options, const SpeechMemBank* banks, void** handle) {
  if (options == nullptr || banks == nullptr || handle == nullptr) return SPEECH_ERR_NULL_ARGUMENT;
  if (!SpeechBankHolds(*banks, G711BankSize(options->direction), alignof(G711Handle)))
    return SPEECH_ERR_BAD_BANK;
  if (options->modes.vad > 1) return SPEECH_ERR_BAD_MODE;
  auto* g711 = static_cast<G711Handle*>(banks->memory);
  *handle = g711;
  g711->direction = options->direction;
  g711->postFilter = options->modes.postFilter;
  g711->vad = options->modes.vad;
  g711->law = kLaw;
  G711PlaceScratch(g711);
  return MakeState(g711);
}

template <G711Law kLaw>
int32_t Reinit(const SpeechCodecModes* modes, void* handle) {
  if (modes == nullptr) return SPEECH_ERR_NULL_ARGUMENT;
  if (handle == nullptr) return SPEECH_ERR_BAD_HANDLE;
  auto* g711 = static_cast<G711Handle*>(handle);
  g711->vad = modes->vad;
  g711->postFilter = modes->postFilter;
  g711->law = kLaw;
  return MakeState(g711);
}

template <G711Law kLaw>
int32_t Control(const SpeechCodecModes* modes, void* handle) {
  if (modes == nullptr) return SPEECH_ERR_NULL_ARGUMENT;
  if (handle == nullptr) return SPEECH_ERR_BAD_HANDLE;
  auto* g711 = static_cast<G711Handle*>(handle);
  g711->vad = modes->vad;
  g711->postFilter = modes->postFilter;
  g711->law = kLaw;
  if (g711->direction == 0) {
    g711->encoder.vad = modes->vad;
    return SPEECH_OK;
  }
  if (g711->direction != 1) return SPEECH_ERR_FAILED;
  g711->decoder.comfortNoise->postFilter = modes->postFilter;
  return SPEECH_OK;
}

int32_t Encode(void* handle, SpeechPcmStream* pcm, SpeechBitstream* bits) {
  if (pcm == nullptr || bits == nullptr) return SPEECH_ERR_NULL_ARGUMENT;
  if (handle == nullptr) return SPEECH_ERR_BAD_HANDLE;
  if (pcm->bitsPerSample != kSpeechBitsPerSample || pcm->sampleRate != kSpeechSampleRate)
    return SPEECH_ERR_BAD_PCM_TYPE;
  if (pcm->bitRate != kG711BitRate) return SPEECH_ERR_BAD_BIT_RATE;
  if (pcm->byteCount < kG711PcmBytes) {
    pcm->byteCount = 0;
    return SPEECH_ERR_FAILED;
  }
  auto* g711 = static_cast<G711Handle*>(handle);
  if (pcm->data == nullptr || bits->data == nullptr) return SPEECH_ERR_NULL_ARGUMENT;
  if (g711->direction != 0) return SPEECH_ERR_FAILED;
  if (G711EncodeFrame(&g711->encoder, pcm->data, bits->data, &bits->frameType) != FRAME_OK)
    return SPEECH_ERR_FAILED;
  bits->bitRate = pcm->bitRate;
  bits->byteCount = bits->frameType == FrameSpeech ? kG711FrameBytes : kG711SidBytes;
  pcm->byteCount = kG711PcmBytes;
  return SPEECH_OK;
}

int32_t Decode(void* handle, SpeechBitstream* bits, SpeechPcmStream* pcm) {
  if (pcm == nullptr) return SPEECH_ERR_NULL_ARGUMENT;
  if (handle == nullptr) return SPEECH_ERR_BAD_HANDLE;
  // A handle whose Init failed over its direction may have no state behind it.
  if (static_cast<G711Handle*>(handle)->direction != 1) return SPEECH_ERR_FAILED;
  G711DecoderState* const state = &static_cast<G711Handle*>(handle)->decoder;
  if (bits != nullptr) {
    if (G711DecodeFrame(state, bits->data, bits->frameType, pcm->data) != FRAME_OK)
      return SPEECH_ERR_FAILED;
    pcm->bitRate = bits->bitRate;
    bits->byteCount = bits->frameType == FrameSpeech ? kG711FrameBytes : kG711SidBytes;
  } else {
    if (G711DecodeFrame(state, kNoBytes, FrameLost, pcm->data) != FRAME_OK)
      return SPEECH_ERR_FAILED;
    pcm->bitRate = kG711BitRate;
  }
  pcm->byteCount = kG711PcmBytes;
  pcm->sampleRate = kSpeechSampleRate;
  pcm->bitsPerSample = kSpeechBitsPerSample;
  return SPEECH_OK;
}

int32_t GetOutputSize(const SpeechCodecOptions* options, int32_t bitRate, int32_t sourceBytes,
                      int32_t* destinationBytes) {
  if (options == nullptr || destinationBytes == nullptr) return SPEECH_ERR_NULL_ARGUMENT;
  if (sourceBytes < 1) return SPEECH_ERR_FAILED;
  if (bitRate != kG711BitRate) return SPEECH_ERR_BAD_BIT_RATE;
  const int32_t samples = sourceBytes / 2;
  const int32_t wholeFrames = samples / kG711FrameSamples;
  const int32_t frames = wholeFrames + (samples % kG711FrameSamples != 0 ? 1 : 0);
  int64_t bytes = 0;
  switch (options->direction) {
    case 0:
      if (options->modes.vad > 1) return SPEECH_ERR_BAD_MODE;
      if (wholeFrames == 0) return SPEECH_ERR_FAILED;
      bytes = int64_t{frames} * kG711FrameBytes;
      break;
    case 1:
      // With vad the input may be all silence descriptors.
      if (options->modes.vad == 0) {
        bytes = int64_t{sourceBytes / kG711FrameBytes} * kG711PcmBytes;
      } else if (options->modes.vad == 1) {
        bytes = int64_t{sourceBytes / kG711SidBytes} * kG711PcmBytes;
      } else {
        return SPEECH_ERR_BAD_MODE;
      }
      break;
    case 2:
      if (wholeFrames == 0) return SPEECH_ERR_FAILED;
      bytes = int64_t{frames} * kG711PcmBytes;
      break;
    default:
      return SPEECH_ERR_FAILED;
  }
  if (bytes == 0 || bytes > INT32_MAX) return SPEECH_ERR_FAILED;
  *destinationBytes = static_cast<int32_t>(bytes);
  return SPEECH_OK;
}

int32_t SetFrameSize(const SpeechCodecOptions* options, void* handle, int32_t frameSize) {
  if (options == nullptr) return SPEECH_ERR_NULL_ARGUMENT;
  if (handle == nullptr) return SPEECH_ERR_BAD_HANDLE;
  return frameSize == 0 ? SPEECH_ERR_FAILED : SPEECH_OK;
}

template <G711Law kLaw>
constexpr SpeechCodecFunctions MakeTable() {
  return {0,
          SpeechGetInfoSize,
          GetInfo<kLaw>,
          SpeechGetBankCount,
          GetBankSizes,
          Init<kLaw>,
          Reinit<kLaw>,
          Control<kLaw>,
          Encode,
          Decode,
          GetOutputSize,
          SetFrameSize};
}

}  // namespace

constexpr SpeechCodecFunctions kSpeechCodecG711A = MakeTable<kLawA>();
constexpr SpeechCodecFunctions kSpeechCodecG711U = MakeTable<kLawMu>();

}  // namespace orbel
