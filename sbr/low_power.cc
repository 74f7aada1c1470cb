#include "sbr/low_power.h"

#include <algorithm>

namespace orbel {
namespace {

// Beyond what the limiter and its compensation let through.
constexpr float kLargestGain = 1e11F;

void EvenOut(const float* degree, const float* energy, int32_t first, int32_t end, int32_t bands,
             float* squaredGain) {
  float total = 0;
  float sum = 0;
  for (int32_t k = first; k < end; ++k) {
    total += energy[k] * squaredGain[k];
    sum += energy[k];
  }
  const float mean = sum > 0 ? total / sum : 0.0F;
  float after = 0;
  for (int32_t k = first; k < end; ++k) {
    const float a = k + 1 < bands ? std::max(degree[k], degree[k + 1]) : degree[k];
    squaredGain[k] = a * mean + (1.0F - a) * squaredGain[k];
    after += energy[k] * squaredGain[k];
  }
  if (!(after > 0)) return;
  const float factor = total / after;
  for (int32_t k = first; k < end; ++k)
    squaredGain[k] = std::min(squaredGain[k] * factor, kLargestGain);
}

}  // namespace

void SbrAliasingDegree(const float* reflection, int32_t bands, float* degree) {
  std::fill_n(degree, bands, 0.0F);
  for (int32_t k = 2; k < bands; ++k) {
    const float sign = (k & 1) == 0 ? 1.0F : -1.0F;
    if (!(sign * reflection[k] < 0)) continue;
    const float partial = 1.0F - reflection[k - 1] * reflection[k - 1];
    const bool second = sign * reflection[k - 2] > 0;
    if (sign * reflection[k - 1] < 0) {
      degree[k] = 1.0F;
      if (second) degree[k - 1] = partial;
    } else if (second) {
      degree[k] = partial;
    }
  }
}

void SbrReduceAliasing(const float* degree, const float* sine, const float* energy, int32_t bands,
                       float* squaredGain) {
  int32_t first = -1;
  for (int32_t k = 0; k + 1 < bands; ++k) {
    if (degree[k + 1] != 0 && sine[k] == 0) {
      if (first < 0) first = k;
    } else if (first >= 0) {
      EvenOut(degree, energy, first, sine[k] != 0 ? k : k + 1, bands, squaredGain);
      first = -1;
    }
  }
  if (first >= 0) EvenOut(degree, energy, first, bands, bands, squaredGain);
}

}  // namespace orbel
