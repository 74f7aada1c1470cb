// The configuration of a lossless stream: ALSSpecificConfig of ISO/IEC 14496-3,
// subpart 11.
#pragma once

#include <cstdint>

#include "aac/bit_reader.h"

namespace orbel {

constexpr uint32_t kAlsSamplesUnknown = 0xFFFFFFFFU;

struct AlsConfig {
  int32_t samplingFrequency;  // hertz, above 0
  uint32_t samples;           // per channel, or kAlsSamplesUnknown
  int32_t channels;           // 1 to 65536
  int32_t fileType;           // of the original: 0 raw, 1 WAV, 2 AIFF, 3 BWF
  int32_t resolution;         // 0 to 3: 8, 16, 24, 32 bits
  int32_t bitsPerSample;      // the same in bits
  int32_t floating;           // samples are IEEE 754 single floats; 32 bits then
  int32_t msbFirst;           // byte order of the original, which the checksum is taken over
  int32_t frameLength;        // samples per channel, 1 to 65536
  int32_t randomAccess;       // frames from one random-access frame to the next; 0: none
  int32_t unitSizes;          // where those of random-access units are: 1 frames, 2 here
  int32_t adaptOrder;
  int32_t coefTable;
  int32_t longTerm;
  int32_t maxOrder;        // 0 to 1023
  int32_t blockSwitching;  // 0 off; 1, 2, 3: up to 3, 4, 5 levels
  int32_t bgmc;
  int32_t sbPart;
  int32_t jointStereo;
  int32_t mcCoding;
  int32_t chanConfig;  // the 16-bit word, or -1
  int32_t chanSort;
  int32_t crcEnabled;
  uint32_t crc;
  int32_t rlslms;  // the adaptive predictor is used: parsed, not decoded
  int32_t auxEnabled;
  uint32_t headerSize;  // bytes of the original file in front of the samples; not kept
  uint32_t trailerSize;
  BitReader positions;  // with chanSort: stands before the first chan_pos, in borrowed bytes
  uint32_t unitCount;   // with unitSizes 2: random-access units
  BitReader units;      // likewise before the size of the first, 32 bits each
};

// Samples per channel of frame `number`, from 0: frameLength but for the last one,
// and 0 behind the end of the stream.
int32_t AlsFrameSamples(const AlsConfig& config, uint32_t number);

// Bits of each chan_pos, and of each channel number in a frame.
int32_t AlsChannelBits(int32_t channels);

constexpr int32_t kAlsConfigBad = -1;
constexpr int32_t kAlsConfigCut = -2;  // the data ends before the configuration does

// Parses what follows the magic word, up to the first frame. Returns 0,
// kAlsConfigBad for fields that no stream has, or kAlsConfigCut.
int32_t AlsConfigParse(AlsConfig* config, BitReader* reader);

}  // namespace orbel
