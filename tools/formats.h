// The formats as the tool knows them: how each is spelled and, of the telephony
// formats, how many samples bytes hold and what silence is.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace orbel::tool {

struct Format {
  const char* key;    // as --format spells it
  const char* title;  // as people call it
  int32_t formatId;   // as PlayerOpen wants it; 0: players have no such format
  uint32_t bitsPerSample;
  int32_t grain;           // sample sizes are multiples of this many bytes
  uint8_t silence;         // what padding is made of
  int32_t fileBytes;       // size of one sample for speed; 0: it must be given
  int32_t liveBytes;       // for short delay: 20 ms
  uint32_t blockOverhead;  // header bytes at the start of every sample
  int wavTag;              // in WAV files, or -1

  bool IsAac() const { return bitsPerSample == 0; }
  // Several bytes a block without a header.
  bool IsG726() const { return grain > 1; }
  bool IsBsac() const { return IsAac() && formatId == 0; }
  bool IsG711() const { return wavTag >= 0; }
};

inline constexpr uint32_t kTelephonyRate = 8000;

std::span<const Format> AllFormats();
const Format* FindFormat(const std::string& key);
const Format* FindFormatOfWavTag(int tag);
// "mulaw, alaw, ..."
std::string FormatKeys();

// Whole PCM samples in the `bytes` first bytes of a stream that is cut into
// samples of sampleBytes.
uint64_t SamplesIn(const Format& format, int32_t sampleBytes, uint64_t bytes);

}  // namespace orbel::tool
