// The status word of the framework: 0 succeeds, every negative value fails.
#pragma once

#include <cstdint>

namespace UMC {

using Status = int32_t;

constexpr Status UMC_OK = 0;
constexpr Status UMC_ERR_FAILED = -999;             // outside the buffer, unknown identifier
constexpr Status UMC_ERR_NOT_INITIALIZED = -998;    // used before its set-up
constexpr Status UMC_ERR_NOT_ENOUGH_DATA = -996;    // the input ends too early
constexpr Status UMC_ERR_NULL_PTR = -995;           // a needed pointer is null
constexpr Status UMC_ERR_INIT = -899;               // the codec can't be set up so
constexpr Status UMC_ERR_SYNC = -897;               // synchronisation was lost
constexpr Status UMC_ERR_NOT_ENOUGH_BUFFER = -896;  // the output does not fit
constexpr Status UMC_ERR_ALLOC = -883;              // memory could not be had
constexpr Status UMC_ERR_INVALID_STREAM = -881;     // the stream breaks its rules
constexpr Status UMC_ERR_UNSUPPORTED = -879;        // nothing here decodes it
constexpr Status UMC_ERR_NOT_IMPLEMENTED = -878;    // the class has no such operation
constexpr Status UMC_ERR_INVALID_PARAMS = -876;     // an argument is out of its range

// What a result of the decoders' inner functions (0 good, 1 data ended, 2 and 4
// bad stream, 3 no memory, 5 null pointer, 6 no sync) means as a status.
Status StatusOfResult(int32_t result);

}  // namespace UMC
