// Variable length codes: table building and decoding. dsp/vlc_kernels.h has the contracts.

// The cells follow the head.
static inline DspVlcCell* CellsOf(DspVlcTable* table) {
  return reinterpret_cast<DspVlcCell*>(table + 1);
}
static inline const DspVlcCell* CellsOf(const DspVlcTable* table) {
  return reinterpret_cast<const DspVlcCell*>(table + 1);
}

// Building.

constexpr int32_t kMaxPrefixBits = 16;  // in front of the last level

static inline bool LevelsAreGood(const int32_t* levelBits, int32_t levels) {
  if (levels < 1 || levels > kDspVlcMaxLevels) return false;
  if (levelBits[0] < 1 || levelBits[0] > 12) return false;
  int32_t prefix = 0;
  for (int32_t level = 1; level < levels; ++level) {
    if (levelBits[level] < 1 || levelBits[level] > 10) return false;
    prefix += levelBits[level - 1];
  }
  return prefix <= kMaxPrefixBits;
}

static inline int32_t AllBits(const int32_t* levelBits, int32_t levels) {
  int32_t sum = 0;
  for (int32_t level = 0; level < levels; ++level) sum += levelBits[level];
  return sum;
}

// The cells that the codes need: a level's worth for each prefix that is longer than the
// levels before it. -1 for codes out of range.
static int32_t CountCells(const DspVlcCode* codes, int32_t count, const int32_t* levelBits,
                          int32_t levels) {
  const int32_t longest = AllBits(levelBits, levels);
  for (int32_t i = 0; i < count; ++i) {
    const int32_t length = codes[i].length;
    if (length < 1 || length > longest || length > kDspVlcMaxLength) return -1;
    if (codes[i].code >> length != 0) return -1;
  }
  int32_t cells = 1 << levelBits[0];
  int32_t prefix = 0;
  for (int32_t level = 1; level < levels; ++level) {
    prefix += levelBits[level - 1];
    uint8_t seen[1 << (kMaxPrefixBits - 3)];
    __builtin_memset(seen, 0, ((1UL << prefix) + 7) / 8);
    for (int32_t i = 0; i < count; ++i) {
      if (codes[i].length <= prefix) continue;
      const uint32_t start = codes[i].code >> (codes[i].length - prefix);
      const uint8_t bit = static_cast<uint8_t>(1 << (start & 7));
      if ((seen[start >> 3] & bit) == 0) cells += 1 << levelBits[level];
      seen[start >> 3] |= bit;
    }
  }
  return cells <= 65536 ? cells : -1;
}

// Adds a code to the cells; `used` of them are taken. False if it collides with another.
static bool AddCode(const DspVlcCode& code, const int32_t* levelBits, DspVlcCell* cells,
                    int32_t* used) {
  DspVlcCell* level = cells;
  int32_t left = code.length;
  while (left > *levelBits) {
    left -= *levelBits;
    DspVlcCell& link = level[code.code >> left & ((1U << *levelBits) - 1)];
    if (link.length == 0) {
      link = {static_cast<int16_t>(*used), static_cast<uint8_t>(levelBits[0]),
              static_cast<uint8_t>(levelBits[1])};
      *used += 1 << levelBits[1];
    } else if (link.more == 0) {
      return false;
    }
    level = cells + static_cast<uint16_t>(link.value);
    ++levelBits;
  }
  const int32_t spare = *levelBits - left;
  DspVlcCell* cell = level + ((code.code & ((1U << left) - 1)) << spare);
  for (int32_t i = 0; i < 1 << spare; ++i) {
    if (cell[i].length != 0) return false;
    cell[i] = {code.value, static_cast<uint8_t>(left), 0};
  }
  return true;
}

int32_t dspVlcGetSize(const DspVlcCode* codes, int32_t count, const int32_t* levelBits,
                      int32_t levels, int32_t* size) {
  if (codes == nullptr || levelBits == nullptr || size == nullptr) return kDspNullPointer;
  if (count < 1) return kDspBadLength;
  if (!LevelsAreGood(levelBits, levels)) return kDspBadArgument;
  const int32_t cells = CountCells(codes, count, levelBits, levels);
  if (cells < 0) return kDspBadArgument;
  *size =
      static_cast<int32_t>(sizeof(DspVlcTable)) + cells * static_cast<int32_t>(sizeof(DspVlcCell));
  return kDspOk;
}

