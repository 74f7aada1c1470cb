#include "als/als_entropy.h"

#include <algorithm>
#include <bit>

#include "als/als_tables.h"
#include "dsp/primitives.h"

namespace orbel {
namespace {

constexpr int32_t kCodeBits = 18;
constexpr uint32_t kCodeMask = (1U << kCodeBits) - 1;
constexpr uint32_t kCodeHalf = 1U << (kCodeBits - 1);
constexpr int32_t kFrequencyBits = 14;
constexpr int32_t kTableShift = 5;  // the finest tables are those of delta 0

// How the values of a sub-block are split into a symbol and low bits.
struct Split {
  const uint16_t* frequencies;
  const AlsSearchStarts* starts;
  int32_t delta;    // the table is looked at in steps of 2^delta
  int32_t lowBits;  // k
  int32_t tail;     // the symbol behind which a Rice code follows
  int32_t span;     // what the values behind the tail are moved by
};

Split SplitOf(const AlsCode& code, int32_t part, int32_t length) {
  const int32_t blockBits = std::bit_width(static_cast<uint32_t>(length - 1));
  const int32_t b = std::clamp((blockBits - 3) >> 1, 0, kTableShift);
  const int32_t s = code.parameter[part];
  const int32_t sx = code.distribution[part];
  Split split = {};
  split.frequencies = kAlsFrequencies[sx];
  split.starts = &kAlsSearchStarts[sx];
  split.lowBits = std::max(0, s - b);
  split.delta = kTableShift - s + split.lowBits;
  split.tail = kAlsTailCodes[sx][split.delta];
  split.span = (2 + (sx > 2 ? 1 : 0) + (sx > 10 ? 1 : 0)) << (kTableShift - split.delta);
  return split;
}

// The arithmetic decoder, whose code word reaches over all sub-blocks of a block.
class Coder {
 public:
  explicit Coder(AlsBits* bits) : bits_(bits), value_(bits->Get(kCodeBits)) {}

  void Read(const Split& split, int32_t* symbols, int32_t count) {
    for (int32_t i = 0; i < count; ++i) symbols[i] = One(split);
  }

  // The last window reaches 16 bits behind the code word.
  void Finish() {
    bits_->passed |= bits_->IsPast();
    bits_->position -= 16;
  }

 private:
  int32_t One(const Split& split) {
    const uint32_t range = high_ - low_ + 1;
    const uint32_t target =
        static_cast<uint32_t>((uint64_t{value_ - low_ + 1} << kFrequencyBits) - 1) / range;
    const uint16_t* frequencies = split.frequencies;
    const int32_t delta = split.delta;
    // The frequencies fall to 0, where the search ends at the latest.
    const int32_t start = (*split.starts)[target >> kAlsSearchShift];
    int32_t j = std::max(1, (start + (1 << delta) - 1) >> delta);
    while (frequencies[j << delta] > target) ++j;
    high_ = low_ + Scale(range, frequencies[(j - 1) << delta]) - 1;
    low_ += Scale(range, frequencies[j << delta]);
    Normalise();
    return j - 1;
  }

  static uint32_t Scale(uint32_t range, uint32_t frequency) {
    return static_cast<uint32_t>((uint64_t{range} * frequency) >> kFrequencyBits);
  }

  void Normalise() {
    // Leading bits that both ends have in common are settled.
    const int32_t settled =
        std::min(std::countl_zero((low_ ^ high_) << (32 - kCodeBits)), kCodeBits);
    const uint32_t ones = (1U << settled) - 1;
    low_ = low_ << settled & kCodeMask;
    high_ = (high_ << settled | ones) & kCodeMask;
    value_ = (value_ << settled | bits_->Get(settled)) & kCodeMask;
    // Then those where the ends come close from both sides of the middle.
    const int32_t close = std::countl_one((low_ & ~high_) << (33 - kCodeBits));
    if (close == 0) return;
    const uint32_t gap = kCodeHalf * ((1U << close) - 1);
    low_ = (low_ << close) - gap;
    high_ = (high_ << close | ((1U << close) - 1)) - gap;
    value_ = (value_ << close | bits_->Get(close)) - gap;
  }

