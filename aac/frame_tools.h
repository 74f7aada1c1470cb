// Counts of what a stream uses, for those who describe streams.
#pragma once

#include <cstdint>

namespace orbel {

// Every figure counts occurrences since the record was cleared: frames for
// `frames`, channels of frames for windows and channel tools, scale factor bands
// for the band tools, elements for the rest.
struct FrameTools {
  int64_t frames;
  int64_t windowSequence[4];  // long, start, eight short, stop
  int64_t windowShape[2];     // sine, Kaiser-Bessel derived
  int64_t pulse;
  int64_t tns;
  int64_t noiseBands;
  int64_t midSideBands;
  int64_t intensityBands;
  int64_t mainPrediction;
  int64_t longTermPrediction;
  int64_t gainControl;
  int64_t elements[8];  // by id_syn_ele
  int64_t sbrFrames;    // with band replication
  int64_t psFrames;     // with parametric stereo

  // Of the first element's band replication, as it stood last.
  int32_t sbrHeaders;                 // since the start
  int32_t sbrStartBand, sbrStopBand;  // QMF bands of the high band
  int32_t sbrBands, sbrNoiseBands, sbrPatches;
  int32_t sbrRate;  // hertz, of the full band
};

}  // namespace orbel
