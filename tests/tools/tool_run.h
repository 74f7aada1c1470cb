// Runs the tool in a directory of the test's own and looks at what it leaves.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace orbel {

using Bytes = std::vector<uint8_t>;

struct ToolResult {
  int exitCode;     // or 128 + signal
  std::string out;  // standard output
  std::string err;  // standard error

  // Exit code, and one line of complaint that holds `words`.
  bool Complains(int code, const std::string& words) const;
};

class Workplace {
 public:
  Workplace();
  ~Workplace();
  Workplace(const Workplace&) = delete;
  Workplace& operator=(const Workplace&) = delete;

  // A line for the shell, in which orbel is the tool.
  ToolResult Shell(const std::string& line) const;
  ToolResult Orbel(const std::string& words) const { return Shell("orbel " + words); }
  std::string Path(const std::string& name) const { return directory_ + "/" + name; }
  bool Has(const std::string& name) const;
  void Put(const std::string& name, const Bytes& bytes) const;
  Bytes Get(const std::string& name) const;

 private:
  std::string directory_;
};

Bytes ReadFile(const std::string& path);
// 16-bit little-endian samples.
std::vector<int16_t> AsPcm(const Bytes& bytes, size_t from = 0);
uint32_t LittleAt(const Bytes& bytes, size_t at, int count);
// Reproducible noise.
Bytes Noise(size_t count, uint32_t seed);

}  // namespace orbel
