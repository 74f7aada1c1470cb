#include "tools/als_pcm.h"

#include <algorithm>
#include <utility>

#include "aac/stream_headers.h"
#include "als/als_decoder.h"
#include "tools/aac_layout.h"
#include "tools/failure.h"

namespace orbel::tool {
namespace {

constexpr uint8_t kMagic[] = {'A', 'L', 'S', 0};
constexpr size_t kFirstWindow = 1 << 20;
constexpr size_t kMostWindow = size_t{1} << 30;  // of a configuration, a frame or a unit
constexpr size_t kUsualRoom = size_t{16} << 20;
constexpr size_t kUnitHeadBytes = 4;
// Nothing marks where frames start, so many bad ones in a row are the end.
constexpr int kMostBad = 8;

SampleFormat FormatOf(const AlsConfig& config) {
  constexpr SampleFormat kFormats[] = {SampleFormat::kU8, SampleFormat::kS16, SampleFormat::kS24,
                                       SampleFormat::kS32};
  return config.floating != 0 ? SampleFormat::kFloat : kFormats[config.resolution & 3];
}

PcmForm FormOf(const AlsConfig& config) {
  PcmForm form = {static_cast<uint32_t>(config.samplingFrequency),
                  static_cast<uint32_t>(config.channels), 0, FormatOf(config)};
  if (form.channels == 1) form.mask = kFrontCentre;
  if (form.channels == 2) form.mask = kFrontLeft | kFrontRight;
  return form;
}

// What a frame may use.
std::vector<std::string> ToolsOf(const AlsConfig& c) {
  std::vector<std::string> tools;
  const auto add = [&](int32_t flag, const std::string& name) {
    if (flag != 0) tools.push_back(name);
  };
  add(c.adaptOrder, "adaptive order");
  add(c.blockSwitching, "block switching in " + std::to_string(c.blockSwitching + 2) + " levels");
  add(c.bgmc, "BGMC");
  add(c.longTerm, "LTP");
  add(c.jointStereo, "joint stereo");
  add(c.mcCoding, "multi-channel correlation");
  add(c.chanSort, "channel sorting");
  return tools;
}

const char* ChecksumName(const AlsConfig& config, int32_t checksum) {
  if (config.crcEnabled == 0) return "none";
  switch (checksum) {
    case kAlsChecksumGood:
      return "good";
    case kAlsChecksumBad:
      return "bad";
    default:
      return "unknown";
  }
}

}  // namespace

bool LooksLikeAls(InputFile* file) {
  const auto bytes = file->Peek(sizeof kMagic);
  return std::equal(bytes.begin(), bytes.end(), std::begin(kMagic), std::end(kMagic));
}

// Cut into what the decoder is given at a time.
class AlsPcm::AlsInput final : public StreamInput {
 public:
  AlsInput(std::unique_ptr<InputFile> file, bool isUnits)
      : file_(std::move(file)), isUnits_(isUnits) {
    form_.name = file_->Name();
    form_.format = "als";
    form_.title = "MPEG-4 ALS";
    form_.container = isUnits ? "raw access units" : "ALS";
    form_.dataStart = file_->Position();
    if (file_->Size()) form_.codedBytes = *file_->Size() - file_->Position();
  }

  // Of raw data: what it says of itself. Throws Failure.
  AlsConfig Configuration() {
    for (size_t window = kFirstWindow;; window *= 2) {
      const auto bytes = file_->Peek(window);
      BitReader reader;
      BitReaderInit(&reader, bytes.data(), bytes.size());
      GetBits(&reader, 32);
      AlsConfig config;
      const int32_t result = AlsConfigParse(&config, &reader);
      if (result == 0) return config;
      if (result == kAlsConfigCut && bytes.size() == window && window < kMostWindow) continue;
      throw FailureAt(form_.name,
                      result == kAlsConfigCut ? "ends within its ALS configuration"
                                              : "the ALS configuration is damaged",
                      form_.dataStart);
    }
  }
  void SetForm(const PcmForm& form) {
    form_.rate = form.rate;
    form_.channels = form.channels;
  }

  // What is there for the decoder: some of raw data, the rest of a unit; empty at
  // the end.
  std::span<const uint8_t> Get() {
    if (at_ == bytes_.size()) Refill();
    return bytes_.subspan(at_);
  }
  void Took(size_t bytes) { at_ += bytes; }
  // Puts more behind what Get has given. False when there is no more.
  bool More() {
    if (isUnits_) return false;
    const size_t had = bytes_.size() - at_;
    if (at_ == 0 && window_ < kMostWindow) window_ *= 2;
    Refill();
    return bytes_.size() > had;
  }

