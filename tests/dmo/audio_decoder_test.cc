// The telephony decoder: each format against what its standard or a plain model
// says, and inputs whose size is not what the type promised.
#include <algorithm>
#include <cstring>
#include <random>

#include "dmo/decoder_fixture.h"
#include "dmo/ima_tables.h"

namespace orbel {
namespace {

std::vector<uint8_t> RandomBytes(size_t count, unsigned seed) {
  std::mt19937 random(seed);
  std::vector<uint8_t> bytes(count);
  for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random());
  return bytes;
}

// G.711 by the formula of the recommendation, at 16-bit scale.
int16_t ExpandMuLaw(uint8_t code) {
  const int c = code ^ 0xFF;
  const int value = ((2 * (c & 15) + 33) << (((c >> 4) & 7) + 2)) - 132;
  return static_cast<int16_t>((c & 0x80) != 0 ? -value : value);
}

// The IMA algorithm on the fractions of a step, in camera order.
struct ImaModel {
  int predictor = 0;
  std::vector<int16_t> Block(const std::vector<uint8_t>& block) {
    int index = std::clamp<int>(static_cast<int8_t>(block[2]), 0, 88);
    std::vector<int16_t> out;
    for (size_t i = 8; i < 2 * block.size(); ++i) {
      const int code = i % 2 == 0 ? block[i / 2] >> 4 : block[i / 2] & 15;
      const int step = kImaStepTable[index];
      int difference = step / 8;
      for (int bit = 0; bit < 3; ++bit)
        if ((code >> bit & 1) != 0) difference += step / (4 >> bit);
      predictor =
          std::clamp(predictor + ((code & 8) != 0 ? -difference : difference), -32768, 32767);
      index = std::clamp(index + (((code & 7) < 4) ? -1 : 2 * (code & 7) - 6), 0, 88);
      out.push_back(static_cast<int16_t>(predictor));
    }
    return out;
  }
};

TEST(AudioDecoder, DecodesEveryFormat) {
  // All mu-law codes, in frames that the block cuts.
  std::vector<uint8_t> codes(320);
  for (size_t i = 0; i < codes.size(); ++i) codes[i] = static_cast<uint8_t>(i);
  Reference<IMediaObject> muLaw = OpenDecoder(495, 320);
  const std::vector<int16_t> pcm = DecodeBlock(muLaw.Get(), codes, 640);
  ASSERT_EQ(pcm.size(), 320u);
  for (size_t i = 0; i < pcm.size(); ++i) ASSERT_EQ(pcm[i], ExpandMuLaw(codes[i])) << i;

  Reference<IMediaObject> aLaw = OpenDecoder(496, 80);
  codes.assign(80, 0x2A);
  codes[1] = 0xAA;
  const std::vector<int16_t> loud = DecodeBlock(aLaw.Get(), codes, 160);
  EXPECT_EQ(loud[0], -32256);
  EXPECT_EQ(loud[1], 32256);

  // G.726: linear samples at 14-bit scale, block after block in one stream.
  // Expected: check values of the recommendation's algorithm for this generator.
  struct G726 {
    uint32_t tag, bytes;
    std::vector<int16_t> first;
    int sum;
  };
  const G726 rates[] = {{1007, 120, {-4, 0, 15, 0, 0, 10, 0, -17}, 1830},
                        {751, 160, {15, -7, -2, 22, 4, -32, -30, 45}, -28399}};
  for (const G726& rate : rates) {
    std::vector<uint8_t> bytes;
    uint32_t s = 1;
    for (uint32_t i = 0; i < rate.bytes; ++i) {
      s = (s * 1103515245u + 12345u) & 0x7FFFFFFFu;
      bytes.push_back(static_cast<uint8_t>(s >> 16));
    }
    Reference<IMediaObject> decoder = OpenDecoder(rate.tag, rate.bytes / 4);
    std::vector<int16_t> all;
    for (uint32_t i = 0; i < 4; ++i) {
      const auto part = static_cast<ptrdiff_t>(rate.bytes / 4);
      const std::vector<uint8_t> block(bytes.begin() + i * part, bytes.begin() + (i + 1) * part);
      const std::vector<int16_t> out = DecodeBlock(decoder.Get(), block, 160);
      all.insert(all.end(), out.begin(), out.end());
    }
    ASSERT_EQ(all.size(), 320u);
    EXPECT_EQ(std::vector<int16_t>(all.begin(), all.begin() + 8), rate.first);
    int sum = 0;
    for (const int16_t sample : all) sum += sample;
    EXPECT_EQ(sum, rate.sum);
  }
}

TEST(AudioDecoder, ImaBlocksRunOnFromOneAnother) {
  constexpr uint32_t kBlock = 164;
  Reference<IMediaObject> decoder = OpenDecoder(10005, kBlock);
  ImaModel model;
  // Third byte, signed: below 0 starts at step 0, above 88 at 88.
  const uint8_t indexes[] = {0, 200, 100, 88, 44, 255, 127, 89};
  for (unsigned i = 0; i < 40; ++i) {
    std::vector<uint8_t> block = RandomBytes(kBlock, i + 1);
    block[2] = indexes[i % 8];
    ASSERT_EQ(DecodeBlock(decoder.Get(), block, 4 * kBlock - 16), model.Block(block)) << i;
  }
  // Full deflections saturate and stay.
  std::vector<uint8_t> up(kBlock, 0x77);
  up[2] = 88;
  const std::vector<int16_t> high = DecodeBlock(decoder.Get(), up, 4 * kBlock - 16);
  EXPECT_EQ(high.back(), 32767);

  Reference<IMediaObject> tiny = OpenDecoder(10005, 4, 0);
  EXPECT_TRUE(DecodeBlock(tiny.Get(), {1, 2, 3, 4}, 16).empty());
  Reference<IMediaObject> none = OpenDecoder(10005, 3, 0);
  HostBuffer input({1, 2, 3});
  HostBuffer output(16);
  EXPECT_EQ(Feed(none.Get(), &input), S_OK);
  EXPECT_EQ(Fetch(none.Get(), &output), E_INVALIDARG);
  EXPECT_EQ(input.references, 1u);
}

// Whatever sizes the types and the buffer have: the same samples as in a whole
// stream as far as the input goes, zero bytes for what it lacks, nothing outside
// of either buffer.
TEST(AudioDecoder, SizesThatDoNotFitStayInBounds) {
  struct Case {
    uint32_t tag, n, inputBytes;
    int64_t outputSize;  // -1: as offered
  };
  const Case cases[] = {
      {495, 160, 160, -1}, {495, 100, 100, -1}, {495, 1, 1, -1},      {495, 79, 79, -1},
      {495, 160, 40, -1},  {495, 81, 500, -1},  {495, 160, 160, 100}, {495, 160, 160, 1000},
      {495, 80, 80, 0},    {495, 0, 5, -1},     {751, 80, 80, -1},    {751, 5, 5, -1},
      {751, 3, 3, -1},     {751, 80, 41, -1},   {751, 80, 80, 31},    {1007, 60, 60, -1},
      {1007, 61, 61, -1},  {1007, 2, 2, -1},    {1007, 60, 7, 2000},  {10005, 164, 164, -1},
      {10005, 164, 2, -1}, {10005, 5, 5, -1},   {10005, 164, 164, 9}, {10005, 300, 200, 5000},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.tag << " n " << c.n << " input " << c.inputBytes
                                    << " output " << c.outputSize);
    std::vector<uint8_t> bytes = RandomBytes(c.inputBytes, 7);
    for (uint32_t shift : {0u, 1u}) {
      Reference<IMediaObject> decoder = OpenDecoder(c.tag, c.n, c.outputSize);
      uint32_t size = 0, alignment = 0;
      decoder->GetOutputSizeInfo(0, &size, &alignment);
      HostBuffer input(bytes);
      HostBuffer output(size + shift);
      output.shift = shift;
      ASSERT_EQ(Feed(decoder.Get(), &input), S_OK);
      DMO_OUTPUT_DATA_BUFFER out = {&output, 0, 0, 0};
      uint32_t status = 0;
      ASSERT_EQ(decoder->ProcessOutput(0, 1, &out, &status), S_OK);
      EXPECT_EQ(output.Length(), size);

      // The same bytes, zeros behind them, in a block that is whole.
      const uint32_t whole = std::max((c.n + 239) / 240 * 240, 240u);
      std::vector<uint8_t> padded = bytes;
      padded.resize(std::max<size_t>(whole, bytes.size()));
      std::fill(
          padded.begin() + static_cast<ptrdiff_t>(std::min<size_t>(c.inputBytes, padded.size())),
          padded.end(), uint8_t{0});
      padded.resize(whole);
      Reference<IMediaObject> model = OpenDecoder(c.tag, whole);
      std::vector<int16_t> expected = DecodeBlock(model.Get(), padded, 6 * whole);
      ASSERT_GE(expected.size(), whole);
      // What the promised n bytes give; a part G.711 frame still gives whole
      // frames as far as there is room, part blocks of the others give nothing.
      size_t made = 0;
      if (c.tag == 495) made = (c.n + 79) / 80 * 80;
      if (c.tag == 751) made = c.n / 4 * 8;
      if (c.tag == 1007) made = c.n / 3 * 8;
      if (c.tag == 10005) made = c.n > 4 ? 2 * (c.n - 4) : 0;
      const std::vector<int16_t> got = output.Pcm();
      for (size_t i = 0; i < got.size(); ++i) {
        // Frames past n hold what a frame of zero bytes decodes to.
        if (c.tag == 495 && i >= c.n && i < made) continue;
        ASSERT_EQ(got[i], i < made ? expected[i] : 0) << i;
      }
    }
  }
}

