// One decoder's life on a fuzzer's input: parameters, then a stream of its own
// headers in pieces, or a configuration and access units.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

#include "aac/aac_decoder.h"
#include "input.h"

// What the decoder said and made, in one number.
inline uint64_t MixIn(uint64_t hash, const void* data, size_t size) {
  const auto* bytes = static_cast<const uint8_t*>(data);
  for (size_t i = 0; i < size; ++i) hash = (hash ^ bytes[i]) * 1099511628211ULL;
  return hash;
}

constexpr size_t kMostFrames = 64;

// One for all runs: taking two megabytes from the heap each time is most of the
// work otherwise, and memory that has been in use catches reads of what nobody set.
inline UMC::DefaultMemoryAllocator& SharedAllocator() {
  static UMC::DefaultMemoryAllocator allocator;
  return allocator;
}

// Runs GetFrame on what is left of the input bytes until it asks for more.
inline uint64_t RunPiece(UMC::AACDecoder& decoder, std::vector<uint8_t>& bytes, uint32_t room,
                         uint64_t hash, size_t* frames) {
  UMC::MediaData in;
  in.SetBufferPointer(bytes.data(), bytes.size());
  in.SetDataSize(bytes.size());
  while (*frames < kMostFrames) {
    ++*frames;
    const auto pcm = std::make_unique<int16_t[]>(room / 2 + 1);
    UMC::AudioData out;
    out.SetBufferPointer(reinterpret_cast<uint8_t*>(pcm.get()), room);
    const uint64_t before = in.GetDataSize();
    const UMC::Status status = decoder.GetFrame(&in, &out);
    hash = MixIn(hash, &status, sizeof status);
    hash = MixIn(hash, out.GetDataPointer(), out.GetDataSize());
    if (status == UMC::UMC_ERR_NOT_ENOUGH_BUFFER) {
      room = 65536;
      continue;
    }
    if (in.GetDataSize() == 0 || in.GetDataSize() >= before) break;
  }
  bytes.erase(bytes.begin(), bytes.end() - static_cast<ptrdiff_t>(in.GetDataSize()));
  bytes.shrink_to_fit();
  return hash;
}

inline uint64_t RunDecoder(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  const auto flags = input.Take<uint8_t>();
  const bool units = (flags & 1) != 0;
  UMC::AACDecoderParams params;
  params.sbrMode = (flags & 2) != 0 ? 28 : 18;
  params.sbrDownsample = (flags & 4) != 0 ? 0 : 1;
  params.sbrSupportLevel = (flags & 8) != 0 ? 0 : 777;
  params.psSupportLevel = (flags & 16) != 0 ? 411 : 0;
  params.layer = -1;
  params.memoryAllocator = &SharedAllocator();
  const uint32_t room = (flags & 32) != 0 ? 2048 : 65536;
  std::vector<uint8_t> configuration;
  UMC::MediaData configurationData;
  if (units) {
    configuration = input.Bytes(input.Take<uint8_t>());
    configurationData.SetBufferPointer(configuration.data(), configuration.size());
    configurationData.SetDataSize(configuration.size());
    params.data = &configurationData;
    params.inputStreamType = UMC::kStreamUnits;
  }
  UMC::AACDecoder decoder;
  const UMC::Status status = decoder.Init(&params);
  uint64_t hash = MixIn(14695981039346656037ULL, &status, sizeof status);
  size_t frames = 0;
  std::vector<uint8_t> left;
  while (!input.Empty() && frames < kMostFrames) {
    const size_t count = input.Take<uint16_t>();
    if (units) {
      // A unit has to end where its bytes do.
      std::vector<uint8_t> unit = input.Bytes(std::min(count, input.Left()));
      hash = RunPiece(decoder, unit, room, hash, &frames);
    } else {
      const std::vector<uint8_t> more = input.Bytes(std::min(count, input.Left()));
      left.insert(left.end(), more.begin(), more.end());
      left.shrink_to_fit();
      hash = RunPiece(decoder, left, room, hash, &frames);
      if (count == 0xFFF) decoder.Reset();
    }
  }
  UMC::AudioCodecParams info;
  const UMC::Status told = decoder.GetInfo(&info);
  return MixIn(hash, &told, sizeof told);
}
