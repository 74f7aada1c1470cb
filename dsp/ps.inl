// Parametric stereo; dsp/ps_kernels.h has the contracts.

// Values of four lanes, real and imaginary.
struct V4xC {
  V4xF r, i;
};

[[gnu::always_inline]] static inline V4xC LoadLanes(const DspPsRows& rows, int32_t row,
                                                    int32_t lane) {
  const long at = static_cast<long>(row) * rows.stride + lane;
  return {Load<V4xF>(rows.real + at), Load<V4xF>(rows.imag + at)};
}

[[gnu::always_inline]] static inline void StoreLanes(const DspPsRows& rows, int32_t row,
                                                     int32_t lane, V4xC value) {
  const long at = static_cast<long>(row) * rows.stride + lane;
  Store(rows.real + at, value.r);
  Store(rows.imag + at, value.i);
}

[[gnu::always_inline]] static inline V4xC Rotate(V4xC a, V4xC b) {
  return {a.r * b.r - a.i * b.i, a.r * b.i + a.i * b.r};
}

[[gnu::always_inline]] static inline V4xF Splat(float x) { return V4xF{x, x, x, x}; }

// 0 in place of what lies outside the magnitudes, and of what is not a number.
[[gnu::always_inline]] static inline V4xF Within(V4xF x, float least, float most) {
  const V4x32 bits = reinterpret_cast<V4x32>(x);
  const V4xF magnitude = reinterpret_cast<V4xF>(bits & 0x7FFFFFFF);
  return reinterpret_cast<V4xF>(bits & (magnitude >= least) & (magnitude <= most));
}

static inline bool PsSlotsFit(int32_t slots) { return slots > 0 && slots <= kDspPsSlots; }

constexpr float kPsTinySample = 1e-15F;
constexpr float kPsHugeSample = 1e15F;
constexpr float kPsTinyPower = 1e-30F;
constexpr float kPsHugePower = 1e35F;

int32_t dspPsLimit_32f(const DspPsRows* src, const DspPsRows* dst, int32_t slots, int32_t* bands) {
  if (src == nullptr || dst == nullptr || bands == nullptr) return kDspNullPointer;
  if (!PsSlotsFit(slots)) return kDspBadLength;
  const DspPsRows from = *src;
  const DspPsRows to = *dst;
  *bands = 0;
  for (int32_t lane = 0; lane < kDspPsQmfBands; lane += 4) {
    V4x32 any = {};
    for (int32_t n = 0; n < slots; ++n) {
      const V4xC x = LoadLanes(from, n, lane);
      const V4xC y = {Within(x.r, kPsTinySample, kPsHugeSample),
                      Within(x.i, kPsTinySample, kPsHugeSample)};
      any |= reinterpret_cast<V4x32>(y.r) | reinterpret_cast<V4x32>(y.i);
      StoreLanes(to, n, lane, y);
    }
    if ((any[0] | any[1] | any[2] | any[3]) != 0) *bands = lane + 4;
  }
  return kDspOk;
}

// The taps around the middle, each pair as sum and difference: a symmetric prototype
// needs the cosines of the sums and the sines of the differences only.
struct TapPairs {
  V4xC middle;
  V4xC sum[7];
  V4xC difference[7];
};

[[gnu::always_inline]] static inline TapPairs LoadTaps(const DspPsRows& qmf, int32_t slot,
                                                       int32_t lane) {
  TapPairs taps;
  taps.middle = LoadLanes(qmf, slot, lane);
  for (int m = 1; m < 7; ++m) {
    const V4xC older = LoadLanes(qmf, slot - m, lane);
    const V4xC newer = LoadLanes(qmf, slot + m, lane);
    taps.sum[m] = {older.r + newer.r, older.i + newer.i};
    taps.difference[m] = {older.r - newer.r, older.i - newer.i};
  }
  return taps;
}

// Filters of four frequencies, and of those with the opposite sign. Lane l looks at the
// band that index l of the template names.
struct SplitPair {
  V4xC plus, minus, even;
};

