#include "sbr/ps_code_tables.h"

#include "dsp/primitives.h"
#include "dsp/status.h"

namespace orbel {
namespace {

constexpr int32_t kMostCodes = 61;
constexpr int32_t kTableRoom = 32 * 1024;

struct Levels {
  int32_t count;
  int32_t bits[kDspVlcMaxLevels];
};

constexpr Levels kLevels[kPsBookCount] = {
    {2, {9, 9}}, {3, {8, 8, 4}}, {2, {9, 9}}, {2, {8, 8}}, {2, {8, 6}},
    {2, {8, 6}}, {1, {4}},       {1, {5}},    {1, {5}},    {1, {5}},
};

class Tables {
 public:
  Tables() {
    int32_t used = 0;
    for (int32_t i = 0; i < kPsBookCount; ++i) {
      const PsHuffmanBook& book = kPsHuffmanBooks[i];
      DspVlcCode codes[kMostCodes];
      for (int32_t row = 0; row < book.count; ++row) {
        codes[row] = {book.codes[row].word, book.codes[row].length,
                      static_cast<int16_t>(row - book.offset)};
      }
      const Levels& levels = kLevels[i];
      DspVlcTable* const table = reinterpret_cast<DspVlcTable*>(memory_ + used);
      // All is constant, so that the tests would see a refusal or a lack of room.
      if (dspVlcGetSize(codes, book.count, levels.bits, levels.count, &sizes_[i]) != kDspOk ||
          sizes_[i] > kTableRoom - used ||
          dspVlcInit(codes, book.count, levels.bits, levels.count, table) != kDspOk) {
        return;
      }
      tables_[i] = table;
      used += (sizes_[i] + 63) & ~63;
    }
  }

  const DspVlcTable* const* Pointers() const { return tables_; }
  int32_t Size(int32_t index) const { return sizes_[index]; }

 private:
  const DspVlcTable* tables_[kPsBookCount] = {};
  int32_t sizes_[kPsBookCount] = {};
  alignas(64) uint8_t memory_[kTableRoom] = {};
};

const Tables tables;

}  // namespace

const DspVlcTable* const* PsCodeTables() { return tables.Pointers(); }

int32_t PsCodeTableSize(int32_t index) { return tables.Size(index); }

}  // namespace orbel
