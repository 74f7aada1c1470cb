#include "als/als_writer.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <random>
#include <stdexcept>

#include "support/bit_writer.h"

namespace orbel::als_test {
namespace {

using Signal = std::vector<int64_t>;

constexpr std::array<int32_t, 16> kLtpGains = {0,  8,  16, 24, 32, 40, 48, 56,
                                               64, 70, 76, 82, 88, 92, 96, 100};
constexpr std::array<int32_t, 32> kMccGains = {
    204, 192, 179, 166, 153, 140, 128, 115, 102,  89,   76,   64,   51,   38,   25,   12,
    0,   -12, -25, -38, -51, -64, -76, -89, -102, -115, -128, -140, -153, -166, -179, -192};

int Log2Up(uint32_t x) { return x <= 1 ? 0 : std::bit_width(x - 1); }
int64_t Rounded(int64_t value, int bits) { return (value + (int64_t{1} << (bits - 1))) >> bits; }
bool Fits(int64_t value, int bits) {
  return value >= -(int64_t{1} << (bits - 1)) && value < int64_t{1} << (bits - 1);
}

void Align(BitWriter* bits) { bits->Put(0, static_cast<int32_t>(-bits->position & 7)); }

void Rice(BitWriter* bits, int64_t value, int k) {
  if (!Fits(value, 32)) throw std::logic_error("residual of more than 32 bits");
  const int64_t magnitude = value >= 0 ? value : -value - 1;
  int64_t ones = k == 0 ? 2 * magnitude + (value < 0 ? 1 : 0) : magnitude >> (k - 1);
  for (; ones > 0; --ones) bits->Put(1, 1);
  bits->Put(0, 1);
  if (k == 0) return;
  bits->Put(value >= 0 ? 1 : 0, 1);
  bits->Put(static_cast<uint32_t>(magnitude), k - 1);
}

// Quantised reflection coefficients for the signal, by the recursion of Levinson
// and Durbin.
std::vector<int32_t> Reflect(const Signal& x, size_t order) {
  std::vector<double> corr(order + 1), a(order + 1), old;
  for (size_t lag = 0; lag <= order && lag < x.size(); ++lag)
    for (size_t n = lag; n < x.size(); ++n)
      corr[lag] += static_cast<double>(x[n]) * static_cast<double>(x[n - lag]);
  double error = corr[0] * (1 + 1e-9) + 1;
  std::vector<int32_t> q(order);
  for (size_t m = 1; m <= order; ++m) {
    double sum = corr[m];
    for (size_t i = 1; i < m; ++i) sum += a[i] * corr[m - i];
    const double k = std::clamp(-sum / error, -0.999, 0.999);
    old = a;
    a[m] = k;
    for (size_t i = 1; i < m; ++i) a[i] += k * old[m - i];
    error *= 1 - k * k;
    const double scaled = m > 2 ? 64 * k : 128 * std::sqrt(((m == 1 ? k : -k) + 1) / 2) - 64;
    q[m - 1] = std::clamp(static_cast<int32_t>(std::floor(scaled)), -64, 63);
  }
  return q;
}

// Adds a reflection coefficient to a direct form.
void Grow(Signal* form, int32_t q) {
  const size_t m = form->size();
  const int64_t companded = 128 * (q + 64) * (q + 65) - 1048544;
  const int64_t par = m == 0 ? companded : m == 1 ? -companded : q * 16384 + 8192;
  const Signal old = *form;
  for (size_t i = 0; i < m; ++i) (*form)[i] += Rounded(par * old[m - 1 - i], 20);
  form->push_back(par);
  for (const int64_t value : *form)
    if (!Fits(value, 32)) throw std::logic_error("coefficient of more than 32 bits");
}

struct Block {
  bool js = false, constant = false, random = false;
  int shift = 0;
  std::vector<int32_t> q;
  bool ltp = false;
  std::array<int32_t, 5> gain = {};  // as sent
  uint32_t lag = 0;                  // above the least
  Signal d;                          // the residual; for a constant block its value
};

class Encoder {
 public:
  Encoder(const Format& format, const std::vector<int32_t>& pcm, uint32_t seed)
      : f_(format), chance_(seed), width_(8 * (static_cast<int>(f_.resolution) + 1)) {
    x_.assign(f_.channels, Signal(f_.samples));
    for (uint32_t c = 0; c < f_.channels; ++c)
      for (uint32_t n = 0; n < f_.samples; ++n)
        x_[c][n] = pcm[n * f_.channels + (f_.chanPos.empty() ? c : f_.chanPos[c])];
  }

