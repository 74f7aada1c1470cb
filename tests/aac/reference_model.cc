#include "aac/reference_model.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>

#include "aac/reference_filterbank.h"

namespace orbel::aac_test {
namespace {

constexpr double kPi = std::numbers::pi;
constexpr int kPredictedBands = 40;
constexpr int kNoGain = INT32_MIN;  // a list that was never laid down
constexpr double kLtpGains[8] = {0.570829, 0.696616, 0.813004, 0.911304,
                                 0.984900, 1.067894, 1.194601, 1.369533};

bool CarriesLines(int book) { return book >= 1 && book <= 11; }

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
        sum += At(state.bandPast[b], 24 + (n - j) / 4) * BandFilter(b, j);
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
