#include "tools/block_input.h"

#include <algorithm>

namespace orbel::tool {

BlockInput::BlockInput(std::unique_ptr<InputFile> file, const Format& format, int32_t sampleBytes,
                       const char* container, std::optional<uint64_t> length,
                       std::vector<std::string> notes)
    : file_(std::move(file)),
      format_(format),
      left_(length),
      bytes_(static_cast<size_t>(sampleBytes)) {
  notes_ = std::move(notes);
  form_.name = file_->Name();
  form_.format = format.key;
  form_.title = format.title;
  form_.container = container;
  form_.formatId = format.formatId;
  form_.sampleBytes = sampleBytes;
  form_.rate = kTelephonyRate;
  form_.dataStart = file_->Position();
  form_.codedBytes = length;
  if (!length && file_->Size()) form_.codedBytes = *file_->Size() - file_->Position();
  if (form_.codedBytes) form_.pcmSamples = SamplesIn(format, sampleBytes, *form_.codedBytes);
}

bool BlockInput::Next(Unit* unit) {
  const uint64_t position = file_->Position();
  const size_t wanted = std::min<uint64_t>(bytes_.size(), left_.value_or(bytes_.size()));
  const size_t got = file_->Read(bytes_.data(), wanted);
  if (left_) *left_ -= got;
  if (got < wanted && left_) {
    Note("ends " + std::to_string(*left_) + " bytes early", file_->Position());
    left_ = 0;
  }
  if (got < bytes_.size()) NoteTail(got);
  const uint64_t samples = SamplesIn(format_, form_.sampleBytes, got);
  if (samples == 0) return false;
  std::fill(bytes_.begin() + static_cast<ptrdiff_t>(got), bytes_.end(), format_.silence);
  *unit = {bytes_.data(), form_.sampleBytes, position, got, samples};
  return true;
}

// Says what of the last `got` bytes is no whole block.
void BlockInput::NoteTail(size_t got) {
  const uint64_t end = file_->Position();
  if (format_.blockOverhead > 0) {
    if (got > 0 && got <= format_.blockOverhead)
      Note("the last bytes, " + std::to_string(got) + ", are less than a block header and a code",
           end - got);
    return;
  }
  const uint64_t spareBits = uint64_t{got} * 8 % format_.bitsPerSample;
  const size_t rest = got % static_cast<size_t>(format_.grain);
  if (spareBits > 0)
    Note("the last bytes, " + std::to_string(rest) + ", are less than a block of " +
             std::to_string(format_.grain) + ": " +
             std::to_string(SamplesIn(format_, form_.sampleBytes, rest)) + " samples and " +
             std::to_string(spareBits) + " spare bits",
         end - rest);
}

Unit BlockInput::Silence() {
  std::fill(bytes_.begin(), bytes_.end(), format_.silence);
  // The header of a silent block: the smallest step.
  std::fill_n(bytes_.begin(), std::min<size_t>(format_.blockOverhead, bytes_.size()), uint8_t{0});
  return {bytes_.data(), form_.sampleBytes, file_->Position(), 0,
          SamplesIn(format_, form_.sampleBytes, bytes_.size())};
}

}  // namespace orbel::tool