  Bytes Frame(uint32_t number) {
    bits_ = {};
    random_ = f_.randomAccess > 0 && number % f_.randomAccess == 0;
    start_ = number * f_.frameLength;
    length_ = std::min(f_.frameLength, f_.samples - start_);
    bool pairs = f_.jointStereo;
    if (f_.mcCoding && f_.jointStereo) {
      pairs = Chance(2);
      bits_.Put(pairs ? 1 : 0, 1);
      Align(&bits_);
    }
    correlated_ = f_.mcCoding && !pairs;
    if (correlated_) {
      Correlated();
    } else {
      for (uint32_t c = 0; c < f_.channels; ++c) {
        const bool pair = pairs && c % 2 == 0 && c + 1 < f_.channels;
        const bool coupled = pair && (f_.blockSwitching == 0 || !Chance(2));
        uint32_t at = start_;
        for (const uint32_t n : Layout(!coupled)) {
          const bool second = Chance(4);  // which of the two may be a difference
          Write(Choose(c, at, n, c, coupled && !second));
          if (coupled) Write(Choose(c + 1, at, n, c, second));
          at += n;
        }
        if (coupled) ++c;
      }
    }
    Align(&bits_);
    return bits_.bytes;
  }

 private:
  bool Chance(uint32_t n) { return !f_.tuned && chance_() % n == 0; }
  int32_t Between(int32_t low, int32_t high) {
    return low + static_cast<int32_t>(chance_() % static_cast<uint32_t>(high - low + 1));
  }

  // Lengths of the blocks that a frame of this length has.
  std::vector<uint32_t> Layout(bool independent) {
    std::vector<uint32_t> lengths;
    uint32_t tree = 0;
    if (f_.blockSwitching > 0) {
      const uint32_t size = 4U << f_.blockSwitching;
      tree = (f_.tuned ? 0 : static_cast<uint32_t>(chance_())) & ~1U;  // bit i: node i is split
      for (uint32_t node = 1; node < size; ++node) {
        const int level = std::bit_width(node) - 1;
        if ((f_.frameLength >> level) % 2 != 0 || f_.frameLength >> level < 4)
          tree &= ~(1U << node);
      }
      for (uint32_t node = 0; node < size; ++node)
        bits_.Put(node == 0 ? independent : tree >> node & 1, 1);
      if (size < 32) tree &= (1U << size) - 1;
    }
    Leaves(tree, 1, f_.frameLength, &lengths);
    uint32_t used = 0;
    for (uint32_t& n : lengths) {
      n = std::min(n, length_ - used);
      used += n;
    }
    std::erase(lengths, 0U);
    return lengths;
  }
  static void Leaves(uint32_t tree, uint32_t node, uint32_t n, std::vector<uint32_t>* lengths) {
    if (node >= 32 || (tree >> node & 1) == 0) return lengths->push_back(n);
    Leaves(tree, 2 * node, n / 2, lengths);
    Leaves(tree, 2 * node + 1, n / 2, lengths);
  }

  // The block of channel c, or the difference of the pair at `left` in its place.
  Block Choose(uint32_t c, uint32_t at, uint32_t n, uint32_t left, bool pair) {
    Block own = Plan(x_[c], at, n);
    if (!pair || Chance(2)) return own;
    Signal difference(at + n);
    for (uint32_t i = 0; i < at + n; ++i) difference[i] = x_[left + 1][i] - x_[left][i];
    if (!std::all_of(difference.begin(), difference.end(), [](int64_t v) { return Fits(v, 32); }))
      return own;
    Block block = Plan(difference, at, n);
    if (block.constant ? !Fits(block.d[0], width_) : f_.tuned && Size(own) < Size(block))
      return own;
    block.js = true;
    return block;
  }
  static int64_t Size(const Block& block) {
    int64_t size = 0;
    for (const int64_t d : block.d) size += std::abs(d);
    return size;
  }

