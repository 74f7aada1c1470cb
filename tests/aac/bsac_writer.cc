#include "aac/bsac_writer.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iterator>

#include "aac/bsac_tables.h"
#include "aac/sampling_tables.h"
#include "dsp/bsac_tables.h"

namespace orbel::aac_test {
namespace {

constexpr int kBandLines = 32;
constexpr int kMostFrameBytes = 2047;
constexpr int kNoise = 13;
constexpr int kOutOfPhase = 14;
constexpr int kInPhase = 15;

int Up(int line) { return (line + 31) / 32; }
int Top(int si) { return si < 15 ? (si + 1) / 2 : si - 7; }

// Of a line whose four have these magnitudes, as far as they are known.
uint32_t P0(int si, int s, const int* four, int place) {
  const int model = kBsacSpectralModel[si];
  const int d = Top(si) - s;
  const int higher = four[place] >> s;
  if (higher != 0)
    return dspBsacP0[dspBsacNonzeroBase[model][std::min(d, 4) - 1] + std::min(higher, 16) - 1] *
           256U;
  int significant = 0;
  int bits = 0;
  for (int i = 0; i < 4; ++i) {
    significant = significant * 2 + (four[i] >> s != 0 ? 1 : 0);
    if (i < place) bits = bits * 2 + (four[i] >> (s - 1) & 1);
  }
  return dspBsacP0[dspBsacZeroBase[model][std::min(d, 3)] +
                   dspBsacContext[significant][place][bits]] *
         256U;
}

// Low and range of the standard's decoder, 30 bits wide; carries run back into the bits.
class ArithmeticCoder {
 public:
  // Both return the bits that the symbol costs.
  int Symbol(const uint16_t* model, int symbol) {
    return Part(model[symbol], symbol > 0 ? model[symbol - 1] : 16384);
  }
  int Bit(uint32_t p0, int bit) { return bit != 0 ? Part(p0, 16384) : Part(0, p0); }

  // The shortest bits that lie in the last range.
  std::vector<int> Finish() {
    const uint64_t half = 1 << 29;
    low_ = (low_ + half - 1) / half * half;
    Carry();
    bits_.push_back(static_cast<int>(low_ >> 29));
    return bits_;
  }

 private:
  int Part(uint32_t from, uint32_t to) {
    const uint64_t unit = range_ >> 14;
    low_ += unit * from;
    Carry();
    range_ = unit * (to - from);
    int cost = 0;
    for (; range_ < 1 << 29; range_ *= 2, ++cost) {
      bits_.push_back(static_cast<int>(low_ >> 29));
      low_ = low_ * 2 & ((1 << 30) - 1);
    }
    return cost;
  }
  void Carry() {
    if (low_ >> 30 == 0) return;
    low_ -= 1 << 30;
    size_t at = bits_.size() - 1;
    for (; bits_[at] == 1; --at) bits_[at] = 0;
    bits_[at] = 1;
  }

  uint64_t low_ = 0;
  uint64_t range_ = 1 << 30;
  std::vector<int> bits_;
};

struct Layer {
  int group, first, end;  // lines of the group
  int sfbs = 0;           // of the group that are sent by its end
  int newSfbs = 0;
  int firstBand() const { return Up(first); }
  int endBand() const { return Up(end); }
};

class FrameWriter {
 public:
  explicit FrameWriter(BsacFrame* frame)
      : frame_(*frame),
        info_(frame->element.channel[0]),
        isShort_(info_.sequence == 2),
        channels_(frame->Channels()) {
    offsets_ = Offsets({2, frame->samplingIndex}, info_);
    Plan();
  }

  std::vector<uint8_t> Write(int layers) {
    const int bytes = static_cast<int>(Header(0).Bits() + 7) / 8;
    BitWriter out = Header(std::min(bytes - 7, 15));
    out.Align();
    Budget(8 * bytes);
    const size_t count = layers < 0 ? layers_.size() : static_cast<size_t>(base_ + layers);
    BsacFrame told = frame_;
    for (size_t l = 0; l < layers_.size(); ++l) {
      if (l == count) told = Told();
      WriteLayer(l);
    }
    if (count >= layers_.size()) told = Told();
    for (const int bit : coder_.Finish()) out.Put(static_cast<uint32_t>(bit), 1);
    std::vector<uint8_t> result = out.Bytes();
    if (result.size() > static_cast<size_t>(frame_.frameLength)) return {};
    result.resize(static_cast<size_t>(frame_.frameLength));
    frame_ = told;
    return result;
  }