  bool IsUnits() const { return isUnits_; }
  uint64_t Position() const { return file_->Position() + headBytes_ + at_; }
  bool MayWait() const override { return file_->MayWaitFor(bytes_.size() + 1); }
  bool IsSameFile(int descriptor) const override { return file_->IsSameFile(descriptor); }

 private:
  void Refill() {
    file_->Take(headBytes_ + at_);
    at_ = headBytes_ = 0;
    bytes_ = isUnits_ ? NextUnit() : file_->Peek(window_);
  }

  std::span<const uint8_t> NextUnit() {
    const uint64_t position = file_->Position();
    const auto head = file_->Peek(kUnitHeadBytes);
    if (head.empty()) return {};
    size_t size = 0;
    for (size_t i = 0; i < head.size(); ++i) size |= static_cast<size_t>(head[i]) << (8 * i);
    if (size > kMostWindow)
      throw FailureAt(form_.name,
                      "an access unit of " + std::to_string(size) +
                          " bytes: these are no raw access units behind their lengths",
                      position);
    const auto bytes = file_->Peek(kUnitHeadBytes + size);
    headBytes_ = std::min(kUnitHeadBytes, bytes.size());
    if (bytes.size() == kUnitHeadBytes + size) return bytes.subspan(kUnitHeadBytes);
    Note("ends within an access unit", position);
    file_->Take(bytes.size());
    headBytes_ = 0;
    return {};
  }

