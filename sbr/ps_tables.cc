#include "sbr/ps_tables.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace orbel {
namespace {

constexpr double kPi = std::numbers::pi;

// Prototype filters of the hybrid bank, from the middle outwards.
using Prototype = double[7];
constexpr Prototype kEightOf20 = {0.125,
                                  0.11793710567217,
                                  0.09885108575264,
                                  0.07266113929591,
                                  0.04546865930473,
                                  0.02270420949825,
                                  0.00746082949812};
constexpr Prototype kTwoOf20 = {0.5, 0.30596630545168, 0, -0.07293139167538,
                                0,   0.01899487526049, 0};
constexpr Prototype kTwelveOf34 = {0.08333333333333, 0.08100347892914, 0.07428313801106,
                                   0.06399831151592, 0.05144908135699, 0.03812810994926,
                                   0.04081179924692};
constexpr Prototype kEightOf34 = {0.125,
                                  0.12222452249753,
                                  0.10307344158036,
                                  0.08417044116767,
                                  0.05417891378782,
                                  0.03752716391991,
                                  0.01565675600122};
constexpr Prototype kFourOf34 = {0.25, 0.23279856662996,  0.16486303567403, 0.07778723915851,
                                 0,    -0.04871498374946, -0.05908211155639};

constexpr int32_t kSplitBands[2] = {10, 32};
constexpr int32_t kDecayCutoff[2] = {10, 32};  // in bands, split ones counted
constexpr double kDecaySlope = 0.05;
constexpr double kRotation = 0.39;
constexpr double kLinkRotation[3] = {0.43, 0.75, 0.347};
constexpr double kLinkCoefficient[3] = {0.65143905753106, 0.56471812200776, 0.48954165955695};
constexpr int32_t kFirstLongDelay = 23;  // QMF band

constexpr int32_t kIidDefault[8] = {0, 2, 4, 7, 10, 14, 18, 25};  // dB
constexpr int32_t kIidFine[16] = {0, 2, 4, 6, 8, 10, 13, 16, 19, 22, 25, 30, 35, 40, 45, 50};
constexpr double kIcc[8] = {1, 0.937, 0.84118, 0.60092, 0.36764, 0, -0.589, -1};

struct Complex {
  double real, imag;
};

Complex Turn(double angle) { return {std::cos(angle), std::sin(angle)}; }

// Lanes `lane` and following hold filters 0 to count - 1 of a split into `parts`.
void FillSplit(float* vector, int lane, int first, int count, int parts, const Prototype& g) {
  for (int q = first; q < first + count; ++q, ++lane) {
    for (int m = 0; m < 7; ++m) {
      const Complex turn = Turn(2 * kPi / parts * (q + 0.5) * m);
      vector[4 * m + lane] = static_cast<float>(g[m] * turn.real);
      vector[28 + 4 * m + lane] = static_cast<float>(g[m] * turn.imag);
    }
  }
}

void PutTurn(float* pair, int lane, double angle) {
  const Complex turn = Turn(angle);
  pair[lane] = static_cast<float>(turn.real);
  pair[4 + lane] = static_cast<float>(turn.imag);
}

// The filter of one band; `band` counts split bands too.
void FillAllPass(float* filters, int lane, int band, int configuration, double centre) {
  float* const vector = filters + lane / 4 * kDspPsAllPassFloats;
  const double decay = std::clamp(1 - kDecaySlope * (band - kDecayCutoff[configuration]), 0.0, 1.0);
  PutTurn(vector, lane % 4, -kPi * kRotation * centre);
  for (int m = 0; m < 3; ++m) {
    float* const link = vector + 8 + 12 * m;
    PutTurn(link, lane % 4, -kPi * kLinkRotation[m] * centre);
    link[8 + lane % 4] = static_cast<float>(kLinkCoefficient[m] * decay);
  }
}

void FillMatrix(float* ra, float* rb, double decibels, double correlation) {
  const double c = std::pow(10.0, decibels / 20);
  const double root2 = std::numbers::sqrt2;
  {
    const double c1 = std::sqrt(2 / (1 + c * c));
    const double c2 = c * c1;
    const double a = std::acos(correlation) / 2;
    const double b = a * (c1 - c2) / root2;
    ra[0] = static_cast<float>(c2 * std::cos(b + a));
    ra[1] = static_cast<float>(c1 * std::cos(b - a));
    ra[2] = static_cast<float>(c2 * std::sin(b + a));
    ra[3] = static_cast<float>(c1 * std::sin(b - a));
  }
  const double rho = std::max(correlation, 0.05);
  double a = decibels == 0 ? kPi / 4 : std::atan(2 * c * rho / (c * c - 1)) / 2;
  if (a < 0) a += kPi / 2;
  const double spread = c + 1 / c;
  const double mu = std::sqrt(1 + (4 * rho * rho - 4) / (spread * spread));
  const double g = std::atan(std::sqrt((1 - mu) / (1 + mu)));
  rb[0] = static_cast<float>(root2 * std::cos(a) * std::cos(g));
  rb[1] = static_cast<float>(root2 * std::sin(a) * std::cos(g));
  rb[2] = static_cast<float>(-root2 * std::sin(a) * std::sin(g));
  rb[3] = static_cast<float>(root2 * std::cos(a) * std::sin(g));
}

struct MadeTables : PsTables {
  MadeTables() : PsTables{} {
    FillSplit(split20, 0, 0, 4, 8, kEightOf20);
    constexpr int kTaps[4] = {0, 1, 3, 5};
    for (int i = 0; i < 4; ++i)
      split20[kDspPsFilterFloats + i] = static_cast<float>(kTwoOf20[kTaps[i]]);
    FillSplit(split34, 0, 0, 4, 12, kTwelveOf34);
    FillSplit(split34 + kDspPsFilterFloats, 0, 4, 2, 12, kTwelveOf34);
    FillSplit(split34 + 2 * kDspPsFilterFloats, 0, 0, 4, 8, kEightOf34);
    FillSplit(split34 + 3 * kDspPsFilterFloats, 0, 0, 2, 4, kFourOf34);
    FillSplit(split34 + 3 * kDspPsFilterFloats, 2, 0, 2, 4, kFourOf34);
    FillSplit(split34 + 4 * kDspPsFilterFloats, 0, 0, 2, 4, kFourOf34);

    for (int way = 0; way < 2; ++way) {
      for (int k = 0; k < kSplitBands[way]; ++k)
        FillAllPass(allPassSplit[way], k, k, way, kPsConfigurations[way].centre[k] / 24.0);
      const int unsplit = kPsConfigurations[way].splitQmfBands;
      for (int qmf = unsplit; qmf < kFirstLongDelay; ++qmf)
        FillAllPass(allPassQmf[way], qmf, kSplitBands[way] + qmf - unsplit, way, qmf + 0.5);
    }

    for (int fine = 0; fine < 2; ++fine) {
      const int largest = kPsLargestIid[fine];
      for (int index = -largest; index <= largest; ++index) {
        const int decibels = fine != 0 ? kIidFine[std::abs(index)] : kIidDefault[std::abs(index)];
        const int row = PsIidRow(fine != 0, index);
        for (int icc = 0; icc <= kPsLargestIcc; ++icc) {
          FillMatrix(matrices[0][row][icc], matrices[1][row][icc], index < 0 ? -decibels : decibels,
                     kIcc[icc]);
        }
      }
    }

    for (int i = 0; i < 512; ++i) {
      const Complex newest = Turn(kPi / 4 * (i >> 6));
      const Complex before = Turn(kPi / 4 * (i >> 3 & 7));
      const Complex oldest = Turn(kPi / 4 * (i & 7));
      const double real = newest.real + before.real / 2 + oldest.real / 4;
      const double imag = newest.imag + before.imag / 2 + oldest.imag / 4;
      const double length = std::hypot(real, imag);  // 1/4 at least
      phases[i][0] = static_cast<float>(real / length);
      phases[i][1] = static_cast<float>(imag / length);
    }
  }
};

}  // namespace