TEST(AudioDecoder, KeepsItsFirstCodec) {
  Reference<IMediaObject> decoder = OpenDecoder(495, 80);
  const std::vector<uint8_t> codes(80, 0x80);
  EXPECT_EQ(DecodeBlock(decoder.Get(), codes, 160)[0], 32124);
  EXPECT_EQ(SetInput(decoder.Get(), 496, 80), S_OK);
  EXPECT_EQ(DecodeBlock(decoder.Get(), codes, 160)[0], 32124);
}

TEST(AudioDecoder, TheFormatBlockChoosesTheCodec) {
  for (const uint16_t tag : {uint16_t{496}, uint16_t{1}, uint16_t{0}}) {
    Reference<IMediaObject> decoder = MakeDecoder();
    MediaType type;
    MakeInputType(type.Record(), 495, 80);
    if (tag == 0)
      type.Record()->formatSize = 1;
    else
      std::memcpy(type.Record()->format, &tag, 2);
    ASSERT_EQ(decoder->SetInputType(0, type.Record(), 0), S_OK);
    type.Record()->formatSize = 18;
    ASSERT_EQ(AcceptOutput(decoder.Get()), S_OK);
    HostBuffer input(std::vector<uint8_t>(80, 0xAA));
    HostBuffer output(160);
    if (tag == 496) {
      EXPECT_EQ(Feed(decoder.Get(), &input), S_OK);
      EXPECT_EQ(Fetch(decoder.Get(), &output), S_OK);
      EXPECT_EQ(output.Pcm()[0], 32256);
    } else {
      // An unknown tag is tried once and refused for good.
      EXPECT_EQ(Feed(decoder.Get(), &input), E_FAIL);
      EXPECT_EQ(SetInput(decoder.Get(), 495, 80), S_OK);
      EXPECT_EQ(Feed(decoder.Get(), &input), E_FAIL);
      EXPECT_EQ(input.references, 1u);
    }
  }
}

}  // namespace
}  // namespace orbel
