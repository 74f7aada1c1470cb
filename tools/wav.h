// WAV files: what is read of them, and the header that is written.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/input_file.h"

namespace orbel::tool {

struct WavHead {
  int tag = 0;
  uint32_t channels = 0;
  uint32_t rate = 0;
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

// The most PCM bytes whose sizes a WAV header can hold.
inline constexpr uint64_t kMostWavBytes = 0xFFFFFFFFu - 60 - 1;

// The header of 16-bit PCM. mask: which loudspeakers more than two channels
// belong to, 0 if that is not known. Empty dataBytes, and those above
// kMostWavBytes: both size fields are 0xFFFFFFFF, which readers take for "to the
// end".
std::vector<uint8_t> MakeWavHead(uint32_t rate, uint32_t channels, uint32_t mask,
                                 std::optional<uint64_t> dataBytes);

}  // namespace orbel::tool
