#include "sbr/frequency_tables.h"

#include <algorithm>

namespace orbel {
namespace {

constexpr int32_t kSamplingIndices = 9;  // 96000 Hz down to 16000 Hz
constexpr int32_t kStopOffsets = 14;
constexpr int32_t kMostMasterBands = kSbrTableSize - 1;
constexpr int32_t kHighestStart = 32;  // of the high band

// What bs_start_freq adds to kStartMin.
constexpr int32_t kStartOffset[kSamplingIndices][16] = {
    {-2, -1, 0, 1, 2, 3, 4, 5, 6, 7, 9, 11, 13, 16, 20, 24},
    {-2, -1, 0, 1, 2, 3, 4, 5, 6, 7, 9, 11, 13, 16, 20, 24},
    {-4, -2, -1, 0, 1, 2, 3, 4, 5, 6, 7, 9, 11, 13, 16, 20},
    {-4, -2, -1, 0, 1, 2, 3, 4, 5, 6, 7, 9, 11, 13, 16, 20},
    {-4, -2, -1, 0, 1, 2, 3, 4, 5, 6, 7, 9, 11, 13, 16, 20},
    {-6, -4, -2, -1, 0, 1, 2, 3, 4, 5, 6, 7, 9, 11, 13, 16},
    {-5, -3, -2, -1, 0, 1, 2, 3, 4, 5, 6, 7, 9, 11, 13, 16},
    {-5, -4, -3, -2, -1, 0, 1, 2, 3, 4, 5, 6, 7, 9, 11, 13},
    {-8, -7, -6, -5, -4, -3, -2, -1, 0, 1, 2, 3, 4, 5, 6, 7},
};
constexpr int32_t kStartMin[kSamplingIndices] = {7, 7, 10, 11, 12, 16, 16, 17, 24};

// What bs_stop_freq adds to kStopMin.
constexpr int32_t kStopOffset[kSamplingIndices][kStopOffsets] = {
    {0, 2, 4, 6, 8, 11, 14, 18, 22, 26, 31, 37, 44, 51},
    {0, 2, 4, 6, 8, 11, 14, 18, 22, 26, 31, 36, 42, 49},
    {0, 2, 4, 6, 8, 11, 14, 17, 21, 25, 29, 34, 39, 44},
    {0, 2, 4, 6, 8, 11, 14, 17, 20, 24, 28, 33, 38, 43},
    {0, 2, 4, 6, 8, 11, 14, 17, 20, 24, 28, 32, 36, 41},
    {0, 2, 4, 6, 8, 10, 12, 14, 17, 20, 23, 26, 29, 32},
    {0, 2, 4, 6, 8, 10, 12, 14, 17, 20, 23, 26, 29, 32},
    {0, 1, 3, 5, 7, 9, 11, 13, 15, 17, 20, 23, 26, 29},
    {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 12, 14, 16},
};
constexpr int32_t kStopMin[kSamplingIndices] = {13, 15, 20, 21, 23, 32, 32, 35, 48};

// The widest high band, k2 - k0; at 32000 Hz there is no limit.
constexpr int32_t kWidest[kSamplingIndices] = {32, 32, 32, 32, 35, kQmfBands, 48, 48, 48};

// The band at 16 kHz, where patches are to end.
constexpr int32_t kGoalSb[kSamplingIndices] = {21, 23, 32, 43, 46, 64, 85, 93, 128};

// Logarithms with 28 fractional bits, base 2 and natural, rounded to nearest; places 0 and
// 1 hold 0.
// clang-format off
constexpr int32_t log2Table[kQmfBands + 1] = {
             0,          0,  268435456,  425460132,  536870912,  623287827,  693895588,  753593599,
     805306368,  850920263,  891723283,  928634104,  962331044,  993329223, 1022029055, 1048747959,
    1073741824, 1097219952, 1119355719, 1140294359, 1160158739, 1179053730, 1197069560, 1214284416,
    1230766500, 1246575654, 1261764679, 1276380395, 1290464511, 1304054344, 1317183415, 1329881946,
    1342177280, 1354094236, 1365655408, 1376881426, 1387791175, 1398401990, 1408729815, 1418789355,
    1428594195, 1438156915, 1447489186, 1456601854, 1465505016, 1474208090, 1482719872, 1491048591,
    1499201956, 1507187197, 1515011110, 1522680083, 1530200135, 1537576939, 1544815851, 1551921931,
    1558899967, 1565754491, 1572489800, 1579109969, 1585618871, 1592020182, 1598317402, 1604513862,
    1610612736,
};
constexpr int32_t lnTable[kQmfBands + 1] = {
             0,          0,  186065279,  294906491,  372130559,  432030200,  480971770,  522351278,
     558195838,  589812981,  618095479,  643680111,  667037050,  688523350,  708416558,  726936691,
     744261118,  760534916,  775878261,  790391820,  804160759,  817257769,  829745390,  841677820,
     853102329,  864060400,  874588630,  884719472,  894481837,  903901592,  913001970,  921803921,
     930326397,  938586602,  946600195,  954381478,  961943540,  969298396,  976457100,  983429841,
     990226038,  996854411, 1003323048, 1009639468, 1015810670, 1021843181, 1027743099, 1033516127,
    1039167609, 1044702556, 1050125679, 1055441407, 1060653909, 1065767120, 1070784752, 1075710311,
    1080547117, 1085298311, 1089966871, 1094555623, 1099067250, 1103504300, 1107869201, 1112164260,
    1116391677,
};

// clang-format on
constexpr int32_t kHalf = 0x8000000;       // with 28 fractional bits
constexpr int32_t kOctaveRatio = 9436764;  // 2.2499 with 22 fractional bits
// Half the bands of an octave; the warped ones divided by 1.3, with 14 fractional bits.
constexpr int32_t kBands[4] = {0, 6, 5, 4};
constexpr int32_t kWarpedBands[4] = {0, 75618, 63015, 50412};
// 1.2, 2 and 3 with 14 fractional bits, and the least sum that keeps two borders apart.
constexpr int32_t kLimiterBandsPerOctave[4] = {0, 19661, 32768, 49152};
constexpr int64_t kLimiterLeast = 131533373;  // 0.49 with 28 fractional bits
constexpr int32_t kLeastPatch = 3;

// The high word of the product.
int32_t MulHigh(int32_t a, int32_t b) {
  return static_cast<int32_t>((static_cast<int64_t>(a) * b) >> 32);
}
int32_t ShiftLeft(int32_t a, int32_t bits) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) << bits);
}
int32_t WrappedSum(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

// exp(v) with 24 fractional bits, v with 28: five terms of the series.
int32_t Exponential(int32_t v) {
  const int32_t t1 = v >> 4;
  const int32_t t2 = ShiftLeft(MulHigh(ShiftLeft(MulHigh(t1, 0x40000000), 1), v), 4);
  const int32_t t3 = ShiftLeft(MulHigh(ShiftLeft(MulHigh(t2, 0x2AAAAAAB), 1), v), 4);
  const int32_t t4 = ShiftLeft(MulHigh(ShiftLeft(MulHigh(t3, 0x20000000), 1), v), 4);
  const int32_t t5 = MulHigh(ShiftLeft(MulHigh(t4, 0x1999999A), 1), v);
  int32_t sum = ShiftLeft(WrappedSum(t5, 0x100000), 4);
  for (const int32_t term : {t4, t3, t2, t1}) sum = WrappedSum(sum, term);
  return sum;
}

int64_t LogRatio(int32_t upper, int32_t lower) { return log2Table[upper] - log2Table[lower]; }

// The widths of numBands bands in geometric steps, ascending: 0 or -13.
int32_t SortedSteps(int32_t numBands, int32_t upper, int32_t lower, int32_t* steps) {
  if (numBands < 1 || numBands > kMostMasterBands) return kSbrBadStream;
  int32_t borders[kSbrTableSize];
  SbrGeometricBorders(numBands, upper, lower, borders);
  for (int32_t i = 0; i < numBands; ++i) steps[i] = borders[i + 1] - borders[i];
  std::sort(steps, steps + numBands);
  return steps[0] < 0 ? kSbrBadStream : 0;
}

// Borders behind borders[0], from the widths.
void Accumulate(const int32_t* steps, int32_t count, int32_t* borders) {
  for (int32_t i = 0; i < count; ++i) borders[i + 1] = borders[i] + steps[i];
}

int32_t MasterTableLinear(int32_t k0, int32_t k2, int32_t bs_alter_scale, int32_t* f_Master,
                          int32_t* N_master) {
  const int32_t width = k2 - k0;
  const int32_t step = bs_alter_scale != 0 ? 2 : 1;
  const int32_t numBands = step == 2 ? 2 * ((width + 2) >> 2) : 2 * (width >> 1);
  if (numBands < 1 || numBands > kMostMasterBands) return kSbrBadStream;
  int32_t steps[kSbrTableSize];
  std::fill_n(steps, numBands, step);
  // At most two bands change, so that the last border is k2.
  int32_t difference = width - numBands * step;
  for (int32_t i = 0; difference < 0; ++i, ++difference) --steps[i];
  for (int32_t i = numBands - 1; difference > 0; --i, --difference) ++steps[i];
  std::fill_n(f_Master, kSbrTableSize, 0);
  f_Master[0] = k0;
  Accumulate(steps, numBands, f_Master);
  *N_master = numBands;
  return 0;
}

}  // namespace

