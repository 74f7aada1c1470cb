// Band replication; dsp/sbr_kernels.h has the contracts.

namespace sbr {

constexpr int32_t kRow = 64;
constexpr int32_t kRows = 40;
constexpr int32_t kMostBands = 60;
constexpr float kRelaxed = 0.999999F;    // 1 / (1 + 1e-6)
constexpr float kLargestSquare = 16.0F;  // of a prediction coefficient

[[gnu::always_inline]] static inline V4xF Where(V4x32 mask, V4xF v) {
  return reinterpret_cast<V4xF>(reinterpret_cast<V4x32>(v) & mask);
}

// Four bands of a row. kImag is false for the real signal, whose imaginary parts the
// compiler then leaves out.
struct Four {
  V4xF re, im;
};

template <bool kComplex>
[[gnu::always_inline]] static inline Four LoadFour(const float* real, const float* imag) {
  if constexpr (kComplex) return {Load<V4xF>(real), Load<V4xF>(imag)};
  return {Load<V4xF>(real), V4xF{}};
}

// sum + a * b, and with b's conjugate.
template <bool kComplex>
[[gnu::always_inline]] static inline Four AddProduct(Four sum, Four a, Four b) {
  if constexpr (kComplex)
    return {sum.re + (a.re * b.re - a.im * b.im), sum.im + (a.re * b.im + a.im * b.re)};
  return {sum.re + a.re * b.re, V4xF{}};
}

template <bool kComplex>
[[gnu::always_inline]] static inline Four AddConjugate(Four sum, Four a, Four b) {
  if constexpr (kComplex)
    return {sum.re + (a.re * b.re + a.im * b.im), sum.im + (a.im * b.re - a.re * b.im)};
  return {sum.re + a.re * b.re, V4xF{}};
}

template <bool kComplex>
[[gnu::always_inline]] static inline V4xF Square(Four a) {
  if constexpr (kComplex) return a.re * a.re + a.im * a.im;
  return a.re * a.re;
}

struct Covariance {
  V4xF phi11, phi22;
  Four phi01, phi02, phi12;
};

// Products of neighbouring rows belong to two of the sums but for the first and the
// last of them.
template <bool kComplex>
[[gnu::always_inline]] static inline Covariance Covary(const float* real, const float* imag) {
  Four older = LoadFour<kComplex>(real, imag);
  Four old = LoadFour<kComplex>(real + kRow, imag + kRow);
  const V4xF firstSquare = Square<kComplex>(older);
  const Four firstProduct = AddConjugate<kComplex>(Four{}, old, older);
  V4xF squares = {};
  Four ones = {};
  Four twos = {};
  for (int32_t r = 2; r < kRows - 1; ++r) {
    const Four now = LoadFour<kComplex>(real + r * kRow, imag + r * kRow);
    squares += Square<kComplex>(old);
    ones = AddConjugate<kComplex>(ones, now, old);
    twos = AddConjugate<kComplex>(twos, now, older);
    older = old;
    old = now;
  }
  constexpr int32_t kLast = (kRows - 1) * kRow;
  const Four now = LoadFour<kComplex>(real + kLast, imag + kLast);
  Covariance phi;
  phi.phi11 = squares + Square<kComplex>(old);
  phi.phi22 = squares + firstSquare;
  phi.phi01 = AddConjugate<kComplex>(ones, now, old);
  phi.phi12 = {ones.re + firstProduct.re, ones.im + firstProduct.im};
  phi.phi02 = AddConjugate<kComplex>(twos, now, older);
  return phi;
}

template <bool kComplex>
[[gnu::always_inline]] static inline void PredictFour(const Covariance& phi, Four* alpha0,
                                                      Four* alpha1) {
  const V4xF d = phi.phi22 * phi.phi11 - Square<kComplex>(phi.phi12) * kRelaxed;
  const V4x32 some = d != V4xF{};
  const Four up = AddProduct<kComplex>(Four{}, phi.phi01, phi.phi12);
  alpha1->re = Where(some, (up.re - phi.phi02.re * phi.phi11) / d);
  alpha1->im = Where(some, (up.im - phi.phi02.im * phi.phi11) / d);
  const V4x32 loud = phi.phi11 != V4xF{};
  const Four sum = AddConjugate<kComplex>(phi.phi01, *alpha1, phi.phi12);
  alpha0->re = Where(loud, -sum.re / phi.phi11);
  alpha0->im = Where(loud, -sum.im / phi.phi11);
  const V4x32 sane =
      (Square<kComplex>(*alpha0) < kLargestSquare) & (Square<kComplex>(*alpha1) < kLargestSquare);
  *alpha0 = {Where(sane, alpha0->re), Where(sane, alpha0->im)};
  *alpha1 = {Where(sane, alpha1->re), Where(sane, alpha1->im)};
}

template <bool kComplex>
[[gnu::always_inline]] static inline void Generate(const float* lowReal, const float* lowImag,
                                                   const float* alpha, int32_t bands, int32_t rows,
                                                   float* highReal, float* highImag,
                                                   float* energy) {
  for (int32_t k = 0; k < bands; k += 4) {
    const Four alpha0 = LoadFour<kComplex>(alpha + k, alpha + k + kRow);
    const float* second = alpha + k + (kComplex ? 2 : 1) * kRow;
    const Four alpha1 = LoadFour<kComplex>(second, second + kRow);
    const float* real = lowReal + k;
    const float* imag = lowImag + k;
    Four older = LoadFour<kComplex>(real, imag);
    Four old = LoadFour<kComplex>(real + kRow, imag + kRow);
    V4xF sum = {};
    for (int32_t r = 0; r < rows; ++r) {
      const int32_t at = (r + 2) * kRow;
      const Four now = LoadFour<kComplex>(real + at, imag + at);
      const Four high = AddProduct<kComplex>(AddProduct<kComplex>(now, alpha0, old), alpha1, older);
      Store(highReal + r * kRow + k, high.re);
      if constexpr (kComplex) Store(highImag + r * kRow + k, high.im);
      sum += Square<kComplex>(high);
      older = old;
      old = now;
    }
    Store(energy + k, sum);
  }
}

template <bool kNoise>
[[gnu::always_inline]] static inline V4xF AdjustFour(const float* high, V4xF gain,
                                                     const float* level, const float* noise) {
  const V4xF adjusted = gain * Load<V4xF>(high);
  if constexpr (kNoise) return adjusted + Load<V4xF>(level) * Load<V4xF>(noise);
  return adjusted;
}

// The last four bands of a row overlap those before them; fewer than four are put
// down one by one.
template <bool kComplex, bool kNoise>
[[gnu::always_inline]] static inline void AdjustRow(const float* highReal, const float* highImag,
                                                    const float* gain, const float* noise,
                                                    int32_t noiseIndex, int32_t bands,
                                                    float* outReal, float* outImag) {
  const float* real = dspSbrNoise.real + noiseIndex;
  const float* imag = dspSbrNoise.imag + noiseIndex;
  const auto four = [&](int32_t k, unsigned long bytes) __attribute__((always_inline)) {
    const V4xF g = Load<V4xF>(gain + k);
    const V4xF re = AdjustFour<kNoise>(highReal + k, g, noise + k, real + k);
    __builtin_memcpy(outReal + k, &re, bytes);
    if constexpr (kComplex) {
      const V4xF im = AdjustFour<kNoise>(highImag + k, g, noise + k, imag + k);
      __builtin_memcpy(outImag + k, &im, bytes);
    }
  };
  int32_t k = 0;
  for (; k + 4 <= bands; k += 4) four(k, sizeof(V4xF));
  if (k == bands) return;
  if (k > 0)
    four(bands - 4, sizeof(V4xF));
  else
    four(0, static_cast<unsigned long>(bands) * sizeof(float));
}

template <bool kComplex>
static inline void Adjust(const float* highReal, const float* highImag, const float* gain,
                          const float* noise, int32_t noiseIndex, int32_t bands, int32_t rows,
                          float* outReal, float* outImag) {
  for (int32_t r = 0; r < rows; ++r) {
    const int32_t at = r * kRow;
    const auto entry = static_cast<int32_t>(
        (static_cast<uint32_t>(noiseIndex) + 1U + static_cast<uint32_t>(r * bands)) &
        (kDspSbrNoise - 1));
    if (noise != nullptr) {
      AdjustRow<kComplex, true>(highReal + at, highImag + at, gain, noise, entry, bands,
                                outReal + at, outImag + at);
    } else {
      AdjustRow<kComplex, false>(highReal + at, highImag + at, gain, gain, entry, bands,
                                 outReal + at, outImag + at);
    }
  }
}

}  // namespace sbr

