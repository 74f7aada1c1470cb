// ER BSAC's arithmetic decoder and spectral passes; dsp/bsac_kernels.h has the contracts.

// 16 bits behind those that are there.
[[gnu::always_inline]] static inline void BsacRefill(DspBsacCoder* coder) {
  coder->broken |= static_cast<uint32_t>(coder->value >> 32 >= coder->range);
  uint64_t word = 0;
  if (coder->end - coder->next >= 2) {
    word = static_cast<uint64_t>(coder->next[0] << 8 | coder->next[1]);
    coder->next += 2;
  } else if (coder->next != coder->end) {
    word = static_cast<uint64_t>(*coder->next++) << 8;
  }
  coder->value |= word << (16 - coder->ahead);
  coder->ahead += 16;
  coder->budget += 16;
}

// Inside, `budget` is what `ahead` is when the budget is used up, so that symbols change one
// number only; this turns the one into the other and back.
[[gnu::always_inline]] static inline void BsacTurnBudget(DspBsacCoder* coder) {
  coder->budget = coder->ahead - coder->budget;
}
[[gnu::always_inline]] static inline bool BsacIsSpent(const DspBsacCoder& coder) {
  return coder.ahead <= coder.budget;
}

// Brings the range back to 2^29 and above and charges the bits that this takes.
[[gnu::always_inline]] static inline void BsacNormalise(DspBsacCoder* coder) {
  const int32_t length = 29 - (31 ^ __builtin_clz(coder->range));
  coder->range <<= length;
  coder->value <<= length;
  coder->ahead -= length;
  if (__builtin_expect(coder->ahead < 16, 0)) BsacRefill(coder);
}

// A bit that is 0 with a probability of p0 in 16384, by arithmetic alone.
[[gnu::always_inline]] static inline int32_t BsacBit(DspBsacCoder* coder, uint32_t p0) {
  const uint32_t unit = coder->range >> 14;
  const uint32_t zero = unit * p0;
  const uint64_t cut = static_cast<uint64_t>(zero) << 32;
  const uint64_t one = coder->value >= cut ? ~uint64_t{0} : 0;
  coder->value -= cut & one;
  const uint32_t other = (unit << 14) - zero;
  coder->range = zero ^ ((zero ^ other) & static_cast<uint32_t>(one));
  BsacNormalise(coder);
  return static_cast<int32_t>(one & 1);
}

// The same for a bit that a jump follows.
[[gnu::always_inline]] static inline bool BsacTest(DspBsacCoder* coder, uint32_t p0) {
  const uint32_t unit = coder->range >> 14;
  const uint32_t zero = unit * p0;
  const uint64_t cut = static_cast<uint64_t>(zero) << 32;
  if (coder->value < cut) {
    coder->range = zero;
    BsacNormalise(coder);
    return false;
  }
  coder->value -= cut;
  coder->range = (unit << 14) - zero;
  BsacNormalise(coder);
  return true;
}

// Probabilities of a plane of a coding band, by channel.
struct BsacBand {
  const uint8_t* zero[2];     // by context, while the higher bits are 0
  const uint8_t* nonzero[2];  // by higher bits, from 1 on
};

[[gnu::always_inline]] static inline void BsacSetBand(const DspBsacSpectrum& spectrum,
                                                      int32_t channel, int32_t number,
                                                      int32_t plane, BsacBand* band) {
  const int32_t below = spectrum.top[channel][number] - plane;
  const int32_t model = spectrum.model[channel][number];
  const int32_t zero = below < 0 ? 0 : below > 3 ? 3 : below;
  const int32_t nonzero = below < 1 ? 0 : below > 4 ? 3 : below - 1;
  band->zero[channel] = dspBsacP0 + dspBsacZeroBase[model][zero];
  band->nonzero[channel] = dspBsacP0 + dspBsacNonzeroBase[model][nonzero];
}

// Four lines of a channel.
struct BsacQuad {
  const uint8_t (*contexts)[8];  // by place and bits
  uint32_t bits;                 // of this plane of those that are done, the latest lowest
};

[[gnu::always_inline]] static inline BsacQuad BsacQuadOf(const uint16_t* magnitudes,
                                                         int32_t plane) {
  uint32_t significant = 0;  // which have higher bits
  for (int32_t i = 0; i < 4; ++i)
    significant = significant << 1 | (magnitudes[i] >> plane != 0 ? 1U : 0U);
  return {dspBsacContext[significant], 0};
}

// These return whether the pass goes on.

