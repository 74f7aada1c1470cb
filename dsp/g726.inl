// G.726 adaptive differential coding. Functions carry the names of the
// recommendation's blocks; numbers are signed integers in place of its bit fields.

namespace g726 {

// The six products of the zero predictor (B, DQ) are done side by side in vector
// lanes, the two of the pole predictor (A, SR) in plain registers. One sample waits
// for the sample before it through A1 * SR1, which takes the shorter way so, and
// nothing that depends on a reconstructed signal may enter the vectors: everything
// in them would wait with it.

// A signal value of the pole predictor as a float: -1 for negative, 4 bits of
// exponent, 6 of mantissa.
struct SignalFloat {
  int32_t sign, exponent, mantissa;
};

// A state's values while samples are run, in registers as far as they go.
struct Memory {
  V8x16 b, dq;  // six lanes; the last two hold nothing of use
  int32_t a1, a2;
  SignalFloat sr1, sr2;
  int32_t pk1, pk2, yu, yl, dms, dml, ap, td;
};

[[gnu::always_inline]] static inline SignalFloat UnpackFloat(int16_t shortFloat) {
  return {shortFloat >> 15, shortFloat >> 5 & 31, 32 | (shortFloat & 31)};
}

[[gnu::always_inline]] static inline int16_t PackFloat(const SignalFloat& v) {
  return static_cast<int16_t>((v.sign & 0x8000) | v.exponent << 5 | (v.mantissa & 31));
}

[[gnu::always_inline]] static inline Memory LoadMemory(const G726Adaptation& from) {
  return {Load<V8x16>(from.coefficients),
          Load<V8x16>(from.delayed),
          from.coefficients[6],
          from.coefficients[7],
          UnpackFloat(from.delayed[6]),
          UnpackFloat(from.delayed[7]),
          from.pk1,
          from.pk2,
          from.yu,
          from.yl,
          from.dms,
          from.dml,
          from.ap,
          from.td};
}

[[gnu::always_inline]] static inline void StoreMemory(const Memory& m, G726Adaptation* to) {
  Store(to->coefficients, m.b);
  to->coefficients[6] = static_cast<int16_t>(m.a1);
  to->coefficients[7] = static_cast<int16_t>(m.a2);
  Store(to->delayed, m.dq);
  to->delayed[6] = PackFloat(m.sr1);
  to->delayed[7] = PackFloat(m.sr2);
  to->pk1 = m.pk1;
  to->pk2 = m.pk2;
  to->yu = m.yu;
  to->yl = m.yl;
  to->dms = m.dms;
  to->dml = m.dml;
  to->ap = m.ap;
  to->td = m.td;
}

// FMULT for a section of the pole predictor.
[[gnu::always_inline]] static inline int32_t PoleProduct(int32_t a, const SignalFloat& sr) {
  const int32_t sign = a >> 31;
  const uint32_t magnitude = static_cast<uint32_t>(((a >> 2) ^ sign) - sign);
  const int32_t top = TopBit(magnitude);
  const uint32_t mantissa = magnitude << 5 >> top | 32;
  const int32_t exponent = top + (magnitude != 0) + sr.exponent;
  const uint64_t product = (static_cast<uint32_t>(sr.mantissa) * mantissa + 48) >> 4;
  const int32_t cut = static_cast<int32_t>(product << exponent >> 19 & 32767);
  const int32_t negative = sign ^ sr.sign;
  return (cut ^ negative) - negative;
}

struct Prediction {
  int32_t sez, se;
};

// FMULT for the zero predictor, and ACCUM.
[[gnu::always_inline]] static inline Prediction Predict(const Memory& m) {
  // Coefficients as short floats with the float format's own bias. A magnitude of 0
  // has exponent 0 and mantissa 32, which is the float one half.
  constexpr int16_t kMantissa = 31;
  constexpr int16_t kExponent = 31 << 5;
  constexpr int16_t kBias = 126 << 5;
  const V8x16 sign = m.b >> 15;
  const V8x16 magnitude = (((m.b >> 2) ^ sign) - sign) & 8191;
  const V8x16 floats = Greatest(FloatCodes<5>(magnitude), V8x16{} + kBias);

  const V8x16 mantissas = ((floats & kMantissa) | 32) * ((m.dq & kMantissa) | 32);
  const V8x16 product = (mantissas + 48) >> 4;
  const V8x16 exponent = (floats & static_cast<int16_t>(~kMantissa)) + (m.dq & kExponent);
  // product * 2^(exponent - 19), cut to a whole number: by adding to the exponent
  // of the float, which begins at bit 23, and taking the integer part.
  const V8x16 raise = (exponent - static_cast<int16_t>(kBias + (19 << 5))) << 2;
  const V4xF low = __builtin_convertvector(WidenLow(product), V4xF);
  const V4xF high = __builtin_convertvector(WidenHigh(product), V4xF);
  const V4x32 raisedLow = reinterpret_cast<V4x32>(low) + RaiseLow(raise);
  const V4x32 raisedHigh = reinterpret_cast<V4x32>(high) + RaiseHigh(raise);
  const V8x16 cut =
      Narrow(__builtin_convertvector(reinterpret_cast<V4xF>(raisedLow), V4x32) & 32767,
             __builtin_convertvector(reinterpret_cast<V4xF>(raisedHigh), V4x32) & 32767);

  const V8x16 negative = (m.b ^ m.dq) >> 15;
  const V8x16 products = (cut ^ negative) - negative;
  const V4x32 sums = __builtin_ia32_pmaddwd128(products, V8x16{1, 1, 1, 1, 1, 1, 0, 0});
  const V4x32 folded = sums + __builtin_shufflevector(sums, sums, 2, 3, 0, 1);
  const int32_t zeros = folded[0] + folded[1];
  const int32_t poles = PoleProduct(m.a1, m.sr1) + PoleProduct(m.a2, m.sr2);
  return {Wrap16(zeros) >> 1, Wrap16(zeros + poles) >> 1};
}

// LIMA and MIX: the scale factor.
[[gnu::always_inline]] static inline int32_t ScaleFactor(const Memory& m) {
  const int32_t al = m.ap >> 2 < 64 ? m.ap >> 2 : 64;
  const int32_t slow = m.yl >> 6;
  return slow + (m.yu - slow) * al / 64;
}

// TRANS, when a tone was there: true for a step in the signal that ends it.
static inline bool IsTransition(int32_t yl, int32_t dqMagnitude) {
  const int32_t whole = yl >> 15;
  const int32_t threshold = whole > 9 ? 31744 : (32 + (yl >> 10 & 31)) << whole;
  return dqMagnitude > (threshold + (threshold >> 1)) >> 1;
}

// All that one code does to the state, from RECONST to FILTC. Returns SR.
template <int kBits>
[[gnu::always_inline]] static inline int32_t Update(Memory& m, const G726Code& code, int32_t y,
                                                    Prediction predicted) {
  // RECONST, ADDA, ANTILOG.
  const int32_t dql = code.dqln + (y >> 2);
  const int32_t antilog = ((128 + (dql & 127)) << 7) >> ((14 - (dql >> 7)) & 31);
  const int32_t dqMagnitude = antilog & ~(dql >> 31);
  const int32_t dqSign = code.sign;
  const int32_t dq = (dqMagnitude ^ dqSign) - dqSign;

  const bool reset = __builtin_expect(m.td != 0, 0) && IsTransition(m.yl, dqMagnitude);

  // ADDB, ADDC.
  const int32_t sr = Wrap16(dq + predicted.se);
  const int32_t p = Wrap16(dq + predicted.sez);
  const int32_t pk0 = p < 0;

  // FUNCTW, FILTD, LIMB, FILTE.
  m.yu = Clamp(y + ((code.wi - y) >> 5), 544, 5120);
  m.yl += m.yu + (-m.yl >> 6);

  // UPA2, LIMC, UPA1, LIMD. Signs are as good as random: no branch here.
  const int32_t moves = -static_cast<int32_t>(p != 0);
  const int32_t differs1 = pk0 ^ m.pk1;
  const int32_t differs2 = pk0 ^ m.pk2;
  const int32_t limited = 4 * Clamp(m.a1, -8191, 8191);
  const int32_t f = (limited ^ (differs1 - 1)) - (differs1 - 1);
  const int32_t gain2 = (16384 - (differs2 << 15) + f) >> 7 & moves;
  const int32_t gain1 = (192 - 384 * differs1) & moves;
  m.a2 = Clamp(m.a2 + gain2 - (m.a2 >> 7), -12288, 12288);
  m.a1 = Clamp(m.a1 + gain1 - (m.a1 >> 8), m.a2 - 15360, 15360 - m.a2);

  // XOR, UPB: a step up for equal signs, down for different ones, none for a
  // difference of 0. The sums wrap at 16 bits.
  constexpr int kLeak = kBits == 5 ? 9 : 8;
  const int32_t step = ((128 ^ dqSign) - dqSign) & -static_cast<int32_t>(dqMagnitude != 0);
  const V8x16 signs = m.dq >> 15;
  const V8x16 gain = (static_cast<int16_t>(step) ^ signs) - signs;
  m.b = reinterpret_cast<V8x16>(reinterpret_cast<V8u16>(m.b) + reinterpret_cast<V8u16>(gain) -
                                reinterpret_cast<V8u16>(m.b >> kLeak));

  // FUNCTF, FILTA, FILTB, TONE, SUBTC, FILTC.
  m.dms += (code.fi - m.dms) >> 5;
  m.dml += (4 * code.fi - m.dml) >> 7;
  const int32_t difference = 4 * m.dms - m.dml;
  const int32_t distance = difference < 0 ? -difference : difference;
  int32_t ax = y < 1536 || distance >= m.dml >> 3 ? 512 : 0;
  m.td = 0;
  if (__builtin_expect(m.a2 < -11776, 0)) {
    m.td = 1;
    ax = 512;
    // Stays a branch: as a plain select it would chain the next scale factor to
    // this sample's prediction, for the sake of rare tones.
    __asm__ volatile("" : "+r"(ax));
  }
  m.ap += (ax - m.ap) >> 4;

  // TRIGA, TRIGB.
  if (__builtin_expect(reset, 0)) {
    m.a1 = m.a2 = 0;
    m.b = V8x16{};
    m.ap = 256;
    m.td = 0;
  }

  // FLOATA. top * 32 + the six top bits is exponent and mantissa without its first
  // bit, and 0 for 0.
  const uint32_t dqBits = static_cast<uint32_t>(dqMagnitude);
  const int32_t dqTop = TopBit(dqBits);
  const uint32_t dqFloat = (static_cast<uint32_t>(dqTop) << 5) + (dqBits << 5 >> dqTop);
  m.dq = __builtin_shufflevector(m.dq, V8x16{}, 8, 0, 1, 2, 3, 4, 5, 6);
  m.dq[0] = static_cast<int16_t>(dqFloat | (static_cast<uint32_t>(dqSign) & 0x8000));

  // FLOATB.
  const int32_t srSign = sr >> 31;
  const uint32_t srBits = static_cast<uint32_t>((sr ^ srSign) - srSign) & 32767;
  const int32_t srTop = TopBit(srBits);
  m.sr2 = m.sr1;
  m.sr1 = {srSign, srTop + (srBits != 0), static_cast<int32_t>(srBits << 5 >> srTop | 32)};
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
  const uint32_t code = static_cast<uint32_t>(segment << 4) | (v >> (segment + 1) & 15);
  return code ^ (sign != 0 ? 0x7F : 0xFF);
}

[[gnu::always_inline]] static inline uint32_t CompressALaw(int32_t sr) {
  const int32_t sign = sr >> 31;
  const int32_t magnitude = ((sr ^ sign) - sign) & 32767;
  const int32_t inner =
      sign != 0 ? Clamp(((magnitude + 1) >> 1) - 1, 0, 4095) : Clamp(magnitude >> 1, 0, 4095);
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
  const int32_t place =
      (plain & 0x80) != 0 ? static_cast<int32_t>(plain) : 127 - static_cast<int32_t>(plain & 0x7F);
  // Down from mu-law's plus zero lies -1, not the minus zero, which is as high.
  const int32_t down = !aLaw && place == 128 ? 126 : place - 1;
  const int32_t moved = Clamp(again < wanted ? place + 1 : down, 0, 255);
  const uint32_t movedPlain = static_cast<uint32_t>(moved >= 128 ? moved : 127 - moved);
  return movedPlain ^ inversion;
}

template <int kBits>
static inline const G726Rate& RateOf() {
  return kBits == 2   ? kG726Rate16
         : kBits == 3 ? kG726Rate24
         : kBits == 4 ? kG726Rate32
                      : kG726Rate40;
}

// Holds samples within 14 bits.
static inline void Limit(int16_t* samples, int32_t length) {
  constexpr int16_t kLeast = -8192;
  constexpr int16_t kMost = 8191;
  int32_t i = 0;
  for (; i + 8 <= length; i += 8) {
    const V8x16 v = Load<V8x16>(samples + i);
    Store(samples + i, Greatest(Least(v, V8x16{} + kMost), V8x16{} + kLeast));
  }
  for (; i < length; ++i) samples[i] = static_cast<int16_t>(Clamp(samples[i], kLeast, kMost));
}

template <int kBits>
static int32_t Decode(G726DecoderState* state, const uint8_t* src, int16_t* dst, int32_t length) {
  const G726Rate& rate = RateOf<kBits>();
  Memory m = LoadMemory(state->adaptation);
  if (state->law == kG726Linear) {
    for (int32_t i = 0; i < length; ++i) {
      const uint32_t code = src[i] & ((1U << kBits) - 1);
      dst[i] = static_cast<int16_t>(Update<kBits>(m, rate.codes[code], ScaleFactor(m), Predict(m)));
    }
    Limit(dst, length);
  } else {
    const bool aLaw = state->law == kG726ALaw;
    for (int32_t i = 0; i < length; ++i) {
      const uint32_t code = src[i] & ((1U << kBits) - 1);
      const int32_t y = ScaleFactor(m);
      const Prediction predicted = Predict(m);
      const int32_t sr = Update<kBits>(m, rate.codes[code], y, predicted);
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
    Update<kBits>(m, rate.codes[code], y, predicted);
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
  // The delayed values are zero in this form: mantissa 32, exponent 0.
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
