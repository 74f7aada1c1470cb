#include "aac/fill_element.h"

namespace orbel {
namespace {

constexpr int32_t kBadStream = -13;

// extension_type
constexpr int32_t kFillData = 1;
constexpr int32_t kDynamicRange = 11;
constexpr int32_t kSbrData = 13;
constexpr int32_t kSbrDataCrc = 14;

int32_t Read(BitReader* reader, int32_t count) {
  return static_cast<int32_t>(FastGetBits(reader, count));
}

void SkipBytes(BitReader* reader, int32_t count) {
  for (int32_t i = 0; i < count; ++i) Read(reader, 8);
}

// Returns the bytes read.
int32_t ExcludedChannelsParse(BitReader* reader) {
  int32_t bytes = 0;
  do {  // ends with the data at the latest
    Read(reader, 7);
    ++bytes;
  } while (Read(reader, 1) != 0);
  return bytes;
}

// Returns the bytes read, the one that the extension type's four bits begin included.
int32_t DynamicRangeParse(DynamicRangeInfo* range, BitReader* reader) {
  int32_t bytes = 1;
  range->drc_num_bands = 1;
  if (Read(reader, 1) != 0) {  // pce_tag_present
    range->pce_instance_tag = Read(reader, 4);
    Read(reader, 4);
    ++bytes;
  }
  if (Read(reader, 1) != 0) bytes += ExcludedChannelsParse(reader);
  if (Read(reader, 1) != 0) {  // drc_bands_present
    range->drc_num_bands += Read(reader, 4);
    Read(reader, 4);  // drc_interpolation_scheme
    ++bytes;
    for (int32_t i = 0; i < range->drc_num_bands; ++i, ++bytes)
      range->drc_band_top[i] = Read(reader, 8);
  }
  if (Read(reader, 1) != 0) {  // prog_ref_level_present
    range->prog_ref_level = Read(reader, 7);
    Read(reader, 1);
    ++bytes;
  }
  for (int32_t i = 0; i < range->drc_num_bands; ++i, ++bytes) {
    range->dyn_rng_sgn[i] = Read(reader, 1);
    range->dyn_rng_ctl[i] = Read(reader, 7);
  }
  return bytes;
}

int32_t ExtensionPayloadParse(const FillContext& context, DynamicRangeInfo* range,
                              BitReader* reader, int32_t count) {
  if (context.sbrSupportLevel != kReadExtensions) {
    SkipBytes(reader, count);
    return count;
  }
  SbrElement* record = context.record;
  const int32_t type = Read(reader, 4);
  record->fillBitsLeft -= 4;
  switch (type) {
    case kDynamicRange:
      return DynamicRangeParse(range, reader);
    case kSbrData:
    case kSbrDataCrc: {
      ++*context.sbrCount;
      const int32_t crcFlag = type == kSbrDataCrc ? 1 : 0;
      const int32_t used = SbrExtensionDataParse(record->elementId, crcFlag, record, reader, count);
      if (used == kBadStream) record->sbrError = kBadStream;
      return used;
    }
    case kFillData:
    default:
      Read(reader, 4);
      SkipBytes(reader, count - 1);
      return count;
  }
}

}  // namespace

int32_t FillElementParse(const FillContext& context, DynamicRangeInfo* range, BitReader* reader) {
  int32_t count = Read(reader, 4);
  if (count == 15) count = Read(reader, 8) + 14;
  context.record->fillBitsLeft = count * 8;
  while (count > 0) {
    const int32_t used = ExtensionPayloadParse(context, range, reader, count);
    if (used < 0) return kBadStream;
    count -= used;
  }
  return 0;
}

}  // namespace orbel
