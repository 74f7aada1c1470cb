// The look-up tables of the Huffman codes of parametric stereo. Made once when the
// library loads, read-only from then on, shared by all decoders.
#pragma once

#include <cstdint>

#include "sbr/ps_huffman_tables.h"

namespace orbel {

struct DspVlcTable;

// kPsBookCount pointers, in the order of kPsHuffmanBooks. A code's value is its
// difference.
const DspVlcTable* const* PsCodeTables();

}  // namespace orbel
