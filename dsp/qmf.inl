// The QMF banks; dsp/qmf_kernels.h has the contracts.
//
// Four time slots go side by side, one a lane, so that the transforms need no
// shuffles; window sums run along the samples. Where the two meet, blocks of four by
// four are turned round.
//
// All complex banks stand on one transform of 32 points,
//   F(z)[j] = sum over m of z[m] * exp(-i pi m / 64) * exp(-2 pi i m j / 32),
// and on its twin with positive exponents, which is F with real and imaginary parts
// changing places before and after: G(z) = i conj(F(i conj(z))).

constexpr int kFrameSlots = 32;
constexpr int kRowFloats = 64;
constexpr int kAnalysisPast = 288;  // samples that a slot sees before its own 32

// F, in place. Result j ends at BankPlace(j).
[[gnu::noinline]] static void BankFourier(Complex4* z) {
  for (int m = 0; m < 8; ++m) {
    Complex4 a = z[m];
    Complex4 b = RotateEighth(z[m + 8]);
    Complex4 c = RotateQuarter(z[m + 16]);
    Complex4 d = RotateThreeEighths(z[m + 24]);
    Fourier4(a, b, c, d);
    const auto& table = dspQmfTables.middle[m];
    z[m] = Rotate(a, table[0]);
    z[m + 8] = Rotate(b, table[1]);
    z[m + 16] = Rotate(c, table[2]);
    z[m + 24] = Rotate(d, table[3]);
  }
  for (int s = 0; s < 4; ++s) Fourier8(z + 8 * s);
}

[[gnu::always_inline]] static inline int BankPlace(int j) { return (j & 3) * 8 + (j >> 2); }

[[gnu::always_inline]] static inline Complex4 Swap(Complex4 z) { return {z.im, z.re}; }

// Four bands of four rows: vector i holds band i of each.
[[gnu::always_inline]] static inline void LoadBands(const float* rows, V4xF (&bands)[4]) {
  for (int slot = 0; slot < 4; ++slot) bands[slot] = Load<V4xF>(rows + slot * kRowFloats);
  Transpose(bands[0], bands[1], bands[2], bands[3]);
}

// And back, to rows that lie `step` apart.
[[gnu::always_inline]] static inline void StoreBands(V4xF a, V4xF b, V4xF c, V4xF d, float* rows,
                                                     int step) {
  Transpose(a, b, c, d);
  Store(rows, a);
  Store(rows + step, b);
  Store(rows + 2 * step, c);
  Store(rows + 3 * step, d);
}

// Cosine transforms of the fourth kind, y[n] = sum over k of
// x[k] * cos(pi / N * (n + 1/2) * (k + 1/2)), through N / 2 complex points.

template <int N>
[[gnu::always_inline]] static inline const float* CosineRotation(int n) {
  if constexpr (N == 32) return dspQmfTables.cosine32[n];
  if constexpr (N == 16) return dspQmfTables.cosine16[n];
  if constexpr (N == 8) return dspQmfTables.cosine8[n];
  return dspQmfTables.cosine4[n];
}

// By -3 pi / 4.
[[gnu::always_inline]] static inline Complex4 RotateThreeQuarters(Complex4 z) {
  return {(z.im - z.re) * All(kHalfRoot), (z.re + z.im) * All(-kHalfRoot)};
}

// Sixteen points; result j ends at (j & 3) * 4 + (j >> 2). Columns are m, m + 4, m + 8 and
// m + 12, to be gone through before the rows of four that follow one another.
template <int M>
[[gnu::always_inline]] static inline void Column16(Complex4* z) {
  Fourier4(z[M], z[M + 4], z[M + 8], z[M + 12]);
  if constexpr (M == 1) {
    z[5] = RotateEighth(z[5]);
    z[9] = RotateQuarter(z[9]);
    z[13] = RotateThreeEighths(z[13]);
  } else if constexpr (M == 2) {
    z[6] = RotateQuarter(z[6]);
    z[10] = {z[10].im, -z[10].re};
    z[14] = RotateThreeQuarters(z[14]);
  } else if constexpr (M == 3) {
    z[7] = RotateThreeEighths(z[7]);
    z[11] = RotateThreeQuarters(z[11]);
    z[15] = Rotate(z[15], All(-kCos8), All(kSin8));
  }
}

