#include "tools/speech_codec.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "tools/failure.h"

namespace orbel::tool {
namespace {

constexpr int32_t kSampleBytes = sizeof(int16_t);
// PCM bytes that one call of G.726 may make: as many as there are.
constexpr int32_t kNoLimit = 0x7FFFFFF0;

const SpeechCodecFunctions& FunctionsOf(const Format& format) {
  if (format.IsG726()) return kSpeechCodecG726;
  return std::string(format.key) == "alaw" ? kSpeechCodecG711A : kSpeechCodecG711U;
}

}  // namespace

void SpeechCodec::Free::operator()(void* memory) const { std::free(memory); }

SpeechCodec::SpeechCodec(const Format& format, Direction direction, bool silence, std::string name)
    : name_(std::move(name)),
      functions_(FunctionsOf(format)),
      bitRate_(static_cast<int32_t>(format.bitsPerSample * kTelephonyRate)) {
  SpeechCodecInfo info = {};
  functions_.GetInfo(nullptr, &info);
  info.options.direction = direction == Direction::kEncode ? 0 : 1;
  info.options.law = 0;
  info.options.modes = {bitRate_, 0, silence ? 1 : 0, 0, silence ? 1 : 0};
  SpeechMemBank bank = {};
  functions_.GetBankSizes(&info.options, &bank);
  const auto alignment = static_cast<size_t>(bank.alignment);
  const size_t size = (static_cast<size_t>(bank.size) + alignment - 1) / alignment * alignment;
  bank_.reset(std::aligned_alloc(alignment, size));
  if (!bank_) throw std::bad_alloc();
  std::memset(bank_.get(), 0, size);
  bank.memory = bank_.get();
  const int32_t status = functions_.Init(&info.options, &bank, &handle_);
  if (status != SPEECH_OK)
    throw FailureIn(name_, "the codec can't be set up (status " + std::to_string(status) + ")");
  if (format.IsG726()) functions_.SetFrameSize(&info.options, handle_, kNoLimit);
}

SpeechCodec::Coded SpeechCodec::Encode(std::span<const int16_t> pcm, uint64_t position) {
  samples_.assign(pcm.begin(), pcm.end());
  bytes_.resize(pcm.size() + 8);  // a block more than the largest code needs
  SpeechPcmStream in = {samples_.data(), static_cast<int32_t>(pcm.size_bytes()),
                        static_cast<int32_t>(kTelephonyRate), 16, bitRate_};
  SpeechBitstream out = {bytes_.data(), 0, FrameSpeech, bitRate_};
  const int32_t status = functions_.Encode(handle_, &in, &out);
  if (status != SPEECH_OK)
    throw FailureAt(name_, "the codec refuses a frame (status " + std::to_string(status) + ")",
                    position);
  return {std::span(bytes_).first(static_cast<size_t>(out.byteCount)), out.frameType};
}

std::span<const int16_t> SpeechCodec::Run(SpeechBitstream bits, size_t samples, uint64_t position) {
  samples_.resize(samples);
  SpeechPcmStream out = {samples_.data(), 0, 0, 0, 0};
  const int32_t status = functions_.Decode(handle_, &bits, &out);
  if (status != SPEECH_OK || out.byteCount != static_cast<int32_t>(samples) * kSampleBytes)
    throw FailureAt(name_,
                    "the codec refuses a frame of type " + std::to_string(bits.frameType) +
                        " (status " + std::to_string(status) + ")",
                    position);
  return samples_;
}

std::span<const int16_t> SpeechCodec::Decode(std::span<const uint8_t> bytes, uint64_t position) {
  const size_t samples = bytes.size() * 8 * kTelephonyRate / static_cast<size_t>(bitRate_);
  return Run({const_cast<uint8_t*>(bytes.data()), static_cast<int32_t>(bytes.size()), FrameSpeech,
              bitRate_},
             samples, position);
}

std::span<const int16_t> SpeechCodec::DecodeFrame(int32_t frameType, std::span<const uint8_t> bytes,
                                                  uint64_t position) {
  bytes_.assign(bytes.begin(), bytes.end());
  bytes_.resize(kSpeechFrameSamples);  // frames of no bytes have an address, too
  return Run({bytes_.data(), static_cast<int32_t>(bytes.size()), frameType, bitRate_},
             kSpeechFrameSamples, position);
}

}  // namespace orbel::tool