int32_t dspVlcInit(const DspVlcCode* codes, int32_t count, const int32_t* levelBits, int32_t levels,
                   DspVlcTable* table) {
  if (codes == nullptr || levelBits == nullptr || table == nullptr) return kDspNullPointer;
  if (count < 1) return kDspBadLength;
  if (!LevelsAreGood(levelBits, levels)) return kDspBadArgument;
  const int32_t cellCount = CountCells(codes, count, levelBits, levels);
  if (cellCount < 0) return kDspBadArgument;
  DspVlcCell* const cells = CellsOf(table);
  __builtin_memset(cells, 0, static_cast<unsigned long>(cellCount) * sizeof *cells);
  int32_t used = 1 << levelBits[0];
  int32_t maxLength = 0;
  for (int32_t i = 0; i < count; ++i) {
    if (!AddCode(codes[i], levelBits, cells, &used)) return kDspBadArgument;
    if (codes[i].length > maxLength) maxLength = codes[i].length;
  }
  for (int32_t i = 0; i < cellCount; ++i) {
    if (cells[i].length == 0) return kDspBadArgument;  // some bits begin with no code
  }
  *table = {levelBits[0], maxLength, cellCount, Clamp(56 / maxLength, 2, 4)};
  return kDspOk;
}

// Decoding.

// The next bits of the stream, the first one on top. Below the valid ones stand further
// bits of the stream, or zeros.
struct BitWindow {
  uint64_t bits;
  uint32_t valid;
  uintptr_t next;  // address of the byte of which the first bit is not yet valid
  uintptr_t end;
};

static uint64_t LoadLastBytes(uintptr_t from, uintptr_t end) {
  uint64_t word = 0;
  const intptr_t left = static_cast<intptr_t>(end - from);
  for (intptr_t i = 0; i < left && i < 8; ++i) {
    const uint64_t byte = *reinterpret_cast<const uint8_t*>(from + static_cast<uintptr_t>(i));
    word |= byte << (56 - 8 * i);
  }
  return word;
}

// Makes at least 56 bits valid.
[[gnu::always_inline]] static inline void Fill(BitWindow& window) {
  uint64_t word;
  if (static_cast<intptr_t>(window.end - window.next) >= 8) [[likely]] {
    word = __builtin_bswap64(Load<uint64_t>(reinterpret_cast<const void*>(window.next)));
  } else {
    word = LoadLastBytes(window.next, window.end);
  }
  window.bits |= word >> window.valid;
  window.next += (63 - window.valid) >> 3;
  window.valid |= 56;
}

[[gnu::always_inline]] static inline void Skip(BitWindow& window, uint32_t count) {
  window.bits <<= count;
  window.valid -= count;
}

static inline BitWindow OpenWindow(const uint8_t* bytes, int32_t bitOffset, const uint8_t* end) {
  BitWindow window = {0, 0, reinterpret_cast<uintptr_t>(bytes), reinterpret_cast<uintptr_t>(end)};
  Fill(window);
  Skip(window, static_cast<uint32_t>(bitOffset));
  return window;
}

static inline void CloseWindow(const BitWindow& window, const uint8_t** bytes, int32_t* bitOffset) {
  *bytes = reinterpret_cast<const uint8_t*>(window.next - ((window.valid + 7) >> 3));
  *bitOffset = static_cast<int32_t>((0U - window.valid) & 7);
}

// One code, of which all bits have to be valid.
[[gnu::always_inline]] static inline int16_t TakeCode(BitWindow& window, const DspVlcCell* cells,
                                                      uint32_t firstShift) {
  const DspVlcCell* cell = cells + (window.bits >> firstShift);
  while (cell->more != 0) [[unlikely]] {
      const DspVlcCell* level = cells + static_cast<uint16_t>(cell->value);
      const uint32_t shift = 64U - cell->more;
      Skip(window, cell->length);
      cell = level + (window.bits >> shift);
    }
  const int16_t value = cell->value;
  Skip(window, cell->length);
  return value;
}

template <int32_t kCodesPerFill>
static inline void TakeCodes(BitWindow& bits, const DspVlcTable* table, int16_t* packed,
                             int32_t count) {
  const DspVlcCell* const cells = CellsOf(table);
  const uint32_t firstShift = 64U - static_cast<uint32_t>(table->firstBits);
  BitWindow window = bits;
  int32_t i = 0;
  for (; i + kCodesPerFill <= count; i += kCodesPerFill) {
    Fill(window);
    for (int32_t k = 0; k < kCodesPerFill; ++k) packed[i + k] = TakeCode(window, cells, firstShift);
  }
  if (i < count) {
    Fill(window);  // less than a fill's worth are left
    do packed[i] = TakeCode(window, cells, firstShift);
    while (++i < count);
  }
  bits = window;
}

