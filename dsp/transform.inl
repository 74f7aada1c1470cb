// Transforms of the AAC filterbank; dsp/transform_kernels.h has the contracts.
//
// Both directions are one transform of M = 8 L lines,
//   u[i] = sum over k of X[k] * cos(pi / M * (i + 1/2) * (k + 1/2)),
// of which the inverse transform's samples are the parts
//   v[n] = u[M / 2 + n] and c[n] = -u[M / 2 - 1 - n], n below M / 2,
// with signs and mirrored: x = v, -v reversed, c, c reversed. It is computed as a
// complex transform of 4 L points with the layout of dsp/transform_tables.h: real
// and imaginary parts in vectors of their own, so that shuffles are needed only
// where lines enter and results leave.

struct Complex4 {
  V4xF re;
  V4xF im;
};

[[gnu::always_inline]] static inline Complex4 operator+(Complex4 a, Complex4 b) {
  return {a.re + b.re, a.im + b.im};
}

[[gnu::always_inline]] static inline Complex4 operator-(Complex4 a, Complex4 b) {
  return {a.re - b.re, a.im - b.im};
}

// a - i b and a + i b.
[[gnu::always_inline]] static inline Complex4 MinusI(Complex4 a, Complex4 b) {
  return {a.re + b.im, a.im - b.re};
}

[[gnu::always_inline]] static inline Complex4 PlusI(Complex4 a, Complex4 b) {
  return {a.re - b.im, a.im + b.re};
}

[[gnu::always_inline]] static inline Complex4 Rotate(Complex4 z, V4xF cosine, V4xF sine) {
  return {z.re * cosine - z.im * sine, z.re * sine + z.im * cosine};
}

// By a vector of the tables.
[[gnu::always_inline]] static inline Complex4 Rotate(Complex4 z, const float* table) {
  const auto* rotation = reinterpret_cast<const V4xF*>(table);
  return Rotate(z, rotation[0], rotation[1]);
}

constexpr float kCos8 = 0.92387953251128674F;  // cos(pi / 8)
constexpr float kSin8 = 0.38268343236508977F;
constexpr float kHalfRoot = 0.70710678118654752F;

[[gnu::always_inline]] static inline V4xF All(float value) {
  return V4xF{value, value, value, value};
}

// By -pi / 8, -pi / 4 and -3 pi / 8.
[[gnu::always_inline]] static inline Complex4 RotateEighth(Complex4 z) {
  return Rotate(z, All(kCos8), All(-kSin8));
}

[[gnu::always_inline]] static inline Complex4 RotateQuarter(Complex4 z) {
  return {(z.re + z.im) * All(kHalfRoot), (z.im - z.re) * All(kHalfRoot)};
}

[[gnu::always_inline]] static inline Complex4 RotateThreeEighths(Complex4 z) {
  return Rotate(z, All(kSin8), All(-kCos8));
}

// Four points, in place.
[[gnu::always_inline]] static inline void Fourier4(Complex4& a, Complex4& b, Complex4& c,
                                                   Complex4& d) {
  const Complex4 sum = a + c;
  const Complex4 difference = a - c;
  const Complex4 sum2 = b + d;
  const Complex4 difference2 = b - d;
  a = sum + sum2;
  b = MinusI(difference, difference2);
  c = sum - sum2;
  d = PlusI(difference, difference2);
}

