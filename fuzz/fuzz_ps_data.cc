// Any parametric stereo payloads, each applied to a frame of any samples at either
// level: every result is a number. Bands above those that there are stay as they were.
#include <cmath>
#include <cstdlib>
#include <memory>

#include "aac/bit_reader.h"
#include "input.h"
#include "sbr/ps.h"
#include "sbr/ps_state.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace orbel;
  FuzzInput input(data, size);
  const auto ps = std::make_unique<PsState>();
  PsInit(ps.get());
  struct Rows {
    alignas(32) QmfRow of[4][kQmfSlots];
  };
  const auto rows = std::make_unique<Rows>();
  for (int frame = 0; frame < 64 && !input.Empty(); ++frame) {
    PsSetLevel(ps.get(), input.Take<uint8_t>() % 2 != 0 ? 411 : 111);
    const std::vector<uint8_t> payload = input.Bytes(input.Take<uint8_t>());
    BitReader reader;
    BitReaderInit(&reader, payload.data(), payload.size());
    int32_t bitsRead = 0;
    PsDataParse(&reader, ps.get(), &bitsRead);
    if (bitsRead < 0 || GetBitPosition(reader) != static_cast<uint32_t>(bitsRead)) std::abort();
    // A few samples as they come, spread over the rows.
    const auto scale = input.Take<float>();
    auto seed = input.Take<uint32_t>();
    for (int pair = 0; pair < 2; ++pair) {
      for (QmfRow& row : rows->of[pair]) {
        for (float& x : row) {
          seed = seed * 1664525 + 1013904223;
          x = seed >> 30 == 0 ? static_cast<float>(static_cast<int32_t>(seed)) * scale : 0.0F;
        }
      }
    }
    const int32_t bands = PsApply(ps.get(), rows->of[0], rows->of[1], rows->of[2], rows->of[3],
                                  rows->of[0], rows->of[1]);
    for (const auto& channel : rows->of)
      for (const QmfRow& row : channel)
        for (int32_t band = 0; band < bands; ++band)
          if (!std::isfinite(row[band])) std::abort();
  }
  return 0;
}
