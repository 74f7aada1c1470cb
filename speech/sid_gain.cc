#include "speech/sid_gain.h"

#include <algorithm>

#include "speech/two_word.h"

namespace orbel {

// tab_Sidgain of ITU-T G.729 Annex B.
const int16_t kSidGain[kSidGainSteps] = {
    2,   5,   8,   13,   20,   32,   50,   64,   80,   101,  127,  160,  201,  253,   318,   401,
    505, 635, 800, 1007, 1268, 1596, 2010, 2530, 3185, 4009, 5048, 6355, 8000, 10071, 12679, 15962};

QuantisedEnergy QuantiseEnergy(const int16_t* energies, const int16_t* exponents, int32_t count) {
  using namespace fixed;
  // fact, by count, and marg: room for a sum of two.
  static constexpr int16_t kFactor[3] = {410, 26, 13};
  int16_t scale = 0;
  int32_t sum = 0;
  if (count == 0) {
    sum = LShl(energies[0], exponents[0]);
  } else {
    const int16_t least = *std::min_element(exponents, exponents + count);
    scale = Sub(Add(least, 16), static_cast<int16_t>(count - 1));
    for (int i = 0; i < count; ++i) sum = LAdd(sum, LShl(energies[i], Sub(scale, exponents[i])));
  }
  const Logarithm log = Log2(Mpy32_16(Split(sum), kFactor[count]));
  const int16_t e = Add(Shl(Sub(log.exponent, scale), 10), MultR(log.fraction, 1024));

  if (e <= -2721) return {0, -12};
  if (e > 22111) return {31, 66};
  if (e <= 4762) {
    const int16_t index = std::max<int16_t>(1, Mult(Add(e, 3401), 24));
    return {index, static_cast<int16_t>(4 * (index - 2))};
  }
  const int32_t step = (Mult(Sub(e, 340), 193) >> 2) - 1;
  const int16_t index = static_cast<int16_t>(std::max(6, step));
  return {index, static_cast<int16_t>(2 * (index + 2))};
}

}  // namespace orbel
