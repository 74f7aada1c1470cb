#include "sbr/sbr_payload.h"

namespace orbel {
namespace {

int32_t Read(BitReader* reader, int32_t count) {
  return static_cast<int32_t>(FastGetBits(reader, count));
}

// Stores a field that the frequency tables depend on; 1 when it is new.
int32_t Change(int32_t* field, int32_t value) {
  const int32_t changed = *field != value ? 1 : 0;
  *field = value;
  return changed;
}

}  // namespace

int32_t SbrHeaderParse(BitReader* reader, SbrElement* element) {
  element->bs_amp_res = Read(reader, 1);
  int32_t changed = Change(&element->bs_start_freq, Read(reader, 4));
  changed |= Change(&element->bs_stop_freq, Read(reader, 4));
  changed |= Change(&element->bs_xover_band, Read(reader, 3));
  Read(reader, 2);  // bs_reserved
  const bool extra1 = Read(reader, 1) != 0;
  const bool extra2 = Read(reader, 1) != 0;
  changed |= Change(&element->bs_freq_scale, extra1 ? Read(reader, 2) : 2);
  changed |= Change(&element->bs_alter_scale, extra1 ? Read(reader, 1) : 1);
  changed |= Change(&element->bs_noise_bands, extra1 ? Read(reader, 2) : 2);
  element->bs_limiter_bands = extra2 ? Read(reader, 2) : 2;
  element->bs_limiter_gains = extra2 ? Read(reader, 2) : 2;
  element->bs_interpol_freq = extra2 ? Read(reader, 1) : 1;
  element->bs_smoothing_mode = extra2 ? Read(reader, 1) : 1;
  // Before the first header there are no tables, whatever the fields.
  element->resetFlag = element->headerCount <= 1 ? 1 : changed;
  return 16 + (extra1 ? 5 : 0) + (extra2 ? 6 : 0);
}

}  // namespace orbel