 private:
  BitWriter Header(int length) const {
    BitWriter out;
    const auto put = [&](int value, int bits) { out.Put(static_cast<uint32_t>(value), bits); };
    put(frame_.frameLength, 11);
    put(length, 4);
    put(0, 1);
    put(frame_.topLayer, 6);
    put(frame_.snf, 2);
    for (int c = 0; c < channels_; ++c) put(frame_.maxScalefactor[c], 8);
    put(frame_.baseBand, 5);
    for (int c = 0; c < channels_; ++c) {
      put(frame_.siType[c], 5);
      put(frame_.baseModel[c], 3);
      put(frame_.enhModel[c], 3);
      put(frame_.siLen[c], 4);
    }
    put(0, 1);
    put(info_.sequence, 2);
    put(info_.shape, 1);
    put(info_.maxSfb, isShort_ ? 4 : 6);
    for (size_t g = 0; isShort_ && g < info_.groups.size(); ++g)
      for (int w = g == 0 ? 1 : 0; w < info_.groups[g]; ++w) put(w > 0 ? 1 : 0, 1);
    put(frame_.pnsStart >= 0 ? 1 : 0, 1);
    if (frame_.pnsStart >= 0) put(frame_.pnsStart, 6);
    if (channels_ == 2) put(frame_.msMask, 2);
    for (int c = 0; c < channels_; ++c) {
      const Channel& channel = frame_.element.channel[c];
      put(channel.tns.empty() ? 0 : 1, 1);
      for (const TnsWindow& window : channel.tns) {
        put(static_cast<int>(window.filters.size()), isShort_ ? 1 : 2);
        if (!window.filters.empty()) put(window.coefRes, 1);
        for (const TnsFilter& filter : window.filters) {
          put(filter.length, isShort_ ? 4 : 6);
          put(static_cast<int>(filter.coefs.size()), isShort_ ? 3 : 5);
          if (filter.coefs.empty()) continue;
          put(filter.direction, 1);
          put(filter.compress, 1);
          for (const int coef : filter.coefs) put(coef, window.coefRes + 3 - filter.compress);
        }
      }
      put(channel.ltp ? 1 : 0, 1);
      if (!channel.ltp) continue;
      put(channel.ltpLag, 11);
      put(channel.ltpCoef, 3);
      for (int b = 0; b < std::min(info_.maxSfb, 40); ++b) put(channel.ltpUsed[b] ? 1 : 0, 1);
    }
    return out;
  }

  void Plan() {
    const int rate = SamplingFrequency(frame_.samplingIndex);
    int end[kGroups] = {};
    const auto add = [&](int g, int width) {
      const int next = std::min(end[g] + width, frame_.Start(g + 1) - frame_.Start(g));
      layers_.push_back({g, end[g], next});
      end[g] = next;
    };
    std::vector<int> groupOf;
    for (int g = 0; g < frame_.Groups(); ++g) {
      groupOf.insert(groupOf.end(), static_cast<size_t>(isShort_ ? info_.groups[g] : 8), g);
      int width = isShort_ ? 4 * frame_.baseBand * info_.groups[g] : 32 * frame_.baseBand;
      if (rate == 48000 || rate == 44100) {
        const int rounded[8] = {0, 8, 8, 8, 20, 20, 20, 20};
        width = width / 32 * 32 + rounded[width % 32 / 4];
      } else {
        width -= width % (rate <= 32000 && rate >= 22050 ? 16 : 32);
      }
      while (end[g] < width) add(g, std::min(32, width - end[g]));
    }
    base_ = static_cast<int>(layers_.size());
    for (int k = 0; k < frame_.topLayer; ++k) {
      const int g = groupOf[k % 8];
      const int in = end[g] % 32;
      int step = rate > 48000 || rate == 8000 ? 64 : rate <= 16000 ? 32 : 16;
      if (rate == 48000 || rate == 44100) step = in < 24 ? 12 : 8;
      add(g, step);
    }
    int sent[kGroups] = {};
    for (size_t l = 0; l < layers_.size(); ++l) {
      Layer& layer = layers_[l];
      size_t last = l;
      while (last + 1 < layers_.size() && static_cast<int>(last) + 1 != base_ &&
             layers_[last + 1].group == layer.group)
        ++last;
      const int limit = std::min(32 * Up(layer.end), layers_[last].end);
      int& sfb = sent[layer.group];
      const int before = sfb;
      while (sfb < info_.maxSfb && offsets_[sfb] * frame_.Windows(layer.group) < limit) ++sfb;
      layer.sfbs = sfb;
      layer.newSfbs = sfb - before;
    }
  }

