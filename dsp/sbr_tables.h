// The noise table of band replication, for kernels only.
#pragma once

#include <cstdint>

namespace orbel {

constexpr int32_t kDspSbrNoise = 512;
constexpr int32_t kDspSbrNoiseTail = 64;

// Entry i modulo 512, so that a row of bands that starts anywhere runs straight on.
struct DspSbrNoise {
  alignas(16) float real[kDspSbrNoise + kDspSbrNoiseTail];
  alignas(16) float imag[kDspSbrNoise + kDspSbrNoiseTail];
};

extern const DspSbrNoise dspSbrNoise;

}  // namespace orbel
