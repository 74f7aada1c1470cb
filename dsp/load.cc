// The library's load entry.
#include "dsp/dispatch.h"

namespace orbel {
namespace {

// The vendor's warning is of no interest here: the level is right all the same.
__attribute__((constructor)) void OnLoad() { dspInit(); }

}  // namespace
}  // namespace orbel
