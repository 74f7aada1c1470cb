// ITU-T G.726. Signals bear the recommendation's names; shifts are arithmetic.

// One rate: code size and the tables by code magnitude.
template <int32_t kBits>
struct G726Rate;

// 16 kbit/s: RECONST (DQLN), FUNCTW (WI), FUNCTF (FI), and QUAN's upper decision
// levels, the last one open.
template <>
struct G726Rate<2> {
  static constexpr int16_t kDqln[2] = {116, 365};
  static constexpr int16_t kWi[2] = {-22, 439};
  static constexpr int16_t kFi[2] = {0, 7};
  static constexpr int16_t kLevels[1] = {260};
};

// 24 kbit/s: RECONST (DQLN), FUNCTW (WI), FUNCTF (FI), and QUAN's upper decision
// levels, the last one open.
template <>
struct G726Rate<3> {
  static constexpr int16_t kDqln[4] = {-2048, 135, 273, 373};
  static constexpr int16_t kWi[4] = {-4, 30, 137, 582};
  static constexpr int16_t kFi[4] = {0, 1, 2, 7};
  static constexpr int16_t kLevels[3] = {7, 217, 330};
};

// 32 kbit/s: RECONST (DQLN), FUNCTW (WI), FUNCTF (FI), and QUAN's upper decision
// levels, the last one open.
template <>
struct G726Rate<4> {
  static constexpr int16_t kDqln[8] = {-2048, 4, 135, 213, 273, 323, 373, 425};
  static constexpr int16_t kWi[8] = {-12, 18, 41, 64, 112, 198, 355, 1122};
  static constexpr int16_t kFi[8] = {0, 0, 0, 1, 1, 1, 3, 7};
  static constexpr int16_t kLevels[7] = {-125, 79, 177, 245, 299, 348, 399};
};

// 40 kbit/s: RECONST (DQLN), FUNCTW (WI), FUNCTF (FI), and QUAN's upper decision
// levels, the last one open.
template <>
struct G726Rate<5> {
  static constexpr int16_t kDqln[16] = {-2048, -66, 28, 104, 169, 224, 274, 318, 358, 395, 429, 459, 488, 514, 539, 566};
  static constexpr int16_t kWi[16] = {14, 14, 24, 39, 40, 41, 58, 100, 141, 179, 219, 280, 358, 440, 529, 696};
  static constexpr int16_t kFi[16] = {0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 2, 3, 4, 5, 6, 6};
  static constexpr int16_t kLevels[15] = {-123, -17, 67, 138, 197, 249, 297, 338, 377, 412, 444, 474, 501, 527, 552};
};

// Decision levels end a range, so a difference belongs to the first magnitude
// whose level is not below it.

static inline int32_t Within(int32_t value, int32_t low, int32_t high) {
  return value < low ? low : value > high ? high : value;
}

// Bits of a value above 0; 0 for 0.
static inline int32_t BitLength(uint32_t value) { return value == 0 ? 0 : 32 - __builtin_clz(value); }

// Keeps 16 bits, signed.
static inline int32_t Wrap16(int32_t value) { return static_cast<int16_t>(value); }

// FMULT: a coefficient times a past signal value, both in floating form.
static inline int32_t FloatMultiply(int32_t coefficient, const orbel::G726Float& past) {
  const int32_t cut = coefficient >> 2;
  const auto magnitude = static_cast<uint32_t>((cut < 0 ? -cut : cut) & 8191);
  const int32_t exponent = BitLength(magnitude);
  const int32_t mantissa =
      magnitude == 0 ? 32 : static_cast<int32_t>((magnitude << 6) >> exponent);
  const int32_t sumExponent = past.exponent + exponent;
  const int32_t product = (past.mantissa * mantissa + 48) >> 4;
  // (product << 7) >> (26 - sumExponent), or shifted left where that is negative.
  const auto shifted = static_cast<int32_t>(
      ((static_cast<uint64_t>(product) << 9) << sumExponent >> 28) & 32767);
  const int32_t negative = (coefficient >> 31) ^ past.negative;
  return (shifted ^ negative) - negative;
}

// FLOATA, FLOATB.
static inline orbel::G726Float ToFloat(uint32_t magnitude, int32_t negative) {
  const int32_t exponent = BitLength(magnitude);
  return {negative, exponent,
          magnitude == 0 ? 32 : static_cast<int32_t>((magnitude << 6) >> exponent)};
}