int32_t SbrGeometricBorders(int32_t numBands, int32_t upper, int32_t lower, int32_t* borders) {
  if (numBands < 1) return -1;
  int32_t ratio = 0;
  if (numBands <= kQmfBands && upper >= 1 && upper <= kQmfBands && lower >= 1 && lower <= kQmfBands)
    ratio = Exponential((lnTable[upper] - lnTable[lower]) / numBands);
  borders[0] = lower;
  int32_t running = ShiftLeft(lower, 24);
  for (int32_t i = 1; i <= numBands; ++i) {
    running = ShiftLeft(MulHigh(running, ratio), 8);
    borders[i] = WrappedSum(running, 0x800000) >> 24;
  }
  return 0;
}

int32_t SbrMasterTableLog(int32_t k0, int32_t k2, int32_t bs_freq_scale, int32_t bs_alter_scale,
                          int32_t* f_Master, int32_t* N_master) {
  const int32_t bands = kBands[bs_freq_scale];
  const bool twoRegions = (static_cast<int64_t>(k2) << 22) > int64_t{k0} * kOctaveRatio;
  const int32_t k1 = twoRegions ? 2 * k0 : k2;
  const int64_t x = LogRatio(k1, k0) * bands + kHalf;
  if (x < 0) return kSbrBadStream;
  const auto numBands0 = static_cast<int32_t>(x >> 27) & ~1;
  int32_t steps0[kSbrTableSize];
  if (SortedSteps(numBands0, k1, k0, steps0) != 0) return kSbrBadStream;
  f_Master[0] = k0;
  Accumulate(steps0, numBands0, f_Master);
  *N_master = numBands0;
  if (!twoRegions) return 0;

  const int64_t y = bs_alter_scale != 0 ? (LogRatio(k2, k1) >> 14) * kWarpedBands[bs_freq_scale]
                                        : LogRatio(k2, k1) * bands;
  const auto numBands1 = 2 * static_cast<int32_t>((y + kHalf) >> 28);
  int32_t steps1[kSbrTableSize];
  if (SortedSteps(numBands1, k2, k1, steps1) != 0 || numBands0 + numBands1 > kMostMasterBands)
    return kSbrBadStream;
  // No band of the second region may be narrower than the widest of the first.
  const int32_t widest0 = steps0[numBands0 - 1];
  int32_t& narrowest1 = steps1[0];
  int32_t& widest1 = steps1[numBands1 - 1];
  if (narrowest1 < widest0) {
    const int32_t change = std::min(widest0 - narrowest1, (widest1 - narrowest1) >> 1);
    narrowest1 += change;
    widest1 -= change;
    std::sort(steps1, steps1 + numBands1);
  }
  f_Master[numBands0] = k1;
  Accumulate(steps1, numBands1, f_Master + numBands0);
  *N_master = numBands0 + numBands1;
  return 0;
}

