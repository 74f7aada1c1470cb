// sbr_grid(), sbr_dtdf() and sbr_invf() of ISO/IEC 14496-3, subpart 4.
#pragma once

#include <cstdint>

#include "aac/bit_reader.h"
#include "sbr/sbr_element.h"

namespace orbel {

// The time grid of a channel: bits read, or -13 with *status at -13 for more envelopes
// than there may be or a border too late; the grid is partly overwritten then.
//
// Nothing else is checked. Borders of a grid that passes lie between -8 and 19; they
// may stand still or decrease, and those of noise floors may lie anywhere among them.
int32_t SbrGridParse(BitReader* reader, int32_t* bs_frame_class, int32_t* bs_pointer, SbrGrid* grid,
                     int32_t* status);

// Both return the bits read.
int32_t SbrDtdfParse(BitReader* reader, int32_t* bs_df_env, int32_t* bs_df_noise, int32_t L_E,
                     int32_t L_Q);
int32_t SbrInvfParse(int32_t channel, BitReader* reader, SbrElement* element);

}  // namespace orbel
