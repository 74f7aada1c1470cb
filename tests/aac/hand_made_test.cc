// The tools of a channel in streams that no encoder at hand makes, through the
// codec class, against a rendering in double precision of what was laid down.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "aac/hand_made.h"

namespace orbel::aac_test {
namespace {

void DrawMask(Random& random, Element* pair, int mask) {
  pair->commonWindow = true;
  pair->msMask = mask;
  for (auto& group : pair->msUsed)
    for (bool& used : group) used = random() % 2 != 0;
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

}  // namespace
}  // namespace orbel::aac_test
