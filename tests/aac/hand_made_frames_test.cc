// Hand-made frames: channels and their order, frames that are refused, and the
// headers of streams.
#include <gtest/gtest.h>

#include <initializer_list>
#include <utility>
#include <vector>

#include "aac/hand_made.h"

namespace orbel::aac_test {
namespace {

Element Raw(int id, std::initializer_list<std::pair<uint32_t, int>> fields) {
  Element element;
  element.id = id;
  for (const auto& [value, bits] : fields) element.payload.Put(value, bits);
  return element;
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
    // A low frequency channel's noise shaping data is read and not used.
    blocks.back()[0].channel[0].tns = {{1, {{30, 0, 0, {3, -2}}}}};
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
