// Decoded sound: interleaved samples and what is known of them.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace orbel::tool {

// As WAV files hold them: low byte first, 8 bits without a sign (128 is silence).
enum class SampleFormat { kU8, kS16, kS24, kS32, kFloat };

uint32_t BytesOf(SampleFormat format);

struct PcmForm {
  uint32_t rate = 0;
  uint32_t channels = 0;
  // Loudspeakers as WAV files name them; the samples are in the order of its
  // bits. 0: not known, and the samples are in the decoder's order.
  uint32_t mask = 0;
  SampleFormat format = SampleFormat::kS16;

  bool operator==(const PcmForm&) const = default;
  uint32_t FrameBytes() const { return channels * BytesOf(format); }
  // "48000 Hz, 6 channels", and the format where it is not 16 bits.
  std::string Text() const;
};

struct PcmBlock {
  std::span<const uint8_t> pcm;  // interleaved, never empty; valid until the next call
  PcmForm form;
  uint64_t position = 0;    // of the first coded byte
  uint64_t codedBytes = 0;  // of the input, headers included

  uint64_t Frames() const { return pcm.size() / std::max(form.FrameBytes(), 1U); }
  double Seconds() const { return static_cast<double>(Frames()) / form.rate; }
};

inline std::span<const uint8_t> AsBytes(std::span<const int16_t> pcm) {
  return {reinterpret_cast<const uint8_t*>(pcm.data()), pcm.size_bytes()};
}

// The sample at `bytes`, full scale being 1. A float that is no number is 0.
double SampleAt(SampleFormat format, const uint8_t* bytes);

// Samples of any format rounded to 16 bits. The result is valid until the next
// call, and as long as `pcm`.
class SixteenBits {
 public:
  std::span<const int16_t> Of(SampleFormat format, std::span<const uint8_t> pcm);

 private:
  std::vector<int16_t> samples_;
};

}  // namespace orbel::tool