  Block Plan(const Signal& x, uint32_t at, uint32_t n) {
    Block block;
    block.random = random_ && at == start_;
    const Signal own(x.begin() + at, x.begin() + at + n);
    block.constant = std::all_of(own.begin(), own.end(), [&](int64_t v) { return v == own[0]; });
    if (block.constant && (own[0] == 0 || !Chance(3))) {
      block.d = own;
      return block;
    }
    block.constant = false;
    uint64_t any = 0;
    for (const int64_t v : own) any |= static_cast<uint64_t>(v);
    if (any != 0) block.shift = std::min(16, std::countr_zero(any));
    if (block.shift > 0 && Chance(3)) block.shift = Between(0, block.shift);
    size_t order = f_.maxOrder;
    if (f_.adaptOrder) {
      const uint32_t end = std::max(2U, std::min(n >> 3, f_.maxOrder + 1));
      order = std::min(f_.maxOrder, f_.tuned ? end - 1 : static_cast<uint32_t>(chance_()) % end);
    }
    block.q = Reflect(own, order);
    if (Chance(3))
      for (int32_t& q : block.q) q = std::clamp(q + Between(-2, 2), -64, 63);
    // History and block, without the empty bits.
    const uint32_t past = block.random ? 0 : static_cast<uint32_t>(order);
    Signal s(past + n);
    for (uint32_t i = 0; i < past + n; ++i)
      if (at + i >= past) s[i] = x[at + i - past] >> block.shift;
    Signal form;
    if (!block.random)
      for (const int32_t q : block.q) Grow(&form, q);
    for (uint32_t i = 0; i < n; ++i) {
      int64_t sum = 0;
      for (size_t j = 0; j < form.size(); ++j) sum += form[j] * s[past + i - 1 - j];
      block.d.push_back(s[past + i] + Rounded(sum, 20));
      if (block.random && i < order) Grow(&form, block.q[i]);
    }
    if (f_.ltp && !Chance(3)) AnalyseLongTerm(&block);
    const bool fits =
        std::all_of(block.d.begin(), block.d.end(), [](int64_t v) { return Fits(v, 32); });
    if (fits || !f_.adaptOrder) return block;
    Block plain;
    plain.random = block.random;
    plain.d = own;
    return plain;
  }

  int LagBits(int least) const { return least + (f_.rate >= 96000) + (f_.rate >= 192000); }

  void AnalyseLongTerm(Block* block) {
    block->ltp = true;
    const auto n = static_cast<int32_t>(block->d.size());
    const int32_t most = (1 << LagBits(8)) - 1;
    block->lag = static_cast<uint32_t>(Chance(4)   ? 0
                                       : Chance(4) ? most
                                                   : Between(0, std::min(most, n)));
    for (int32_t& gain : block->gain) gain = Between(-3, 3);
    block->gain[2] = Between(0, 15);
    const int32_t lag =
        static_cast<int32_t>(block->lag) + std::max(4, static_cast<int32_t>(block->q.size()) + 1);
    const Signal d = block->d;
    for (int32_t i = std::max(0, lag - 2); i < n; ++i) {
      int64_t sum = 0;
      for (int32_t j = 0; j < 5; ++j) {
        const int32_t gain = j == 2 ? kLtpGains[static_cast<size_t>(block->gain[2])]
                                    : 8 * block->gain[static_cast<size_t>(j)];
        if (i - lag - 2 + j >= 0) sum += gain * d[static_cast<size_t>(i - lag - 2 + j)];
      }
      block->d[static_cast<size_t>(i)] -= Rounded(sum, 7);
    }
  }

  // Channels that predict each other's residuals, the masters being those of lower
  // rank in an order drawn for each block.
  void Correlated() {
    uint32_t at = start_;
    for (const uint32_t n : Layout(false)) {
      std::vector<Block> blocks;
      std::vector<Signal> whole;
      std::vector<uint32_t> rank;
      for (uint32_t c = 0; c < f_.channels; ++c) {
        blocks.push_back(Plan(x_[c], at, n));
        whole.push_back(blocks[c].constant ? Signal(n) : blocks[c].d);
        rank.push_back(c);
      }
      std::shuffle(rank.begin(), rank.end(), chance_);
      for (uint32_t c = 0; c < f_.channels; ++c) {
        BitWriter data;
        while (!blocks[c].constant && !Chance(2)) {
          const auto master = static_cast<uint32_t>(chance_() % f_.channels);
          if (master != c && rank[master] > rank[c]) break;
          data.Put(0, 1);
          data.Put(master, Log2Up(f_.channels));
          if (master != c) Subtract(&data, whole[master], &blocks[c].d);
        }
        data.Put(1, 1);
        Write(blocks[c]);
        for (int64_t i = 0; i < data.position; ++i)
          bits_.Put(data.bytes[static_cast<size_t>(i / 8)] >> (7 - i % 8) & 1U, 1);
        Align(&bits_);
      }
      at += n;
    }
  }
  void Subtract(BitWriter* data, const Signal& m, Signal* d) {
    const bool delayed = Chance(2);
    data->Put(delayed ? 1 : 0, 1);
    std::array<int32_t, 6> w = {};
    for (size_t i = 0; i < (delayed ? 6 : 3); ++i) {
      const int32_t code = Between(-4, 4);
      Rice(data, code, i == 1 ? 2 : 1);
      w[i] = kMccGains[static_cast<size_t>((i == 1 ? 14 : 16) + code)];
    }
    auto t = static_cast<int64_t>(0);
    if (delayed) {
      const int32_t code = Between(0, (1 << LagBits(5)) - 1);
      const bool negative = Chance(2);
      data->Put(negative ? 1 : 0, 1);
      data->Put(static_cast<uint32_t>(code), LagBits(5));
      t = negative ? -code - 3 : code + 3;
    }
    const auto n = static_cast<int64_t>(d->size());
    for (int64_t i = std::max<int64_t>(1, 1 - t); i < n - 1 - std::max<int64_t>(0, t); ++i) {
      int64_t sum = 0;
      for (int64_t j = 0; j < (delayed ? 6 : 3); ++j)
        sum += w[static_cast<size_t>(j)] * m[static_cast<size_t>(i - 1 + j % 3 + (j < 3 ? 0 : t))];
      (*d)[static_cast<size_t>(i)] -= Rounded(sum, 7);
    }
  }

