// Fill elements and what they carry (ISO/IEC 14496-3, subpart 4): filling,
// dynamic range data, band replication.
#pragma once

#include <cstdint>

#include "aac/bit_reader.h"
#include "sbr/sbr_payload.h"

namespace orbel {

// The level at which extension payloads are looked into; at any other one the
// whole element is skipped.
constexpr int32_t kReadExtensions = 777;

constexpr int32_t kDynamicRangeBands = 16;

// dynamic_range_info(). Read and not applied: what is played does not depend on it.
struct DynamicRangeInfo {
  int32_t pce_instance_tag;
  int32_t drc_num_bands;
  int32_t drc_band_top[kDynamicRangeBands];
  int32_t prog_ref_level;
  int32_t dyn_rng_sgn[kDynamicRangeBands];
  int32_t dyn_rng_ctl[kDynamicRangeBands];
};

// What a fill element needs of the frame.
struct FillContext {
  SbrElement* record;  // of the band replication slot that comes next
  int32_t* sbrCount;   // slots in use
  int32_t sbrSupportLevel;
};

// 0, or -13 for a bad payload.
int32_t FillElementParse(const FillContext& context, DynamicRangeInfo* range, BitReader* reader);

}  // namespace orbel
