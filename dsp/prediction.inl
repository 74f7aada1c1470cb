// Backward-adaptive prediction; dsp/prediction_kernels.h has the contracts.

namespace prediction {

constexpr float kAttenuation = 0.953125f;  // a and b of the standard
constexpr float kForgetting = 0.90625f;    // alpha
constexpr int32_t kAlignment = 32;
constexpr int32_t kLargestState = (0x7FFFFFFF - 288) / 24;

// Bit patterns. States under 2^-100 are nothing but a decay on its way through the
// denormals; lines from 2^40 on are no signal any more, and their squares are still
// far from the end of the range of floats.
constexpr int32_t kTinyBits = 27 << 23;
constexpr int32_t kHugeBits = 167 << 23;

static inline int32_t Check(const MainPredictorState* state) {
  if (state == nullptr) return kDspNullPointer;
  return state->mark == kPredictorMark ? kDspOk : kDspBadState;
}

static inline void ResetLine(MainPredictorState* state, int32_t line) {
  state->cor0[line] = 0;
  state->cor1[line] = 0;
  state->var0[line] = 1;
  state->var1[line] = 1;
  state->r0[line] = 0;
  state->r1[line] = 0;
}

// kAttenuation over a variance at eight significant bits, 0 for variances below 2. The
// standard has it as a product of two tables, by mantissa and by exponent; variances
// have eight significant bits, for all of which the quotient is the same number.
[[gnu::always_inline]] static inline V4xF Reciprocal(V4xF variance) {
  const V4xF two = V4xF{} + 2.0f;
  const V4x32 large = variance >= two;
  const V4xF quotient = (V4xF{} + kAttenuation) / (variance > two ? variance : two);
  const V4u32 rounded = (reinterpret_cast<V4u32>(quotient) + 0x8000u) & 0xFFFF0000u;
  return reinterpret_cast<V4xF>(rounded & reinterpret_cast<V4u32>(large));
}

// A new state value at 16 bits; 0 where `keep` is not set.
[[gnu::always_inline]] static inline V4xF Cut(V4xF value, V4x32 keep) {
  const V4x32 bits = reinterpret_cast<V4x32>(value) & static_cast<int32_t>(0xFFFF0000u);
  return reinterpret_cast<V4xF>(bits & keep);
}

[[gnu::always_inline]] static inline V4x32 Magnitude(V4xF value) {
  return reinterpret_cast<V4x32>(value) & 0x7FFFFFFF;
}

[[gnu::always_inline]] static inline V4x32 NotTiny(V4xF value) {
  return Magnitude(value) >= V4x32{} + kTinyBits;
}

// The state of four lines.
struct Four {
  V4xF cor0, cor1, var0, var1, r0, r1;
};

// Predicts four lines and adapts to them.
template <bool kUsed>
[[gnu::always_inline]] static inline V4xF PredictFour(V4xF x, Four& s) {
  const V4xF k0 = s.cor0 * Reciprocal(s.var0);
  const V4xF p0 = s.r0 * k0;
  if (kUsed) {
    const V4xF p = s.r1 * (s.cor1 * Reciprocal(s.var1)) + p0;
    const V4u32 rounded = (reinterpret_cast<V4u32>(p) + 0x8000u) & 0xFFFF0000u;
    x = x + reinterpret_cast<V4xF>(rounded);
  }
  const V4xF e = x - p0;
  const V4xF cor0 = kForgetting * s.cor0 + s.r0 * x;
  const V4xF cor1 = kForgetting * s.cor1 + s.r1 * e;
  const V4xF var0 = (s.r0 * s.r0 + x * x) * 0.5f + kForgetting * s.var0;
  const V4xF var1 = (s.r1 * s.r1 + e * e) * 0.5f + kForgetting * s.var1;
  const V4x32 sane = Magnitude(x) < V4x32{} + kHugeBits;
  const V4x32 one = reinterpret_cast<V4x32>(V4xF{} + 1.0f) & ~sane;
  s.r1 = Cut((s.r0 - k0 * x) * kAttenuation, sane);
  s.r0 = Cut(x * kAttenuation, sane);
  s.cor0 = Cut(cor0, sane & NotTiny(cor0));
  s.cor1 = Cut(cor1, sane & NotTiny(cor1));
  s.var0 = reinterpret_cast<V4xF>(one | reinterpret_cast<V4x32>(Cut(var0, sane & NotTiny(var0))));
  s.var1 = reinterpret_cast<V4xF>(one | reinterpret_cast<V4x32>(Cut(var1, sane & NotTiny(var1))));
  return x;
}

// `count` floats, at most four; zeros behind them.
[[gnu::always_inline]] static inline V4xF LoadSome(const float* from, int32_t count) {
  V4xF v = {};
  __builtin_memcpy(&v, from, static_cast<unsigned long>(count) * sizeof *from);
  return v;
}

[[gnu::always_inline]] static inline void StoreSome(float* to, V4xF v, int32_t count) {
  __builtin_memcpy(to, &v, static_cast<unsigned long>(count) * sizeof *to);
}

// Lines `at` to at + count - 1; with a `count` of 4 the copies are whole vectors.
template <bool kUsed>
[[gnu::always_inline]] static inline void PredictSome(float* spectrum,
                                                      const MainPredictorState& state, int32_t at,
                                                      int32_t count) {
  Four s = {LoadSome(state.cor0 + at, count), LoadSome(state.cor1 + at, count),
            LoadSome(state.var0 + at, count), LoadSome(state.var1 + at, count),
            LoadSome(state.r0 + at, count),   LoadSome(state.r1 + at, count)};
  StoreSome(spectrum + at, PredictFour<kUsed>(LoadSome(spectrum + at, count), s), count);
  StoreSome(state.cor0 + at, s.cor0, count);
  StoreSome(state.cor1 + at, s.cor1, count);
  StoreSome(state.var0 + at, s.var0, count);
  StoreSome(state.var1 + at, s.var1, count);
  StoreSome(state.r0 + at, s.r0, count);
  StoreSome(state.r1 + at, s.r1, count);
}

template <bool kUsed>
static inline void PredictBand(float* spectrum, const MainPredictorState& state, int32_t from,
                               int32_t to) {
  int32_t at = from;
  for (; at + 4 <= to; at += 4) PredictSome<kUsed>(spectrum, state, at, 4);
  if (at < to) PredictSome<kUsed>(spectrum, state, at, to - at);
}

}  // namespace prediction