struct G726Prediction {
  int32_t se;   // signal estimate
  int32_t sez;  // its part from the zeros
  int32_t y;    // scale factor
};

static inline G726Prediction Predict(const orbel::G726State& s) {
  int32_t zeros = 0;
  for (int32_t i = 0; i < 6; ++i) zeros += FloatMultiply(s.b[i], s.dq[i]);
  const int32_t poles = FloatMultiply(s.a[0], s.sr[0]) + FloatMultiply(s.a[1], s.sr[1]);
  // LIMA, MIX
  const int32_t al = s.ap >= 256 ? 64 : s.ap >> 2;
  const int32_t slow = s.yl >> 6;
  const int32_t difference = s.yu - slow;
  const int32_t part = ((difference < 0 ? -difference : difference) * al) >> 6;
  return {Wrap16(zeros + poles) >> 1, Wrap16(zeros) >> 1,
          slow + (difference < 0 ? -part : part)};
}

template <int32_t kBits>
static inline int32_t CodeMagnitude(int32_t code) {
  constexpr int32_t kSign = 1 << (kBits - 1);
  return (code & kSign) != 0 ? ~code & (kSign - 1) : code & (kSign - 1);
}

// LOG, SUBTB, QUAN: the code of a difference at a scale factor.
template <int32_t kBits>
static inline int32_t Quantise(int32_t d, int32_t y) {
  const auto magnitude = static_cast<uint32_t>((d < 0 ? -d : d) & 32767);
  const int32_t exponent = magnitude < 2 ? 0 : BitLength(magnitude) - 1;
  const auto dl = 128 * exponent + static_cast<int32_t>((magnitude << 7 >> exponent) & 127);
  const int32_t wrapped = (dl - (y >> 2)) & 4095;  // 12 bits, signed
  const int32_t dln = wrapped >= 2048 ? wrapped - 4096 : wrapped;
  int32_t code = 0;
  for (const int16_t level : G726Rate<kBits>::kLevels) code += dln > level ? 1 : 0;
  constexpr int32_t kAllOnes = (1 << kBits) - 1;
  if (d < 0) return code ^ kAllOnes;
  return code == 0 && kBits > 2 ? kAllOnes : code;
}

// Takes one code into the state. Returns SR, the reconstructed signal.
template <int32_t kBits>
static inline int32_t Update(orbel::G726State* state, int32_t code, const G726Prediction& p) {
  orbel::G726State& s = *state;
  const int32_t magnitude = CodeMagnitude<kBits>(code);
  const int32_t negative = -(code >> (kBits - 1) & 1);

  // RECONST, ADDA, ANTILOG
  const int32_t dql = G726Rate<kBits>::kDqln[magnitude] + (p.y >> 2);
  const int32_t dqMagnitude = dql < 0 ? 0 : ((128 + (dql & 127)) << 7) >> (14 - (dql >> 7));
  const int32_t dq = (dqMagnitude ^ negative) - negative;

  // TRANS
  const int32_t ylInteger = s.yl >> 15;
  const int32_t threshold = ylInteger > 9 ? 31744 : (32 + (s.yl >> 10 & 31)) << ylInteger;
  const bool transition =
      s.td != 0 && dqMagnitude > ((threshold + (threshold >> 1)) >> 1);

  // ADDB, ADDC
  const int32_t sr = Wrap16(dq + p.se);
  const int32_t partial = Wrap16(dq + p.sez);
  const int32_t pk0 = partial < 0 ? 1 : 0;

  // FUNCTW, FILTD, LIMB, FILTE
  const int32_t yup =
      Within(p.y + ((32 * G726Rate<kBits>::kWi[magnitude] - p.y) >> 5), 544, 5120);
  s.yl += yup + ((-s.yl) >> 6);
  s.yu = yup;

  // UPA2, LIMC, UPA1, LIMD
  const int32_t a1 = s.a[0];
  int32_t a2 = s.a[1];
  int32_t step1 = 0;
  int32_t step2 = 0;
  if (partial != 0) {
    const int32_t limited = Within(a1, -8191, 8191) * 4;
    step1 = pk0 == s.pk[0] ? 192 : -192;
    step2 = ((pk0 == s.pk[1] ? 16384 : -16384) + (pk0 == s.pk[0] ? -limited : limited)) >> 7;
  }
  a2 = Within(a2 + step2 - (a2 >> 7), -12288, 12288);
  const int32_t limit = 15360 - a2;
  s.a[0] = Within(a1 + step1 - (a1 >> 8), -limit, limit);
  s.a[1] = a2;

  // XOR, UPB
  constexpr int32_t kLeak = kBits == 5 ? 9 : 8;
  const int32_t stepB = dqMagnitude == 0 ? 0 : 128;
  for (int32_t i = 0; i < 6; ++i) {
    const int32_t differ = negative ^ s.dq[i].negative;
    s.b[i] = Wrap16(s.b[i] + ((stepB ^ differ) - differ) - (s.b[i] >> kLeak));
  }

  // TONE, TRIGB
  const bool tone = a2 < -11776;
  s.td = tone ? 1 : 0;
  if (transition) {
    s.td = 0;
    s.a[0] = s.a[1] = 0;
    for (int32_t& b : s.b) b = 0;
  }

  // FLOATA, FLOATB, delays
  for (int32_t i = 5; i > 0; --i) s.dq[i] = s.dq[i - 1];
  s.dq[0] = ToFloat(static_cast<uint32_t>(dqMagnitude), negative);
  s.sr[1] = s.sr[0];
  s.sr[0] = ToFloat(static_cast<uint32_t>(sr < 0 ? -sr : sr) & 32767, sr >> 31);
  s.pk[1] = s.pk[0];
  s.pk[0] = pk0;

  // FUNCTF, FILTA, FILTB, SUBTC, FILTC, TRIGA
  const int32_t fi = G726Rate<kBits>::kFi[magnitude];
  s.dms += (512 * fi - s.dms) >> 5;
  s.dml += (2048 * fi - s.dml) >> 7;
  const int32_t change = 4 * s.dms - s.dml;
  const bool steady =
      p.y >= 1536 && (change < 0 ? -change : change) < s.dml >> 3 && !tone;
  s.ap += ((steady ? 0 : 512) - s.ap) >> 4;
  if (transition) s.ap = 256;
  return sr;
}

