#include "tools/adts_input.h"

#include <algorithm>

#include "aac/sampling_tables.h"

namespace orbel::tool {
namespace {

constexpr size_t kMostFrameBytes = 8191;
// How far one look for a frame reaches.
constexpr size_t kWindowBytes = 16384;
// Raw data blocks of one channel have 6144 bits at most.
constexpr size_t kBlockBytesPerChannel = 768;

std::optional<AdtsHead> HeadAt(std::span<const uint8_t> bytes, size_t at) {
  if (at > bytes.size()) return std::nullopt;
  return ParseAdtsHead(bytes.subspan(at));
}

// Whether `count` frames of one stream follow each other from `at`. The data's
// own end, where the bytes reach to it, stands for all that would follow.
bool IsChain(std::span<const uint8_t> bytes, size_t at, int count, bool reachesEnd) {
  const auto first = HeadAt(bytes, at);
  for (int i = 0; i < count; ++i) {
    const auto head = HeadAt(bytes, at);
    if (!head || !head->IsSameStream(*first)) return false;
    at += head->length;
    if (at == bytes.size() && reachesEnd) return i > 0 || count < 3;
  }
  return true;
}

// What the decoder accepts as a frame's length: bytes of payload and bits of
// header, added up.
size_t MostLength(const AdtsHead& head) {
  const size_t channels = head.channels == 7 ? 8 : head.channels;
  return channels * kBlockBytesPerChannel + 8 * head.Bytes();
}

// One block a frame, a channel configuration, a length that it may have.
bool IsPlain(const AdtsHead& head) {
  return head.blocks == 1 && head.channels != 0 && head.length <= MostLength(head);
}

}  // namespace

bool AdtsHead::IsSameStream(const AdtsHead& other) const {
  return id == other.id && profile == other.profile && index == other.index &&
         channels == other.channels;
}

std::optional<AdtsHead> ParseAdtsHead(std::span<const uint8_t> bytes) {
  if (bytes.size() < kAdtsHeadBytes || bytes[0] != 0xFF || (bytes[1] & 0xF6) != 0xF0)
    return std::nullopt;
  AdtsHead head = {};
  head.id = bytes[1] >> 3 & 1u;
  head.crc = (bytes[1] & 1) == 0;
  head.profile = bytes[2] >> 6;
  head.index = bytes[2] >> 2 & 15u;
  head.channels = (bytes[2] & 1u) << 2 | bytes[3] >> 6;
  head.length = (bytes[3] & 3u) << 11 | static_cast<size_t>(bytes[4]) << 3 | bytes[5] >> 5;
  head.blocks = (bytes[6] & 3u) + 1;
  if (head.index > 12 || head.length <= head.Bytes()) return std::nullopt;
  return head;
}

std::optional<size_t> AdtsInput::Find(InputFile* file, size_t window) {
  // At once where the first frame starts here: a pipe may not have more yet.
  const auto first = ParseAdtsHead(file->Peek(kAdtsHeadBytes));
  if (first) {
    const auto bytes = file->Peek(first->length + kAdtsHeadBytes);
    if (IsChain(bytes, 0, 2, bytes.size() < first->length + kAdtsHeadBytes)) return 0;
  }
  const size_t wanted = window + 3 * kMostFrameBytes;
  const auto bytes = file->Peek(wanted);
  for (size_t at = 0; at < std::min(window, bytes.size()); ++at)
    if (bytes[at] == 0xFF && IsChain(bytes, at, 3, bytes.size() < wanted)) return at;
  return std::nullopt;
}

AdtsInput::AdtsInput(std::unique_ptr<InputFile> file) : AacInput(std::move(file)) {
  auto head = ParseAdtsHead(file_->Peek(kAdtsHeadBytes));
  if (!head && Resync()) head = ParseAdtsHead(file_->Peek(kAdtsHeadBytes));
  if (head) Enter(*head, file_->Peek(head->length));
  Entitle("ADTS", head && head->id == 1 ? "MPEG-2" : "MPEG-4");
}

bool AdtsInput::MayWait() const {
  if (blocksLeft_ > 0 || file_->Size()) return false;
  if (file_->MayWaitFor(kAdtsHeadBytes)) return true;
  const auto head = ParseAdtsHead(file_->Peek(kAdtsHeadBytes));
  return !head || file_->MayWaitFor(head->length);
}

// What a decoder that starts with this frame needs to know.
void AdtsInput::Enter(const AdtsHead& head, std::span<const uint8_t> bytes) {
  head_.objectType = static_cast<int32_t>(head.profile) + 1;
  head_.rateIndex = static_cast<int32_t>(head.index);
  head_.rate = static_cast<uint32_t>(SamplingFrequency(head_.rateIndex));
  head_.channelConfiguration = static_cast<int32_t>(head.channels);
  head_.pce.reset();
  if (head.channels != 0 || bytes.size() <= head.Bytes()) return;
  BitReader reader;
  BitReaderInit(&reader, &bytes[head.Bytes()], bytes.size() - head.Bytes());
  constexpr uint32_t kProgramConfig = 5;
  if (GetBits(&reader, 3) != kProgramConfig) return;
  head_.pce.emplace();
  ProgramConfigElementParse(&*head_.pce, &reader);
}

// Moves to the next frame that is followed by one like it. False at the end.
bool AdtsInput::Resync() {
  if (skips_++ == 0) skippedAt_ = file_->Position();
  for (;;) {
    const size_t wanted = kWindowBytes + 2 * kMostFrameBytes;
    const auto bytes = file_->Peek(wanted);
    const bool reachesEnd = bytes.size() < wanted;
    const size_t most = std::min(kWindowBytes, bytes.size());
    size_t at = 0;
    while (at < most && !(bytes[at] == 0xFF && IsChain(bytes, at, 2, reachesEnd))) ++at;
    file_->Take(at);
    skipped_ += at;
    if (at < most) return true;
    if (at == 0) return false;
  }
}

// The bytes of the frame here. They are fewer than the header tells when a
// damaged length runs over the start of the next frame. A pipe is not kept
// waiting to find out.
size_t AdtsInput::Whole(const AdtsHead& head) {
  const size_t wanted = head.length + kAdtsHeadBytes;
  if (file_->MayWaitFor(wanted)) return head.length;
  const auto bytes = file_->Peek(wanted);
  const bool reachesEnd = bytes.size() < wanted;
  const auto next = HeadAt(bytes, head.length);
  if ((reachesEnd && bytes.size() >= head.length) || (next && next->IsSameStream(head)))
    return head.length;
  const auto ahead = file_->Peek(head.length + 2 * kMostFrameBytes);
  const bool aheadReachesEnd = ahead.size() < head.length + 2 * kMostFrameBytes;
  for (size_t at = kAdtsHeadBytes; at < std::min(head.length, ahead.size()); ++at) {
    const auto found = HeadAt(ahead, at);
    if (found && found->IsSameStream(head) && IsChain(ahead, at, 2, aheadReachesEnd)) return at;
  }
  return head.length;
}

bool AdtsInput::Next(AacFrame* frame) {
  *frame = {};
  if (blocksLeft_ > 0) {
    NextBlock(frame);
    return true;
  }
  auto head = ParseAdtsHead(file_->Peek(kAdtsHeadBytes));
  const bool isNew = !head || !stream_ || !head->IsSameStream(*stream_);
  // Another stream is believed when a second frame of it follows.
  if (isNew && !ended_) {
    const size_t wanted = head ? head->length + kAdtsHeadBytes : 0;
    const auto bytes = file_->Peek(wanted);
    if (!head || !IsChain(bytes, 0, 2, bytes.size() < wanted)) {
      if (!file_->Peek(1).empty() && Resync())
        head = ParseAdtsHead(file_->Peek(kAdtsHeadBytes));
      else
        head.reset();
    }
  }
  if (!head) {
    if (!ended_) NoteSkipped();
    ended_ = true;
    return false;
  }
  frame->position = file_->Position();
  const size_t size = Whole(*head);
  const auto bytes = file_->Take(size);
  if (bytes.size() < size) {
    Note("ends within a frame: " + std::to_string(bytes.size()) + " of its " +
             std::to_string(size) + " bytes are there",
         frame->position);
    if (!ended_) NoteSkipped();
    ended_ = true;
    return false;
  }
  frame->opens = !stream_ || !head->IsSameStream(*stream_);
  if (frame->opens) Enter(*head, bytes);
  stream_ = head;
  if (IsPlain(*head)) {
    frame->bytes = bytes;
    frame->headBytes = head->Bytes();
    return true;
  }
  frame_.assign(bytes.begin(), bytes.end());
  framePosition_ = frame->position;
  blocksLeft_ = head->blocks;
  blockAt_ = head->Bytes();
  blockCrc_ = head->crc && head->blocks > 1;
  NextBlock(frame);
  return true;
}

// Puts a header of its own in front of the next block, over what is there: one
// block in the frame, no check sum, and a length that the decoder accepts. It
// uses that length for nothing else, and finds the block's end itself.
void AdtsInput::NextBlock(AacFrame* frame) {
  --blocksLeft_;
  frame->position = framePosition_;
  if (blockAt_ == 0 || blockAt_ >= frame_.size()) return;
  AdtsHead head = *stream_;
  head.crc = false;
  head.blocks = 1;
  const size_t start = blockAt_ - kAdtsHeadBytes;
  const size_t length = std::min(frame_.size() - start, MostLength(head));
  uint8_t* const to = &frame_[start];
  to[0] = 0xFF;
  to[1] = static_cast<uint8_t>(0xF1 | head.id << 3);
  to[2] = static_cast<uint8_t>(head.profile << 6 | head.index << 2 | head.channels >> 2);
  to[3] = static_cast<uint8_t>(head.channels << 6 | length >> 11);
  to[4] = static_cast<uint8_t>(length >> 3);
  to[5] = static_cast<uint8_t>(length << 5 | 0x1F);
  to[6] = 0xFC;
  frame->position = framePosition_ + blockAt_;
  frame->bytes = std::span(frame_).subspan(start);
  frame->headBytes = kAdtsHeadBytes;
  frame->isExact = blocksLeft_ == 0;
}

bool AdtsInput::PeekFrame(uint64_t position, AacFrame* frame) {
  const size_t skipped = position - file_->Position();
  const auto head = HeadAt(file_->Peek(skipped + kAdtsHeadBytes), skipped);
  if (!head || !stream_ || !head->IsSameStream(*stream_)) return false;
  const auto bytes = file_->Peek(skipped + head->length);
  if (bytes.size() < skipped + head->length) return false;
  *frame = {bytes.subspan(skipped), position, head->Bytes(), false, true};
  return true;
}

bool AdtsInput::Took(size_t bytes, bool good) {
  if (blocksLeft_ == 0) return true;
  if (!good || bytes <= kAdtsHeadBytes)
    blockAt_ = 0;
  else
    blockAt_ += bytes - kAdtsHeadBytes + (blockCrc_ ? 2 : 0);
  return true;
}

void AdtsInput::NoteSkipped() {
  if (skipped_ > 0)
    Note("bytes that are in no frame: " + std::to_string(skipped_) + ", in " +
             std::to_string(skips_) + (skips_ == 1 ? " place" : " places, the first"),
         skippedAt_);
}

}  // namespace orbel::tool
