// What the real-valued path of band replication has to add, since its QMF bank does
// not cancel aliasing between bands of different gain (ISO/IEC 14496-3, subpart 4).
#pragma once

#include <cstdint>

namespace orbel {

// The degree of aliasing of the low bands 0 to bands - 1, 0 for none to 1, from their
// reflection coefficients.
void SbrAliasingDegree(const float* reflection, int32_t bands, float* degree);

// Brings the squared gains of neighbouring bands that share a tone together, as far as
// the degree of aliasing says; the energy of such a group stays. All are by place in
// the high band; `sine` is not 0 where a band has a sinusoid.
void SbrReduceAliasing(const float* degree, const float* sine, const float* energy, int32_t bands,
                       float* squaredGain);

}  // namespace orbel
