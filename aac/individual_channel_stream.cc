#include "aac/individual_channel_stream.h"

#include <algorithm>
#include <cstring>

#include "aac/code_tables.h"
#include "aac/gain_control.h"
#include "aac/long_term_prediction.h"
#include "aac/tns.h"
#include "dsp/primitives.h"

namespace orbel {
namespace {

int32_t Read(BitReader* reader, int32_t count) {
  return static_cast<int32_t>(FastGetBits(reader, count));
}

constexpr int32_t kScaleFactorBias = 60;
constexpr int32_t kNoiseOffset = 90;
constexpr int32_t kNoisePcmBits = 9;
constexpr int32_t kGainOffset = 100;
// Within these no gain is so large that lines could become infinite.
constexpr int32_t kLoudest = 300;
constexpr int32_t kQuietest = -100;

constexpr bool CarriesLines(int32_t book) { return book >= 1 && book <= kEscapeBook; }

constexpr int32_t kNoLines = 0;
constexpr int32_t kSmallValues = 1;
constexpr int32_t kEscapes = 2;
// Pulses may put lines where the book has none but a scale factor stands.
constexpr int32_t LineKind(int32_t book, bool pulses) {
  if (book == kEscapeBook) return kEscapes;
  return CarriesLines(book) || (pulses && book > kEscapeBook) ? kSmallValues : kNoLines;
}

}  // namespace

int32_t IcsInfoParse(IndividualChannelStream* ics, BitReader* reader, int32_t objectType) {
  ics->ics_reserved_bit = Read(reader, 1);
  ics->window_sequence = Read(reader, 2);
  ics->window_shape = Read(reader, 1);
  ics->num_window_groups = 1;
  ics->window_group_length[0] = 1;
  ics->predictor_reset = 0;
  ics->ltp_data_present = 0;
  ics->predictor_data_present = 0;
  if (ics->window_sequence == kEightShort) {
    ics->numWindows = kMaxWindows;
    ics->max_sfb = Read(reader, 4);
    if (ics->max_sfb > ics->numSwbShort) return -1;
    for (int32_t& grouped : ics->scale_factor_grouping) {
      grouped = Read(reader, 1);
      if (grouped == 0)
        ics->window_group_length[ics->num_window_groups++] = 1;
      else
        ++ics->window_group_length[ics->num_window_groups - 1];
    }
    if (objectType == kObjectMain) std::memset(ics->prediction_used, 0, kMaxBands);
    return 0;
  }
  ics->numWindows = 1;
  ics->max_sfb = Read(reader, 6);
  if (ics->max_sfb > ics->numSwbLong) return -1;
  if (objectType == kObjectBsac) return 0;
  ics->predictor_data_present = Read(reader, 1);
  if (ics->predictor_data_present == 0) {
    if (objectType == kObjectMain) std::memset(ics->prediction_used, 0, kMaxBands);
    return 0;
  }
  if (objectType == kObjectMain) {
    ics->predictor_reset = Read(reader, 1);
    if (ics->predictor_reset != 0) ics->predictor_reset_group_number = Read(reader, 5);
    const int32_t bands = std::min(ics->predMaxSfb, ics->max_sfb);
    for (int32_t b = 0; b < bands; ++b)
      ics->prediction_used[b] = static_cast<uint8_t>(Read(reader, 1));
    for (int32_t b = bands; b < ics->predMaxSfb; ++b) ics->prediction_used[b] = 0;
    return 0;
  }
  if (objectType != kObjectLtp) return -1;
  ics->ltp_data_present = Read(reader, 1);
  if (ics->ltp_data_present != 0) LtpDataParse(ics, reader);
  return 0;
}

int32_t SectionDataParse(IndividualChannelStream* ics, BitReader* reader) {
  const int32_t lengthBits = ics->window_sequence == kEightShort ? 3 : 5;
  const int32_t escape = (1 << lengthBits) - 1;
  const int32_t maxSfb = ics->max_sfb;
  ics->hasNoise = 0;
  ics->hasIntensity = 0;
  ics->scaleFactorCodes = 0;
  for (int32_t g = 0; g < ics->num_window_groups; ++g) {
    int32_t* books = ics->sfb_cb[g];
    int32_t sections = 0;
    for (int32_t band = 0; band < maxSfb;) {
      if (sections++ == maxSfb) {
        Read(reader, 4);
        return -1;
      }
      // The book and the first part of the length at once.
      const int32_t fields = Read(reader, 4 + lengthBits);
      const int32_t book = fields >> lengthBits;
      int32_t unit = fields & escape;
      int32_t length = unit;
      while (unit == escape) {  // ends with the data at the latest: zeros follow it
        unit = Read(reader, lengthBits);
        length = std::min(length + unit, kFrameLength);
      }
      if (band + length > maxSfb) return -1;
      std::fill_n(books + band, length, book);
      band += length;
      if (book == kZeroBook || length == 0) continue;
      if (book == kNoiseBook && ics->hasNoise == 0) {
        ics->hasNoise = 1;
        ics->codesBeforeNoise = ics->scaleFactorCodes;
        --length;  // the first noise band has no code
      }
      if (book >= kIntensityBookOutOfPhase) ics->hasIntensity = 1;
      ics->scaleFactorCodes += length;
    }
    std::fill(books + maxSfb, books + kMaxBands, kZeroBook);
  }
  return 0;
}

CodeCursor CursorOf(const BitReader& reader) {
  const uint32_t position = GetBitPosition(reader);
  return {ReaderData(reader) + position / 8, static_cast<int32_t>(position % 8), ReaderEnd(reader)};
}

void ReturnCursor(const CodeCursor& cursor, BitReader* reader) {
  const auto bytes = static_cast<uint32_t>(cursor.bytes - ReaderData(*reader));
  SetBitPosition(reader, bytes * 8 + static_cast<uint32_t>(cursor.bitOffset));
}

int32_t ReadScaleFactorStep(CodeCursor* cursor, const IndividualChannelStream& ics) {
  int32_t value = kScaleFactorBias;
  dspVlcDecodeOne(&cursor->bytes, &cursor->bitOffset, cursor->end, &value, ics.huffmanTables[0]);
  return value - kScaleFactorBias;
}

void ScaleFactorDataParse(IndividualChannelStream* ics, BitReader* reader) {
  // All steps first, in two runs: the noise chain starts with a number of its own
  // in front of the first noise band's place.
  const int32_t codes = ics->scaleFactorCodes;
  const int32_t codesBeforeNoise = ics->codesBeforeNoise;
  int16_t steps[kMaxWindows * kMaxBands];
  const DspVlcTable* table = ics->huffmanTables[0];
  CodeCursor cursor = CursorOf(*reader);
  const auto readSteps = [&](int32_t from, int32_t to) {
    dspVlcDecodeBlock(&cursor.bytes, &cursor.bitOffset, cursor.end, steps + from, to - from, table);
  };
  int32_t noiseEnergy = ics->global_gain - kNoiseOffset;
  readSteps(0, ics->hasNoise == 0 ? codes : codesBeforeNoise);
  ReturnCursor(cursor, reader);
  if (ics->hasNoise != 0) {
    noiseEnergy += Read(reader, kNoisePcmBits) - (1 << (kNoisePcmBits - 1));
    cursor = CursorOf(*reader);
    readSteps(codesBeforeNoise, codes);
    ReturnCursor(cursor, reader);
  }

  int32_t scaleFactor = ics->global_gain;
  int32_t intensityPosition = 0;
  bool firstNoise = true;
  bool wild = false;
  const int16_t* step = steps;
  for (int32_t g = 0; g < ics->num_window_groups; ++g) {
    for (int32_t b = 0; b < ics->max_sfb; ++b) {
      const int32_t book = ics->sfb_cb[g][b];
      int32_t value = 0;
      if (book == kNoiseBook) {
        if (!firstNoise) noiseEnergy += *step++ - kScaleFactorBias;
        firstNoise = false;
        value = noiseEnergy;
      } else if (book >= kIntensityBookOutOfPhase) {
        value = intensityPosition += *step++ - kScaleFactorBias;
      } else if (book != kZeroBook) {
        value = scaleFactor += *step++ - kScaleFactorBias;
      }
      wild = wild || value > kLoudest || value < kQuietest;
      ics->scaleFactors[g][b] = static_cast<int16_t>(value);
    }
  }
  ics->wildScale = wild ? 1 : 0;
}

int32_t PulseDataParse(IndividualChannelStream* ics, BitReader* reader) {
  ics->number_pulse = Read(reader, 2);
  ics->pulse_start_sfb = Read(reader, 6);
  if (ics->pulse_start_sfb > ics->numSwbLong) return -1;
  int32_t line = ics->swbOffsetLong[ics->pulse_start_sfb];
  for (int32_t i = 0; i <= ics->number_pulse; ++i) {
    ics->pulse_offset[i] = Read(reader, 5);
    ics->pulse_amp[i] = Read(reader, 4);
    line += ics->pulse_offset[i];
  }
  // Line 1024 passes; the record has a place for it and nothing reads it.
  return line > kFrameLength ? -1 : 0;
}

void ApplyPulses(IndividualChannelStream* ics) {
  int32_t line = ics->swbOffsetLong[ics->pulse_start_sfb];
  for (int32_t i = 0; i <= ics->number_pulse; ++i) {
    line += ics->pulse_offset[i];
    int16_t& value = ics->quantized[line];
    const int32_t amp = ics->pulse_amp[i];
    value = static_cast<int16_t>(value > 0 ? value + amp : value - amp);
  }
}

void SpectralDataParse(IndividualChannelStream* ics, BitReader* reader) {
  CodeCursor cursor = CursorOf(*reader);
  const int32_t* offsets = BandOffsets(*ics);
  int16_t* values = ics->quantized;
  for (int32_t g = 0; g < ics->num_window_groups; ++g) {
    const int32_t windows = ics->window_group_length[g];
    const int32_t* books = ics->sfb_cb[g];
    // The lines of bands with the same book follow one another, so that a run of
    // bands takes one call.
    for (int32_t band = 0; band < ics->max_sfb;) {
      const int32_t book = books[band];
      int32_t end = band + 1;
      while (end < ics->max_sfb && books[end] == book) ++end;
      const int32_t lines = (offsets[end] - offsets[band]) * windows;
      band = end;
      if (lines == 0) continue;
      const uint8_t** bytes = &cursor.bytes;
      if (!CarriesLines(book)) {
        std::memset(values, 0, static_cast<size_t>(lines) * sizeof *values);
      } else if (kQuadFieldBits[book] != 0) {
        dspVlcDecodeQuads_16s(bytes, &cursor.bitOffset, cursor.end, values, lines / 4,
                              kQuadFieldBits[book], ics->huffmanTables[book]);
      } else if (book != kEscapeBook) {
        dspVlcDecodePairs_16s(bytes, &cursor.bitOffset, cursor.end, values, lines / 2,
                              ics->huffmanTables[book]);
      } else {
        dspVlcDecodeEscape(bytes, &cursor.bitOffset, cursor.end, values, lines,
                           ics->huffmanTables[book]);
      }
      values += lines;
    }
  }
  ReturnCursor(cursor, reader);
}

int32_t IndividualChannelStreamParse(IndividualChannelStream* ics, BitReader* reader,
                                     bool commonWindow, int32_t objectType) {
  ics->global_gain = Read(reader, 8);
  if (!commonWindow && IcsInfoParse(ics, reader, objectType) != 0) return -1;
  if (SectionDataParse(ics, reader) != 0) return -1;
  ScaleFactorDataParse(ics, reader);
  ics->pulse_data_present = Read(reader, 1);
  if (ics->pulse_data_present != 0 && PulseDataParse(ics, reader) != 0) return -1;
  ics->tns_data_present = Read(reader, 1);
  if (ics->tns_data_present != 0) TnsDataParse(ics, reader);
  ics->gain_control_data_present = Read(reader, 1);
  if (ics->gain_control_data_present != 0) {
    if (objectType != kObjectSsr) return -1;
    GainControlParse(ics, reader);
  }
  SpectralDataParse(ics, reader);
  return 0;
}

void InverseQuantize(const IndividualChannelStream& ics, float* lines) {
  const int32_t* offsets = BandOffsets(ics);
  const int16_t* values = ics.quantized;
  const bool pulses = ics.pulse_data_present != 0;
  float* at = lines;
  for (int32_t g = 0; g < ics.num_window_groups; ++g) {
    const int32_t windows = ics.window_group_length[g];
    const int32_t* books = ics.sfb_cb[g];
    int32_t grouped[kMaxBands + 1];
    const int32_t* borders = offsets;
    if (windows > 1) {
      for (int32_t b = 0; b <= ics.max_sfb; ++b) grouped[b] = offsets[b] * windows;
      borders = grouped;
    }
    for (int32_t band = 0; band < ics.max_sfb;) {
      // A run of bands of one kind: with small values, with escapes, without lines.
      const int32_t kind = LineKind(books[band], pulses);
      int32_t end = band + 1;
      while (end < ics.max_sfb && LineKind(books[end], pulses) == kind) ++end;
      if (kind != kNoLines) {
        float gains[kMaxBands];
        dspScaleFactorGain_16s32f(ics.scaleFactors[g] + band, kGainOffset, gains, end - band);
        dspDequantize_16s32f(values, gains, borders + band, end - band, kind == kEscapes ? 1 : 0,
                             at);
      } else {
        std::fill(at + borders[band], at + borders[end], 0.0F);
      }
      band = end;
    }
    at += borders[ics.max_sfb];
    values += borders[ics.max_sfb];
  }
  std::fill(at, lines + kFrameLength, 0.0F);
}

void ShortWindowInterleave(const IndividualChannelStream& ics, float* lines) {
  if (ics.window_sequence != kEightShort) return;
  float packed[kFrameLength];
  std::memcpy(packed, lines, sizeof packed);
  const int32_t* offsets = ics.swbOffsetShort;
  const int32_t used = ics.numSwbShort > 0 ? offsets[ics.max_sfb] : 0;
  const float* from = packed;
  float* groupLines = lines;
  for (int32_t g = 0; g < ics.num_window_groups; ++g) {
    const int32_t windows = ics.window_group_length[g];
    for (int32_t b = 0; b < ics.max_sfb; ++b) {
      const int32_t width = offsets[b + 1] - offsets[b];
      for (int32_t w = 0; w < windows; ++w) {
        std::memcpy(groupLines + w * kShortLength + offsets[b], from,
                    static_cast<size_t>(width) * sizeof *from);
        from += width;
      }
    }
    for (int32_t w = 0; w < windows; ++w)
      std::fill(groupLines + w * kShortLength + used, groupLines + (w + 1) * kShortLength, 0.0F);
    groupLines += windows * kShortLength;
  }
}

}  // namespace orbel
