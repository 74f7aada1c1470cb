// dsp/ps_kernels.h has the contracts.