template <int a, int b, int c, int d>
[[gnu::always_inline]] static inline SplitPair SplitBand(const TapPairs& taps,
                                                         const float* filters) {
#define PS_PICK(v) __builtin_shufflevector(v, v, a, b, c, d)
  const V4xF middle = Load<V4xF>(filters);
  V4xC even = {PS_PICK(taps.middle.r) * middle, PS_PICK(taps.middle.i) * middle};
  V4xC odd = {};
  for (int m = 1; m < 7; ++m) {
    const V4xF cosine = Load<V4xF>(filters + 4 * m);
    const V4xF sine = Load<V4xF>(filters + 28 + 4 * m);
    even.r += PS_PICK(taps.sum[m].r) * cosine;
    even.i += PS_PICK(taps.sum[m].i) * cosine;
    odd.r += PS_PICK(taps.difference[m].i) * sine;
    odd.i += PS_PICK(taps.difference[m].r) * sine;
  }
#undef PS_PICK
  return {{even.r - odd.r, even.i + odd.i}, {even.r + odd.r, even.i - odd.i}, even};
}

int32_t dspPsSplit20_32f(const DspPsRows* qmf, const DspPsRows* split, const float* filters,
                         int32_t slots) {
  if (qmf == nullptr || split == nullptr || filters == nullptr) return kDspNullPointer;
  if (!PsSlotsFit(slots)) return kDspBadLength;
  const DspPsRows from = *qmf;
  const DspPsRows to = *split;
  const float* const half = filters + kDspPsFilterFloats;
  for (int32_t n = 0; n < slots; ++n) {
    const TapPairs taps = LoadTaps(from, n, 0);
    const SplitPair low = SplitBand<0, 0, 0, 0>(taps, filters);
    V4xC middle = {taps.middle.r * half[0], taps.middle.i * half[0]};
    V4xC side = {};
    for (int m = 1; m < 4; ++m) {
      side.r += taps.sum[2 * m - 1].r * half[m];
      side.i += taps.sum[2 * m - 1].i * half[m];
    }
    const V4xC lower = {middle.r + side.r, middle.i + side.i};
    const V4xC upper = {middle.r - side.r, middle.i - side.i};
    const V4xC twice = {low.even.r + low.even.r, low.even.i + low.even.i};
#define PS_LANES(part)                                                                             \
  __builtin_shufflevector(low.minus.part, low.plus.part, 1, 0, 4, 5),                              \
      __builtin_shufflevector(                                                                     \
          twice.part, __builtin_shufflevector(upper.part, lower.part, 1, 5, 1, 5), 2, 3, 4, 5),    \
      __builtin_shufflevector(__builtin_shufflevector(lower.part, upper.part, 2, 6, 2, 6), V4xF{}, \
                              0, 1, 4, 5)
    const V4xF real[3] = {PS_LANES(r)};
    const V4xF imag[3] = {PS_LANES(i)};
#undef PS_LANES
    for (int v = 0; v < 3; ++v) StoreLanes(to, n, 4 * v, {real[v], imag[v]});
  }
  return kDspOk;
}