// Ordered so that little has to be kept between the steps.
template <int N>
[[gnu::always_inline]] static inline void Cosine4(const V4xF* x, int xStep, V4xF* y, int yStep) {
  constexpr int kHalf = N / 2;
  Complex4 z[kHalf];
  const auto enter = [&](int n) __attribute__((always_inline)) {
    z[n] = Rotate(Complex4{x[2 * n * xStep], x[(N - 1 - 2 * n) * xStep]}, CosineRotation<N>(n));
  };
  const auto leave = [&](int n, Complex4 value) __attribute__((always_inline)) {
    const Complex4 last = Rotate(value, CosineRotation<N>(n));
    y[2 * n * yStep] = last.re;
    y[(N - 1 - 2 * n) * yStep] = -last.im;
  };
  if constexpr (N == 32) {
    const auto column = [&]<int M>() __attribute__((always_inline)) {
      for (int r = 0; r < 16; r += 4) enter(M + r);
      Column16<M>(z);
    };
    column.template operator()<0>();
    column.template operator()<1>();
    column.template operator()<2>();
    column.template operator()<3>();
    for (int s = 0; s < 4; ++s) {
      Complex4* row = z + 4 * s;
      Fourier4(row[0], row[1], row[2], row[3]);
      for (int i = 0; i < 4; ++i) leave(4 * i + s, row[i]);
    }
    return;
  }
  for (int n = 0; n < kHalf; ++n) enter(n);
  if constexpr (N == 16) {
    Fourier8(z);
  } else if constexpr (N == 8) {
    Fourier4(z[0], z[1], z[2], z[3]);
  } else if constexpr (N == 4) {
    const Complex4 sum = z[0] + z[1];
    z[1] = z[0] - z[1];
    z[0] = sum;
  }
  for (int n = 0; n < kHalf; ++n) leave(n, z[n]);
}

// The second kind, y[n] = sum over k of x[k] * cos(pi / N * n * (k + 1/2)).
template <int N>
[[gnu::always_inline]] static inline void Cosine2(const V4xF* x, V4xF* y, int yStep) {
  V4xF sum[N / 2];
  V4xF difference[N / 2];
  for (int k = 0; k < N / 2; ++k) {
    sum[k] = x[k] + x[N - 1 - k];
    difference[k] = x[k] - x[N - 1 - k];
  }
  if constexpr (N == 4) {
    y[0] = sum[0] + sum[1];
    y[2 * yStep] = (sum[0] - sum[1]) * All(kHalfRoot);
    y[yStep] = difference[0] * All(kCos8) + difference[1] * All(kSin8);
    y[3 * yStep] = difference[0] * All(kSin8) - difference[1] * All(kCos8);
  } else {
    Cosine2<N / 2>(sum, y, 2 * yStep);
    Cosine4<N / 2>(difference, 1, y + yStep, 2 * yStep);
  }
}

// The third kind, y[k] = sum over n of x[n] * cos(pi / N * n * (k + 1/2)).
template <int N>
[[gnu::always_inline]] static inline void Cosine3(const V4xF* x, int xStep, V4xF* y) {
  V4xF even[N / 2];
  V4xF odd[N / 2];
  if constexpr (N == 4) {
    const V4xF middle = x[2 * xStep] * All(kHalfRoot);
    even[0] = x[0] + middle;
    even[1] = x[0] - middle;
    odd[0] = x[xStep] * All(kCos8) + x[3 * xStep] * All(kSin8);
    odd[1] = x[xStep] * All(kSin8) - x[3 * xStep] * All(kCos8);
  } else {
    Cosine3<N / 2>(x, 2 * xStep, even);
    Cosine4<N / 2>(x + xStep, 2 * xStep, odd, 1);
  }
  for (int k = 0; k < N / 2; ++k) {
    y[k] = even[k] + odd[k];
    y[N - 1 - k] = even[k] - odd[k];
  }
}

// The 64 window sums of four slots. `samples` is the oldest that the first slot sees.
// Sums 0 to 31 go to `low`, the others to `high`, in steps of kStep vectors.
template <int kStep>
[[gnu::always_inline]] static inline void AnalysisWindow(const float* samples, V4xF* low,
                                                         V4xF* high) {
  for (int block = 0; block < 16; ++block) {
    const auto* window = reinterpret_cast<const V4xF*>(dspQmfTables.analysis[block]);
    V4xF sum[4];
    for (int slot = 0; slot < 4; ++slot) {
      const float* newest = samples + kAnalysisPast + 28 + 32 * slot - 4 * block;
      sum[slot] = Load<V4xF>(newest) * window[0];
      for (int tap = 1; tap < 5; ++tap)
        sum[slot] = sum[slot] + Load<V4xF>(newest - 64 * tap) * window[tap];
    }
    Transpose(sum[0], sum[1], sum[2], sum[3]);
    V4xF* to = block < 8 ? low + 4 * block * kStep : high + (4 * block - 32) * kStep;
    for (int i = 0; i < 4; ++i) to[(3 - i) * kStep] = sum[i];
  }
}

