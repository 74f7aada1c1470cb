// Spectral values on their way from integers to lines, and samples back to integers.
// dsp/vlc_kernels.h has the contracts.

// For magnitudes behind the table, up to 32768: Newton's steps to the cube root from that
// of the eighth.
static float LargePower43(int32_t value) {
  const int32_t x = value < 0 ? -value : value;
  const int32_t eighth = x >> 3;
  double root = 2.0 * static_cast<double>(kPower43.of[kPower43Middle + eighth]) / eighth;
  for (int step = 0; step < 3; ++step) {
    root -= (root * root * root - x) / (3 * root * root);
  }
  return static_cast<float>(value * root);
}

static inline float Power43(int32_t value) {
  const uint32_t at = static_cast<uint32_t>(value + kPower43Middle);
  return at < 2 * kPower43Middle ? kPower43.of[at] : LargePower43(value);
}

// True when no bit of the vector is set.
[[gnu::always_inline]] static inline bool AllZero(V8u16 v) {
  uint64_t halves[2];
  __builtin_memcpy(halves, &v, sizeof halves);
  return (halves[0] | halves[1]) == 0;
}

int32_t dspPow43_16s32f(const int16_t* values, float* lines, int32_t count, const int32_t* offsets,
                        int32_t flag) {
  if (values == nullptr || lines == nullptr) return kDspNullPointer;
  if (count < 1) return kDspBadLength;
  int32_t i = 0;
  if (flag != 0) {
    if (offsets == nullptr) return kDspNullPointer;
    i = offsets[0];
    count = offsets[count];
  }
  const float* const table = kPower43.of + kPower43Middle;
  for (; i + 8 <= count; i += 8) {
    const V8u16 v = Load<V8u16>(values + i);
    if (AllZero(v)) {
      Store(lines + i, V4xF{});
      Store(lines + i + 4, V4xF{});
    } else if (AllZero((v + kPower43Middle) & 0xC000)) [[likely]] {
      for (int32_t k = i; k < i + 8; ++k) lines[k] = table[values[k]];
    } else {
      for (int32_t k = i; k < i + 8; ++k) lines[k] = Power43(values[k]);
    }
  }
  for (; i < count; ++i) lines[i] = Power43(values[i]);
  return kDspOk;
}

int32_t dspScaleFactorGain_16s32f(const int16_t* scaleFactors, int32_t offset, float* gains,
                                  int32_t count) {
  if (scaleFactors == nullptr || gains == nullptr) return kDspNullPointer;
  if (count < 1) return kDspBadLength;
  for (int32_t i = 0; i < count; ++i) {
    const int64_t exponent = int64_t{scaleFactors[i]} - offset;
    // Far enough out for infinity and zero.
    const int64_t whole = exponent < -1024 ? -256 : exponent > 1024 ? 256 : exponent >> 2;
    const uint64_t power = static_cast<uint64_t>(whole + 1023) << 52;
    gains[i] = static_cast<float>(kQuarterPowers[exponent & 3] * Load<double>(&power));
  }
  return kDspOk;
}

int32_t dspMulBands_32f(float* lines, const float* gains, const int32_t* offsets, int32_t bands) {
  if (lines == nullptr || gains == nullptr || offsets == nullptr) return kDspNullPointer;
  if (bands < 1) return kDspBadLength;
  for (int32_t band = 0; band < bands; ++band) {
    const float gain = gains[band];
    int32_t i = offsets[band];
    const int32_t stop = offsets[band + 1];
    for (; i + 4 <= stop; i += 4) Store(lines + i, Load<V4xF>(lines + i) * gain);
    for (; i < stop; ++i) lines[i] *= gain;
  }
  return kDspOk;
}

int32_t dspDequantize_16s32f(const int16_t* values, const float* gains, const int32_t* offsets,
                             int32_t bands, int32_t large, float* lines) {
  if (values == nullptr || gains == nullptr || offsets == nullptr || lines == nullptr)
    return kDspNullPointer;
  if (bands < 1) return kDspBadLength;
  const float* const table = kPower43.of + kPower43Middle;
  for (int32_t band = 0; band < bands; ++band) {
    const float gain = gains[band];
    int32_t i = offsets[band];
    const int32_t stop = offsets[band + 1];
    if (large != 0) {
      for (; i < stop; ++i) lines[i] = Power43(values[i]) * gain;
      continue;
    }
    for (; i + 4 <= stop; i += 4) {
      const int16_t* v = values + i;
      const V4xF powers = {table[v[0]], table[v[1]], table[v[2]], table[v[3]]};
      Store(lines + i, powers * gain);
    }
    for (; i < stop; ++i) lines[i] = table[values[i]] * gain;
  }
  return kDspOk;
}

