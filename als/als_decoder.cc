#include "als/als_decoder.h"

namespace orbel {

int32_t AlsConfigParse(AlsConfig* config, BitReader* /*reader*/) {
  *config = AlsConfig{};
  return 0;
}

}  // namespace orbel
