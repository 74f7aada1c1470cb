#include "dsp/g726_tables.h"

namespace orbel {
namespace {

// One row for each magnitude, as the recommendation's tables have them: the first
// logarithm of the difference that QUAN gives this magnitude (that of magnitude 0
// has no lower end), RECONST's output, W(I) and F(I).
struct Level {
  int dlnFrom, dqln, wi, fi;
};

constexpr int kOpen = -2048;

constexpr Level kLevels16[] = {
    {kOpen, 116, -22, 0},
    {261, 365, 439, 7},
};

constexpr Level kLevels24[] = {
    {kOpen, -2048, -4, 0},
    {8, 135, 30, 1},
    {218, 273, 137, 2},
    {331, 373, 582, 7},
};

constexpr Level kLevels32[] = {
    {kOpen, -2048, -12, 0}, {-124, 4, 18, 0},   {80, 135, 41, 0},   {178, 213, 64, 1},
    {246, 273, 112, 1},     {300, 323, 198, 1}, {349, 373, 355, 3}, {400, 425, 1122, 7},
};

constexpr Level kLevels40[] = {
    {kOpen, -2048, 14, 0}, {-122, -66, 14, 0}, {-16, 28, 24, 0},   {68, 104, 39, 0},
    {139, 169, 40, 0},     {198, 224, 41, 1},  {250, 274, 58, 1},  {298, 318, 100, 1},
    {339, 358, 141, 1},    {378, 395, 179, 1}, {413, 429, 219, 2}, {445, 459, 280, 3},
    {475, 488, 358, 4},    {502, 514, 440, 5}, {528, 539, 529, 6}, {553, 566, 696, 6},
};

// Spreads the rows over the codes: a code with the sign bit has the magnitude of
// its ones' complement.
template <int kCount>
constexpr G726Rate Spread(const Level (&levels)[kCount]) {
  G726Rate rate = {};
  for (int16_t& from : rate.dlnFrom) from = 32767;
  for (int i = 0; i < kCount; ++i) {
    const int32_t wi = levels[i].wi * 32;
    const int32_t fi = levels[i].fi * 512;
    rate.codes[i] = {levels[i].dqln, wi, fi, 0};
    rate.codes[2 * kCount - 1 - i] = {levels[i].dqln, wi, fi, -1};
    if (i > 0) rate.dlnFrom[i - 1] = static_cast<int16_t>(levels[i].dlnFrom);
  }
  return rate;
}

}  // namespace

constexpr G726Rate kG726Rate16 = Spread(kLevels16);
constexpr G726Rate kG726Rate24 = Spread(kLevels24);
constexpr G726Rate kG726Rate32 = Spread(kLevels32);
constexpr G726Rate kG726Rate40 = Spread(kLevels40);

}  // namespace orbel
