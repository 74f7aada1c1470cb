// WAV files: what is read of them, and the header that is written.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/input_file.h"
#include "tools/pcm_block.h"

namespace orbel::tool {

// Format tags.
inline constexpr int kWavPcm = 1;
inline constexpr int kWavFloat = 3;

struct WavHead {
  int tag = 0;
  uint32_t channels = 0;
  uint32_t rate = 0;
  uint32_t bits = 0;                   // of a sample; 0: cut off
  uint64_t formatAt = 0;               // position of the format chunk's content
  std::optional<uint64_t> dataLength;  // empty: to the end of the input
  std::vector<std::string> notes;      // damage that could be read around
};

// True when the next bytes of the file are those of a RIFF file, or of one of
// its relatives that ReadWavHead refuses by name.
bool LooksLikeWav(InputFile* file);

// Reads chunks until both format and data are found and leaves the file at the
// first byte of the data. Chunks may stand in any order, though a pipe can't go
// back to data in front of the format. Throws Failure.
WavHead ReadWavHead(InputFile* file);

// What a WAV file to be written holds.
struct WavForm {
  int tag = kWavPcm;
  uint32_t rate = 0;
  uint32_t channels = 0;
  uint32_t bits = 0;
  uint32_t mask = 0;  // which loudspeakers the channels belong to; 0: not known
};
WavForm WavFormOf(const PcmForm& form);

// The most bytes of data whose size a WAV header can hold.
inline constexpr uint64_t kMostWavBytes = 0xFFFFFFFFu - 72 - 1;

// The header; an extensible one for more than two channels or 16 bits. Empty
// dataBytes, and those above kMostWavBytes: all sizes are 0xFFFFFFFF, which readers
// take for "to the end". Behind an odd number of bytes of data a zero must follow.
std::vector<uint8_t> MakeWavHead(const WavForm& form, std::optional<uint64_t> dataBytes);

}  // namespace orbel::tool
