// Every stream of tests/data/als gives the samples that went into it.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <random>

#include "als/als_config.h"
#include "als/als_run.h"
#include "als/als_writer.h"
#include "support/md5.h"

namespace orbel::als_test {
namespace {

struct Listed {
  std::string name, format, md5;
  Bytes bytes;
};

std::vector<Listed> Streams() {
  const std::string folder = ORBEL_TEST_DATA "/als/";
  std::vector<Listed> streams;
  std::ifstream list(folder + "list.txt");
  for (Listed one; list >> one.name >> one.format >> one.md5;) {
    std::ifstream file(folder + one.name + ".als", std::ios::binary);
    one.bytes.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    streams.push_back(one);
  }
  return streams;
}

// The configuration record of a stream, and what follows it as access units.
struct Cut {
  explicit Cut(const Bytes& bytes) {
    const auto word = [&](size_t at) {
      return static_cast<uint32_t>(bytes[at]) << 24 | static_cast<uint32_t>(bytes[at + 1]) << 16 |
             static_cast<uint32_t>(bytes[at + 2]) << 8 | bytes[at + 3];
    };
    BitReader reader;
    BitReaderInit(&reader, bytes.data(), bytes.size());
    GetBits(&reader, 32);
    EXPECT_EQ(AlsConfigParse(&config, &reader), 0);
    size_t at = GetBitPosition(reader) / 8;
    record.assign(bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(at));
    while (AlsFrameSamples(config, frames) > 0) ++frames;
    size_t step = 0, sizes = 0;
    if (config.randomAccess > 0) step = static_cast<size_t>(config.randomAccess);
    if (config.unitSizes == 2 && step > 0) sizes = at - (frames + step - 1) / step * 4;
    while (at < bytes.size()) {
      size_t length = bytes.size() - at;
      if (config.unitSizes == 1 && step > 0) length = 4 + word(at);
      if (sizes > 0) length = word(sizes + 4 * units.size());
      units.emplace_back(bytes.begin() + static_cast<ptrdiff_t>(at),
                         bytes.begin() + static_cast<ptrdiff_t>(at + length));
      at += length;
    }
  }
  AlsConfig config;
  uint32_t frames = 0;
  Bytes record;
  std::vector<Bytes> units;
};

std::vector<Bytes> CutAtRandom(const Bytes& bytes, uint32_t seed, uint32_t most) {
  std::mt19937 chance(seed);
  std::vector<Bytes> pieces;
  for (size_t at = 0; at < bytes.size();) {
    const size_t length = std::min<size_t>(1 + chance() % most, bytes.size() - at);
    pieces.emplace_back(&bytes[at], &bytes[at] + length);
    at += length;
  }
  return pieces;
}

TEST(AlsConformance, GivesTheSamplesThatWereCoded) {
  const std::vector<Listed> streams = Streams();
  ASSERT_EQ(streams.size(), 27u);
  for (const Listed& stream : streams) {
    SCOPED_TRACE(stream.name);
    const Cut cut(stream.bytes);
    const Result whole = Decode({stream.bytes});
    const Result pieces = Decode(CutAtRandom(stream.bytes, 1, 6000));
    const auto rate = static_cast<uint32_t>(cut.config.samplingFrequency);
    const Result units = Decode(cut.units, AsAudioSpecificConfig(rate, cut.record));
    for (const Result* run : {&whole, &pieces, &units}) {
      EXPECT_EQ(Md5(run->pcm), stream.md5);
      EXPECT_EQ(run->bad, 0u);
      EXPECT_EQ(run->checksum, 1);
      EXPECT_FLOAT_EQ(run->seconds,
                      static_cast<float>(cut.config.samples) / static_cast<float>(rate));
      EXPECT_EQ(run->info.level, 36);
      EXPECT_EQ(run->info.inputStreamSubtype, 32);
      EXPECT_EQ(run->info.output.channels, cut.config.channels);
      EXPECT_EQ(run->info.output.sampleFrequency, cut.config.samplingFrequency);
      EXPECT_EQ(run->bits, stream.format == "u8" ? 8 : std::stoi(stream.format.substr(1, 2)));
      EXPECT_EQ(run->info.output.bitsPerSample, run->bits);
    }
    EXPECT_EQ(whole.frames, cut.frames);
  }
}

// Where the sizes of random-access units are known, a fault costs one unit, even if its
// frames can still be read and end somewhere else.
TEST(AlsConformance, FindsTheNextUnitBehindAFault) {
  for (const Listed& stream : Streams()) {
    const Cut cut(stream.bytes);
    if (cut.config.unitSizes == 0 || cut.units.size() < 3) continue;
    SCOPED_TRACE(stream.name);
    const Bytes good = Decode({stream.bytes}).pcm;
    const auto unit = static_cast<size_t>(cut.config.frameLength * cut.config.randomAccess) *
                      static_cast<size_t>(cut.config.channels * cut.config.bitsPerSample / 8);
    const size_t start = cut.record.size() + cut.units[0].size() + 4;
    for (size_t at = start; at + 4 < start + cut.units[1].size();
         at += 1 + cut.units[1].size() / 20) {
      Bytes bytes = stream.bytes;
      for (size_t i = 0; i < 10 && at + i + 4 < start + cut.units[1].size(); ++i)
        bytes[at + i] = 0xFF;
      const Result run = Decode(CutAtRandom(bytes, 3, 3000));
      // The silence in between may be cut: there is not always room for all of it.
      const auto rest = static_cast<ptrdiff_t>(good.size() - 2 * unit);
      ASSERT_GE(run.pcm.size(), unit + good.size() - 2 * unit) << at;
      EXPECT_TRUE(std::equal(good.begin(), good.end() - rest - static_cast<ptrdiff_t>(unit),
                             run.pcm.begin()))
          << at;
      EXPECT_TRUE(std::equal(good.end() - rest, good.end(), run.pcm.end() - rest)) << at;
    }
  }
}

// A fault in the data is never taken for the sound that was coded.
TEST(AlsConformance, TellsOfFlippedBits) {
  std::mt19937 chance(7);
  for (const Listed& stream : Streams()) {
    const size_t start = Cut(stream.bytes).record.size();
    for (int i = 0; i < 6; ++i) {
      Bytes bytes = stream.bytes;
      const size_t bit = start * 8 + chance() % ((bytes.size() - start) * 8);
      bytes[bit / 8] ^= static_cast<uint8_t>(0x80 >> bit % 8);
      const Result run = Decode({bytes});
      EXPECT_TRUE(run.bad > 0 || run.checksum != 1 || Md5(run.pcm) == stream.md5)
          << stream.name << " bit " << bit;
    }
  }
}

}  // namespace
}  // namespace orbel::als_test
