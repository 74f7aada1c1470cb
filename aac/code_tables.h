// The look-up tables of the Huffman codes of ISO/IEC 14496-3, subpart 4. Made once
// when the library loads, read-only from then on, shared by all decoders.
#pragma once

#include <cstdint>

namespace orbel {

struct DspVlcTable;

// Table 0 decodes scale factors: values 0 to 120, which stand for steps of -60 to 60.
// Tables 1 to 11 are the spectral books. Signs are part of the codes in all of them, so
// that none is read behind a code; only the escape sequences of book 11 are. Values are
// packed as dspVlcDecodeQuads_16s (1 to 4) and dspVlcDecodePairs_16s (5 to 11) take them.
constexpr int32_t kCodeTableCount = 12;

// kCodeTableCount pointers.
const DspVlcTable* const* CodeTables();

// Bits of a field of books 1 to 4, for dspVlcDecodeQuads_16s; 0 for all other books.
inline constexpr int32_t kQuadFieldBits[16] = {0, 2, 2, 3, 3};

}  // namespace orbel
