#include "aac/reference_filterbank.h"

#include <cmath>
#include <map>
#include <numbers>
#include <utility>

namespace orbel::aac_test {
namespace {

constexpr double kPi = std::numbers::pi;

// The first half of the symmetric prototype of the four-band filter.
constexpr double kPrototype[48] = {
    9.7655291007575512e-05,  1.3809589379038567e-04,  9.8400749256623534e-05,
    -8.6671544782335723e-05, -4.6217998911921346e-04, -1.0211814095158174e-03,
    -1.6772149340010668e-03, -2.2533338951411081e-03, -2.4987888343213967e-03,
    -2.1390815966761882e-03, -9.5595397454597772e-04, 1.1172111530118943e-03,
    3.9091309127348584e-03,  6.9635703420118673e-03,  9.5595442159478339e-03,
    1.0815766540021360e-02,  9.8770514991715300e-03,  6.1562567291327357e-03,
    -4.1793946063629710e-04, -9.2128743097707640e-03, -1.8830775873369020e-02,
    -2.7226498457701823e-02, -3.2022840857588906e-02, -3.0996332527754609e-02,
    -2.2656858741499447e-02, -6.8031113858963354e-03, 1.5085400948280744e-02,
    3.9750993388272739e-02,  6.2445363629436743e-02,  7.7622327748721326e-02,
    7.9968338496132926e-02,  6.5615493068475583e-02,  3.3313658300882690e-02,
    -1.4691563058190206e-02, -7.2307890475334147e-02, -1.2993222541703875e-01,
    -1.7551641029040532e-01, -1.9626543957670528e-01, -1.8073330670215029e-01,
    -1.2097653136035738e-01, -1.4377370758549035e-02, 1.3522730742860303e-01,
    3.1737852699301633e-01,  5.1590021798482233e-01,  7.1080020379761377e-01,
    8.8090632488444798e-01,  1.0068321641150089e+00,  1.0737914947736096e+00};

// cos of all the angles of a transform of n samples.
const std::vector<double>& Cosines(int n) {
  static std::map<int, std::vector<double>> tables;
  std::vector<double>& table = tables[n];
  for (int i = static_cast<int>(table.size()); i < 4 * n; ++i)
    table.push_back(std::cos(kPi / (2 * n) * i));
  return table;
}
int Angle(int n, int sample, int line) {
  return (2 * sample + 1 + n / 2) * (2 * line + 1) % (4 * n);
}

std::vector<double> InverseTransform(const double* lines, int n) {
  const std::vector<double>& cosines = Cosines(n);
  std::vector<double> samples(static_cast<size_t>(n));
  for (int k = 0; k < n / 2; ++k)
    for (int i = 0; i < n && lines[k] != 0; ++i)
      At(samples, i) += 2.0 / n * lines[k] * cosines[Angle(n, i, k)];
  return samples;
}

double Bessel(double x) {
  double sum = 1;
  double term = 1;
  for (int k = 1; k < 60; ++k) {
    term *= x / 2 / k;
    sum += term * term;
  }
  return sum;
}

// The rising half of a window of n samples.
const std::vector<double>& Rising(int n, int shape) {
  static std::map<std::pair<int, int>, std::vector<double>> halves;
  std::vector<double>& half = halves[{n, shape}];
  if (!half.empty()) return half;
  if (shape == 0) {
    for (int i = 0; i < n / 2; ++i) half.push_back(std::sin(kPi / n * (i + 0.5)));
    return half;
  }
  const double alpha = n == 2048 || n == 512 ? 4 : 6;
  double sum = 0;
  for (int p = 0; p <= n / 2; ++p) {
    const double t = (p - n / 4.0) / (n / 4.0);
    half.push_back(sum += Bessel(kPi * alpha * std::sqrt(1 - t * t)));
  }
  half.pop_back();
  for (double& value : half) value = std::sqrt(value / sum);
  return half;
}

// A window of n samples with slopes of the given lengths in the middle of its halves.
std::vector<double> Window(int n, int rise, int prevShape, int fall, int shape) {
  std::vector<double> window(static_cast<size_t>(n), 1.0);
  for (int i = 0; i < n / 2; ++i) {
    const int up = i - (n / 2 - rise) / 2;
    const int down = i - (n / 2 - fall) / 2;
    if (up < rise) At(window, i) = up < 0 ? 0 : At(Rising(2 * rise, prevShape), up);
    if (down >= 0)
      At(window, n / 2 + i) = down >= fall ? 0 : At(Rising(2 * fall, shape), fall - 1 - down);
  }
  return window;
}

// The gain that the given points make within one window: a fragment of the gain function.
struct Fragment {
  double first;
  std::vector<double> gain;
};
Fragment MakeFragment(const std::vector<GainPoint>& points, int length) {
  std::vector<double> place = {0};
  std::vector<double> level = {1};
  for (const GainPoint& point : points) {
    place.push_back(8 * point.location);
    level.push_back(std::exp2(point.level - 4));
  }
  if (!points.empty()) level[0] = level[1];
  place.push_back(length);
  level.push_back(1);
  Fragment fragment = {level[0], {}};
  for (int j = 0; j < length; ++j) {
    size_t m = 0;
    for (size_t i = 0; i < place.size(); ++i)
      if (place[i] <= j) m = i;
    const double p = j - place[m];
    fragment.gain.push_back(
        p > 7 ? level[m + 1]
              : std::exp2(((8 - p) * std::log2(level[m]) + p * std::log2(level[m + 1])) / 8));
  }
  return fragment;
}

}  // namespace

std::vector<double> ForwardTransform(const std::vector<double>& samples) {
  const int n = static_cast<int>(samples.size());
  const std::vector<double>& cosines = Cosines(n);
  std::vector<double> lines(samples.size() / 2);
  for (int k = 0; k < n / 2; ++k)
    for (int i = 0; i < n; ++i) At(lines, k) += 2 * At(samples, i) * cosines[Angle(n, i, k)];
  return lines;
}

std::vector<double> LongWindow(int n, int sequence, int prevShape, int shape) {
  return Window(n, sequence == 3 ? n / 16 : n / 2, prevShape, sequence == 1 ? n / 16 : n / 2,
                shape);
}

std::vector<double> Frame(const double* lines, int n, int sequence, int prevShape, int shape,
                          const std::function<double(int, int)>& weight) {
  std::vector<double> sum(static_cast<size_t>(n));
  const int size = sequence == 2 ? n / 8 : n;
  for (int w = 0; w < (sequence == 2 ? 8 : 1); ++w) {
    const std::vector<double> window =
        sequence == 2 ? Window(size, size / 2, w == 0 ? prevShape : shape, size / 2, shape)
                      : LongWindow(n, sequence, prevShape, shape);
    const std::vector<double> samples = InverseTransform(lines + w * size / 2, size);
    const int at = sequence == 2 ? (n / 2 - size / 2) / 2 + w * size / 2 : 0;
    for (int i = 0; i < size; ++i) At(sum, at + i) += At(samples, i) * At(window, i) * weight(w, i);
  }
  return sum;
}

std::vector<double> GainFunction(const std::vector<GainPoint>* points, int sequence,
                                 std::vector<double>* kept) {
  std::vector<double> gain;
  const auto put = [&gain](double factor, const std::vector<double>& fragment, size_t count) {
    for (size_t j = 0; j < count; ++j)
      gain.push_back(factor * (j < fragment.size() ? fragment[j] : 1));
  };
  const std::vector<double> ones(256, 1.0);
  if (sequence == 0) {
    const Fragment f = MakeFragment(points[0], 256);
    put(f.first, *kept, 256);
    put(1, f.gain, 256);
    *kept = f.gain;
  } else if (sequence == 1) {
    const Fragment f0 = MakeFragment(points[0], 112);
    const Fragment f1 = MakeFragment(points[1], 32);
    put(f0.first * f1.first, *kept, 256);
    put(f1.first, f0.gain, 112);
    put(1, f1.gain, 32);
    put(1, ones, 112);
    *kept = f1.gain;
  } else if (sequence == 3) {
    const Fragment f0 = MakeFragment(points[0], 112);
    const Fragment f1 = MakeFragment(points[1], 256);
    put(1, ones, 112);
    put(f0.first * f1.first, *kept, 32);
    put(f1.first, f0.gain, 112);
    put(1, f1.gain, 256);
    *kept = f1.gain;
  } else {
    for (int w = 0; w < 8; ++w) {
      const Fragment f = MakeFragment(points[w], 32);
      put(f.first, *kept, 32);
      put(1, f.gain, 32);
      *kept = f.gain;
    }
  }
  return gain;
}

double BandFilter(int band, int j) {
  return kPrototype[j < 48 ? j : 95 - j] * std::cos((2 * band + 1) * (2 * j - 3) * kPi / 16);
}

}  // namespace orbel::aac_test
