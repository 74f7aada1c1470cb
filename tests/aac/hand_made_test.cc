// Streams that no encoder at hand makes, through the codec class, against a
// rendering in double precision of what was laid down in them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numeric>
#include <random>
#include <vector>

#include "aac/aac_decoder.h"
#include "aac/aac_writer.h"
#include "aac/reference_model.h"

namespace orbel::aac_test {
namespace {

using Bytes = std::vector<uint8_t>;
using Pcm = std::vector<int16_t>;
using Random = std::mt19937;

int Draw(Random& random, int low, int high) {
  return low + static_cast<int>(random() % static_cast<uint32_t>(high - low + 1));
}

class Decoder {
 public:
  // With a configuration for raw units; without one, streams show their kind.
  explicit Decoder(Bytes config = {}) : config_(std::move(config)) {
    UMC::AACDecoderParams params;
    UMC::MediaData data;
    params.sbrMode = 18;
    params.sbrDownsample = 1;
    params.sbrSupportLevel = 777;
    params.psSupportLevel = 0;
    params.layer = -1;
    if (!config_.empty()) {
      data.SetBufferPointer(config_.data(), config_.size());
      data.SetDataSize(config_.size());
      params.data = &data;
      params.inputStreamType = UMC::kStreamUnits;
    }
    EXPECT_EQ(codec.Init(&params), UMC::UMC_OK);
    EXPECT_EQ(out.Alloc(1 << 16), UMC::UMC_OK);
  }

  // One frame from exactly these bytes; what was decoded is then in `pcm`.
  UMC::Status Frame(const Bytes& bytes) {
    Bytes copy = bytes;
    UMC::MediaData in;
    in.SetBufferPointer(copy.data(), copy.size());
    in.SetDataSize(copy.size());
    const UMC::Status status = Frame(&in);
    left = in.GetDataSize();
    return status;
  }
  UMC::Status Frame(UMC::MediaData* in) {
    out.Reset();
    const UMC::Status status = codec.GetFrame(in, &out);
    const auto* const samples = reinterpret_cast<const int16_t*>(out.GetDataPointer());
    pcm.assign(samples, samples + out.GetDataSize() / 2);
    return status;
  }

  UMC::AACDecoder codec;
  UMC::AudioData out;
  Pcm pcm;
  uint64_t left = 0;

 private:
  Bytes config_;
};

// A difference of 16-bit samples that stays within what ISO/IEC 14496-4 asks for.
class Comparison {
 public:
  void Add(const Pcm& pcm, const std::vector<Signal>& signals, const std::vector<size_t>& order) {
    ASSERT_EQ(pcm.size(), order.size() * kLines);
    for (size_t i = 0; i < pcm.size(); ++i) {
      const double exact = signals[order[i % order.size()]][i / order.size()];
      const double want = std::nearbyint(std::clamp(exact, -32768.0, 32767.0));
      const double error = std::abs(pcm[i] - want);
      largest_ = std::max(largest_, error);
      sum_ += error * error;
      energy_ += want * want;
      ++count_;
    }
  }
  ~Comparison() {
    EXPECT_LE(largest_, 1);
    EXPECT_LT(std::sqrt(sum_ / count_), 1 / std::sqrt(12.0));
    EXPECT_GT(std::sqrt(energy_ / count_), 20) << "the stream is all but silent";
  }