int32_t dspBound_32f_I(float bound, float* srcDst, int32_t length) {
  if (srcDst == nullptr) return kDspNullPointer;
  if (length < 1) return kDspBadLength;
  HoldWithin(bound, srcDst, length);
  return kDspOk;
}

int32_t dspSqrt_32f_I(float* srcDst, int32_t length) {
  if (srcDst == nullptr) return kDspNullPointer;
  if (length < 1) return kDspBadLength;
  int32_t i = 0;
  for (; i + 4 <= length; i += 4) Store(srcDst + i, __builtin_ia32_sqrtps(Load<V4xF>(srcDst + i)));
  for (; i < length; ++i) srcDst[i] = __builtin_ia32_sqrtps(V4xF{} + srcDst[i])[0];
  return kDspOk;
}

int32_t dspSbrPredict_32fc(const float* real, const float* imag, int32_t bands, float* alpha) {
  if (real == nullptr || imag == nullptr || alpha == nullptr) return kDspNullPointer;
  if (bands < 1 || bands > sbr::kMostBands) return kDspBadLength;
  for (int32_t k = 0; k < bands; k += 4) {
    sbr::Four alpha0, alpha1;
    sbr::PredictFour<true>(sbr::Covary<true>(real + k, imag + k), &alpha0, &alpha1);
    Store(alpha + k, alpha0.re);
    Store(alpha + k + sbr::kRow, alpha0.im);
    Store(alpha + k + 2 * sbr::kRow, alpha1.re);
    Store(alpha + k + 3 * sbr::kRow, alpha1.im);
  }
  return kDspOk;
}