// Lines to the first radix 4 pass of the transforms within the lanes.
template <int L>
[[gnu::always_inline]] static inline void FirstPass(const float* lines, const float* table,
                                                    Complex4* work) {
  constexpr int kQuarter = L / 4;
  for (int m = 0; m < kQuarter; ++m) {
    Complex4 z[4];
    for (int r = 0; r < 4; ++r) {
      const int at = 8 * (m + r * kQuarter);
      const float* mirrored = lines + 8 * L - 8 - at;
      z[r].re =
          __builtin_shufflevector(Load<V4xF>(lines + at), Load<V4xF>(lines + at + 4), 0, 2, 4, 6);
      z[r].im = __builtin_shufflevector(Load<V4xF>(mirrored + 4), Load<V4xF>(mirrored), 3, 1, 7, 5);
    }
    z[1] = RotateEighth(z[1]);
    z[2] = RotateQuarter(z[2]);
    z[3] = RotateThreeEighths(z[3]);
    Fourier4(z[0], z[1], z[2], z[3]);
    for (int s = 0; s < 4; ++s) work[s * kQuarter + m] = Rotate(z[s], table + (4 * m + s) * 8);
  }
}

// One radix 4 pass of a transform of 32 points.
[[gnu::always_inline]] static inline void Pass32(Complex4* work) {
  for (int m = 0; m < 8; ++m) {
    Complex4* z = work + m;
    const float* table = dspRotations32 + m * 24;
    Complex4 a = z[0], b = z[8], c = z[16], d = z[24];
    Fourier4(a, b, c, d);
    z[0] = a;
    z[8] = Rotate(b, table);
    z[16] = Rotate(c, table + 8);
    z[24] = Rotate(d, table + 16);
  }
}

[[gnu::always_inline]] static inline void Fourier8(Complex4* work) {
  Complex4 a0 = work[0] + work[4];
  Complex4 b0 = work[0] - work[4];
  Complex4 a2 = work[2] + work[6];
  const Complex4 d2 = work[2] - work[6];
  Complex4 b2 = {d2.im, -d2.re};
  Complex4 a1 = work[1] + work[5];
  Complex4 b1 = RotateQuarter(work[1] - work[5]);
  Complex4 a3 = work[3] + work[7];
  const Complex4 d3 = work[3] - work[7];
  Complex4 b3 = {(d3.im - d3.re) * All(kHalfRoot), (d3.re + d3.im) * All(-kHalfRoot)};
  Fourier4(a0, a1, a2, a3);
  Fourier4(b0, b1, b2, b3);
  work[0] = a0;
  work[1] = b0;
  work[2] = a1;
  work[3] = b1;
  work[4] = a2;
  work[5] = b2;
  work[6] = a3;
  work[7] = b3;
}

// What is left of the transforms within the lanes: L / 4 points, four times.
template <int L>
[[gnu::always_inline]] static inline void MiddlePasses(Complex4* work) {
  if constexpr (L == 128) {
    for (int s = 0; s < 4; ++s) Pass32(work + 32 * s);
    for (int s = 0; s < 16; ++s) Fourier8(work + 8 * s);
  } else if constexpr (L == 32) {
    for (int s = 0; s < 4; ++s) Fourier8(work + 8 * s);
  } else if constexpr (L == 16) {
    for (int s = 0; s < 4; ++s) {
      Complex4* z = work + 4 * s;
      Fourier4(z[0], z[1], z[2], z[3]);
    }
  }
}

// Point t of the transforms of L / 4 points lies there.
template <int L>
[[gnu::always_inline]] static inline int Place(int t) {
  return L == 128 ? (t & 3) * 8 + (t >> 2) : t;
}

[[gnu::always_inline]] static inline void Transpose(V4xF& a, V4xF& b, V4xF& c, V4xF& d) {
  const V4xF ab = __builtin_shufflevector(a, b, 0, 4, 1, 5);
  const V4xF ab2 = __builtin_shufflevector(a, b, 2, 6, 3, 7);
  const V4xF cd = __builtin_shufflevector(c, d, 0, 4, 1, 5);
  const V4xF cd2 = __builtin_shufflevector(c, d, 2, 6, 3, 7);
  a = __builtin_shufflevector(ab, cd, 0, 1, 4, 5);
  b = __builtin_shufflevector(ab, cd, 2, 3, 6, 7);
  c = __builtin_shufflevector(ab2, cd2, 0, 1, 4, 5);
  d = __builtin_shufflevector(ab2, cd2, 2, 3, 6, 7);
}