  void Write(const Block& block) {
    BitWriter* bits = &bits_;
    const bool wide = f_.resolution > 1;
    bits->Put(block.constant ? 0 : 1, 1);
    if (block.constant) {
      bits->Put(block.d[0] != 0 ? 1 : 0, 1);
      bits->Put(block.js ? 1 : 0, 1);
      bits->Put(0, 5);
      const int64_t value = block.d[0] + (f_.resolution == 0 ? 128 : 0);
      if (block.d[0] != 0) bits->Put(static_cast<uint32_t>(value), width_);
      return Close();
    }
    bits->Put(block.js ? 1 : 0, 1);
    const size_t n = block.d.size();
    const size_t parts = f_.sbPart && n % 4 == 0 && n >= 12 && !Chance(4) ? 4 : 1;
    if (f_.sbPart) bits->Put(parts == 4 ? 1 : 0, 1);
    std::vector<int> s;
    for (size_t i = 0; i < parts; ++i) {
      s.push_back(Parameter(block.d, i * n / parts, n / parts));
      if (i == 0)
        bits->Put(static_cast<uint32_t>(s[0]), wide ? 5 : 4);
      else
        Rice(bits, s[i] - s[i - 1], 0);
    }
    bits->Put(block.shift > 0 ? 1 : 0, 1);
    if (block.shift > 0) bits->Put(static_cast<uint32_t>(block.shift - 1), 4);
    if (f_.adaptOrder)
      bits->Put(static_cast<uint32_t>(block.q.size()),
                Log2Up(std::max(2U, std::min(static_cast<uint32_t>(n) >> 3, f_.maxOrder + 1))));
    for (const int32_t q : block.q) bits->Put(static_cast<uint32_t>(q + 64), 7);
    if (f_.ltp) WriteLongTerm(block);
    for (size_t i = 0; i < n; ++i) {
      int k = s[i * parts / n];
      if (block.random && i < std::min<size_t>(block.q.size(), 3))
        k = i == 0 ? width_ - 4 : std::min(s[0] + (i == 1 ? 3 : 1), wide ? 31 : 15);
      Rice(bits, block.d[i], k);
    }
    Close();
  }
  // Blocks on their own end with a byte.
  void Close() {
    if (!correlated_) Align(&bits_);
  }
  void WriteLongTerm(const Block& block) {
    bits_.Put(block.ltp ? 1 : 0, 1);
    if (!block.ltp) return;
    for (size_t i = 0; i < 5; ++i) {
      if (i != 2) {
        Rice(&bits_, block.gain[i], i == 0 || i == 4 ? 1 : 2);
        continue;
      }
      for (int32_t a = block.gain[2] / 4; a > 0; --a) bits_.Put(1, 1);
      bits_.Put(0, 1);
      bits_.Put(static_cast<uint32_t>(block.gain[2] % 4), 2);
    }
    bits_.Put(block.lag, LagBits(8));
  }
  // The Rice parameter for a stretch, now and then the greatest.
  int Parameter(const Signal& d, size_t at, size_t n) {
    const int most = f_.resolution > 1 ? 31 : 15;
    if (Chance(16)) return most;
    double sum = 0;
    for (size_t i = at; i < at + n; ++i) sum += static_cast<double>(std::abs(d[i]));
    const double mean = sum / static_cast<double>(n);
    return mean < 0.3 ? 0 : std::clamp(static_cast<int>(std::lround(std::log2(mean) + 1)), 1, most);
  }

