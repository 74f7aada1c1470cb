#include "aac/tns.h"

#include <algorithm>

#include "dsp/primitives.h"

namespace orbel {
namespace {

// Reflection coefficients by coded value, from -4 and from -8 on:
// sin(c * (pi / 2) / (2^(res - 1) - 0.5)), for negative c with + 0.5.
constexpr float kReflection3[8] = {-0.984807753F, -0.866025404F, -0.642787610F, -0.342020143F,
                                   0.0F,          0.433883739F,  0.781831482F,  0.974927912F};
constexpr float kReflection4[16] = {-0.995734176F, -0.961825643F, -0.895163291F, -0.798017227F,
                                    -0.673695644F, -0.526432163F, -0.361241666F, -0.183749518F,
                                    0.0F,          0.207911691F,  0.406736643F,  0.587785252F,
                                    0.743144825F,  0.866025404F,  0.951056516F,  0.994521895F};

// Takes steps of +1 or -1.
int32_t SignExtend(int32_t value, int32_t bits) {
  const int32_t sign = 1 << (bits - 1);
  return (value & (sign - 1)) - (value & sign);
}

// The step-up recursion from reflection to prediction coefficients.
void TnsCoefficients(int32_t order, int32_t resolution, int32_t compress, const int32_t* coefs,
                     float* lpc) {
  lpc[0] = 1.0F;
  for (int32_t k = 1; k <= order; ++k) {
    const int32_t value = SignExtend(coefs[k - 1], resolution - compress);
    const float p = resolution == 3 ? kReflection3[value + 4] : kReflection4[value + 8];
    lpc[k] = p;
    for (int32_t i = 1; i <= k / 2; ++i) {
      const float x = lpc[i];
      const float y = lpc[k - i];
      lpc[i] = x + p * y;
      if (i != k - i) lpc[k - i] = y + p * x;
    }
  }
}

void MovingAverage(const float* lpc, int32_t order, float* line, int32_t step, int32_t count) {
  float history[2 * kTnsMaxOrder] = {};  // newest first, twice, so that no term wraps
  int32_t newest = 0;
  for (int32_t n = 0; n < count; ++n, line += step) {
    const float input = *line;
    float value = input;
    const float* past = history + newest;
    for (int32_t k = 1; k <= order; ++k) value += lpc[k] * past[k - 1];
    *line = value;
    newest = newest == 0 ? order - 1 : newest - 1;
    history[newest] = input;
    history[newest + order] = input;
  }
}

template <typename Filter>
void RunFilters(const TnsRecord& tns, int32_t window, float* lines, Filter filter) {
  for (int32_t slot = 0; slot < kTnsSlots; ++slot) {
    const int32_t order = tns.order[window][slot];
    if (order == 0) continue;
    filter(tns.lpc[window] + slot * kTnsMaxOrder, order, lines + tns.startLine[window][slot],
           tns.direction[window][slot], tns.length[window][slot]);
  }
}

}  // namespace

void TnsDataParse(IndividualChannelStream* ics, BitReader* reader) {
  const bool isShort = ics->window_sequence == kEightShort;
  const auto read = [reader](int32_t bits) {
    return static_cast<int32_t>(FastGetBits(reader, bits));
  };
  for (int32_t w = 0; w < ics->numWindows; ++w) {
    ics->n_filt[w] = read(isShort ? 1 : 2);
    if (ics->n_filt[w] != 0) ics->coef_res[w] = read(1);
    for (int32_t f = 0; f < ics->n_filt[w]; ++f) {
      ics->length[w][f] = read(isShort ? 4 : 6);
      ics->order[w][f] = read(isShort ? 3 : 5);
      if (ics->order[w][f] == 0) continue;
      ics->direction[w][f] = read(1);
      ics->coef_compress[w][f] = read(1);
      const int32_t bits = ics->coef_res[w] + 3 - ics->coef_compress[w][f];
      for (int32_t i = 0; i < ics->order[w][f]; ++i) ics->coef[w][f][i] = read(bits);
    }
  }
}

void TnsPrepare(const IndividualChannelStream& ics, TnsRecord* tns) {
  tns->active = ics.tns_data_present;
  if (tns->active == 0) return;
  const bool isShort = ics.window_sequence == kEightShort;
  const int32_t* offsets = BandOffsets(ics);
  const int32_t limit = std::min(ics.tnsLimits[isShort ? 0 : 1], ics.max_sfb);
  const int32_t maxOrder = std::min(ics.tnsLimits[isShort ? 2 : 3], kTnsMaxOrder);
  tns->windowCount = ics.numWindows;
  for (int32_t w = 0; w < ics.numWindows; ++w) {
    std::fill_n(tns->order[w], kTnsSlots, 0);
    int32_t top = BandCount(ics);
    for (int32_t f = 0; f < ics.n_filt[w]; ++f) {
      const int32_t bottom = std::max(top - ics.length[w][f], 0);
      const int32_t order = std::min(ics.order[w][f], maxOrder);
      if (order != 0) {
        TnsCoefficients(order, ics.coef_res[w] + 3, ics.coef_compress[w][f], ics.coef[w][f],
                        tns->lpc[w] + f * kTnsMaxOrder);
        const int32_t start = offsets[std::min(bottom, limit)];
        const int32_t end = offsets[std::min(top, limit)];
        if (end > start) {
          const bool down = ics.direction[w][f] != 0;
          tns->order[w][f] = order;
          tns->length[w][f] = end - start;
          tns->direction[w][f] = down ? -1 : 1;
          tns->startLine[w][f] = down ? end - 1 : start;
        }
      }
      top = bottom;
    }
  }
}

void TnsApply(const TnsRecord& tns, float* spectrum) {
  for (int32_t w = 0; w < tns.windowCount; ++w)
    RunFilters(tns, w, spectrum + w * kShortLength, dspAllPole_32f_I);
}

void TnsAnalysisFilter(const TnsRecord& tns, int32_t window, float* lines) {
  RunFilters(tns, window, lines, MovingAverage);
}

}  // namespace orbel
