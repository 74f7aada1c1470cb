#include "sbr/sbr_code_tables.h"

#include "dsp/primitives.h"
#include "sbr/sbr_huffman_tables.h"

namespace orbel {
namespace {

constexpr int32_t kMostCodes = 121;
constexpr int32_t kTableRoom = 24 * 1024;

// The first level holds nearly all codes of a usual stream.
struct Levels {
  int32_t count;
  int32_t bits[kDspVlcMaxLevels];
};
constexpr Levels kLevels[kSbrHuffmanBookCount] = {
    {3, {8, 6, 5}}, {3, {8, 6, 6}}, {3, {7, 5, 5}}, {3, {7, 6, 6}}, {3, {7, 6, 6}},
    {3, {7, 7, 6}}, {2, {7, 7}},    {2, {7, 7}},    {2, {7, 7}},    {1, {8}},
};

class Tables {
 public:
  Tables() {
    int32_t used = 0;
    for (int32_t i = 0; i < kSbrHuffmanBookCount; ++i) {
      const SbrHuffmanBook& book = kSbrHuffmanBooks[i];
      const Levels& levels = kLevels[i];
      DspVlcCode codes[kMostCodes];
      const int32_t count = 2 * book.largest + 1;
      for (int32_t row = 0; row < count; ++row) {
        codes[row] = {book.codes[row].word, book.codes[row].length,
                      static_cast<int16_t>(row - book.largest)};
      }
      int32_t size = 0;
      DspVlcTable* const table = reinterpret_cast<DspVlcTable*>(memory_ + used);
      // All is constant, so that the tests would see a refusal or a lack of room.
      if (dspVlcGetSize(codes, count, levels.bits, levels.count, &size) != kDspOk ||
          size > kTableRoom - used ||
          dspVlcInit(codes, count, levels.bits, levels.count, table) != kDspOk) {
        return;
      }
      tables_[i] = table;
      used += (size + 63) & ~63;
    }
  }

  const DspVlcTable* const* Pointers() const { return tables_; }

 private:
  const DspVlcTable* tables_[kSbrHuffmanBookCount] = {};
  alignas(64) uint8_t memory_[kTableRoom] = {};
};

const Tables tables;

}  // namespace

const DspVlcTable* const* SbrCodeTables() { return tables.Pointers(); }

}  // namespace orbel