 private:
  double largest_ = 0;
  double sum_ = 0;
  double energy_ = 0;
  double count_ = 0;
};

std::vector<size_t> InOrder(size_t channels) {
  std::vector<size_t> order(channels);
  std::iota(order.begin(), order.end(), size_t{0});
  return order;
}

// Decodes raw units and compares; `order` says which of the block's channels stands where in the
// output, if not in the order of the block. A reset must bring the same samples again.
void Check(const Format& format, const std::vector<Block>& blocks,
           const std::vector<size_t>& order = {}, const ProgramConfig* program = nullptr) {
  Decoder decoder(WriteConfig(format, program != nullptr ? 0 : 2, program));
  ReferenceModel model(format);
  Comparison comparison;
  std::vector<Pcm> all;
  for (const Block& block : blocks) {
    ASSERT_EQ(decoder.Frame(WriteBlock(format, block)), UMC::UMC_OK) << "block " << all.size();
    const std::vector<Signal> signals = model.Decode(block);
    comparison.Add(decoder.pcm, signals, order.empty() ? InOrder(signals.size()) : order);
    all.push_back(decoder.pcm);
  }
  if (format.objectType == 1) return;  // predictors live through a reset
  EXPECT_EQ(decoder.codec.Reset(), UMC::UMC_OK);
  for (size_t i = 0; i < blocks.size(); ++i) {
    ASSERT_EQ(decoder.Frame(WriteBlock(format, blocks[i])), UMC::UMC_OK);
    EXPECT_TRUE(decoder.pcm == all[i]) << "after a reset, block " << i;
  }
}

struct Shape {
  int sequence = 0;
  int shape = 0;
  int maxSfb = 40;
  std::vector<int> groups = {1};
};
// What may follow what: a stretch of all window kinds.
const std::vector<Shape> kShapes = {
    {0, 0, 49},
    {1, 1, 40},
    {2, 0, 14, {1, 7}},
    {2, 1, 12, {3, 1, 1, 2, 1}},
    {2, 1, 9, {8}},
    {3, 0, 45},
    {0, 1, 30},
    {1, 0, 49},
    {3, 1, 49},
    {1, 1, 20},
    {2, 0, 14, {1, 1, 1, 1, 1, 1, 1, 1}},
    {3, 1, 33},
};

constexpr int kLargest[13] = {0, 1, 1, 2, 2, 4, 4, 7, 7, 12, 12, 8191, 0};

// Random lines in the given books, each band at about the same level.
Channel RandomChannel(Random& random, const Format& format, const Shape& shape,
                      const std::vector<int>& books = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12},
                      double level = 30000) {
  Channel channel;
  channel.sequence = shape.sequence;
  channel.shape = shape.shape;
  channel.maxSfb = shape.maxSfb;
  channel.groups = shape.groups;
  channel.globalGain = 130;
  const int32_t* const offsets = Offsets(format, channel);
  int first = 0;
  for (size_t g = 0; g < shape.groups.size(); first += shape.groups[g++]) {
    for (int b = 0; b < shape.maxSfb; ++b) {
      const int book = books[random() % books.size()];
      const int largest = book == 11 ? kLargest[11] >> Draw(random, 0, 9) : kLargest[book];
      channel.book[g][b] = book;
      channel.factor[g][b] =
          100 + static_cast<int>(
                    4 * std::log2(std::max(1.0, level / std::pow(std::max(largest, 1), 4.0 / 3))));
      for (int w = first; w < first + shape.groups[g]; ++w)
        for (int k = offsets[b]; k < offsets[b + 1]; ++k)
          channel.lines[w * 128 + k] = Draw(random, -largest, largest);
    }
  }
  return channel;
}

Element Single(const Channel& channel, int tag = 0, int id = kSce) {
  Element element;
  element.id = id;
  element.tag = tag;
  element.channel[0] = channel;
  return element;
}

Element Pair(const Channel& left, const Channel& right, int tag = 0) {
  Element element;
  element.id = kCpe;
  element.tag = tag;
  element.channel[0] = left;
  element.channel[1] = right;
  return element;
}

Element RandomPair(Random& random, const Format& format, const Shape& shape, int tag = 0) {
  return Pair(RandomChannel(random, format, shape), RandomChannel(random, format, shape), tag);
}

void DrawMask(Random& random, Element* pair, int mask) {
  pair->commonWindow = true;
  pair->msMask = mask;
  for (auto& group : pair->msUsed)
    for (bool& used : group) used = random() % 2 != 0;
}

Element Raw(int id, std::initializer_list<std::pair<uint32_t, int>> fields) {
  Element element;
  element.id = id;
  for (const auto& [value, bits] : fields) element.payload.Put(value, bits);
  return element;
}

// --- one channel and pairs

TEST(HandMade, BooksWindowsAndGroups) {
  Random random(1);
  for (const int samplingIndex : {3, 4, 8}) {
    const Format format = {2, samplingIndex};
    std::vector<Block> blocks;
    for (size_t i = 0; i < kShapes.size(); ++i) {
      Shape shape = kShapes[i];
      if (samplingIndex == 8 && shape.sequence != 2) shape.maxSfb = std::min(shape.maxSfb, 43);
      Element pair = RandomPair(random, format, shape);
      pair.commonWindow = i % 3 != 0;
      if (!pair.commonWindow)
        pair.channel[1] = RandomChannel(random, format, {shape.sequence, 1, 9, shape.groups});
      pair.channel[0].emptySections = i % 2 != 0;
      blocks.push_back({pair});
    }
    SCOPED_TRACE(samplingIndex);
    Check(format, blocks);
  }
}

TEST(HandMade, StereoAndNoise) {
  Random random(2);
  const Format format;
  std::vector<Block> blocks;
  bool lastUsed[kGroups][kBands] = {};
  for (size_t i = 0; i < 2 * kShapes.size(); ++i) {
    Element pair = RandomPair(random, format, kShapes[i % kShapes.size()]);
    DrawMask(random, &pair, static_cast<int>(i % 4));
    for (auto& channel : pair.channel) {
      for (size_t g = 0; g < channel.groups.size(); ++g) {
        for (int b = 0; b < channel.maxSfb; ++b) {
          const int kind = Draw(random, 0, 3);
          const bool isLeft = &channel == &pair.channel[0];
          if (kind == 0) {
            channel.book[g][b] = 13;
            channel.factor[g][b] = Draw(random, 40, 60);
          } else if (kind == 1 && !isLeft) {
            channel.book[g][b] = Draw(random, 14, 15);
            channel.factor[g][b] = Draw(random, -9, 12);
          }
          const int book = channel.book[g][b];
          if (book < 13) continue;
          if (isLeft || book == 13) pair.channel[0].book[g][b] = book;
          if (pair.channel[0].book[g][b] == 13 && pair.channel[0].factor[g][b] > 70)
            pair.channel[0].factor[g][b] = 50;
        }
      }
    }
    // Mask 3 reads no bits: those of the last mask 1 still stand.
    if (pair.msMask == 3) std::memcpy(pair.msUsed, lastUsed, sizeof lastUsed);
    if (pair.msMask == 1) {
      for (size_t g = 0; g < pair.channel[0].groups.size(); ++g)
        std::copy_n(pair.msUsed[g], pair.channel[0].maxSfb, lastUsed[g]);
    }
    blocks.push_back({pair});
  }
  Check(format, blocks);
}

TEST(HandMade, Pulses) {
  Random random(3);
  const Format format;
  std::vector<Block> blocks;
  for (int i = 0; i < 12; ++i) {
    Channel channel = RandomChannel(random, format, kShapes[static_cast<size_t>(i)], {3, 5, 7, 9});
    channel.pulseStart = Draw(random, 0, 25);
    for (int p = 0; p <= i % 4; ++p)
      channel.pulses.push_back({Draw(random, 0, 31), Draw(random, 0, 15)});
    if (i == 0) channel.pulseStart = 49, channel.pulses = {{0, 15}};  // behind the last line
    if (i == 8) channel.pulseStart = 48, channel.pulses = {{31, 3}, {31, 4}, {31, 5}, {2, 6}};
    blocks.push_back({Single(channel)});
  }
  Check(format, blocks);
}

// --- temporal noise shaping

TEST(HandMade, EveryTnsCoefficient) {
  const Format format;
  Random random(4);
  std::vector<TnsWindow> windows;
  for (const int coefRes : {0, 1}) {
    for (const int compress : {0, 1}) {
      const int half = 1 << (coefRes + 2 - compress);
      for (int coef = -half; coef < half; ++coef)
        windows.push_back({coefRes, {{9, coef & 1, compress, {coef}}}});
    }
  }
  std::vector<Block> blocks;
  for (size_t i = 0; i < windows.size(); i += 8) {
    Channel channel = RandomChannel(random, format, {2, 0, 14, {4, 4}}, {5, 7}, 3000);
    channel.tns.assign(8, {});
    std::copy_n(&windows[i], std::min<size_t>(8, windows.size() - i), channel.tns.begin());
    blocks.push_back({Single(channel)});
  }
  Check(format, blocks);
}

std::vector<TnsFilter> RandomFilters(Random& random, int count, int bands, int order) {
  std::vector<TnsFilter> filters;
  for (int f = 0; f < count; ++f) {
    const int compress = Draw(random, 0, 1);
    TnsFilter filter = {Draw(random, 0, bands), Draw(random, 0, 1), compress, {}};
    const int coefs = Draw(random, 0, order);
    // Steep filters of a high order ring beyond what 32-bit floats can follow.
    const int most = compress != 0 || coefs > 12 ? 1 : 3;
    for (int i = 0; i < coefs; ++i) filter.coefs.push_back(Draw(random, -most, most));
    filters.push_back(filter);
  }
  return filters;
}

TEST(HandMade, TnsFiltersOfAllShapes) {
  for (const int objectType : {2, 3, 4}) {
    Random random(5);
    const Format format = {objectType, objectType == 3 ? 3 : 4};
    std::vector<Block> blocks;
    for (size_t i = 0; i < 3 * kShapes.size(); ++i) {
      Channel channels[2];
      for (Channel& channel : channels) {
        channel = RandomChannel(random, format, kShapes[i % kShapes.size()], {1, 5, 11}, 3000);
        for (int w = 0; w < channel.Windows(); ++w) {
          const int count = Draw(random, 0, channel.sequence == 2 ? 1 : 3);
          channel.tns.push_back({1, channel.sequence == 2 ? RandomFilters(random, count, 15, 7)
                                                          : RandomFilters(random, count, 30, 31)});
        }
      }
      // An order of 20 right before a further filter, whose first coefficient takes the place
      // of the last one: no longer a stable filter, so over few lines. Then one of length 0.
      if (i % 5 == 0 && channels[0].sequence != 2) {
        channels[0].tns[0].filters = {{9, 0, 0, std::vector<int>(20, 1)},
                                      {0, 1, 0, {3}},
                                      {63, 1, 0, std::vector<int>(20, -1)}};
      }
      blocks.push_back({Pair(channels[0], channels[1])});
    }
    SCOPED_TRACE(objectType);
    Check(format, blocks);
  }
}

// --- four bands and gain control

TEST(HandMade, GainControlInAllWindows) {
  static constexpr int kLocations[4][8] = {{32}, {16, 4}, {4, 4, 4, 4, 4, 4, 4, 4}, {16, 32}};
  Random random(6);
  const Format format = {3, 4};
  std::vector<Block> blocks;
  for (size_t i = 0; i < 3 * kShapes.size(); ++i) {
    Channel channel =
        RandomChannel(random, format, kShapes[i % kShapes.size()], {0, 3, 5, 7, 9, 11});
    channel.gainBands = i % 7 == 6 ? -1 : Draw(random, 0, 3);
    for (int b = 0; b < channel.gainBands; ++b) {
      for (int w = 0; w < 8 && kLocations[channel.sequence][w] != 0; ++w) {
        const int room = kLocations[channel.sequence][w];
        for (int at = Draw(random, 0, 3); at < room && channel.gain[b][w].size() < 7;
             at += Draw(random, 1, room / 4 + 1))
          channel.gain[b][w].push_back({Draw(random, 1, 8), at});
      }
    }
    blocks.push_back({Single(channel)});
  }
  Check(format, blocks);
}

// --- prediction

TEST(HandMade, MainPredictionAndItsResets) {
  Random random(7);
  const Format format = {1, 4};
  Element first = RandomPair(random, format, {0, 0, 49});
  std::vector<Block> blocks;
  for (int i = 0; i < 60; ++i) {
    Element pair = first;
    pair.commonWindow = i % 2 != 0;
    for (Channel& channel : pair.channel) {
      if (i % 20 == 11) channel = RandomChannel(random, format, {1, 0, 40});
      if (i % 20 == 12) channel = RandomChannel(random, format, {2, 0, 14, {2, 6}});
      if (i % 20 == 13) channel = RandomChannel(random, format, {3, 0, 30});
      for (int b = 0; b < channel.maxSfb; ++b)
        channel.factor[0][b] = std::clamp(channel.factor[0][b] + Draw(random, -1, 1), 80, 175);
      channel.predictorData = channel.sequence != 2 && i > 2 && i % 8 != 7;
      channel.resetGroup = i % 9 == 3 ? 31 : i % 9 == 6 ? 0 : i % 3 == 0 ? Draw(random, 1, 30) : -1;
      for (bool& used : channel.predicted) used = Draw(random, 0, 3) != 0;
    }
    if (pair.commonWindow) {
      pair.channel[1].resetGroup = pair.channel[0].resetGroup;
      std::copy_n(pair.channel[0].predicted, kBands, pair.channel[1].predicted);
    }
    blocks.push_back({pair});
  }
  Check(format, blocks);
}

// What clips in the output is clipped in the history too.
TEST(HandMade, LongTermPrediction) {
  for (const double level : {1e4, 1e6}) {
    Random random(8);
    const Format format = {4, 4};
    std::vector<Block> blocks;
    for (size_t i = 0; i < 3 * kShapes.size(); ++i) {
      const Shape& shape = kShapes[i % kShapes.size()];
      Element pair = Pair(RandomChannel(random, format, shape, {0, 0, 0, 5}, level),
                          RandomChannel(random, format, shape, {0, 0, 0, 7}, level));
      pair.commonWindow = i % 2 != 0;
      for (Channel& channel : pair.channel) {
        channel.ltp = shape.sequence != 2 && i > 0 && Draw(random, 0, 3) != 0;
        channel.ltpLag = i == 5 ? 0 : i == 6 ? 2047 : Draw(random, 0, 2047);
        channel.ltpCoef = Draw(random, 0, 7);
        for (bool& used : channel.ltpUsed) used = Draw(random, 0, 2) != 0;
        if (shape.sequence != 2 && i % 3 == 0)
          channel.tns = {{1, RandomFilters(random, 2, 25, 12)}};
      }
      const bool any = pair.channel[0].ltp || pair.channel[1].ltp;
      for (Channel& channel : pair.channel)
        channel.predictorData = pair.commonWindow ? any : channel.ltp;
      blocks.push_back({pair});
    }
    Check(format, blocks);
  }
}

// --- coupling

Element Coupling(const Channel& channel, std::vector<Target> targets, int domain, int sign,
                 int scale) {
  Element element = Single(channel, 3, kCce);
  element.targets = std::move(targets);
  element.domain = domain;
  element.gainSign = sign;
  element.gainScale = scale;
  return element;
}

TEST(HandMade, CouplingMixesIntoItsTargets) {
  struct Case {
    std::vector<Target> targets;
    int lists;  // behind the first
    int objectType = 2;
  };
  const Case cases[] = {
      {{{false, 0}}, 0},
      {{{true, 0, 2}}, 0},
      {{{true, 0, 1}}, 0, 1},
      {{{true, 0, 3}}, 1, 4},
      {{{false, 0}, {true, 0, 3}}, 2},
      {{{true, 0, 1}, {false, 9}, {false, 0}}, 2},  // the second one is nowhere
      {{{true, 0, 3}, {true, 9, 3}, {true, 1, 3}}, 5},
  };
  Random random(9);
  for (const Case& c : cases) {
    const Format format = {c.objectType, 4};
    std::vector<Block> blocks;
    for (int i = 0; i < 16; ++i) {
      const Shape& shape = kShapes[static_cast<size_t>(i) % kShapes.size()];
      Channel channel = RandomChannel(random, format, shape);
      Element target = RandomPair(random, format, shape);
      if (shape.sequence != 2) {
        channel.tns = {{1, RandomFilters(random, 1, 30, 12)}};
        target.channel[0].tns = {{1, RandomFilters(random, 1, 30, 12)}};
      }
      channel.predictorData = shape.sequence != 2 && c.objectType != 2;
      channel.ltp = channel.predictorData && c.objectType == 4;
      channel.ltpLag = 1500;
      std::fill_n(channel.ltpUsed, 40, true);
      std::fill_n(channel.predicted, kBands, true);
      Element coupling = Coupling(channel, c.targets, i % 2, i / 2 % 2, i / 4);
      for (int l = 0; l < c.lists; ++l) {
        GainList list;
        list.common = Draw(random, 0, 1) != 0;
        list.value = Draw(random, -9, 20);
        for (auto& group : list.byBand)
          for (int& value : group) value = Draw(random, -9, 20);
        coupling.lists.push_back(list);
      }
      Element second =
          Coupling(RandomChannel(random, format, shape), {{false, 0}}, 1 - i % 2, 0, 3);
      second.independent = i % 3 == 0;  // then it changes nothing
      Block block = {Single(RandomChannel(random, format, shape)), target,
                     RandomPair(random, format, shape, 1)};
      block.insert(i % 4 < 2 ? block.begin() : block.end(), coupling);
      block.push_back(second);
      blocks.push_back(block);
    }
    SCOPED_TRACE(&c - cases);
    Check(format, blocks);
  }
}

// --- channels and their order

TEST(HandMade, ProgramConfigOrdersTheChannels) {
  Random random(10);
  const Format format;
  ProgramConfig program;
  program.front = {{false, 3}, {true, 0}};
  program.side = {{true, 2}};
  program.back = {{false, 7}, {true, 5}};
  program.lfe = {1};
  program.comment = {'x', 'y'};
  const Shape shape;
  std::vector<Block> blocks;
  std::vector<Block> withProgram;
  for (int i = 0; i < 3; ++i) {
    const auto single = [&](int tag, int id) {
      return Single(RandomChannel(random, format, shape), tag, id);
    };
    blocks.push_back({single(1, kLfe), RandomPair(random, format, shape, 5), single(3, kSce),
                      RandomPair(random, format, shape, 2), single(7, kSce),
                      RandomPair(random, format, shape, 0)});
    withProgram.push_back(blocks.back());
    withProgram.back().push_back(single(8, kSce));  // not in the map: not in the output
    Element own;
    own.id = kPce;
    // The program config element aligns itself from the block's start on.
    BitWriter block;
    block.Put(kPce, 3);
    WriteProgramConfig(&block, format, program);
    for (size_t bit = 3; bit < block.Bits(); ++bit)
      own.payload.Put(block.Bytes()[bit / 8] >> (7 - bit % 8) & 1, 1);
    if (i == 0) withProgram.back().insert(withProgram.back().begin(), own);
  }
  const std::vector<size_t> order = {3, 7, 8, 4, 5, 1, 2, 6, 0};
  Check(format, blocks, order, &program);
  Check(format, withProgram, order);
}

TEST(HandMade, TenChannelsRepeatedTagsAndOtherElements) {
  Random random(11);
  const Format format;
  const Shape shape;
  const Element fill = Raw(kFil, {{15, 4}, {3, 8}, {0, 32}, {0, 32}, {0, 32}, {0, 32}, {0, 8}});
  const Element skipped = Raw(kFil, {{2, 4}, {0x15, 8}, {0xA5, 8}});
  // Dynamic range data with all that may be in it.
  const Element range = Raw(kFil, {{9, 4},
                                   {11, 4},
                                   {1, 1},
                                   {0x30, 8},
                                   {1, 1},
                                   {0x7F, 7},
                                   {0, 1},
                                   {1, 1},
                                   {0x10, 8},
                                   {0x2040, 16},
                                   {1, 1},
                                   {0x55, 8},
                                   {0xFF10, 16}});
  Element data = Raw(kDse, {{4, 4}, {0, 1}, {255, 8}, {1, 8}});
  for (int i = 0; i < 256; ++i) data.payload.Put(static_cast<uint32_t>(i), 8);
  std::vector<Block> blocks;
  for (int i = 0; i < 4; ++i) {
    Block block;
    for (const int tag : {0, 4, 0, 15}) block.push_back(RandomPair(random, format, shape, tag));
    // Tags in turns: each keeps its own overlap.
    for (const int tag : {i % 2, 1 - i % 2})
      block.push_back(Single(RandomChannel(random, format, kShapes[static_cast<size_t>(i)]), tag));
    block.insert(block.begin() + i, {fill, data, skipped, range});
    if (i == 2) block.pop_back();  // comes back in the next block
    blocks.push_back(block);
  }
  Check(format, blocks);
}

// --- frames that are refused, and streams with headers

struct Refusal {
  const char* name;
  Bytes unit;
};

std::vector<Refusal> Refusals(Random& random, const Format& format) {
  const Channel good = RandomChannel(random, format, {0, 0, 20}, {5});
  std::vector<Refusal> all;
  const auto add = [&](const char* name, auto change) {
    Channel channel = good;
    change(&channel);
    all.push_back({name, WriteBlock(format, {Single(channel)})});
  };
  add("a band too many", [](Channel* c) { c->maxSfb = 50; });
  add("prediction", [](Channel* c) { c->predictorData = true; });
  add("gain control", [](Channel* c) { c->gainBands = 0; });
  add("pulse band", [](Channel* c) { c->pulseStart = 50, c->pulses = {{0, 1}}; });
  add("pulse line", [](Channel* c) { c->pulseStart = 49, c->pulses = {{0, 1}, {1, 1}}; });
  Block block(3, Coupling(good, {{false, 0}}, 0, 0, 0));
  block.push_back(Single(good));
  all.push_back({"three coupling elements", WriteBlock(format, block)});
  block.clear();
  for (int i = 0; i < 9; ++i) block.push_back(Single(good, i));
  block.push_back(Pair(good, good));
  all.push_back({"eleven channels", WriteBlock(format, block)});
  BitWriter bits;  // id, tag, global gain, window, 20 bands, a section of 21
  for (const auto& [value, width] : {std::pair{0U, 3},
                                     {0U, 4},
                                     {100U, 8},
                                     {0U, 4},
                                     {20U, 6},
                                     {0U, 1},
                                     {0U, 4},
                                     {21U, 5},
                                     {0U, 32}})
    bits.Put(value, width);
  all.push_back({"a section too long", bits.Bytes()});
  return all;
}

TEST(HandMade, BadFramesAreSilentAndLeaveNoTrace) {
  Random random(12);
  const Format format;
  Decoder decoder(WriteConfig(format, 1));
  ReferenceModel model(format);
  Comparison comparison;
  const auto good = [&](int tag) {
    const Block block = {Single(RandomChannel(random, format, {0, 0, 30}), tag)};
    ASSERT_EQ(decoder.Frame(WriteBlock(format, block)), UMC::UMC_OK);
    comparison.Add(decoder.pcm, model.Decode(block), {0});
  };
  good(0);
  for (const Refusal& refusal : Refusals(random, format)) {
    SCOPED_TRACE(refusal.name);
    EXPECT_EQ(decoder.Frame(refusal.unit), UMC::UMC_ERR_INVALID_STREAM);
    EXPECT_EQ(decoder.left, 0u);
    EXPECT_EQ(decoder.pcm, Pcm(kLines, 0));
    good(0);
  }
  EXPECT_EQ(decoder.Frame({0xE0}), UMC::UMC_OK);  // no channels at all
  EXPECT_TRUE(decoder.pcm.empty());
  good(0);
  // Cut anywhere, a frame is bad, and nothing is read behind its end.
  const Bytes whole = WriteBlock(format, {Single(RandomChannel(random, format, {0, 0, 49}, {11}))});
  for (size_t size = 1; size < whole.size(); size += 1 + size / 8) {
    const Bytes cut(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size));
    EXPECT_EQ(decoder.Frame(cut), UMC::UMC_ERR_INVALID_STREAM) << size;
  }
  good(0);
}