int32_t SbrDerivedTables(SbrElement* element, int32_t k2) {
  int32_t* const high = element->f_TableHigh;
  int32_t* const low = element->f_TableLow;
  int32_t* const noise = element->f_TableNoise;
  for (int32_t* table : {high, low, noise}) std::fill_n(table, kSbrTableSize, 0);
  const int32_t N_high = element->N_master - element->bs_xover_band;
  if (N_high < 1) return kSbrBadStream;
  std::copy_n(element->f_Master + element->bs_xover_band, N_high + 1, high);
  const int32_t N_low = N_high - (N_high >> 1);
  low[0] = high[0];
  for (int32_t i = 1; i <= N_low; ++i) low[i] = high[2 * i - (N_high & 1)];
  element->N_high = N_high;
  element->N_low = N_low;
  element->kx = high[0];
  element->M = high[N_high] - high[0];
  if (element->kx > kHighestStart || element->M < 1) return kSbrBadStream;

  const int64_t scaled = LogRatio(k2, element->kx) * element->bs_noise_bands + kHalf;
  const int32_t N_Q = std::max(static_cast<int32_t>(scaled >> 28), 1);
  if (N_Q > kSbrNoiseBands) return kSbrBadStream;
  element->N_Q = N_Q;
  int32_t index = 0;
  noise[0] = low[0];
  for (int32_t k = 1; k <= N_Q; ++k) {
    index += (N_low - index) / (N_Q + 1 - k);
    noise[k] = low[index];
  }
  return 0;
}

