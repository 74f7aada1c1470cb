#include "sbr/sbr_payload.h"

#include <algorithm>
#include <iterator>
#include <limits>

#include "sbr/frequency_tables.h"
#include "sbr/ps.h"
#include "sbr/sbr_grid.h"
#include "sbr/sbr_values.h"

namespace orbel {
namespace {

constexpr int32_t kExtensionTypeBits = 4;
constexpr int32_t kParametricStereo = 2;  // bs_extension_id

int32_t Read(BitReader* reader, int32_t count) {
  return static_cast<int32_t>(FastGetBits(reader, count));
}

int32_t BitsSince(const BitReader& reader, uint32_t start) {
  return static_cast<int32_t>(GetBitPosition(reader) - start);
}

int32_t ParseGrid(BitReader* reader, SbrElement* element, int32_t channel) {
  int32_t status = 0;
  SbrGridParse(reader, &element->bs_frame_class[channel], &element->bs_pointer[channel],
               &element->grid[channel], &status);
  return status;
}

void CopyGrid(SbrElement* element) {
  element->bs_frame_class[1] = element->bs_frame_class[0];
  element->bs_pointer[1] = element->bs_pointer[0];
  const SbrGrid& from = element->grid[0];
  SbrGrid& to = element->grid[1];
  to.L_E = from.L_E;
  to.L_Q = from.L_Q;
  std::copy(std::begin(from.t_E), std::end(from.t_E), to.t_E);
  std::copy(std::begin(from.freqRes), std::end(from.freqRes), to.freqRes);
  std::copy(std::begin(from.t_Q), std::end(from.t_Q), to.t_Q);
}

void ParseDirections(BitReader* reader, SbrElement* element, int32_t channel) {
  SbrChannelData& data = element->channelData[channel];
  const SbrGrid& grid = element->grid[channel];
  SbrDtdfParse(reader, data.bs_df_env, data.bs_df_noise, grid.L_E, grid.L_Q);
}

void ParseEnvelope(BitReader* reader, SbrElement* element, int32_t channel) {
  SbrEnvelopeParse(channel, element->bs_coupling, SbrEffectiveAmpRes(*element, channel), reader,
                   element);
}

void ParseNoise(BitReader* reader, SbrElement* element, int32_t channel) {
  SbrChannelData& data = element->channelData[channel];
  SbrNoiseParse(reader, data.noiseValues, data.noiseOffset, data.bs_df_noise, element->huffTables,
                channel, element->bs_coupling, element->grid[channel].L_Q, element->N_Q);
}

void ParseSinusoids(BitReader* reader, SbrElement* element, int32_t channel) {
  SbrChannelData& data = element->channelData[channel];
  data.bs_add_harmonic_flag = Read(reader, 1);
  if (data.bs_add_harmonic_flag != 0) {
    SbrSinusoidalParse(reader, data.bs_add_harmonic, element->N_high);
  } else {
    std::fill(std::begin(data.bs_add_harmonic), std::end(data.bs_add_harmonic), 0);
  }
}

// 0 or kPsBadStream.
int32_t ParseExtendedData(BitReader* reader, SbrElement* element) {
  if (Read(reader, 1) == 0) return 0;
  int32_t size = Read(reader, 4);
  if (size == 15) size += Read(reader, 8);
  for (int32_t bitsLeft = 8 * size; bitsLeft >= 8;) {
    const int32_t bs_extension_id = Read(reader, 2);
    bitsLeft -= 2;
    // What an unknown extension holds is read as further ids.
    if (bs_extension_id != kParametricStereo || element->ps == nullptr) continue;
    int32_t bits = 0;
    if (PsDataParse(reader, element->ps, &bits) != 0) return kPsBadStream;
    bitsLeft -= bits;
  }
  return 0;
}

// Skips the `bits` that the parsers have left over. A payload that they have overrun gives
// a negative number, of which the low five bits are skipped all the same: where the next
// element is looked for depends on it.
void SkipRest(BitReader* reader, int32_t bits) {
  const int32_t words = bits >= 32 ? bits >> 5 : 0;
  const uint32_t skipped = static_cast<uint32_t>(words) * 32 + (static_cast<uint32_t>(bits) & 31);
  SetBitPosition(reader, GetBitPosition(*reader) + skipped);
}

}  // namespace

int32_t SbrSingleChannelElementParse(BitReader* reader, SbrElement* element) {
  const uint32_t start = GetBitPosition(*reader);
  element->bs_coupling = 0;  // the place may have belonged to a pair
  if (Read(reader, 1) != 0) Read(reader, 4);
  if (ParseGrid(reader, element, 0) != 0) return kSbrBadStream;
  ParseDirections(reader, element, 0);
  SbrInvfParse(0, reader, element);
  ParseEnvelope(reader, element, 0);
  ParseNoise(reader, element, 0);
  ParseSinusoids(reader, element, 0);
  if (ParseExtendedData(reader, element) != 0) return kPsBadStream;
  return BitsSince(*reader, start);
}

int32_t SbrChannelPairElementParse(BitReader* reader, SbrElement* element) {
  const uint32_t start = GetBitPosition(*reader);
  if (Read(reader, 1) != 0) Read(reader, 8);
  element->bs_coupling = Read(reader, 1);
  const bool coupled = element->bs_coupling != 0;
  if (ParseGrid(reader, element, 0) != 0) return kSbrBadStream;
  if (coupled) {
    CopyGrid(element);
  } else if (ParseGrid(reader, element, 1) != 0) {
    return kSbrBadStream;
  }
  for (int32_t channel : {0, 1}) ParseDirections(reader, element, channel);
  SbrInvfParse(0, reader, element);
  if (coupled) {
    std::copy_n(element->bs_invf_mode[0], kSbrNoiseBands, element->bs_invf_mode[1]);
    for (int32_t channel : {0, 1}) {
      ParseEnvelope(reader, element, channel);
      ParseNoise(reader, element, channel);
    }
  } else {
    SbrInvfParse(1, reader, element);
    for (int32_t channel : {0, 1}) ParseEnvelope(reader, element, channel);
    for (int32_t channel : {0, 1}) ParseNoise(reader, element, channel);
  }
  for (int32_t channel : {0, 1}) ParseSinusoids(reader, element, channel);
  if (ParseExtendedData(reader, element) != 0) return kPsBadStream;
  return BitsSince(*reader, start);
}

int32_t SbrExtensionDataParse(int32_t elementId, int32_t crcFlag, SbrElement* element,
                              BitReader* reader, int32_t count) {
  int32_t bitsRead = 1;
  if (crcFlag != 0) {
    element->bs_sbr_crc_bits = Read(reader, 10);
    bitsRead += 10;
  }
  if (Read(reader, 1) != 0) {  // bs_header_flag
    if (element->headerCount < std::numeric_limits<int32_t>::max()) ++element->headerCount;
    bitsRead += SbrHeaderParse(reader, element);
    // The one way back from an error.
    if (element->sbrError == kSbrBadStream) {
      element->resetFlag = 1;
      element->sbrError = 0;
    }
  }
  if (element->headerCount != 0 && element->sbrError == 0) {
    // Without an error noted no frame data would be taken for bad tables or a bad grid.
    if (element->resetFlag == 1 && SbrBuildTables(element) != 0)
      return element->sbrError = kSbrBadStream;
    const int32_t channels = elementId == 0 ? 1 : (elementId == 1 ? 2 : 0);
    int32_t bits = 0;
    if (channels == 1) bits = SbrSingleChannelElementParse(reader, element);
    if (channels == 2) bits = SbrChannelPairElementParse(reader, element);
    if (bits == kSbrBadStream) return element->sbrError = kSbrBadStream;
    for (int32_t channel = 0; channel < channels; ++channel) {
      const int32_t status = SbrDeltaDecode(element, channel);
      if (status != 0) bits = status;
    }
    bitsRead += bits;
  }
  element->fillBitsLeft -= bitsRead;
  SkipRest(reader, count * 8 - bitsRead - kExtensionTypeBits);
  return count;
}

}  // namespace orbel
