#include "aac/bsac_writer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "aac/bsac_tables.h"
#include "aac/sampling_tables.h"
#include "dsp/bsac_tables.h"

namespace orbel::aac_test {
namespace {

int Up(int line) { return (line + 31) / 32; }

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
      : frame_(*frame), info_(frame->element.channel[0]), isShort_(info_.sequence == 2) {
    offsets_ = Offsets({kLc, frame->samplingIndex}, info_);
    for (size_t g = 0; g < info_.groups.size(); ++g)
      start_[g + 1] = start_[g] + (isShort_ ? 128 * info_.groups[g] : 1024);
    Plan();
  }

  std::vector<uint8_t> Write(int layers) {
    size_t headerBits = Header(0).Bits();
    const int bytes = static_cast<int>(headerBits + 7) / 8;
    const int length = frame_.headerLength < 0 ? std::min(bytes - 7, 15) : frame_.headerLength;
    BitWriter out = Header(length);
    out.Align();
    Budget(8 * bytes);
    const size_t count = layers < 0 ? layers_.size() : static_cast<size_t>(base_ + layers);
    BsacFrame told = frame_;
    for (size_t l = 0; l < layers_.size(); ++l) {
      if (l == count) told = Told();
      WriteLayer(l);
    }
    if (count >= layers_.size()) told = Told();
    const std::vector<int> bits = coder_.Finish();
    EXPECT_LE(out.Bits() + bits.size(), 8 * static_cast<size_t>(frame_.frameLength))
        << "the frame is too short for its code";
    for (const int bit : bits) out.Put(static_cast<uint32_t>(bit), 1);
    std::vector<uint8_t> result = out.Bytes();
    result.resize(static_cast<size_t>(frame_.frameLength));
    frame_ = told;
    return result;
  }

 private:
  static constexpr int kLc = 2;

