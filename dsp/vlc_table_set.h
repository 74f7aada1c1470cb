// The look-up tables of a set of Huffman books, made once and kept for good.
#pragma once

#include <cstdint>

#include "dsp/primitives.h"
#include "dsp/status.h"
#include "dsp/vlc_table.h"

namespace orbel {

struct VlcLevels {
  int32_t count;
  int32_t bits[kDspVlcMaxLevels];
};

// Room for `kTables` tables of at most `kBytes` together; zero before their making.
template <int32_t kTables, int32_t kBytes>
class VlcTableSet {
 public:
  // The next table. Books are constant, so that the tests would see a refusal or a lack
  // of room: the pointer stays null then.
  void Add(const DspVlcCode* codes, int32_t count, const VlcLevels& levels) {
    const int32_t index = count_++;
    int32_t size = 0;
    DspVlcTable* const table = reinterpret_cast<DspVlcTable*>(memory_ + used_);
    if (dspVlcGetSize(codes, count, levels.bits, levels.count, &size) != kDspOk ||
        size > kBytes - used_ ||
        dspVlcInit(codes, count, levels.bits, levels.count, table) != kDspOk) {
      return;
    }
    tables_[index] = table;
    used_ += (size + 63) & ~63;
  }

  const DspVlcTable* const* Pointers() const { return tables_; }

 private:
  const DspVlcTable* tables_[kTables] = {};
  int32_t count_ = 0;
  int32_t used_ = 0;
  alignas(64) uint8_t memory_[kBytes] = {};
};

}  // namespace orbel
