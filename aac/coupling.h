// Coupling channel elements (ISO/IEC 14496-3, subpart 4): a channel that is
// added, with gains, into others.
#pragma once

#include <cstdint>

#include "aac/bit_reader.h"
#include "aac/channel_stream.h"

namespace orbel {

constexpr int32_t kMaxCoupledTargets = 9;
constexpr int32_t kMaxGainLists = 18;
constexpr int32_t kMaxCouplingElements = 2;

// The parse record of one element.
struct CouplingChannelElement {
  int32_t element_instance_tag;
  int32_t crcEnabled;
  int32_t crcValue;
  IndividualChannelStream stream;
  int16_t gainValues[kMaxGainLists][kMaxWindows][kMaxBands];
  int32_t cgeFlags[kMaxGainLists];
};

// What outlives the parse, until the end of the frame.
struct CouplingInfo {
  int32_t ind_sw_cce_flag;
  int32_t num_coupled_elements;  // as coded: one less than there are
  int32_t cc_target_is_cpe[kMaxCoupledTargets];
  int32_t cc_target_tag_select[kMaxCoupledTargets];
  int32_t targetChannel[kMaxCoupledTargets];  // -1: not in the stream
  int32_t cc_lr[kMaxCoupledTargets];          // left flag times 2 plus right flag; 0 if single
  int32_t cc_domain;                          // 0 before noise shaping, 1 after
  int32_t gain_element_sign;
  int32_t gain_element_scale;
  int32_t num_gain_element_lists;
  int32_t cgeFlags[kMaxGainLists];
  int32_t numGroups;
  int32_t maxSfb;
  int32_t groupLength[kMaxWindows];
  const int32_t* swbOffset;
};

// Two slots of eight rows for each target: the second one is for its second
// channel.
struct CouplingGains {
  float gain[2 * kMaxCoupledTargets][kMaxWindows][kMaxBands];
};

// 0, or -1 when the frame is bad.
int32_t CouplingChannelElementParse(CouplingChannelElement* element, CouplingInfo* info,
                                    BitReader* reader, int32_t objectType);

// Turns the gain lists into factors.
void CouplingGainsCompute(const CouplingChannelElement& element, const CouplingInfo& info,
                          CouplingGains* gains);

// Adds `lines`, 1024 of them with short windows in window order, to the spectra
// of the targets. `spectra` are those of all channels.
void CouplingApply(const CouplingInfo& info, const CouplingGains& gains, const float* lines,
                   float (*spectra)[kFrameLength], int32_t channels);

}  // namespace orbel
