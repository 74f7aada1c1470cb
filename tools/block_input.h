// Telephony streams: coded bytes in a row, cut into samples of one fixed size.
#pragma once

#include <memory>
#include <vector>

#include "tools/coded_input.h"
#include "tools/formats.h"
#include "tools/input_file.h"

namespace orbel::tool {

class BlockInput final : public CodedInput {
 public:
  // `file` stands at the first coded byte. length: coded bytes, where it is
  // known from elsewhere than the end of the file.
  BlockInput(std::unique_ptr<InputFile> file, const Format& format, int32_t sampleBytes,
             const char* container, std::optional<uint64_t> length, std::vector<std::string> notes);

  // The last unit is padded to full size.
  bool Next(Unit* unit) override;
  bool MayWait() const override;
  Unit Silence() override;
  bool IsSameFile(int descriptor) const override { return file_->IsSameFile(descriptor); }

 private:
  void NoteTail(size_t got);

  std::unique_ptr<InputFile> file_;
  const Format& format_;
  std::optional<uint64_t> left_;  // coded bytes still to come
  std::vector<uint8_t> padded_;   // the last unit, and silence
};

}  // namespace orbel::tool
