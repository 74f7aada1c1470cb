// A plain lossless encoder: Rice codes and every choice at random, so that frames
// hold what no real encoder writes.
#pragma once

#include <cstdint>
#include <vector>

namespace orbel::als_test {

using Bytes = std::vector<uint8_t>;

// The fields of the configuration record, under the standard's values.
struct Format {
  uint32_t rate = 44100, samples = 0, channels = 1, resolution = 1, frameLength = 1024;
  uint32_t randomAccess = 0, raFlag = 0, coefTable = 3, maxOrder = 10, blockSwitching = 0;
  bool floating = false, msbFirst = false, adaptOrder = false, ltp = false, bgmc = false;
  bool sbPart = false, jointStereo = false, mcCoding = false, crc = true, rlslms = false;
  bool unknownLength = false;
  std::vector<uint32_t> chanPos;  // of each coded channel; empty: not sent
  std::vector<uint32_t> unitSizes;
  uint32_t checksum = 0;
  bool tuned = false;  // as a real encoder would choose, in place of chance
};

struct Stream {
  Bytes config;               // the record
  std::vector<Bytes> frames;  // with the unit sizes in front where they belong
  Bytes pcm;                  // as the decoder should give it

  Bytes Whole() const;
  // Every `frames` frames in one; 0: all.
  std::vector<Bytes> Units(uint32_t count) const;
};

Bytes WriteConfig(const Format& format);

// The record as a configuration of object type 36.
Bytes AsAudioSpecificConfig(uint32_t rate, const Bytes& record);

// `pcm` is interleaved in output order. Throws when a residual does not fit into
// 32 bits, which choices of order above 0 can lead to.
Stream Encode(Format format, const std::vector<int32_t>& pcm, uint32_t seed);

}  // namespace orbel::als_test
