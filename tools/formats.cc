#include "tools/formats.h"

#include "orbel/player.h"

namespace orbel::tool {
namespace {

// Silence: the code of level 0 in G.711; code 0 in G.726, which is the least change
// that there is; in IMA ADPCM a small step up and down again (so that a pad behind a
// loud block does not climb).
constexpr Format kFormats[] = {
    {"mulaw", "G.711 mu-law", ORBEL_FORMAT_MULAW, 8, 1, 0xFF, 64000, 160, 0, 7},
    {"alaw", "G.711 A-law", ORBEL_FORMAT_ALAW, 8, 1, 0xD5, 64000, 160, 0, 6},
    {"g726-16", "G.726 at 16 kbit/s", 0, 2, 2, 0x00, 8000, 40, 0, -1},
    {"g726-24", "G.726 at 24 kbit/s", ORBEL_FORMAT_G726_24, 3, 3, 0x00, 12000, 60, 0, -1},
    {"g726-32", "G.726 at 32 kbit/s", ORBEL_FORMAT_G726_32, 4, 4, 0x00, 16000, 80, 0, -1},
    {"g726-40", "G.726 at 40 kbit/s", 0, 5, 5, 0x00, 20000, 100, 0, -1},
    {"aac", "MPEG-4 AAC", ORBEL_FORMAT_AAC, 0, 1, 0x00, 0, 0, 0, -1},
    {"bsac", "MPEG-4 ER BSAC", 0, 0, 1, 0x00, 0, 0, 0, -1},
    {"ima", "IMA ADPCM blocks", ORBEL_FORMAT_IMA, 4, 1, 0x08, 0, 0, 4, -1},
};

}  // namespace

std::span<const Format> AllFormats() { return kFormats; }

const Format* FindFormat(const std::string& key) {
  for (const Format& format : kFormats)
    if (key == format.key) return &format;
  return nullptr;
}

const Format* FindFormatOfWavTag(int tag) {
  for (const Format& format : kFormats)
    if (tag == format.wavTag) return &format;
  return nullptr;
}

std::string FormatKeys() {
  std::string keys;
  for (const Format& format : kFormats)
    keys += (keys.empty() ? "" : ", ") + std::string(format.key);
  return keys;
}

uint64_t SamplesIn(const Format& format, int32_t sampleBytes, uint64_t bytes) {
  if (format.blockOverhead == 0) return bytes * 8 / format.bitsPerSample;
  const auto block = static_cast<uint64_t>(sampleBytes);
  const uint64_t rest = bytes % block;
  const uint64_t coded = bytes / block * (block - format.blockOverhead) +
                         (rest > format.blockOverhead ? rest - format.blockOverhead : 0);
  return coded * 8 / format.bitsPerSample;
}

}  // namespace orbel::tool
