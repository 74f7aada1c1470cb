#include "tools/framed_speech.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "orbel/player.h"
#include "tools/failure.h"

namespace orbel::tool {
namespace {

constexpr uint8_t kMagic[] = {'O', 'R', 'B', 'V'};
constexpr uint8_t kVersion = 1;
constexpr uint32_t kNotKnown = 0xFFFFFFFF;
constexpr size_t kMostFrames = 100;  // of a block: a second

// The law's number.
uint8_t LawOf(const Format& format) { return format.formatId == ORBEL_FORMAT_ALAW ? 1 : 2; }

const Format* FormatOfLaw(uint8_t law) {
  return law == 1 ? FindFormat("alaw") : law == 2 ? FindFormat("mulaw") : nullptr;
}

int32_t CodecType(uint8_t type) { return type == kFramedLost ? int32_t{FrameLost} : type; }

}  // namespace

uint64_t FrameTypes::Bytes() const {
  return kFramedHeadBytes + All() + kSpeechFrameSamples * speech + 2 * descriptors;
}

int64_t FrameTypes::SavedBytes() const {
  return static_cast<int64_t>(kSpeechFrameSamples * All()) - static_cast<int64_t>(Bytes());
}

void FrameTypes::Count(uint8_t type) {
  ++(type == FrameSpeech ? speech : type == FrameSid ? descriptors : type == 0 ? nothing : lost);
}

std::optional<size_t> FramedBytes(uint8_t type) {
  switch (type) {
    case FrameSpeech:
      return kSpeechFrameSamples;
    case FrameSid:
      return 2;
    case FrameNoData:
    case kFramedLost:
      return 0;
    default:
      return std::nullopt;
  }
}

std::vector<uint8_t> MakeFramedHead(const Format& format, std::optional<uint64_t> frames) {
  std::vector<uint8_t> head = {kMagic[0], kMagic[1],     kMagic[2], kMagic[3],
                               kVersion,  LawOf(format), 0,         0};
  const auto count =
      static_cast<uint32_t>(std::min<uint64_t>(frames.value_or(kNotKnown), kNotKnown));
  for (int shift = 0; shift < 32; shift += 8) head.push_back(static_cast<uint8_t>(count >> shift));
  return head;
}

bool LooksLikeFramed(InputFile* file) {
  const auto bytes = file->Peek(sizeof kMagic);
  return std::equal(bytes.begin(), bytes.end(), std::begin(kMagic), std::end(kMagic));
}

// Cut into frames.
class FramedPcm::FramedInput final : public StreamInput {
 public:
  struct Frame {
    uint8_t type;
    std::span<const uint8_t> bytes;
    uint64_t position;
  };

  explicit FramedInput(std::unique_ptr<InputFile> file) : file_(std::move(file)) {
    form_.name = file_->Name();
    const auto head = file_->Take(kFramedHeadBytes);
    if (head.size() < kFramedHeadBytes)
      throw FailureAt(form_.name, "ends within its header", head.size());
    if (head[4] != kVersion)
      throw FailureAt(
          form_.name,
          "framed speech of version " + std::to_string(head[4]) + ", only 1 is known here", 4);
    format = FormatOfLaw(head[5]);
    if (format == nullptr)
      throw FailureAt(form_.name, "framed speech of law " + std::to_string(head[5]), 5);
    uint32_t frames = 0;
    for (size_t i = 0; i < 4; ++i) frames |= static_cast<uint32_t>(head[8 + i]) << (8 * i);
    if (frames != kNotKnown) left_ = frames;
    form_.format = format->key;
    form_.title = std::string(format->title) + " with silence coding";
    form_.container = "framed";
    form_.formatId = format->formatId;
    form_.rate = kTelephonyRate;
    form_.dataStart = kFramedHeadBytes;
    if (file_->Size()) form_.codedBytes = *file_->Size() - std::min(*file_->Size(), uint64_t{12});
  }

