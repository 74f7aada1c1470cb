// G.726 adaptive differential coding. Functions carry the names of the
// recommendation's blocks; numbers are signed integers in place of its bit fields.
//
// The chain from one sample to the next is what limits the speed. The six products
// of the zero predictor (B, DQ) stand side by side in vector lanes; they do not
// depend on the sample before last's reconstruction and are done while the two
// products of the pole predictor (A, SR), which do, go through plain registers.

namespace g726 {

// A state's values while samples are run, in registers as far as they go.
struct Memory {
  V4x32 b[2];
  V4xF dq[2];
  int32_t a1, a2;
  int32_t srSign[2], srExponent[2], srMantissa[2];
  int32_t pk1, pk2;
  int32_t yu, yl, dms, dml, ap, td;
};

[[gnu::always_inline]] static inline Memory LoadMemory(const G726Adaptation& from) {
  Memory m;
  m.b[0] = Load<V4x32>(from.b);
  m.b[1] = Load<V4x32>(from.b + 4);
  m.dq[0] = Load<V4xF>(from.dq);
  m.dq[1] = Load<V4xF>(from.dq + 4);
  m.a1 = from.a1;
  m.a2 = from.a2;
  for (int i = 0; i < 2; ++i) {
    m.srSign[i] = from.srSign[i];
    m.srExponent[i] = from.srExponent[i];
    m.srMantissa[i] = from.srMantissa[i];
  }
  m.pk1 = from.pk1;
  m.pk2 = from.pk2;
  m.yu = from.yu;
  m.yl = from.yl;
  m.dms = from.dms;
  m.dml = from.dml;
  m.ap = from.ap;
  m.td = from.td;
  return m;
}

[[gnu::always_inline]] static inline void StoreMemory(const Memory& m, G726Adaptation* to) {
  Store(to->b, m.b[0]);
  Store(to->b + 4, m.b[1]);
  Store(to->dq, m.dq[0]);
  Store(to->dq + 4, m.dq[1]);
  to->a1 = m.a1;
  to->a2 = m.a2;
  for (int i = 0; i < 2; ++i) {
    to->srSign[i] = m.srSign[i];
    to->srExponent[i] = m.srExponent[i];
    to->srMantissa[i] = m.srMantissa[i];
  }
  to->pk1 = m.pk1;
  to->pk2 = m.pk2;
  to->yu = m.yu;
  to->yl = m.yl;
  to->dms = m.dms;
  to->dml = m.dml;
  to->ap = m.ap;
  to->td = m.td;
}

// Floats as bit patterns.
constexpr int32_t kSignBit = static_cast<int32_t>(0x80000000U);
constexpr int32_t kExponentBits = 0x7F800000;
constexpr int32_t kSixBits = ~0x3FFFF;      // sign, exponent and the 6 leading bits
constexpr int32_t kOneHalf = 126 << 23;     // 0.5: 32 at exponent 0, the float form of zero
constexpr int32_t kDqScale = 11 << 23;      // the lanes of DQ hold value times 2^-11

// FMULT for four lanes of the zero predictor. With a coefficient mant * 2^(e-6) and
// a value fm * 2^(fe-6), the product is floor((fm*mant + 48) / 16) * 2^(we-19), where
// we = e + fe, without its fraction and without what exceeds `mask`.
[[gnu::always_inline]] static inline V4x32 ZeroProducts(V4x32 b, V4xF dq, V4x32 mask) {
  const V4x32 bSign = b >> 31;
  const V4x32 magnitude = (((b >> 18) ^ bSign) - bSign) & 8191;
  const V4x32 cut = reinterpret_cast<V4x32>(__builtin_convertvector(magnitude, V4xF)) & kSixBits;
  const V4x32 f = cut | ((magnitude == 0) & kOneHalf);
  const V4x32 dqBits = reinterpret_cast<V4x32>(dq);
  const V4x32 d = dqBits & ~kSignBit;
  // 2^(we-19): exponents of f, e - 1, and of d, fe - 1 - 11.
  const V4x32 unitBits = (f & kExponentBits) + (d & kExponentBits) - ((127 + 6) << 23);
  const V4xF unit = reinterpret_cast<V4xF>(unitBits);
  // All of this is exact: (fm*mant + 48) * 2^(we-23), 13 significant bits at most.
  const V4xF sum = reinterpret_cast<V4xF>(f) * reinterpret_cast<V4xF>(d) + unit * 3.0F;
  // Where the unit is a whole number, what lies below it goes: the division by 16.
  const V4x32 whole = __builtin_convertvector(unit, V4x32);
  const V4x32 kept = -whole | (whole == 0);
  const V4x32 product = __builtin_convertvector(sum, V4x32) & kept & mask;
  const V4x32 sign = (b ^ dqBits) >> 31;
  return (product ^ sign) - sign;
}

// FMULT for the pole predictor.
[[gnu::always_inline]] static inline int32_t PoleProduct(int32_t a, int32_t sign,
                                                         int32_t exponent, int32_t mantissa) {
  const int32_t aSign = a >> 31;
  const uint32_t magnitude =
      static_cast<uint32_t>((((a >> 2) ^ aSign) - aSign) & 8191);
  const int32_t top = TopBit(magnitude);
  const uint32_t aMantissa = ((magnitude << 5) >> top) | 32;
  const int32_t shift = top + (magnitude != 0) + exponent;
  const uint64_t product = (static_cast<uint32_t>(mantissa) * aMantissa + 48) >> 4;
  const int32_t result = static_cast<int32_t>((product << 7 << shift) >> 26 & 32767);
  const int32_t negative = aSign ^ sign;
  return (result ^ negative) - negative;
}

struct Prediction {
  int32_t sez, se;
};

// ACCUM.
[[gnu::always_inline]] static inline Prediction Predict(const Memory& m) {
  // Lanes 6 and 7 hold values that have left the delay line.
  const V4x32 four = {32767, 32767, 32767, 32767};
  const V4x32 two = {32767, 32767, 0, 0};
  V4x32 sum = ZeroProducts(m.b[0], m.dq[0], four) + ZeroProducts(m.b[1], m.dq[1], two);
  sum += __builtin_shufflevector(sum, sum, 2, 3, 0, 1);
  sum += __builtin_shufflevector(sum, sum, 1, 0, 3, 2);
  const int32_t poles =
      PoleProduct(m.a1, m.srSign[0], m.srExponent[0], m.srMantissa[0]) +
      PoleProduct(m.a2, m.srSign[1], m.srExponent[1], m.srMantissa[1]);
  return {Wrap16(sum[0]) >> 1, Wrap16(sum[0] + poles) >> 1};
}

// LIMA and MIX: the scale factor.
[[gnu::always_inline]] static inline int32_t ScaleFactor(const Memory& m) {
  const int32_t al = m.ap >= 256 ? 64 : m.ap >> 2;
  const int32_t slow = m.yl >> 6;
  const int32_t product = (m.yu - slow) * al;
  return slow + ((product + (product >> 31 & 63)) >> 6);  // cut towards zero
}

// All that one code does to the state, from RECONST to FILTC. Returns SR.
template <int kBits>
[[gnu::always_inline]] static inline int32_t Update(Memory& m, const G726Rate& rate,
                                                    uint32_t code, int32_t y,
                                                    Prediction predicted) {
  // RECONST, ADDA, ANTILOG.
  const int32_t dqSign = -static_cast<int32_t>(code >> (kBits - 1));
  const int32_t dql = rate.dqln[code] + (y >> 2);
  const int32_t whole = dql >> 7;
  const int32_t antilog = ((128 + (dql & 127)) << 7) >> ((14 - whole) & 31);
  const int32_t dqMagnitude = antilog & ~(dql >> 31);
  const int32_t dq = (dqMagnitude ^ dqSign) - dqSign;

  // TRANS.
  bool reset = false;
  if (m.td != 0) {
    const int32_t i = m.yl >> 15;
    const int32_t threshold = i > 9 ? 31744 : (32 + (m.yl >> 10 & 31)) << i;
    reset = dqMagnitude > (threshold + (threshold >> 1)) >> 1;
  }

  // ADDB, ADDC.
  const int32_t sr = Wrap16(dq + predicted.se);
  const int32_t p = Wrap16(dq + predicted.sez);
  const int32_t pk0 = p < 0;

  // FUNCTW, FILTD, LIMB, FILTE.
  m.yu = Clamp(y + ((rate.wi[code] - y) >> 5), 544, 5120);
  m.yl += m.yu + (-m.yl >> 6);

  // UPA2, LIMC, UPA1, LIMD. Signs are as good as random: no branch here.
  const int32_t moves = -static_cast<int32_t>(p != 0);
  const int32_t differs1 = pk0 ^ m.pk1;
  const int32_t differs2 = pk0 ^ m.pk2;
  const int32_t limited = 4 * Clamp(m.a1, -8191, 8191);
  const int32_t f = (limited ^ (differs1 - 1)) - (differs1 - 1);
  const int32_t gain2 = (16384 - (differs2 << 15) + f) >> 7 & moves;
  const int32_t gain1 = (192 - 384 * differs1) & moves;
  const int32_t a2 = Clamp(m.a2 + gain2 - (m.a2 >> 7), -12288, 12288);
  const int32_t a1 = Clamp(m.a1 + gain1 - (m.a1 >> 8), a2 - 15360, 15360 - a2);
  m.a1 = a1;
  m.a2 = a2;

  // XOR, UPB. The upper halves wrap as 16-bit values do.
  constexpr int kLeak = kBits == 5 ? 25 : 24;
  const int32_t unit = dqMagnitude != 0 ? 128 << 16 : 0;
  for (int i = 0; i < 2; ++i) {
    const V4x32 against = (reinterpret_cast<V4x32>(m.dq[i]) >> 31) ^ dqSign;
    const V4x32 gain = ((V4x32{} + unit) ^ against) - against;
    typedef uint32_t V4u32 __attribute__((vector_size(16)));
    const V4u32 leak = reinterpret_cast<V4u32>(m.b[i] >> kLeak) << 16;
    m.b[i] = reinterpret_cast<V4x32>(reinterpret_cast<V4u32>(m.b[i]) +
                                     reinterpret_cast<V4u32>(gain) - leak);
  }

  // FUNCTF, FILTA, FILTB, TONE, SUBTC, FILTC.
  const int32_t tone = a2 < -11776;
  const int32_t fi = rate.fi[code];
  m.dms += ((fi << 9) - m.dms) >> 5;
  m.dml += ((fi << 11) - m.dml) >> 7;
  const int32_t difference = 4 * m.dms - m.dml;
  const int32_t distance = difference < 0 ? -difference : difference;
  const bool steady = y >= 1536 && distance < m.dml >> 3 && tone == 0;
  m.ap += ((steady ? 0 : 512) - m.ap) >> 4;
  m.td = tone;

  // TRIGA, TRIGB.
  if (reset) {
    m.a1 = m.a2 = 0;
    m.b[0] = m.b[1] = V4x32{};
    m.ap = 256;
    m.td = 0;
  }

  // FLOATA.
  const float dqFloat = static_cast<float>(dqMagnitude);
  int32_t dqBits;
  __builtin_memcpy(&dqBits, &dqFloat, sizeof dqBits);
  dqBits = ((dqMagnitude == 0 ? kOneHalf : dqBits & kSixBits) - kDqScale) | (dqSign & kSignBit);
  float newest;
  __builtin_memcpy(&newest, &dqBits, sizeof newest);
  const V4xF entering = {newest, 0, 0, 0};
  m.dq[1] = __builtin_shufflevector(m.dq[0], m.dq[1], 3, 4, 5, 6);
  m.dq[0] = __builtin_shufflevector(entering, m.dq[0], 0, 4, 5, 6);

  // FLOATB.
  const int32_t srSign = sr >> 31;
  const uint32_t srMagnitude = static_cast<uint32_t>((sr ^ srSign) - srSign) & 32767;
  const int32_t top = TopBit(srMagnitude);
  m.srSign[1] = m.srSign[0];
  m.srExponent[1] = m.srExponent[0];
  m.srMantissa[1] = m.srMantissa[0];
  m.srSign[0] = srSign;
  m.srExponent[0] = top + (srMagnitude != 0);
  m.srMantissa[0] = static_cast<int32_t>((srMagnitude << 5) >> top | 32);
  m.pk2 = m.pk1;
  m.pk1 = pk0;
  return sr;
}

// LOG, SUBTB, QUAN: the code of a difference.
template <int kBits>
[[gnu::always_inline]] static inline uint32_t Quantise(const G726Rate& rate, int32_t difference,
                                                       int32_t y) {
  const int32_t sign = difference >> 31;
  const uint32_t magnitude = static_cast<uint32_t>((difference ^ sign) - sign) & 32767;
  const int32_t top = TopBit(magnitude);
  const int32_t logarithm = (top << 7) + static_cast<int32_t>((magnitude << 7) >> top & 127);
  const int32_t normalised = logarithm - (y >> 2);
  constexpr int kMagnitudes = 1 << (kBits - 1);
  uint32_t level = 0;
  for (int i = 0; i < kMagnitudes - 1; ++i) level += normalised >= rate.dlnFrom[i];
  constexpr uint32_t kCodes = (1U << kBits) - 1;
  if (sign != 0) return level ^ kCodes;
  // A positive difference of magnitude 0 takes the code of the negative one, but for
  // the two-bit code, which has no value to spare.
  return kBits > 2 && level == 0 ? kCodes : level;
}

// COMPRESS: the PCM code of the reconstructed signal, as a place on the scale of
// all codes from the most negative (0) to the most positive.
[[gnu::always_inline]] static inline uint32_t CompressMuLaw(int32_t sr) {
  const int32_t sign = sr >> 31;
  const int32_t magnitude = ((sr ^ sign) - sign) & 32767;
  const uint32_t v = static_cast<uint32_t>(magnitude + 33 > 8191 ? 8191 : magnitude + 33);
  const int32_t segment = TopBit(v) - 5;
  const uint32_t code =
      static_cast<uint32_t>(segment << 4) | (v >> (segment + 1) & 15);
  return code ^ (sign != 0 ? 0x7F : 0xFF);
}

[[gnu::always_inline]] static inline uint32_t CompressALaw(int32_t sr) {
  const int32_t sign = sr >> 31;
  const int32_t magnitude = ((sr ^ sign) - sign) & 32767;
  const int32_t inner = sign != 0 ? Clamp(((magnitude + 1) >> 1) - 1, 0, 4095)
                                  : Clamp(magnitude >> 1, 0, 4095);
  const uint32_t v = static_cast<uint32_t>(inner);
  const int32_t segment = TopBit(v) > 4 ? TopBit(v) - 4 : 0;
  const uint32_t code =
      static_cast<uint32_t>(segment << 4) | (v >> (segment > 1 ? segment : 1) & 15);
  return code ^ (sign != 0 ? 0x55 : 0xD5);
}

// SYNC: the code for which a second coder that follows chooses the received code.
// The codes of a law in order of level: those with bit 7, after the law's inversion
// is undone, count upwards, the others downwards below them.
template <int kBits>
[[gnu::always_inline]] static inline uint32_t Synchronise(const G726Rate& rate, uint32_t pcm,
                                                          bool aLaw, uint32_t code, int32_t y,
                                                          int32_t se) {
  constexpr uint32_t kHalf = 1U << (kBits - 1);
  const int32_t level = (aLaw ? kALawExpansion : kMuLawExpansion)[pcm] / 4;
  const uint32_t again = Quantise<kBits>(rate, level - se, y) ^ kHalf;
  const uint32_t wanted = code ^ kHalf;
  if (again == wanted) return pcm;
  // Magnitude with the sign bit set for positive levels.
  const uint32_t inversion = aLaw ? 0x55 : 0x7F;
  const uint32_t plain = pcm ^ inversion;
  const int32_t place = (plain & 0x80) != 0 ? static_cast<int32_t>(plain)
                                            : 127 - static_cast<int32_t>(plain & 0x7F);
  const int32_t moved = Clamp(again < wanted ? place + 1 : place - 1, 0, 255);
  const uint32_t movedPlain = static_cast<uint32_t>(moved >= 128 ? moved : 127 - moved);
  return movedPlain ^ inversion;
}

template <int kBits>
static inline const G726Rate& RateOf() {
  return kBits == 2 ? kG726Rate16 : kBits == 3 ? kG726Rate24 : kBits == 4 ? kG726Rate32 : kG726Rate40;
}

template <int kBits>
static int32_t Decode(G726DecoderState* state, const uint8_t* src, int16_t* dst, int32_t length) {
  const G726Rate& rate = RateOf<kBits>();
  Memory m = LoadMemory(state->adaptation);
  if (state->law == kG726Linear) {
    for (int32_t i = 0; i < length; ++i) {
      const uint32_t code = src[i] & ((1U << kBits) - 1);
      const int32_t sr = Update<kBits>(m, rate, code, ScaleFactor(m), Predict(m));
      dst[i] = static_cast<int16_t>(Clamp(sr, -8192, 8191));
    }
  } else {
    const bool aLaw = state->law == kG726ALaw;
    for (int32_t i = 0; i < length; ++i) {
      const uint32_t code = src[i] & ((1U << kBits) - 1);
      const int32_t y = ScaleFactor(m);
      const Prediction predicted = Predict(m);
      const int32_t sr = Update<kBits>(m, rate, code, y, predicted);
      const uint32_t pcm = aLaw ? CompressALaw(sr) : CompressMuLaw(sr);
      dst[i] = static_cast<int16_t>(Synchronise<kBits>(rate, pcm, aLaw, code, y, predicted.se));
    }
  }
  StoreMemory(m, &state->adaptation);
  return kDspOk;
}

template <int kBits>
static int32_t Encode(G726EncoderState* state, const int16_t* src, uint8_t* dst, int32_t length) {
  const G726Rate& rate = RateOf<kBits>();
  Memory m = LoadMemory(state->adaptation);
  for (int32_t i = 0; i < length; ++i) {
    const int32_t y = ScaleFactor(m);
    const Prediction predicted = Predict(m);
    const uint32_t code = Quantise<kBits>(rate, src[i] - predicted.se, y);
    Update<kBits>(m, rate, code, y, predicted);
    dst[i] = static_cast<uint8_t>(code);
  }
  StoreMemory(m, &state->adaptation);
  return kDspOk;
}

static inline bool IsMode(int32_t mode) {
  return mode == kG726Mode16k || mode == kG726Mode24k || mode == kG726Mode32k ||
         mode == kG726Mode40k;
}

static inline void Reset(G726Adaptation* to) {
  __builtin_memset(to, 0, sizeof *to);
  for (float& value : to->dq) value = 0.5F / 2048;
  for (int32_t& value : to->srMantissa) value = 32;
  to->yu = 544;
  to->yl = 34816;
}

}  // namespace g726

