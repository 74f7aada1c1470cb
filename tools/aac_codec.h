// One open AAC decoder, as its codec class has it.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "aac/aac_decoder.h"
#include "aac/frame_tools.h"
#include "tools/aac_input.h"

namespace orbel::tool {

class AacCodec {
 public:
  // The most samples that a frame gives, all channels together.
  static constexpr size_t kMostSamples = 10 * 2048;

  struct Result {
    UMC::Status status = UMC::UMC_OK;
    size_t taken = 0;    // bytes
    size_t samples = 0;  // written, all channels together
    uint32_t rate = 0;
    uint32_t channels = 0;

    bool Good() const { return status == UMC::UMC_OK && samples > 0; }
  };

  // tools: where to count what the frames use, or null.
  explicit AacCodec(FrameTools* tools) : tools_(tools) {}
  // For the stream that `head` tells of; drops the one before. Throws Failure.
  void Open(const AacHead& head, const std::string& name);
  // `room` must have kMostSamples.
  Result Decode(std::span<const uint8_t> bytes, int16_t* room);

 private:
  FrameTools* tools_;
  std::unique_ptr<UMC::AACDecoder> decoder_;
  UMC::MediaData in_;
  UMC::AudioData out_;
};

}  // namespace orbel::tool
