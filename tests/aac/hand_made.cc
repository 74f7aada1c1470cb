#include "aac/hand_made.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

namespace orbel::aac_test {
namespace {

std::vector<size_t> InOrder(size_t channels) {
  std::vector<size_t> order(channels);
  std::iota(order.begin(), order.end(), size_t{0});
  return order;
}

constexpr int kLargest[13] = {0, 1, 1, 2, 2, 4, 4, 7, 7, 12, 12, 8191, 0};

}  // namespace

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

int Draw(Random& random, int low, int high) {
  return low + static_cast<int>(random() % static_cast<uint32_t>(high - low + 1));
}

Decoder::Decoder(Bytes config) : config_(std::move(config)) {
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

UMC::Status Decoder::Frame(const Bytes& bytes) {
  Bytes copy = bytes;
  UMC::MediaData in;
  in.SetBufferPointer(copy.data(), copy.size());
  in.SetDataSize(copy.size());
  const UMC::Status status = Frame(&in);
  left = in.GetDataSize();
  return status;
}

UMC::Status Decoder::Frame(UMC::MediaData* in) {
  out.Reset();
  const UMC::Status status = codec.GetFrame(in, &out);
  const auto* const samples = reinterpret_cast<const int16_t*>(out.GetDataPointer());
  pcm.assign(samples, samples + out.GetDataSize() / 2);
  return status;
}

void Comparison::Add(const Pcm& pcm, const std::vector<Signal>& signals,
                     const std::vector<size_t>& order) {
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

Comparison::~Comparison() {
  EXPECT_LE(largest_, 2);  // 2^-14 of full scale: full accuracy by ISO/IEC 14496-4
  EXPECT_LT(std::sqrt(sum_ / count_), 1 / std::sqrt(12.0));
  EXPECT_GT(std::sqrt(energy_ / count_), 20) << "the stream is all but silent";
}

void Check(const Format& format, const std::vector<Block>& blocks, const std::vector<size_t>& order,
           const ProgramConfig* program) {
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

Channel RandomChannel(Random& random, const Format& format, const Shape& shape,
                      const std::vector<int>& books, double level) {
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

Element Single(const Channel& channel, int tag, int id) {
  Element element;
  element.id = id;
  element.tag = tag;
  element.channel[0] = channel;
  return element;
}

Element Pair(const Channel& left, const Channel& right, int tag) {
  Element element;
  element.id = kCpe;
  element.tag = tag;
  element.channel[0] = left;
  element.channel[1] = right;
  return element;
}

Element RandomPair(Random& random, const Format& format, const Shape& shape, int tag) {
  return Pair(RandomChannel(random, format, shape), RandomChannel(random, format, shape), tag);
}

Element Coupling(const Channel& channel, const std::vector<Target>& targets, int domain, int sign,
                 int scale) {
  Element element = Single(channel, 3, kCce);
  element.targets = targets;
  element.domain = domain;
  element.gainSign = sign;
  element.gainScale = scale;
  return element;
}

}  // namespace orbel::aac_test
