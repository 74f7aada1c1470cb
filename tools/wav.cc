#include "tools/wav.h"

#include <algorithm>
#include <string_view>

#include "tools/failure.h"

namespace orbel::tool {
namespace {

constexpr uint64_t kRiffHeadBytes = 12;
constexpr size_t kChunkHeadBytes = 8;
constexpr size_t kLeastFormatBytes = 8;  // tag, channels, rate: all that is needed here
constexpr size_t kMostFormatBytes = 40;
constexpr int kExtensibleTag = 0xFFFE;  // the real tag starts the subformat at byte 24

// What programs put where they do not know the size: all ones, or the largest
// signed number, rounded down by some.
bool IsStreamingSize(uint64_t size) {
  return size == 0xFFFFFFFFu || (size >= 0x7FFFF000u && size <= 0x7FFFFFFFu);
}

uint32_t Little(const uint8_t* bytes, int count) {
  uint32_t value = 0;
  for (int i = count - 1; i >= 0; --i) value = value << 8 | bytes[i];
  return value;
}

std::string_view IdAt(std::span<const uint8_t> bytes, size_t at) {
  if (bytes.size() < at + 4) return {};
  return {reinterpret_cast<const char*>(bytes.data()) + at, 4};
}

bool IsKnownId(std::string_view id) {
  constexpr std::string_view kIds[] = {"fmt ", "data", "fact", "LIST", "bext", "JUNK", "junk",
                                       "PAD ", "cue ", "smpl", "inst", "iXML", "PEAK", "id3 ",
                                       "ID3 ", "DISP", "plst", "axml", "_PMX", "cart", "wavl"};
  return std::find(std::begin(kIds), std::end(kIds), id) != std::end(kIds);
}

bool IsPrintable(std::string_view id) {
  return id.size() == 4 &&
         std::all_of(id.begin(), id.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

// Steps over a chunk's content and its pad byte. Some writers leave the pad
// byte out: then a known name stands in its place.
void SkipContent(InputFile* file, uint64_t count, uint64_t size) {
  file->Skip(count);
  if (size % 2 == 0) return;
  const auto next = file->Peek(5);
  if (IsKnownId(IdAt(next, 0)) && !IsKnownId(IdAt(next, 1))) return;
  file->Skip(1);
}

void ReadFormat(InputFile* file, uint64_t size, WavHead* head) {
  head->formatAt = file->Position();
  const auto bytes = file->Take(std::min<uint64_t>(size, kMostFormatBytes));
  const size_t got = bytes.size();
  if (got < kLeastFormatBytes)
    throw FailureAt(file->Name(), "WAV format chunk is cut off", head->formatAt + got);
  head->tag = static_cast<int>(Little(&bytes[0], 2));
  head->channels = Little(&bytes[2], 2);
  head->rate = Little(&bytes[4], 4);
  if (got >= 16) head->bits = Little(&bytes[14], 2);
  if (head->tag == kExtensibleTag && got >= 26) head->tag = static_cast<int>(Little(&bytes[24], 2));
  SkipContent(file, size - got, size);
}

// How long the data are, given what the chunk says. The file stands at them.
std::optional<uint64_t> DataLength(InputFile* file, uint64_t size, WavHead* head) {
  const auto fileSize = file->Size();
  const uint64_t position = file->Position();
  if (size == 0) {
    if (IsKnownId(IdAt(file->Peek(4), 0)) || file->Peek(1).empty()) return 0;
    head->notes.push_back("WAV data chunk says 0 bytes, taking all that follow (byte " +
                          std::to_string(position - 4) + ")");
    return std::nullopt;
  }
  if (!fileSize) return IsStreamingSize(size) ? std::nullopt : std::optional(size);
  const uint64_t there = *fileSize - std::min(position, *fileSize);
  if (size <= there) return size;
  if (!IsStreamingSize(size))
    head->notes.push_back("WAV data chunk says " + std::to_string(size) + " bytes, " +
                          std::to_string(there) + " are there (byte " +
                          std::to_string(position - 4) + ")");
  return std::nullopt;
}

}  // namespace

bool LooksLikeWav(InputFile* file) {
  const auto bytes = file->Peek(kRiffHeadBytes);
  const std::string_view id = IdAt(bytes, 0);
  return IdAt(bytes, 8) == "WAVE" && (id == "RIFF" || id == "RIFX" || id == "RF64" || id == "BW64");
}

WavHead ReadWavHead(InputFile* file) {
  const std::string& name = file->Name();
  const std::string kind(IdAt(file->Peek(4), 0));
  if (kind != "RIFF") throw FailureAt(name, kind + " files are not read, only RIFF ones", 0);
  file->Skip(kRiffHeadBytes);

  WavHead head;
  bool hasFormat = false;
  std::optional<uint64_t> dataAt;
  uint64_t dataSize = 0;
  while (!hasFormat || !dataAt) {
    const uint64_t at = file->Position();
    const auto bytes = file->Take(kChunkHeadBytes);
    if (bytes.size() < kChunkHeadBytes)
      throw FailureAt(name,
                      dataAt      ? "WAV file without a format chunk"
                      : hasFormat ? "WAV file without a data chunk"
                                  : "WAV file without format and data chunks",
                      at + bytes.size());
    const std::string id(IdAt(bytes, 0));
    if (!IsPrintable(id)) throw FailureAt(name, "no WAV chunk where one should start", at);
    const uint64_t size = Little(&bytes[4], 4);
    if (id == "fmt " && !hasFormat) {
      ReadFormat(file, size, &head);
      hasFormat = true;
    } else if (id == "data" && !dataAt) {
      dataAt = file->Position();
      dataSize = size;
      if (hasFormat) break;
      if (!file->Size()) throw FailureAt(name, "WAV data in front of the format, in a pipe", at);
      SkipContent(file, size, size);
    } else {
      SkipContent(file, size, size);
    }
  }
  if (file->Position() != *dataAt) file->Seek(*dataAt);
  head.dataLength = DataLength(file, dataSize, &head);
  return head;
}

WavForm WavFormOf(const PcmForm& form) {
  return {form.format == SampleFormat::kFloat ? kWavFloat : kWavPcm, form.rate, form.channels,
          8 * BytesOf(form.format), form.mask};
}

std::vector<uint8_t> MakeWavHead(const WavForm& form, std::optional<uint64_t> dataBytes) {
  // What follows the two bytes of the format tag in a subformat.
  constexpr uint8_t kSubformatTail[] = {0x00, 0x00, 0x00, 0x00, 0x10, 0x00, 0x80,
                                        0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};
  const bool isPcm = form.tag == kWavPcm;
  const bool isExtensible = form.channels > 2 || form.bits > 16;
  const uint32_t formatBytes = isExtensible ? 40 : isPcm ? 16 : 18;
  const uint32_t factBytes = isPcm ? 0 : 12;  // the chunk
  const uint32_t frameBytes = form.bits / 8 * form.channels;
  const bool isKnown = dataBytes && *dataBytes <= kMostWavBytes;
  const uint32_t dataSize = isKnown ? static_cast<uint32_t>(*dataBytes) : 0xFFFFFFFFu;
  std::vector<uint8_t> head;
  const auto put = [&](uint32_t value, int count) {
    for (int i = 0; i < count; ++i) head.push_back(static_cast<uint8_t>(value >> (8 * i)));
  };
  const auto name = [&](std::string_view id) {
    for (const char letter : id) head.push_back(static_cast<uint8_t>(letter));
  };
  name("RIFF");
  put(isKnown ? dataSize + dataSize % 2 + 20 + formatBytes + factBytes : dataSize, 4);
  name("WAVEfmt ");
  put(formatBytes, 4);
  put(static_cast<uint32_t>(isExtensible ? kExtensibleTag : form.tag), 2);
  put(form.channels, 2);
  put(form.rate, 4);
  put(form.rate * frameBytes, 4);
  put(frameBytes, 2);
  put(form.bits, 2);
  if (isExtensible) {
    put(22, 2);
    put(form.bits, 2);
    put(form.mask, 4);
    put(static_cast<uint32_t>(form.tag), 2);
    for (const uint8_t byte : kSubformatTail) head.push_back(byte);
  } else if (!isPcm) {
    put(0, 2);
  }
  if (!isPcm) {
    name("fact");
    put(4, 4);
    put(isKnown ? dataSize / frameBytes : dataSize, 4);
  }
  name("data");
  put(dataSize, 4);
  return head;
}

}  // namespace orbel::tool