  const Format& f_;
  std::mt19937 chance_;
  int width_;
  std::vector<Signal> x_;  // by coded channel
  BitWriter bits_;
  bool random_ = false, correlated_ = false;
  uint32_t start_ = 0, length_ = 0;
};

void PutWord(Bytes* bytes, uint32_t word) {
  for (int shift = 24; shift >= 0; shift -= 8)
    bytes->push_back(static_cast<uint8_t>(word >> shift));
}

}  // namespace

Bytes WriteConfig(const Format& f) {
  BitWriter bits;
  bits.Put(0x414C5300, 32);
  bits.Put(f.rate, 32);
  bits.Put(f.unknownLength ? 0xFFFFFFFF : f.samples, 32);
  bits.Put(f.channels - 1, 16);
  bits.Put(0, 3);
  bits.Put(f.resolution, 3);
  for (const bool flag : {f.floating, f.msbFirst}) bits.Put(flag ? 1 : 0, 1);
  bits.Put(f.frameLength - 1, 16);
  bits.Put(f.randomAccess, 8);
  bits.Put(f.raFlag, 2);
  bits.Put(f.adaptOrder ? 1 : 0, 1);
  bits.Put(f.coefTable, 2);
  bits.Put(f.ltp ? 1 : 0, 1);
  bits.Put(f.maxOrder, 10);
  bits.Put(f.blockSwitching, 2);
  for (const bool flag :
       {f.bgmc, f.sbPart, f.jointStereo, f.mcCoding, false, !f.chanPos.empty(), f.crc, f.rlslms})
    bits.Put(flag ? 1 : 0, 1);
  bits.Put(0, 6);
  for (const uint32_t position : f.chanPos) bits.Put(position, Log2Up(f.channels));
  Align(&bits);
  PutWord(&bits.bytes, 3);           // header
  PutWord(&bits.bytes, 0xFFFFFFFF);  // trailer, kept elsewhere
  bits.bytes.insert(bits.bytes.end(), {'h', 'e', 'd'});
  if (f.crc) PutWord(&bits.bytes, f.checksum);
  for (const uint32_t size : f.unitSizes) PutWord(&bits.bytes, size);
  return bits.bytes;
}

Bytes AsAudioSpecificConfig(uint32_t rate, const Bytes& record) {
  BitWriter bits;
  bits.Put(31, 5);
  bits.Put(36 - 32, 6);
  bits.Put(15, 4);
  bits.Put(rate, 24);
  bits.Put(0, 4 + 5);
  bits.bytes.insert(bits.bytes.end(), record.begin(), record.end());
  return bits.bytes;
}

Stream Encode(Format f, const std::vector<int32_t>& pcm, uint32_t seed) {
  f.samples = static_cast<uint32_t>(pcm.size() / f.channels);
  Stream stream;
  Encoder encoder(f, pcm, seed);
  uint32_t sum = 0xFFFFFFFF;
  for (const int32_t sample : pcm) {
    const auto word = static_cast<uint32_t>(sample) + (f.resolution == 0 ? 128 : 0);
    for (uint32_t i = 0; i <= f.resolution; ++i) {
      stream.pcm.push_back(static_cast<uint8_t>(word >> 8 * i));
      sum ^= word >> 8 * (f.msbFirst ? f.resolution - i : i) & 0xFF;
      for (int bit = 0; bit < 8; ++bit) sum = sum >> 1 ^ ((sum & 1) != 0 ? 0xEDB88320 : 0);
    }
  }
  f.checksum = ~sum;
  for (uint32_t at = 0; at < f.samples; at += f.frameLength)
    stream.frames.push_back(encoder.Frame(at / f.frameLength));
  const size_t step = f.randomAccess;
  for (size_t at = 0; step > 0 && f.raFlag > 0 && at < stream.frames.size(); at += step) {
    uint32_t size = 0;
    for (size_t i = at; i < std::min(at + step, stream.frames.size()); ++i)
      size += static_cast<uint32_t>(stream.frames[i].size());
    if (f.raFlag == 2) {
      f.unitSizes.push_back(size);
      continue;
    }
    Bytes head;
    PutWord(&head, size);
    stream.frames[at].insert(stream.frames[at].begin(), head.begin(), head.end());
  }
  stream.config = WriteConfig(f);
  return stream;
}

Bytes Stream::Whole() const {
  Bytes bytes = config;
  for (const Bytes& frame : frames) bytes.insert(bytes.end(), frame.begin(), frame.end());
  return bytes;
}

std::vector<Bytes> Stream::Units(uint32_t count) const {
  std::vector<Bytes> units;
  for (size_t i = 0; i < frames.size(); ++i) {
    if (count == 0 ? i == 0 : i % count == 0) units.emplace_back();
    units.back().insert(units.back().end(), frames[i].begin(), frames[i].end());
  }
  return units;
}

}  // namespace orbel::als_test