int32_t SbrPatchTable(SbrElement* element) {
  const int32_t* const master = element->f_Master;
  const int32_t k0 = element->k0;
  const int32_t kx = element->kx;
  const int32_t end = kx + element->M;
  const int32_t goalSb = kGoalSb[element->samplingIndex];
  int32_t k = element->N_master;
  if (goalSb < end) k = static_cast<int32_t>(std::lower_bound(master, master + k, goalSb) - master);
  int32_t patches = 0;
  int32_t msb = k0;
  int32_t usb = kx;
  int32_t sb;
  do {
    int32_t j = k;
    while (j > 0 && master[j] > msb - ((master[j] + k0) & 1) - 1 + k0) --j;
    sb = master[j];
    const int32_t odd = (sb + k0) & 1;
    const int32_t count = sb - usb;
    const int32_t kBefore = k;
    const int32_t msbBefore = msb;
    if (count > 0) {
      if (patches == kSbrPatches) return kSbrBadStream;
      element->patchNumSubbands[patches] = count;
      element->patchStartSubband[patches] = k0 - count - odd;
      ++patches;
      usb = msb = sb;
    } else {
      msb = kx;
    }
    if (master[k] - sb < kLeastPatch) k = element->N_master;
    if (sb != end && count <= 0 && k == kBefore && msb == msbBefore)
      return kSbrBadStream;  // nothing would ever change
  } while (sb != end);
  if (patches >= 2 && element->patchNumSubbands[patches - 1] < kLeastPatch) --patches;
  element->numPatches = patches;
  return patches >= kSbrPatches ? kSbrBadStream : 0;
}

int32_t SbrLimiterTable(SbrElement* element) {
  int32_t* const table = element->f_TableLim;
  const int32_t first = element->f_TableLow[0];
  const int32_t last = element->f_TableLow[element->N_low];
  std::fill_n(table, kSbrTableSize, 0);
  if (element->bs_limiter_bands < 0) return kSbrBadStream;
  if (element->bs_limiter_bands == 0) {
    table[0] = first;
    table[1] = last;
    element->N_L = 1;
    return 0;
  }
  int32_t borders[kSbrPatches + 1];
  const int32_t patches = element->numPatches;
  borders[0] = first;
  Accumulate(element->patchNumSubbands, patches - 1, borders);
  borders[patches] = last;
  std::copy_n(element->f_TableLow, element->N_low + 1, table);
  std::copy_n(borders + 1, patches - 1, table + element->N_low + 1);
  std::sort(table, table + element->N_low + patches);
  const auto isPatchBorder = [&](int32_t border) {
    return std::find(borders, borders + patches + 1, border) != borders + patches + 1;
  };

  int32_t nBands = element->N_low + patches - 1;
  const int32_t perOctave = kLimiterBandsPerOctave[element->bs_limiter_bands];
  for (int32_t k = 1; k <= nBands;) {
    const int32_t upper = table[k];
    const int32_t lower = table[k - 1];
    const bool removesUpper = upper == lower || !isPatchBorder(upper);
    if ((LogRatio(upper, lower) >> 14) * perOctave >= kLimiterLeast ||
        (!removesUpper && isPatchBorder(lower))) {
      ++k;
      continue;
    }
    int32_t* const removed = table + (removesUpper ? k : k - 1);
    std::copy(removed + 1, table + nBands + 1, removed);
    --nBands;
  }
  std::fill(table + nBands + 1, table + kSbrTableSize, 0);
  element->N_L = nBands;
  return 0;
}

int32_t SbrBuildTables(SbrElement* element) {
  const int32_t index = element->samplingIndex;
  // The rows below 16000 Hz do not exist.
  if (index < 0 || index >= kSamplingIndices) return kSbrBadStream;
  const int32_t k0 = kStartMin[index] + kStartOffset[index][element->bs_start_freq];
  element->k0 = k0;
  int32_t k2 = (element->bs_stop_freq - 12) * k0;  // 14 and 15: two and three times k0
  if (element->bs_stop_freq < kStopOffsets)
    k2 = kStopMin[index] + kStopOffset[index][element->bs_stop_freq];
  k2 = std::min(k2, kQmfBands);
  if (k2 < k0 || k2 - k0 > kWidest[index]) return kSbrBadStream;
  const int32_t status =
      element->bs_freq_scale != 0
          ? SbrMasterTableLog(k0, k2, element->bs_freq_scale, element->bs_alter_scale,
                              element->f_Master, &element->N_master)
          : MasterTableLinear(k0, k2, element->bs_alter_scale, element->f_Master,
                              &element->N_master);
  if (status != 0 || SbrDerivedTables(element, k2) != 0 || SbrPatchTable(element) != 0)
    return kSbrBadStream;
  return SbrLimiterTable(element);
}

}  // namespace orbel
