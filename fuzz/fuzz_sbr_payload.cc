// Band replication payloads, one after the other on one element: a single channel or a
// pair, with and without parametric stereo.
#include <memory>

#include "input.h"
#include "sbr/ps.h"
#include "sbr/sbr_payload.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace orbel;
  FuzzInput input(data, size);
  const auto setup = input.Take<uint8_t>();
  const auto element = std::make_unique<SbrElement>();
  SbrElementInit(element.get());
  element->samplingIndex = setup % 14 - 1;
  const auto psMemory = std::make_unique<uint64_t[]>(static_cast<size_t>(PsStateSize()) / 8 + 1);
  if ((setup & 0x80) != 0) {
    element->ps = reinterpret_cast<PsState*>(psMemory.get());
    PsInit(element->ps);
  }
  for (int payload = 0; payload < 64 && !input.Empty(); ++payload) {
    const auto control = input.Take<uint8_t>();
    const int32_t elementId = control % 3;
    const std::vector<uint8_t> bytes = input.Bytes(control >> 2);
    BitReader reader;
    BitReaderInit(&reader, bytes.data(), bytes.size());
    const auto count = static_cast<int32_t>(bytes.size());
    element->fillBitsLeft = count * 8;
    const int32_t crcFlag = FastGetBits(&reader, 4) == 14 ? 1 : 0;
    const int32_t used =
        SbrExtensionDataParse(elementId, crcFlag, element.get(), &reader, count + control % 2);
    if (used != count + control % 2 && used != kSbrBadStream) __builtin_trap();
    // With the values that stand, whatever the parser made of the payload.
    for (int32_t channel = 0; channel < 2; ++channel) SbrDeltaDecode(element.get(), channel);
    for (SbrGrid& grid : element->grid) {
      if (control % 5 != 0) grid.prevL_E = grid.L_E;
    }
  }
  return 0;
}