// Bands are X[k] = sum over n below 64 of u[n] * exp(i pi (k + 1/2) (n - 1/4) / 32).
// With z[n] = u[n] + i u[n + 32], S = G(z) is the sum without the quarter for the
// bands 0, 2 to 62; those above 31 stand, conjugate, for the odd ones: band k is at
// (63 - k) / 2. The angle a = -pi (k + 1/2) / 128 of the quarter follows: swapping the
// parts back, an even band is Swap(F exp(-i a)), an odd one is F exp(i (a - pi / 2)).
static void AnalyseComplex(const float* samples, float* real, float* imag) {
  Complex4 z[32];
  AnalysisWindow<2>(samples, &z[0].im, &z[0].re);
  BankFourier(z);
  for (int k = 0; k < 32; k += 4) {
    const auto* last = dspQmfTables.analysisLast + k;
    const Complex4 a = Swap(Rotate(z[BankPlace(k / 2)], last[0]));
    const Complex4 b = Rotate(z[BankPlace(31 - k / 2)], last[1]);
    const Complex4 c = Swap(Rotate(z[BankPlace(k / 2 + 1)], last[2]));
    const Complex4 d = Rotate(z[BankPlace(30 - k / 2)], last[3]);
    StoreBands(a.re, b.re, c.re, d.re, real + k, kRowFloats);
    StoreBands(a.im, b.im, c.im, d.im, imag + k, kRowFloats);
  }
}

// X[k] = sum of u[n] * cos(pi (k + 1/2) (n - 48) / 32), whose cosines repeat so that
// 32 folded sums are left.
static void AnalyseReal(const float* samples, float* real) {
  V4xF u[64];
  AnalysisWindow<1>(samples, u, u + 32);
  V4xF folded[32];
  folded[0] = u[48];
  for (int m = 1; m < 16; ++m) folded[m] = u[48 - m] + u[48 + m];
  for (int m = 16; m < 32; ++m) folded[m] = u[48 - m] - u[m - 16];
  V4xF bands[32];
  Cosine3<32>(folded, 1, bands);
  for (int k = 0; k < 32; k += 4)
    StoreBands(bands[k], bands[k + 1], bands[k + 2], bands[k + 3], real + k, kRowFloats);
}

int32_t dspQmfAnalysis_32f(const float* samples, float* history, float* real, float* imag) {
  if (samples == nullptr || history == nullptr || real == nullptr) return kDspNullPointer;
  constexpr int kGroup = 4 * 32;
  constexpr int kFirstGroups = 3;  // those that reach into the past
  float start[kAnalysisPast + kFirstGroups * kGroup];
  __builtin_memcpy(start, history, kAnalysisPast * sizeof(float));
  __builtin_memcpy(start + kAnalysisPast, samples, kFirstGroups * kGroup * sizeof(float));
  for (int group = 0; group < kFrameSlots / 4; ++group) {
    const float* from =
        group < kFirstGroups ? start + group * kGroup : samples + group * kGroup - kAnalysisPast;
    const int at = group * 4 * kRowFloats;
    if (imag != nullptr)
      AnalyseComplex(from, real + at, imag + at);
    else
      AnalyseReal(from, real + at);
  }
  __builtin_memcpy(history, samples + kFrameSlots * 32 - kAnalysisPast,
                   kAnalysisPast * sizeof(float));
  return kDspOk;
}

// The window sum's input is v[n] = -1/2 Re(D[n]) for n from 0 to 2 * bands - 1, with
// D[n] = sum over k of X[k] * exp(i pi (k + 1/2) (n + 1/2) / 64) for 64 bands and
// exp(i pi (k + 1/2) (n + 1/4) / 32) for 32. Its halves are taken together,
// Y[n] = v[n] + i v[n + bands]: an odd band is in Y as it stands, an even one
// conjugate at the negative frequency.

