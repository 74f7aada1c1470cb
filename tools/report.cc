#include "tools/report.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <limits>

#include "tools/failure.h"

namespace orbel::tool {
namespace {

constexpr double kFullScale = 32768.0;

std::string Quoted(const std::string& text) {
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') quoted += '\\';
    if (static_cast<unsigned char>(c) < 0x20) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(c));
      quoted += escape;
    } else {
      quoted += c;
    }
  }
  return quoted + '"';
}

double Db(double ratio) {
  return ratio > 0 ? 20 * std::log10(ratio) : -std::numeric_limits<double>::infinity();
}

}  // namespace

void PrintNotes(const StreamInput& input) {
  for (const std::string& note : input.Notes())
    std::fprintf(stderr, "orbel: %s: note: %s\n", input.Form().name.c_str(), note.c_str());
}

// By far the most common, and the reason why sound is measured as fast as it is.
void LevelMeter::AddSixteenBits(std::span<const uint8_t> pcm) {
  int32_t most = 0;
  uint64_t squares = 0;
  for (size_t i = 0; i + 1 < pcm.size(); i += 2) {
    const int32_t value = static_cast<int16_t>(pcm[i] | pcm[i + 1] << 8);
    most = std::max(most, value < 0 ? -value : value);
    squares += static_cast<uint32_t>(value * value);
  }
  peak_ = std::max(peak_, most / kFullScale);
  squares_ += static_cast<double>(squares) / (kFullScale * kFullScale);
}

void LevelMeter::Add(const PcmBlock& block) {
  const size_t step = BytesOf(block.form.format);
  samples_ += block.pcm.size() / step;
  if (block.form.format == SampleFormat::kS16) return AddSixteenBits(block.pcm);
  for (size_t at = 0; at < block.pcm.size(); at += step) {
    const double value = std::abs(SampleAt(block.form.format, &block.pcm[at]));
    peak_ = std::max(peak_, value);
    squares_ += value * value;
  }
}

double LevelMeter::PeakDb() const { return Db(peak_); }

double LevelMeter::RmsDb() const {
  return samples_ == 0 ? Db(0) : Db(std::sqrt(squares_ / static_cast<double>(samples_)));
}

JsonLine& JsonLine::Field(const char* key, const std::string& value) {
  body_ += (body_.empty() ? "\"" : ", \"") + std::string(key) + "\": " + value;
  return *this;
}

JsonLine& JsonLine::Text(const char* key, const std::string& value) {
  return Field(key, Quoted(value));
}

JsonLine& JsonLine::Texts(const char* key, const std::vector<std::string>& values) {
  std::string list;
  for (const std::string& value : values) list += (list.empty() ? "" : ", ") + Quoted(value);
  return Field(key, "[" + list + "]");
}

JsonLine& JsonLine::Whole(const char* key, uint64_t value) {
  return Field(key, std::to_string(value));
}

JsonLine& JsonLine::Real(const char* key, double value, int decimals) {
  char text[64];
  std::snprintf(text, sizeof text, "%.*f", decimals, value);
  return Field(key, std::isfinite(value) ? text : "null");
}

JsonLine& JsonLine::Truth(const char* key, bool value) {
  return Field(key, value ? "true" : "false");
}

JsonLine& JsonLine::Nested(const char* key, const JsonLine& value) {
  return Field(key, "{" + value.body_ + "}");
}

void Print(const std::string& text) {
  if (std::fputs(text.c_str(), stdout) >= 0 && std::fflush(stdout) == 0) return;
  if (errno == EPIPE) throw ReaderGone{};
  throw SystemFailure("standard output", errno);
}

}  // namespace orbel::tool
