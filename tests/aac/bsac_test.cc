// ER BSAC against streams of another writer that another decoder has decoded, and against AAC
// that our own writer carries over.
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
#include "aac/record_decoder.h"
#include "aac/stream_reader.h"
#include "support/flac_reader.h"

namespace orbel::aac_test {
namespace {

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

int Line(const RecordDecoder& decoder, int c, int i) {
  const DspBsacSpectrum& spectrum = decoder.state->bsacState->spectrum;
  return spectrum.sign[c][i] * spectrum.magnitude[c][i];
}

void ExpectCoded(const RecordDecoder& decoder, const Coded& coded) {
  std::vector<int> lines(kLines);
  for (int i = 0; i < kLines; ++i) lines[static_cast<size_t>(i)] = Line(decoder, 0, i);
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
    RecordDecoder decoder(kObjectBsac, stream.index, 1);
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
void ExpectFrame(const RecordDecoder& decoder, const BsacFrame& frame) {
  for (int c = 0; c < frame.Channels(); ++c) {
    for (int i = 0; i < kLines; ++i)
      ASSERT_EQ(Line(decoder, c, i), frame.lines[c][i]) << "channel " << c << ", line " << i;
    const Channel& channel = frame.element.channel[c];
    for (int g = 0; g < frame.Groups(); ++g)
      for (int b = 0; b < channel.maxSfb; ++b) {
        const int book = decoder.Stream(c).sfb_cb[g][b];
        ASSERT_EQ(book == kEscapeBook ? 1 : book, channel.book[g][b]) << g << ", band " << b;
        ASSERT_EQ(decoder.Stream(c).scaleFactors[g][b], channel.factor[g][b]) << g << ", " << b;
      }
  }
}

// AAC LC carried over: the same lines through the same tools are the same samples.
TEST(Bsac, SoundOfLc) {
  FrameTools tools = {};
  for (const char* name : {"lc_08000_mono_16k_speech.aac", "lc_12000_mono_20k_speech.aac",
                           "lc_16000_mono_24k_speech.aac", "lc_22050_st_40k_music.aac",
                           "lc_44100_mono_pulse.aac", "lc_44100_st_128k_music.aac",
                           "lc_48000_st_drc_metadata.aac", "lc_88200_mono_96k_music.aac"}) {
    SCOPED_TRACE(name);
    const Bytes adts = ReadBytes(StreamPath(name));
    const std::vector<Bytes> blocks = CutAdts(adts);
    ASSERT_GE(blocks.size(), 20u);
    const int index = adts[2] >> 2 & 15;
    RecordDecoder lc(kObjectLc, index, 0);
    lc.state->tools = &tools;
    std::unique_ptr<RecordDecoder> bsac;
    for (size_t f = 0; f < blocks.size(); ++f) {
      ASSERT_EQ(lc.Frame(blocks[f]), kFrameGood);
      BsacFrame frame;
      frame.samplingIndex = index;
      frame.element = lc.Last();
      ASSERT_TRUE(CodeBsac(&frame));
      if (bsac == nullptr)
        bsac = std::make_unique<RecordDecoder>(kObjectBsac, index, frame.Channels());
      ASSERT_EQ(bsac->Frame(WriteBsac(&frame)), kFrameGood);
      ASSERT_TRUE(bsac->pcm == lc.pcm) << "frame " << f;
    }
  }
  for (const int64_t frames : tools.windowSequence) EXPECT_GT(frames, 20);
  for (const int64_t count : {tools.windowShape[0], tools.windowShape[1], tools.tns, tools.pulse,
                              tools.noiseBands, tools.midSideBands, tools.intensityBands})
    EXPECT_GT(count, 4);
}

TEST(Bsac, Sample) {
  const std::string samples = ORBEL_TEST_DATA "/../../samples/";
  const std::vector<Bytes> frames = CutFrames(ReadBytes(samples + "hall.bsac"));
  const std::vector<Bytes> units = CutUnits(ReadBytes(samples + "hall-44k.au"));
  ASSERT_EQ(frames.size(), units.size());
  Decoder bsac(WriteBsacConfig(4, 2));
  Decoder lc({0x12, 0x10});
  for (size_t f = 0; f < frames.size(); ++f) {
    ASSERT_EQ(bsac.Frame(frames[f]), UMC::UMC_OK);
    ASSERT_EQ(lc.Frame(units[f]), UMC::UMC_OK);
    ASSERT_TRUE(bsac.pcm == lc.pcm) << "frame " << f;
  }
}

// Noise from a band on, intensity, mid/side, TNS, LTP.
Element RandomElement(Random& random, int index, int channels, const Shape& shape) {
  Shape fits = shape;
  fits.maxSfb = std::min(shape.maxSfb, shape.sequence == 2 ? 12 : 40);
  Element element;
  element.id = channels == 2 ? kCpe : kSce;
  element.commonWindow = channels == 2;
  element.msMask = channels == 2 ? Draw(random, 0, 2) : 0;
  const int noiseStart = Draw(random, 0, 50);
  const bool intensity = Draw(random, 0, 1) == 0;
  for (int c = 0; c < channels; ++c) {
    Channel& channel = element.channel[c] =
        RandomChannel(random, {kObjectLtp, index}, fits, {0, 1, 2, 3, 4, 5, 6, 7, 9, 11});
    for (size_t g = 0; g < channel.groups.size(); ++g)
      for (int b = 0; b < channel.maxSfb; ++b) {
        element.msUsed[g][b] = Draw(random, 0, 1) == 0;
        int& book = channel.book[g][b];
        int& factor = channel.factor[g][b];
        factor = std::clamp(factor, 100, 160);
        if (b >= noiseStart && Draw(random, 0, 2) == 0) book = 13, factor = Draw(random, 20, 60);
        if (c == 1 && intensity && Draw(random, 0, 1) == 0)
          book = Draw(random, 14, 15), factor = Draw(random, -9, 9);
      }
    if (Draw(random, 0, 1) == 0)
      channel.tns.assign(static_cast<size_t>(channel.Windows()), {1, {{8, c, 0, {3, -2, 1}}}});
    channel.predictorData = channel.sequence != 2;
    channel.ltp = channel.predictorData && Draw(random, 0, 1) == 0;
    channel.ltpLag = Draw(random, 0, 2047);
    channel.ltpCoef = Draw(random, 0, 3);
    for (int b = 0; b < channel.maxSfb; ++b) channel.ltpUsed[b] = Draw(random, 0, 1) == 0;
  }
  return element;
}

// `ltp` gets the same frame.
BsacFrame RandomFrame(Random& random, int index, int channels, const Shape& shape,
                      RecordDecoder* ltp = nullptr) {
  BsacFrame frame;
  frame.samplingIndex = index;
  frame.element = RandomElement(random, index, channels, shape);
  if (ltp != nullptr) {
    EXPECT_EQ(ltp->Frame(WriteBlock({kObjectLtp, index}, {frame.element})), kFrameGood);
  }
  EXPECT_TRUE(CodeBsac(&frame));
  return frame;
}

// What streams do not have, again as AAC has it; and the same frames with any number of
// layers, and lines cut off by their budgets.
TEST(Bsac, SoundOfLtp) {
  Random random(1);
  int modes[3] = {};
  int masks[4] = {};
  for (int index = 0; index < 12; ++index) {
    const int channels = index % 4 == 0 ? 1 : 2;
    RecordDecoder ltp(kObjectLtp, index, 0);
    RecordDecoder bsac(kObjectBsac, index, channels);
    for (const Shape& shape : kShapes) {
      BsacFrame frame = RandomFrame(random, index, channels, shape, &ltp);
      ASSERT_EQ(bsac.Frame(WriteBsac(&frame)), kFrameGood);
      ASSERT_TRUE(bsac.pcm == ltp.pcm) << "index " << index << ", sequence " << shape.sequence;
      for (const auto& group : frame.noiseMode)
        for (const int mode : group) ++modes[mode];
      ++masks[frame.msMask];

      for (int& length : frame.siLen) length = Draw(random, 0, 15);
      frame.topLayer = Draw(random, 0, 63);
      frame.snf = Draw(random, 0, 3);
      frame.baseBand = Draw(random, 1, 31);
      const int layers = Draw(random, -1, frame.topLayer);
      SCOPED_TRACE("index " + std::to_string(index) + ", layers " + std::to_string(layers));
      Bytes bytes;
      for (frame.frameLength = Draw(random, 100, 900); bytes.empty(); frame.frameLength += 100)
        bytes = WriteBsac(&frame, layers);
      RecordDecoder decoder(kObjectBsac, index, channels);
      decoder.state->layer = layers;
      ASSERT_EQ(decoder.Frame(bytes), kFrameGood);
      ASSERT_NO_FATAL_FAILURE(ExpectFrame(decoder, frame));
    }
  }
  EXPECT_GT(std::min(modes[1], modes[2]), 20);
  EXPECT_GT(*std::min_element(masks, masks + 4), 2);
}

// Through the codec class: units of several frames, the layer parameter, silence.
TEST(Bsac, Units) {
  Random random(3);
  std::vector<Bytes> frames;
  for (int i = 0; i < 3; ++i) {
    BsacFrame frame = RandomFrame(random, 4, 2, kShapes[0]);
    frames.push_back(WriteBsac(&frame));
  }
  Decoder single(WriteBsacConfig(4, 2, 1));
  UMC::AACDecoderParams params;
  params.sbrDownsample = 2;
  params.layer = 3;
  EXPECT_EQ(single.codec.SetParams(&params), UMC::UMC_OK);
  RecordDecoder few(kObjectBsac, 4, 2);
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
  BsacFrame frame = RandomFrame(random, 4, 1, kShapes[0]);
  const Bytes good = WriteBsac(&frame);
  const auto length = static_cast<uint32_t>(good.size());
  const auto result = [](const Bytes& bytes) {
    return RecordDecoder(kObjectBsac, 4, 1).Frame(bytes);
  };
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
  RecordDecoder decoder(kObjectBsac, 4, 1);
  for (int i = 0; i < 300; ++i) {
    Bytes bytes = good;
    for (int flips = Draw(random, 1, 9); flips > 0; --flips)
      bytes[static_cast<size_t>(Draw(random, 2, 60))] ^=
          static_cast<uint8_t>(1 << Draw(random, 0, 7));
    const int32_t told = decoder.Frame(bytes);
    EXPECT_TRUE(told == kFrameGood || told == kFrameBad || told == kFrameUnsupported);
  }
  AACDecoderStateReset(decoder.state);
  RecordDecoder fresh(kObjectBsac, 4, 1);
  EXPECT_EQ(fresh.Frame(good), decoder.Frame(good));
  EXPECT_EQ(fresh.pcm, decoder.pcm);
}

}  // namespace
}  // namespace orbel::aac_test
