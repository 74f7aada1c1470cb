#include "dsp/rows.h"

#include "dsp/dispatch.h"
#include "dsp/kernels.h"
#include "dsp/primitives.h"

namespace orbel {

#define DSP_DECLARE_VARIANT(name, params, args) int32_t name params;
namespace sse2 {
DSP_KERNELS(DSP_DECLARE_VARIANT)
}
namespace sse3 {
DSP_KERNELS(DSP_DECLARE_VARIANT)
}
namespace ssse3 {
DSP_KERNELS(DSP_DECLARE_VARIANT)
}
namespace sse41 {
DSP_KERNELS(DSP_DECLARE_VARIANT)
}
namespace avx {
DSP_KERNELS(DSP_DECLARE_VARIANT)
}

#define DSP_DEFINE_ROW(name, params, args) \
  int32_t(*const name##Row[kDspLevels])    \
      params = {sse2::name, sse3::name, ssse3::name, sse41::name, avx::name};
DSP_KERNELS(DSP_DEFINE_ROW)

#define DSP_DEFINE_ENTRY(name, params, args) \
  int32_t name params { return name##Row[dspLevel] args; }
DSP_KERNELS(DSP_DEFINE_ENTRY)

}  // namespace orbel