// Four samples as integers; only those below the range of 16 bits are not yet held.
[[gnu::always_inline]] static inline V4x32 Rounded(const float* samples) {
  const V4xF x = Load<V4xF>(samples);
  const V4xF numbers =
      reinterpret_cast<V4xF>(reinterpret_cast<V4x32>(x) & reinterpret_cast<V4x32>(x == x));
  // What is far below becomes the least integer.
  return __builtin_ia32_cvtps2dq(__builtin_ia32_minps(numbers, V4xF{} + 32767.0F));
}

[[gnu::always_inline]] static inline V8x16 EightSamples(const float* samples) {
  return Narrow(Rounded(samples), Rounded(samples + 4));
}

// The eight samples from `at` on, of which the last may not be there.
static inline V8x16 LastSamples(const float* channel, int32_t at, int32_t length) {
  float samples[8] = {};
  __builtin_memcpy(samples, channel + at,
                   static_cast<unsigned long>(length - at) * sizeof *samples);
  return EightSamples(samples);
}

static inline void InterleaveOne(const float* channel, int32_t length, int16_t* dst) {
  int32_t i = 0;
  for (; i + 8 <= length; i += 8) Store(dst + i, EightSamples(channel + i));
  if (i < length) {
    const V8x16 last = LastSamples(channel, i, length);
    __builtin_memcpy(dst + i, &last, static_cast<unsigned long>(length - i) * sizeof *dst);
  }
}

static inline void InterleaveTwo(const float* left, const float* right, int32_t length,
                                 int16_t* dst) {
  int32_t i = 0;
  for (; i + 8 <= length; i += 8) {
    const V8x16 l = EightSamples(left + i);
    const V8x16 r = EightSamples(right + i);
    Store(dst + 2 * i, MixLow(l, r));
    Store(dst + 2 * i + 8, MixHigh(l, r));
  }
  if (i < length) {
    const V8x16 l = LastSamples(left, i, length);
    const V8x16 r = LastSamples(right, i, length);
    const V8x16 last[2] = {MixLow(l, r), MixHigh(l, r)};
    __builtin_memcpy(dst + 2 * i, last, static_cast<unsigned long>(length - i) * 2 * sizeof *dst);
  }
}

// Two channels, or one when `right` is null, of several: `stride` samples from one to the next.
static inline void Scatter(const float* left, const float* right, int32_t length, int16_t* dst,
                           int64_t stride) {
  for (int32_t i = 0; i < length; i += 8) {
    const bool whole = i + 8 <= length;
    const V8x16 l = whole ? EightSamples(left + i) : LastSamples(left, i, length);
    V8x16 r = {};
    if (right != nullptr) r = whole ? EightSamples(right + i) : LastSamples(right, i, length);
    const V8x16 mixed[2] = {MixLow(l, r), MixHigh(l, r)};
    int16_t samples[16];
    __builtin_memcpy(samples, mixed, sizeof samples);
    const int32_t count = whole ? 8 : length - i;
    int16_t* to = dst + i * stride;
    if (right != nullptr) {
      for (int32_t k = 0; k < count; ++k) __builtin_memcpy(to + k * stride, samples + 2 * k, 4);
    } else {
      for (int32_t k = 0; k < count; ++k) to[k * stride] = samples[2 * k];
    }
  }
}

int32_t dspInterleaveFloatTo16s(const float* const* src, int32_t channels, int32_t length,
                                int16_t* dst) {
  if (src == nullptr || dst == nullptr) return kDspNullPointer;
  if (channels < 1 || length < 1) return kDspBadLength;
  for (int32_t i = 0; i < channels; ++i) {
    if (src[i] == nullptr) return kDspNullPointer;
  }
  if (channels == 1) {
    InterleaveOne(src[0], length, dst);
  } else if (channels == 2) {
    InterleaveTwo(src[0], src[1], length, dst);
  } else {
    for (int32_t i = 0; i < channels; i += 2) {
      Scatter(src[i], i + 1 < channels ? src[i + 1] : nullptr, length, dst + i, channels);
    }
  }
  return kDspOk;
}