  void Budget(int headerBits) {
    const int count = static_cast<int>(layers_.size());
    const int rate = SamplingFrequency(frame_.samplingIndex);
    std::vector<int> si(layers_.size());
    for (int l = 0; l < count; ++l)
      for (int c = 0; c < channels_; ++c) {
        const Layer& layer = At(l);
        for (int band = layer.firstBand(); band < layer.endBand(); ++band)
          si[l] += band == 0 ? 11 : kBsacCbandTypes[frame_.siType[c]].maxCodeLength;
        si[l] += layer.newSfbs * (frame_.siLen[c] + 5);
      }
    off_.assign(layers_.size() + 1, 8 * frame_.frameLength);
    for (int l = base_; l < count; ++l)
      off_[l] = std::min(off_[l], channels_ * 8 * ((l - base_ + 16) * 1024000 / rate / 8));
    for (int l = count - 1; l >= 0; --l)
      off_[l] = l >= base_ ? std::min(off_[l], off_[l + 1] - si[l]) : off_[l + 1] - si[l];
    int over = headerBits - off_[0];
    off_[0] = headerBits;
    for (int l = count - 1; over > 0 && l >= base_; --l) {
      const int take = std::min(off_[l + 1] - off_[l] - si[l], over);
      over -= take;
      for (int i = 1; i <= l; ++i) off_[i] += take;
    }
    for (int m = 1; over <= 0 && m < base_; ++m)
      off_[m] = off_[m - 1] + si[m - 1] - over / base_ + (m <= -over % base_ ? 1 : 0);
  }

  void WriteLayer(size_t l) {
    const Layer& layer = layers_[l];
    const bool base = static_cast<int>(l) < base_;
    const int start = frame_.Start(layer.group);
    budget_ += off_[l + 1] - off_[l];
    for (int c = 0; c < channels_; ++c) {
      const int common = kBsacCbandTypes[frame_.siType[c]].model;
      for (int band = layer.firstBand(); band < layer.endBand(); ++band)
        Symbol(kBsacCbandModels[band == 0 ? 7 : common], frame_.si[c][start / 32 + band]);
      for (int i = start + layer.first; i < start + layer.end; ++i)
        plane_[c][i] = Top(frame_.si[c][i / kBandLines]);
    }
    for (int c = 0; c < channels_; ++c)
      for (int b = layer.sfbs - layer.newSfbs; b < layer.sfbs; ++b) {
        if (c == 0) WriteBand(layer.group, b);
        if (IsNoise(c, layer.group, b) && !noiseSent_[c]) {
          Symbol(kBsacNoiseEnergyModel.cumulative, frame_.maxNoise[c]);
          noiseSent_[c] = true;
        }
        const int model = base ? frame_.baseModel[c] : frame_.enhModel[c];
        if (model != 0) Symbol(kBsacScalefactorModels[model], frame_.code[c][layer.group][b]);
      }
    sent_[layer.group] = layer.sfbs;
    std::vector<int> own, all;
    for (int i = layer.first; i < layer.end; ++i) own.push_back(start + i);
    covered_[layer.group] = layer.end;
    for (int g = 0; g < frame_.Groups(); ++g)
      for (int i = 0; i < covered_[g]; ++i) all.push_back(frame_.Start(g) + i);
    Pass(own, base ? frame_.snf : 0);
    Pass(all, 0);
  }

