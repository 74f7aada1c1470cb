#include "sbr/sbr_values.h"

#include <algorithm>

#include "dsp/primitives.h"
#include "sbr/sbr_huffman_tables.h"
#include "sbr/sbr_payload.h"

namespace orbel {
namespace {

constexpr int32_t kFirstNoiseBits = 5;

struct Books {
  const DspVlcTable* time;
  const DspVlcTable* frequency;
  int32_t firstBits;  // of a raw first value
};

// An envelope or a noise floor: coded differences, in the frequency direction behind
// a raw first value.
void ReadValues(BitReader* reader, const Books& books, bool inTime, int16_t* values,
                int32_t count) {
  if (!inTime && count > 0) {
    *values++ = static_cast<int16_t>(FastGetBits(reader, books.firstBits));
    --count;
  }
  if (count <= 0) return;
  const uint32_t position = GetBitPosition(*reader);
  const uint8_t* bytes = ReaderData(*reader) + position / 8;
  auto bitOffset = static_cast<int32_t>(position % 8);
  dspVlcDecodeBlock(&bytes, &bitOffset, ReaderEnd(*reader), values, count,
                    inTime ? books.time : books.frequency);
  const auto passed = static_cast<uint32_t>(bytes - ReaderData(*reader));
  SetBitPosition(reader, passed * 8 + static_cast<uint32_t>(bitOffset));
}

int32_t BandCount(const SbrElement& element, int32_t freqRes) {
  return freqRes == 1 ? element.N_high : element.N_low;
}

// Where the values of the envelope before stand that belong to the bands of one with
// the other resolution.
int32_t HighPlaceOfLowBand(const SbrElement& element, int32_t band) {
  int32_t i = 0;
  while (i < element.N_high && element.f_TableHigh[i] != element.f_TableLow[band]) ++i;
  return i;
}
int32_t LowPlaceOfHighBand(const SbrElement& element, int32_t band) {
  const int32_t border = element.f_TableHigh[band];
  for (int32_t i = 0; i < element.N_low; ++i)
    if (element.f_TableLow[i] <= border && border < element.f_TableLow[i + 1]) return i;
  return 0;
}

int16_t Sum(int32_t before, int32_t step) { return static_cast<int16_t>(before + step); }

void DecodeInFrequency(int16_t* values, int32_t count, int32_t factor) {
  int32_t before = 0;
  for (int32_t k = 0; k < count; ++k) before = values[k] = Sum(before, factor * values[k]);
}

}  // namespace

int32_t SbrEffectiveAmpRes(const SbrElement& element, int32_t channel) {
  const bool fine = element.bs_frame_class[channel] == kFixFix && element.grid[channel].L_E == 1;
  return fine ? 0 : element.bs_amp_res;
}

int32_t SbrEnvelopeParse(int32_t channel, int32_t coupled, int32_t amp_res, BitReader* reader,
                         SbrElement* element) {
  const uint32_t start = GetBitPosition(*reader);
  const SbrGrid& grid = element->grid[channel];
  SbrChannelData& data = element->channelData[channel];
  const bool balance = channel == 1 && coupled != 0;
  const int32_t book = balance ? (amp_res != 0 ? kBookEnvBalance30 : kBookEnvBalance15)
                               : (amp_res != 0 ? kBookEnv30 : kBookEnv15);
  const Books books = {element->huffTables[book], element->huffTables[book + 1],
                       (amp_res != 0 ? 6 : 7) - (balance ? 1 : 0)};
  data.envOffset[0] = 0;
  for (int32_t e = 0; e < grid.L_E; ++e) {
    const int32_t count = BandCount(*element, grid.freqRes[e]);
    data.envOffset[e + 1] = data.envOffset[e] + count;
    ReadValues(reader, books, data.bs_df_env[e] == 1, data.envValues + data.envOffset[e], count);
  }
  return static_cast<int32_t>(GetBitPosition(*reader) - start);
}

int32_t SbrNoiseParse(BitReader* reader, int16_t* values, int32_t* offsets,
                      const int32_t* bs_df_noise, const DspVlcTable* const* huffTables,
                      int32_t channel, int32_t coupled, int32_t L_Q, int32_t N_Q) {
  const uint32_t start = GetBitPosition(*reader);
  const bool balance = channel == 1 && coupled != 0;
  const Books books = {huffTables[balance ? kBookNoiseBalance30 : kBookNoise30],
                       huffTables[(balance ? kBookEnvBalance30 : kBookEnv30) + 1], kFirstNoiseBits};
  for (int32_t floor = 0; floor < L_Q; ++floor)
    ReadValues(reader, books, bs_df_noise[floor] == 1, values + floor * N_Q, N_Q);
  for (int32_t i = 0; i <= kSbrNoiseFloors; ++i) offsets[i] = i * N_Q;
  return static_cast<int32_t>(GetBitPosition(*reader) - start);
}

int32_t SbrSinusoidalParse(BitReader* reader, int32_t* bs_add_harmonic, int32_t N_high) {
  for (int32_t i = 0; i < N_high; ++i)
    bs_add_harmonic[i] = static_cast<int32_t>(FastGetBits(reader, 1));
  return N_high;
}

int32_t SbrDeltaDecode(SbrElement* element, int32_t channel) {
  SbrGrid& grid = element->grid[channel];
  SbrChannelData& data = element->channelData[channel];
  if (grid.L_E < 1 || grid.L_E > kSbrEnvelopes || grid.L_Q < 1) return kSbrBadStream;
  const int32_t factor = channel == 1 && element->bs_coupling != 0 ? 2 : 1;

  // The count is that of the last frame whose signal path came to its end.
  int32_t before = grid.prevFreqRes[std::clamp(grid.prevL_E, 1, kSbrEnvelopes) - 1];
  const int16_t* prev = data.prevEnv;
  for (int32_t e = 0; e < grid.L_E; ++e) {
    int16_t* const values = data.envValues + data.envOffset[e];
    const int32_t freqRes = grid.freqRes[e];
    const int32_t count = BandCount(*element, freqRes);
    if (data.bs_df_env[e] == 0) {
      DecodeInFrequency(values, count, factor);
    } else {
      for (int32_t k = 0; k < count; ++k) {
        int32_t place = k;
        if (freqRes < before) place = HighPlaceOfLowBand(*element, k);
        if (freqRes > before) place = LowPlaceOfHighBand(*element, k);
        values[k] = Sum(prev[place], factor * values[k]);
      }
    }
    prev = values;
    before = freqRes;
  }
  std::fill_n(data.prevEnv, kSbrBandRoom, int16_t{0});
  std::copy_n(prev, BandCount(*element, before), data.prevEnv);
  std::fill_n(grid.prevFreqRes, kSbrEnvelopes, 0);
  std::copy_n(grid.freqRes, grid.L_E, grid.prevFreqRes);

  prev = data.prevNoise;
  for (int32_t floor = 0; floor < grid.L_Q; ++floor) {
    int16_t* const values = data.noiseValues + data.noiseOffset[floor];
    if (data.bs_df_noise[floor] == 0) {
      DecodeInFrequency(values, element->N_Q, factor);
    } else {
      for (int32_t k = 0; k < element->N_Q; ++k) values[k] = Sum(prev[k], factor * values[k]);
    }
    prev = values;
  }
  std::fill_n(data.prevNoise, kSbrBandRoom, int16_t{0});
  std::copy_n(prev, element->N_Q, data.prevNoise);
  return 0;
}

}  // namespace orbel
