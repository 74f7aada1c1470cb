#include "als/als_config.h"

#include <bit>
#include <limits>

namespace orbel {
namespace {

constexpr int32_t kReservedBits = 5;
constexpr uint32_t kNoSize = 0xFFFFFFFFU;  // of a header or trailer that is elsewhere
constexpr int32_t kMaxChannels = 65536;

int32_t Read(BitReader* reader, int32_t count) {
  return static_cast<int32_t>(GetBits(reader, count));
}

uint64_t BytesLeft(const BitReader& reader) {
  const uint64_t end = static_cast<uint64_t>(reader.sizeBytes) * 8;
  const uint64_t position = GetBitPosition(reader);
  return position > end ? 0 : (end - position) / 8;
}

bool IsPast(const BitReader& reader) {
  return GetBitPosition(reader) > static_cast<uint64_t>(reader.sizeBytes) * 8;
}

// At a byte boundary. More than a reader holds will never be there.
int32_t Skip(BitReader* reader, uint64_t bytes) {
  if (bytes > kMaxReaderBytes) return kAlsConfigBad;
  if (bytes > BytesLeft(*reader)) return kAlsConfigCut;
  SetBitPosition(reader, GetBitPosition(*reader) + static_cast<uint32_t>(bytes) * 8);
  return 0;
}

uint32_t ReadSize(BitReader* reader) {
  const uint32_t size = GetBits(reader, 32);
  return size == kNoSize ? 0 : size;
}

uint64_t FrameCount(const AlsConfig& config) {
  const auto length = static_cast<uint64_t>(config.frameLength);
  return (config.samples + length - 1) / length;
}

// Each position once and below the number of channels. The reader moves behind them.
int32_t CheckPositions(const AlsConfig& config, BitReader* reader) {
  const int32_t bits = AlsChannelBits(config.channels);
  if (static_cast<uint64_t>(config.channels) * static_cast<uint64_t>(bits) >
      BytesLeft(*reader) * 8 + 7)
    return kAlsConfigCut;
  uint8_t seen[kMaxChannels / 8] = {};
  for (int32_t c = 0; c < config.channels; ++c) {
    const int32_t position = bits == 0 ? 0 : Read(reader, bits);
    if (position >= config.channels) return kAlsConfigBad;
    const auto bit = static_cast<uint8_t>(1U << (position & 7));
    if ((seen[position / 8] & bit) != 0) return kAlsConfigBad;
    seen[position / 8] |= bit;
  }
  return 0;
}

// Everything behind the flags.
int32_t ParseTail(AlsConfig* config, int32_t firstBit, BitReader* reader) {
  config->chanConfig = config->chanConfig != 0 ? Read(reader, 16) : -1;
  config->positions = *reader;
  if (config->chanSort != 0) {
    const int32_t checked = CheckPositions(*config, reader);
    if (checked != 0) return checked;
  }
  // Aligned to the record's own first byte.
  const auto used = static_cast<int32_t>(GetBitPosition(*reader)) - firstBit;
  if (used % 8 != 0) GetBits(reader, 8 - used % 8);
  config->headerSize = ReadSize(reader);
  config->trailerSize = ReadSize(reader);
  int32_t skipped = Skip(reader, uint64_t{config->headerSize} + config->trailerSize);
  if (skipped != 0) return skipped;
  if (config->crcEnabled != 0) config->crc = GetBits(reader, 32);
  if (config->unitSizes == 2 && config->randomAccess > 0) {
    if (config->samples == kAlsSamplesUnknown) return kAlsConfigBad;
    const auto distance = static_cast<uint64_t>(config->randomAccess);
    const uint64_t count = (FrameCount(*config) + distance - 1) / distance;
    config->unitCount = static_cast<uint32_t>(count);
    config->units = *reader;
    skipped = Skip(reader, 4 * count);
    if (skipped != 0) return skipped;
  }
  if (config->auxEnabled != 0) {
    skipped = Skip(reader, GetBits(reader, 32));
    if (skipped != 0) return skipped;
  }
  return IsPast(*reader) ? kAlsConfigCut : 0;
}

}  // namespace

int32_t AlsFrameSamples(const AlsConfig& config, uint32_t number) {
  if (config.samples == kAlsSamplesUnknown) return config.frameLength;
  const uint64_t before = uint64_t{number} * static_cast<uint64_t>(config.frameLength);
  if (before >= config.samples) return 0;
  const uint64_t left = config.samples - before;
  return left < static_cast<uint64_t>(config.frameLength) ? static_cast<int32_t>(left)
                                                          : config.frameLength;
}

int32_t AlsChannelBits(int32_t channels) {
  return std::bit_width(static_cast<uint32_t>(channels - 1));
}

int32_t AlsConfigParse(AlsConfig* config, BitReader* reader) {
  *config = AlsConfig{};
  // The magic word in front belongs to the record; it is four bytes.
  const auto firstBit = static_cast<int32_t>(GetBitPosition(*reader) % 8);
  const uint32_t rate = GetBits(reader, 32);
  config->samples = GetBits(reader, 32);
  config->channels = Read(reader, 16) + 1;
  config->fileType = Read(reader, 3);
  config->resolution = Read(reader, 3);
  config->floating = Read(reader, 1);
  config->msbFirst = Read(reader, 1);
  config->frameLength = Read(reader, 16) + 1;
  config->randomAccess = Read(reader, 8);
  config->unitSizes = Read(reader, 2);
  config->adaptOrder = Read(reader, 1);
  config->coefTable = Read(reader, 2);
  config->longTerm = Read(reader, 1);
  config->maxOrder = Read(reader, 10);
  config->blockSwitching = Read(reader, 2);
  config->bgmc = Read(reader, 1);
  config->sbPart = Read(reader, 1);
  config->jointStereo = Read(reader, 1);
  config->mcCoding = Read(reader, 1);
  config->chanConfig = Read(reader, 1);
  config->chanSort = Read(reader, 1);
  config->crcEnabled = Read(reader, 1);
  config->rlslms = Read(reader, 1);
  GetBits(reader, kReservedBits);
  config->auxEnabled = Read(reader, 1);
  if (IsPast(*reader)) return kAlsConfigCut;
  if (rate == 0 || rate > std::numeric_limits<int32_t>::max()) return kAlsConfigBad;
  if (config->resolution > 3 || config->unitSizes > 2) return kAlsConfigBad;
  if (config->floating != 0 && config->resolution != 3) return kAlsConfigBad;
  config->samplingFrequency = static_cast<int32_t>(rate);
  config->bitsPerSample = 8 * (config->resolution + 1);
  return ParseTail(config, firstBit, reader);
}

}  // namespace orbel