  bool IsNoise(int c, int g, int b) const { return frame_.element.channel[c].book[g][b] == kNoise; }

  void WriteBand(int g, int b) {
    const bool left = IsNoise(0, g, b);
    const bool right = IsNoise(1, g, b);
    const bool flags = frame_.pnsStart >= 0 && b >= frame_.pnsStart && frame_.msMask != 2;
    if (channels_ == 1) {
      if (flags) Symbol(kBsacNoiseFlagModel, left ? 1 : 0);
      return;
    }
    int info = frame_.element.msUsed[g][b] ? 1 : 0;
    if (frame_.element.channel[1].book[g][b] == kInPhase) info = 2;
    if (frame_.element.channel[1].book[g][b] == kOutOfPhase || frame_.noiseMode[g][b] != 0)
      info = 3;
    if (frame_.msMask == 1) Symbol(kBsacMsUsedModel, info);
    if (frame_.msMask == 3) Symbol(kBsacStereoInfoModel, info);
    if (!flags) return;
    Symbol(kBsacNoiseFlagModel, left ? 1 : 0);
    Symbol(kBsacNoiseFlagModel, right ? 1 : 0);
    if (info == 3 && left && right) Symbol(kBsacNoiseModeModel, frame_.noiseMode[g][b]);
  }

  const Layer& At(int l) const { return layers_[static_cast<size_t>(l)]; }
  void Symbol(const uint16_t* model, int symbol) { budget_ -= coder_.Symbol(model, symbol); }

  void Pass(const std::vector<int>& lines, int threshold) {
    if (budget_ <= 0) return;
    int top = 0;
    for (const int i : lines)
      for (int c = 0; c < channels_; ++c) top = std::max(top, plane_[c][i]);
    for (int s = top; s > threshold; --s)
      for (const int i : lines)
        for (int c = 0; c < channels_; ++c) {
          if (plane_[c][i] < s) continue;
          const int value = frame_.lines[c][i];
          if (known_[c][i] == 0 || signed_[c][i]) {
            const int bit = std::abs(value) >> (s - 1) & 1;
            const int si = frame_.si[c][i / kBandLines];
            budget_ -= coder_.Bit(P0(si, s, known_[c] + i / 4 * 4, i % 4), bit);
            known_[c][i] |= bit << (s - 1);
          }
          if (known_[c][i] != 0 && !signed_[c][i]) {
            if (budget_ <= 0) return;
            budget_ -= coder_.Bit(8192, value < 0 ? 1 : 0);
            signed_[c][i] = true;
          }
          --plane_[c][i];
          if (budget_ <= 0) return;
        }
  }

  // The frame as far as it has been written.
  BsacFrame Told() const {
    BsacFrame told = frame_;
    for (int c = 0; c < channels_; ++c) {
      for (int i = 0; i < kLines; ++i)
        told.lines[c][i] = !signed_[c][i]           ? 0
                           : frame_.lines[c][i] < 0 ? -known_[c][i]
                                                    : known_[c][i];
      for (int g = 0; g < frame_.Groups(); ++g)
        for (int b = sent_[g]; b < kBands; ++b)
          told.element.channel[c].book[g][b] = told.element.channel[c].factor[g][b] = 0;
    }
    return told;
  }

