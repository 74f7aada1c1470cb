// The command line, checked.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/formats.h"

namespace orbel::tool {

enum class Command { kNone, kDecode, kEncode, kPlay, kInfo };

struct Options {
  Command command = Command::kNone;
  bool help = false;  // of the command, or of the tool with kNone
  bool version = false;
  std::vector<std::string> inputs;  // one; for info one or more
  std::string output;               // decode and encode: empty with null only
  const Format* format = nullptr;   // null: told by content
  std::optional<int32_t> sampleBytes;
  std::optional<int32_t> volume;         // 0 to 65535
  bool raw = false;                      // no WAV header
  bool null = false;                     // decode: no output at all
  bool player = false;                   // AAC through the player
  std::vector<uint8_t> config;           // AudioSpecificConfig of raw access units
  std::optional<int32_t> sbrMode;        // 18 or 28
  std::optional<int32_t> sbrDownsample;  // 0 or 1
  std::optional<int32_t> psLevel;        // 0, 111 or 411
  std::optional<int32_t> layers;         // of BSAC: -1 (all) to 63
  bool vad = false;                      // encode: with silence coding
  bool json = false;
};

// Throws UsageFailure.
Options ParseOptions(int count, const char* const* words);

// help.cc: the text that --help prints.
const char* HelpText(Command command);

}  // namespace orbel::tool
