// dsp/sbr_kernels.h has the contracts.
