// The layers of an ER BSAC frame: what each one adds, and how many bits it may take
// (ISO/IEC 14496-3, subpart 4).
#pragma once

#include <cstdint>

#include "aac/channel_stream.h"

namespace orbel {

constexpr int32_t kBsacMaxBaseLayers = 32;
constexpr int32_t kBsacMaxEnhancementLayers = 63;
constexpr int32_t kBsacMaxLayers = kBsacMaxBaseLayers + kBsacMaxEnhancementLayers;

// bsac_header() and the parts of general_header() that no other object type has. Fields
// with two places are a channel's.
struct BsacHeader {
  int32_t frame_length;   // bytes
  int32_t header_length;  // as coded
  int32_t sba_mode;
  int32_t top_layer;
  int32_t base_snf_thr;
  int32_t max_scalefactor[2];
  int32_t base_band;
  int32_t cband_si_type[2];
  int32_t base_scf_model[2];
  int32_t enh_scf_model[2];
  int32_t max_sfb_si_len[2];
  int32_t pns_data_present;
  int32_t pns_start_sfb;
  int32_t headerBytes;  // to the first byte of the layers
};

struct BsacLayer {
  int32_t group;
  // Lines of the frame, in coded order: a group of short windows begins at 128 times its
  // first window, and has its windows by fours of lines.
  int32_t firstLine, endLine;
  int32_t firstBand, endBand;  // coding bands of 32 such lines
  int32_t firstSfb, endSfb;    // scale factor bands of the group
  int32_t startsGroup;         // firstBand is the first one of the group
};

struct BsacLayers {
  int32_t base;   // the base layers
  int32_t count;  // all layers
  BsacLayer layer[kBsacMaxLayers];
  int32_t firstBit[kBsacMaxLayers + 1];  // in the frame; the last one is its end
};

// `ics` has the windows and their groups. `index` is the sampling index, 0 to 12, and
// `frequency` its frequency in hertz.
void PlanBsacLayers(const BsacHeader& header, const IndividualChannelStream& ics, int32_t index,
                    BsacLayers* layers);
void BudgetBsacLayers(const BsacHeader& header, int32_t channels, int32_t frequency,
                      BsacLayers* layers);

}  // namespace orbel
