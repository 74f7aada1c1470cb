// What the kernels share: vectors of 16 bytes as the compilers' own extension,
// and scalar helpers. All of it has internal linkage.

typedef int16_t V8x16 __attribute__((vector_size(16)));
typedef int32_t V4x32 __attribute__((vector_size(16)));
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
