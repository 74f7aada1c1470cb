#include "tools/coded_input.h"

#include "tools/block_input.h"
#include "tools/failure.h"
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

}  // namespace

std::unique_ptr<CodedInput> OpenCodedInput(const Options& options, size_t index) {
  auto file = std::make_unique<InputFile>(options.inputs[index]);
  if (LooksLikeWav(file.get())) return OpenWav(options, std::move(file));
  if (options.format == nullptr)
    throw UsageFailure(file->Name() + ": not a WAV file; say what it holds with --format (" +
                       FormatKeys() + ")");
  const Format& format = *options.format;
  const int32_t sampleBytes = SampleBytes(options, format, *file);
  return std::make_unique<BlockInput>(std::move(file), format, sampleBytes, "raw", std::nullopt,
                                      std::vector<std::string>());
}

}  // namespace orbel::tool
