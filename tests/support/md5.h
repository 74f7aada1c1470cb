// MD5 (RFC 1321), by which the test data name their samples.
#pragma once

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace orbel {

inline std::string Md5(std::vector<uint8_t> bytes) {
  constexpr std::array<std::array<int, 4>, 4> kTurns = {
      {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}}};
  const uint64_t bits = bytes.size() * 8;
  bytes.push_back(0x80);
  while (bytes.size() % 64 != 56) bytes.push_back(0);
  for (uint32_t i = 0; i < 8; ++i) bytes.push_back(static_cast<uint8_t>(bits >> 8 * i));
  std::array<uint32_t, 4> sum = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476};
  for (size_t at = 0; at < bytes.size(); at += 64) {
    auto [a, b, c, d] = sum;
    for (uint32_t i = 0; i < 64; ++i) {
      const std::array<uint32_t, 4> mix = {(b & c) | (~b & d), (d & b) | (~d & c), b ^ c ^ d,
                                           c ^ (b | ~d)};
      const std::array<uint32_t, 4> word = {i, 5 * i + 1, 3 * i + 5, 7 * i};
      const uint8_t* x = &bytes[at + word[i / 16] % 16 * 4];
      const uint32_t value = x[0] | x[1] << 8U | x[2] << 16U | static_cast<uint32_t>(x[3]) << 24U;
      const auto sine = static_cast<uint32_t>(std::fabs(std::sin(i + 1.0)) * 4294967296.0);
      const uint32_t turned = std::rotl(a + mix[i / 16] + value + sine, kTurns[i / 16][i % 4]);
      a = d;
      d = c;
      c = b;
      b += turned;
    }
    sum = {sum[0] + a, sum[1] + b, sum[2] + c, sum[3] + d};
  }
  std::string text;
  for (int i = 0; i < 16; ++i) {
    std::array<char, 3> hex = {};
    std::snprintf(hex.data(), hex.size(), "%02x", sum[i / 4] >> 8 * (i % 4) & 0xFF);
    text += hex.data();
  }
  return text;
}

}  // namespace orbel
