#include "aac/ssr_tables.h"

namespace orbel {

// clang-format off
constexpr float kSsrPrototype[48] = {
    9.765529101e-05F, 1.380958938e-04F, 9.840074926e-05F, -8.667154478e-05F,
    -4.621799891e-04F, -1.021181410e-03F, -1.677214934e-03F, -2.253333895e-03F,
    -2.498788834e-03F, -2.139081597e-03F, -9.559539745e-04F, 1.117211153e-03F,
    3.909130913e-03F, 6.963570342e-03F, 9.559544216e-03F, 1.081576654e-02F,
    9.877051499e-03F, 6.156256729e-03F, -4.179394606e-04F, -9.212874310e-03F,
    -1.883077587e-02F, -2.722649846e-02F, -3.202284086e-02F, -3.099633253e-02F,
    -2.265685874e-02F, -6.803111386e-03F, 1.508540095e-02F, 3.975099339e-02F,
    6.244536363e-02F, 7.762232775e-02F, 7.996833850e-02F, 6.561549307e-02F,
    3.331365830e-02F, -1.469156306e-02F, -7.230789048e-02F, -1.299322254e-01F,
    -1.755164103e-01F, -1.962654396e-01F, -1.807333067e-01F, -1.209765314e-01F,
    -1.437737076e-02F, 1.352273074e-01F, 3.173785270e-01F, 5.159002180e-01F,
    7.108002038e-01F, 8.809063249e-01F, 1.006832164e+00F, 1.073791495e+00F,
};
// clang-format on

namespace {

// The cosine of output 4i + r has a period of 16 in it and changes its sign after 8;
// in the second half of odd steps it is the negative of what the first half has.
constexpr SsrSynthesisTable MakeSynthesis() {
  SsrSynthesisTable table = {};
  for (int32_t i = 0; i < 24; ++i) {
    for (int32_t r = 0; r < 4; ++r) {
      const int32_t j = 4 * i + r;
      const float q = kSsrPrototype[j < 48 ? j : 95 - j];
      const bool negative = ((i & 2) != 0) != ((i & 1) != 0 && r >= 2);
      table.taps[i][r] = negative ? -q : q;
    }
  }
  return table;
}

}  // namespace

constexpr SsrSynthesisTable kSsrSynthesis = MakeSynthesis();

}  // namespace orbel