  AlsBits* bits_;
  uint32_t low_ = 0;
  uint32_t high_ = (1U << kCodeBits) - 1;
  uint32_t value_;
};

// The value of a symbol that is not the tail.
int32_t Unfold(const Split& split, int32_t symbol, AlsBits* bits) {
  const int32_t m = symbol > split.tail ? symbol - 1 : symbol;
  const auto high = static_cast<uint32_t>((m & 1) != 0 ? -((m + 1) / 2) : m / 2);
  return static_cast<int32_t>((high << split.lowBits) + bits->Get(split.lowBits));
}

int32_t Tail(const Split& split, int32_t parameter, AlsBits* bits) {
  const auto v = static_cast<uint32_t>(bits->Rice(parameter));
  const bool negative = static_cast<int32_t>(v) < 0;
  const auto span = static_cast<uint32_t>(negative ? split.span - 1 : split.span);
  const uint32_t offset = span << split.lowBits;
  return static_cast<int32_t>(negative ? v - offset : v + offset);
}

bool ReadBgmc(const AlsCode& code, int32_t first, int32_t length, AlsBits* bits,
              int32_t* residual) {
  const int32_t part = length / code.parts;
  Coder coder(bits);
  for (int32_t i = 0; i < code.parts; ++i) {
    const int32_t from = i == 0 ? std::min(first, part) : 0;
    coder.Read(SplitOf(code, i, length), residual + i * part + from, part - from);
    if (bits->position > (bits->size + 2) * 8) break;
  }
  coder.Finish();
  if (bits->position > bits->size * 8) return false;
  for (int32_t i = 0; i < code.parts; ++i) {
    const Split split = SplitOf(code, i, length);
    int32_t* values = residual + i * part;
    for (int32_t n = i == 0 ? std::min(first, part) : 0; n < part; ++n)
      values[n] = values[n] == split.tail ? Tail(split, code.parameter[i], bits)
                                          : Unfold(split, values[n], bits);
    if (bits->position > bits->size * 8) return false;
  }
  return true;
}

bool ReadRice(const AlsCode& code, int32_t first, int32_t length, AlsBits* bits,
              int32_t* residual) {
  const int32_t part = length / code.parts;
  for (int32_t i = 0; i < code.parts; ++i) {
    const int32_t from = i == 0 ? std::min(first, part) : 0;
    if (from < part)
      dspAlsRice_1u32s(bits->data, bits->size, &bits->position, code.parameter[i],
                       residual + i * part + from, part - from);
    if (bits->position > bits->size * 8) return false;
  }
  return true;
}

}  // namespace

bool AlsReadCode(const AlsConfig& config, int32_t length, AlsBits* bits, AlsCode* code) {
  const bool bgmc = config.bgmc != 0;
  const bool wide = config.resolution > 1;
  if (bgmc && config.sbPart != 0) {
    code->parts = 1 << bits->Get(2);
  } else {
    code->parts = (bgmc || config.sbPart != 0) && bits->Flag() ? 4 : 1;
  }
  if (length % code->parts != 0) return false;
  int64_t s = bits->Get((bgmc ? 8 : 4) + (wide ? 1 : 0));
  for (int32_t i = 0; i < code->parts; ++i) {
    if (i > 0) s += bits->Rice(bgmc ? 2 : 0);
    if (s < 0 || (bgmc ? s >> 4 : s) > kAlsMaxRice) return false;
    code->parameter[i] = static_cast<int32_t>(bgmc ? s >> 4 : s);
    code->distribution[i] = static_cast<int32_t>(bgmc ? s & 15 : 0);
  }
  return true;
}

bool AlsReadResidual(const AlsConfig& config, const AlsCode& code, int32_t first, int32_t length,
                     AlsBits* bits, int32_t* residual) {
  const int32_t most = config.resolution > 1 ? kAlsMaxRice : 15;
  const int32_t s = code.parameter[0];
  const int32_t scales[3] = {AlsWidth(config) - 4, std::min(s + 3, most), std::min(s + 1, most)};
  first = std::min(first, length);
  for (int32_t i = 0; i < first; ++i) residual[i] = bits->Rice(scales[i]);
  return config.bgmc != 0 ? ReadBgmc(code, first, length, bits, residual)
                          : ReadRice(code, first, length, bits, residual);
}

}  // namespace orbel