int32_t dspPsSplit34_32f(const DspPsRows* qmf, const DspPsRows* split, const float* filters,
                         int32_t slots) {
  if (qmf == nullptr || split == nullptr || filters == nullptr) return kDspNullPointer;
  if (!PsSlotsFit(slots)) return kDspBadLength;
  const DspPsRows from = *qmf;
  const DspPsRows to = *split;
  constexpr int32_t kStep = kDspPsFilterFloats;
  for (int32_t n = 0; n < slots; ++n) {
    const auto store = [&](int32_t lane, V4xC value) { StoreLanes(to, n, lane, value); };
#define PS_MIXED(one, other, a, b, c, d)                        \
  V4xC{__builtin_shufflevector((one).r, (other).r, a, b, c, d), \
       __builtin_shufflevector((one).i, (other).i, a, b, c, d)}
    TapPairs taps = LoadTaps(from, n, 0);
    const SplitPair first = SplitBand<0, 0, 0, 0>(taps, filters);
    const SplitPair second = SplitBand<0, 0, 0, 0>(taps, filters + kStep);
    store(0, first.plus);
    store(4, PS_MIXED(second.plus, second.minus, 0, 1, 5, 4));
    store(8, PS_MIXED(first.minus, first.minus, 3, 2, 1, 0));
    const SplitPair third = SplitBand<1, 1, 1, 1>(taps, filters + 2 * kStep);
    store(12, third.plus);
    store(16, PS_MIXED(third.minus, third.minus, 3, 2, 1, 0));
    const SplitPair fourth = SplitBand<2, 2, 3, 3>(taps, filters + 3 * kStep);
    store(20, PS_MIXED(fourth.plus, fourth.minus, 0, 1, 5, 4));
    store(24, PS_MIXED(fourth.plus, fourth.minus, 2, 3, 7, 6));
    taps = LoadTaps(from, n, 4);
    const SplitPair fifth = SplitBand<0, 0, 0, 0>(taps, filters + 4 * kStep);
    store(28, PS_MIXED(fifth.plus, fifth.minus, 0, 1, 5, 4));
#undef PS_MIXED
  }
  return kDspOk;
}

// The powers of four lanes: vector i has lane + i, and in its lanes the slots of `at`.
[[gnu::always_inline]] static inline void LoadPowers(const DspPsRows& rows, const int32_t (&at)[4],
                                                     int32_t lane, V4xF* power) {
  for (int s = 0; s < 4; ++s) {
    const V4xC x = LoadLanes(rows, at[s], lane);
    power[s] = x.r * x.r + x.i * x.i;
  }
  Transpose(power[0], power[1], power[2], power[3]);
}

// The powers of all parameter bands in four slots; a slot takes kDspPsBandRoom floats.
static void PsPowers(const DspPsLayout& layout, const DspPsRows& split, const DspPsRows& qmf,
                     int32_t used, const int32_t (&at)[4], float* sums) {
  V4xF power[kDspPsQmfBands];
  V4xF sum[kDspPsBandRoom];
  for (V4xF& band : sum) band = V4xF{};
  const int32_t firstLane = layout.border[0] & ~3;
  for (int32_t lane = firstLane; lane < kDspPsQmfBands; ++lane) power[lane] = V4xF{};
  for (int32_t lane = firstLane; lane < used; lane += 4) LoadPowers(qmf, at, lane, power + lane);
  for (int32_t i = 0; i < layout.runs; ++i) {
    V4xF all = {};
    for (int32_t k = layout.border[i]; k < layout.border[i + 1]; ++k) all += power[k];
    sum[layout.firstBand + i] = all;
  }
  for (int32_t lane = 0; lane < layout.splitLanes; lane += 4) {
    V4xF part[4];
    LoadPowers(split, at, lane, part);
    for (int i = 0; i < 4; ++i) sum[layout.splitBand[lane + i]] += part[i];
  }
  for (int32_t b = 0; b < kDspPsBandRoom; b += 4) {
    Transpose(sum[b], sum[b + 1], sum[b + 2], sum[b + 3]);
    for (int s = 0; s < 4; ++s) Store(sums + s * kDspPsBandRoom + b, sum[b + s]);
  }
}

