// The primitives of ER BSAC at every level.
#include <cstring>
#include <memory>
#include <random>

#include "dsp/bsac_state.h"
#include "dsp/family_cases.h"
#include "dsp/rows.h"

namespace orbel {
namespace {

// Random tops and lines of random bits, `extreme` with large values, in passes as a frame
// has them.
std::vector<uint8_t> Passes(int level, uint32_t seed, bool extreme, int32_t length) {
  std::mt19937 random(seed);
  std::vector<uint8_t> code(static_cast<size_t>(length));
  for (uint8_t& byte : code) byte = static_cast<uint8_t>(random());
  const auto spectrum = std::make_unique<DspBsacSpectrum>();
  for (int32_t c = 0; c < 2; ++c)
    for (int32_t band = 0; band < kDspBsacBands; ++band) {
      const uint32_t top = random() % (extreme ? kDspBsacTopPlane + 1 : 4);
      const uint32_t model = top < 5 ? 2 * top : 9 + random() % 2;
      spectrum->top[c][band] = static_cast<uint8_t>(top);
      spectrum->waiting[c][top] |= 1U << band;
      spectrum->planes |= 1U << top;
      spectrum->model[c][band] = static_cast<uint8_t>(model);
      std::memset(spectrum->plane[c] + band * kDspBsacBandLines, static_cast<int>(top),
                  kDspBsacBandLines);
    }
  DspBsacCoder coder;
  int32_t status = dspBsacInitRow[level](&coder, code.data(), length);
  const int32_t channels = 1 + static_cast<int32_t>(seed % 2);
  std::vector<uint8_t> bytes;
  for (int32_t first = 0; first < kDspBsacLines; first += 12) {
    const uint16_t model[] = {9000, 4000, 1000, 0};
    int32_t symbol = 0;
    status |= dspBsacSymbolRow[level](&coder, model, &symbol);
    bytes.push_back(static_cast<uint8_t>(symbol));
    coder.budget += 20;
    const int32_t end = first + 12 < kDspBsacLines ? first + 12 : kDspBsacLines;
    status |= dspBsacPassRow[level](&coder, spectrum.get(), channels, first, end, 1);
    status |= dspBsacPassRow[level](&coder, spectrum.get(), channels, 0, end, 0);
  }
  const auto* from = reinterpret_cast<const uint8_t*>(spectrum.get());
  bytes.insert(bytes.end(), from, from + sizeof *spectrum);
  for (const int32_t word : {status, coder.budget, static_cast<int32_t>(coder.range),
                             static_cast<int32_t>(coder.broken)})
    for (int32_t shift = 0; shift < 32; shift += 8)
      bytes.push_back(static_cast<uint8_t>(static_cast<uint32_t>(word) >> shift));
  return bytes;
}

constexpr FamilyCase kCases[] = {
    {"dspBsacInit", "", Passes}, {"dspBsacSymbol", "", Passes}, {"dspBsacPass", "", Passes}};

}  // namespace

std::span<const FamilyCase> BsacCases() { return kCases; }

}  // namespace orbel