// COMPRESS: the PCM code of SR, at 14-bit scale.
static inline int32_t CompressMuLaw(int32_t sr) {
  const int32_t magnitude = (sr < 0 ? -sr : sr) & 32767;
  const int32_t value = magnitude + 33 > 8191 ? 8191 : magnitude + 33;
  const int32_t segment = BitLength(static_cast<uint32_t>(value)) - 6;
  return (sr < 0 ? 0x7F : 0xFF) ^ (16 * segment + (value >> (segment + 1) & 15));
}

static inline int32_t CompressALaw(int32_t sr) {
  const int32_t magnitude = (sr < 0 ? -sr : sr) & 32767;
  const int32_t down = ((magnitude + 1) >> 1) - 1;
  const int32_t value = Within(sr < 0 ? down : magnitude >> 1, 0, 4095);
  const int32_t above = BitLength(static_cast<uint32_t>(value)) - 5;
  const int32_t segment = above > 0 ? above : 0;
  return (sr < 0 ? 0x55 : 0xD5) ^
         (16 * segment + (value >> (segment > 1 ? segment : 1) & 15));
}

// The place of a PCM code among all by level, 0 the most negative, and back. Both
// laws store a magnitude under a sign, mu-law inverted, A-law with even bits
// inverted.
static inline int32_t RankOf(int32_t code, int32_t invert) {
  const int32_t plain = code ^ invert;  // sign bit set: positive
  return (plain & 0x80) != 0 ? plain : 127 - plain;
}
static inline int32_t CodeOfRank(int32_t rank, int32_t invert) {
  return (rank >= 128 ? rank : 127 - rank) ^ invert;
}

// SYNC: the PCM code that an encoder would turn into the received code again.
template <int32_t kBits>
static inline int32_t Synchronise(int32_t sr, int32_t code, const G726Prediction& p, int32_t law) {
  const bool isALaw = law == 1;
  const int32_t invert = isALaw ? 0x55 : 0x7F;
  const int32_t sp = isALaw ? CompressALaw(sr) : CompressMuLaw(sr);
  const int32_t value = (isALaw ? kALawExpansion[sp] : kMuLawExpansion[sp]) >> 2;
  // Codes by rising difference.
  constexpr int32_t kHalf = 1 << (kBits - 1);
  const int32_t id = Quantise<kBits>(value - p.se, p.y) ^ kHalf;
  const int32_t im = code ^ kHalf;
  const int32_t rank = RankOf(sp, invert);
  if (id == im) return sp;
  return CodeOfRank(id < im ? (rank < 255 ? rank + 1 : 255) : (rank > 0 ? rank - 1 : 0), invert);
}

