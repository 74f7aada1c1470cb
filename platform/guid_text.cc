#include "platform/guid_text.h"

namespace orbel {
namespace {

// Where the bytes of the identifier, most significant first, stand in the text.
constexpr uint8_t kPlaces[16] = {1, 3, 5, 7, 10, 12, 15, 17, 20, 22, 25, 27, 29, 31, 33, 35};
constexpr char kFrame[] = "{00000000-0000-0000-0000-000000000000}";

int DigitOf(char c) noexcept {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

GuidText::GuidText(const GUID& guid) noexcept {
  constexpr char kDigits[] = "0123456789abcdef";
  for (size_t i = 0; i < kLength; ++i) text_[i] = kFrame[i];
  const auto byteAt = [&guid](int i) -> uint32_t {
    if (i < 4) return guid.data1 >> (24 - 8 * i) & 255;
    if (i < 8) return uint32_t{i < 6 ? guid.data2 : guid.data3} >> (8 - 8 * (i & 1)) & 255;
    return guid.data4[i - 8];
  };
  for (int i = 0; i < 16; ++i) {
    text_[kPlaces[i]] = kDigits[byteAt(i) >> 4];
    text_[kPlaces[i] + 1] = kDigits[byteAt(i) & 15];
  }
}

bool ParseGuid(std::string_view text, GUID* guid) noexcept {
  if (text.size() != sizeof kFrame - 1) return false;
  for (size_t i = 0; i < text.size(); ++i) {
    const bool digit = kFrame[i] == '0';
    if (digit ? DigitOf(text[i]) < 0 : text[i] != kFrame[i]) return false;
  }
  uint8_t bytes[16];
  for (int i = 0; i < 16; ++i)
    bytes[i] =
        static_cast<uint8_t>(DigitOf(text[kPlaces[i]]) << 4 | DigitOf(text[kPlaces[i] + 1u]));
  const auto pair = [&bytes](int i) { return static_cast<uint16_t>(bytes[i] << 8 | bytes[i + 1]); };
  *guid = {uint32_t{pair(0)} << 16 | pair(2), pair(4), pair(6), {}};
  for (int i = 0; i < 8; ++i) guid->data4[i] = bytes[8 + i];
  return true;
}

}  // namespace orbel