int32_t dspPredictGetSize(int32_t lines, int32_t* size) {
  if (size == nullptr) return kDspNullPointer;
  if (lines < 1 || lines > prediction::kLargestState) return kDspBadLength;
  *size = 24 * lines + 288;
  return kDspOk;
}

int32_t dspPredictInit(MainPredictorState** state, int32_t lines, uint8_t* memory) {
  if (state == nullptr || memory == nullptr) return kDspNullPointer;
  if (lines < 1 || lines > prediction::kLargestState) return kDspBadLength;
  const unsigned long step = prediction::kAlignment;
  uint8_t* free = memory + (0 - reinterpret_cast<unsigned long>(memory)) % step;
  MainPredictorState* made = reinterpret_cast<MainPredictorState*>(free);
  free += (sizeof *made + step - 1) / step * step;
  const unsigned long arrayBytes =
      (static_cast<unsigned long>(lines) * sizeof(float) + step - 1) / step * step;
  made->mark = kPredictorMark;
  made->lines = lines;
  float** const arrays[] = {&made->cor0, &made->cor1, &made->var0,
                            &made->var1, &made->r0,   &made->r1};
  for (float** array : arrays) {
    *array = reinterpret_cast<float*>(free);
    free += arrayBytes;
  }
  for (int32_t line = 0; line < lines; ++line) prediction::ResetLine(made, line);
  *state = made;
  return kDspOk;
}

int32_t dspPredictBands_32f(float* spectrum, const int32_t* bandOffsets, int32_t bandCount,
                            const uint8_t* used, MainPredictorState* state) {
  if (spectrum == nullptr || bandOffsets == nullptr || used == nullptr) return kDspNullPointer;
  const int32_t status = prediction::Check(state);
  if (status != kDspOk) return status;
  if (bandCount < 1) return kDspBadLength;
  const MainPredictorState s = *state;
  for (int32_t band = 0; band < bandCount; ++band) {
    const int32_t from = bandOffsets[band];
    const int32_t to = bandOffsets[band + 1] < s.lines ? bandOffsets[band + 1] : s.lines;
    if (used[band] != 0) {
      prediction::PredictBand<true>(spectrum, s, from, to);
    } else {
      prediction::PredictBand<false>(spectrum, s, from, to);
    }
  }
  return kDspOk;
}

int32_t dspPredictResetGroup_32f(int32_t step, int32_t first, MainPredictorState* state) {
  const int32_t status = prediction::Check(state);
  if (status != kDspOk) return status;
  if (step < 1 || first < 0) return kDspBadLength;
  for (int64_t line = first; line < state->lines; line += step)
    prediction::ResetLine(state, static_cast<int32_t>(line));
  return kDspOk;
}

int32_t dspPredictReset_32f(MainPredictorState* state) {
  return dspPredictResetGroup_32f(1, 0, state);
}