static inline void TakeBlock(BitWindow& window, const DspVlcTable* table, int16_t* packed,
                             int32_t count) {
  if (table->codesPerFill == 4) return TakeCodes<4>(window, table, packed, count);
  if (table->codesPerFill == 3) return TakeCodes<3>(window, table, packed, count);
  TakeCodes<2>(window, table, packed, count);
}

static inline int32_t CheckDecoding(const uint8_t** bytes, const int32_t* bitOffset,
                                    const uint8_t* end, const void* dst, int32_t count,
                                    const DspVlcTable* table) {
  if (bytes == nullptr || *bytes == nullptr || bitOffset == nullptr) return kDspNullPointer;
  if (end == nullptr || dst == nullptr || table == nullptr) return kDspNullPointer;
  if (count < 1) return kDspBadLength;
  return *bitOffset < 0 || *bitOffset > 7 ? kDspBadArgument : kDspOk;
}

int32_t dspVlcDecodeOne(const uint8_t** bytes, int32_t* bitOffset, const uint8_t* end,
                        int32_t* value, const DspVlcTable* table) {
  if (const int32_t bad = CheckDecoding(bytes, bitOffset, end, value, 1, table)) return bad;
  BitWindow window = OpenWindow(*bytes, *bitOffset, end);
  *value = TakeCode(window, CellsOf(table), 64U - static_cast<uint32_t>(table->firstBits));
  CloseWindow(window, bytes, bitOffset);
  return kDspOk;
}

int32_t dspVlcDecodeBlock(const uint8_t** bytes, int32_t* bitOffset, const uint8_t* end,
                          int16_t* packed, int32_t count, const DspVlcTable* table) {
  if (const int32_t bad = CheckDecoding(bytes, bitOffset, end, packed, count, table)) return bad;
  BitWindow window = OpenWindow(*bytes, *bitOffset, end);
  TakeBlock(window, table, packed, count);
  CloseWindow(window, bytes, bitOffset);
  return kDspOk;
}

int32_t dspVlcDecodeBlockKind3(const uint8_t** bytes, int32_t* bitOffset, const uint8_t* end,
                               int16_t* packed, int32_t count, const DspVlcTable* table) {
  return dspVlcDecodeBlock(bytes, bitOffset, end, packed, count, table);
}

int32_t dspVlcDecodeBlockKind4(const uint8_t** bytes, int32_t* bitOffset, const uint8_t* end,
                               int16_t* packed, int32_t count, const DspVlcTable* table) {
  return dspVlcDecodeBlock(bytes, bitOffset, end, packed, count, table);
}

// Eight packed values, written out.
struct UnpackPairs {
  static constexpr int32_t kValues = 2;
  [[gnu::always_inline]] static inline void Unpack(V8x16 packed, int16_t* dst) {
    const V8x16 first = packed >> 8;
    const V8x16 second = (packed & 255) - 128;
    Store(dst, MixLow(first, second));
    Store(dst + 8, MixHigh(first, second));
  }
};

template <int kBits>
struct UnpackQuads {
  static constexpr int32_t kValues = 4;
  [[gnu::always_inline]] static inline void Unpack(V8x16 packed, int16_t* dst) {
    constexpr int16_t kMask = (1 << kBits) - 1;
    constexpr int16_t kHalf = 1 << (kBits - 1);
    const V8x16 first = packed >> (3 * kBits);
    const V8x16 second = (packed >> (2 * kBits) & kMask) - kHalf;
    const V8x16 third = (packed >> kBits & kMask) - kHalf;
    const V8x16 fourth = (packed & kMask) - kHalf;
    const V8x16 front = MixLow(first, second);
    const V8x16 back = MixLow(third, fourth);
    Store(dst, MixPairsLow(front, back));
    Store(dst + 8, MixPairsHigh(front, back));
    const V8x16 upperFront = MixHigh(first, second);
    const V8x16 upperBack = MixHigh(third, fourth);
    Store(dst + 16, MixPairsLow(upperFront, upperBack));
    Store(dst + 24, MixPairsHigh(upperFront, upperBack));
  }
};

template <typename Unpacker>
static inline void DecodeTuples(const uint8_t** bytes, int32_t* bitOffset, const uint8_t* end,
                                int16_t* dst, int32_t codes, const DspVlcTable* table) {
  constexpr int32_t kChunk = 64;
  constexpr int32_t kValues = Unpacker::kValues;
  BitWindow window = OpenWindow(*bytes, *bitOffset, end);
  while (codes > 0) {
    alignas(16) int16_t packed[kChunk];
    const int32_t count = codes < kChunk ? codes : kChunk;
    TakeBlock(window, table, packed, count);
    int32_t i = 0;
    for (; i + 8 <= count; i += 8) Unpacker::Unpack(Load<V8x16>(packed + i), dst + i * kValues);
    if (i < count) {
      for (int32_t k = count; k < i + 8; ++k) packed[k] = 0;
      int16_t rest[8 * kValues];
      Unpacker::Unpack(Load<V8x16>(packed + i), rest);
      __builtin_memcpy(dst + i * kValues, rest,
                       static_cast<unsigned long>((count - i) * kValues) * sizeof *dst);
    }
    dst += count * kValues;
    codes -= count;
  }
  CloseWindow(window, bytes, bitOffset);
}