// The results for points 4 t to 4 t + 3 and those L, 2 L and 3 L further on, the first
// two with their signs turned. With `reversed`, point 4 t + 3 comes first.
template <int L, bool reversed>
[[gnu::always_inline]] static inline void LastPoints(const Complex4* work, const float* table,
                                                     int t, Complex4 (&z)[4]) {
  for (int i = 0; i < 4; ++i) {
    const int s = reversed ? 3 - i : i;
    z[i] = Rotate(work[s * (L / 4) + Place<L>(t)], table + (4 * t + s) * 8);
  }
  Transpose(z[0].re, z[1].re, z[2].re, z[3].re);
  Transpose(z[0].im, z[1].im, z[2].im, z[3].im);
  const Complex4 sum = z[0] + z[2];
  const Complex4 difference = z[0] - z[2];
  const Complex4 sum2 = z[1] + z[3];
  const Complex4 difference2 = z[1] - z[3];
  z[0] = sum + sum2;
  z[1] = RotateEighth(MinusI(difference, difference2));
  z[2] = RotateQuarter(sum2 - sum);
  // The turn of the sign lies in the rotation.
  z[3] = Rotate(PlusI(difference, difference2), All(-kSin8), All(kCos8));
}

// Eight results: elements n to n + 3 and n + 4 to n + 7 of v or c, and in `mirrored`
// elements n + 7 to n + 4 and n + 3 to n.
struct Eight {
  V4xF low;
  V4xF high;
  V4xF mirroredLow;
  V4xF mirroredHigh;
};

[[gnu::always_inline]] static inline V4xF Reverse(V4xF v) {
  return __builtin_shufflevector(v, v, 3, 2, 1, 0);
}

[[gnu::always_inline]] static inline Eight Upwards(V4xF even, V4xF odd) {
  const V4xF low = __builtin_shufflevector(even, odd, 0, 4, 1, 5);
  const V4xF high = __builtin_shufflevector(even, odd, 2, 6, 3, 7);
  return {low, high, Reverse(high), Reverse(low)};
}

[[gnu::always_inline]] static inline Eight Downwards(V4xF odd, V4xF even) {
  const V4xF low = __builtin_shufflevector(odd, even, 0, 4, 1, 5);
  const V4xF high = __builtin_shufflevector(odd, even, 2, 6, 3, 7);
  return {Reverse(high), Reverse(low), low, high};
}

// The transforms within the lanes; apart, as they are the same for every sink.
template <int L>
[[gnu::noinline]] static void TransformLanes(const float* lines, const DspRotations<L>& rotations,
                                             Complex4* work) {
  FirstPass<L>(lines, rotations.first, work);
  MiddlePasses<L>(work);
}

// All of a transform. `sink` receives v and c, eight elements of each at a time.
template <int L, typename Sink>
[[gnu::always_inline]] static inline void Transform(const float* lines,
                                                    const DspRotations<L>& rotations,
                                                    Complex4* work, const Sink& sink) {
  TransformLanes<L>(lines, rotations, work);
  constexpr int kGroups = L / 4;
  for (int t = 0; t < (kGroups + 1) / 2; ++t) {
    Complex4 a[4];
    Complex4 b[4];
    LastPoints<L, false>(work, rotations.last, t, a);
    LastPoints<L, true>(work, rotations.last, kGroups - 1 - t, b);
    sink.template Put<8 * L>(8 * t, Upwards(a[2].re, b[1].im), Upwards(a[2].im, b[1].re));
    sink.template Put<8 * L>(2 * L + 8 * t, Upwards(a[3].re, b[0].im), Upwards(a[3].im, b[0].re));
    if constexpr (kGroups > 1) {
      sink.template Put<8 * L>(2 * L - 8 - 8 * t, Downwards(a[1].im, b[2].re),
                               Downwards(a[1].re, b[2].im));
      sink.template Put<8 * L>(4 * L - 8 - 8 * t, Downwards(a[0].im, b[3].re),
                               Downwards(a[0].re, b[3].im));
    }
  }
}

