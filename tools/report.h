// What the tool says: remarks, levels, JSON.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "tools/coded_input.h"

namespace orbel::tool {

// One line on standard error for each of the input's notes.
void PrintNotes(const StreamInput& input);

// Peak and power of 16-bit PCM, in decibels under full scale (32768).
class LevelMeter {
 public:
  void Add(std::span<const int16_t> pcm);
  // Minus infinity for silence and for nothing.
  double PeakDb() const;
  double RmsDb() const;

 private:
  uint64_t samples_ = 0;
  int32_t peak_ = 0;
  double squares_ = 0;
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