  BitWriter Header(int length) const {
    BitWriter out;
    const auto put = [&](int value, int bits) { out.Put(static_cast<uint32_t>(value), bits); };
    put(frame_.frameLength, 11);
    put(length, 4);
    put(0, 1);
    put(frame_.topLayer, 6);
    put(frame_.snf, 2);
    for (int c = 0; c < frame_.channels; ++c) put(frame_.maxScalefactor[c], 8);
    put(frame_.baseBand, 5);
    for (int c = 0; c < frame_.channels; ++c) {
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
    if (frame_.channels == 2) put(frame_.msMask, 2);
    for (int c = 0; c < frame_.channels; ++c) {
      const Channel& channel = frame_.element.channel[c];
      put(channel.tns.empty() ? 0 : 1, 1);
      for (const TnsWindow& window : channel.tns) {
        put(static_cast<int>(window.filters.size()), isShort_ ? 1 : 2);
        if (!window.filters.empty()) put(window.coefRes, 1);
        for (const TnsFilter& filter : window.filters) {
          put(filter.length, isShort_ ? 4 : 6);
          put(static_cast<int>(filter.coefs.size()), isShort_ ? 3 : 5);
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
      const int next = std::min(end[g] + width, start_[g + 1] - start_[g]);
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
      while (sfb < info_.maxSfb && offsets_[sfb] * Windows(layer.group) < limit) ++sfb;
      layer.sfbs = sfb;
      layer.newSfbs = sfb - before;
    }
  }

  void Budget(int headerBits) {
    const int count = static_cast<int>(layers_.size());
    const int rate = SamplingFrequency(frame_.samplingIndex);
    std::vector<int> si(layers_.size());
    for (int l = 0; l < count; ++l)
      for (int c = 0; c < frame_.channels; ++c) {
        const Layer& layer = At(l);
        for (int band = layer.firstBand(); band < layer.endBand(); ++band)
          si[l] += band == 0 ? 11 : kBsacCbandTypes[frame_.siType[c]].maxCodeLength;
        si[l] += layer.newSfbs * (frame_.siLen[c] + 5);
      }
    off_.assign(layers_.size() + 1, 8 * frame_.frameLength);
    for (int l = base_; l < count; ++l)
      off_[l] = std::min(off_[l], frame_.channels * 8 * ((l - base_ + 16) * 1024000 / rate / 8));
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
    const int start = start_[layer.group];
    budget_ += off_[l + 1] - off_[l];
    for (int c = 0; c < frame_.channels; ++c) {
      const int common = kBsacCbandTypes[frame_.siType[c]].model;
      for (int band = layer.firstBand(); band < layer.endBand(); ++band)
        Symbol(kBsacCbandModels[band == 0 ? 7 : common], frame_.si[c][start / 32 + band]);
      for (int i = start + layer.first; i < start + layer.end; ++i) plane_[c][i] = Top(c, i);
    }
    for (int c = 0; c < frame_.channels; ++c)
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
      for (int i = 0; i < covered_[g]; ++i) all.push_back(start_[g] + i);
    Pass(own, base ? frame_.snf : 0);
    Pass(all, 0);
  }

  bool IsNoise(int c, int g, int b) const { return frame_.element.channel[c].book[g][b] == 13; }

  void WriteBand(int g, int b) {
    const bool left = IsNoise(0, g, b);
    const bool right = IsNoise(1, g, b);
    const bool flags = frame_.pnsStart >= 0 && b >= frame_.pnsStart && frame_.msMask != 2;
    if (frame_.channels == 1) {
      if (flags) Symbol(kBsacNoiseFlagModel, left ? 1 : 0);
      return;
    }
    int info = frame_.element.msUsed[g][b] ? 1 : 0;
    if (frame_.element.channel[1].book[g][b] == 15) info = 2;
    if (frame_.element.channel[1].book[g][b] == 14 || frame_.noiseMode[g][b] != 0) info = 3;
    if (frame_.msMask == 1) Symbol(kBsacMsUsedModel, info);
    if (frame_.msMask == 3) Symbol(kBsacStereoInfoModel, info);
    if (!flags) return;
    Symbol(kBsacNoiseFlagModel, left ? 1 : 0);
    Symbol(kBsacNoiseFlagModel, right ? 1 : 0);
    if (info == 3 && left && right) Symbol(kBsacNoiseModeModel, frame_.noiseMode[g][b]);
  }

  int Windows(int g) const { return isShort_ ? info_.groups[g] : 1; }
  const Layer& At(int l) const { return layers_[static_cast<size_t>(l)]; }
  int Top(int c, int line) const {
    const int si = frame_.si[c][line / 32];
    return si < 15 ? (si + 1) / 2 : si - 7;
  }
  void Symbol(const uint16_t* model, int symbol) { budget_ -= coder_.Symbol(model, symbol); }

  uint32_t P0(int c, int line, int s) const {
    const int model = kBsacSpectralModel[frame_.si[c][line / 32]];
    const int d = Top(c, line) - s;
    const int higher = known_[c][line] >> s;
    if (higher != 0)
      return dspBsacP0[dspBsacNonzeroBase[model][std::min(d, 4) - 1] + std::min(higher, 16) - 1] *
             256U;
    int significant = 0;
    int bits = 0;
    for (int i = line / 4 * 4; i < line / 4 * 4 + 4; ++i) {
      significant = significant * 2 + (known_[c][i] >> s != 0 ? 1 : 0);
      if (i < line) bits = bits * 2 + (known_[c][i] >> (s - 1) & 1);
    }
    return dspBsacP0[dspBsacZeroBase[model][std::min(d, 3)] +
                     dspBsacContext[significant][line % 4][bits]] *
           256U;
  }

  void Pass(const std::vector<int>& lines, int threshold) {
    if (budget_ <= 0) return;
    for (int s = 15; s > threshold; --s)
      for (const int i : lines)
        for (int c = 0; c < frame_.channels; ++c) {
          if (plane_[c][i] < s) continue;
          const int value = frame_.lines[c][i];
          if (known_[c][i] == 0 || signed_[c][i]) {
            const int bit = std::abs(value) >> (s - 1) & 1;
            budget_ -= coder_.Bit(P0(c, i, s), bit);
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
    for (int c = 0; c < frame_.channels; ++c) {
      Channel& channel = told.element.channel[c];
      for (int i = 0; i < kLines; ++i) {
        const int sign = !signed_[c][i] ? 0 : frame_.lines[c][i] < 0 ? -1 : 1;
        told.lines[c][i] = sign * known_[c][i];
      }
      std::fill_n(channel.lines, kLines, 0);
      for (int g = 0, window = 0; g < frame_.Groups(); window += Windows(g++)) {
        for (int b = sent_[g]; b < kBands; ++b) {
          channel.book[g][b] = channel.factor[g][b] = 0;
          told.element.msUsed[g][b] = false;
        }
        for (int i = 0; i < start_[g + 1] - start_[g]; ++i) {
          const int quad = i / 4;
          const int w = window + quad % Windows(g);
          const int line = quad / Windows(g) * 4 + i % 4;
          if (line < offsets_[info_.maxSfb])
            channel.lines[128 * w + line] = told.lines[c][start_[g] + i];
        }
      }
    }
    return told;
  }

  BsacFrame& frame_;
  const Channel info_;
  const bool isShort_;
  const int32_t* offsets_;
  int start_[kGroups + 1] = {};
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

}  // namespace

void FillBsac(std::mt19937& random, int largestSi, BsacFrame* frame) {
  const auto draw = [&](int below) {
    return static_cast<int>(random() % static_cast<uint32_t>(below));
  };
  constexpr int kCodes[8] = {1, 4, 8, 16, 16, 32, 32, 64};
  constexpr int kSis[8] = {5, 7, 9, 11, 13, 15, 23, 23};
  Element& element = frame->element;
  element.id = frame->channels == 2 ? kCpe : kSce;
  element.commonWindow = true;
  element.msMask = frame->msMask == 3 ? 1 : frame->msMask;
  for (int c = 0; c < frame->channels; ++c) {
    Channel& channel = element.channel[c];
    const int sis = std::min(kSis[kBsacCbandTypes[frame->siType[c]].model], largestSi + 1);
    for (int band = 0; band < 32; ++band) {
      const int si = frame->si[c][band] = draw(sis);
      const int top = si < 15 ? (si + 1) / 2 : si - 7;
      for (int i = 32 * band; i < 32 * band + 32; ++i) {
        const int magnitude = draw(1 << top) >> draw(top + 1);
        frame->lines[c][i] = draw(2) != 0 ? magnitude : -magnitude;
      }
    }
    const int codes = std::min(kCodes[frame->baseModel[c]], kCodes[frame->enhModel[c]]);
    for (int g = 0; g < frame->Groups(); ++g)
      for (int b = 0; b < channel.maxSfb; ++b) {
        const bool flags = frame->pnsStart >= 0 && b >= frame->pnsStart && frame->msMask != 2;
        int& book = channel.book[g][b];
        const int code = frame->code[c][g][b] = draw(codes);
        book = flags && draw(3) == 0 ? 13 : 1;
        if (c == 1) {
          const bool noise = element.channel[0].book[g][b] == 13;
          if (frame->msMask == 3 && draw(2) == 0) {
            if (noise)
              frame->noiseMode[g][b] = 1 + draw(2), book = 13;
            else if (book == 1)
              book = 14 + draw(2);
          }
          element.msUsed[g][b] = frame->noiseMode[g][b] == 1 ||
                                 ((frame->msMask & 1) != 0 && frame->noiseMode[g][b] == 0 &&
                                  book <= 13 && draw(2) == 0);
        }
        int& factor = channel.factor[g][b];
        factor = frame->maxScalefactor[c] - code;
        if (book == 13) factor = frame->maxNoise[c] - code - 40;
        if (book >= 14) factor = code % 2 != 0 ? -(code + 1) / 2 : code / 2;
      }
  }
}

std::vector<uint8_t> WriteBsac(BsacFrame* frame, int layers) {
  return FrameWriter(frame).Write(layers);
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
