// Arithmetic models of the side information of ER BSAC (ISO/IEC 14496-3, subpart 4).
// A model is its cumulative frequencies in units of 1/16384, falling, the last one 0.
#pragma once

#include <cstdint>

namespace orbel {

// cband_si: 0 to 22 in the largest models.
constexpr int32_t kBsacCbandValues = 23;
constexpr int32_t kBsacFirstCbandModel = 7;  // of the first coding band of a group
constexpr int32_t kBsacFirstCbandLength = 11;

struct BsacCbandType {
  int32_t maxCodeLength;  // bits
  int32_t model;
};

// Model 0 has no symbols: null.
extern const uint16_t* const kBsacScalefactorModels[8];
extern const uint16_t* const kBsacCbandModels[8];
extern const BsacCbandType kBsacCbandTypes[32];

// The model of the spectral data by cband_si.
extern const uint8_t kBsacSpectralModel[kBsacCbandValues];

extern const uint16_t kBsacStereoInfoModel[4];
extern const uint16_t kBsacMsUsedModel[2];
extern const uint16_t kBsacNoiseFlagModel[2];
extern const uint16_t kBsacNoiseModeModel[4];

// max_noise_energy: 512 symbols, equally likely.
struct BsacNoiseEnergyModel {
  uint16_t cumulative[512];
};
extern const BsacNoiseEnergyModel kBsacNoiseEnergyModel;

}  // namespace orbel
