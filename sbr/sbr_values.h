// sbr_envelope(), sbr_noise() and sbr_sinusoidal_coding() of ISO/IEC 14496-3,
// subpart 4. Each returns the bits that it read. The delta decoding of what they
// read is SbrDeltaDecode of sbr/sbr_payload.h.
#pragma once

#include <cstdint>

#include "aac/bit_reader.h"
#include "sbr/sbr_element.h"

namespace orbel {

// The resolution of a channel's envelope values: 0 for 1.5 dB, 1 for 3 dB.
int32_t SbrEffectiveAmpRes(const SbrElement& element, int32_t channel);

// `amp_res` is the effective resolution.
int32_t SbrEnvelopeParse(int32_t channel, int32_t coupled, int32_t amp_res, BitReader* reader,
                         SbrElement* element);
// `values` has room for kSbrNoiseFloors * kSbrNoiseBands, `offsets` for one more than
// the floors.
int32_t SbrNoiseParse(BitReader* reader, int16_t* values, int32_t* offsets,
                      const int32_t* bs_df_noise, const DspVlcTable* const* huffTables,
                      int32_t channel, int32_t coupled, int32_t L_Q, int32_t N_Q);
int32_t SbrSinusoidalParse(BitReader* reader, int32_t* bs_add_harmonic, int32_t N_high);

}  // namespace orbel