TEST(HandMade, AFrameWaitsForRoom) {
  Random random(13);
  const Format format;
  Decoder decoder(WriteConfig(format, 2));
  ReferenceModel model(format);
  Comparison comparison;
  for (int i = 0; i < 2; ++i) {
    const Block block = {RandomPair(random, format, {})};
    decoder.out.Alloc(4095);
    EXPECT_EQ(decoder.Frame(WriteBlock(format, block)), UMC::UMC_ERR_NOT_ENOUGH_BUFFER);
    EXPECT_EQ(decoder.left, WriteBlock(format, block).size());
    decoder.out.Alloc(4096);
    EXPECT_EQ(decoder.Frame(WriteBlock(format, block)), UMC::UMC_OK);
    comparison.Add(decoder.pcm, model.Decode(block), {0, 1});
  }
}

uint16_t Crc(const BitWriter& bits) {
  uint32_t crc = 0xFFFF;
  for (size_t i = 0; i < bits.Bits(); ++i) {
    const uint32_t bit = bits.Bytes()[i / 8] >> (7 - i % 8) & 1;
    crc = (crc << 1 & 0xFFFF) ^ (((crc >> 15) ^ bit) != 0 ? 0x8005 : 0);
  }
  return static_cast<uint16_t>(crc);
}

