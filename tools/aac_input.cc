#include "tools/aac_input.h"

#include <algorithm>
#include <cstring>

#include "aac/sampling_tables.h"
#include "orbel/player.h"
#include "tools/adts_input.h"
#include "tools/failure.h"

namespace orbel::tool {
namespace {

constexpr size_t kMostUnitBytes = 1 << 16;
constexpr size_t kUnitHeadBytes = 4;
// Garbage in front of the first ADTS frame: how much is looked through when
// nothing but the content says that it is one, and when the user says so.
constexpr size_t kGuessBytes = 4096;
constexpr size_t kSearchBytes = 1 << 20;

class AdifInput final : public AacInput {
 public:
  explicit AdifInput(std::unique_ptr<InputFile> file) : AacInput(std::move(file)) {
    const auto bytes = file_->Peek(kWindow);
    BitReader reader;
    BitReaderInit(&reader, bytes.data(), bytes.size());
    GetBits(&reader, 32);
    const auto header = std::make_unique<AdifHeader>();
    AdifHeaderParse(header.get(), &reader);
    head_.pce = header->pce[0];
    head_.objectType = head_.pce->object_type + 1;
    head_.rateIndex = head_.pce->sampling_frequency_index;
    head_.rate = static_cast<uint32_t>(SamplingFrequency(head_.rateIndex));
    headBytes_ = (GetBitPosition(reader) + 7) / 8;
    Entitle("ADIF", "MPEG-4");
  }

  bool Next(AacFrame* frame) override {
    *frame = {};
    const auto bytes = stuck_ ? std::span<const uint8_t>() : file_->Peek(kWindow);
    if (bytes.empty()) return false;
    *frame = {bytes, file_->Position(), headBytes_, headBytes_ > 0, false};
    return true;
  }

  bool PeekFrame(uint64_t position, AacFrame* frame) override {
    const size_t skipped = position - file_->Position();
    const auto bytes = file_->Peek(skipped + kWindow);
    if (bytes.size() <= skipped) return false;
    *frame = {bytes.subspan(skipped), position, 0, false, false};
    return true;
  }

  // Nothing marks where frames start: behind a damaged one, where the decoder
  // stopped is a guess, and many bad guesses in a row are the end.
  bool Took(size_t bytes, bool good) override {
    headBytes_ = 0;
    damaged_ = good ? 0 : damaged_ + 1;
    const bool isCut = !good && bytes == 0 && file_->Peek(kWindow).size() < kWindow;
    stuck_ = bytes == 0 || damaged_ == kMostDamaged;
    if (stuck_) Note(isCut ? "ends within a frame" : "damaged, with no way to go on", Position());
    file_->Take(bytes);
    return !isCut;
  }

  bool MayWait() const override { return file_->MayWaitFor(kWindow); }

 private:
  static constexpr size_t kWindow = 32768;  // more than any header or frame

  static constexpr int kMostDamaged = 8;

  size_t headBytes_;  // 0 behind the first frame
  int damaged_ = 0;   // in a row
  bool stuck_ = false;
};

class UnitInput final : public AacInput {
 public:
  UnitInput(std::unique_ptr<InputFile> file, std::span<const uint8_t> config, bool bare)
      : AacInput(std::move(file)), headBytes_(bare ? 0 : kUnitHeadBytes) {
    BitReader reader;
    BitReaderInit(&reader, config.data(), config.size());
    const auto parsed = std::make_unique<AudioSpecificConfig>();
    if (AudioSpecificConfigParse(parsed.get(), &reader) != 0)
      throw FailureIn(file_->Name(), "--config names object type " +
                                         std::to_string(parsed->audioObjectType) +
                                         ", which is not decoded");
    head_.config.assign(config.begin(), config.end());
    head_.objectType = parsed->audioObjectType;
    head_.rateIndex = parsed->samplingFrequencyIndex;
    head_.rate = static_cast<uint32_t>(head_.rateIndex == 15 ? parsed->samplingFrequency
                                                             : SamplingFrequency(head_.rateIndex));
    head_.channelConfiguration = parsed->channelConfiguration;
    head_.doublesRate = parsed->extensionAudioObjectType == 5 &&
                        parsed->extensionSamplingFrequencyIndex != parsed->samplingFrequencyIndex;
    head_.hasParametric = parsed->psPresent == 1;
    if (head_.channelConfiguration == 0) head_.pce = parsed->gaSpecificConfig.pce;
    head_.isBsac = head_.objectType == kBsacObjectType;
    if (bare && !head_.isBsac)
      throw FailureIn(file_->Name(), "--config names object type " +
                                         std::to_string(head_.objectType) + ", --format bsac 22");
    framesPerUnit_ = std::max(parsed->gaSpecificConfig.numOfSubFrame, 1);
    Entitle(bare ? "BSAC frames" : "raw access units", "MPEG-4");
    if (head_.isBsac) form_.format = "bsac";
  }

