#include "dmo/audio_decoder.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace orbel {
namespace {

constexpr uint16_t kTagIma = 10005;

constexpr SpeechFormat kSpeechFormats[] = {
    {495, &kSpeechCodecG711U, 64000, 80, 160},
    {496, &kSpeechCodecG711A, 64000, 80, 160},
    {751, &kSpeechCodecG726, 32000, 4, 16},
    {1007, &kSpeechCodecG726, 24000, 3, 16},
};
constexpr uint32_t kMostFrameBytes = 80;
constexpr uint32_t kMostPcmBytes = 160;

const SpeechFormat* FindFormat(uint32_t tag) {
  for (const SpeechFormat& format : kSpeechFormats)
    if (format.tag == tag) return &format;
  return nullptr;
}

constexpr uint32_t kStreamFlags = DMO_STREAMF_WHOLE_SAMPLES | DMO_STREAMF_SINGLE_SAMPLE_PER_BUFFER |
                                  DMO_STREAMF_FIXED_SAMPLE_SIZE;

}  // namespace

HRESULT CreateAudioDecoder(const GUID& iid, void** object) noexcept {
  auto* decoder = new (std::nothrow) Caudiodecoder;
  if (decoder == nullptr) return E_OUTOFMEMORY;
  const HRESULT result = decoder->QueryInterface(iid, object);
  decoder->Release();
  return result;
}

constexpr MediaObjectBase::Traits Caudiodecoder::kTraits = {IID_Iaudiodecoder, kStreamFlags, 192};

Caudiodecoder::Caudiodecoder() noexcept : MediaObjectBase(kTraits) {}

Caudiodecoder::~Caudiodecoder() { FreeBanks(); }

void Caudiodecoder::FreeBanks() noexcept {
  for (int32_t i = 0; i < bankCount_ && banks_ != nullptr; ++i)
    ::operator delete (banks_[i].memory,
                       std::align_val_t{static_cast<size_t>(std::max(banks_[i].alignment, 1))});
  delete[] banks_;
  banks_ = nullptr;
  bankCount_ = 0;
  codecHandle_ = nullptr;
}

bool Caudiodecoder::TakesTag(uint32_t tag) const noexcept {
  return tag == kTagIma || FindFormat(tag) != nullptr;
}

Caudiodecoder::OutputForm Caudiodecoder::OutputFor(const DMO_MEDIA_TYPE& input) const noexcept {
  const uint64_t n = input.sampleSize;
  uint64_t bytes = 0;
  switch (WaveTagOf(input.subtype)) {
    case 495:
    case 496:
      bytes = 2 * n;
      break;
    case 751:
      bytes = 4 * n;
      break;
    case 1007:
      bytes = n * 16 / 3;
      break;
    case kTagIma:
      bytes = n > kImaHeaderBytes ? 4 * (n - kImaHeaderBytes) : 0;
      break;
    default:
      break;
  }
  // A size that 32 bits can't hold is one that no buffer can hold either.
  return {static_cast<uint32_t>(std::min<uint64_t>(bytes, UINT32_MAX)), 8000};
}

HRESULT Caudiodecoder::Prepare(const uint8_t*, uint32_t) noexcept {
  if (!codecTried_) {
    uint16_t tag = 0;
    if (InputType().format != nullptr && InputType().formatSize >= sizeof tag)
      std::memcpy(&tag, InputType().format, sizeof tag);
    formatTag_ = tag;
    if (formatTag_ == kTagIma) {
      adpcmStarted_ = false;
      codecReady_ = true;
    } else if ((format_ = FindFormat(formatTag_)) != nullptr) {
      const HRESULT result = SetUpCodec();
      if (result == E_OUTOFMEMORY) return result;  // the next input tries again
      codecReady_ = result == S_OK;
    }
    codecTried_ = true;
  }
  return codecReady_ ? S_OK : E_FAIL;
}

HRESULT Caudiodecoder::SetUpCodec() noexcept {
  const SpeechFormat& format = *format_;
  codecTable_ = format.table;
  if (codecTable_->GetInfo(nullptr, &codecInfo_) != SPEECH_OK) return E_FAIL;
  SpeechCodecOptions& options = codecInfo_.options;
  options.direction = 1;
  options.law = 0;  // linear: PCM out, whatever the codec's default is
  options.modes.vad = 0;
  options.modes.reserved2 = 0;
  options.modes.postFilter = 0;
  options.modes.bitRate = format.bitRate;

  int32_t count = 0;
  codecTable_->GetBankCount(&options, &count);
  if (count < 0) return E_FAIL;
  banks_ = new (std::nothrow) SpeechMemBank[static_cast<size_t>(count)]();
  if (banks_ == nullptr) return E_OUTOFMEMORY;
  bankCount_ = count;
  codecTable_->GetBankSizes(&options, banks_);
  for (int32_t i = 0; i < bankCount_; ++i) {
    const auto size = static_cast<size_t>(std::max(banks_[i].size, 1));
    const auto alignment = static_cast<size_t>(std::max(banks_[i].alignment, 1));
    banks_[i].memory = ::operator new (size, std::align_val_t{alignment}, std::nothrow);
    if (banks_[i].memory == nullptr) {
      FreeBanks();
      return E_OUTOFMEMORY;
    }
    std::memset(banks_[i].memory, 0, size);
  }
  codecTable_->Init(&options, banks_, &codecHandle_);
  codecTable_->GetOutputSize(&options, format.bitRate, static_cast<int32_t>(InputType().sampleSize),
                             &outputSizeHint_);
  return S_OK;
}

