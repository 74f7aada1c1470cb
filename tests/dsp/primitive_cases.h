// One list of runs of the primitives, for the test that compares the processor
// levels and for the benchmark.
#pragma once

#include <cstdint>
#include <cstring>
#include <random>

#include "dsp/primitives.h"
#include "dsp/rows.h"

namespace orbel {

constexpr int kCaseLength = 1024;
constexpr int kCaseRoom = kCaseLength + 64;  // what lies behind must stay as it is

// All that a run reads and writes. Equal before, it has to be equal after, whatever
// the level; so the whole of it is compared as bytes.
struct CaseBuffers {
  int16_t first[kCaseRoom];
  int16_t second[kCaseRoom];
  int16_t out[kCaseRoom];
  uint8_t codes[kCaseRoom];
  uint8_t outCodes[kCaseRoom];
  int16_t filter[11];
  int16_t memory[10];
  int16_t state[6];
  int16_t seed;
  int32_t number;
  G726EncoderState encoder;
  G726DecoderState decoder;

  // Random contents; with `extreme`, most samples are -32768, 32767, 0 or -1.
  void Fill(uint32_t randomSeed, bool extreme) {
    std::memset(static_cast<void*>(this), 0, sizeof *this);
    std::mt19937 random(randomSeed);
    const auto fill = [&random, extreme](int16_t* values, int count) {
      constexpr int16_t kExtremes[] = {-32768, 32767, 0, -1};
      for (int i = 0; i < count; ++i) {
        const uint32_t draw = random();
        values[i] = extreme && (draw & 7) != 0 ? kExtremes[draw >> 8 & 3]
                                               : static_cast<int16_t>(draw >> 16);
      }
    };
    fill(first, kCaseRoom);
    fill(second, kCaseRoom);
    fill(out, kCaseRoom);
    for (int i = 0; i < kCaseRoom; ++i) {
      codes[i] = static_cast<uint8_t>(extreme ? (random() & 1) * 255 : random());
      outCodes[i] = static_cast<uint8_t>(random());
    }
    fill(memory, 10);
    fill(state, 6);
    state[3] &= 0x7FFF;  // lower words of the two-word form
    state[5] &= 0x7FFF;
    seed = static_cast<int16_t>(random());
    fill(filter, 11);
    if (!extreme) {
      for (int16_t& coefficient : filter) coefficient = static_cast<int16_t>(coefficient / 16);
      filter[0] = 4096;
    }
  }
};

struct PrimitiveCase {
  const char* primitive;
  const char* what;
  // Runs the primitive of a level on `length` elements that start `offset` elements
  // into the buffers.
  int32_t (*run)(int level, CaseBuffers& b, int32_t offset, int32_t length);
};

#define RUN(name, what, ...)                                                        \
  {                                                                                 \
#name, what,                                                                    \
        [](int level, [[maybe_unused]] CaseBuffers& b, [[maybe_unused]] int32_t at, \
           [[maybe_unused]] int32_t n) { return name##Row[level](__VA_ARGS__); }    \
  }

// A decoder or encoder of G.726, reset and then run in two pieces, so that the state
// goes through memory.
template <int32_t kMode, int32_t kLaw>
int32_t RunDecoder(int level, CaseBuffers& b, int32_t at, int32_t n) {
  int32_t status = dspDecoderInitG726Row[level](&b.decoder, kMode, kLaw);
  const int32_t half = (n + 1) / 2;
  status += dspDecodeG726_8u16sRow[level](&b.decoder, b.codes + at, b.out + at, half);
  if (half == n) return status;
  return status + dspDecodeG726_8u16sRow[level](&b.decoder, b.codes + at + half, b.out + at + half,
                                                n - half);
}

template <int32_t kMode>
int32_t RunEncoder(int level, CaseBuffers& b, int32_t at, int32_t n) {
  int32_t status = dspEncoderInitG726Row[level](&b.encoder, kMode);
  const int32_t half = (n + 1) / 2;
  status += dspEncodeG726_16s8uRow[level](&b.encoder, b.first + at, b.outCodes + at, half);
  if (half == n) return status;
  return status + dspEncodeG726_16s8uRow[level](&b.encoder, b.first + at + half,
                                                b.outCodes + at + half, n - half);
}

inline constexpr PrimitiveCase kPrimitiveCases[] = {
    RUN(dspCopy_16s, "", b.first + at, b.out + at, n),
    RUN(dspMove_16s, "up by 1", b.out + at, b.out + at + 1, n),
    RUN(dspMove_16s, "down by 3", b.out + at + 3, b.out + at, n),
    RUN(dspZero_16s, "", b.out + at, n),
    RUN(dspZero_8u, "", b.outCodes + at, n),
    RUN(dspMulC_16s_Sfs, "scale 15", b.first + at, -27000, b.out + at, n, 15),
    RUN(dspMulC_16s_Sfs, "scale 0", b.first + at, 3, b.out + at, n, 0),
    RUN(dspMulC_16s_Sfs, "scale 31", b.first + at, -32768, b.out + at, n, 31),
    RUN(dspMulC_16s_ISfs, "scale 14", 32767, b.out + at, n, 14),
    RUN(dspAdd_16s, "", b.first + at, b.second + at, b.out + at, n),
    RUN(dspAdd_16s, "in place", b.out + at, b.second + at, b.out + at, n),
    RUN(dspAdd_16s_ISfs, "scale 0", b.first + at, b.out + at, n, 0),
    RUN(dspAdd_16s_ISfs, "scale 3", b.first + at, b.out + at, n, 3),
    RUN(dspAdd_16s_ISfs, "scale 16", b.first + at, b.out + at, n, 16),
    RUN(dspAddC_16s_I, "", -12345, b.out + at, n),
    RUN(dspRShiftC_16s, "by 3", b.first + at, 3, b.out + at, n),
    RUN(dspRShiftC_16s_I, "by 40", 40, b.out + at, n),
    RUN(dspMax_16s, "", b.first + at, n, b.memory),
    RUN(dspMin_16s, "", b.first + at, n, b.memory),
    RUN(dspALawToLin_8u16s, "", b.codes + at, b.out + at, n),
    RUN(dspMuLawToLin_8u16s, "", b.codes + at, b.out + at, n),
    RUN(dspLinToALaw_16s8u, "", b.first + at, b.outCodes + at, n),
    RUN(dspLinToMuLaw_16s8u, "", b.first + at, b.outCodes + at, n),
    RUN(dspEncoderSizeG726, "", &b.number),
    RUN(dspDecoderSizeG726, "", &b.number),
    {"dspEncoderInitG726", "16 kbit/s", RunEncoder<kG726Mode16k>},
    {"dspEncodeG726_16s8u", "24 kbit/s", RunEncoder<kG726Mode24k>},
    {"dspEncodeG726_16s8u", "32 kbit/s", RunEncoder<kG726Mode32k>},
    {"dspEncodeG726_16s8u", "40 kbit/s", RunEncoder<kG726Mode40k>},
    {"dspDecoderInitG726", "16 kbit/s", RunDecoder<kG726Mode16k, kG726Linear>},
    {"dspDecodeG726_8u16s", "24 kbit/s", RunDecoder<kG726Mode24k, kG726Linear>},
    {"dspDecodeG726_8u16s", "32 kbit/s", RunDecoder<kG726Mode32k, kG726Linear>},
    {"dspDecodeG726_8u16s", "40 kbit/s", RunDecoder<kG726Mode40k, kG726Linear>},
    {"dspDecodeG726_8u16s", "24 kbit/s to A-law", RunDecoder<kG726Mode24k, kG726ALaw>},
    {"dspDecodeG726_8u16s", "32 kbit/s to mu-law", RunDecoder<kG726Mode32k, kG726MuLaw>},
    RUN(dspGaussian_16s, "", &b.seed, b.out + at, n),
    RUN(dspSynthesis_16s, "scale 12", b.filter, b.first + at, b.out + at, n, 12, b.memory),
    RUN(dspSynthesis_16s, "scale 13", b.filter, b.first + at, b.out + at, n, 13, b.memory),
    RUN(dspHighPass_16s_I, "scale 12", b.out + at, n, 12, b.state),
    RUN(dspHighPass_16s_I, "scale 13", b.out + at, n, 13, b.state),
    RUN(dspInterpolate_16s, "", b.first + at, b.second + at, b.out + at, n),
};

#undef RUN

}  // namespace orbel
