// GetFrame on every kind of stream.
#include "aac_run.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  RunDecoder(data, size);
  return 0;
}
