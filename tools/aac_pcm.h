// AAC frames through the codec class: every channel, and, where nobody asks for
// less, the full band and the stereo that a mono stream may describe.
#pragma once

#include <memory>
#include <vector>

#include "aac/frame_tools.h"
#include "tools/aac_codec.h"
#include "tools/aac_input.h"
#include "tools/aac_layout.h"
#include "tools/aac_units.h"
#include "tools/pcm_stream.h"

namespace orbel::tool {

struct AacFacts {
  int32_t objectType = 0;  // of the first stream
  uint64_t frames = 0;
  uint64_t badFrames = 0;
  uint64_t streams = 0;   // decoders that were opened
  AacModes modes;         // of the last of them
  FrameTools tools = {};  // what they use
  // Enhancement layers that BSAC frames have.
  int32_t leastLayers = 0;
  int32_t mostLayers = 0;
};

class AacPcm final : public PcmStream {
 public:
  AacPcm(std::unique_ptr<AacInput> input, const Options& options);

  const StreamInput& Input() const override { return *input_; }
  bool Next(PcmBlock* block) override;
  const AacFacts* Aac() const override { return &facts_; }
  std::string Title() const override;

 private:
  void OpenStream(AacFrame* frame);
  void CountLayers(std::span<const uint8_t> frame);
  int32_t ParametricLevel(AacFrame* frame);
  size_t DecodeFrame(AacFrame* frame, int16_t* room);
  AacCodec::Result DecodeUnit(const AacFrame& frame, int16_t* room);
  size_t Damaged(const AacFrame& frame, int16_t* room);
  void Arrange(int16_t* pcm, size_t samples) const;
  void Finish();

  std::unique_ptr<AacInput> input_;
  AacFacts facts_;
  std::optional<int32_t> psLevel_;  // asked for
  bool counts_;                     // what frames use
  bool replicates_ = false;
  AacCodec codec_;
  UnitCutter cutter_;
  bool cuts_ = false;           // the decoder gets raw units, whatever the container
  std::vector<uint8_t> first_;  // bytes of a frame while the ones behind it are looked at
  std::vector<int16_t> pcm_;
  PcmForm form_;  // of the last good frame
  Layout layout_;
  bool arranged_ = false;    // layout_ is that of the stream and its channels
  size_t frameSamples_ = 0;  // of the last good frame
  // A frame that did not go with those before it waits here for the next call.
  size_t waitingAt_ = 0;
  size_t waiting_ = 0;
  uint64_t waitingCoded_ = 0;
  uint64_t waitingPosition_ = 0;

  uint64_t firstBad_ = 0;  // position of the first damaged frame
  uint64_t dropped_ = 0;   // damaged frames in front of the first good one
  bool done_ = false;
};

}  // namespace orbel::tool