  // False at the end.
  bool Next(Frame* frame) {
    const uint64_t position = file_->Position();
    if (left_ == 0) {
      if (!ended_ && !file_->Peek(1).empty()) Note("bytes behind the last frame", position);
      ended_ = true;
    }
    if (ended_) return false;
    ended_ = true;  // until it is known that it is not
    const auto type = file_->Take(1);
    if (type.empty()) {
      if (left_ && position == kFramedHeadBytes)
        throw FailureAt(form_.name, "no frame in it", position);
      if (left_) Note("ends " + std::to_string(*left_) + " frames early", position);
      return false;
    }
    frame->type = type[0];
    frame->position = position;
    const auto size = FramedBytes(frame->type);
    if (!size && position == kFramedHeadBytes)
      throw FailureAt(form_.name, "no frame has type " + std::to_string(frame->type), position);
    if (!size) {
      Note("no frame has type " + std::to_string(frame->type) + ": stopped", position);
      return false;
    }
    frame->bytes = file_->Take(*size);
    if (frame->bytes.size() < *size) {
      Note("ends within a frame", position);
      return false;
    }
    ended_ = false;
    if (left_) --*left_;
    return true;
  }

  uint64_t Position() const { return file_->Position(); }
  bool MayWait() const override { return !ended_ && file_->MayWaitFor(1 + kSpeechFrameSamples); }
  bool IsSameFile(int descriptor) const override { return file_->IsSameFile(descriptor); }

  const Format* format = nullptr;

 private:
  std::unique_ptr<InputFile> file_;
  std::optional<uint64_t> left_;  // frames that the header tells of
  bool ended_ = false;
};

FramedPcm::FramedPcm(std::unique_ptr<InputFile> file)
    : input_(std::make_unique<FramedInput>(std::move(file))) {
  codec_.emplace(*input_->format, SpeechCodec::Direction::kDecode, true, input_->Form().name);
}

FramedPcm::~FramedPcm() = default;

const StreamInput& FramedPcm::Input() const { return *input_; }

bool FramedPcm::Next(PcmBlock* block) {
  pcm_.clear();
  const uint64_t start = input_->Position();
  FramedInput::Frame frame;
  while (pcm_.size() < kMostFrames * kSpeechFrameSamples && !(!pcm_.empty() && input_->MayWait()) &&
         input_->Next(&frame)) {
    types_.Count(frame.type);
    const auto sound = codec_->DecodeFrame(CodecType(frame.type), frame.bytes, frame.position);
    pcm_.insert(pcm_.end(), sound.begin(), sound.end());
  }
  *block = {AsBytes(pcm_), *FixedForm(), start, input_->Position() - start};
  return !pcm_.empty();
}

void FramedPcm::Tell(JsonLine* json, TextRows* text) const { TellFrameTypes(types_, json, text); }

void TellFrameTypes(const FrameTypes& types, JsonLine* json, TextRows* text) {
  json->Nested("frameTypes", JsonLine()
                                 .Whole("speech", types.speech)
                                 .Whole("silence", types.descriptors)
                                 .Whole("nothing", types.nothing)
                                 .Whole("lost", types.lost))
      .Real("savedBytes", static_cast<double>(types.SavedBytes()), 0);
  const double all = static_cast<double>(std::max<uint64_t>(types.All(), 1));
  const auto share = [&](uint64_t count) {
    char percent[48];
    std::snprintf(percent, sizeof percent, "%llu (%.1f %%)", static_cast<unsigned long long>(count),
                  100 * static_cast<double>(count) / all);
    return std::string(percent);
  };
  text->push_back({"frames", "speech " + share(types.speech) + ", silence descriptors " +
                                 share(types.descriptors) + ", nothing sent " +
                                 share(types.nothing) + ", lost " + share(types.lost)});
  text->push_back({"saved", std::to_string(types.SavedBytes()) + " bytes of " +
                                std::to_string(kSpeechFrameSamples * types.All())});
}

}  // namespace orbel::tool
