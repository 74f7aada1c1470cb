#include "als/als_decoder.h"

#include <algorithm>
#include <cstring>

#include "als/als_bits.h"
#include "als/als_channels.h"
#include "als/als_crc.h"
#include "als/als_float.h"
#include "dsp/als_kernels.h"

namespace orbel {
namespace {

// A frame that has not ended after so much data never will: codes can be of any
// length, and the caller is to be told before it has gathered all there is.
constexpr uint64_t kMostExpansion = 16;
constexpr uint64_t kLeastPatience = 1 << 20;
constexpr int32_t kUnitSizesInFrames = 1;
constexpr int32_t kUnitSizesInConfig = 2;

// Lays records out in a block of memory, or counts their bytes.
class Layout {
 public:
  explicit Layout(uint8_t* memory) : memory_(memory) {}

  template <typename Record>
  void Place(Record** record, uint64_t count) {
    if (memory_ != nullptr && count > 0) *record = reinterpret_cast<Record*>(memory_ + size_);
    size_ += (count * sizeof(Record) + 15) & ~uint64_t{15};
  }
  uint64_t Size() const { return size_; }

 private:
  uint8_t* memory_;
  uint64_t size_ = 0;
};

int32_t RoundUp(int32_t value, int32_t step) { return (value + step - 1) / step * step; }

// Places everything and returns the bytes that it takes.
uint64_t Place(AlsState* state, uint8_t* memory) {
  const AlsConfig& config = state->config;
  const auto channels = static_cast<uint64_t>(config.channels);
  const auto order = static_cast<uint64_t>(RoundUp(config.maxOrder, kDspAlsOrderStep));
  const bool correlated = config.mcCoding != 0;
  const bool floating = config.floating != 0;
  const uint64_t blocks = correlated ? channels : 1;
  state->history = static_cast<int32_t>(order);
  state->stride = RoundUp(state->history + config.frameLength, 4);
  const auto stride = static_cast<uint64_t>(state->stride);
  Layout layout(memory);
  layout.Place(&state->samples, channels * stride);
  layout.Place(&state->work, stride);
  layout.Place(&state->saved, order);
  layout.Place(&state->coefficients[0], order + 1);
  layout.Place(&state->coefficients[1], order + 1);
  layout.Place(&state->blocks, blocks);
  layout.Place(&state->quantised, blocks * order);
  layout.Place(&state->position, channels);
  layout.Place(&state->units, config.unitCount);
  layout.Place(&state->entries, correlated ? channels * kAlsMaxEntries : 0);
  layout.Place(&state->walk, correlated ? channels : 0);
  layout.Place(&state->walkEntry, correlated ? channels : 0);
  layout.Place(&state->walkState, correlated ? channels : 0);
  layout.Place(&state->floats, floating ? channels : 0);
  layout.Place(&state->dictionary, floating ? 1 : 0);
  layout.Place(&state->characters, floating ? 4 * static_cast<uint64_t>(config.frameLength) : 0);
  return layout.Size();
}

int32_t* ChannelPast(const AlsState& state, int32_t channel) {
  return state.samples + static_cast<int64_t>(channel) * state.stride;
}

bool IsRandomAccess(const AlsState& state) {
  const auto distance = static_cast<uint32_t>(state.config.randomAccess);
  return distance > 0 && state.frameNumber % distance == 0;
}

// The low bytes of the integers of all channels, interleaved.
template <int kWidth>
void WriteSamples(const AlsState& state, int32_t samples, uint8_t* output) {
  const int32_t channels = state.config.channels;
  for (int32_t c = 0; c < channels; ++c) {
    const int32_t* from = AlsChannel(state, c);
    uint8_t* to = output + static_cast<int64_t>(state.position[c]) * kWidth;
    for (int32_t n = 0; n < samples; ++n) {
      const uint32_t value = static_cast<uint32_t>(from[n]) + (kWidth == 1 ? 128U : 0U);
      std::memcpy(to + static_cast<int64_t>(n) * channels * kWidth, &value, kWidth);
    }
  }
}

// Two channels of 16 bits, which most streams have.
void WriteStereo(const AlsState& state, int32_t samples, uint8_t* output) {
  const int32_t* first = AlsChannel(state, state.position[0]);
  const int32_t* second = AlsChannel(state, state.position[1]);
  for (int32_t n = 0; n < samples; ++n) {
    const uint32_t pair =
        static_cast<uint32_t>(second[n]) << 16 | (static_cast<uint32_t>(first[n]) & 0xFFFF);
    std::memcpy(output + 4 * static_cast<int64_t>(n), &pair, sizeof pair);
  }
}

void WriteIntegers(const AlsState& state, int32_t samples, uint8_t* output) {
  switch (state.config.resolution) {
    case 0:
      return WriteSamples<1>(state, samples, output);
    case 1:
      if (state.config.channels == 2) return WriteStereo(state, samples, output);
      return WriteSamples<2>(state, samples, output);
    case 2:
      return WriteSamples<3>(state, samples, output);
    default:
      return WriteSamples<4>(state, samples, output);
  }
}

// Reads the integers, and the size of the unit where the frame has it.
bool ReadIntegers(AlsState* state, bool randomAccess, int32_t samples, AlsBits* bits) {
  const AlsConfig& config = state->config;
  if (config.mcCoding == 0) return AlsReadChannels(state, randomAccess, samples, bits);
  bool pairs = false;
  if (config.jointStereo != 0) {
    pairs = bits->Flag();
    bits->Align();
  }
  return pairs ? AlsReadChannels(state, randomAccess, samples, bits)
               : AlsReadCorrelated(state, randomAccess, samples, bits);
}

// Which of the two a frame that could not be read is.
int32_t CutOrBad(const AlsBits& bits, bool whole, uint64_t frameBytes) {
  if (whole || !(bits.passed || bits.IsPast())) return kAlsBad;
  return bits.size > kMostExpansion * frameBytes + kLeastPatience ? kAlsBad : kAlsCut;
}

void UpdateChecksum(AlsState* state, const uint8_t* output, uint64_t bytes) {
  const AlsConfig& config = state->config;
  if (config.crcEnabled == 0) return;
  state->crc = config.msbFirst != 0
                   ? AlsCrcSwapped(state->crc, output, bytes, config.bitsPerSample / 8)
                   : AlsCrc(state->crc, output, bytes);
  if (state->checksum == kAlsChecksumBad) return;
  const bool equal = ~state->crc == config.crc;
  // Without a known end any frame may be the last one.
  if (config.samples == kAlsSamplesUnknown)
    state->checksum = equal ? kAlsChecksumGood : kAlsChecksumUnknown;
  else if (AlsFrameSamples(config, state->frameNumber + 1) == 0)
    state->checksum = equal ? kAlsChecksumGood : kAlsChecksumBad;
}

void CountFrames(AlsState* state, uint32_t frames) {
  for (; frames > 0; --frames) {
    state->samplesDone += static_cast<uint64_t>(AlsFrameSamples(state->config, state->frameNumber));
    ++state->frameNumber;
  }
}

// Makes the end of the frame the past of the next one.
void Advance(AlsState* state, int32_t samples) {
  const auto bytes = static_cast<size_t>(state->history) * sizeof *state->samples;
  for (int32_t c = 0; bytes > 0 && c < state->config.channels; ++c) {
    int32_t* past = ChannelPast(*state, c);
    std::memmove(past, past + samples, bytes);
  }
  CountFrames(state, 1);
}

uint64_t FrameBytes(const AlsState& state, int32_t samples) {
  return static_cast<uint64_t>(samples) * static_cast<uint64_t>(state.config.channels) *
         static_cast<uint64_t>(state.config.bitsPerSample / 8);
}

// Before the first frame of a random-access unit: its size, where that is known.
void ReadUnitSize(AlsState* state, AlsBits* bits) {
  const AlsConfig& config = state->config;
  state->unitKnown = 0;
  if (config.unitSizes == kUnitSizesInFrames) {
    state->unitLeft = uint64_t{bits->Get(32)} + 4;
    state->unitKnown = 1;
  } else if (config.unitSizes == kUnitSizesInConfig) {
    state->unitLeft = state->units[state->frameNumber / static_cast<uint32_t>(config.randomAccess)];
    state->unitKnown = state->unitLeft > 0 ? 1 : 0;
  }
}

// Whether a unit of known size would go on where `left` bytes of it are left, or end.
bool FitsUnit(const AlsState& state, uint64_t left) {
  const uint32_t next = state.frameNumber + 1;
  const bool last = next % static_cast<uint32_t>(state.config.randomAccess) == 0 ||
                    AlsFrameSamples(state.config, next) == 0;
  return last == (left == 0);
}

// One frame from `data`. The state goes on only with kAlsGood.
int32_t DecodeFrame(AlsState* state, const uint8_t* data, uint64_t size, bool whole,
                    uint8_t* output, uint64_t* consumed) {
  const AlsConfig& config = state->config;
  const int32_t samples = AlsFrameSamples(config, state->frameNumber);
  const uint64_t bytes = FrameBytes(*state, samples);
  const bool randomAccess = IsRandomAccess(*state);
  AlsBits bits = {data, size};
  if (randomAccess) ReadUnitSize(state, &bits);
  if (state->unitKnown != 0 && state->unitLeft <= size && !bits.IsPast()) {
    size = state->unitLeft;
    bits.size = size;
    whole = true;
  }
  if (state->lost != kAlsNothingLost && (state->lost == kAlsAllLost || !randomAccess))
    return kAlsBad;
  if (!ReadIntegers(state, randomAccess, samples, &bits) || bits.IsPast())
    return CutOrBad(bits, whole, bytes);
  // Zeros may have stood for bits that are still to come; at the end of the stream they
  // are as they should be.
  if (bits.passed && !whole && config.samples != kAlsSamplesUnknown &&
      AlsFrameSamples(config, state->frameNumber + 1) > 0)
    return kAlsCut;
  if (config.floating != 0) {
    bits.Align();
    const uint64_t part = bits.Get(32);
    const uint64_t at = bits.position / 8;
    if (at > size || part > size - at) {
      bits.passed = true;
      return CutOrBad(bits, whole, bytes);
    }
    if (randomAccess) AlsFloatReset(state);
    AlsBits floats = {data + at, part};
    if (!AlsReadFloats(state, samples, &floats, output)) return kAlsBad;
    bits.position += part * 8;
  } else {
    WriteIntegers(*state, samples, output);
  }
  bits.Align();
  *consumed = bits.position / 8;
  if (state->unitKnown != 0) {
    if (!FitsUnit(*state, state->unitLeft - *consumed)) return kAlsBad;
    state->unitLeft -= *consumed;
  }
  state->lost = kAlsNothingLost;
  UpdateChecksum(state, output, bytes);
  Advance(state, samples);
  return kAlsGood;
}

// The frames from the present one to the next random-access frame or the end, or
// just the present one where that is not known.
uint32_t FramesLost(const AlsState& state) {
  const auto distance = static_cast<uint32_t>(state.config.randomAccess);
  uint32_t frames = distance == 0 ? 1 : distance - state.frameNumber % distance;
  while (frames > 1 && AlsFrameSamples(state.config, state.frameNumber + frames - 1) == 0) --frames;
  return frames;
}

// Gives up the frames that cannot be decoded any more: silence for them as far as
// there is room, which is at least for one.
void LoseFrames(AlsState* state, uint8_t* output, uint64_t room, AlsOutput* result) {
  const uint64_t before = state->samplesDone;
  CountFrames(state, FramesLost(*state));
  const auto lost = static_cast<uint32_t>(state->samplesDone - before);
  const uint64_t frame = FrameBytes(*state, 1);
  const uint64_t bytes = std::min(lost * frame, room / frame * frame);
  std::memset(output, state->config.resolution == 0 ? 128 : 0, bytes);
  result->bytes += bytes;
  result->samples += lost;
  for (int32_t c = 0; state->history > 0 && c < state->config.channels; ++c)
    std::fill_n(ChannelPast(*state, c), state->history, 0);
  state->checksum = state->config.crcEnabled != 0 ? kAlsChecksumBad : kAlsChecksumUnknown;
}

}  // namespace

int32_t AlsMemorySize(const AlsConfig& config, uint64_t* size) {
  if (config.rlslms != 0) return kAlsUnsupported;
  AlsState state = {};
  state.config = config;
  *size = Place(&state, nullptr);
  return *size > kAlsMemoryLimit ? kAlsNoMemory : kAlsGood;
}

void AlsInit(AlsState* state, const AlsConfig& config, uint8_t* memory) {
  *state = AlsState{};
  state->config = config;
  Place(state, memory);
  const int32_t blocks = config.mcCoding != 0 ? config.channels : 1;
  for (int32_t i = 0; i < blocks; ++i) {
    state->blocks[i] = AlsBlock{};
    state->blocks[i].quantised = state->quantised + int64_t{i} * state->history;
  }
  const int32_t bits = AlsChannelBits(config.channels);
  BitReader positions = config.positions;
  for (int32_t c = 0; c < config.channels; ++c) {
    const bool sorted = config.chanSort != 0 && bits > 0;
    state->position[c] = sorted ? static_cast<int32_t>(GetBits(&positions, bits)) : c;
  }
  state->config.positions = BitReader{};
  BitReader units = config.units;
  for (uint32_t i = 0; i < config.unitCount; ++i) state->units[i] = GetBits(&units, 32);
  state->config.units = BitReader{};
  if (state->history > 0) std::fill_n(state->work, state->history, 0);
  AlsReset(state);
}

void AlsReset(AlsState* state) {
  state->frameNumber = 0;
  state->samplesDone = 0;
  state->crc = kAlsCrcStart;
  state->checksum = kAlsChecksumUnknown;
  state->lost = kAlsNothingLost;
  state->skip = 0;
  state->unitKnown = 0;
  state->unitOpen = 0;
  for (int32_t c = 0; state->history > 0 && c < state->config.channels; ++c)
    std::fill_n(ChannelPast(*state, c), state->history, 0);
  if (state->config.floating != 0) AlsFloatReset(state);
}

bool AlsEnded(const AlsState& state) {
  return AlsFrameSamples(state.config, state.frameNumber) == 0;
}

int32_t AlsDecode(AlsState* state, const uint8_t* data, uint64_t size, bool unit, uint8_t* output,
                  uint64_t room, AlsOutput* result) {
  *result = AlsOutput{};
  if (AlsEnded(*state)) {
    if (unit) result->consumed = size;
    return kAlsCut;
  }
  // What is left of a unit that was given up.
  const uint64_t skipped = std::min(state->skip, size);
  state->skip -= skipped;
  result->consumed = skipped;
  const bool opened = unit && state->unitOpen != 0;
  state->unitOpen = 0;
  if (skipped == size && !unit) return kAlsCut;
  for (;;) {
    const int32_t samples = AlsFrameSamples(state->config, state->frameNumber);
    const uint64_t bytes = FrameBytes(*state, samples);
    if (bytes > room - result->bytes) {
      state->unitOpen = unit && (opened || result->bytes > 0) ? 1 : 0;
      return result->bytes == 0 ? kAlsNoRoom : kAlsGood;
    }
    const uint64_t left = size - result->consumed;
    uint64_t consumed = 0;
    const int32_t status =
        DecodeFrame(state, data + result->consumed, left, unit, output + result->bytes, &consumed);
    if (status == kAlsCut) return kAlsCut;
    const bool goesOn = unit && (opened || result->bytes > 0);
    if (status == kAlsBad && goesOn && IsRandomAccess(*state)) {
      // The unit has ended in front of this frame: these bytes are none.
      result->consumed = size;
      return result->bytes > 0 ? kAlsGood : kAlsCut;
    }
    if (status == kAlsBad) {
      LoseFrames(state, output + result->bytes, room - result->bytes, result);
      const bool resumable = unit || state->unitKnown != 0;
      state->lost = resumable ? kAlsUnitLost : kAlsAllLost;
      if (unit || !resumable || state->unitLeft > left) {
        if (!unit && resumable) state->skip = state->unitLeft - left;
        result->consumed = size;
      } else {
        result->consumed += state->unitLeft;
      }
      return kAlsBad;
    }
    result->consumed += consumed;
    result->bytes += bytes;
    result->samples += static_cast<uint32_t>(samples);
    if (unit && AlsEnded(*state)) result->consumed = size;
    if (!unit || result->consumed == size) return kAlsGood;
  }
}

}  // namespace orbel