HRESULT Caudiodecoder::Decode(const Input& input, uint8_t* output, uint32_t room,
                              uint32_t* used) noexcept {
  *used = room;
  return formatTag_ == kTagIma ? DecodeAdpcm(input, output, room)
                               : DecodeSpeech(input, output, room);
}

// Decodes as many bytes as the input type promises. A frame that the input does
// not hold whole, or that the output has no room for, goes through a frame of
// this function's own: missing bytes read as zero, PCM without room is dropped,
// and output that no code gave is zero.
HRESULT Caudiodecoder::DecodeSpeech(const Input& input, uint8_t* output, uint32_t room) noexcept {
  const SpeechFormat& format = *format_;
  alignas(16) uint8_t codedFrame[kMostFrameBytes];
  alignas(16) uint8_t pcmFrame[kMostPcmBytes];
  const bool aligned = reinterpret_cast<uintptr_t>(output) % alignof(int16_t) == 0;
  uint32_t consumed = 0;
  uint32_t produced = 0;
  while (consumed < input.sampleSize) {
    const uint32_t wanted = input.sampleSize - consumed;
    const uint32_t there = consumed < input.length ? input.length - consumed : 0;
    const uint32_t space = room - produced;
    if (there == 0 && space == 0) break;  // zeros to decode, nowhere to put them

    SpeechBitstream bits = {};
    if (there >= format.frameBytes) {
      bits.data = const_cast<uint8_t*>(input.data + consumed);
    } else {
      std::memset(codedFrame, 0, sizeof codedFrame);
      if (there > 0) std::memcpy(codedFrame, input.data + consumed, there);
      bits.data = codedFrame;
    }
    bits.byteCount = static_cast<int32_t>(std::min(wanted, format.frameBytes));
    bits.frameType = FrameSpeech;
    bits.bitRate = format.bitRate;
    const bool direct = aligned && space >= format.pcmBytes;
    SpeechPcmStream pcm = {};
    pcm.data = reinterpret_cast<int16_t*>(direct ? output + produced : pcmFrame);

    if (codecTable_->Decode(codecHandle_, &bits, &pcm) != SPEECH_OK) return E_FAIL;
    const auto made = std::min(static_cast<uint32_t>(std::clamp(pcm.byteCount, 0, 160)), space);
    if (!direct) std::memcpy(output + produced, pcmFrame, made);
    produced += made;
    if (bits.byteCount <= 0) break;
    // A part frame takes a whole one's bytes.
    consumed += std::min(static_cast<uint32_t>(bits.byteCount), wanted);
  }
  if (produced < room) std::memset(output + produced, 0, room - produced);
  return S_OK;
}

HRESULT Caudiodecoder::DecodeAdpcm(const Input& input, uint8_t* output, uint32_t room) noexcept {
  if (input.sampleSize < kImaHeaderBytes) return E_INVALIDARG;
  if (!adpcmStarted_) {
    adpcm_.predictor = 0;
    adpcmStarted_ = true;
  }
  ImaStartBlock(&adpcm_, input.length > 2 ? input.data[2] : uint8_t{0});

  constexpr uint32_t kChunk = 64;
  uint8_t codedChunk[kChunk];
  uint8_t pcmChunk[4 * kChunk];
  uint32_t consumed = kImaHeaderBytes;
  uint32_t produced = 0;
  while (consumed < input.sampleSize) {
    uint32_t now = input.sampleSize - consumed;
    const uint32_t there = consumed < input.length ? input.length - consumed : 0;
    const uint32_t space = room - produced;
    if (there == 0 && space == 0) break;
    const uint32_t whole = std::min({now, there, space / 4});
    if (whole > 0) {
      now = whole;
      ImaDecode(&adpcm_, input.data + consumed, now, output + produced);
      produced += 4 * now;
    } else {
      now = std::min(now, kChunk);
      std::memset(codedChunk, 0, sizeof codedChunk);
      if (there > 0) std::memcpy(codedChunk, input.data + consumed, std::min(now, there));
      ImaDecode(&adpcm_, codedChunk, now, pcmChunk);
      const uint32_t made = std::min(4 * now, space);
      std::memcpy(output + produced, pcmChunk, made);
      produced += made;
    }
    consumed += now;
  }
  if (produced < room) std::memset(output + produced, 0, room - produced);
  return S_OK;
}

}  // namespace orbel
