#include "speech/lsp.h"

#include <algorithm>

#include "dsp/primitives.h"
#include "speech/two_word.h"

namespace orbel {

// table2
const int16_t kLspCosine[64] = {
    32767,  32729,  32610,  32413,  32138,  31786,  31357,  30853,  30274,  29622,  28899,
    28106,  27246,  26320,  25330,  24279,  23170,  22006,  20788,  19520,  18205,  16846,
    15447,  14010,  12540,  11039,  9512,   7962,   6393,   4808,   3212,   1608,   0,
    -1608,  -3212,  -4808,  -6393,  -7962,  -9512,  -11039, -12540, -14010, -15447, -16846,
    -18205, -19520, -20788, -22006, -23170, -24279, -25330, -26320, -27246, -28106, -28899,
    -29622, -30274, -30853, -31357, -31786, -32138, -32413, -32610, -32729};

// slope_cos
const int16_t kLspCosineSlope[64] = {
    -632,   -1893,  -3150,  -4399,  -5638,  -6863,  -8072,  -9261,  -10428, -11570, -12684,
    -13767, -14817, -15832, -16808, -17744, -18637, -19486, -20287, -21039, -21741, -22390,
    -22986, -23526, -24009, -24435, -24801, -25108, -25354, -25540, -25664, -25726, -25726,
    -25664, -25540, -25354, -25108, -24801, -24435, -24009, -23526, -22986, -22390, -21741,
    -21039, -20287, -19486, -18637, -17744, -16808, -15832, -14817, -13767, -12684, -11570,
    -10428, -9261,  -8072,  -6863,  -5638,  -4399,  -3150,  -1893,  -632};

const int16_t kLspStart[kLpOrder] = {30000, 26000, 21000,  15000,  8000,
                                     0,     -8000, -15000, -21000, -26000};

namespace {

constexpr int kPairs = kLpOrder / 2;

// The product of the polynomials 1 - 2 q z^-1 + z^-2 over every second LSP, Q24.
// It reads the same from both ends: its first half.
void HalfPolynomial(const int16_t* lsp, int32_t (&f)[kPairs + 1]) {
  using namespace fixed;
  f[0] = LMult(4096, 2048);
  f[1] = LMsu(0, lsp[0], 512);
  for (int i = 2; i <= kPairs; ++i) {
    const int16_t q = lsp[2 * (i - 1)];
    f[i] = f[i - 2];
    for (int j = i; j >= 2; --j) {
      const int32_t twice = LShl(Mpy32_16(Split(f[j - 1]), q), 1);
      f[j] = LSub(LAdd(f[j], f[j - 2]), twice);
    }
    f[1] = LMsu(f[1], q, 512);
  }
}

}  // namespace

void LspToFilter(const int16_t* lsp, int16_t* filter) {
  using namespace fixed;
  int32_t sum[kPairs + 1];
  int32_t difference[kPairs + 1];
  HalfPolynomial(lsp, sum);
  HalfPolynomial(lsp + 1, difference);
  filter[0] = 4096;
  for (int i = kPairs; i >= 1; --i) {
    sum[i] = LAdd(sum[i], sum[i - 1]);
    difference[i] = LSub(difference[i], difference[i - 1]);
    filter[i] = Low(LShrR(LAdd(sum[i], difference[i]), 13));
    filter[kLpOrder + 1 - i] = Low(LShrR(LSub(sum[i], difference[i]), 13));
  }
}

void LsfToLsp(const int16_t* lsf, int16_t* lsp) {
  using namespace fixed;
  for (int i = 0; i < kLpOrder; ++i) {
    const int16_t angle = Mult(lsf[i], 20861);  // 2 / pi: 256 to a step of the table
    const int row = std::clamp(angle >> 8, 0, 63);
    const int16_t offset = static_cast<int16_t>(angle & 255);
    lsp[i] = Add(kLspCosine[row], Low(LShr(LMult(kLspCosineSlope[row], offset), 13)));
  }
}

void InterpolateFilters(int16_t* oldLsp, const int16_t* newLsp, int16_t* first, int16_t* second) {
  dspInterpolate_16s(oldLsp, newLsp, oldLsp, kLpOrder);
  LspToFilter(oldLsp, first);
  LspToFilter(newLsp, second);
  dspCopy_16s(newLsp, oldLsp, kLpOrder);
}

}  // namespace orbel
