// individual_channel_stream() of ISO/IEC 14496-3, subpart 4: from bits to
// quantised values, and from these to spectral lines.
#pragma once

#include <cstdint>

#include "aac/bit_reader.h"
#include "aac/channel_stream.h"

namespace orbel {

// These return 0, or -1 when the frame is bad.
int32_t IndividualChannelStreamParse(IndividualChannelStream* ics, BitReader* reader,
                                     bool commonWindow, int32_t objectType);
int32_t IcsInfoParse(IndividualChannelStream* ics, BitReader* reader, int32_t objectType);
int32_t SectionDataParse(IndividualChannelStream* ics, BitReader* reader);
int32_t PulseDataParse(IndividualChannelStream* ics, BitReader* reader);

void ScaleFactorDataParse(IndividualChannelStream* ics, BitReader* reader);
void SpectralDataParse(IndividualChannelStream* ics, BitReader* reader);

// Where the primitives read codes, kept up to date between their calls.
struct CodeCursor {
  const uint8_t* bytes;
  int32_t bitOffset;
  const uint8_t* end;
};
CodeCursor CursorOf(const BitReader& reader);
void ReturnCursor(const CodeCursor& cursor, BitReader* reader);

// The next step of a chain of scale factors: -60 to 60.
int32_t ReadScaleFactorStep(CodeCursor* cursor, const IndividualChannelStream& ics);

void ApplyPulses(IndividualChannelStream* ics);

// The quantised values as spectral lines, at the scale of 16-bit PCM, in
// bitstream order. All 1024 are written.
void InverseQuantize(const IndividualChannelStream& ics, float* lines);

// Puts the lines of eight short windows from bitstream order into window order.
// Long windows stay as they are.
void ShortWindowInterleave(const IndividualChannelStream& ics, float* lines);

}  // namespace orbel
