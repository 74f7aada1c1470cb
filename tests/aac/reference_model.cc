#include "aac/reference_model.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <numbers>

namespace orbel::aac_test {
namespace {

constexpr double kPi = std::numbers::pi;
constexpr int kPredictedBands = 40;
constexpr int kNoGain = INT32_MIN;  // a list that was never laid down
constexpr double kLtpGains[8] = {0.570829, 0.696616, 0.813004, 0.911304,
                                 0.984900, 1.067894, 1.194601, 1.369533};

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

template <class Container>
auto& At(Container& values, int i) {
  return values[static_cast<size_t>(i)];
}

bool CarriesLines(int book) { return book >= 1 && book <= 11; }

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

std::vector<double> ForwardTransform(const std::vector<double>& samples) {
  const int n = static_cast<int>(samples.size());
  const std::vector<double>& cosines = Cosines(n);
  std::vector<double> lines(samples.size() / 2);
  for (int k = 0; k < n / 2; ++k)
    for (int i = 0; i < n; ++i) At(lines, k) += 2 * At(samples, i) * cosines[Angle(n, i, k)];
  return lines;
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
std::vector<double> LongWindow(int n, int sequence, int prevShape, int shape) {
  return Window(n, sequence == 3 ? n / 16 : n / 2, prevShape, sequence == 1 ? n / 16 : n / 2,
                shape);
}

// All windows of a frame, weighted, one behind the other, in a stretch of n samples;
// `weight` is called for each window's sample.
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

double RoundAndClamp(double x) {
  return std::trunc(std::clamp(x + (x > 0 ? 0.5 : -0.5), -32768.0, 32767.0));
}

float Truncated(float x) {
  uint32_t bits;
  std::memcpy(&bits, &x, sizeof bits);
  bits &= 0xFFFF0000;
  std::memcpy(&x, &bits, sizeof bits);
  return x;
}
float Rounded(float x) {
  uint32_t bits;
  std::memcpy(&bits, &x, sizeof bits);
  bits += 0x8000;
  std::memcpy(&x, &bits, sizeof bits);
  return Truncated(x);
}
// b / v as the predictor has it: by the seven leading bits of v's fraction, and
// only from 2 on.
float PredictorGain(float cor, float var) {
  int exponent;
  const double fraction = std::frexp(static_cast<double>(var), &exponent) * 2;
  if (exponent < 2) return 0;
  const double exact = 0.953125 / (1 + std::floor((fraction - 1) * 128) / 128);
  const double unit = std::exp2(std::floor(std::log2(exact)) - 7);  // 8 significant bits
  const float mantissa = static_cast<float>(std::floor(exact / unit + 0.5) * unit);
  return cor * (mantissa * std::exp2f(static_cast<float>(1 - exponent)));
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

// The gain function over all samples of a frame's windows; `kept` goes from frame to frame.
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

template <class F>
void ForEachBand(const Format& format, const Channel& channel, F f) {
  const int32_t* const offsets = Offsets(format, channel);
  const std::vector<int> order = StreamOrder(format, channel);
  auto at = order.begin();
  for (size_t g = 0; g < channel.groups.size(); ++g) {
    for (int b = 0; b < channel.maxSfb; ++b) {
      const auto end = at + (offsets[b + 1] - offsets[b]) * channel.groups[g];
      f(static_cast<int>(g), b, std::vector<int>(at, end));
      at = end;
    }
  }
}

}  // namespace

ReferenceModel::ChannelState::ChannelState() {
  for (auto& kept : fragment) kept.assign(256, 1.0);
  for (auto& band : bandPast) band.assign(24, 0.0);
}

ReferenceModel::ReferenceModel(const Format& format)
    : tnsOrder(format.objectType == 1 || format.objectType == 4 ? 20 : 12), format_(format) {}

Spectrum ReferenceModel::Dequantise(const Channel& channel) const {
  std::array<int, kLines> lines;
  std::copy_n(channel.lines, kLines, lines.begin());
  const std::vector<int> order = StreamOrder(format_, channel);
  Channel longWindow;
  int at = Offsets(format_, longWindow)[channel.pulses.empty() ? 0 : channel.pulseStart];
  for (const Pulse& pulse : channel.pulses) {
    at += pulse.offset;
    if (static_cast<size_t>(at) >= order.size()) continue;
    int& line = At(lines, At(order, at));
    line += line > 0 ? pulse.amplitude : -pulse.amplitude;
  }
  Spectrum x = {};
  ForEachBand(format_, channel, [&](int g, int b, const std::vector<int>& band) {
    if (!CarriesLines(channel.book[g][b])) return;
    const auto gain = static_cast<float>(std::exp2((channel.factor[g][b] - 100) / 4.0));
    for (const int i : band) {
      const double q = At(lines, i);
      const auto power = static_cast<float>(std::copysign(std::pow(std::abs(q), 4.0 / 3), q));
      At(x, i) = power * gain;
    }
  });
  return x;
}

void ReferenceModel::MidSide(const Element& element, Spectrum* left, Spectrum* right) const {
  if (element.msMask == 0) return;
  const Channel& second = element.channel[1];
  ForEachBand(format_, second, [&](int g, int b, const std::vector<int>& band) {
    if (second.book[g][b] >= 13) return;
    if (element.msMask != 2 && !element.msUsed[g][b]) return;
    for (const int line : band) {
      const auto i = static_cast<size_t>(line);
      const double mid = (*left)[i];
      const double side = (*right)[i];
      (*left)[i] = static_cast<float>(mid + side);
      (*right)[i] = static_cast<float>(mid - side);
    }
  });
}

void ReferenceModel::Noise(const Element& element, int c, Work* left, Work* right) {
  const Channel& channel = element.channel[c];
  Spectrum& x = c == 0 ? left->x : right->x;
  ForEachBand(format_, channel, [&](int g, int b, const std::vector<int>& band) {
    if (channel.book[g][b] != 13) return;
    const int energy = channel.factor[g][b];
    const bool marked = element.msMask == 2 || (element.msMask == 1 && element.msUsed[g][b]);
    if (c == 1 && marked) {
      const double ratio = std::exp2((energy - element.channel[0].factor[g][b]) / 4.0);
      for (const int i : band) At(x, i) = At(left->x, i) * ratio;
      return;
    }
    double sum = 0;
    for (const int i : band) {
      noiseSeed_ = noiseSeed_ * 1664525 + 1013904223;
      const double drawn = static_cast<float>(static_cast<int32_t>(noiseSeed_));
      At(x, i) = drawn;
      sum += drawn * drawn;
    }
    for (const int i : band) At(x, i) *= std::exp2(energy / 4.0) / std::sqrt(sum);
  });
}

void ReferenceModel::Intensity(const Element& element, Spectrum* left, Spectrum* right) const {
  const Channel& second = element.channel[1];
  ForEachBand(format_, second, [&](int g, int b, const std::vector<int>& band) {
    if (second.book[g][b] < 14) return;
    double gain = std::exp2(-second.factor[g][b] / 4.0);
    if (second.book[g][b] == 14) gain = -gain;
    if (element.msMask == 1 && element.msUsed[g][b]) gain = -gain;
    for (const int i : band) At((*right), i) = gain * At((*left), i);
  });
}

void ReferenceModel::Predict(const Channel& channel, ChannelState* state, Spectrum* x) const {
  if (channel.sequence == 2) {
    state->predictors.fill(Predictor());
    return;
  }
  const int32_t* const offsets = Offsets(format_, channel);
  for (int b = 0; b < kPredictedBands; ++b) {
    for (int i = offsets[b]; i < offsets[b + 1]; ++i) {
      Predictor& p = At(state->predictors, i);
      double& line = At((*x), i);
      const float k[2] = {PredictorGain(p.cor[0], p.var[0]), PredictorGain(p.cor[1], p.var[1])};
      const float first = p.r[0] * k[0];
      if (channel.predictorData && channel.predicted[b] && b < channel.maxSfb)
        line = static_cast<float>(line) + Rounded(p.r[1] * k[1] + first);
      const auto input = static_cast<float>(line);
      const float e = input - first;
      p.cor[0] = 0.90625F * p.cor[0] + p.r[0] * input;
      p.cor[1] = 0.90625F * p.cor[1] + p.r[1] * e;
      p.var[0] = (p.r[0] * p.r[0] + input * input) * 0.5F + 0.90625F * p.var[0];
      p.var[1] = (p.r[1] * p.r[1] + e * e) * 0.5F + 0.90625F * p.var[1];
      p.r[1] = (p.r[0] - k[0] * input) * 0.953125F;
      p.r[0] = input * 0.953125F;
      for (float* value : {p.cor, p.var, p.r})
        for (int j = 0; j < 2; ++j) value[j] = Truncated(value[j]);
    }
  }
  if (!channel.predictorData || channel.resetGroup < 1 || channel.resetGroup > 30) return;
  for (size_t i = static_cast<size_t>(channel.resetGroup - 1); i < kLines; i += 30)
    state->predictors[i] = Predictor();
}

void ReferenceModel::PredictLongTerm(const Work& work, Spectrum* x) const {
  const Channel& channel = *work.channel;
  if (!channel.ltp || channel.sequence == 2) return;
  std::vector<double> estimate =
      LongWindow(2048, channel.sequence, work.state->prevShape, channel.shape);
  for (int i = 0; i < 2048; ++i) {
    const int from = 2048 - channel.ltpLag + i;
    At(estimate, i) *= from < 3072 ? kLtpGains[channel.ltpCoef] * At(work.state->past, from) : 0;
  }
  const std::vector<double> lines = ForwardTransform(estimate);
  Spectrum shaped;
  std::copy(lines.begin(), lines.end(), shaped.begin());
  for (const Filter& f : channel.tns.empty() ? std::vector<Filter>() : work.tns[0]) {
    const Spectrum input = shaped;
    for (int n = 0; n < f.end - f.start; ++n) {
      const int at = f.step > 0 ? f.start + n : f.end - 1 - n;
      for (int j = 1; j <= std::min(f.order, n); ++j)
        At(shaped, at) += f.lpc[j] * At(input, at - j * f.step);
    }
  }
  const int32_t* const offsets = Offsets(format_, channel);
  for (int b = 0; b < std::min(channel.maxSfb, 40); ++b)
    for (int i = offsets[b]; i < offsets[b + 1] && channel.ltpUsed[b]; ++i)
      At((*x), i) += At(shaped, i);
}

ReferenceModel::Filters ReferenceModel::PrepareTns(const Channel& channel) const {
  const bool isShort = channel.sequence == 2;
  const bool isSsr = format_.objectType == 3;
  const int bands = isShort ? 14 : 49;
  const int limit =
      isShort ? (isSsr ? 6 : 14) : (isSsr ? 26 : (format_.samplingIndex == 3 ? 40 : 42));
  const int highest = std::min(limit, channel.maxSfb);
  const int32_t* const offsets = Offsets(format_, channel);
  Filters all;
  for (size_t w = 0; w < channel.tns.size(); ++w) {
    const TnsWindow& window = channel.tns[w];
    std::vector<Filter> filters;
    double lpc[4 * 20 + 1] = {};  // an order of 20 reaches into the next filter's place
    int top = bands;
    for (size_t f = 0; f < window.filters.size(); ++f) {
      const TnsFilter& coded = window.filters[f];
      const int bottom = std::max(top - coded.length, 0);
      const int order = std::min(static_cast<int>(coded.coefs.size()), isShort ? 7 : tnsOrder);
      double* const a = lpc + 20 * f;
      if (order > 0) a[0] = 1;
      for (int m = 1; m <= order; ++m) {
        const int coef = At(coded.coefs, m - 1);
        const double steps = (window.coefRes == 1 ? 8 : 4) + (coef < 0 ? 0.5 : -0.5);
        const double k = std::sin(coef / (steps / (kPi / 2)));
        std::vector<double> next(a, a + m);
        for (int i = 1; i < m; ++i) At(next, i) += k * a[m - i];
        std::copy(next.begin(), next.end(), a);
        a[m] = k;
      }
      const int start = offsets[std::min(bottom, highest)];
      const int end = offsets[std::min(top, highest)];
      const int base = static_cast<int>(w) * 128;
      if (order > 0 && end > start)
        filters.push_back({order, base + start, base + end, coded.direction != 0 ? -1 : 1, {}});
      else
        filters.push_back({0, 0, 0, 1, {}});
      top = bottom;
    }
    for (size_t f = 0; f < filters.size(); ++f)
      std::copy_n(lpc + 20 * f, filters[f].order + 1, filters[f].lpc);
    all.push_back(filters);
  }
  return all;
}

namespace {

template <class Filters>
void ShapeNoise(const Filters& tns, Spectrum* x) {
  for (const auto& window : tns) {
    for (const auto& f : window) {
      for (int n = 0; n < f.end - f.start; ++n) {
        const int at = f.step > 0 ? f.start + n : f.end - 1 - n;
        for (int j = 1; j <= std::min(f.order, n); ++j)
          At((*x), at) -= f.lpc[j] * At((*x), at - j * f.step);
      }
    }
  }
}

// The factor that a coded gain stands for.
double CouplingGain(const Element& element, int value) {
  const int magnitude = element.gainSign != 0 ? value >> 1 : value;
  const bool negative = element.gainSign != 0 && (value & 1) != 0;
  const double gain = std::exp2(-magnitude * std::exp2(element.gainScale - 3));
  return negative ? -gain : gain;
}

}  // namespace

void ReferenceModel::Couple(const Element& element, const Spectrum& x, std::vector<Work>* works,
                            std::array<GainList, 18>* slots) const {
  const Channel& channel = element.channel[0];
  for (size_t t = 0; t < element.targets.size(); ++t) {
    const Target& target = element.targets[t];
    std::vector<Spectrum*> found;
    for (Work& work : *works)
      if (work.element->id == (target.pair ? kCpe : kSce) && work.element->tag == target.tag)
        found.push_back(&work.x);
    if (found.empty()) continue;
    const auto add = [&](Spectrum* to, const GainList& list) {
      ForEachBand(format_, channel, [&](int g, int b, const std::vector<int>& band) {
        if (channel.book[g][b] == 0 || list.value == kNoGain) return;
        const double gain = CouplingGain(element, list.common ? list.value : list.byBand[g][b]);
        for (const int i : band) At((*to), i) += gain * At(x, i);
      });
    };
    add(found[target.pair && target.sides == 1 ? 1 : 0], (*slots)[2 * t]);
    if (target.pair && target.sides == 3) add(found[1], (*slots)[2 * t + 1]);
  }
}

void ReferenceModel::Synthesise(Work* work) const {
  const Channel& channel = *work->channel;
  ChannelState& state = *work->state;
  const std::vector<double> samples = Frame(work->x.data(), 2048, channel.sequence, state.prevShape,
                                            channel.shape, [](int, int) { return 1.0; });
  for (size_t i = 0; i < kLines; ++i) {
    work->out[i] = samples[i] + state.overlap[i];
    state.overlap[i] = samples[kLines + i];
    state.past[i] = state.past[kLines + i];
    state.past[kLines + i] = RoundAndClamp(work->out[i]);
    state.past[2 * kLines + i] = RoundAndClamp(state.overlap[i]);
  }
  state.prevShape = channel.shape;
}

void ReferenceModel::SynthesiseBands(Work* work) const {
  const Channel& channel = *work->channel;
  ChannelState& state = *work->state;
  const int windows = channel.Windows();
  const int width = 256 / windows;
  for (size_t b = 0; b < 4; ++b) {
    std::array<double, 256> lines;
    for (int w = 0; w < windows; ++w) {
      for (int k = 0; k < width; ++k) {
        const int from = b % 2 == 0 ? k : width - 1 - k;
        At(lines, w * width + k) = At(work->x, (w * 4 + static_cast<int>(b)) * width + from);
      }
    }
    std::vector<double> gain(512, 1.0);
    if (b > 0) gain = GainFunction(channel.gain[b - 1], channel.sequence, &state.fragment[b]);
    const std::vector<double> samples =
        Frame(lines.data(), 512, channel.sequence, state.prevShape, channel.shape,
              [&](int w, int i) { return 1 / At(gain, 64 * w + i); });
    std::vector<double>& past = state.bandPast[b];
    past.erase(past.begin(), past.end() - 24);
    for (size_t i = 0; i < 256; ++i) {
      past.push_back(samples[i] + state.bandOverlap[b][i]);
      state.bandOverlap[b][i] = samples[256 + i];
    }
  }
  for (int n = 0; n < kLines; ++n) {
    double sum = 0;
    for (int b = 0; b < 4; ++b)
      for (int j = n % 4; j < 96; j += 4)
        sum += At(state.bandPast[b], 24 + (n - j) / 4) * kPrototype[j < 48 ? j : 95 - j] *
               std::cos((2 * b + 1) * (2 * j - 3) * kPi / 16);
    At(work->out, n) = sum;
  }
  state.prevShape = channel.shape;
}

std::vector<Signal> ReferenceModel::Decode(const Block& block) {
  std::vector<Work> works;
  std::vector<Work> coupling;
  std::map<std::pair<int, int>, int> seen;
  for (const Element& element : block) {
    if (element.id > kLfe) continue;
    const int repeated = seen[{element.id, element.tag}]++;
    const int channels = element.id == kCpe ? 2 : 1;
    std::vector<Work> own;
    for (int c = 0; c < channels; ++c) {
      const Channel& channel = element.channel[c];
      // A coupling channel's place goes by its number, not by its tag.
      const int key =
          element.id == kCce ? static_cast<int>(coupling.size()) : element.tag + 16 * repeated;
      ChannelState* const state = &states_[{element.id, 2 * key + c}];
      own.push_back({&element, &channel, state, Dequantise(channel), PrepareTns(channel), {}});
    }
    if (element.id == kLfe) own[0].tns.clear();
    if (channels == 2) MidSide(element, &own[0].x, &own[1].x);
    for (int c = 0; c < channels && element.id != kLfe; ++c)
      Noise(element, c, &own[0], &At(own, channels - 1));
    if (channels == 2) Intensity(element, &own[0].x, &own[1].x);
    for (Work& work : own) {
      if (format_.objectType == 1 && element.id != kLfe)
        Predict(*work.channel, work.state, &work.x);
      if (format_.objectType == 4 && element.id != kLfe) PredictLongTerm(work, &work.x);
      if (element.id == kCce) ShapeNoise(work.tns, &work.x);
      (element.id == kCce ? coupling : works).push_back(work);
    }
  }
  for (const int domain : {0, 1}) {
    for (const Work& work : coupling) {
      const Element& element = *work.element;
      if (element.independent || element.domain != domain) continue;
      // Behind a list whose number is that of a target with two sides comes the next slot;
      // behind any other list, the one after it.
      std::array<GainList, 18> slots;
      for (GainList& slot : slots) slot.value = kNoGain;
      slots[0] = GainList();
      size_t slot = 0;
      for (size_t i = 0; i < element.lists.size(); ++i) {
        slot += i < element.targets.size() && element.targets[i].sides == 3 ? 1 : 2;
        if (slot < slots.size()) slots[slot] = element.lists[i];
      }
      Couple(element, work.x, &works, &slots);
    }
    for (Work& work : works)
      if (domain == 0) ShapeNoise(work.tns, &work.x);
  }
  if (format_.objectType == 4)
    for (Work& work : coupling) Synthesise(&work);
  std::vector<Signal> signals;
  for (Work& work : works) {
    if (format_.objectType == 3)
      SynthesiseBands(&work);
    else
      Synthesise(&work);
    signals.push_back(work.out);
  }
  return signals;
}

}  // namespace orbel::aac_test