// Header and the first bits of each element are guarded; what an element lacks counts as zeros.
TEST(HandMade, AdtsChecksAndChannelCounts) {
  Random random(14);
  const Format format;
  const Block mono = {Single(RandomChannel(random, format, {0, 0, 2}, {1}))};
  const Shape narrow = {0, 0, 20};
  const Block tooMany = {RandomPair(random, format, narrow),
                         Single(RandomChannel(random, format, narrow))};
  const Bytes block = WriteBlock(format, mono);
  BitWriter guarded;
  const Bytes header = WriteAdts(format, 1, block, 0);
  for (int i = 0; i < 7; ++i) guarded.Put(header[static_cast<size_t>(i)], 8);
  BitWriter element;
  WriteElement(&element, format, mono[0]);
  ASSERT_LT(element.Bits(), 195u);
  for (size_t i = 3; i < 195; ++i)
    guarded.Put(i < element.Bits() ? element.Bytes()[i / 8] >> (7 - i % 8) & 1 : 0, 1);
  const int crc = Crc(guarded);

  Decoder decoder;
  EXPECT_EQ(decoder.Frame(WriteAdts(format, 1, block, crc)), UMC::UMC_OK);
  EXPECT_EQ(decoder.pcm.size(), size_t{kLines});
  EXPECT_EQ(decoder.Frame(WriteAdts(format, 1, block, crc ^ 1)), UMC::UMC_ERR_INVALID_STREAM);
  EXPECT_EQ(decoder.pcm, Pcm(kLines, 0));
  EXPECT_EQ(decoder.Frame(WriteAdts(format, 2, block)), UMC::UMC_ERR_INVALID_STREAM);
  EXPECT_EQ(decoder.Frame(WriteAdts(format, 2, WriteBlock(format, tooMany))), UMC::UMC_OK);
  EXPECT_EQ(decoder.pcm.size(), size_t{2 * kLines});
  EXPECT_EQ(decoder.Frame(WriteAdts(format, 3, WriteBlock(format, tooMany))), UMC::UMC_OK);
  EXPECT_EQ(decoder.pcm.size(), size_t{3 * kLines});
}

