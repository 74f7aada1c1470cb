// Primitives on variable length codes and the spectral values that they carry
// (ISO/IEC 14496-3, subpart 4). General contracts stand in dsp/kernels.h.
#pragma once

#include <cstdint>

#include "dsp/vlc_table.h"

// clang-format off
// Code tables.
//
// GetSize  bytes of the table that Init makes. `levelBits` are the bits that each of the
//          1 to kDspVlcMaxLevels levels looks at: the first 1 to 12, the others 1 to 10,
//          together no less than the longest code, and all but the last no more than 16.
// Init     makes the table at `table`, which has that size and 8-byte alignment.
// Both give -7 for levels or codes out of range, and for a code that is not complete.
//
// Decoding. *bytes and *bitOffset (0 to 7, else -7) say where the next code begins, and are
// moved behind the last one. Bytes from *bytes up to `end` are read and no others; behind
// `end` the stream goes on with zero bits, and the position goes on counting, so that *bytes
// may come out, or be given, behind `end`: a number then, and no place in memory.
//
// One      one code.
// Block    `count` codes into as many packed values. Kind3 and Kind4 do the same; they are
//          there for kinds of books that no book has.
// Quads    `codes` codes of four values each into 4 * codes values. A packed value has
//          `fieldBits` bits a field, 2 or 3 (else -7): the first value is all that lies above
//          the three lower fields, with its sign; the others are their field minus half of
//          its range.
// Pairs    `codes` codes of two values each into 2 * codes values; the first is the upper byte
//          with its sign, the second the lower byte minus 128.
// Escape   `values` values (even, else -6) of spectrum Huffman codebook 11: pairs whose values
//          of magnitude 16 are followed by escape sequences. A sequence of N ones, a zero and
//          N + 4 bits w stands for 2^(N+4) + w, cut to 16 bits when it has more; after 24 ones
//          the next bit is taken for the zero, whatever it is.
//
// Spectral values.
//
// Pow43    the sign of each value times its magnitude to the power 4/3, rounded to nearest.
//          With `flag` 0 there are `count` values, and `offsets` is not looked at; otherwise
//          `count` is a number of bands, and lines offsets[0] up to offsets[count] are done.
// ScaleFactorGain  2^((value - offset) / 4), rounded to nearest: infinity above the range of
//          floats, denormal and then 0 below it.
// MulBands band i is lines offsets[i] up to offsets[i + 1]; each line is multiplied by gains[i].
//          Bands of no or negative width have no lines.
// Dequantize  Pow43 of the values of `bands` bands, times the band's gain. With `large` 0
//          no magnitude may be above 8191.
// Interleave  rounds to the nearest integer, even on a tie, holds at the limits of 16 bits,
//          and makes 0 of what is not a number. `dst` receives channels * length samples.
#define DSP_VLC_KERNELS(X)                                                                    \
  X(dspVlcGetSize,                                                                            \
    (const DspVlcCode* codes, int32_t count, const int32_t* levelBits, int32_t levels,        \
     int32_t* size),                                                                          \
    (codes, count, levelBits, levels, size))                                                  \
  X(dspVlcInit,                                                                               \
    (const DspVlcCode* codes, int32_t count, const int32_t* levelBits, int32_t levels,        \
     DspVlcTable* table),                                                                     \
    (codes, count, levelBits, levels, table))                                                 \
  X(dspVlcDecodeOne,                                                                          \
    (const uint8_t** bytes, int32_t* bitOffset, const uint8_t* end, int32_t* value,           \
     const DspVlcTable* table),                                                               \
    (bytes, bitOffset, end, value, table))                                                    \
  X(dspVlcDecodeBlock,                                                                        \
    (const uint8_t** bytes, int32_t* bitOffset, const uint8_t* end, int16_t* packed,          \
     int32_t count, const DspVlcTable* table),                                                \
    (bytes, bitOffset, end, packed, count, table))                                            \
  X(dspVlcDecodeBlockKind3,                                                                   \
    (const uint8_t** bytes, int32_t* bitOffset, const uint8_t* end, int16_t* packed,          \
     int32_t count, const DspVlcTable* table),                                                \
    (bytes, bitOffset, end, packed, count, table))                                            \
  X(dspVlcDecodeBlockKind4,                                                                   \
    (const uint8_t** bytes, int32_t* bitOffset, const uint8_t* end, int16_t* packed,          \
     int32_t count, const DspVlcTable* table),                                                \
    (bytes, bitOffset, end, packed, count, table))                                            \
  X(dspVlcDecodeQuads_16s,                                                                    \
    (const uint8_t** bytes, int32_t* bitOffset, const uint8_t* end, int16_t* dst,             \
     int32_t codes, int32_t fieldBits, const DspVlcTable* table),                             \
    (bytes, bitOffset, end, dst, codes, fieldBits, table))                                    \
  X(dspVlcDecodePairs_16s,                                                                    \
    (const uint8_t** bytes, int32_t* bitOffset, const uint8_t* end, int16_t* dst,             \
     int32_t codes, const DspVlcTable* table),                                                \
    (bytes, bitOffset, end, dst, codes, table))                                               \
  X(dspVlcDecodeEscape,                                                                       \
    (const uint8_t** bytes, int32_t* bitOffset, const uint8_t* end, int16_t* dst,             \
     int32_t values, const DspVlcTable* table),                                               \
    (bytes, bitOffset, end, dst, values, table))                                              \
  X(dspPow43_16s32f,                                                                          \
    (const int16_t* values, float* lines, int32_t count, const int32_t* offsets,              \
     int32_t flag),                                                                           \
    (values, lines, count, offsets, flag))                                                    \
  X(dspScaleFactorGain_16s32f,                                                                \
    (const int16_t* scaleFactors, int32_t offset, float* gains, int32_t count),               \
    (scaleFactors, offset, gains, count))                                                     \
  X(dspMulBands_32f,                                                                          \
    (float* lines, const float* gains, const int32_t* offsets, int32_t bands),                \
    (lines, gains, offsets, bands))                                                           \
  X(dspDequantize_16s32f,                                                                     \
    (const int16_t* values, const float* gains, const int32_t* offsets, int32_t bands,        \
     int32_t large, float* lines),                                                            \
    (values, gains, offsets, bands, large, lines))                                            \
  X(dspInterleaveFloatTo16s,                                                                  \
    (const float* const* src, int32_t channels, int32_t length, int16_t* dst),                \
    (src, channels, length, dst))
// clang-format on
