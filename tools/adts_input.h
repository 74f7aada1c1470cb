// ADTS (ISO/IEC 13818-7 and 14496-3): finds the frames, steps over what is
// none, and gives frames that the decoder would not take a header that it does.
#pragma once

#include <vector>

#include "tools/aac_input.h"

namespace orbel::tool {

struct AdtsHead {
  uint32_t id;  // 1: MPEG-2
  uint32_t profile;
  uint32_t index;     // of the sampling frequency
  uint32_t channels;  // channel_configuration
  size_t length;      // of the frame, in bytes, header included
  size_t blocks;      // raw data blocks, 1 to 4
  bool crc;

  // Bytes in front of the first raw data block.
  size_t Bytes() const { return 7 + (crc ? 2 * blocks : 0); }
  bool IsSameStream(const AdtsHead& other) const;
};

constexpr size_t kAdtsHeadBytes = 7;

// Empty when the bytes do not start with a header, or are fewer than its 7.
std::optional<AdtsHead> ParseAdtsHead(std::span<const uint8_t> bytes);

class AdtsInput final : public AacInput {
 public:
  // The file stands at the first frame, or at garbage in front of it.
  explicit AdtsInput(std::unique_ptr<InputFile> file);
  ~AdtsInput() override = default;

  // Where the first frame starts that others follow, within the first `window`
  // bytes; empty when there is none.
  static std::optional<size_t> Find(InputFile* file, size_t window);

  bool Next(AacFrame* frame) override;
  bool PeekFrame(uint64_t position, AacFrame* frame) override;
  bool Took(size_t bytes, bool good) override;
  bool MayWait() const override;

 private:
  bool Resync();
  size_t Whole(const AdtsHead& head);
  void Enter(const AdtsHead& head, std::span<const uint8_t> bytes);
  void NextBlock(AacFrame* frame);
  void NoteSkipped();

  std::optional<AdtsHead> stream_;  // of the frame before

  // A frame that is given block by block.
  std::vector<uint8_t> frame_;
  uint64_t framePosition_ = 0;
  size_t blocksLeft_ = 0;
  size_t blockAt_ = 0;  // of the next block in frame_; 0: lost
  bool blockCrc_ = false;

  uint64_t skipped_ = 0;  // bytes that are in no frame
  uint64_t skips_ = 0;
  uint64_t skippedAt_ = 0;
  bool ended_ = false;
};

}  // namespace orbel::tool
