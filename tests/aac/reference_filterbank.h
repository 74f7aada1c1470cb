// Transforms, windows and the gain function of ISO/IEC 14496-3, subpart 4, in
// double precision and from their formulas.
#pragma once

#include <functional>
#include <vector>

#include "aac/aac_writer.h"

namespace orbel::aac_test {

template <class Container>
auto& At(Container& values, int i) {
  return values[static_cast<size_t>(i)];
}

// X(k) = 2 sum x(i) cos(...), half as many lines as samples.
std::vector<double> ForwardTransform(const std::vector<double>& samples);

// The window of n samples of a long, start or stop sequence.
std::vector<double> LongWindow(int n, int sequence, int prevShape, int shape);

// The inverse transforms of a frame of n / 2 lines, windowed and added up in n samples.
// `weight` gives a further factor for each window and sample in it.
std::vector<double> Frame(const double* lines, int n, int sequence, int prevShape, int shape,
                          const std::function<double(int, int)>& weight);

// The gain function of a band over all samples of a frame's windows, from the points of each
// window. `kept` is the part that goes from frame to frame, all ones at the start.
std::vector<double> GainFunction(const std::vector<GainPoint>* points, int sequence,
                                 std::vector<double>* kept);

// Coefficient j, 0 to 95, of the synthesis filter of band 0 to 3.
double BandFilter(int band, int j);

}  // namespace orbel::aac_test