  std::unique_ptr<InputFile> file_;
  bool isUnits_;
  size_t window_ = kFirstWindow;
  std::span<const uint8_t> bytes_;  // of the file, behind headBytes_
  size_t headBytes_ = 0;            // of a unit
  size_t at_ = 0;                   // bytes that the decoder took
};

AlsPcm::AlsPcm(std::unique_ptr<InputFile> file, std::span<const uint8_t> config)
    : input_(std::make_unique<AlsInput>(std::move(file), !config.empty())) {
  if (config.empty()) {
    config_ = input_->Configuration();
  } else {
    BitReader reader;
    BitReaderInit(&reader, config.data(), config.size());
    const auto parsed = std::make_unique<AudioSpecificConfig>();
    if (AudioSpecificConfigParse(parsed.get(), &reader) != 0)
      throw FailureIn(input_->Form().name, "--config holds a damaged ALS configuration");
    config_ = parsed->alsConfig;
  }
  if (config_.rlslms != 0)
    throw FailureIn(input_->Form().name,
                    "uses the adaptive RLS-LMS predictor, which is not decoded");
  uint64_t memory = 0;
  if (AlsMemorySize(config_, &memory) != kAlsGood)
    throw FailureIn(input_->Form().name,
                    std::to_string(config_.channels) + " channels in frames of " +
                        std::to_string(config_.frameLength) + " samples are too much to decode");
  form_ = FormOf(config_);
  counted_ = input_->Position();
  input_->SetForm(form_);
  OpenDecoder(config);
}

AlsPcm::~AlsPcm() = default;

const StreamInput& AlsPcm::Input() const { return *input_; }

void AlsPcm::OpenDecoder(std::span<const uint8_t> config) {
  UMC::MediaData data;
  UMC::AACDecoderParams params;
  if (!config.empty()) {
    data.SetBufferPointer(const_cast<uint8_t*>(config.data()), config.size());
    data.SetDataSize(config.size());
    params.data = &data;
    params.inputStreamType = UMC::kStreamUnits;
  }
  decoder_ = std::make_unique<UMC::AACDecoder>();
  const UMC::Status status = decoder_->Init(&params);
  if (status != UMC::UMC_OK)
    throw FailureIn(input_->Form().name,
                    "the decoder refuses the stream (status " + std::to_string(status) + ")");
  // A frame, or all that a damaged one takes along, so that silence fills the gap.
  const size_t frame =
      static_cast<size_t>(form_.FrameBytes()) * static_cast<size_t>(config_.frameLength);
  const auto frames = static_cast<size_t>(std::max(config_.randomAccess, 1));
  room_.resize(std::max(frame, std::min(frames * frame, kUsualRoom)));
}

// Gives the decoder as much room as it asks for.
UMC::Status AlsPcm::Decode(std::span<const uint8_t> bytes, size_t* taken) {
  in_.SetBufferPointer(const_cast<uint8_t*>(bytes.data()), bytes.size());
  in_.SetDataSize(bytes.size());
  in_.SetTime(-1.0, -1.0);
  for (;;) {
    out_.SetBufferPointer(room_.data(), room_.size());
    const UMC::Status status = decoder_->GetFrame(&in_, &out_);
    *taken = bytes.size() - in_.GetDataSize();
    if (status != UMC::UMC_ERR_NOT_ENOUGH_BUFFER || room_.size() > kMostWindow) return status;
    room_.resize(2 * room_.size());
  }
}

bool AlsPcm::Next(PcmBlock* block) {
  while (!finished_) {
    const auto bytes = input_->Get();
    const uint64_t position = input_->Position();
    if (bytes.empty() || badInARow_ == kMostBad) break;
    size_t taken = 0;
    const UMC::Status status = Decode(bytes, &taken);
    input_->Took(taken);
    if (status == UMC::UMC_ERR_NOT_ENOUGH_DATA) {
      if (taken > 0 || input_->More()) continue;
      input_->Note(IsWhole() ? "bytes behind the last frame" : "ends within a frame", position);
      break;
    }
    if (status != UMC::UMC_OK && status != UMC::UMC_ERR_INVALID_STREAM)
      throw FailureAt(input_->Form().name,
                      "the decoder gives up (status " + std::to_string(status) + ")", position);
    const size_t made = out_.GetDataSize();
    if (status != UMC::UMC_OK && badFrames_++ == 0) firstBad_ = position;
    good_ = good_ || (status == UMC::UMC_OK && made > 0);
    badInARow_ = taken == 0 ? kMostBad : status == UMC::UMC_OK ? 0 : badInARow_ + 1;
    if (made == 0) continue;
    samples_ += made / form_.FrameBytes();
    const uint64_t coded = input_->Position() - std::exchange(counted_, input_->Position());
    *block = {std::span(room_).first(made), form_, position, coded};
    return true;
  }
  if (!finished_) Finish();
  return false;
}

bool AlsPcm::IsWhole() const {
  return config_.samples != kAlsSamplesUnknown && samples_ >= config_.samples;
}

int32_t AlsPcm::Checksum() const {
  AlsInfo info = {};
  decoder_->GetLosslessInfo(&info);
  return info.checksum;
}

void AlsPcm::Finish() {
  finished_ = true;
  if (!good_ && config_.samples != 0)
    throw FailureAt(input_->Form().name, "none of its frames can be decoded", firstBad_);
  if (badFrames_ > 0)
    input_->Note(
        "damaged, silent where they were: frames " + std::to_string(badFrames_) + ", the first",
        firstBad_);
  if (badInARow_ == kMostBad) input_->Note("damaged, with no way to go on", input_->Position());
  if (config_.samples != kAlsSamplesUnknown && samples_ < config_.samples)
    input_->Note("samples that there are: " + std::to_string(samples_) + " of " +
                     std::to_string(config_.samples),
                 input_->Position());
  if (badFrames_ == 0 && Checksum() == kAlsChecksumBad)
    input_->Note("the checksum is that of other sound", input_->Position());
}

void AlsPcm::Tell(JsonLine* json, TextRows* text) const {
  const AlsConfig& c = config_;
  const std::string checksum = ChecksumName(c, Checksum());
  const std::vector<std::string> tools = ToolsOf(c);
  json->Whole("bitsPerSample", static_cast<uint64_t>(c.bitsPerSample))
      .Truth("float", c.floating != 0)
      .Whole("frameLength", static_cast<uint64_t>(c.frameLength))
      .Whole("order", static_cast<uint64_t>(c.maxOrder))
      .Whole("randomAccess", static_cast<uint64_t>(c.randomAccess))
      .Texts("tools", tools)
      .Whole("badFrames", badFrames_)
      .Text("checksum", checksum);
  std::string names;
  for (const std::string& tool : tools) names += (names.empty() ? "" : ", ") + tool;
  text->push_back(
      {"frames", std::to_string(c.frameLength) + " samples each, random access " +
                     (c.randomAccess == 0 ? "nowhere" : "every " + std::to_string(c.randomAccess)) +
                     ", damaged " + std::to_string(badFrames_)});
  text->push_back(
      {"tools", "order up to " + std::to_string(c.maxOrder) + (names.empty() ? "" : ", " + names)});
  text->push_back({"check", "checksum " + checksum});
}

}  // namespace orbel::tool