// 32 bands: Y[n] = G(z)[n] * exp(3 i pi (4 n + 1) / 256) with z[m] = X[2 m + 1] below
// 16 and -i conj(X[62 - 2 m]) from there on.
static void Synthesise32(const float* real, const float* imag, float* rows) {
  Complex4 z[32];
  for (int k = 0; k < 32; k += 4) {
    V4xF re[4];
    V4xF im[4];
    LoadBands(real + k, re);
    LoadBands(imag + k, im);
    z[k / 2] = {im[1], re[1]};
    z[k / 2 + 1] = {im[3], re[3]};
    z[31 - k / 2] = {-re[0], -im[0]};
    z[30 - k / 2] = {-re[2], -im[2]};
  }
  BankFourier(z);
  for (int n = 0; n < 32; n += 4) {
    Complex4 y[4];
    for (int i = 0; i < 4; ++i)
      y[i] = Swap(Rotate(z[BankPlace(n + i)], dspQmfTables.synthesis32Last[n + i]));
    StoreBands(y[0].re, y[1].re, y[2].re, y[3].re, rows + n, 64);
    StoreBands(y[0].im, y[1].im, y[2].im, y[3].im, rows + 32 + n, 64);
  }
}

// 64 bands: with p[m] = X[2 m + 1] - i conj(X[62 - 2 m]) and q the same with a plus,
// and a[n] = 3 pi (2 n + 1) / 256,
//   Y[2 j] = G(p)[j] * exp(i a[2 j]),  Y[2 j + 1] = F(q)[31 - j] * exp(i a[2 j + 1]).
struct Halves64 {
  Complex4 even[32];  // p with its parts swapped
  Complex4 odd[32];   // q
  [[gnu::always_inline]] inline void Put(int m, Complex4 a, Complex4 b) {
    even[m] = {a.im - b.re, a.re - b.im};
    odd[m] = {a.re + b.im, a.im + b.re};
  }
  [[gnu::always_inline]] inline void PutFirst(int m, Complex4 a) {
    even[m] = {a.im, a.re};
    odd[m] = a;
  }
  [[gnu::always_inline]] inline void PutSecond(int m, Complex4 b) {
    even[m] = {-b.re, -b.im};
    odd[m] = {b.im, b.re};
  }
};

static void Synthesise64(const float* real, const float* imag, int silent, float* rows) {
  Halves64 z;
  int k = 0;
  for (; k < silent; k += 4) {
    V4xF re[4];
    V4xF im[4];
    LoadBands(real + k, re);
    LoadBands(imag + k, im);
    z.PutFirst(k / 2, {re[1], im[1]});
    z.PutFirst(k / 2 + 1, {re[3], im[3]});
    z.PutSecond(30 - k / 2, {re[2], im[2]});
    z.PutSecond(31 - k / 2, {re[0], im[0]});
  }
  for (; k < 32; k += 4) {
    V4xF re[4];
    V4xF im[4];
    V4xF highRe[4];
    V4xF highIm[4];
    LoadBands(real + k, re);
    LoadBands(imag + k, im);
    LoadBands(real + 60 - k, highRe);
    LoadBands(imag + 60 - k, highIm);
    z.Put(k / 2, {re[1], im[1]}, {highRe[2], highIm[2]});
    z.Put(k / 2 + 1, {re[3], im[3]}, {highRe[0], highIm[0]});
    z.Put(30 - k / 2, {highRe[1], highIm[1]}, {re[2], im[2]});
    z.Put(31 - k / 2, {highRe[3], highIm[3]}, {re[0], im[0]});
  }
  BankFourier(z.even);
  BankFourier(z.odd);
  for (int n = 0; n < 64; n += 4) {
    const auto* last = dspQmfTables.synthesis64Last + n;
    const Complex4 a = Swap(Rotate(z.even[BankPlace(n / 2)], last[0]));
    const Complex4 b = Rotate(z.odd[BankPlace(31 - n / 2)], last[1]);
    const Complex4 c = Swap(Rotate(z.even[BankPlace(n / 2 + 1)], last[2]));
    const Complex4 d = Rotate(z.odd[BankPlace(30 - n / 2)], last[3]);
    StoreBands(a.re, b.re, c.re, d.re, rows + n, 128);
    StoreBands(a.im, b.im, c.im, d.im, rows + 64 + n, 128);
  }
}

