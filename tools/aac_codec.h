// One open AAC decoder, as its codec class has it.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "aac/aac_decoder.h"
#include "aac/frame_tools.h"
#include "tools/aac_input.h"

namespace orbel::tool {

struct AacModes {
  int32_t sbrMode = 18;                  // 18 complex, 28 real band replication
  std::optional<int32_t> sbrDownsample;  // 1: output at the core rate. Empty: as a configuration
                                         // asks for, else the full rate
  int32_t psLevel = 0;                   // parametric stereo of raw units: 0, 111 or 411
  int32_t layers = -1;                   // enhancement layers of BSAC; -1: all
};

class AacCodec {
 public:
  // The most samples that a frame gives, all channels together: two channels of 31
  // frames of BSAC in one unit; ten of band replication are fewer.
  static constexpr size_t kMostSamples = 31 * 2 * 1024;

  struct Result {
    UMC::Status status = UMC::UMC_OK;
    size_t taken = 0;    // bytes
    size_t samples = 0;  // written, all channels together
    uint32_t rate = 0;
    uint32_t channels = 0;

    bool Good() const { return status == UMC::UMC_OK && samples > 0; }
  };

  // From the next Open on counts what the frames use.
  void CountTools(FrameTools* tools) { tools_ = tools; }
  // For the stream that `head` tells of, as raw units if it has a configuration;
  // drops the one before. Throws Failure.
  void Open(const AacHead& head, const AacModes& modes, const std::string& name);
  // `room` must have kMostSamples.
  Result Decode(std::span<const uint8_t> bytes, int16_t* room);
  // Whether a frame has had band replication.
  bool HasReplication();

 private:
  FrameTools* tools_ = nullptr;
  std::unique_ptr<UMC::AACDecoder> decoder_;
  UMC::MediaData in_;
  UMC::AudioData out_;
};

}  // namespace orbel::tool
