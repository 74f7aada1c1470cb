#include "tools/pcm_block.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace orbel::tool {
namespace {

// Bits 31 to 0 of an integer sample, whatever its size, as a fraction.
double Fraction(uint32_t topBits) { return static_cast<int32_t>(topBits) / 2147483648.0; }

uint32_t Word(const uint8_t* bytes) {
  uint32_t word;
  std::memcpy(&word, bytes, sizeof word);
  return word;
}

}  // namespace

uint32_t BytesOf(SampleFormat format) {
  switch (format) {
    case SampleFormat::kU8:
      return 1;
    case SampleFormat::kS16:
      return 2;
    case SampleFormat::kS24:
      return 3;
    case SampleFormat::kS32:
    case SampleFormat::kFloat:
      break;
  }
  return 4;
}

std::string PcmForm::Text() const {
  std::string text = std::to_string(rate) + " Hz, " + std::to_string(channels) +
                     (channels == 1 ? " channel" : " channels");
  if (format == SampleFormat::kFloat) return text + ", 32-bit float";
  if (format != SampleFormat::kS16) text += ", " + std::to_string(8 * BytesOf(format)) + " bits";
  return text;
}

double SampleAt(SampleFormat format, const uint8_t* bytes) {
  switch (format) {
    case SampleFormat::kU8:
      return (bytes[0] - 128) / 128.0;
    case SampleFormat::kS16:
      return Fraction(static_cast<uint32_t>(bytes[0]) << 16 | static_cast<uint32_t>(bytes[1])
                                                                  << 24);
    case SampleFormat::kS24:
      return Fraction(static_cast<uint32_t>(bytes[0]) << 8 | static_cast<uint32_t>(bytes[1]) << 16 |
                      static_cast<uint32_t>(bytes[2]) << 24);
    case SampleFormat::kS32:
      return Fraction(Word(bytes));
    case SampleFormat::kFloat:
      break;
  }
  float value;
  std::memcpy(&value, bytes, sizeof value);
  return std::isnan(value) ? 0 : value;
}

std::span<const int16_t> SixteenBits::Of(SampleFormat format, std::span<const uint8_t> pcm) {
  const size_t step = BytesOf(format);
  samples_.resize(pcm.size() / step);
  if (format == SampleFormat::kS16) {
    std::memcpy(samples_.data(), pcm.data(), samples_.size() * sizeof(int16_t));
    return samples_;
  }
  const uint8_t* from = pcm.data();
  for (int16_t& sample : samples_) {
    const double scaled = std::floor(SampleAt(format, from) * 32768 + 0.5);
    sample = static_cast<int16_t>(std::clamp(scaled, -32768.0, 32767.0));
    from += step;
  }
  return samples_;
}

}  // namespace orbel::tool
