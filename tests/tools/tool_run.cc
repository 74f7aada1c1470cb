#include "tools/tool_run.h"

#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

namespace orbel {

bool ToolResult::Complains(int code, const std::string& words) const {
  return exitCode == code && err.find(words) != std::string::npos &&
         std::count(err.begin(), err.end(), '\n') == 1 && err.back() == '\n' &&
         err.starts_with("orbel: ");
}

Workplace::Workplace() : directory_(std::filesystem::temp_directory_path() / "orbel-tool-XXXXXX") {
  if (mkdtemp(directory_.data()) == nullptr) std::abort();
}

Workplace::~Workplace() { std::filesystem::remove_all(directory_); }

ToolResult Workplace::Shell(const std::string& line) const {
  const std::string command = "cd '" + directory_ +
                              "' && orbel() { '" ORBEL_TOOL "' \"$@\"; } && { " + line +
                              "; } >.out 2>.err";
  // NOLINTNEXTLINE(bugprone-command-processor): a shell is what is wanted
  const int status = std::system(command.c_str());
  const Bytes out = Get(".out");
  const Bytes err = Get(".err");
  return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status),
          std::string(out.begin(), out.end()), std::string(err.begin(), err.end())};
}

bool Workplace::Has(const std::string& name) const { return std::filesystem::exists(Path(name)); }

void Workplace::Put(const std::string& name, const Bytes& bytes) const {
  std::ofstream(Path(name), std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
}

Bytes Workplace::Get(const std::string& name) const { return ReadFile(Path(name)); }

Bytes ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::vector<int16_t> AsPcm(const Bytes& bytes, size_t from) {
  std::vector<int16_t> pcm;
  for (size_t at = from; at + 1 < bytes.size(); at += 2)
    pcm.push_back(static_cast<int16_t>(LittleAt(bytes, at, 2)));
  return pcm;
}

uint32_t LittleAt(const Bytes& bytes, size_t at, int count) {
  uint32_t value = 0;
  for (int i = count - 1; i >= 0; --i) value = value << 8 | bytes.at(at + static_cast<size_t>(i));
  return value;
}

Bytes Noise(size_t count, uint32_t seed) {
  std::mt19937 random(seed);
  Bytes bytes(count);
  for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random());
  return bytes;
}

}  // namespace orbel
