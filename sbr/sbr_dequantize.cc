#include <algorithm>
#include <array>
#include <bit>
#include <numbers>

#include "sbr/sbr_channel.h"

namespace orbel {
namespace {

constexpr int32_t kNoiseFloorOffset = 6;
constexpr int32_t kBalances = 25;
constexpr int32_t kLargestEnvelope = 128;
// No signal has energies beyond these, and sums and products of them stay finite.
constexpr int32_t kLargestExponent = 64;
constexpr int32_t kSmallestExponent = -100;

float PowerOfTwo(int32_t exponent) {
  const int32_t held = std::clamp(exponent, kSmallestExponent, kLargestExponent);
  return std::bit_cast<float>((held + 127) << 23);
}

// 2 / (1 + 2^(12 - i))
constexpr std::array<float, kBalances> kBalance = [] {
  std::array<float, kBalances> balance{};
  for (int32_t i = 0; i < kBalances; ++i) {
    const double power = i <= 12 ? 1 << (12 - i) : 1.0 / (1 << (i - 12));
    balance[static_cast<size_t>(i)] = static_cast<float>(2.0 / (1.0 + power));
  }
  return balance;
}();

float Envelope(int32_t value, int32_t bs_amp_res) {
  const int32_t held = std::clamp(value, 0, kLargestEnvelope);
  if (bs_amp_res != 0) return PowerOfTwo(held);
  const float whole = PowerOfTwo(held >> 1);
  return (held & 1) != 0 ? whole * std::numbers::sqrt2_v<float> : whole;
}

// The share of channel 0's value that a channel of a coupled pair has.
float Share(int32_t channel, int32_t balance) {
  const int32_t r = std::clamp(balance, 0, kBalances - 1);
  return kBalance[static_cast<size_t>(channel == 0 ? r : kBalances - 1 - r)];
}

}  // namespace

void SbrDequantize(const SbrElement& element, int32_t channel, int32_t bs_amp_res,
                   float (*E_orig)[kQmfBands], float (*Q_orig)[kSbrNoiseBands]) {
  const bool coupled = element.elementId == 1 && element.bs_coupling != 0;
  const SbrGrid& grid = element.grid[channel];
  const SbrChannelData& level = element.channelData[coupled ? 0 : channel];
  const SbrChannelData& balance = element.channelData[1];
  const int32_t envelopes = std::clamp(grid.L_E, 1, kSbrEnvelopes);
  for (int32_t l = 0; l < envelopes; ++l) {
    const int32_t bands = grid.freqRes[l] != 0 ? element.N_high : element.N_low;
    const int16_t* values = level.envValues + level.envOffset[l];
    for (int32_t k = 0; k < bands; ++k) E_orig[l][k] = Envelope(values[k], bs_amp_res);
    if (!coupled) continue;
    const int16_t* shares = balance.envValues + balance.envOffset[l];
    const int32_t halves = bs_amp_res != 0 ? 0 : 1;
    for (int32_t k = 0; k < bands; ++k) E_orig[l][k] *= Share(channel, shares[k] >> halves);
  }
  const int32_t floors = std::clamp(grid.L_Q, 1, kSbrNoiseFloors);
  const int32_t bands = std::clamp(element.N_Q, 1, kSbrNoiseBands);
  for (int32_t q = 0; q < floors; ++q) {
    const int16_t* values = level.noiseValues + level.noiseOffset[q];
    const int16_t* shares = balance.noiseValues + balance.noiseOffset[q];
    for (int32_t k = 0; k < bands; ++k) {
      Q_orig[q][k] = PowerOfTwo(kNoiseFloorOffset - values[k]);
      if (coupled) Q_orig[q][k] *= Share(channel, shares[k]);
    }
  }
}

}  // namespace orbel