template <int32_t kChannel>
[[gnu::always_inline]] static inline bool BsacLine(DspBsacCoder* coder, DspBsacSpectrum* spectrum,
                                                   const BsacBand& band, int32_t line,
                                                   int32_t place, int32_t plane, BsacQuad* quad) {
  uint16_t* const at = spectrum->magnitude[kChannel] + line + place;
  uint32_t magnitude = *at;
  if (spectrum->plane[kChannel][line + place] == plane) {
    int8_t* const sign = spectrum->sign[kChannel] + line + place;
    bool lacksSign = false;
    if (magnitude == 0) {
      if (BsacTest(coder, band.zero[kChannel][quad->contexts[place][quad->bits]] * 256U)) {
        magnitude = 1U << (plane - 1);
        *at = static_cast<uint16_t>(magnitude);
        if (BsacIsSpent(*coder)) return false;
        lacksSign = true;
      }
    } else if (*sign == 0) {
      lacksSign = true;  // the budget has ended before it
    } else {
      const uint32_t higher = magnitude >> plane;
      const uint32_t p0 = band.nonzero[kChannel][(higher < 16 ? higher : 16) - 1] * 256U;
      magnitude |= static_cast<uint32_t>(BsacBit(coder, p0)) << (plane - 1);
      *at = static_cast<uint16_t>(magnitude);
    }
    if (lacksSign) *sign = static_cast<int8_t>(1 - 2 * BsacBit(coder, 8192));
    spectrum->plane[kChannel][line + place] = static_cast<uint8_t>(plane - 1);
    if (BsacIsSpent(*coder)) return false;
  }
  quad->bits = quad->bits << 1 | (magnitude >> (plane - 1) & 1);
  return true;
}

// A line of four of which nothing was known yet but that all had the plane: their contexts
// are the nodes of a tree.
template <int32_t kChannel>
[[gnu::always_inline]] static inline bool BsacFreshLine(DspBsacCoder* coder,
                                                        DspBsacSpectrum* spectrum,
                                                        const BsacBand& band, int32_t line,
                                                        int32_t plane, uint32_t* node) {
  const bool one = BsacTest(coder, band.zero[kChannel][*node - 1] * 256U);
  *node *= 2;
  if (one) {
    ++*node;
    spectrum->magnitude[kChannel][line] = static_cast<uint16_t>(1U << (plane - 1));
    if (BsacIsSpent(*coder)) return false;
    spectrum->sign[kChannel][line] = static_cast<int8_t>(1 - 2 * BsacBit(coder, 8192));
  }
  spectrum->plane[kChannel][line] = static_cast<uint8_t>(plane - 1);
  return !BsacIsSpent(*coder);
}

[[gnu::always_inline]] static inline uint32_t BsacFour(const uint8_t* planes) {
  uint32_t four;
  __builtin_memcpy(&four, planes, sizeof four);
  return four;
}

[[gnu::always_inline]] static inline bool BsacIsFresh(const uint8_t* planes,
                                                      const uint16_t* magnitudes, int32_t plane) {
  uint64_t all;
  __builtin_memcpy(&all, magnitudes, sizeof all);
  return BsacFour(planes) == static_cast<uint32_t>(plane) * 0x01010101U && all == 0;
}

// Whether none of four lines has the plane.
[[gnu::always_inline]] static inline bool BsacLacks(const uint8_t* planes, int32_t plane) {
  uint32_t four = BsacFour(planes);
  if (four == 0) return true;
  four ^= static_cast<uint32_t>(plane) * 0x01010101U;
  return ((four - 0x01010101U) & ~four & 0x80808080U) == 0;
}

// The same of a coding band.
[[gnu::always_inline]] static inline bool BsacBandLacks(const uint8_t* planes, int32_t plane) {
  const uint64_t sought = static_cast<uint64_t>(plane) * 0x0101010101010101U;
  uint64_t found = 0;
  for (int32_t i = 0; i < kDspBsacBandLines; i += 8) {
    uint64_t eight;
    __builtin_memcpy(&eight, planes + i, sizeof eight);
    eight ^= sought;
    found |= (eight - 0x0101010101010101U) & ~eight;
  }
  return (found & 0x8080808080808080U) == 0;
}

// One plane of the coding band of channels kFirst up to kLast, line by line.
template <int32_t kFirst, int32_t kLast>
static inline bool BsacPlane(DspBsacCoder* coder, DspBsacSpectrum* spectrum, const BsacBand& band,
                             int32_t first, int32_t end, int32_t plane) {
  constexpr bool kBoth = kFirst != kLast;
  const uint8_t* const planes = spectrum->plane[kFirst];
  const uint8_t* const planes2 = spectrum->plane[kLast];
  const uint16_t* const magnitudes = spectrum->magnitude[kFirst];
  const uint16_t* const magnitudes2 = spectrum->magnitude[kLast];
  DspBsacCoder own = *coder;
  bool goesOn = true;
  for (int32_t line = first; goesOn && line < end; line += 4) {
    if (BsacIsFresh(planes + line, magnitudes + line, plane) &&
        (!kBoth || BsacIsFresh(planes2 + line, magnitudes2 + line, plane))) {
      uint32_t node = 1;
      uint32_t node2 = 1;
      const auto decode = [&](int32_t i) __attribute__((always_inline)) {
        return BsacFreshLine<kFirst>(&own, spectrum, band, line + i, plane, &node) &&
               (!kBoth || BsacFreshLine<kLast>(&own, spectrum, band, line + i, plane, &node2));
      };
      goesOn = decode(0) && decode(1) && decode(2) && decode(3);
      continue;
    }
    if (BsacLacks(planes + line, plane) && (!kBoth || BsacLacks(planes2 + line, plane))) continue;
    BsacQuad quad = BsacQuadOf(magnitudes + line, plane);
    BsacQuad quad2 = kBoth ? BsacQuadOf(magnitudes2 + line, plane) : quad;
    const auto decode = [&](int32_t i) __attribute__((always_inline)) {
      return BsacLine<kFirst>(&own, spectrum, band, line, i, plane, &quad) &&
             (!kBoth || BsacLine<kLast>(&own, spectrum, band, line, i, plane, &quad2));
    };
    goesOn = decode(0) && decode(1) && decode(2) && decode(3);
  }
  *coder = own;
  return goesOn;
}

