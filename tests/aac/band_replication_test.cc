// Band replication and parametric stereo through the codec class: which rate and how
// many channels come out, what the class tells, and streams that begin, stop and go
// on where none should.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "aac/aac_decoder.h"
#include "aac/aac_writer.h"
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

// A reset is a jump within the stream: units without headers, which a fresh decoder
// cannot make stereo of, still are stereo behind it.
TEST(BandReplication, ResetKeepsTheHeaders) {
  const Bytes stream = ReadBytes(StreamPath("he2_44100_24k.aac"));
  const std::vector<Bytes> blocks = CutAdts(stream);
  Units units({18, 0, 777, 411}, ConfigFor(stream));
  for (const Bytes& block : blocks) ASSERT_EQ(units.Get(block), UMC::UMC_OK);
  int32_t headless = 0;
  for (const Bytes& block : blocks) {
    FrameTools tools[2] = {};
    Units fresh({18, 0, 777, 411}, ConfigFor(stream));
    fresh.decoder.CountTools(&tools[0]);
    ASSERT_EQ(fresh.Get(block), UMC::UMC_OK);
    headless += tools[0].psFrames == 0 ? 1 : 0;
    ASSERT_EQ(units.decoder.Reset(), UMC::UMC_OK);
    units.decoder.CountTools(&tools[1]);
    ASSERT_EQ(units.Get(block), UMC::UMC_OK);
    EXPECT_EQ(tools[1].psFrames, 1);
  }
  EXPECT_GT(headless, 0);
}

bool BothAlike(const std::vector<int16_t>& pcm) {
  for (size_t i = 0; i < pcm.size(); i += 2)
    if (pcm[i] != pcm[i + 1]) return false;
  return true;
}

// Stereo is asked for and the real bank cannot make it: the second channel is a copy.
TEST(BandReplication, RealPathCopiesTheSecondChannel) {
  const Bytes stream = ReadBytes(StreamPath("he2_44100_24k.aac"));
  Units units({28, 0, 777, -1}, ConfigFor(stream));
  for (const Bytes& block : CutAdts(stream)) {
    ASSERT_EQ(units.Get(block), UMC::UMC_OK);
    ASSERT_EQ(units.out.channels, 2);
    ASSERT_EQ(units.pcm.size(), 4096u);
    ASSERT_TRUE(BothAlike(units.pcm));
  }
  EXPECT_GT(Roughness(units.pcm, 2), 0);
}

double Energy(const std::vector<int16_t>& pcm, size_t first, size_t end) {
  double sum = 0;
  for (size_t i = first; i < end; ++i) sum += std::pow(pcm[i], 2);
  return sum;
}

// A change of the output's rate: the banks start anew, from silence, and the next frame
// has the level of a stream that had this rate all along.
TEST(BandReplication, TheRateMayChange) {
  const Bytes stream = ReadBytes(StreamPath("he1_44100_st_48k.aac"));
  const std::vector<Bytes> blocks = CutAdts(stream);
  for (const int32_t downsample : {0, 1}) {
    Units changed({18, 1 - downsample}, ConfigFor(stream));
    Units steady({18, downsample}, ConfigFor(stream));
    for (size_t i = 0; i < 10; ++i) {
      ASSERT_EQ(changed.Get(blocks[i]), UMC::UMC_OK);
      ASSERT_EQ(steady.Get(blocks[i]), UMC::UMC_OK);
    }
    UMC::AACDecoderParams params;
    params.sbrMode = 18;
    params.sbrDownsample = downsample;
    params.sbrSupportLevel = 777;
    ASSERT_EQ(changed.decoder.SetParams(&params), UMC::UMC_OK);
    for (size_t i = 10; i < 12; ++i) {
      ASSERT_EQ(changed.Get(blocks[i]), UMC::UMC_OK);
      ASSERT_EQ(steady.Get(blocks[i]), UMC::UMC_OK);
      ASSERT_EQ(changed.out.sampleFrequency, downsample != 0 ? 22050 : 44100);
      ASSERT_EQ(changed.pcm.size(), steady.pcm.size());
      const size_t all = changed.pcm.size();
      const size_t dark = i == 10 ? all / 8 : 0;  // an eighth of a frame is within the delay
      EXPECT_LE(Energy(changed.pcm, 0, dark), 0.01 * Energy(steady.pcm, 0, dark));
      const double level = Energy(changed.pcm, all / 2, all) / Energy(steady.pcm, all / 2, all);
      EXPECT_NEAR(level, 1, 0.1) << downsample;
    }
  }
}

uint32_t Bits(const Bytes& bytes, size_t at, int32_t count) {
  uint32_t value = 0;
  for (const size_t end = at + static_cast<size_t>(count); at < end; ++at)
    value = value << 1 | (bytes[at / 8] >> (7 - at % 8) & 1U);
  return value;
}

// Whether fill elements, the first of them with band replication, stand from there to
// the end.
bool AreFills(const Bytes& block, size_t at, size_t end) {
  for (bool isFirst = true; at + 7 <= end && Bits(block, at, 3) == kFil; isFirst = false) {
    uint32_t count = Bits(block, at + 3, 4);
    at += count == 15 ? 15 : 7;
    if (at + 4 > end) break;
    if (count == 15) count = 14 + Bits(block, at - 8, 8);
    if (isFirst && Bits(block, at, 4) != 13) return false;
    at += size_t{8} * count;
  }
  return at == end;
}

// A block's elements up to the fill elements that end it, and those.
struct Cut {
  explicit Cut(const Bytes& block) {
    size_t end = 8 * block.size() - 3;
    while (Bits(block, end, 3) != kEnd) --end;
    size_t at = 0;
    while (at < end && !AreFills(block, at, end)) ++at;
    EXPECT_LT(at, end);
    for (size_t bit = 0; bit < end; ++bit) (bit < at ? core : fill).Put(Bits(block, bit, 1), 1);
  }
  BitWriter core, fill;
};

// A pair that has had a payload and has none in a frame where a single channel has one,
// a low frequency element between them: the old payload is not made use of again.
TEST(BandReplication, OldPayloadsAreNotReplayed) {
  const std::vector<Bytes> singles = CutAdts(ReadBytes(StreamPath("he2_44100_24k.aac")));
  const std::vector<Bytes> pairs = CutAdts(ReadBytes(StreamPath("he1_44100_st_48k.aac")));
  const Format format = {2, 7};
  ProgramConfig program;
  program.front = {{false, 0}, {true, 0}};
  program.lfe = {0};
  Element low;
  low.id = kLfe;
  const auto unit = [&](size_t i, bool withPayload) {
    const Cut single(singles[i]);
    const Cut pair(pairs[i]);
    BitWriter out;
    out.Append(single.core);
    out.Append(single.fill);
    WriteElement(&out, format, low);
    out.Append(pair.core);
    if (withPayload) out.Append(pair.fill);
    out.Put(kEnd, 3);
    out.Align();
    return out.Bytes();
  };
  Units once({}, WriteConfig(format, 0, &program));
  Units never({}, WriteConfig(format, 0, &program));
  for (size_t i = 0; i < 8; ++i) {
    ASSERT_EQ(once.Get(unit(i, i < 4)), UMC::UMC_OK);
    ASSERT_EQ(never.Get(unit(i, false)), UMC::UMC_OK);
    ASSERT_EQ(once.pcm.size(), 4 * 2048u);
    if (i < 2 || i == 4) continue;  // before any sound; as the banks' histories end
    EXPECT_EQ(once.pcm == never.pcm, i > 4) << i;
  }
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
