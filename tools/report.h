// What the tool says: remarks, levels, JSON.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "tools/coded_input.h"
#include "tools/pcm_block.h"

namespace orbel::tool {

// One line on standard error for each of the input's notes.
void PrintNotes(const StreamInput& input);

// Labelled lines of text.
struct TextRow {
  const char* label;  // 7 letters at most
  std::string text;
};
using TextRows = std::vector<TextRow>;

// Peak and power of PCM, in decibels under full scale.
class LevelMeter {
 public:
  void Add(const PcmBlock& block);
  // Minus infinity for silence and for nothing.
  double PeakDb() const;
  double RmsDb() const;

 private:
  void AddSixteenBits(std::span<const uint8_t> pcm);

  uint64_t samples_ = 0;
  double peak_ = 0;     // of full scale
  double squares_ = 0;  // likewise
};

// One object on one line, fields in the order given.
class JsonLine {
 public:
  JsonLine& Text(const char* key, const std::string& value);
  JsonLine& Texts(const char* key, const std::vector<std::string>& values);
  JsonLine& Whole(const char* key, uint64_t value);
  // null when it is not finite.
  JsonLine& Real(const char* key, double value, int decimals);
  JsonLine& Truth(const char* key, bool value);
  JsonLine& Nested(const char* key, const JsonLine& value);
  std::string Done() const { return "{" + body_ + "}\n"; }

 private:
  JsonLine& Field(const char* key, const std::string& value);

  std::string body_;
};

// Writes to standard output. Throws Failure; ReaderGone on a closed pipe.
void Print(const std::string& text);

}  // namespace orbel::tool
