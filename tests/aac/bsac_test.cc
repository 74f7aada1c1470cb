// ER BSAC against streams of another writer that another decoder has decoded, and against
// frames of our own writer for what those streams do not have.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>

#include "aac/bsac_frame.h"
#include "aac/bsac_writer.h"
#include "aac/frame_decoder.h"
#include "aac/hand_made.h"
#include "aac/state.h"
#include "aac/stream_reader.h"
#include "aac/tool_memory.h"
#include "support/flac_reader.h"

namespace orbel::aac_test {
namespace {

// The frame decoder without the codec class, so that its records can be looked at.
class BsacDecoder {
 public:
  BsacDecoder(int samplingIndex, int channels)
      : block_(StateBlockSize() / 8 + 1), state(reinterpret_cast<AACDecoderState*>(block_.data())) {
    AACDecoderStateInit(state);
    PlaceSbrAreas(state);
    int32_t size = 0;
    EXPECT_EQ(QueryToolMemory(state, kObjectBsac, AlsConfig{}, nullptr, &size), 0);
    tool_.resize(static_cast<size_t>(size) / 8 + 1, ~uint64_t{0});
    EXPECT_EQ(QueryToolMemory(state, kObjectBsac, AlsConfig{},
                              reinterpret_cast<uint8_t*>(tool_.data()), &size),
              0);
    state->audioObjectType = kObjectBsac;
    ClearObjectTypeState(state);
    ConfigureSampling(state, samplingIndex);
    BsacStateInit(channels, 1, state->bsacState);
    state->layer = -1;
  }

  // From exactly these bytes.
  int32_t Frame(const Bytes& frame) {
    const std::unique_ptr<uint8_t[]> exact(new uint8_t[frame.size()]);
    std::copy(frame.begin(), frame.end(), exact.get());
    pcm.assign(2048, 0);
    int32_t consumed = 0;
    const int32_t result = DecodeRawDataBlock(exact.get(), &consumed, pcm.data(),
                                              static_cast<int32_t>(frame.size()), 4096, state);
    pcm.resize(static_cast<size_t>(state->numChannels) * 1024);
    return result;
  }

  const IndividualChannelStream& Stream(int c) const {
    return state->bsacState->channels == 2 ? state->channelPair.stream[c]
                                           : state->singleChannel.stream;
  }
  int Line(int c, int i) const {
    const DspBsacSpectrum& spectrum = state->bsacState->spectrum;
    return spectrum.sign[c][i] * spectrum.magnitude[c][i];
  }
  Pcm pcm;

 private:
  std::vector<uint64_t> block_, tool_;

