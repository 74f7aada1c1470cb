#include "aac/bsac_tables.h"

namespace orbel {
namespace {

// clang-format off

// Scalefactor arithmetic models 1 to 7.
constexpr uint16_t kScalefactor1[] = {
    1874, 973, 333, 0};
constexpr uint16_t kScalefactor2[] = {
    4399, 3559, 2699, 1985, 1146, 570, 212, 0};
constexpr uint16_t kScalefactor3[] = {
    8039, 7263, 6360, 5461, 4629, 3764, 2780, 1858, 1032, 486, 223, 82, 50, 35, 12, 0};
constexpr uint16_t kScalefactor4[] = {
    9487, 8888, 8275, 7659, 6917, 6253, 5599, 4825, 3959, 3073, 2099, 1293, 581, 140, 51, 0};
constexpr uint16_t kScalefactor5[] = {
    2216, 1870, 1593, 1416, 1164, 975, 814, 626, 444, 318, 228, 151, 105, 67, 47, 41, 32, 27,
    24, 21, 18, 15, 13, 12, 10, 9, 7, 6, 4, 3, 1, 0};
constexpr uint16_t kScalefactor6[] = {
    3114, 2463, 2057, 1772, 1539, 1341, 1169, 1038, 916, 778, 677, 601, 514, 444, 368, 307, 258,
    201, 151, 115, 79, 55, 34, 22, 15, 11, 9, 7, 5, 3, 1, 0};
constexpr uint16_t kScalefactor7[] = {
    15198, 14992, 14803, 14460, 14082, 13670, 13223, 12828, 12176, 11506, 10750, 9978, 9188,
    8415, 7693, 6852, 6148, 5530, 4894, 4327, 3675, 3228, 2936, 2593, 2301, 1975, 1717, 1580,
    1373, 1270, 1236, 1099, 910, 738, 669, 566, 549, 498, 463, 429, 412, 377, 360, 343, 326,
    309, 291, 274, 257, 240, 223, 206, 188, 171, 154, 137, 120, 103, 85, 68, 51, 34, 17, 0};

// cband_si arithmetic models 0 to 7.
constexpr uint16_t kCband0[] = {
    16118, 15193, 6930, 4771, 0};
constexpr uint16_t kCband1[] = {
    15697, 13230, 7423, 4023, 2020, 555, 0};
constexpr uint16_t kCband2[] = {
    14919, 10988, 7685, 4918, 3709, 2144, 1504, 1098, 0};
constexpr uint16_t kCband3[] = {
    14014, 10158, 8436, 5961, 5333, 3398, 2771, 2184, 1305, 523, 0};
constexpr uint16_t kCband4[] = {
    14723, 11895, 11011, 7912, 7673, 4871, 4580, 2893, 2380, 1175, 1093, 64, 0};
constexpr uint16_t kCband5[] = {
    12399, 9374, 8022, 6211, 5658, 4141, 3948, 3201, 2802, 1960, 1818, 1108, 1043, 22, 0};
constexpr uint16_t kCband6[] = {
    12719, 8193, 5677, 4734, 3845, 3124, 2959, 2657, 2389, 2085, 2013, 1705, 1672, 1371, 1355,
    759, 408, 119, 16, 12, 8, 4, 0};
constexpr uint16_t kCband7[] = {
    16376, 16368, 16360, 16352, 16343, 16177, 15575, 15305, 12404, 11215, 8987, 5083, 3409,
    1539, 1100, 128, 48, 40, 32, 24, 16, 8, 0};

}  // namespace

const uint16_t* const kBsacScalefactorModels[8] = {
    nullptr,       kScalefactor1, kScalefactor2, kScalefactor3,
    kScalefactor4, kScalefactor5, kScalefactor6, kScalefactor7};

const uint16_t* const kBsacCbandModels[8] = {
    kCband0, kCband1, kCband2, kCband3, kCband4, kCband5, kCband6, kCband7};

// Table of cband_si_type: the longest code and the model.
const BsacCbandType kBsacCbandTypes[32] = {
    {6, 0}, {5, 1}, {6, 0}, {5, 1}, {6, 2}, {6, 0}, {5, 1}, {6, 2}, {5, 3}, {6, 0}, {5, 1},
    {6, 2}, {8, 4}, {6, 0}, {5, 1}, {6, 2}, {8, 4}, {9, 5}, {6, 0}, {5, 1}, {6, 2}, {8, 4},
    {10, 6}, {8, 4}, {10, 6}, {9, 5}, {10, 6}, {10, 6}, {12, 6}, {12, 6}, {12, 6}, {12, 6}};

const uint8_t kBsacSpectralModel[kBsacCbandValues] = {
    0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 9, 10, 9, 10, 9, 9, 9, 9, 9, 9, 9, 9};

const uint16_t kBsacStereoInfoModel[] = {13926, 4096, 1638, 0};
const uint16_t kBsacMsUsedModel[] = {11469, 0};
const uint16_t kBsacNoiseFlagModel[] = {8192, 0};
const uint16_t kBsacNoiseModeModel[] = {12288, 8192, 4096, 0};

// clang-format on

constinit const BsacNoiseEnergyModel kBsacNoiseEnergyModel = []() constexpr {
  BsacNoiseEnergyModel model = {};
  for (int32_t i = 0; i < 512; ++i) model.cumulative[i] = static_cast<uint16_t>(32 * (511 - i));
  return model;
}
();

}  // namespace orbel