  bool Next(AacFrame* frame) override {
    *frame = {};
    const uint64_t position = file_->Position();
    const Extent extent = ExtentAt(0);
    if (extent.head == 0) return false;
    if (headBytes_ == 0 && extent.size == 0 && position > form_.dataStart) {
      Note("damaged, with no way to go on", position);
      return false;
    }
    if (extent.size > kMostUnitBytes || (headBytes_ == 0 && extent.size == 0))
      throw FailureAt(file_->Name(),
                      headBytes_ == 0
                          ? "no BSAC frame: these are none one after the other"
                          : "an access unit of " + std::to_string(extent.size) +
                                " bytes: these are no raw access units behind their lengths",
                      position);
    file_->Take(headBytes_);
    const auto bytes = file_->Take(extent.size);
    if (extent.head < headBytes_ || bytes.size() < extent.size) {
      Note("ends within an access unit: " + std::to_string(bytes.size()) + " of its " +
               std::to_string(extent.size) + " bytes are there",
           position);
      return false;
    }
    *frame = {bytes, position, 0, position == form_.dataStart, true};
    return true;
  }

  // The length stands for a header here.
  bool PeekFrame(uint64_t position, AacFrame* frame) override {
    const size_t skipped = position - file_->Position();
    const Extent extent = ExtentAt(skipped);
    if (extent.head < headBytes_ || extent.size > kMostUnitBytes) return false;
    const size_t end = skipped + headBytes_ + extent.size;
    const auto bytes = file_->Peek(end);
    if (bytes.size() < end) return false;
    *frame = {bytes.subspan(skipped), position, headBytes_, false, true};
    return true;
  }

  bool Took(size_t, bool) override { return true; }
  bool MayWait() const override { return file_->MayWaitFor(kUnitHeadBytes); }

 private:
  static constexpr int32_t kBsacObjectType = 22;
  static constexpr size_t kBsacLengthBytes = 2;

  struct Extent {
    size_t head = 0;  // bytes that are there to tell the size; 0: the end
    size_t size = 0;  // of the unit
  };

  // Of the unit that starts `skipped` bytes further on.
  Extent ExtentAt(size_t skipped) {
    Extent extent;
    if (headBytes_ > 0) {
      const auto head = file_->Peek(skipped + headBytes_);
      extent.head = head.size() - std::min(skipped, head.size());
      for (size_t i = 0; i < extent.head; ++i)
        extent.size |= static_cast<size_t>(head[skipped + i]) << (8 * i);
      return extent;
    }
    // A frame starts with its length, 11 bits.
    for (int32_t i = 0; i < framesPerUnit_; ++i) {
      const size_t at = skipped + extent.size;
      const auto head = file_->Peek(at + kBsacLengthBytes);
      if (head.size() < at + kBsacLengthBytes) {
        // Nothing here: the end where the last unit ended, too.
        extent.head = std::max(extent.head, head.size() - std::min(at, head.size()));
        if (extent.head > 0) extent.size += kBsacLengthBytes;
        return extent;
      }
      extent.head = kBsacLengthBytes;
      const size_t length = static_cast<size_t>(head[at]) << 3 | head[at + 1] >> 5;
      if (length < kBsacLengthBytes) return {kBsacLengthBytes, 0};
      extent.size += length;
    }
    return extent;
  }

  size_t headBytes_;  // in front of a unit
  int32_t framesPerUnit_ = 1;
};

// An ID3 tag: 10 bytes that tell how many more follow, 7 bits in each of 4.
void SkipId3(InputFile* file) {
  for (;;) {
    const auto bytes = file->Peek(10);
    if (bytes.size() < 10 || std::memcmp(bytes.data(), "ID3", 3) != 0) return;
    uint64_t size = (bytes[5] & 0x10) != 0 ? 20 : 10;
    for (int i = 0; i < 4; ++i)
      size += uint64_t{bytes[6 + static_cast<size_t>(i)] & 127u} << (21 - 7 * i);
    file->Skip(size);
  }
}

}  // namespace

AacInput::AacInput(std::unique_ptr<InputFile> file) : file_(std::move(file)) {
  form_.name = file_->Name();
  form_.format = "aac";
  form_.formatId = ORBEL_FORMAT_AAC;
  form_.dataStart = file_->Position();
  if (file_->Size()) form_.codedBytes = *file_->Size() - file_->Position();
}

void AacInput::Entitle(const std::string& container, const std::string& standard) {
  form_.container = container;
  form_.title = standard + (head_.isBsac ? " " : " AAC ") + ObjectTypeName(head_.objectType);
  form_.rate = head_.rate;
}

std::string ObjectTypeName(int32_t objectType) {
  switch (objectType) {
    case 1:
      return "Main";
    case 2:
      return "LC";
    case 3:
      return "SSR";
    case 4:
      return "LTP";
    case 22:
      return "ER BSAC";
    default:
      return "object type " + std::to_string(objectType);
  }
}

std::unique_ptr<AacInput> OpenAacByContent(std::unique_ptr<InputFile>* file, bool sure) {
  SkipId3(file->get());
  const auto bytes = (*file)->Peek(4);
  if (bytes.size() == 4 && std::memcmp(bytes.data(), "ADIF", 4) == 0)
    return std::make_unique<AdifInput>(std::move(*file));
  const auto at = AdtsInput::Find(file->get(), sure ? kSearchBytes : kGuessBytes);
  if (!at) return nullptr;
  return std::make_unique<AdtsInput>(std::move(*file));
}

std::unique_ptr<AacInput> OpenAacUnits(std::unique_ptr<InputFile> file,
                                       std::span<const uint8_t> config, bool bare) {
  return std::make_unique<UnitInput>(std::move(file), config, bare);
}

}  // namespace orbel::tool
