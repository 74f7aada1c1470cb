// G.711 against the law's own formulas and rules, written a second time.

#include <gtest/gtest.h>

#include <numeric>
#include <vector>

#include "dsp/primitives.h"

namespace orbel {
namespace {

enum Law { kALaw, kMuLaw };

std::vector<int16_t> Expand(Law law, const std::vector<uint8_t>& codes) {
  std::vector<int16_t> samples(codes.size());
  const int32_t length = static_cast<int32_t>(codes.size());
  EXPECT_EQ(law == kALaw ? dspALawToLin_8u16s(codes.data(), samples.data(), length)
                         : dspMuLawToLin_8u16s(codes.data(), samples.data(), length),
            kDspOk);
  return samples;
}

std::vector<uint8_t> Compress(Law law, const std::vector<int16_t>& samples) {
  std::vector<uint8_t> codes(samples.size());
  const int32_t length = static_cast<int32_t>(samples.size());
  EXPECT_EQ(law == kALaw ? dspLinToALaw_16s8u(samples.data(), codes.data(), length)
                         : dspLinToMuLaw_16s8u(samples.data(), codes.data(), length),
            kDspOk);
  return codes;
}

std::vector<uint8_t> AllCodes() {
  std::vector<uint8_t> codes(256);
  std::iota(codes.begin(), codes.end(), uint8_t{0});
  return codes;
}

TEST(G711, ExpansionFollowsTheFormula) {
  const std::vector<int16_t> aLaw = Expand(kALaw, AllCodes());
  const std::vector<int16_t> muLaw = Expand(kMuLaw, AllCodes());
  for (int code = 0; code < 256; ++code) {
    const int a = code ^ 0x55;
    const int aSize =
        (a >> 4 & 7) == 0 ? 16 * (a & 15) + 8 : (2 * (a & 15) + 33) << ((a >> 4 & 7) + 2);
    EXPECT_EQ(aLaw[code], (a & 0x80) != 0 ? aSize : -aSize) << code;
    const int u = code ^ 0xFF;
    const int uSize = ((2 * (u & 15) + 33) << ((u >> 4 & 7) + 2)) - 132;
    EXPECT_EQ(muLaw[code], (u & 0x80) != 0 ? -uSize : uSize) << code;
  }
}

// The segment is looked for end by end here, and no bit is counted.
int ALawCode(int sample) {
  const bool negative = sample < 0;
  const int magnitude = negative ? ~(sample >> 3) : sample >> 3;
  int segment = 0;
  for (int end = 0x1F; magnitude > end; end = 2 * end + 1) ++segment;
  const int mantissa = magnitude / (segment < 2 ? 2 : 1 << segment) % 16;
  return (16 * segment + mantissa) ^ (negative ? 0x55 : 0xD5);
}

int MuLawCode(int sample) {
  const int magnitude = sample < 0 ? ~sample : sample;
  const int value = magnitude / 4 + 33 > 8191 ? 8191 : magnitude / 4 + 33;
  int segment = 1;
  for (int rest = value / 64; rest > 0; rest /= 2) ++segment;
  const int code = 16 * (8 - segment) + 15 - value / (1 << segment) % 16;
  return sample < 0 ? code : code + 128;
}

TEST(G711, CompressionOfEverySampleFollowsTheRules) {
  std::vector<int16_t> samples(65536);
  for (int i = 0; i < 65536; ++i) samples[i] = static_cast<int16_t>(i - 32768);
  const std::vector<uint8_t> aLaw = Compress(kALaw, samples);
  const std::vector<uint8_t> muLaw = Compress(kMuLaw, samples);
  for (int i = 0; i < 65536; ++i) {
    ASSERT_EQ(aLaw[i], ALawCode(samples[i])) << samples[i];
    ASSERT_EQ(muLaw[i], MuLawCode(samples[i])) << samples[i];
  }
}

TEST(G711, EveryLevelComesBackAsItsOwnCode) {
  EXPECT_EQ(Compress(kALaw, Expand(kALaw, AllCodes())), AllCodes());
  std::vector<uint8_t> want = AllCodes();
  want[0x7F] = 0xFF;  // the second of two zeros
  EXPECT_EQ(Compress(kMuLaw, Expand(kMuLaw, AllCodes())), want);
  EXPECT_EQ(Compress(kALaw, {0}), std::vector<uint8_t>{0xD5});
  EXPECT_EQ(Compress(kMuLaw, {0}), std::vector<uint8_t>{0xFF});
}

}  // namespace
}  // namespace orbel
