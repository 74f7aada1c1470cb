// Band replication and parametric stereo through the codec class: which rate and how
// many channels come out, what the class tells, and streams that begin, stop and go
// on where none should.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "aac/aac_decoder.h"
#include "aac/frame_tools.h"
#include "aac/stream_reader.h"

namespace orbel::aac_test {
namespace {

using Bytes = std::vector<uint8_t>;

struct Options {
  int32_t sbrMode = 18;
  int32_t sbrDownsample = 0;
  int32_t sbrSupportLevel = 777;
  int32_t psSupportLevel = 0;
};

class Units {
 public:
  Units(const Options& options, Bytes config) : config_(std::move(config)) {
    UMC::AACDecoderParams params;
    UMC::MediaData data;
    data.SetBufferPointer(config_.data(), config_.size());
    data.SetDataSize(config_.size());
    params.data = &data;
    params.inputStreamType = UMC::kStreamUnits;
    params.sbrMode = options.sbrMode;
    params.sbrDownsample = options.sbrDownsample;
    params.sbrSupportLevel = options.sbrSupportLevel;
    params.psSupportLevel = options.psSupportLevel;
    EXPECT_EQ(decoder.Init(&params), UMC::UMC_OK);
  }
  UMC::Status Get(Bytes unit) {
    UMC::MediaData in;
    in.SetBufferPointer(unit.data(), unit.size());
    in.SetDataSize(unit.size());
    pcm.assign(20480, 0);
    out.SetBufferPointer(reinterpret_cast<uint8_t*>(pcm.data()), pcm.size() * 2);
    const UMC::Status status = decoder.GetFrame(&in, &out);
    pcm.resize(static_cast<size_t>(out.GetDataSize()) / 2);
    return status;
  }
  UMC::AACDecoder decoder;
  UMC::AudioData out;
  std::vector<int16_t> pcm;