int32_t dspPsTransients_32f(const DspPsLayout* layout, const DspPsRows* split, const DspPsRows* qmf,
                            int32_t qmfBands, DspPsTransients* state, float* gains, int32_t slots) {
  if (layout == nullptr || split == nullptr || qmf == nullptr || state == nullptr ||
      gains == nullptr) {
    return kDspNullPointer;
  }
  if (!PsSlotsFit(slots)) return kDspBadLength;
  constexpr float kPeakDecay = 0.76592833836465F;
  constexpr float kSmoothing = 0.25F;
  constexpr float kThreshold = 1.5F;
  const int32_t used = Clamp(qmfBands, 0, kDspPsQmfBands) & ~3;
  const int32_t vectors = (layout->bands + 3) / 4;
  const int32_t splitLanes = layout->splitLanes;
  // Of all slots, four at a time; behind the last slot its powers stand again.
  float sums[kDspPsSlots][kDspPsBandRoom];
  for (int32_t n = 0; n < slots; n += 4) {
    const int32_t last = slots - 1;
    const int32_t at[4] = {n, n + 1 < last ? n + 1 : last, n + 2 < last ? n + 2 : last,
                           n + 3 < last ? n + 3 : last};
    PsPowers(*layout, *split, *qmf, used, at, sums[n]);
  }
  for (int32_t n = 0; n < slots; ++n, gains += kDspPsGainStride) {
    float gain[kDspPsBandRoom];
    for (int32_t v = 0; v < 4 * vectors; v += 4) {
      const V4xF p = Load<V4xF>(sums[n] + v);
      const V4xF decayed = Load<V4xF>(state->peak + v) * kPeakDecay;
      const V4xF peak = p > decayed ? p : decayed;
      const V4xF difference =
          Load<V4xF>(state->difference + v) * (1.0F - kSmoothing) + (peak - p) * kSmoothing;
      const V4xF smooth = Load<V4xF>(state->smooth + v) * (1.0F - kSmoothing) + p * kSmoothing;
      Store(state->peak + v, peak);
      Store(state->difference + v, difference);
      Store(state->smooth + v, smooth);
      const V4xF limit = difference * kThreshold;
      const V4x32 isTransient = limit > smooth;
      const V4xF one = Splat(1.0F);
      Store(gain + v, isTransient ? smooth / (isTransient ? limit : one) : one);
    }
    for (int32_t lane = 0; lane < splitLanes; ++lane) gains[lane] = gain[layout->splitBand[lane]];
    // A run may be written too far by up to three, which the next one mends.
    float* const qmfGains = gains + kDspPsSplitLanes;
    for (int32_t i = 0; i < layout->runs; ++i) {
      const V4xF value = Splat(gain[layout->firstBand + i]);
      for (int32_t lane = layout->border[i]; lane < layout->border[i + 1]; lane += 4)
        Store(qmfGains + lane, value);
    }
  }
  float* const kept[3] = {state->peak, state->difference, state->smooth};
  for (float* values : kept) {
    for (int32_t b = 0; b < kDspPsBandRoom; b += 4)
      Store(values + b, Within(Load<V4xF>(values + b), kPsTinyPower, kPsHugePower));
  }
  return kDspOk;
}

// One link: history[n] is what went in `delay` slots before slot n.
[[gnu::always_inline]] static inline V4xC AllPassLink(V4xC x, V4xC* history, int32_t delay,
                                                      V4xC rotation, V4xF coefficient) {
  const V4xC late = Rotate(*history, rotation);
  const V4xC in = {x.r + coefficient * late.r, x.i + coefficient * late.i};
  history[delay] = in;
  return {late.r - coefficient * in.r, late.i - coefficient * in.i};
}

