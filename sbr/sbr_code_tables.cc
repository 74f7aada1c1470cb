#include "sbr/sbr_code_tables.h"

#include "dsp/vlc_table_set.h"
#include "sbr/sbr_huffman_tables.h"

namespace orbel {
namespace {

constexpr int32_t kMostCodes = 121;

// The first level holds nearly all codes of a usual stream.
constexpr VlcLevels kLevels[kSbrHuffmanBookCount] = {
    {3, {8, 6, 5}}, {3, {8, 6, 6}}, {3, {7, 5, 5}}, {3, {7, 6, 6}}, {3, {7, 6, 6}},
    {3, {7, 7, 6}}, {2, {7, 7}},    {2, {7, 7}},    {2, {7, 7}},    {1, {8}},
};

class Tables : public VlcTableSet<kSbrHuffmanBookCount, 24 * 1024> {
 public:
  Tables() {
    for (int32_t i = 0; i < kSbrHuffmanBookCount; ++i) {
      const SbrHuffmanBook& book = kSbrHuffmanBooks[i];
      DspVlcCode codes[kMostCodes];
      const int32_t count = 2 * book.largest + 1;
      for (int32_t row = 0; row < count; ++row) {
        codes[row] = {book.codes[row].word, book.codes[row].length,
                      static_cast<int16_t>(row - book.largest)};
      }
      Add(codes, count, kLevels[i]);
    }
  }
};

const Tables tables;

}  // namespace

const DspVlcTable* const* SbrCodeTables() { return tables.Pointers(); }

}  // namespace orbel