// The channels of 7.1 in any order, and an ADIF stream, whose noise shaping keeps to the
// common limits whatever its profile.
TEST(HandMade, ConfigurationSevenAndAdif) {
  Random random(15);
  const Format format;
  {
    Decoder decoder;
    ReferenceModel model(format);
    Comparison comparison;
    for (int i = 0; i < 3; ++i) {
      const Block block = {Single(RandomChannel(random, format, {0, 0, 10}), 0, kLfe),
                           RandomPair(random, format, {}, 1), RandomPair(random, format, {}, 0),
                           RandomPair(random, format, {}, 2),
                           Single(RandomChannel(random, format, {}))};
      const Bytes bytes = WriteAdts(format, 7, WriteBlock(format, block));
      ASSERT_EQ(decoder.Frame(bytes), UMC::UMC_OK);
      comparison.Add(decoder.pcm, model.Decode(block), {7, 1, 2, 3, 4, 5, 6, 0});
    }
  }
  const Format main = {1, 4};
  ProgramConfig program;
  program.profile = 0;
  program.front = {{true, 6}};
  Bytes bytes = WriteAdif(main, program);
  ReferenceModel model(main);
  model.tnsOrder = 12;
  std::vector<std::vector<Signal>> signals;
  for (int i = 0; i < 4; ++i) {
    Element pair = RandomPair(random, main, {}, 6);
    pair.channel[i % 2].tns = {{1, {{40, 0, 0, std::vector<int>(20, 2)}}}};
    const Bytes block = WriteBlock(main, {pair});
    bytes.insert(bytes.end(), block.begin(), block.end());
    signals.push_back(model.Decode({pair}));
  }
  Decoder decoder;
  Comparison comparison;
  UMC::MediaData in;
  in.SetBufferPointer(bytes.data(), bytes.size());
  in.SetDataSize(bytes.size());
  for (const std::vector<Signal>& frame : signals) {
    ASSERT_EQ(decoder.Frame(&in), UMC::UMC_OK);
    comparison.Add(decoder.pcm, frame, {0, 1});
  }
  EXPECT_EQ(in.GetDataSize(), 0u);
}

}  // namespace
}  // namespace orbel::aac_test