constexpr PsConfiguration kPsConfigurations[2] = {
    {{20, 12, 8, 12, {1, 0, 0, 1, 2, 3, 4, 5, 6, 7}, {3, 4, 5, 6, 7, 8, 9, 11, 14, 18, 23, 35, 64}},
     3,
     {6, 2, 2},
     {1, 1},
     {-9, -3, 3, 9, 15, 21, 30, 42, 54, 66}},
    {{34,
      32,
      16,
      18,
      {0, 1, 2, 3, 4,  5,  6,  6, 7,  2,  1,  0,  10, 10, 4,  5,
       6, 7, 8, 9, 10, 11, 12, 9, 14, 11, 12, 13, 14, 15, 16, 13},
      {5, 6, 7, 8, 9, 10, 11, 13, 15, 17, 19, 21, 24, 27, 30, 33, 37, 41, 64}},
     5,
     {12, 8, 4, 4, 4},
     {0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1},
     {2,  6,  10, 14, 18, 22, 26, 30, 34,  -10, -6, -2, 51,  57,  15,  21,
      27, 33, 39, 45, 54, 66, 78, 42, 102, 66,  78, 90, 102, 114, 126, 90}},
};

static const MadeTables madeTables;
const PsTables& kPsTables = madeTables;

}  // namespace orbel