  BsacFrame& frame_;
  const Channel info_;
  const bool isShort_;
  const int channels_;
  const int32_t* offsets_;
  std::vector<Layer> layers_;
  int base_ = 0;
  std::vector<int> off_;
  ArithmeticCoder coder_;
  int budget_ = 0;
  bool noiseSent_[2] = {};
  int sent_[kGroups] = {};
  int covered_[kGroups] = {};
  int plane_[2][kLines] = {};
  int known_[2][kLines] = {};
  bool signed_[2][kLines] = {};
};

// Bits of a symbol by its part of the range.
double Bits(int part) { return 14 - std::log2(part); }
double Bits(const uint16_t* model, int symbol) {
  return model == nullptr ? 0 : Bits((symbol > 0 ? model[symbol - 1] : 16384) - model[symbol]);
}

int Size(const uint16_t* model) {
  int size = 1;
  for (; model != nullptr && *model != 0; ++model) ++size;
  return size;
}

template <typename Work>
void ForEachBand(const BsacFrame& frame, Work work) {
  for (int g = 0; g < frame.Groups(); ++g)
    for (int b = 0; b < frame.element.channel[0].maxSfb; ++b) work(g, b);
}

// From ms_mask_present and the books of AAC to those of BSAC.
void ChooseStereo(BsacFrame* frame) {
  Element& element = frame->element;
  Channel* const channel = element.channel;
  bool noise = false;
  bool intensity = false;
  ForEachBand(*frame, [&](int g, int b) {
    int& book = channel[1].book[g][b];
    bool& used = element.msUsed[g][b];
    if (element.msMask != 1) used = element.msMask == 2;
    noise |= channel[0].book[g][b] == kNoise || book == kNoise;
    if (book < kOutOfPhase) return;
    intensity = true;
    if (used && element.msMask == 1) book ^= kInPhase ^ kOutOfPhase;
    used = false;
    if (channel[0].book[g][b] != kNoise || b % 2 == 0) return;
    // Intensity of noise is the same noise: every second band is coded as that.
    frame->noiseMode[g][b] = book == kInPhase ? 1 : 2;
    book = kNoise;
    channel[1].factor[g][b] = channel[0].factor[g][b] - channel[1].factor[g][b];
  });
  frame->msMask = intensity ? 3 : element.msMask == 2 && noise ? 1 : element.msMask;
}

// From window behind window to coded order.
void OrderLines(BsacFrame* frame, int c) {
  for (int g = 0, window = 0; g < frame->Groups(); window += frame->Windows(g++))
    for (int i = 0; i < frame->Start(g + 1) - frame->Start(g); ++i) {
      const int four = i / 4;
      const int line = 128 * (window + four % frame->Windows(g)) + four / frame->Windows(g) * 4;
      frame->lines[c][frame->Start(g) + i] = frame->element.channel[c].lines[line + i % 4];
    }
}

bool ChooseFactors(BsacFrame* frame, int c) {
  Channel& channel = frame->element.channel[c];
  int& most = frame->maxScalefactor[c];
  ForEachBand(*frame, [&](int g, int b) {
    const int book = channel.book[g][b];
    const int factor = channel.factor[g][b];
    if (book > 0 && book < kNoise) most = std::max(most, factor);
    if (book != kNoise) return;
    frame->maxNoise[c] = std::max(frame->maxNoise[c], factor + 40);
    if (frame->pnsStart < 0 || b < frame->pnsStart) frame->pnsStart = b;
  });
  constexpr double kCannot = 1e9;
  double cheapest = kCannot;
  for (int m = 0; m < 8; ++m) {
    const uint16_t* const model = kBsacScalefactorModels[m];
    double bits = 0;
    ForEachBand(*frame, [&](int g, int b) {
      const int book = channel.book[g][b];
      const int factor = channel.factor[g][b];
      int& code = frame->code[c][g][b];
      code = book == 0 ? 0 : most - factor;
      if (book == kNoise) code = frame->maxNoise[c] - 40 - factor;
      if (book > kNoise) code = factor < 0 ? -2 * factor - 1 : 2 * factor;
      bits += code < Size(model) ? Bits(model, code) : kCannot;
    });
    if (bits < cheapest) cheapest = bits, frame->baseModel[c] = frame->enhModel[c] = m;
  }
  ForEachBand(*frame, [&](int g, int b) {
    if (channel.book[g][b] == 0) channel.factor[g][b] = most;
    if (channel.book[g][b] < kNoise) channel.book[g][b] = 1;
  });
  return cheapest < kCannot;
}

double SpectralBits(const int* lines, int si) {
  int magnitudes[kBandLines];
  std::transform(lines, lines + kBandLines, magnitudes, [](int line) { return std::abs(line); });
  double bits = 0;
  for (int s = Top(si); s > 0; --s)
    for (int i = 0; i < kBandLines; ++i) {
      const auto p0 = static_cast<int>(P0(si, s, magnitudes + i / 4 * 4, i % 4));
      bits += Bits((magnitudes[i] >> (s - 1) & 1) != 0 ? 16384 - p0 : p0);
    }
  return bits;
}

void ChooseCodingBands(BsacFrame* frame, int c) {
  double bitsOf[32][kBsacCbandValues];
  for (int band = 0; band < 32; ++band) {
    const int* const lines = frame->lines[c] + kBandLines * band;
    int largest = 0;
    for (int i = 0; i < kBandLines; ++i) largest = std::max(largest, std::abs(lines[i]));
    for (int si = 0; si < kBsacCbandValues; ++si)
      bitsOf[band][si] =
          largest >> Top(si) == 0 && 2 * largest >> Top(si) != 0 ? SpectralBits(lines, si) : 1e9;
    if (largest == 0) bitsOf[band][0] = 0;
  }
  bool starts[33] = {};
  for (int g = 0; g < frame->Groups(); ++g) starts[frame->Start(g) / kBandLines] = true;
  double cheapest = 1e18;
  for (int type = 0; type < 32; ++type) {
    int sis[32] = {};
    double all = 0;
    for (int band = 0; band < 32; ++band) {
      const int m = starts[band] ? kBsacFirstCbandModel : kBsacCbandTypes[type].model;
      const uint16_t* const model = kBsacCbandModels[m];
      double best = 1e9;
      for (int si = 0; si < Size(model); ++si) {
        const double bits = bitsOf[band][si] + Bits(model, si);
        if (bits < best) best = bits, sis[band] = si;
      }
      all += best;
    }
    if (all > cheapest) continue;
    cheapest = all;
    frame->siType[c] = type;
    std::copy_n(sis, 32, frame->si[c]);
  }
}

}  // namespace

int BsacFrame::Windows(int group) const {
  const Channel& channel = element.channel[0];
  return channel.sequence == 2 ? channel.groups[static_cast<size_t>(group)] : 1;
}

int BsacFrame::Start(int group) const {
  const Channel& channel = element.channel[0];
  if (channel.sequence != 2) return 1024 * group;
  int windows = 0;
  for (int g = 0; g < group; ++g) windows += channel.groups[static_cast<size_t>(g)];
  return 128 * windows;
}

bool CodeBsac(BsacFrame* frame) {
  Channel& left = frame->element.channel[0];
  Channel& right = frame->element.channel[1];
  if (frame->Channels() == 2) {
    if (left.sequence != right.sequence || left.shape != right.shape || left.groups != right.groups)
      return false;
    left.maxSfb = right.maxSfb = std::max(left.maxSfb, right.maxSfb);
    ChooseStereo(frame);
  }
  for (int c = 0; c < frame->Channels(); ++c) {
    if (!ChooseFactors(frame, c)) return false;
    OrderLines(frame, c);
    ChooseCodingBands(frame, c);
  }
  return true;
}

std::vector<uint8_t> WriteBsac(BsacFrame* frame, int layers) {
  if (frame->frameLength > 0) return FrameWriter(frame).Write(layers);
  std::vector<uint8_t> best;
  BsacFrame told = *frame;
  for (int low = 0, high = kMostFrameBytes; high - low > 1;) {
    told = *frame;
    told.frameLength = (low + high) / 2;
    const std::vector<uint8_t> bytes = FrameWriter(&told).Write(layers);
    const int* const lines = &frame->lines[0][0];
    if (!bytes.empty() && std::equal(lines, lines + 2 * kLines, &told.lines[0][0])) {
      best = bytes;
      high = told.frameLength;
    } else {
      low = told.frameLength;
    }
  }
  return best;
}

std::vector<uint8_t> WriteBsacConfig(int samplingIndex, int channels, int numOfSubFrame) {
  BitWriter out;
  out.Put(22, 5);
  out.Put(static_cast<uint32_t>(samplingIndex), 4);
  out.Put(static_cast<uint32_t>(channels), 4);
  out.Put(1, 3);  // extensionFlag
  out.Put(static_cast<uint32_t>(numOfSubFrame), 5);
  out.Put(0, 11 + 1 + 2);  // layer_length, extensionFlag3, epConfig
  out.Align();
  return out.Bytes();
}

}  // namespace orbel::aac_test
