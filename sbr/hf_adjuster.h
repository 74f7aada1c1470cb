// Envelope adjustment of band replication (ISO/IEC 14496-3, subpart 4): gains, noise
// levels and sinusoids that give the generated band the energies that were sent.
#pragma once

#include <cstdint>

#include "sbr/sbr_channel.h"

namespace orbel {

// Where an envelope's sinusoids may start; -1 when the frame has no such place.
int32_t SbrTransientEnvelope(const SbrElement& element, int32_t channel);

// One envelope, as amplitudes by place in the high band; zero behind the last one.
struct SbrLevels {
  alignas(16) float gain[kQmfBands];
  alignas(16) float noise[kQmfBands];  // 0 where nothing is to be added
  alignas(16) float sine[kQmfBands];
  bool smoothed;
  bool noisy;  // noise is to be added
};

// The levels of envelope `l` before smoothing; `noise` has those of bands with a
// sinusoid too. `active` tells the places that have a sinusoid in it.
void SbrEnvelopeLevels(const SbrElement& element, int32_t channel, int32_t sbrMode, int32_t l,
                       bool transient, const uint8_t* active, const SbrWork& work,
                       SbrLevels* levels);

// From the high rows to the output rows, and to those that ran over, from band kx on.
void SbrHfAdjust(SbrElement* element, int32_t channel, SbrChannel* state, int32_t sbrMode,
                 SbrWork* work);

}  // namespace orbel
