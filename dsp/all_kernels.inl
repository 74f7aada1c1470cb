// Included inside each processor level's namespace. Level files pull in no
// library header with inline code: the linker could merge a copy made for a
// newer processor into code for an older one.
#define DSP_DECLARE(name, parameters, arguments) int32_t name parameters noexcept;
DSP_KERNELS(DSP_DECLARE)
#undef DSP_DECLARE

#include "dsp/common.inl"
#include "dsp/g711.inl"
#include "dsp/g726.inl"
#include "dsp/speech.inl"
#include "dsp/vector.inl"
