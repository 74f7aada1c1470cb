// The look-up tables of the Huffman books of band replication. Made once when the
// library loads, read-only from then on, shared by all decoders.
#pragma once

#include "dsp/vlc_table.h"

namespace orbel {

// kSbrHuffmanBookCount pointers, in the order of SbrBook. The codes decode to
// differences with their sign.
const DspVlcTable* const* SbrCodeTables();

}  // namespace orbel