// M = N / 2 in the sinks; n is a multiple of 8 below M / 2.
struct SamplesSink {
  float* samples;
  template <int M>
  [[gnu::always_inline]] inline void Put(int n, const Eight& v, const Eight& c) const {
    Store(samples + n, v.low);
    Store(samples + n + 4, v.high);
    Store(samples + M - 8 - n, -v.mirroredLow);
    Store(samples + M - 4 - n, -v.mirroredHigh);
    Store(samples + M + n, c.low);
    Store(samples + M + n + 4, c.high);
    Store(samples + 2 * M - 8 - n, c.mirroredLow);
    Store(samples + 2 * M - 4 - n, c.mirroredHigh);
  }
};

struct OverlapSink {
  const float* rising;
  const float* falling;
  const float* overlap;
  float* output;
  float* overlapOut;
  template <int M>
  [[gnu::always_inline]] inline void Put(int n, const Eight& v, const Eight& c) const {
    const int at[4] = {n, n + 4, M - 8 - n, M - 4 - n};
    const V4xF kept[4] = {Load<V4xF>(overlap + at[0]), Load<V4xF>(overlap + at[1]),
                          Load<V4xF>(overlap + at[2]), Load<V4xF>(overlap + at[3])};
    Store(output + at[0], kept[0] + v.low * Load<V4xF>(rising + at[0]));
    Store(output + at[1], kept[1] + v.high * Load<V4xF>(rising + at[1]));
    Store(output + at[2], kept[2] - v.mirroredLow * Load<V4xF>(rising + at[2]));
    Store(output + at[3], kept[3] - v.mirroredHigh * Load<V4xF>(rising + at[3]));
    Store(overlapOut + at[0], c.low * Load<V4xF>(falling + at[0]));
    Store(overlapOut + at[1], c.high * Load<V4xF>(falling + at[1]));
    Store(overlapOut + at[2], c.mirroredLow * Load<V4xF>(falling + at[2]));
    Store(overlapOut + at[3], c.mirroredHigh * Load<V4xF>(falling + at[3]));
  }
};

// u itself, at the forward transform's scale.
struct LinesSink {
  float* lines;
  template <int M>
  [[gnu::always_inline]] inline void Put(int n, const Eight& v, const Eight& c) const {
    const V4xF scale = All(static_cast<float>(2 * M));
    Store(lines + M / 2 + n, v.low * scale);
    Store(lines + M / 2 + n + 4, v.high * scale);
    Store(lines + M / 2 - 8 - n, c.mirroredLow * -scale);
    Store(lines + M / 2 - 4 - n, c.mirroredHigh * -scale);
  }
};

constexpr int32_t kTransformAlignment = 16;

static inline uint8_t* AlignUp(uint8_t* memory) {
  return memory + (-reinterpret_cast<uintptr_t>(memory) & (kTransformAlignment - 1));
}

template <typename Sink>
static inline int32_t TransformOf(int32_t samples, const float* lines, uint8_t* work,
                                  const Sink& sink) {
  auto* aligned = reinterpret_cast<Complex4*>(AlignUp(work));
  switch (samples) {
    case 2048:
      Transform<128>(lines, dspRotations2048, aligned, sink);
      return kDspOk;
    case 512:
      Transform<32>(lines, dspRotations512, aligned, sink);
      return kDspOk;
    case 256:
      Transform<16>(lines, dspRotations256, aligned, sink);
      return kDspOk;
    case 64:
      Transform<4>(lines, dspRotations64, aligned, sink);
      return kDspOk;
    default:
      return kDspBadLength;
  }
}