int32_t dspSbrPredict_32f(const float* rows, int32_t bands, float* alpha) {
  if (rows == nullptr || alpha == nullptr) return kDspNullPointer;
  if (bands < 1 || bands > sbr::kMostBands) return kDspBadLength;
  for (int32_t k = 0; k < bands; k += 4) {
    const sbr::Covariance phi = sbr::Covary<false>(rows + k, rows + k);
    sbr::Four alpha0, alpha1;
    sbr::PredictFour<false>(phi, &alpha0, &alpha1);
    const V4xF one = V4xF{} + 1.0F;
    V4xF reflection = sbr::Where(phi.phi11 != V4xF{}, -phi.phi01.re / phi.phi11);
    reflection = reflection < one ? reflection : one;
    reflection = reflection > -one ? reflection : -one;
    Store(alpha + k, alpha0.re);
    Store(alpha + k + sbr::kRow, alpha1.re);
    Store(alpha + k + 2 * sbr::kRow, reflection);
  }
  return kDspOk;
}

int32_t dspSbrGenerate_32fc(const float* lowReal, const float* lowImag, const float* alpha,
                            int32_t bands, int32_t rows, float* highReal, float* highImag,
                            float* energy) {
  if (lowReal == nullptr || lowImag == nullptr || alpha == nullptr) return kDspNullPointer;
  if (highReal == nullptr || highImag == nullptr || energy == nullptr) return kDspNullPointer;
  if (bands < 1 || bands > sbr::kMostBands || rows < 1) return kDspBadLength;
  sbr::Generate<true>(lowReal, lowImag, alpha, bands, rows, highReal, highImag, energy);
  return kDspOk;
}

int32_t dspSbrGenerate_32f(const float* low, const float* alpha, int32_t bands, int32_t rows,
                           float* high, float* energy) {
  if (low == nullptr || alpha == nullptr || high == nullptr || energy == nullptr)
    return kDspNullPointer;
  if (bands < 1 || bands > sbr::kMostBands || rows < 1) return kDspBadLength;
  sbr::Generate<false>(low, low, alpha, bands, rows, high, high, energy);
  return kDspOk;
}

int32_t dspSbrAdjust_32fc(const float* highReal, const float* highImag, const float* gain,
                          const float* noise, int32_t noiseIndex, int32_t bands, int32_t rows,
                          float* outReal, float* outImag) {
  if (highReal == nullptr || highImag == nullptr || gain == nullptr) return kDspNullPointer;
  if (outReal == nullptr || outImag == nullptr) return kDspNullPointer;
  if (bands < 1 || bands > sbr::kMostBands || rows < 1) return kDspBadLength;
  sbr::Adjust<true>(highReal, highImag, gain, noise, noiseIndex, bands, rows, outReal, outImag);
  return kDspOk;
}

int32_t dspSbrAdjust_32f(const float* high, const float* gain, const float* noise,
                         int32_t noiseIndex, int32_t bands, int32_t rows, float* out) {
  if (high == nullptr || gain == nullptr || out == nullptr) return kDspNullPointer;
  if (bands < 1 || bands > sbr::kMostBands || rows < 1) return kDspBadLength;
  sbr::Adjust<false>(high, high, gain, noise, noiseIndex, bands, rows, out, out);
  return kDspOk;
}
