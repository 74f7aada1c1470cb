// ps_data() of ISO/IEC 14496-3, subpart 8, with its differences resolved.
#include <algorithm>

#include "aac/bit_reader.h"
#include "dsp/primitives.h"
#include "sbr/ps.h"
#include "sbr/ps_code_tables.h"
#include "sbr/ps_parameters.h"
#include "sbr/ps_state.h"

namespace orbel {
namespace {

constexpr int32_t kReservedMode = 6;  // this and above
constexpr int32_t kExtensionIpdOpd = 0;
constexpr int32_t kEscapedSize = 15;

int32_t Read(BitReader* reader, int32_t count) {
  return static_cast<int32_t>(FastGetBits(reader, count));
}

// The differences of one envelope and kind.
void ReadDifferences(BitReader* reader, int32_t table, int16_t* differences, int32_t count) {
  const uint32_t position = GetBitPosition(*reader);
  const uint8_t* const start = ReaderData(*reader);
  const uint8_t* bytes = start + position / 8;
  auto bitOffset = static_cast<int32_t>(position % 8);
  dspVlcDecodeBlock(&bytes, &bitOffset, ReaderEnd(*reader), differences, count,
                    PsCodeTables()[table]);
  SetBitPosition(reader,
                 static_cast<uint32_t>(bytes - start) * 8 + static_cast<uint32_t>(bitOffset));
}

// Where the indices of a kind end up; those of phases go round.
struct Range {
  int32_t least, most;
  bool wraps;
};

void ReadIndices(BitReader* reader, int32_t book, const PsIndices& before, int32_t count,
                 const Range& range, PsIndices* indices) {
  const int32_t dt = Read(reader, 1);
  int16_t differences[kPsBands];
  ReadDifferences(reader, book + dt, differences, count);
  *indices = {};
  int32_t below = 0;
  for (int32_t b = 0; b < count; ++b) {
    const int32_t index = (dt != 0 ? before.of[b] : below) + differences[b];
    below = range.wraps ? index & range.most : std::clamp(index, range.least, range.most);
    indices->of[b] = static_cast<int8_t>(below);
  }
}

bool ReadHeader(BitReader* reader, PsHeader* header) {
  header->enable_iid = Read(reader, 1);
  if (header->enable_iid != 0) header->iid_mode = Read(reader, 3);
  header->enable_icc = Read(reader, 1);
  if (header->enable_icc != 0) header->icc_mode = Read(reader, 3);
  header->enable_ext = Read(reader, 1);
  return header->iid_mode < kReservedMode && header->icc_mode < kReservedMode;
}

// The border of an envelope is its last slot.
void ReadGrid(BitReader* reader, PsFrame* frame) {
  constexpr int32_t kCounts[2][4] = {{0, 1, 2, 4}, {1, 2, 3, 4}};
  const int32_t frame_class = Read(reader, 1);
  frame->num_env = kCounts[frame_class][Read(reader, 2)];
  for (int32_t e = 0; e < frame->num_env; ++e) {
    frame->border[e] =
        frame_class != 0 ? Read(reader, 5) : kQmfSlots * (e + 1) / frame->num_env - 1;
  }
}

constexpr Range kPhases = {0, 7, true};

void ReadPhases(BitReader* reader, const PsParameters& before, PsFrame* frame) {
  frame->enable_ipdopd = Read(reader, 1);
  const PsParameters* previous = &before;
  for (int32_t e = 0; frame->enable_ipdopd != 0 && e < frame->num_env; ++e) {
    PsParameters* const now = &frame->envelope[e];
    ReadIndices(reader, kPsBookIpd, previous->ipd, now->phaseCount, kPhases, &now->ipd);
    ReadIndices(reader, kPsBookOpd, previous->opd, now->phaseCount, kPhases, &now->opd);
    previous = now;
  }
  Read(reader, 1);
}

void Skip(BitReader* reader, int32_t bits) {
  SetBitPosition(reader, GetBitPosition(*reader) + static_cast<uint32_t>(bits));
}

void ReadExtensions(BitReader* reader, const PsParameters& before, PsFrame* frame) {
  int32_t size = Read(reader, 4);
  if (size == kEscapedSize) size += Read(reader, 8);
  int32_t bitsLeft = 8 * size;
  while (bitsLeft > 7) {
    const uint32_t start = GetBitPosition(*reader);
    const bool isKnown = Read(reader, 2) == kExtensionIpdOpd;
    if (isKnown) ReadPhases(reader, before, frame);
    bitsLeft -= static_cast<int32_t>(GetBitPosition(*reader) - start);
    if (!isKnown) break;  // how long the others are is not known
  }
  if (bitsLeft > 0) Skip(reader, bitsLeft);
}

// False for data that cannot be decoded: of no use are `header` and `frame` then.
bool ReadData(BitReader* reader, const PsState& ps, bool* hasHeader, PsHeader* header,
              PsFrame* frame) {
  *hasHeader = Read(reader, 1) != 0;
  if (*hasHeader && !ReadHeader(reader, header)) return false;
  ReadGrid(reader, frame);
  const int32_t iidCount = PsBandCount(header->iid_mode);
  const int32_t iccCount = PsBandCount(header->icc_mode);
  frame->isFine = header->iid_mode >= 3 ? 1 : 0;
  frame->mixing = header->icc_mode >= 3 ? 1 : 0;
  frame->wide = (header->enable_iid != 0 && iidCount == kPsBands) ||
                (header->enable_icc != 0 && iccCount == kPsBands);
  PsParameters before;
  PsMapParameters(ps.previous, iidCount, iccCount, &before);
  for (int32_t e = 0; e < frame->num_env; ++e) {
    frame->envelope[e] = {};
    frame->envelope[e].iidCount = iidCount;
    frame->envelope[e].iccCount = iccCount;
    frame->envelope[e].phaseCount = PsPhaseCount(iidCount);
  }
  if (header->enable_iid != 0) {
    const int32_t largest = kPsLargestIid[frame->isFine];
    const int32_t book = frame->isFine != 0 ? kPsBookIidFine : kPsBookIidDefault;
    const PsIndices* previous = &before.iid;
    for (int32_t e = 0; e < frame->num_env; ++e) {
      PsIndices* const now = &frame->envelope[e].iid;
      ReadIndices(reader, book, *previous, iidCount, {-largest, largest, false}, now);
      previous = now;
    }
  }
  if (header->enable_icc != 0) {
    const PsIndices* previous = &before.icc;
    for (int32_t e = 0; e < frame->num_env; ++e) {
      PsIndices* const now = &frame->envelope[e].icc;
      ReadIndices(reader, kPsBookIcc, *previous, iccCount, {0, kPsLargestIcc, false}, now);
      previous = now;
    }
  }
  frame->enable_ipdopd = 0;
  if (header->enable_ext != 0) ReadExtensions(reader, before, frame);
  return true;
}

}  // namespace

int32_t PsDataParse(BitReader* reader, PsState* ps, int32_t* bitsRead) {
  const uint32_t start = GetBitPosition(*reader);
  PsHeader header = ps->header;
  PsFrame frame;
  bool hasHeader = false;
  const bool isGood = ReadData(reader, *ps, &hasHeader, &header, &frame);
  *bitsRead = static_cast<int32_t>(GetBitPosition(*reader) - start);
  if (!isGood) return kPsBadStream;
  // Nothing is known of the data in front of the first header.
  if (!hasHeader && ps->hasHeader == 0) return 0;
  ps->header = header;
  ps->hasHeader = 1;
  ps->hasData = 1;
  ps->isFresh = 1;
  ps->frame = frame;
  if (frame.num_env > 0) ps->previous = frame.envelope[frame.num_env - 1];
  return 0;
}

}  // namespace orbel