int32_t dspEncoderSizeG726(int32_t* size) {
  if (size == nullptr) return kDspNullPointer;
  *size = sizeof(G726EncoderState);
  return kDspOk;
}

int32_t dspDecoderSizeG726(int32_t* size) {
  if (size == nullptr) return kDspNullPointer;
  *size = sizeof(G726DecoderState);
  return kDspOk;
}

int32_t dspEncoderInitG726(G726EncoderState* state, int32_t mode) {
  if (state == nullptr) return kDspNullPointer;
  if (!g726::IsMode(mode)) return kDspBadArgument;
  state->mode = mode;
  state->reserved = 0;
  g726::Reset(&state->adaptation);
  return kDspOk;
}

int32_t dspDecoderInitG726(G726DecoderState* state, int32_t mode, int32_t law) {
  if (state == nullptr) return kDspNullPointer;
  if (!g726::IsMode(mode)) return kDspBadArgument;
  if (law != kG726MuLaw && law != kG726ALaw && law != kG726Linear) return kDspBadArgument;
  state->mode = mode;
  state->law = law;
  g726::Reset(&state->adaptation);
  return kDspOk;
}

int32_t dspEncodeG726_16s8u(G726EncoderState* state, const int16_t* src, uint8_t* dst,
                            int32_t length) {
  if (state == nullptr || src == nullptr || dst == nullptr) return kDspNullPointer;
  if (length < 1) return kDspBadLength;
  switch (state->mode) {
    case kG726Mode16k:
      return g726::Encode<2>(state, src, dst, length);
    case kG726Mode24k:
      return g726::Encode<3>(state, src, dst, length);
    case kG726Mode32k:
      return g726::Encode<4>(state, src, dst, length);
    case kG726Mode40k:
      return g726::Encode<5>(state, src, dst, length);
    default:
      return kDspBadArgument;
  }
}

int32_t dspDecodeG726_8u16s(G726DecoderState* state, const uint8_t* src, int16_t* dst,
                            int32_t length) {
  if (state == nullptr || src == nullptr || dst == nullptr) return kDspNullPointer;
  if (length < 1) return kDspBadLength;
  switch (state->mode) {
    case kG726Mode16k:
      return g726::Decode<2>(state, src, dst, length);
    case kG726Mode24k:
      return g726::Decode<3>(state, src, dst, length);
    case kG726Mode32k:
      return g726::Decode<4>(state, src, dst, length);
    case kG726Mode40k:
      return g726::Decode<5>(state, src, dst, length);
    default:
      return kDspBadArgument;
  }
}