int32_t dspPsAllPass_32f(const DspPsRows* src, const DspPsRows* dst, const float* filters,
                         float* state, int32_t vectors, int32_t slots) {
  if (src == nullptr || dst == nullptr || filters == nullptr || state == nullptr)
    return kDspNullPointer;
  if (vectors < 1 || !PsSlotsFit(slots)) return kDspBadLength;
  const DspPsRows from = *src;
  const DspPsRows to = *dst;
  V4xC history[3][kDspPsSlots + 5];
  for (int32_t v = 0; v < vectors; ++v) {
    const V4xC rotation = {Load<V4xF>(filters), Load<V4xF>(filters + 4)};
    V4xC turn[3];
    V4xF coefficient[3];
    float* memory = state;
    for (int m = 0; m < 3; ++m) {
      const float* const link = filters + 8 + 12 * m;
      turn[m] = {Load<V4xF>(link), Load<V4xF>(link + 4)};
      coefficient[m] = Load<V4xF>(link + 8);
      for (int i = 0; i < 3 + m; ++i, memory += 8)
        history[m][i] = {Load<V4xF>(memory), Load<V4xF>(memory + 4)};
    }
    for (int32_t n = 0; n < slots; ++n) {
      V4xC x = Rotate(LoadLanes(from, n, 4 * v), rotation);
      x = AllPassLink(x, history[0] + n, 3, turn[0], coefficient[0]);
      x = AllPassLink(x, history[1] + n, 4, turn[1], coefficient[1]);
      x = AllPassLink(x, history[2] + n, 5, turn[2], coefficient[2]);
      StoreLanes(to, n, 4 * v, x);
    }
    memory = state;
    for (int m = 0; m < 3; ++m) {
      for (int i = 0; i < 3 + m; ++i, memory += 8) {
        const V4xC kept = history[m][slots + i];
        Store(memory, Within(kept.r, kPsTinySample, 1e3F * kPsHugeSample));
        Store(memory + 4, Within(kept.i, kPsTinySample, 1e3F * kPsHugeSample));
      }
    }
    filters += kDspPsAllPassFloats;
    state += kDspPsAllPassState;
  }
  return kDspOk;
}

template <bool kComplex>
[[gnu::always_inline]] static inline int32_t PsMix(
    const DspPsRows* mono, const DspPsRows* decorrelated, const float* gains, const DspPsRows* left,
    const DspPsRows* right, float* values, const float* steps, int32_t vectors, int32_t slots) {
  if (mono == nullptr || decorrelated == nullptr || gains == nullptr || left == nullptr ||
      right == nullptr || values == nullptr || steps == nullptr) {
    return kDspNullPointer;
  }
  if (vectors < 1 || !PsSlotsFit(slots)) return kDspBadLength;
  constexpr int kComponents = kComplex ? 8 : 4;
  const DspPsRows source[2] = {*mono, *decorrelated};
  const DspPsRows target[2] = {*left, *right};
  for (int32_t lane = 0; lane < 4 * vectors; lane += 4) {
    V4xF value[kComponents];
    V4xF step[kComponents];
    for (int c = 0; c < kComponents; ++c) {
      value[c] = Load<V4xF>(values + c * kDspPsLanes + lane);
      step[c] = Load<V4xF>(steps + c * kDspPsLanes + lane);
    }
    for (int32_t n = 0; n < slots; ++n) {
      for (int c = 0; c < kComponents; ++c) value[c] += step[c];
      const V4xC s = LoadLanes(source[0], n, lane);
      const V4xF gain = Load<V4xF>(gains + n * kDspPsGainStride + lane);
      V4xC d = LoadLanes(source[1], n, lane);
      d = {d.r * gain, d.i * gain};
      for (int side = 0; side < 2; ++side) {
        V4xC out = {value[side] * s.r + value[2 + side] * d.r,
                    value[side] * s.i + value[2 + side] * d.i};
        if constexpr (kComplex) {
          out.r -= value[4 + side] * s.i + value[6 + side] * d.i;
          out.i += value[4 + side] * s.r + value[6 + side] * d.r;
        }
        StoreLanes(target[side], n, lane, out);
      }
    }
    for (int c = 0; c < kComponents; ++c) Store(values + c * kDspPsLanes + lane, value[c]);
  }
  return kDspOk;
}

int32_t dspPsMix_32f(const DspPsRows* mono, const DspPsRows* decorrelated, const float* gains,
                     const DspPsRows* left, const DspPsRows* right, float* values,
                     const float* steps, int32_t vectors, int32_t slots) {
  return PsMix<false>(mono, decorrelated, gains, left, right, values, steps, vectors, slots);
}

int32_t dspPsMixComplex_32f(const DspPsRows* mono, const DspPsRows* decorrelated,
                            const float* gains, const DspPsRows* left, const DspPsRows* right,
                            float* values, const float* steps, int32_t vectors, int32_t slots) {
  return PsMix<true>(mono, decorrelated, gains, left, right, values, steps, vectors, slots);
}
