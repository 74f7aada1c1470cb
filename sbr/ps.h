// Parametric stereo (ISO/IEC 14496-3, subpart 8): the parser of ps_data() and the
// way from one channel's QMF rows to two.
#pragma once

#include <cstdint>

#include "aac/bit_reader.h"
#include "sbr/qmf.h"

namespace orbel {

struct PsState;

// Bytes of a PsState; it is plain data, and zero is not its start: PsInit makes it.
int32_t PsStateSize();
void PsInit(PsState* ps);
// Forgets the signal and the values that differences refer to; the header and the
// level stay.
void PsRestart(PsState* ps);
// `level` is 411 for everything; any other, as 111, is the baseline: phase data is
// parsed and not applied, 34 bands are mapped to 20.
void PsSetLevel(PsState* ps, int32_t level);

// ps_data(). *bitsRead receives the bits that it took. 0, or another value for data
// that cannot be decoded; what was known before stays then.
int32_t PsDataParse(BitReader* reader, PsState* ps, int32_t* bitsRead);

// Whether any parametric data has been decoded since PsInit or PsRestart.
bool PsHasData(const PsState& ps);

// The lowest bands' rows behind a frame that its hybrid bank looks at: they keep it
// from being late.
constexpr int32_t kPsAheadRows = 6;
constexpr int32_t kPsAheadBands = 8;

// 32 rows of the mono signal become left, in place, and right. `aheadReal` and
// `aheadImag` are the kPsAheadRows rows that follow, of which kPsAheadBands bands are
// read; they may lie in the given rows, and are read first. Returns how many bands
// there are, a multiple of 4: those above hold nothing and are not written.
int32_t PsApply(PsState* ps, QmfRow* leftReal, QmfRow* leftImag, QmfRow* rightReal,
                QmfRow* rightImag, const QmfRow* aheadReal, const QmfRow* aheadImag);

}  // namespace orbel