int32_t dspVlcDecodeQuads_16s(const uint8_t** bytes, int32_t* bitOffset, const uint8_t* end,
                              int16_t* dst, int32_t codes, int32_t fieldBits,
                              const DspVlcTable* table) {
  if (const int32_t bad = CheckDecoding(bytes, bitOffset, end, dst, codes, table)) return bad;
  if (fieldBits == 2) {
    DecodeTuples<UnpackQuads<2>>(bytes, bitOffset, end, dst, codes, table);
  } else if (fieldBits == 3) {
    DecodeTuples<UnpackQuads<3>>(bytes, bitOffset, end, dst, codes, table);
  } else {
    return kDspBadArgument;
  }
  return kDspOk;
}

int32_t dspVlcDecodePairs_16s(const uint8_t** bytes, int32_t* bitOffset, const uint8_t* end,
                              int16_t* dst, int32_t codes, const DspVlcTable* table) {
  if (const int32_t bad = CheckDecoding(bytes, bitOffset, end, dst, codes, table)) return bad;
  DecodeTuples<UnpackPairs>(bytes, bitOffset, end, dst, codes, table);
  return kDspOk;
}

// The value whose sign is that of `marker` and whose magnitude the next sequence has.
static inline int32_t TakeEscape(BitWindow& window, int32_t marker) {
  constexpr uint32_t kMostOnes = 24;
  Fill(window);
  const uint32_t ones =
      static_cast<uint32_t>(__builtin_clzll(~window.bits | (uint64_t{1} << (63 - kMostOnes))));
  Skip(window, ones + 1);
  const uint32_t bits = ones + 4;
  const uint32_t magnitude = (1U << bits) + static_cast<uint32_t>(window.bits >> (64 - bits));
  Skip(window, bits);
  return static_cast<int32_t>(marker < 0 ? 0U - magnitude : magnitude);
}

// A pair of book 11, of which the code's bits have to be valid.
[[gnu::always_inline]] static inline void TakePair(BitWindow& window, const DspVlcCell* cells,
                                                   uint32_t firstShift, int16_t* dst) {
  const int32_t packed = TakeCode(window, cells, firstShift);
  int32_t first = packed >> 8;
  int32_t second = (packed & 255) - 128;
  // Smaller magnitudes have squares below 256.
  if (((first * first | second * second) & 256) != 0) [[unlikely]] {
    if (first == 16 || first == -16) first = TakeEscape(window, first);
    if (second == 16 || second == -16) second = TakeEscape(window, second);
    Fill(window);  // for the codes that were to come from the last filling
  }
  dst[0] = Wrap16(first);
  dst[1] = Wrap16(second);
}

template <int32_t kCodesPerFill>
static inline void TakePairs(BitWindow& bits, const DspVlcTable* table, int16_t* dst,
                             int32_t values) {
  const DspVlcCell* const cells = CellsOf(table);
  const uint32_t firstShift = 64U - static_cast<uint32_t>(table->firstBits);
  BitWindow window = bits;
  int32_t i = 0;
  for (; i + 2 * kCodesPerFill <= values; i += 2 * kCodesPerFill) {
    Fill(window);
    for (int32_t k = 0; k < kCodesPerFill; ++k)
      TakePair(window, cells, firstShift, dst + i + 2 * k);
  }
  for (; i < values; i += 2) {
    Fill(window);
    TakePair(window, cells, firstShift, dst + i);
  }
  bits = window;
}

int32_t dspVlcDecodeEscape(const uint8_t** bytes, int32_t* bitOffset, const uint8_t* end,
                           int16_t* dst, int32_t values, const DspVlcTable* table) {
  if (const int32_t bad = CheckDecoding(bytes, bitOffset, end, dst, values, table)) return bad;
  if (values % 2 != 0) return kDspBadLength;
  BitWindow window = OpenWindow(*bytes, *bitOffset, end);
  if (table->codesPerFill == 4) {
    TakePairs<4>(window, table, dst, values);
  } else {
    TakePairs<2>(window, table, dst, values);
  }
  CloseWindow(window, bytes, bitOffset);
  return kDspOk;
}
