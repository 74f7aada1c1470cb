#include "tools/block_input.h"

#include <algorithm>

namespace orbel::tool {

BlockInput::BlockInput(std::unique_ptr<InputFile> file, const Format& format, int32_t sampleBytes,
                       const char* container, std::optional<uint64_t> length,
                       std::vector<std::string> notes)
    : file_(std::move(file)), format_(format), left_(length) {
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
  const size_t whole = static_cast<size_t>(form_.sampleBytes);
  const size_t wanted = std::min<uint64_t>(whole, left_.value_or(whole));
  const auto bytes = file_->Take(wanted);
  const size_t got = bytes.size();
  if (left_) *left_ -= got;
  if (got < wanted && left_) {
    Note("ends " + std::to_string(*left_) + " bytes early", file_->Position());
    left_ = 0;
  }
  if (got < whole) NoteTail(got);
  const uint64_t samples = SamplesIn(format_, form_.sampleBytes, got);
  if (samples == 0) return false;
  *unit = {bytes.data(), form_.sampleBytes, position, got, samples};
  if (got == whole) return true;
  padded_.assign(bytes.begin(), bytes.end());
  padded_.resize(whole, format_.silence);
  unit->data = padded_.data();
  return true;
}

bool BlockInput::MayWait() const {
  return file_->MayWaitFor(static_cast<size_t>(form_.sampleBytes));
}

// Says what of the last `got` bytes is no whole block.
void BlockInput::NoteTail(size_t got) {
  const uint64_t end = file_->Position();
  if (format_.blockOverhead > 0) {
    if (got > 0 && got <= format_.blockOverhead)
      Note("ends within a block header; bytes left over: " + std::to_string(got), end - got);
    return;
  }
  const size_t rest = got % static_cast<size_t>(format_.grain);
  const uint64_t spareBits = uint64_t{rest} * 8 % format_.bitsPerSample;
  if (spareBits > 0)
    Note("ends within a block of " + std::to_string(format_.grain) + " bytes; left over: bytes " +
             std::to_string(rest) + ", samples in them " +
             std::to_string(SamplesIn(format_, form_.sampleBytes, rest)) + ", spare bits " +
             std::to_string(spareBits),
         end - rest);
}

Unit BlockInput::Silence() {
  // A silent block's header: the smallest step.
  padded_.assign(format_.blockOverhead, 0);
  padded_.resize(static_cast<size_t>(form_.sampleBytes), format_.silence);
  return {padded_.data(), form_.sampleBytes, file_->Position(), 0,
          SamplesIn(format_, form_.sampleBytes, padded_.size())};
}

}  // namespace orbel::tool