static void ResetG726(orbel::G726State* state, int32_t mode) {
  *state = {};
  state->mode = mode;
  state->yu = 544;
  state->yl = 34816;
  for (orbel::G726Float& past : state->sr) past = {0, 0, 32};
  for (orbel::G726Float& past : state->dq) past = {0, 0, 32};
}

static inline int32_t BitsOfMode(int32_t mode) {
  switch (mode) {
    case 17:
      return 2;
    case 22:
      return 3;
    case 23:
      return 4;
    case 24:
      return 5;
    default:
      return 0;
  }
}

int32_t dspEncoderSizeG726(int32_t* size) noexcept {
  if (size == nullptr) return kDspNullPointer;
  *size = static_cast<int32_t>(sizeof(orbel::G726EncoderState));
  return kDspOk;
}

int32_t dspDecoderSizeG726(int32_t* size) noexcept {
  if (size == nullptr) return kDspNullPointer;
  *size = static_cast<int32_t>(sizeof(orbel::G726DecoderState));
  return kDspOk;
}

int32_t dspEncoderInitG726(orbel::G726EncoderState* state, int32_t mode) noexcept {
  if (state == nullptr) return kDspNullPointer;
  if (BitsOfMode(mode) == 0) return kDspBadMode;
  ResetG726(&state->state, mode);
  return kDspOk;
}

int32_t dspDecoderInitG726(orbel::G726DecoderState* state, int32_t mode, int32_t law) noexcept {
  if (state == nullptr) return kDspNullPointer;
  if (BitsOfMode(mode) == 0 || law < 0 || law > 2) return kDspBadMode;
  ResetG726(&state->state, mode);
  state->law = law;
  return kDspOk;
}

template <int32_t kBits>
static void EncodeG726(orbel::G726State* state, const int16_t* src, uint8_t* dst,
                       int32_t length) {
  orbel::G726State s = *state;
  for (int32_t i = 0; i < length; ++i) {
    const G726Prediction p = Predict(s);
    const int32_t code = Quantise<kBits>(src[i] - p.se, p.y);
    Update<kBits>(&s, code, p);
    dst[i] = static_cast<uint8_t>(code);
  }
  *state = s;
}

template <int32_t kBits>
static void DecodeG726(orbel::G726State* state, int32_t law, const uint8_t* src, int16_t* dst,
                       int32_t length) {
  orbel::G726State s = *state;
  for (int32_t i = 0; i < length; ++i) {
    const int32_t code = src[i] & ((1 << kBits) - 1);
    const G726Prediction p = Predict(s);
    const int32_t sr = Update<kBits>(&s, code, p);
    dst[i] = static_cast<int16_t>(law == 2 ? Within(sr, -8192, 8191)
                                           : Synchronise<kBits>(sr, code, p, law));
  }
  *state = s;
}

int32_t dspEncodeG726_16s8u(orbel::G726EncoderState* state, const int16_t* src, uint8_t* dst,
                            int32_t length) noexcept {
  if (state == nullptr || src == nullptr || dst == nullptr) return kDspNullPointer;
  if (length < 1) return kDspBadLength;
  switch (BitsOfMode(state->state.mode)) {
    case 2:
      EncodeG726<2>(&state->state, src, dst, length);
      return kDspOk;
    case 3:
      EncodeG726<3>(&state->state, src, dst, length);
      return kDspOk;
    case 4:
      EncodeG726<4>(&state->state, src, dst, length);
      return kDspOk;
    case 5:
      EncodeG726<5>(&state->state, src, dst, length);
      return kDspOk;
    default:
      return kDspBadMode;
  }
}

int32_t dspDecodeG726_8u16s(orbel::G726DecoderState* state, const uint8_t* src, int16_t* dst,
                            int32_t length) noexcept {
  if (state == nullptr || src == nullptr || dst == nullptr) return kDspNullPointer;
  if (length < 1) return kDspBadLength;
  switch (BitsOfMode(state->state.mode)) {
    case 2:
      DecodeG726<2>(&state->state, state->law, src, dst, length);
      return kDspOk;
    case 3:
      DecodeG726<3>(&state->state, state->law, src, dst, length);
      return kDspOk;
    case 4:
      DecodeG726<4>(&state->state, state->law, src, dst, length);
      return kDspOk;
    case 5:
      DecodeG726<5>(&state->state, state->law, src, dst, length);
      return kDspOk;
    default:
      return kDspBadMode;
  }
}