static inline bool IsTransformLength(int32_t samples) {
  return samples == 2048 || samples == 512 || samples == 256 || samples == 64;
}

static inline int32_t TransformSizes(int32_t samples, int32_t specBytes, int32_t bytesPerSample,
                                     int32_t* specSize, int32_t* initSize, int32_t* workSize) {
  if (specSize == nullptr || initSize == nullptr || workSize == nullptr) return kDspNullPointer;
  if (!IsTransformLength(samples)) return kDspBadLength;
  *specSize = specBytes + kTransformAlignment;
  *initSize = 0;
  *workSize = samples * bytesPerSample + kTransformAlignment;
  return kDspOk;
}

template <typename Spec>
static inline int32_t PlaceSpec(Spec** spec, int32_t samples, uint8_t* memory) {
  if (spec == nullptr || memory == nullptr) return kDspNullPointer;
  if (!IsTransformLength(samples)) return kDspBadLength;
  *spec = reinterpret_cast<Spec*>(AlignUp(memory));
  (*spec)->samples = samples;
  return kDspOk;
}

int32_t dspImdctGetSize_32f(int32_t samples, int32_t* specSize, int32_t* initSize,
                            int32_t* workSize) {
  return TransformSizes(samples, sizeof(DspImdctSpec), 2, specSize, initSize, workSize);
}

int32_t dspMdctFwdGetSize_32f(int32_t samples, int32_t* specSize, int32_t* initSize,
                              int32_t* workSize) {
  return TransformSizes(samples, sizeof(DspMdctFwdSpec), 4, specSize, initSize, workSize);
}

int32_t dspImdctInit_32f(DspImdctSpec** spec, int32_t samples, uint8_t* memory, uint8_t*) {
  return PlaceSpec(spec, samples, memory);
}

int32_t dspMdctFwdInit_32f(DspMdctFwdSpec** spec, int32_t samples, uint8_t* memory, uint8_t*) {
  return PlaceSpec(spec, samples, memory);
}

int32_t dspImdct_32f(const float* lines, float* samples, const DspImdctSpec* spec, uint8_t* work) {
  if (lines == nullptr || samples == nullptr || spec == nullptr || work == nullptr) {
    return kDspNullPointer;
  }
  return TransformOf(spec->samples, lines, work, SamplesSink{samples});
}

int32_t dspImdctWindowOverlap_32f(const float* lines, const float* rising, const float* falling,
                                  const float* overlap, float* output, float* overlapOut,
                                  const DspImdctSpec* spec, uint8_t* work) {
  if (lines == nullptr || rising == nullptr || falling == nullptr || overlap == nullptr ||
      output == nullptr || overlapOut == nullptr || spec == nullptr || work == nullptr) {
    return kDspNullPointer;
  }
  const OverlapSink sink = {rising, falling, overlap, output, overlapOut};
  return TransformOf(spec->samples, lines, work, sink);
}

int32_t dspMdctFwd_32f(const float* samples, float* lines, const DspMdctFwdSpec* spec,
                       uint8_t* work) {
  if (samples == nullptr || lines == nullptr || spec == nullptr || work == nullptr) {
    return kDspNullPointer;
  }
  // The samples are folded to what the inverse transform unfolds; the fold lies in
  // the work area's second half.
  const int M = spec->samples / 2;
  float* folded = reinterpret_cast<float*>(AlignUp(work)) + M;
  for (int n = 0; n < M / 2; n += 4) {
    const V4xF late = Load<V4xF>(samples + M - 4 - n);
    Store(folded + M / 2 + n, Load<V4xF>(samples + n) - Reverse(late));
    const V4xF second = Load<V4xF>(samples + M + n);
    const V4xF last = Load<V4xF>(samples + 2 * M - 4 - n);
    Store(folded + M / 2 - 4 - n, -(Reverse(second) + last));
  }
  return TransformOf(spec->samples, folded, work, LinesSink{lines});
}