 public:
  AACDecoderState* state;
};

std::string DataPath(const std::string& file) { return ORBEL_TEST_DATA "/bsac/" + file; }

std::vector<Bytes> CutFrames(const Bytes& bytes) {
  std::vector<Bytes> frames;
  for (size_t at = 0; at + 1 < bytes.size();) {
    const size_t length = static_cast<size_t>(bytes[at] << 3 | bytes[at + 1] >> 5);
    frames.emplace_back(bytes.begin() + static_cast<ptrdiff_t>(at),
                        bytes.begin() + static_cast<ptrdiff_t>(at + length));
    at += length;
  }
  return frames;
}

// What was coded in a frame.
struct Coded {
  std::map<int, std::vector<std::pair<bool, int>>> bands;  // by group; true: noise
  std::vector<int> lines;
};

std::vector<Coded> ReadCoded(const std::string& path) {
  std::vector<Coded> frames(10);
  std::ifstream file(path);
  for (std::string row; std::getline(file, row);) {
    std::istringstream fields(row);
    std::string kind, value;
    size_t frame = 0;
    int group = 0;
    fields >> kind >> frame;
    if (kind == "bands") fields >> group;
    while (fields >> value) {
      const bool noise = value[0] == 'n';
      const int number = std::stoi(value.substr(noise ? 1 : 0));
      if (kind == "bands") {
        frames.at(frame).bands[group].emplace_back(noise, number);
      } else {
        frames.at(frame).lines.push_back(number);
      }
    }
  }
  return frames;
}

void ExpectCoded(const BsacDecoder& decoder, const Coded& coded) {
  std::vector<int> lines(kLines);
  for (int i = 0; i < kLines; ++i) lines[static_cast<size_t>(i)] = decoder.Line(0, i);
  while (!lines.empty() && lines.back() == 0) lines.pop_back();
  ASSERT_EQ(lines, coded.lines);
  const IndividualChannelStream& ics = decoder.Stream(0);
  for (const auto& [group, values] : coded.bands) {
    std::vector<std::pair<bool, int>> bands;
    for (size_t band = 0; band < values.size(); ++band) {
      const bool noise = ics.sfb_cb[group][band] == kNoiseBook;
      bands.emplace_back(noise, ics.scaleFactors[group][band] + (noise ? 40 : 0));
    }
    ASSERT_EQ(bands, values);
    EXPECT_EQ(ics.sfb_cb[group][values.size()], kZeroBook) << "a band more";
  }
}

TEST(Bsac, Streams) {
  const struct {
    const char* name;
    int index;
  } kStreams[] = {{"long16", 8},      {"long44_deep", 4}, {"long44_full", 4}, {"long44_small", 4},
                  {"long8", 11},      {"long96", 0},      {"pns44", 4},       {"short44_eight", 4},
                  {"short44_one", 4}, {"short44_two", 4}};
  for (const auto& stream : kStreams) {
    SCOPED_TRACE(stream.name);
    const std::vector<Bytes> frames =
        CutFrames(ReadBytes(DataPath(std::string(stream.name) + ".bsac")));
    const std::vector<Coded> coded = ReadCoded(DataPath(std::string(stream.name) + ".txt"));
    const ReferencePcm reference = ReadFlac(DataPath(std::string(stream.name) + ".flac"));
    ASSERT_EQ(frames.size(), coded.size());
    ASSERT_EQ(reference.samples.size(), 1024 * frames.size());
    BsacDecoder decoder(stream.index, 1);
    // The reference has the sign turned, and short windows at eight times their level:
    // it would not do so within one stream, where windows of both kinds overlap.
    const float scale = std::string(stream.name).starts_with("short") ? -8 : -1;
    int largest = 0;
    double energy = 0;
    double referenceEnergy = 0;
    for (size_t f = 0; f < frames.size(); ++f) {
      SCOPED_TRACE(f);
      ASSERT_EQ(decoder.Frame(frames[f]), kFrameGood);
      ASSERT_NO_FATAL_FAILURE(ExpectCoded(decoder, coded[f]));
      for (size_t i = 0; i < 1024; ++i) {
        const auto sample = static_cast<int>(std::nearbyint(scale * decoder.state->pcmFloat[0][i]));
        const int want = reference.samples[1024 * f + i];
        largest = std::max(largest, std::abs(sample - want));
        energy += sample * sample;
        referenceEnergy += want * want;
      }
    }
    std::printf("%-16s largest difference %d\n", stream.name, largest);
    if (std::string(stream.name) == "pns44") {
      EXPECT_NEAR(energy / referenceEnergy, 1, 0.001);  // of which noise is 0.007
    } else {
      EXPECT_LE(largest, 1);
    }
  }
}

// Whether the decoder has what the frame holds.
void ExpectFrame(const BsacDecoder& decoder, const BsacFrame& frame) {
  for (int c = 0; c < frame.channels; ++c) {
    for (int i = 0; i < kLines; ++i)
      ASSERT_EQ(decoder.Line(c, i), frame.lines[c][i]) << "channel " << c << ", line " << i;
    const Channel& channel = frame.element.channel[c];
    for (int g = 0; g < frame.Groups(); ++g)
      for (int b = 0; b < channel.maxSfb; ++b) {
        const int book = decoder.Stream(c).sfb_cb[g][b];
        ASSERT_EQ(book == kEscapeBook ? 1 : book, channel.book[g][b]) << g << ", band " << b;
        ASSERT_EQ(decoder.Stream(c).scaleFactors[g][b], channel.factor[g][b]) << g << ", " << b;
      }
  }
}

// For the model, which does not know turned noise: intensity does the same to it.
Element ModelElement(const BsacFrame& frame) {
  Element element = frame.element;
  for (int g = 0; g < frame.Groups(); ++g)
    for (int b = 0; b < kBands; ++b) {
      if (frame.noiseMode[g][b] != 2 || element.channel[1].book[g][b] != 13) continue;
      element.channel[1].book[g][b] = 14;
      element.channel[1].factor[g][b] =
          element.channel[0].factor[g][b] - element.channel[1].factor[g][b];
    }
  return element;
}

BsacFrame MakeFrame(Random& random, int index, int channels, const Shape& shape) {
  BsacFrame frame;
  frame.samplingIndex = index;
  frame.channels = channels;
  frame.frameLength = 2040;
  frame.topLayer = Draw(random, 0, 63);
  frame.snf = Draw(random, 0, 3);
  frame.baseBand = Draw(random, 1, 31);
  for (int c = 0; c < channels; ++c) {
    frame.siType[c] = Draw(random, 0, 31);
    frame.baseModel[c] = Draw(random, 0, 7);
    frame.enhModel[c] = Draw(random, 0, 7);
    frame.siLen[c] = Draw(random, 0, 15);
    Channel& channel = frame.element.channel[c];
    channel.sequence = shape.sequence;
    channel.shape = shape.shape;
    channel.maxSfb = shape.maxSfb;
    channel.groups = shape.groups;
  }
  return frame;
}

// Two channels and one at 44.1 and 48 kHz, all tools, down to the samples.
TEST(Bsac, WrittenFramesByTheModel) {
  Random random(1);
  for (int run = 0; run < 6; ++run) {
    const int channels = run == 4 ? 1 : 2;
    const int index = 3 + run % 2;
    BsacDecoder decoder(index, channels);
    ReferenceModel model({kObjectLtp, index});
    model.tnsOrder = 12;
    Comparison comparison;
    for (const Shape& shape : kShapes) {
      SCOPED_TRACE("run " + std::to_string(run) + ", sequence " + std::to_string(shape.sequence));
      BsacFrame frame = MakeFrame(random, index, channels, shape);
      frame.msMask = channels == 2 ? run % 4 : 0;
      frame.maxScalefactor[0] = frame.maxScalefactor[1] = 145;
      if (run > 0) frame.pnsStart = Draw(random, 0, 20);
      for (int c = 0; c < channels; ++c) {
        Channel& channel = frame.element.channel[c];
        if (Draw(random, 0, 1) == 0)
          channel.tns.assign(static_cast<size_t>(channel.Windows()), {1, {{8, c, 0, {3, -2, 1}}}});
        channel.ltp = channel.sequence != 2 && Draw(random, 0, 1) == 0;
        channel.ltpLag = Draw(random, 0, 2047);
        channel.ltpCoef = Draw(random, 0, 3);
        for (int b = 0; b < std::min(40, channel.maxSfb); ++b)
          channel.ltpUsed[b] = Draw(random, 0, 1) == 0;
      }
      FillBsac(random, 8, &frame);
      const Bytes bytes = WriteBsac(&frame);
      ASSERT_EQ(decoder.Frame(bytes), kFrameGood);
      ASSERT_NO_FATAL_FAILURE(ExpectFrame(decoder, frame));
      const Block block = {ModelElement(frame)};
      const std::vector<Signal> signals = model.Decode(block);
      comparison.Add(decoder.pcm, signals,
                     channels == 2 ? std::vector<size_t>{0, 1} : std::vector<size_t>{0});
    }
  }
}

// Every rate, all sizes of values, and any number of layers.
TEST(Bsac, WrittenFramesByTheirValues) {
  Random random(2);
  for (int index = 0; index < 12; ++index)
    for (const Shape& shape : kShapes) {
      const int channels = Draw(random, 1, 2);
      Shape fits = shape;
      fits.maxSfb = std::min(shape.maxSfb, shape.sequence == 2 ? 12 : 40);
      BsacFrame frame = MakeFrame(random, index, channels, fits);
      frame.msMask = channels == 2 ? Draw(random, 0, 3) : 0;
      frame.pnsStart = Draw(random, -1, 50);
      FillBsac(random, Draw(random, 1, 22), &frame);
      const int layers = Draw(random, -1, frame.topLayer);
      SCOPED_TRACE("index " + std::to_string(index) + ", layers " + std::to_string(layers));
      const Bytes bytes = WriteBsac(&frame, layers);
      BsacDecoder decoder(index, channels);
      decoder.state->layer = layers;
      ASSERT_EQ(decoder.Frame(bytes), kFrameGood);
      ASSERT_NO_FATAL_FAILURE(ExpectFrame(decoder, frame));
    }
}

// Through the codec class: units of several frames, the layer parameter, silence.
TEST(Bsac, Units) {
  Random random(3);
  std::vector<Bytes> frames;
  for (int i = 0; i < 3; ++i) {
    BsacFrame frame = MakeFrame(random, 4, 2, kShapes[0]);
    frame.topLayer = 40;
    FillBsac(random, 8, &frame);
    frames.push_back(WriteBsac(&frame));
  }
  Decoder single(WriteBsacConfig(4, 2, 1));
  UMC::AACDecoderParams params;
  params.sbrDownsample = 2;
  params.layer = 3;
  EXPECT_EQ(single.codec.SetParams(&params), UMC::UMC_OK);
  BsacDecoder few(4, 2);
  few.state->layer = 3;
  ASSERT_EQ(few.Frame(frames[0]), kFrameGood);
  ASSERT_EQ(single.Frame(frames[0]), UMC::UMC_OK);
  EXPECT_EQ(single.pcm, few.pcm);
  params.layer = -1;
  EXPECT_EQ(single.codec.SetParams(&params), UMC::UMC_OK);
  EXPECT_EQ(single.codec.Reset(), UMC::UMC_OK);
  std::vector<Pcm> want;
  for (const Bytes& frame : frames) {
    ASSERT_EQ(single.Frame(frame), UMC::UMC_OK);
    want.push_back(single.pcm);
  }
  EXPECT_NE(want[0], few.pcm);

  Decoder units(WriteBsacConfig(4, 2, 2));
  Bytes unit = frames[0];
  unit.insert(unit.end(), frames[1].begin(), frames[1].end());
  Pcm both = want[0];
  both.insert(both.end(), want[1].begin(), want[1].end());
  UMC::MediaData in;
  in.SetBufferPointer(unit.data(), unit.size());
  in.SetDataSize(unit.size());
  std::vector<uint8_t> room(2 * 4096 - 1);
  UMC::AudioData small;
  small.SetBufferPointer(room.data(), room.size());
  EXPECT_EQ(units.codec.GetFrame(&in, &small), UMC::UMC_ERR_NOT_ENOUGH_BUFFER);
  EXPECT_EQ(units.Frame(&in), UMC::UMC_OK);
  EXPECT_EQ(units.pcm, both);
  EXPECT_EQ(in.GetDataSize(), 0u);
  EXPECT_DOUBLE_EQ(units.out.GetTime() + 2048.0 / 44100, in.GetTime());
  EXPECT_EQ(units.Frame(frames[2]), UMC::UMC_OK) << "fewer frames than there may be";
  EXPECT_EQ(units.pcm, want[2]);
  unit[frames[0].size() + 1] |= 1;  // sba_mode of the second frame
  EXPECT_EQ(units.Frame(unit), UMC::UMC_ERR_UNSUPPORTED);
  unit.pop_back();
  unit[frames[0].size() + 1] &= 0xFE;
  EXPECT_EQ(units.Frame(unit), UMC::UMC_ERR_INVALID_STREAM);
  EXPECT_EQ(units.pcm, Pcm(4096));

  Decoder three(WriteBsacConfig(4, 3));
  EXPECT_EQ(three.Frame(frames[0]), UMC::UMC_ERR_UNSUPPORTED);
}

// Fields of a header by their place in a frame of one channel.
Bytes With(Bytes frame, int first, int bits, uint32_t value) {
  for (int i = 0; i < bits; ++i) {
    uint8_t& byte = frame[static_cast<size_t>((first + i) / 8)];
    const auto mask = static_cast<uint8_t>(0x80 >> (first + i) % 8);
    byte = static_cast<uint8_t>((value >> (bits - 1 - i) & 1) != 0 ? byte | mask : byte & ~mask);
  }
  return frame;
}

TEST(Bsac, BrokenFrames) {
  Random random(4);
  BsacFrame frame = MakeFrame(random, 4, 1, kShapes[0]);
  frame.topLayer = 10;
  FillBsac(random, 8, &frame);
  const Bytes good = WriteBsac(&frame);
  const auto length = static_cast<uint32_t>(good.size());
  const auto result = [](const Bytes& bytes) { return BsacDecoder(4, 1).Frame(bytes); };
  EXPECT_EQ(result(good), kFrameGood);
  EXPECT_EQ(result(With(good, 11, 4, 0)), kFrameGood) << "header_length 0";
  EXPECT_EQ(result(With(good, 11, 4, 1)), kFrameBad) << "a header longer than it says";
  EXPECT_EQ(result(With(good, 15, 1, 1)), kFrameUnsupported) << "sba_mode";
  EXPECT_EQ(result(With(good, 0, 11, length + 1)), kFrameBad) << "frame_length";
  EXPECT_EQ(result(With(good, 0, 11, 9)), kFrameBad) << "frame_length";
  EXPECT_EQ(result(With(good, 32, 5, 0)), kFrameGood) << "enhancement layers alone";
  EXPECT_EQ(result(With(good, 56, 6, 50)), kFrameBad) << "max_sfb";
  Bytes ones = good;
  std::fill(ones.begin() + 9, ones.end(), uint8_t{0xFF});
  EXPECT_EQ(result(ones), kFrameBad) << "no coder makes ones without end";

  // Whatever a frame holds, it ends, and the next good one is decoded.
  BsacDecoder decoder(4, 1);
  for (int i = 0; i < 300; ++i) {
    Bytes bytes = good;
    for (int flips = Draw(random, 1, 9); flips > 0; --flips)
      bytes[static_cast<size_t>(Draw(random, 2, 60))] ^=
          static_cast<uint8_t>(1 << Draw(random, 0, 7));
    const int32_t told = decoder.Frame(bytes);
    EXPECT_TRUE(told == kFrameGood || told == kFrameBad || told == kFrameUnsupported);
  }
  AACDecoderStateReset(decoder.state);
  BsacDecoder fresh(4, 1);
  EXPECT_EQ(fresh.Frame(good), decoder.Frame(good));
  EXPECT_EQ(fresh.pcm, decoder.pcm);
}

}  // namespace
}  // namespace orbel::aac_test
