#include "dsp/dispatch.h"
#include "dsp/primitives.h"
#include "dsp/rows.h"

namespace orbel {

#define DSP_DECLARE(name, parameters, arguments) int32_t name parameters noexcept;
namespace sse2 {
DSP_KERNELS(DSP_DECLARE)
}
namespace sse3 {
DSP_KERNELS(DSP_DECLARE)
}
namespace ssse3 {
DSP_KERNELS(DSP_DECLARE)
}
namespace sse41 {
DSP_KERNELS(DSP_DECLARE)
}
namespace avx {
DSP_KERNELS(DSP_DECLARE)
}
#undef DSP_DECLARE

#define DSP_DEFINE(name, parameters, arguments)                                           \
  constinit const name##Function name##Row[kDspLevels] = {&sse2::name, &sse3::name,       \
                                                          &ssse3::name, &sse41::name,     \
                                                          &avx::name};                    \
  int32_t name parameters noexcept { return name##Row[dspLevel] arguments; }
DSP_KERNELS(DSP_DEFINE)
#undef DSP_DEFINE

}  // namespace orbel
