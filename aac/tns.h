// Temporal noise shaping (ISO/IEC 14496-3, subpart 4): linear prediction across
// the lines of a spectrum.
#pragma once

#include <cstdint>

#include "aac/bit_reader.h"
#include "aac/channel_stream.h"

namespace orbel {

constexpr int32_t kTnsSlots = 4;
constexpr int32_t kTnsMaxOrder = 20;

// A channel's filters as they are run. A slot has room for lpc[0], which is 1,
// and 19 more; an order of 20 reaches into the slot behind, whose own lpc[0]
// then takes the place of that last coefficient.
struct TnsRecord {
  float lpc[kMaxWindows][kTnsSlots * kTnsMaxOrder];
  int32_t order[kMaxWindows][kTnsSlots];      // 0: the slot is not in use
  int32_t length[kMaxWindows][kTnsSlots];     // lines
  int32_t direction[kMaxWindows][kTnsSlots];  // +1 or -1
  int32_t startLine[kMaxWindows][kTnsSlots];  // within the window
  int32_t windowCount;
  int32_t active;
};

void TnsDataParse(IndividualChannelStream* ics, BitReader* reader);

// Turns the parsed data into filters.
void TnsPrepare(const IndividualChannelStream& ics, TnsRecord* tns);

// Runs the all-pole filters over the 1024 lines of a channel, short windows in
// window order.
void TnsApply(const TnsRecord& tns, float* spectrum);

// Runs the moving-average form of one window's filters over its lines, 1024 or
// 128 of them, as the encoder did.
void TnsAnalysisFilter(const TnsRecord& tns, int32_t window, float* lines);

}  // namespace orbel
