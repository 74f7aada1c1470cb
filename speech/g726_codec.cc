#include "speech/g726_codec.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "dsp/primitives.h"
#include "speech/codec_tables.h"
#include "speech/g726_packing.h"

namespace orbel {
namespace {

constexpr int32_t kDefaultRate = 16000;
constexpr int32_t kDefaultLaw = 3;
constexpr int32_t kDefaultFrameSize = kG726BlockPcmBytes;
constexpr int32_t kRunBlocks = 10;  // 10 ms: the most that one primitive call takes
constexpr int32_t kRunSamples = kRunBlocks * kG726BlockSamples;

// The mode code of a rate, or 0.
int32_t ModeOf(int32_t bitRate) {
  switch (bitRate) {
    case 16000:
      return kG726Mode16k;
    case 24000:
      return kG726Mode24k;
    case 32000:
      return kG726Mode32k;
    case 40000:
      return kG726Mode40k;
    default:
      return 0;
  }
}

// Bits a code and, because a block is 8 codes, bytes a block.
int32_t BitsPerCode(int32_t bitRate) { return bitRate / kSpeechSampleRate; }

int32_t LawCode(int32_t law) { return law == 0 ? kG726Linear : law == 1 ? kG726ALaw : kG726MuLaw; }

// A new state of the handle's direction. All adaptation is lost.
int32_t StartState(G726Handle* g726, int32_t bitRate) {
  const int32_t mode = ModeOf(bitRate);
  g726->bitRate = bitRate;
  switch (g726->direction) {
    case 0:
      return dspEncoderInitG726(&g726->encoder, mode) == kDspOk ? SPEECH_OK : SPEECH_ERR_FAILED;
    case 1:
      return dspDecoderInitG726(&g726->decoder, mode, LawCode(g726->law)) == kDspOk
                 ? SPEECH_OK
                 : SPEECH_ERR_FAILED;
    default:
      return SPEECH_ERR_FAILED;
  }
}

// A rate that a stream's record brings along.
int32_t FollowRate(G726Handle* g726, int32_t bitRate) {
  if (bitRate == g726->bitRate) return SPEECH_OK;
  if (ModeOf(bitRate) == 0) return SPEECH_ERR_BAD_BIT_RATE;
  return StartState(g726, bitRate);
}

// The bank by direction; 0 where there is no such direction.
int32_t BankSize(int32_t direction) {
  int32_t stateSize = 0;
  switch (direction) {
    case 0:
      dspEncoderSizeG726(&stateSize);
      return static_cast<int32_t>(offsetof(G726Handle, encoder)) + stateSize;
    case 1:
      dspDecoderSizeG726(&stateSize);
      return static_cast<int32_t>(offsetof(G726Handle, decoder)) + stateSize;
    default:
      return 0;
  }
}

int32_t GetInfo(const void* handle, SpeechCodecInfo* info) {
  if (info == nullptr) return SPEECH_ERR_NULL_ARGUMENT;
  const auto* g726 = static_cast<const G726Handle*>(handle);
  SpeechCodecOptions& options = info->options;
  options.direction = g726 != nullptr ? g726->direction : 0;
  options.law = g726 != nullptr ? g726->law : kDefaultLaw;
  options.frameSize = g726 != nullptr ? g726->frameSize : kDefaultFrameSize;
  options.modes.bitRate = g726 != nullptr ? g726->bitRate : kDefaultRate;
  options.modes.reserved1 = 0;
  options.modes.reserved2 = 0;
  info->name = "IPP_G726";
  info->maxFrameBytes = (options.frameSize >> 4) * kG726MaxBlockBytes;
  info->sampleRate = kSpeechSampleRate;
  info->bitsPerSample = kSpeechBitsPerSample;
  info->bitRateCount = kG726RateCount;
  info->bitRates = kSpeechBitRates + kG711RateCount;
  return SPEECH_OK;
}

int32_t GetBankSizes(const SpeechCodecOptions* options, SpeechMemBank* banks) {
  if (options == nullptr || banks == nullptr) return SPEECH_ERR_NULL_ARGUMENT;
  SpeechDescribeBank(banks);
  const int32_t size = BankSize(options->direction);
  if (size == 0) return SPEECH_ERR_FAILED;
  banks->size = size;
  return SPEECH_OK;
}

int32_t Init(const SpeechCodecOptions* options, const SpeechMemBank* banks, void** handle) {
  if (options == nullptr || banks == nullptr) return SPEECH_ERR_NULL_ARGUMENT;
  const int32_t header = offsetof(G726Handle, decoder);
  if (!SpeechBankHolds(*banks, std::max(header, BankSize(options->direction)), alignof(G726Handle)))
    return SPEECH_ERR_BAD_BANK;
  if (handle == nullptr) return SPEECH_ERR_BAD_HANDLE;
  if (ModeOf(options->modes.bitRate) == 0) return SPEECH_ERR_BAD_BIT_RATE;
  auto* g726 = static_cast<G726Handle*>(banks->memory);
  *handle = g726;
  g726->direction = options->direction;
  g726->law = options->law;
  g726->frameSize = kDefaultFrameSize;
  return StartState(g726, options->modes.bitRate);
}

int32_t Reinit(const SpeechCodecModes* modes, void* handle) {
  if (modes == nullptr) return SPEECH_ERR_NULL_ARGUMENT;
  if (handle == nullptr) return SPEECH_ERR_BAD_HANDLE;
  if (ModeOf(modes->bitRate) == 0) return SPEECH_ERR_BAD_BIT_RATE;
  auto* g726 = static_cast<G726Handle*>(handle);
  g726->frameSize = kDefaultFrameSize;
  return StartState(g726, modes->bitRate);
}

int32_t Control(const SpeechCodecModes* modes, void* handle) {
  if (modes == nullptr) return SPEECH_ERR_NULL_ARGUMENT;
  if (handle == nullptr) return SPEECH_ERR_BAD_HANDLE;
  return SPEECH_OK;
}

int32_t Encode(void* handle, SpeechPcmStream* pcm, SpeechBitstream* bits) {
  if (pcm == nullptr) return SPEECH_ERR_NULL_ARGUMENT;
  if (handle == nullptr) return SPEECH_ERR_BAD_HANDLE;
  if (pcm->byteCount <= 0) return SPEECH_ERR_FAILED;
  if (pcm->data == nullptr || bits == nullptr || bits->data == nullptr)
    return SPEECH_ERR_NULL_ARGUMENT;
  auto* g726 = static_cast<G726Handle*>(handle);
  if (g726->direction != 0) return SPEECH_ERR_FAILED;
  const int32_t status = FollowRate(g726, pcm->bitRate);
  if (status != SPEECH_OK) return status;

  const int32_t k = BitsPerCode(pcm->bitRate);
  const auto* from = reinterpret_cast<const uint8_t*>(pcm->data);
  uint8_t* to = bits->data;
  alignas(16) int16_t samples[kRunSamples];
  alignas(16) uint8_t codes[kRunSamples];
  for (int32_t left = pcm->byteCount; left > 0;) {
    const int32_t blocks = left >= kRunBlocks * kG726BlockPcmBytes ? kRunBlocks : 1;
    const int32_t count = blocks * kG726BlockSamples;
    const int32_t bytes = std::min(left, blocks * kG726BlockPcmBytes);
    if (bytes < kG726BlockPcmBytes) std::memset(samples, 0, kG726BlockPcmBytes);
    std::memcpy(samples, from, static_cast<size_t>(bytes));
    for (int32_t i = 0; i < count; ++i) samples[i] = static_cast<int16_t>(samples[i] >> 2);
    if (dspEncodeG726_16s8u(&g726->encoder, samples, codes, count) != kDspOk)
      return SPEECH_ERR_FAILED;
    G726Pack(k, codes, to, blocks);
    from += bytes;
    left -= bytes;
    to += blocks * k;
  }
  bits->frameType = FrameNoData;
  bits->bitRate = pcm->bitRate;
  bits->byteCount = static_cast<int32_t>(to - bits->data);
  return SPEECH_OK;
}

// The samples of a frame that did not arrive: the state runs on through codes 0.
int32_t DecodeLost(G726Handle* g726, SpeechPcmStream* pcm) {
  const int32_t frameSize = std::max(g726->frameSize, 0);
  alignas(16) const uint8_t codes[kRunSamples] = {};
  for (int32_t done = 0, total = frameSize / 2; done < total;) {
    const int32_t count = std::min(total - done, kRunSamples);
    if (dspDecodeG726_8u16s(&g726->decoder, codes, pcm->data + done, count) != kDspOk)
      return SPEECH_ERR_FAILED;
    done += count;
  }
  pcm->bitRate = g726->bitRate;
  pcm->byteCount = frameSize;
  return SPEECH_OK;
}

int32_t Decode(void* handle, SpeechBitstream* bits, SpeechPcmStream* pcm) {
  if (pcm == nullptr) return SPEECH_ERR_NULL_ARGUMENT;
  if (handle == nullptr) return SPEECH_ERR_BAD_HANDLE;
  const bool hasInput = bits == nullptr || bits->byteCount > 0;
  if (hasInput && (pcm->data == nullptr || (bits != nullptr && bits->data == nullptr)))
    return SPEECH_ERR_NULL_ARGUMENT;
  auto* g726 = static_cast<G726Handle*>(handle);
  if (g726->direction != 1) return SPEECH_ERR_FAILED;
  if (bits == nullptr) return DecodeLost(g726, pcm);
  const int32_t status = FollowRate(g726, bits->bitRate);
  if (status != SPEECH_OK) return status;

  const int32_t k = BitsPerCode(bits->bitRate);
  // The whole blocks of the input, as many as the frame size allows.
  const int32_t most = std::max(g726->frameSize >> 4, 0);
  const int32_t blocks =
      bits->byteCount >= int64_t{most} * k ? most : std::max(bits->byteCount, 0) / k;
  bits->byteCount = blocks * k;
  pcm->byteCount = 0;
  const uint8_t* from = bits->data;
  int16_t* to = pcm->data;
  alignas(16) uint8_t codes[kRunSamples];
  for (int32_t left = blocks; left > 0;) {
    const int32_t run = left >= kRunBlocks ? kRunBlocks : 1;
    const int32_t count = run * kG726BlockSamples;
    G726Unpack(k, from, codes, run);
    if (dspDecodeG726_8u16s(&g726->decoder, codes, to, count) != kDspOk) return SPEECH_ERR_FAILED;
    pcm->byteCount += run * kG726BlockPcmBytes;
    from += run * k;
    to += count;
    left -= run;
  }
  pcm->bitRate = bits->bitRate;
  return SPEECH_OK;
}

int32_t GetOutputSize(const SpeechCodecOptions* options, int32_t bitRate, int32_t sourceBytes,
                      int32_t* destinationBytes) {
  if (options == nullptr || destinationBytes == nullptr) return SPEECH_ERR_NULL_ARGUMENT;
  if (sourceBytes < 1) return SPEECH_ERR_FAILED;
  if (ModeOf(bitRate) == 0) return SPEECH_ERR_BAD_BIT_RATE;
  if (options->modes.vad > 0) return SPEECH_ERR_BAD_MODE;
  const int32_t k = BitsPerCode(bitRate);
  const int32_t samples = sourceBytes / 2;
  const int32_t wholeBlocks = samples / kG726BlockSamples;
  const int32_t blocks = wholeBlocks + (samples % kG726BlockSamples != 0 ? 1 : 0);
  int64_t bytes = 0;
  switch (options->direction) {
    case 0:
      bytes = wholeBlocks == 0 ? 0 : int64_t{blocks} * k;
      break;
    case 1:
      bytes = int64_t{sourceBytes / k} * kG726BlockPcmBytes;
      break;
    case 2:
      bytes = wholeBlocks == 0 ? 0 : int64_t{blocks} * kG726BlockPcmBytes;
      break;
    default:
      break;
  }
  if (bytes == 0 || bytes > INT32_MAX) return SPEECH_ERR_FAILED;
  *destinationBytes = static_cast<int32_t>(bytes);
  return SPEECH_OK;
}

int32_t SetFrameSize(const SpeechCodecOptions* options, void* handle, int32_t frameSize) {
  if (options == nullptr) return SPEECH_ERR_NULL_ARGUMENT;
  if (handle == nullptr) return SPEECH_ERR_BAD_HANDLE;
  if (frameSize >= 0 && frameSize <= kDefaultFrameSize) return SPEECH_ERR_FAILED;
  static_cast<G726Handle*>(handle)->frameSize = frameSize & ~15;
  return SPEECH_OK;
}

static_assert(alignof(G726Handle) <= kSpeechBankAlignment);

}  // namespace

constexpr SpeechCodecFunctions kSpeechCodecG726 = {0,
                                                   SpeechGetInfoSize,
                                                   GetInfo,
                                                   SpeechGetBankCount,
                                                   GetBankSizes,
                                                   Init,
                                                   Reinit,
                                                   Control,
                                                   Encode,
                                                   Decode,
                                                   GetOutputSize,
                                                   SetFrameSize};

}  // namespace orbel
