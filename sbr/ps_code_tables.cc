#include "sbr/ps_code_tables.h"

#include "dsp/vlc_table_set.h"

namespace orbel {
namespace {

constexpr int32_t kMostCodes = 61;

constexpr VlcLevels kLevels[kPsBookCount] = {
    {2, {9, 9}}, {3, {8, 8, 4}}, {2, {9, 9}}, {2, {8, 8}}, {2, {8, 6}},
    {2, {8, 6}}, {1, {4}},       {1, {5}},    {1, {5}},    {1, {5}},
};

class Tables : public VlcTableSet<kPsBookCount, 32 * 1024> {
 public:
  Tables() {
    for (int32_t i = 0; i < kPsBookCount; ++i) {
      const PsHuffmanBook& book = kPsHuffmanBooks[i];
      DspVlcCode codes[kMostCodes];
      for (int32_t row = 0; row < book.count; ++row) {
        codes[row] = {book.codes[row].word, book.codes[row].length,
                      static_cast<int16_t>(row - book.offset)};
      }
      Add(codes, book.count, kLevels[i]);
    }
  }
};

const Tables tables;

}  // namespace

const DspVlcTable* const* PsCodeTables() { return tables.Pointers(); }

}  // namespace orbel
