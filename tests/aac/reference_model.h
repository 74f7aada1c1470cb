// A slow rendering of AAC straight from the formulas of ISO/IEC 14496-3, in
// double precision and direct form. It starts from the values that were laid
// down, never from the bits, and shares no code with the decoder.
#pragma once

#include <array>
#include <map>
#include <utility>
#include <vector>

#include "aac/aac_writer.h"

namespace orbel::aac_test {

using Spectrum = std::array<double, kLines>;
using Signal = std::array<double, kLines>;

class ReferenceModel {
 public:
  // At 44.1 or 48 kHz.
  explicit ReferenceModel(const Format& format);

  // One block: a signal for each channel of its elements but the coupling ones,
  // in the order in which they stand.
  std::vector<Signal> Decode(const Block& block);

  int tnsOrder;  // TNS_MAX_ORDER of long windows

 private:
  struct Predictor {
    float cor[2] = {}, var[2] = {1, 1}, r[2] = {};
  };
  struct ChannelState {
    ChannelState();
    int prevShape = 0;
    std::array<double, kLines> overlap = {};
    std::array<double, 3 * kLines> past = {};  // for LTP: two frames and the overlap
    std::array<Predictor, kLines> predictors;
    std::array<double, 256> bandOverlap[4] = {};
    std::vector<double> fragment[4];  // of the gain function, from the last window
    std::vector<double> bandPast[4];
  };
  struct Filter {
    int order, start, end, step;
    double lpc[20 + 1];
  };
  using Filters = std::vector<std::vector<Filter>>;  // by window
  struct Work {
    const Element* element;
    const Channel* channel;
    ChannelState* state;
    Spectrum x;
    Filters tns;
    Signal out;
  };

  Spectrum Dequantise(const Channel& channel) const;
  void MidSide(const Element& element, Spectrum* left, Spectrum* right) const;
  void Noise(const Element& element, int c, Work* left, Work* right);
  void Intensity(const Element& element, Spectrum* left, Spectrum* right) const;
  void Predict(const Channel& channel, ChannelState* state, Spectrum* x) const;
  void PredictLongTerm(const Work& work, Spectrum* x) const;
  Filters PrepareTns(const Channel& channel) const;
  void Couple(const Element& element, const Spectrum& x, std::vector<Work>* works,
              std::array<GainList, 18>* slots) const;
  void Synthesise(Work* work) const;
  void SynthesiseBands(Work* work) const;

  Format format_;
  uint32_t noiseSeed_ = 0;
  std::map<std::pair<int, int>, ChannelState> states_;  // by element, key and channel
};

}  // namespace orbel::aac_test
