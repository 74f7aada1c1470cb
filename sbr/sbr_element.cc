#include "sbr/sbr_element.h"

#include <algorithm>

#include "sbr/sbr_code_tables.h"
#include "sbr/sbr_huffman_tables.h"

namespace orbel {

void SbrElementInit(SbrElement* element) {
  *element = SbrElement{};
  element->bs_start_freq = 5;
  element->bs_freq_scale = 2;
  element->bs_alter_scale = 1;
  element->bs_noise_bands = 2;
  element->bs_amp_res = 1;
  element->bs_limiter_bands = 2;
  element->bs_limiter_gains = 2;
  element->bs_interpol_freq = 1;
  element->bs_smoothing_mode = 1;
  element->resetFlag = 1;
  for (SbrGrid& grid : element->grid) grid.prevL_E = grid.prevL_Q = 1;
  std::copy_n(SbrCodeTables(), kSbrHuffmanBookCount, element->huffTables);
  element->kx = element->prevKx = kQmfCoreBands;
  element->samplingIndex = -1;
}

}  // namespace orbel
