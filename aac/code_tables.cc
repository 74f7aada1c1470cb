#include "aac/code_tables.h"

#include "aac/huffman_tables.h"
#include "dsp/vlc_table_set.h"

namespace orbel {
namespace {

constexpr int32_t kMostCodes = 1089;  // book 11: 17 * 17 pairs with their signs

struct Description {
  DspVlcCode codes[kMostCodes];
  int32_t count;

  void Add(uint32_t word, int32_t length, int32_t value) {
    codes[count++] = {word, static_cast<int16_t>(length), static_cast<int16_t>(value)};
  }
};

void DescribeScaleFactors(Description* description) {
  description->count = 0;
  for (int32_t i = 0; i < kScaleFactorCodeCount; ++i) {
    description->Add(kScaleFactorCodes[i].word, kScaleFactorCodes[i].length, i);
  }
}

int32_t Pack(const int32_t* values, int32_t dimension, int32_t fieldBits) {
  int32_t packed = values[0];
  for (int32_t k = 1; k < dimension; ++k) {
    packed = packed * (1 << fieldBits) + values[k] + (1 << (fieldBits - 1));
  }
  return packed;
}

// A code for each combination of signs of each row.
void DescribeBook(int32_t number, Description* description) {
  const SpectrumBook& book = kSpectrumBooks[number];
  const int32_t fieldBits = book.dimension == 2 ? 8 : kQuadFieldBits[number];
  const int32_t base = book.isSigned ? 2 * book.largest + 1 : book.largest + 1;
  description->count = 0;
  for (int32_t row = 0; row < book.count; ++row) {
    int32_t magnitudes[4] = {};
    int32_t digits = row;
    int32_t signs = 0;
    for (int32_t k = book.dimension - 1; k >= 0; --k) {
      magnitudes[k] = digits % base - (book.isSigned ? book.largest : 0);
      digits /= base;
      if (!book.isSigned && magnitudes[k] != 0) ++signs;
    }
    for (uint32_t bits = 0; bits < 1U << signs; ++bits) {
      int32_t values[4] = {};
      uint32_t sign = 1U << signs;  // halved before it is used: the first value's comes first
      for (int32_t k = 0; k < book.dimension; ++k) {
        values[k] = magnitudes[k];
        if (book.isSigned || values[k] == 0) continue;
        sign >>= 1;
        if ((bits & sign) != 0) values[k] = -values[k];
      }
      description->Add(book.codes[row].word << signs | bits, book.codes[row].length + signs,
                       Pack(values, book.dimension, fieldBits));
    }
  }
}

// The first level holds nearly all codes of a usual stream and stays in the cache.
constexpr VlcLevels kLevels[kCodeTableCount] = {
    {3, {8, 6, 5}}, {2, {9, 2}}, {2, {8, 1}}, {3, {10, 5, 4}}, {2, {10, 5}},    {2, {9, 4}},
    {2, {9, 2}},    {2, {9, 5}}, {2, {9, 3}}, {3, {10, 4, 3}}, {3, {10, 2, 2}}, {2, {11, 3}},
};

class Tables : public VlcTableSet<kCodeTableCount, 96 * 1024> {
 public:
  Tables() {
    Description description;
    for (int32_t i = 0; i < kCodeTableCount; ++i) {
      if (i == 0) {
        DescribeScaleFactors(&description);
      } else {
        DescribeBook(i, &description);
      }
      Add(description.codes, description.count, kLevels[i]);
    }
  }
};

const Tables tables;

}  // namespace

const DspVlcTable* const* CodeTables() { return tables.Pointers(); }

}  // namespace orbel
