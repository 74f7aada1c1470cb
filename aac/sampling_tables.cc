#include "aac/sampling_tables.h"

#include "aac/channel_stream.h"

namespace orbel {
namespace {

constexpr int32_t kFrequencies[kSamplingIndexCount] = {
    96000, 88200, 64000, 48000, 44100, 32000, 24000, 22050, 16000, 12000, 11025, 8000, 7350};

// The least frequency, in hertz, that still counts as the index.
constexpr int32_t kLeastFrequencies[] = {92017, 75132, 55426, 46009, 37566, 27713,
                                         23004, 18783, 13856, 11502, 9391,  0};

// Band borders, in lines, named by the first frequency that has them.
// clang-format off
constexpr int32_t kLong96000[] = {
    0, 4, 8, 12, 16, 20, 24, 28, 32, 36, 40, 44, 48, 52, 56, 64, 72, 80, 88, 96, 108, 120,
    132, 144, 156, 172, 188, 212, 240, 276, 320, 384, 448, 512, 576, 640, 704, 768, 832,
    896, 960, 1024};
constexpr int32_t kLong64000[] = {
    0, 4, 8, 12, 16, 20, 24, 28, 32, 36, 40, 44, 48, 52, 56, 64, 72, 80, 88, 100, 112, 124,
    140, 156, 172, 192, 216, 240, 268, 304, 344, 384, 424, 464, 504, 544, 584, 624, 664,
    704, 744, 784, 824, 864, 904, 944, 984, 1024};
constexpr int32_t kLong48000[] = {
    0, 4, 8, 12, 16, 20, 24, 28, 32, 36, 40, 48, 56, 64, 72, 80, 88, 96, 108, 120, 132, 144,
    160, 176, 196, 216, 240, 264, 292, 320, 352, 384, 416, 448, 480, 512, 544, 576, 608,
    640, 672, 704, 736, 768, 800, 832, 864, 896, 928, 1024};
constexpr int32_t kLong32000[] = {
    0, 4, 8, 12, 16, 20, 24, 28, 32, 36, 40, 48, 56, 64, 72, 80, 88, 96, 108, 120, 132, 144,
    160, 176, 196, 216, 240, 264, 292, 320, 352, 384, 416, 448, 480, 512, 544, 576, 608,
    640, 672, 704, 736, 768, 800, 832, 864, 896, 928, 960, 992, 1024};
constexpr int32_t kLong24000[] = {
    0, 4, 8, 12, 16, 20, 24, 28, 32, 36, 40, 44, 52, 60, 68, 76, 84, 92, 100, 108, 116, 124,
    136, 148, 160, 172, 188, 204, 220, 240, 260, 284, 308, 336, 364, 396, 432, 468, 508,
    552, 600, 652, 704, 768, 832, 896, 960, 1024};
constexpr int32_t kLong16000[] = {
    0, 8, 16, 24, 32, 40, 48, 56, 64, 72, 80, 88, 100, 112, 124, 136, 148, 160, 172, 184,
    196, 212, 228, 244, 260, 280, 300, 320, 344, 368, 396, 424, 456, 492, 532, 572, 616,
    664, 716, 772, 832, 896, 960, 1024};
constexpr int32_t kLong8000[] = {
    0, 12, 24, 36, 48, 60, 72, 84, 96, 108, 120, 132, 144, 156, 172, 188, 204, 220, 236,
    252, 268, 288, 308, 328, 348, 372, 396, 420, 448, 476, 508, 544, 580, 620, 664, 712,
    764, 820, 880, 944, 1024};
constexpr int32_t kShort96000[] = {
    0, 4, 8, 12, 16, 20, 24, 32, 40, 48, 64, 92, 128};
constexpr int32_t kShort48000[] = {
    0, 4, 8, 12, 16, 20, 28, 36, 44, 56, 68, 80, 96, 112, 128};
constexpr int32_t kShort24000[] = {
    0, 4, 8, 12, 16, 20, 24, 28, 36, 44, 52, 64, 76, 92, 108, 128};
constexpr int32_t kShort16000[] = {
    0, 4, 8, 12, 16, 20, 24, 28, 32, 40, 48, 60, 72, 88, 108, 128};
constexpr int32_t kShort8000[] = {
    0, 4, 8, 12, 16, 20, 24, 28, 36, 44, 52, 60, 72, 88, 108, 128};
constexpr int32_t kNoBands[] = {0};
// clang-format on

// TNS_MAX_BANDS; object type 3 has figures of its own.
constexpr int32_t kTnsBandsLong[kSamplingIndexCount] = {31, 31, 34, 40, 42, 51, 46,
                                                        46, 42, 42, 42, 39, 39};
constexpr int32_t kTnsBandsShort[kSamplingIndexCount] = {9,  9,  10, 14, 14, 14, 14,
                                                         14, 14, 14, 14, 14, 14};
constexpr int32_t kTnsBandsLongSsr[kSamplingIndexCount] = {28, 28, 27, 26, 26, 26, 29,
                                                           29, 23, 23, 23, 19, 19};
constexpr int32_t kTnsBandsShortSsr[kSamplingIndexCount] = {7, 7, 7, 6, 6, 6, 7, 7, 8, 8, 8, 7, 7};

}  // namespace

const ScaleFactorBands kLongBands[kSamplingIndexCount] = {
    {41, kLong96000}, {41, kLong96000}, {47, kLong64000}, {49, kLong48000}, {49, kLong48000},
    {51, kLong32000}, {47, kLong24000}, {47, kLong24000}, {43, kLong16000}, {43, kLong16000},
    {43, kLong16000}, {40, kLong8000},  {0, kNoBands},
};

const ScaleFactorBands kShortBands[kSamplingIndexCount] = {
    {12, kShort96000}, {12, kShort96000}, {12, kShort96000}, {14, kShort48000}, {14, kShort48000},
    {14, kShort48000}, {15, kShort24000}, {15, kShort24000}, {15, kShort16000}, {15, kShort16000},
    {15, kShort16000}, {15, kShort8000},  {0, kNoBands},
};

const int32_t kPredictorBands[kSamplingIndexCount] = {33, 33, 38, 40, 40, 40, 41,
                                                      41, 37, 37, 37, 34, 0};

int32_t SamplingFrequency(int32_t index) {
  return index >= 0 && index < kSamplingIndexCount ? kFrequencies[index] : 0;
}

int32_t SamplingIndexOf(int32_t frequency) {
  int32_t index = 0;
  while (kLeastFrequencies[index] > frequency && kLeastFrequencies[index] != 0) ++index;
  return index;
}

void TnsLimits(int32_t index, int32_t objectType, int32_t limits[4]) {
  const bool ssr = objectType == kObjectSsr;
  limits[0] = ssr ? kTnsBandsShortSsr[index] : kTnsBandsShort[index];
  limits[1] = ssr ? kTnsBandsLongSsr[index] : kTnsBandsLong[index];
  limits[2] = 7;
  limits[3] = objectType == kObjectMain || objectType == kObjectLtp ? 20 : 12;
}

int32_t ChannelMask(int32_t channels) {
  constexpr int32_t kMasks[] = {0, 4, 3, 7, 15, 55, 63};
  return channels >= 1 && channels <= 6 ? kMasks[channels] : 0;
}

}  // namespace orbel
