// dsp/qmf_kernels.h has the contracts.