// The real banks' v[n] = sum over k of X[k] * cos(pi (k + 1/2) (n - bands / 2) / bands):
// the results y of one cosine transform, mirrored twice. With h = bands / 2, v[h + n]
// is y[n], v[h - n] is y[n], and v[5 h - n] is -y[n] where n is above h; v[3 h] is 0.
template <int kBands>
static void SynthesiseReal(const float* real, int silent, float* rows) {
  constexpr int kHalf = kBands / 2;
  constexpr int kStep = 2 * kBands;
  // The transform's first step.
  V4xF sum[kHalf];
  V4xF difference[kHalf];
  int k = 0;
  for (; k < silent; k += 4) {
    V4xF low[4];
    LoadBands(real + k, low);
    for (int i = 0; i < 4; ++i) difference[k + i] = sum[k + i] = low[i];
  }
  for (; k < kHalf; k += 4) {
    V4xF low[4];
    V4xF high[4];
    LoadBands(real + k, low);
    LoadBands(real + kBands - 4 - k, high);
    for (int i = 0; i < 4; ++i) {
      sum[k + i] = low[i] + high[3 - i];
      difference[k + i] = low[i] - high[3 - i];
    }
  }
  V4xF y[kBands];
  Cosine2<kHalf>(sum, y, 2);
  Cosine4<kHalf>(difference, 1, y + 1, 2);

  for (int n = 0; n < kBands; n += 4) {
    V4xF slots[4] = {y[n], y[n + 1], y[n + 2], y[n + 3]};
    Transpose(slots[0], slots[1], slots[2], slots[3]);
    for (int slot = 0; slot < 4; ++slot) {
      float* row = rows + slot * kStep;
      const V4xF mirrored = Reverse(slots[slot]);
      Store(row + kHalf + n, slots[slot]);
      if (n < kHalf) Store(row + kHalf - 3 - n, mirrored);
      if (n > kHalf) Store(row + 5 * kHalf - 3 - n, -mirrored);
    }
  }
  // What the mirrored blocks, which lie off by one, leave out.
  StoreBands(y[kHalf], y[kHalf - 1], y[kHalf - 2], y[kHalf - 3], rows, kStep);
  StoreBands(V4xF{}, -y[kBands - 1], -y[kBands - 2], -y[kBands - 3], rows + 3 * kHalf, kStep);
  StoreBands(-y[kHalf + 4], -y[kHalf + 3], -y[kHalf + 2], -y[kHalf + 1], rows + 4 * kHalf - 4,
             kStep);
}

// The samples of four slots. groups[i] are the rows of the four slots that lie i times
// four slots back; of the last only its newest row counts. Tap i takes the row i slots
// back, an even one its first half, an odd one its second.
template <int kBands>
[[gnu::always_inline]] static inline void SynthesisWindow(const float* const (&groups)[4],
                                                          const float (*window)[10][4],
                                                          float* samples) {
  for (int m = 0; m < kBands; m += 4, ++window) {
    const auto* taps = reinterpret_cast<const V4xF*>(*window);
    const auto product = [&](int tap, int slot) __attribute__((always_inline)) {
      const int group = (tap - slot + 3) / 4;
      const float* row = groups[group] + (4 * group + slot - tap) * 2 * kBands;
      return Load<V4xF>(row + (tap % 2) * kBands + m) * taps[tap];
    };
    V4xF sum[4] = {product(0, 0), product(0, 1), product(0, 2), product(0, 3)};
#pragma GCC unroll 9
    for (int tap = 1; tap < 10; ++tap) {
      for (int slot = 0; slot < 4; ++slot) sum[slot] = sum[slot] + product(tap, slot);
    }
    for (int slot = 0; slot < 4; ++slot) Store(samples + slot * kBands + m, sum[slot]);
  }
}

template <int kBands>
static void Synthesise(const float* real, const float* imag, int32_t used, float* history,
                       float* samples) {
  constexpr int kGroup = 4 * 2 * kBands;
  // Bands at the top that hold nothing, in fours.
  const int silent = Clamp(kBands - used, 0, kBands / 2) & ~3;
  for (int group = 0; group < kFrameSlots / 4; ++group) {
    const float* groups[4];
    for (int i = 0; i < 4; ++i) groups[i] = history + ((group - i) & 3) * kGroup;
    float* rows = history + (group & 3) * kGroup;
    const int at = group * 4 * kRowFloats;
    if (imag == nullptr)
      SynthesiseReal<kBands>(real + at, silent, rows);
    else if constexpr (kBands == 64)
      Synthesise64(real + at, imag + at, silent, rows);
    else
      Synthesise32(real + at, imag + at, rows);
    const auto* window = [] {
      if constexpr (kBands == 64) return dspQmfTables.synthesis64;
      if constexpr (kBands == 32) return dspQmfTables.synthesis32;
    }();
    SynthesisWindow<kBands>(groups, window, samples + group * 4 * kBands);
  }
}

int32_t dspQmfSynthesis_32f(const float* real, const float* imag, int32_t used, int32_t bands,
                            float* history, float* samples) {
  if (real == nullptr || history == nullptr || samples == nullptr) return kDspNullPointer;
  if (bands == 64)
    Synthesise<64>(real, imag, used, history, samples);
  else if (bands == 32)
    Synthesise<32>(real, imag, used, history, samples);
  else
    return kDspBadLength;
  return kDspOk;
}
