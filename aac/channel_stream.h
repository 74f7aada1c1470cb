// The record of one channel of a syntactic element: what
// individual_channel_stream() of ISO/IEC 14496-3, subpart 4, carries.
#pragma once

#include <cstdint>

namespace orbel {

struct DspVlcTable;

constexpr int32_t kMaxWindows = 8;
constexpr int32_t kMaxBands = 51;
constexpr int32_t kFrameLength = 1024;
constexpr int32_t kShortLength = 128;
constexpr int32_t kMaxTnsFilters = 3;
constexpr int32_t kMaxTnsCodedOrder = 31;  // of which 20 are used
constexpr int32_t kLtpLongBands = 40;

// window_sequence
constexpr int32_t kOnlyLong = 0;
constexpr int32_t kLongStart = 1;
constexpr int32_t kEightShort = 2;
constexpr int32_t kLongStop = 3;

// sect_cb
constexpr int32_t kZeroBook = 0;
constexpr int32_t kEscapeBook = 11;
constexpr int32_t kNoiseBook = 13;
constexpr int32_t kIntensityBookOutOfPhase = 14;
constexpr int32_t kIntensityBook = 15;

// Audio object types that have rules of their own.
constexpr int32_t kObjectMain = 1;
constexpr int32_t kObjectLc = 2;
constexpr int32_t kObjectSsr = 3;
constexpr int32_t kObjectLtp = 4;
constexpr int32_t kObjectSbr = 5;
constexpr int32_t kObjectBsac = 22;
constexpr int32_t kObjectPs = 29;
constexpr int32_t kObjectAls = 36;

// Whether frames may have long-term prediction, so that its histories are kept.
constexpr bool HasLongTermPrediction(int32_t objectType) {
  return objectType == kObjectLtp || objectType == kObjectBsac;
}

// gain_control_data(), as parsed. Band 0 has none; index 0 stands for band 1.
struct GainControlData {
  int32_t max_band;
  int32_t adjust_num[3][kMaxWindows];
  int32_t alevcode[3][kMaxWindows][7];
  int32_t aloccode[3][kMaxWindows][7];
};

struct IndividualChannelStream {
  int32_t global_gain;
  int32_t ics_reserved_bit;
  int32_t window_sequence;
  int32_t window_shape;
  int32_t max_sfb;
  int32_t numSwbLong;  // bands of the sampling rate
  int32_t numSwbShort;
  int32_t scale_factor_grouping[7];
  int32_t num_window_groups;
  int32_t window_group_length[kMaxWindows];
  int32_t numWindows;  // 1 or 8
  int32_t predictor_data_present;
  int32_t predictor_reset;
  int32_t predictor_reset_group_number;
  int32_t predMaxSfb;
  uint8_t prediction_used[kMaxBands];
  int32_t pulse_data_present;
  int32_t tns_data_present;
  int32_t gain_control_data_present;
  int32_t sfb_cb[kMaxWindows][kMaxBands];
  // Scale factors, noise energies or intensity positions, by the band's book.
  int16_t scaleFactors[kMaxWindows][kMaxBands];
  // In bitstream order: group g lies behind the groups before it, band by band,
  // each band window by window. One line more than a frame, for the pulse that
  // the range check lets through.
  int16_t quantized[kFrameLength + 8];
  const int32_t* swbOffsetLong;             // numSwbLong + 1 entries
  const int32_t* swbOffsetShort;            // numSwbShort + 1 entries
  const DspVlcTable* const* huffmanTables;  // 0 scale factors, 1 to 11 the spectral books
  int32_t number_pulse;                     // as coded: one less than there are
  int32_t pulse_start_sfb;
  int32_t pulse_offset[5];
  int32_t pulse_amp[5];

  // tns_data()
  int32_t n_filt[kMaxWindows];
  int32_t coef_res[kMaxWindows];
  int32_t length[kMaxWindows][kMaxTnsFilters];
  int32_t order[kMaxWindows][kMaxTnsFilters];
  int32_t direction[kMaxWindows][kMaxTnsFilters];
  int32_t coef_compress[kMaxWindows][kMaxTnsFilters];
  int32_t coef[kMaxWindows][kMaxTnsFilters][kMaxTnsCodedOrder + 1];
  int32_t tnsLimits[4];  // bands short, bands long, order short, order long

  GainControlData gainControl;

  // ltp_data()
  int32_t ltp_data_present;
  int32_t ltp_lag_update;
  int32_t ltp_lag;
  int32_t ltp_coef;
  int32_t ltp_long_used[kMaxBands];
  int32_t ltp_short_used[kMaxWindows];
  int32_t ltp_short_lag_present[kMaxWindows];
  int32_t ltp_short_lag[kMaxWindows];

  // What the sections say as a whole.
  int32_t hasNoise;          // any band of the noise book
  int32_t hasIntensity;      // any band of the intensity books
  int32_t scaleFactorCodes;  // codes in scale_factor_data()
  int32_t codesBeforeNoise;  // of which so many in front of the first noise band's

  // Whether a scale factor, energy or position is beyond all that makes sound, so
  // that lines may come out infinite.
  int32_t wildScale;
};

// Bands and their borders for the window kind in use.
inline int32_t BandCount(const IndividualChannelStream& ics) {
  return ics.window_sequence == kEightShort ? ics.numSwbShort : ics.numSwbLong;
}
inline const int32_t* BandOffsets(const IndividualChannelStream& ics) {
  return ics.window_sequence == kEightShort ? ics.swbOffsetShort : ics.swbOffsetLong;
}

}  // namespace orbel
