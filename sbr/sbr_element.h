// Spectral band replication (ISO/IEC 14496-3, subpart 4): the record of one
// element that can carry it, with header, frequency tables, grids and decoded
// values. Everything survives from frame to frame.
#pragma once

#include <cstdint>

namespace orbel {

struct DspVlcTable;
struct PsState;

constexpr int32_t kMaxSbrElements = 10;
constexpr int32_t kSbrComplex = 18;  // sbrMode: high quality
constexpr int32_t kSbrReal = 28;     // sbrMode: low power
constexpr int32_t kSbrBadStream = -13;
constexpr int32_t kPsBadStream = -7;

constexpr int32_t kQmfBands = 64;
constexpr int32_t kQmfCoreBands = 32;
constexpr int32_t kQmfSlots = 32;  // time slots of a frame
constexpr int32_t kSbrEnvelopes = 5;
constexpr int32_t kSbrNoiseFloors = 2;
constexpr int32_t kSbrNoiseBands = 5;
constexpr int32_t kSbrPatches = 6;
constexpr int32_t kSbrTableSize = 64;
constexpr int32_t kSbrBandRoom = 100;

// bs_frame_class
constexpr int32_t kFixFix = 0;
constexpr int32_t kFixVar = 1;
constexpr int32_t kVarFix = 2;
constexpr int32_t kVarVar = 3;

// Borders are in units of two QMF slots.
struct SbrGrid {
  int32_t L_E;  // envelopes
  int32_t t_E[kSbrEnvelopes + 1];
  int32_t freqRes[6];  // 1: high resolution
  int32_t L_Q;         // noise floors
  int32_t t_Q[kSbrNoiseFloors + 1];
  int32_t prevL_E;
  int32_t prevFreqRes[kSbrEnvelopes];
  int32_t prevL_Q;
};

// Values are the integers of the bitstream after delta decoding; products and
// sums wrap at 16 bits.
struct SbrChannelData {
  int32_t bs_add_harmonic_flag;
  int32_t reserved;
  int32_t bs_add_harmonic[kSbrBandRoom];
  int32_t bs_df_env[kSbrEnvelopes];
  int32_t bs_df_noise[5];
  int32_t envOffset[kSbrEnvelopes + 1];
  int16_t envValues[320];
  int16_t prevEnv[kSbrBandRoom];
  int32_t noiseOffset[kSbrNoiseFloors + 1];
  int16_t noiseValues[kSbrNoiseFloors * kSbrNoiseBands];
  int16_t prevNoise[kSbrBandRoom];
};

struct SbrElement {
  int32_t bs_start_freq;
  int32_t bs_stop_freq;
  int32_t bs_freq_scale;
  int32_t bs_alter_scale;
  int32_t bs_xover_band;
  int32_t bs_noise_bands;
  int32_t bs_amp_res;
  int32_t bs_limiter_bands;
  int32_t bs_limiter_gains;
  int32_t bs_interpol_freq;
  int32_t bs_smoothing_mode;
  int32_t resetFlag;  // 1: tables have to be rebuilt, the signal path starts anew

  int32_t f_Master[kSbrTableSize];
  int32_t f_TableHigh[kSbrTableSize];
  int32_t f_TableLow[kSbrTableSize];
  int32_t f_TableNoise[kSbrTableSize];
  int32_t f_TableLim[kSbrTableSize];
  int32_t N_master;
  int32_t N_high;
  int32_t N_low;
  int32_t N_Q;
  int32_t reserved;
  int32_t N_L;
  int32_t numPatches;
  int32_t patchNumSubbands[kSbrPatches];
  int32_t patchStartSubband[kSbrPatches];

  SbrGrid grid[2];
  SbrChannelData channelData[2];
  const DspVlcTable* huffTables[10];
  int32_t bs_sbr_crc_bits;  // kept, compared with nothing
  int32_t bs_coupling;
  int32_t bs_frame_class[2];
  int32_t bs_pointer[2];
  int32_t bs_invf_mode[2][kSbrNoiseBands];
  int32_t prevInvfMode[2][kSbrNoiseBands];
  int32_t M;
  int32_t prevM;
  int32_t kx;
  int32_t prevKx;
  int32_t k0;
  int32_t slotOverrun[2];
  int32_t elementId;          // 0 single channel, 1 channel pair; 2 and above: no band replication
  int32_t headerCount;        // 0: nothing can be decoded yet
  int32_t sbrError;           // 0, or the status of the last failure
  int32_t samplingIndex;      // of the output rate; -1 before the first setting
  int32_t samplingFrequency;  // hertz, of the output rate
  int32_t fillBitsLeft;
  PsState* ps;  // null unless parametric stereo may be read
};

// Initial values; tables and grids are zero before.
void SbrElementInit(SbrElement* element);

}  // namespace orbel
