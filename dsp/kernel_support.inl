// What the kernels share: vectors of 16 bytes as the compilers' own extension,
// and scalar helpers. All of it has internal linkage.

typedef int16_t V8x16 __attribute__((vector_size(16)));
typedef uint16_t V8u16 __attribute__((vector_size(16)));
typedef int32_t V4x32 __attribute__((vector_size(16)));
typedef uint32_t V4u32 __attribute__((vector_size(16)));
typedef float V4xF __attribute__((vector_size(16)));

template <typename Vector>
[[gnu::always_inline]] static inline Vector Load(const void* from) {
  Vector v;
  __builtin_memcpy(&v, from, sizeof v);
  return v;
}

template <typename Vector>
[[gnu::always_inline]] static inline void Store(void* to, Vector v) {
  __builtin_memcpy(to, &v, sizeof v);
}

// The two halves of a vector that is never negative, at twice the width.
[[gnu::always_inline]] static inline V4x32 WidenLow(V8x16 v) {
  return reinterpret_cast<V4x32>(__builtin_shufflevector(v, V8x16{}, 0, 8, 1, 9, 2, 10, 3, 11));
}

[[gnu::always_inline]] static inline V4x32 WidenHigh(V8x16 v) {
  return reinterpret_cast<V4x32>(__builtin_shufflevector(v, V8x16{}, 4, 12, 5, 13, 6, 14, 7, 15));
}

// The halves in the upper 16 bits of lanes of 32.
[[gnu::always_inline]] static inline V4x32 RaiseLow(V8x16 v) {
  return reinterpret_cast<V4x32>(__builtin_shufflevector(V8x16{}, v, 0, 8, 1, 9, 2, 10, 3, 11));
}

[[gnu::always_inline]] static inline V4x32 RaiseHigh(V8x16 v) {
  return reinterpret_cast<V4x32>(__builtin_shufflevector(V8x16{}, v, 4, 12, 5, 13, 6, 14, 7, 15));
}

// Two vectors as one at half the width, held at its limits.
[[gnu::always_inline]] static inline V8x16 Narrow(V4x32 low, V4x32 high) {
  return __builtin_ia32_packssdw128(low, high);
}

// Lanes of 16 bits, or pairs of them, of two vectors by turns.
[[gnu::always_inline]] static inline V8x16 MixLow(V8x16 a, V8x16 b) {
  return __builtin_shufflevector(a, b, 0, 8, 1, 9, 2, 10, 3, 11);
}
[[gnu::always_inline]] static inline V8x16 MixHigh(V8x16 a, V8x16 b) {
  return __builtin_shufflevector(a, b, 4, 12, 5, 13, 6, 14, 7, 15);
}
[[gnu::always_inline]] static inline V8x16 MixPairsLow(V8x16 a, V8x16 b) {
  return __builtin_shufflevector(a, b, 0, 1, 8, 9, 2, 3, 10, 11);
}
[[gnu::always_inline]] static inline V8x16 MixPairsHigh(V8x16 a, V8x16 b) {
  return __builtin_shufflevector(a, b, 4, 5, 12, 13, 6, 7, 14, 15);
}

// The code of each value's float, cut to its sign, its exponent and the first bits
// of its mantissa. Values have no more than 24 bits, so they have exact floats.
template <int kMantissaBits>
[[gnu::always_inline]] static inline V8x16 FloatCodes(V8x16 v) {
  const V4xF low = __builtin_convertvector(WidenLow(v), V4xF);
  const V4xF high = __builtin_convertvector(WidenHigh(v), V4xF);
  return Narrow(reinterpret_cast<V4x32>(low) >> (23 - kMantissaBits),
                reinterpret_cast<V4x32>(high) >> (23 - kMantissaBits));
}

[[gnu::always_inline]] static inline V8x16 Least(V8x16 a, V8x16 b) { return a < b ? a : b; }
[[gnu::always_inline]] static inline V8x16 Greatest(V8x16 a, V8x16 b) { return a > b ? a : b; }

static inline int32_t Clamp(int32_t v, int32_t low, int32_t high) {
  return v < low ? low : v > high ? high : v;
}

static inline int16_t Saturate16(int32_t v) {
  return static_cast<int16_t>(Clamp(v, -32768, 32767));
}

// Keeps the low 16 bits.
static inline int16_t Wrap16(int32_t v) { return static_cast<int16_t>(v); }

// Position of the highest bit that is set; 0 for 0.
static inline int32_t TopBit(uint32_t v) { return __builtin_clz(v | 1) ^ 31; }