int32_t dspBsacInit(DspBsacCoder* coder, const uint8_t* bytes, int32_t length) {
  if (coder == nullptr || bytes == nullptr) return kDspNullPointer;
  if (length < 1) return kDspBadLength;
  *coder = {bytes, bytes + length, 0, 18, 1U << 30, 0, 0};
  // 30 bits of the value and 18 behind it.
  for (int32_t i = 0; i < 6; ++i) {
    const uint8_t byte = coder->next != coder->end ? *coder->next++ : uint8_t{0};
    coder->value = coder->value << 8 | byte;
  }
  coder->value <<= 14;
  return kDspOk;
}

int32_t dspBsacSymbol(DspBsacCoder* coder, const uint16_t* model, int32_t* symbol) {
  if (coder == nullptr || model == nullptr || symbol == nullptr) return kDspNullPointer;
  BsacTurnBudget(coder);
  const uint32_t unit = coder->range >> 14;
  const uint32_t at = static_cast<uint32_t>(coder->value >> 32) / unit;
  int32_t i = 0;
  uint32_t above = 1U << 14;
  for (; model[i] > at; ++i) above = model[i];
  coder->value -= static_cast<uint64_t>(unit * model[i]) << 32;
  coder->range = unit * (above - model[i]);
  coder->broken |= static_cast<uint32_t>(coder->value >> 32 >= coder->range);
  BsacNormalise(coder);
  BsacTurnBudget(coder);
  *symbol = i;
  return kDspOk;
}

int32_t dspBsacPass(DspBsacCoder* coder, DspBsacSpectrum* spectrum, int32_t channels, int32_t first,
                    int32_t end, int32_t threshold) {
  if (coder == nullptr || spectrum == nullptr) return kDspNullPointer;
  if (channels < 1 || channels > 2 || threshold < 0 || threshold > kDspBsacTopPlane)
    return kDspBadArgument;
  if (first < 0 || end > kDspBsacLines || ((first | end) & 3) != 0) return kDspBadArgument;
  if (first >= end || coder->budget <= 0) return kDspOk;
  const int32_t firstBand = first / kDspBsacBandLines;
  const int32_t lastBand = (end - 1) / kDspBsacBandLines;
  const uint32_t inside = (~uint32_t{0} << firstBand) & (~uint32_t{0} >> (31 - lastBand));
  DspBsacCoder own = *coder;
  BsacTurnBudget(&own);
  bool goesOn = true;
  // Planes that come in on the way are lower than those that are done.
  for (uint32_t above = ~uint32_t{0}; goesOn;) {
    const uint32_t planes = spectrum->planes & above & (~uint32_t{1} << threshold);
    if (planes == 0) break;
    const int32_t plane = 31 ^ __builtin_clz(planes);
    above = (1U << plane) - 1;
    uint32_t left = (spectrum->waiting[0][plane] | spectrum->waiting[1][plane]) & inside;
    if (left != 0) spectrum->planes |= 1U << (plane - 1);
    while (left != 0) {
      const int32_t band = __builtin_ctz(left);
      const uint32_t mask = left & -left;
      left ^= mask;
      BsacBand bands = {};
      int32_t active = 0;
      for (int32_t c = 0; c < channels; ++c) {
        if ((spectrum->waiting[c][plane] & mask) == 0) continue;
        spectrum->waiting[c][plane - 1] |= mask;
        BsacSetBand(*spectrum, c, band, plane, &bands);
        active |= 1 << c;
      }
      const int32_t start = band * kDspBsacBandLines;
      const int32_t from = start > first ? start : first;
      const int32_t to = start + kDspBsacBandLines < end ? start + kDspBsacBandLines : end;
      goesOn = active == 3   ? BsacPlane<0, 1>(&own, spectrum, bands, from, to, plane)
               : active == 2 ? BsacPlane<1, 1>(&own, spectrum, bands, from, to, plane)
                             : BsacPlane<0, 0>(&own, spectrum, bands, from, to, plane);
      if (!goesOn) break;
      for (int32_t c = 0; c < channels; ++c)
        if (to - from == kDspBsacBandLines || BsacBandLacks(spectrum->plane[c] + start, plane))
          spectrum->waiting[c][plane] &= ~mask;
    }
    if ((spectrum->waiting[0][plane] | spectrum->waiting[1][plane]) == 0)
      spectrum->planes &= ~(1U << plane);
  }
  own.broken |= static_cast<uint32_t>(own.value >> 32 >= own.range);
  BsacTurnBudget(&own);
  *coder = own;
  return kDspOk;
}
