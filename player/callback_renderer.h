// The end of a graph that hands PCM back instead of playing it: notes where the
// last decoded sample lies, for the player to give to the host.
#pragma once

#include "platform/base_renderer.h"

namespace orbel {

class CallbackAudioRenderer final : public CBaseRenderer {
 public:
  // The two fields belong to the player and outlive the renderer.
  CallbackAudioRenderer(uint8_t** decodedDataOut, int32_t* decodedSizeOut) noexcept;

  HRESULT CheckMediaType(const DMO_MEDIA_TYPE* type) noexcept override;
  // Nothing is copied: the address lies in the sample's own buffer, which stays
  // as it is until its pool hands it out again. A sample without data leaves
  // the player's fields alone.
  HRESULT DoRenderSample(MediaSample* sample) noexcept override;

 private:
  ~CallbackAudioRenderer() override = default;

  uint8_t** decodedDataOut_;
  int32_t* decodedSizeOut_;
};

}  // namespace orbel
