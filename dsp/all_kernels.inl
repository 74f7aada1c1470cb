// Every kernel. Included inside the namespace of a processor level.

#define DSP_DECLARE_VARIANT(name, params, args) int32_t name params;
DSP_KERNELS(DSP_DECLARE_VARIANT)
#undef DSP_DECLARE_VARIANT

#include "dsp/kernel_support.inl"

#include "dsp/als.inl"
#include "dsp/bsac.inl"
#include "dsp/common.inl"
#include "dsp/float_vectors.inl"
#include "dsp/g711.inl"
#include "dsp/g726.inl"
#include "dsp/prediction.inl"
#include "dsp/sbr.inl"
#include "dsp/spectrum.inl"
#include "dsp/speech.inl"
#include "dsp/tools.inl"
#include "dsp/transform.inl"
#include "dsp/vector_arithmetic.inl"
#include "dsp/vlc.inl"

// With what transform.inl has.
#include "dsp/ps.inl"
#include "dsp/qmf.inl"
