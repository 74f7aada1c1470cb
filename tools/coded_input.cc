#include "tools/coded_input.h"

#include <cstring>

#include "tools/aac_input.h"
#include "tools/aac_pcm.h"
#include "tools/aac_samples.h"
#include "tools/als_pcm.h"
#include "tools/block_input.h"
#include "tools/failure.h"
#include "tools/framed_speech.h"
#include "tools/wav.h"

namespace orbel::tool {
namespace {

// The size of one sample: as asked for, or short when someone is listening (or
// may be, at the other end of a pipe), and large when only speed counts.
int32_t SampleBytes(const Options& options, const Format& format, const InputFile& file) {
  if (options.sampleBytes) return *options.sampleBytes;
  const bool isLive = options.command == Command::kPlay || !file.Size();
  return isLive ? format.liveBytes : format.fileBytes;
}

std::string TagName(int tag) {
  switch (tag) {
    case 1:
      return "PCM";
    case 2:
      return "MS ADPCM";
    case 3:
      return "float PCM";
    case 0x11:
      return "WAV's own kind of IMA ADPCM";
    case 0x31:
      return "GSM 06.10";
    case 0x45:
    case 0x64:
      return "G.726 in WAV";
    case 0x55:
      return "MP3";
    case 0xFF:
    case 0x1610:
      return "AAC in WAV";
    default:
      return "format tag " + std::to_string(tag);
  }
}

std::unique_ptr<CodedInput> OpenWav(const Options& options, std::unique_ptr<InputFile> file) {
  WavHead head = ReadWavHead(file.get());
  const std::string& name = file->Name();
  const Format* const format = FindFormatOfWavTag(head.tag);
  if (head.tag == 1)
    throw FailureAt(name, "WAV file of plain PCM: nothing to decode", head.formatAt);
  if (format == nullptr)
    throw FailureAt(name, "WAV file of " + TagName(head.tag) + ", only mu-law and A-law are read",
                    head.formatAt);
  if (head.channels != 1)
    throw FailureAt(
        name, "WAV file of " + std::to_string(head.channels) + " channels, only 1 can be decoded",
        head.formatAt + 2);
  if (head.rate != kTelephonyRate)
    throw FailureAt(name,
                    "WAV file of " + std::to_string(head.rate) + " Hz, only " +
                        std::to_string(kTelephonyRate) + " Hz can be decoded",
                    head.formatAt + 4);
  if (options.format != nullptr && options.format != format)
    throw FailureAt(name,
                    "WAV file of " + std::string(format->key) + ", not of " + options.format->key,
                    head.formatAt);
  const int32_t sampleBytes = SampleBytes(options, *format, *file);
  return std::make_unique<BlockInput>(std::move(file), *format, sampleBytes, "WAV", head.dataLength,
                                      std::move(head.notes));
}

constexpr uint32_t kAlsObjectType = 36;

// Of an AudioSpecificConfig; 0: there is none.
uint32_t ObjectTypeOf(const std::vector<uint8_t>& config) {
  constexpr uint32_t kEscape = 31;
  if (config.empty()) return 0;
  const uint32_t type = config[0] >> 3;
  if (type != kEscape || config.size() < 2) return type;
  return 32 + ((config[0] & 7u) << 3 | config[1] >> 5);
}

bool IsMp4(InputFile* file) {
  const auto bytes = file->Peek(8);
  return bytes.size() == 8 && std::memcmp(&bytes[4], "ftyp", 4) == 0;
}

// The user says that the input is `format`, and its content is `found`.
void CheckFormat(const Options& options, const std::string& name, const std::string& found) {
  if (options.format != nullptr && options.format->key != found)
    throw UsageFailure(name + ": holds " + found + ", not " + options.format->key);
}

// What can only be heard through a decoder of its own; null for anything else.
std::unique_ptr<PcmStream> OpenUnplayable(const Options& options,
                                          std::unique_ptr<InputFile>* file) {
  const std::string name = (*file)->Name();
  const auto refuse = [&](bool isWrong, const char* what) {
    if (isWrong) throw UsageFailure(name + ": " + what);
  };
  if (LooksLikeFramed(file->get())) {
    refuse(!options.config.empty(), "framed speech, which needs no --config");
    auto stream = std::make_unique<FramedPcm>(std::move(*file));
    CheckFormat(options, name, stream->Input().Form().format);
    return stream;
  }
  const bool isRaw = LooksLikeAls(file->get());
  if (!isRaw && ObjectTypeOf(options.config) != kAlsObjectType) return nullptr;
  refuse(isRaw && !options.config.empty(), "ALS, which needs no --config");
  refuse(options.player, "ALS, which no player decodes");
  CheckFormat(options, name, "als");
  return std::make_unique<AlsPcm>(std::move(*file), options.config);
}

// Null when it is none and the user does not say that it is.
std::unique_ptr<AacInput> OpenAac(const Options& options, std::unique_ptr<InputFile>* file) {
  const bool sure = options.format != nullptr;
  const std::string name = (*file)->Name();
  if (!options.config.empty()) {
    auto found = OpenAacByContent(file, false);
    if (found)
      throw UsageFailure(name + ": " + found->Form().container +
                         ", which needs no --config: that is for raw access units");
    return OpenAacUnits(std::move(*file), options.config,
                        options.format != nullptr && options.format->IsBsac());
  }
  auto input = OpenAacByContent(file, sure);
  if (!input && sure)
    throw FailureIn(name, "neither ADTS nor ADIF; raw access units need --config");
  return input;
}

}  // namespace

OpenedInput::OpenedInput() = default;
OpenedInput::OpenedInput(OpenedInput&&) noexcept = default;
OpenedInput::~OpenedInput() = default;

OpenedInput OpenInput(const Options& options, size_t index) {
  OpenedInput opened;
  auto file = std::make_unique<InputFile>(options.inputs[index]);
  const std::string name = file->Name();
  if (LooksLikeWav(file.get())) {
    opened.samples = OpenWav(options, std::move(file));
    return opened;
  }
  opened.sound = OpenUnplayable(options, &file);
  if (opened.sound) return opened;
  if (options.format != nullptr && !options.format->IsAac()) {
    const Format& format = *options.format;
    const int32_t sampleBytes = SampleBytes(options, format, *file);
    opened.samples = std::make_unique<BlockInput>(std::move(file), format, sampleBytes, "raw",
                                                  std::nullopt, std::vector<std::string>());
    return opened;
  }
  const bool isMp4 = IsMp4(file.get());
  auto frames = OpenAac(options, &file);
  if (!frames && isMp4)
    throw FailureAt(name, "MP4 files are not read, only what is in them: ADTS or raw units", 0);
  if (!frames)
    throw UsageFailure(
        name +
        ": not a WAV, ADTS, ADIF, ALS or framed speech file; say what it holds with --format (" +
        FormatKeys() + ")");
  if (options.player)
    opened.samples = std::make_unique<AacSamples>(std::move(frames));
  else
    opened.sound = std::make_unique<AacPcm>(std::move(frames), options);
  return opened;
}

}  // namespace orbel::tool