 private:
  Bytes config_;
};

Bytes ConfigFor(const Bytes& adts) {
  const uint32_t fields = ((adts[2] >> 6U) + 1) << 11 | (adts[2] >> 2 & 15U) << 7 |
                          ((adts[2] & 1U) << 2 | adts[3] >> 6U) << 3;
  return {static_cast<uint8_t>(fields >> 8), static_cast<uint8_t>(fields)};
}

// Energy of what changes from sample to sample: the upper half of the spectrum, above
// all.
double Roughness(const std::vector<int16_t>& pcm, size_t channels) {
  double sum = 0;
  for (size_t i = 2 * channels; i < pcm.size(); ++i)
    sum += std::pow(pcm[i] - 2.0 * pcm[i - channels] + pcm[i - 2 * channels], 2);
  return sum;
}

TEST(BandReplication, RateChannelsAndWhatIsTold) {
  const Bytes mono = ReadBytes(StreamPath("he2_44100_24k.aac"));
  const Bytes stereo = ReadBytes(StreamPath("he1_44100_st_48k.aac"));
  struct Case {
    const Bytes& stream;
    Options options;
    int32_t channels, rate;
    size_t samples;
  };
  for (const Case& c :
       {Case{stereo, {}, 2, 44100, 2048}, Case{stereo, {18, 1}, 2, 22050, 1024},
        Case{stereo, {28, 0}, 2, 44100, 2048}, Case{stereo, {18, 0, 0}, 2, 22050, 1024},
        Case{stereo, {18, 0, 777, 411}, 2, 44100, 2048},
        Case{mono, {18, 0, 777, 0}, 1, 44100, 2048}, Case{mono, {18, 0, 777, 111}, 2, 44100, 2048},
        Case{mono, {18, 1, 777, 411}, 2, 44100, 2048}}) {
    Units units(c.options, ConfigFor(c.stream));
    FrameTools tools = {};
    units.decoder.CountTools(&tools);
    const std::vector<Bytes> blocks = CutAdts(c.stream);
    const bool replicates = c.options.sbrSupportLevel == 777;
    for (size_t i = 0; i < blocks.size(); ++i) {
      ASSERT_EQ(units.Get(blocks[i]), UMC::UMC_OK);
      ASSERT_EQ(units.out.channels, c.channels);
      ASSERT_EQ(units.out.sampleFrequency, c.rate);
      ASSERT_EQ(units.pcm.size(), c.samples * static_cast<size_t>(c.channels));
      UMC::AudioCodecParams info;
      ASSERT_EQ(units.decoder.GetInfo(&info), UMC::UMC_OK);
      EXPECT_EQ(info.level, replicates ? 258 : 2);
      // Told once, in the frame where it was first found.
      EXPECT_EQ(info.inputStreamSubtype, replicates && i == 0 ? 17 : 1);
    }
    EXPECT_EQ(tools.sbrFrames, replicates ? tools.frames : 0);
    EXPECT_EQ(tools.psFrames > 0, &c.stream == &mono && c.options.psSupportLevel > 1);
  }
}

// A header may be far away: until it comes the core plays at the full rate, and then
// the high band is there.
TEST(BandReplication, StreamsMayBeginAnywhere) {
  const Bytes stream = ReadBytes(StreamPath("he1_44100_st_48k.aac"));
  const std::vector<Bytes> blocks = CutAdts(stream);
  for (size_t start = 1; start < blocks.size(); start += 2) {
    Units units({}, ConfigFor(stream));
    for (size_t i = start; i < blocks.size(); ++i) {
      ASSERT_EQ(units.Get(blocks[i]), UMC::UMC_OK);
      ASSERT_EQ(units.pcm.size(), 4096u);
    }
  }
}

// Units with and without band replication, in any order, damaged ones between them.
TEST(BandReplication, ComesAndGoes) {
  const Bytes with = ReadBytes(StreamPath("he1_44100_st_48k.aac"));
  const Bytes without = ReadBytes(StreamPath("lc_22050_st_40k_music.aac"));
  const std::vector<Bytes> rich = CutAdts(with);
  const std::vector<Bytes> plain = CutAdts(without);
  Units units({}, ConfigFor(with));
  double rough[2] = {};
  for (size_t i = 0; i < std::min(rich.size(), plain.size()); ++i) {
    const bool replicated = i / 3 % 2 == 0;
    Bytes unit = replicated ? rich[i] : plain[i];
    if (i % 7 == 6) unit.resize(unit.size() / 2);
    const UMC::Status status = units.Get(unit);
    ASSERT_EQ(status, i % 7 == 6 ? UMC::UMC_ERR_INVALID_STREAM : UMC::UMC_OK);
    if (i % 7 == 6) continue;
    ASSERT_EQ(units.out.sampleFrequency, replicated ? 44100 : 22050);
    rough[replicated ? 1 : 0] += Roughness(units.pcm, 2);
  }
  EXPECT_GT(rough[0], 0);
  EXPECT_GT(rough[1], 0);
}

// Reset forgets the signal: silence follows where sound was, and the same stream
// gives the same sound again from the second header on.
TEST(BandReplication, ResetForgetsTheSignal) {
  const Bytes stream = ReadBytes(StreamPath("he2_44100_24k.aac"));
  const std::vector<Bytes> blocks = CutAdts(stream);
  Units units({18, 0, 777, 411}, ConfigFor(stream));
  for (const Bytes& block : blocks) ASSERT_EQ(units.Get(block), UMC::UMC_OK);
  ASSERT_EQ(units.decoder.Reset(), UMC::UMC_OK);
  ASSERT_EQ(units.Get(blocks[0]), UMC::UMC_OK);
  int64_t loudest = 0;
  for (const int16_t sample : units.pcm)
    loudest = std::max<int64_t>(loudest, std::abs(int32_t{sample}));
  Units fresh({18, 0, 777, 411}, ConfigFor(stream));
  ASSERT_EQ(fresh.Get(blocks[0]), UMC::UMC_OK);
  int64_t wanted = 0;
  for (const int16_t sample : fresh.pcm)
    wanted = std::max<int64_t>(wanted, std::abs(int32_t{sample}));
  EXPECT_LE(loudest, 2 * wanted + 8);
}

// Every byte of two units flipped: a status, and the stream goes on.
TEST(BandReplication, SurvivesFlippedBytes) {
  for (const char* file : {"he1_44100_st_48k.aac", "he2_44100_24k.aac"}) {
    const Bytes stream = ReadBytes(StreamPath(file));
    const std::vector<Bytes> blocks = CutAdts(stream);
    Units units({18, 0, 777, 411}, ConfigFor(stream));
    for (size_t i = 0; i < 2; ++i)
      for (size_t at = 0; at < blocks[i].size(); ++at) {
        Bytes unit = blocks[i];
        unit[at] ^= static_cast<uint8_t>(1 + at % 255);
        units.Get(unit);
      }
    // The first header that is whole brings all of it back.
    ASSERT_EQ(units.Get(blocks[0]), UMC::UMC_OK);
    ASSERT_EQ(units.Get(blocks[1]), UMC::UMC_OK);
    ASSERT_EQ(units.pcm.size(), 4096u);
  }
}

}  // namespace
}  // namespace orbel::aac_test
