// What the writer codes comes back; what can't be decoded is refused in time.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <random>

#include "als/als_crc.h"
#include "als/als_run.h"
#include "als/als_writer.h"
#include "dsp/dispatch.h"
#include "support/bit_writer.h"

namespace orbel::als_test {
namespace {

// Tones that the channels have in part in common, with noise, and stretches of
// silence, of one value, of empty low bits and of full scale.
std::vector<int32_t> Material(const Format& f, uint32_t samples, uint32_t seed) {
  std::mt19937 chance(seed);
  const int bits = 8 * (static_cast<int>(f.resolution) + 1);
  const double top = std::ldexp(1.0, bits - 1) - 1;
  std::vector<int32_t> pcm(size_t{samples} * f.channels);
  uint32_t kind = 0, held = 0;
  for (uint32_t n = 0; n < samples; ++n) {
    if (n % 600 == 0) kind = chance() % 8, held = chance() % 50;
    for (uint32_t c = 0; c < f.channels; ++c) {
      const double noise = static_cast<double>(chance() % 2001) / 1000 - 1;
      double value =
          top * (0.3 * std::sin(n * 0.021) + 0.1 * std::sin(n * 0.013 * (c + 1)) + 0.005 * noise);
      if (kind == 0) value = 0;
      if (kind == 1) value = held;
      if (kind == 2) value = top * noise * 0.45;
      auto sample = static_cast<int32_t>(value);
      if (kind == 3) sample &= -(1 << bits / 4);
      if (kind == 4 && f.adaptOrder)
        sample = static_cast<int32_t>(chance() % 2 != 0 ? top : -top - 1);
      pcm[size_t{n} * f.channels + c] = sample;
    }
  }
  return pcm;
}

void RoundTrip(const Format& format, uint32_t samples, uint32_t seed) {
  const std::vector<int32_t> pcm = Material(format, samples, seed);
  const Stream stream = Encode(format, pcm, seed);
  const Result whole = Decode({stream.Whole()});
  EXPECT_TRUE(whole.pcm == stream.pcm);
  EXPECT_EQ(whole.bad, 0u);
  EXPECT_EQ(whole.checksum, format.crc ? 1 : 0);
  const Result units =
      Decode(stream.Units(format.randomAccess), AsAudioSpecificConfig(format.rate, stream.config));
  EXPECT_TRUE(units.pcm == stream.pcm);
}

// A format that the writer knows.
Format AnyFormat(std::mt19937* chance) {
  const auto any = [&](uint32_t n) { return static_cast<uint32_t>((*chance)()) % n; };
  Format f;
  f.resolution = any(4);
  f.rate = std::array{8000U, 44100U, 96000U, 192000U}[any(4)];
  f.channels = 1 + any(any(2) != 0 ? 2 : 9);
  f.frameLength = any(3) != 0 ? 64U << any(6) : 40 + any(1500);
  f.randomAccess = any(2) != 0 ? 1 + any(5) : 0;
  f.raFlag = any(3);
  f.adaptOrder = f.resolution == 3 || any(2) != 0;
  f.maxOrder = any(24);
  f.blockSwitching = any(4);
  f.sbPart = any(2) != 0;
  f.ltp = f.resolution < 3 && any(2) != 0;
  f.jointStereo = any(2) != 0;
  f.mcCoding = f.resolution < 2 && any(3) == 0;
  f.msbFirst = any(2) != 0;
  f.crc = any(4) != 0;
  if (any(3) == 0) {
    for (uint32_t c = 0; c < f.channels; ++c) f.chanPos.push_back(c);
    std::shuffle(f.chanPos.begin(), f.chanPos.end(), *chance);
  }
  return f;
}

TEST(AlsRoundTrip, ReturnsRandomMaterial) {
  std::mt19937 chance(36);
  for (uint32_t seed = 0; seed < 150; ++seed) {
    SCOPED_TRACE(seed);
    const Format f = AnyFormat(&chance);
    RoundTrip(f, 1 + static_cast<uint32_t>(chance()) % (4 * f.frameLength), seed);
  }
}

TEST(AlsRoundTrip, ReachesTheEndsOfTheFields) {
  Format f;
  f.maxOrder = 1023;
  f.randomAccess = 2;
  f.frameLength = 2048;
  RoundTrip(f, 5000, 1);  // more coefficients than the last frame has samples
  f.adaptOrder = true;
  f.frameLength = 65536;
  RoundTrip(f, 65536 + 9, 2);
  Format lags;
  lags.ltp = true;
  lags.rate = 192000;
  lags.frameLength = 3000;
  RoundTrip(lags, 9000, 3);
  Format tree;
  tree.blockSwitching = 3;
  tree.channels = 2;
  tree.jointStereo = true;
  tree.frameLength = 512;
  for (uint32_t last = 1; last < 40; ++last) RoundTrip(tree, 1024 + last * 13, last);
  Format tiny;
  tiny.adaptOrder = true;
  tiny.frameLength = 1;
  tiny.randomAccess = 255;
  RoundTrip(tiny, 300, 5);
  Format wide;
  wide.channels = 600;
  wide.frameLength = 64;
  RoundTrip(wide, 200, 6);
}

// Without a length the frames go on to the end of the data.
TEST(AlsRoundTrip, DecodesAnUnknownNumberOfSamples) {
  Format f;
  f.channels = 2;
  f.unknownLength = true;
  const Stream stream = Encode(f, Material(f, 4096, 9), 9);
  const Result whole = Decode({stream.Whole()});
  EXPECT_TRUE(whole.pcm == stream.pcm);
  EXPECT_EQ(whole.frames, 4u);
  const Result units = Decode(stream.Units(0), AsAudioSpecificConfig(f.rate, stream.config));
  EXPECT_TRUE(units.pcm == stream.pcm);
}

// Counts what is asked for.
class CountingAllocator final : public UMC::DefaultMemoryAllocator {
 public:
  UMC::Status Alloc(int32_t* identifier, uint64_t size, uint32_t flags,
                    int32_t alignment) override {
    most = std::max(most, size);
    return DefaultMemoryAllocator::Alloc(identifier, size, flags, alignment);
  }
  uint64_t most = 0;
};

// The record alone, as `.als` data and as a configuration, with data behind it.
TEST(AlsRefusal, ComesBeforeMemoryIsTaken) {
  const auto refused = [](const Format& f, UMC::Status want) {
    const Bytes record = WriteConfig(f);
    Bytes bytes = record;
    bytes.resize(bytes.size() + 4096, 0x5A);
    for (const bool units : {false, true}) {
      CountingAllocator memory;
      const Result run = units ? Decode({}, AsAudioSpecificConfig(f.rate, record), &memory)
                               : Decode({bytes}, {}, &memory);
      EXPECT_EQ(run.frames, 0u);
      EXPECT_LT(memory.most, uint64_t{8} << 20);
      EXPECT_EQ(units ? run.init : run.fault, want);
    }
  };
  Format good;
  good.samples = 100000;
  Format f = good;
  f.rlslms = true;
  refused(f, UMC::UMC_ERR_UNSUPPORTED);
  f = good;
  f.channels = 65536;
  f.frameLength = 65536;
  f.maxOrder = 1023;
  refused(f, UMC::UMC_ERR_ALLOC);
  for (uint32_t resolution = 4; resolution < 8; ++resolution) {
    f = good;
    f.resolution = resolution;
    refused(f, UMC::UMC_ERR_INIT);
  }
  f = good;
  f.channels = 5;
  f.chanPos = {0, 1, 2, 3, 7};
  refused(f, UMC::UMC_ERR_INIT);
  Bytes endless = WriteConfig(good);
  endless[22] = 0x10;  // a header of 256 MiB: never all there
  EXPECT_EQ(Decode({endless}).fault, UMC::UMC_ERR_INIT);
}

// Bytes behind the last frame of a unit, and units behind the last frame, are nothing.
TEST(AlsRoundTrip, UnitsWithMoreInThem) {
  Format f;
  f.samples = 4000;
  f.frameLength = 500;
  for (const uint32_t distance : {1U, 2U}) {
    f.randomAccess = distance;
    const Stream stream = Encode(f, Material(f, f.samples, distance), 3);
    std::vector<Bytes> units = stream.Units(distance);
    for (Bytes& unit : units) unit.push_back(0xFF);
    units.push_back({1, 2, 3});
    const Result run = Decode(units, AsAudioSpecificConfig(f.rate, stream.config));
    EXPECT_EQ(run.bad, 0u);
    EXPECT_EQ(run.pcm, stream.pcm);
  }
}

// The middle gain's row is three ones at the most.
TEST(AlsRefusal, OfLongTermGainsThatThereAreNot) {
  Format f;
  f.ltp = true;
  f.crc = false;
  f.maxOrder = 0;
  f.samples = f.frameLength = 8;
  for (int ones = 2; ones < 70; ++ones) {
    BitWriter bits;
    bits.bytes = WriteConfig(f);
    bits.position = static_cast<int64_t>(bits.bytes.size()) * 8;
    bits.Put(0b10'0001'0'1, 8);  // coded, codes of parameter 1, no shift, with prediction
    bits.Put(0b01'010, 5);       // gains of 0
    for (int i = 0; i < ones; ++i) bits.Put(1, 1);
    bits.Put(0b0'00'010'01, 8);
    bits.Put(0, 8);        // lag
    bits.Put(0x5555, 16);  // residual of 0
    bits.Put(0, static_cast<int32_t>(-bits.position & 7));
    EXPECT_EQ(Decode({bits.bytes}).bad, ones > 3 ? 1u : 0u) << ones;
  }
}

// Both ways to the checksum, and any place where the data is cut.
TEST(AlsChecksum, IsThatOfSingleBytes) {
  std::mt19937 chance(8);
  Bytes bytes(700);
  for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(chance());
  uint32_t want = kAlsCrcStart;
  for (size_t size = 0; size < bytes.size(); ++size) {
    for (const uint64_t mask : {~uint64_t{0}, ~uint64_t{kDspPclmulqdq}}) {
      dspSetFeatureMask(mask);
      const size_t cut = size / 3;
      EXPECT_EQ(AlsCrc(AlsCrc(kAlsCrcStart, bytes.data(), cut), &bytes[cut], size - cut), want);
    }
    want ^= bytes[size];
    for (int bit = 0; bit < 8; ++bit) want = want >> 1 ^ ((want & 1) != 0 ? 0xEDB88320 : 0);
  }
  dspSetFeatureMask(~uint64_t{0});
}

// Fields at random over noise: no fault, and no more time than the samples take.
TEST(AlsRefusal, EndsOnNoiseInTime) {
  std::mt19937 chance(4);
  const auto start = std::chrono::steady_clock::now();
  for (uint32_t run = 0; run < 300; ++run) {
    Format f = AnyFormat(&chance);
    f.floating = f.resolution == 3 && run % 2 == 0;
    f.bgmc = chance() % 2 != 0;
    f.coefTable = chance() % 4;
    f.maxOrder = run % 5 == 0 ? 1023 : f.maxOrder;
    f.channels = run % 7 == 0 ? 300 : f.channels;
    f.chanPos.clear();
    f.raFlag %= 2;
    f.samples = run % 11 == 0 ? 0xFFFFFFFF : 100000;
    Bytes bytes = WriteConfig(f);
    for (int i = 0; i < 6000; ++i) {  // even, or with codes of many ones or of few
      const uint64_t other = run % 3 == 0 ? ~uint64_t{0} : chance();
      bytes.push_back(static_cast<uint8_t>(run % 3 == 1 ? chance() | other : chance() & other));
    }
    EXPECT_NE(Decode({bytes}).checksum, 1);
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
}

}  // namespace
}  // namespace orbel::als_test
