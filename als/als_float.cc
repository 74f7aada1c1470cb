#include "als/als_float.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace orbel {
namespace {

constexpr int32_t kMantissaBits = 23;
constexpr int32_t kExponentBias = 127;
constexpr uint32_t kLeadingOne = 1U << kMantissaBits;

constexpr uint32_t kFlush = 256;
constexpr uint32_t kFreeze = 257;
constexpr uint32_t kFlushToo = 32767;
constexpr int32_t kFirstEntry = 258;
constexpr int32_t kFirstWidth = 9;
constexpr int32_t kNone = -1;

void Flush(AlsDictionary* dictionary) {
  dictionary->width = kFirstWidth;
  dictionary->bump = (1 << kFirstWidth) - 1;
  dictionary->next = kFirstEntry;
  dictionary->frozen = 0;
}

void AddEntry(AlsDictionary* dictionary, int32_t prefix, uint8_t last) {
  if (dictionary->frozen != 0 || dictionary->next >= kAlsCodes - 1) return;
  const int32_t entry = dictionary->next++;
  dictionary->prefix[entry] = static_cast<uint16_t>(prefix);
  dictionary->length[entry] = static_cast<uint16_t>(dictionary->length[prefix] + 1);
  dictionary->first[entry] = dictionary->first[prefix];
  dictionary->last[entry] = last;
}

// The characters of a string that have room.
void WriteString(const AlsDictionary& dictionary, int32_t code, uint64_t room, uint8_t* out) {
  for (uint64_t i = dictionary.length[code]; i > 0; --i) {
    if (i <= room) out[i - 1] = dictionary.last[code];
    code = dictionary.prefix[code];
  }
}

// One run of `count` characters.
bool Unpack(AlsDictionary* dictionary, AlsBits* bits, uint8_t* out, uint64_t count) {
  int32_t previous = kNone;
  uint64_t done = 0;
  while (done < count) {
    if (bits->IsPast()) return false;
    const uint32_t code = bits->Get(dictionary->width);
    const auto string = static_cast<int32_t>(code);
    if (code == kFlush || code == kFlushToo) {
      Flush(dictionary);
      previous = kNone;
    } else if (code == kFreeze) {
      dictionary->frozen = 1;
    } else if (string == dictionary->bump) {
      ++dictionary->width;
      dictionary->bump = 2 * dictionary->bump + 1;
    } else {
      // The next entry may be used as it comes into being.
      const bool isNext = string == dictionary->next;
      if (isNext ? previous == kNone : string > dictionary->next) return false;
      if (previous != kNone)
        AddEntry(dictionary, previous, dictionary->first[isNext ? previous : string]);
      if (string >= dictionary->next) return false;
      WriteString(*dictionary, string, count - done, out + done);
      done += dictionary->length[string];
      previous = string;
    }
  }
  return true;
}

uint32_t Magnitude(int32_t x) {
  return x < 0 ? 0U - static_cast<uint32_t>(x) : static_cast<uint32_t>(x);
}

struct FloatPart {
  uint32_t factor;  // as AlsFloatChannel has it, for this frame
  int32_t shift;
  int32_t mostBits;  // of a difference

  int32_t DifferenceBits(int32_t x) const {
    const int32_t top = std::bit_width(Magnitude(x)) - 1;
    const int32_t open = factor != 0 ? kMantissaBits : std::max(0, kMantissaBits - top);
    return std::min(mostBits, open);
  }

  // The pattern of the float that x and its difference stand for.
  uint32_t Pattern(int32_t x, uint32_t difference) const {
    const uint32_t magnitude = Magnitude(x);
    int32_t exponent = std::bit_width(magnitude) - 1;
    uint32_t mantissa = exponent <= kMantissaBits ? magnitude << (kMantissaBits - exponent)
                                                  : magnitude >> (exponent - kMantissaBits);
    if (factor != 0) {
      uint64_t product = uint64_t{mantissa} * (kLeadingOne + factor);
      const int32_t drop = kMantissaBits + (product >> (2 * kMantissaBits + 1) != 0 ? 1 : 0);
      exponent += drop - kMantissaBits;
      const uint64_t half = uint64_t{1} << (drop - 1);
      const uint64_t odd = (product >> drop) & 1;
      product = (product + half - 1 + odd) >> drop;
      if (product == 2 * kLeadingOne) {
        product = kLeadingOne;
        ++exponent;
      }
      mantissa = static_cast<uint32_t>(product);
    }
    mantissa += difference;
    for (; mantissa >= 2 * kLeadingOne; mantissa >>= 1) ++exponent;
    const auto field = static_cast<uint32_t>(exponent - kMantissaBits + kExponentBias + shift);
    return (x < 0 ? 1U << 31 : 0U) | (field & 0xFF) << kMantissaBits | (mantissa % kLeadingOne);
  }
};

// Words of different widths, plain or packed.
class Words {
 public:
  Words(AlsBits* bits, bool packed, const uint8_t* characters)
      : bits_(bits), packed_(packed), at_(characters) {}

  uint32_t Next(int32_t width) {
    if (!packed_) return bits_->Get(width);
    uint32_t word = 0;
    int32_t have = 0;
    for (; have < width; have += 8) word = word << 8 | *at_++;
    return word >> (have - width);
  }

 private:
  AlsBits* bits_;
  bool packed_;
  const uint8_t* at_;
};

// One channel: its integers, and where the first of its floats goes.
struct Channel {
  AlsState* state;
  const int32_t* integers;
  int32_t samples;
  uint8_t* output;

  void Put(int32_t n, uint32_t pattern) const {
    std::memcpy(output + 4 * int64_t{n} * state->config.channels, &pattern, sizeof pattern);
  }

  // `bitsOf` tells the width of the word that an integer has, 0 for none; `put` takes
  // it.
  template <typename BitsOf, typename Take>
  bool ReadPart(AlsBits* bits, BitsOf bitsOf, Take take) const {
    const bool packed = bits->Flag();
    if (packed) {
      uint64_t count = 0;
      for (int32_t n = 0; n < samples; ++n)
        count += static_cast<uint64_t>((bitsOf(integers[n]) + 7) / 8);
      if (!Unpack(state->dictionary, bits, state->characters, count)) return false;
    }
    Words words(bits, packed, state->characters);
    for (int32_t n = 0; n < samples; ++n) take(n, words.Next(bitsOf(integers[n])));
    return !bits->IsPast();
  }

  bool Read(bool useFactor, AlsFloatChannel* kept, AlsBits* bits) const {
    if (!useFactor) {
      kept->factor = 0;
    } else if (bits->Flag()) {
      kept->factor = bits->Get(kMantissaBits);
    }
    FloatPart part = {kept->factor, 0, 8 * static_cast<int32_t>(bits->Get(2))};
    const bool newShift = bits->Flag();
    const bool wordsForZeros = bits->Flag();
    if (newShift) kept->shift = static_cast<int32_t>(bits->Get(8)) - kExponentBias;
    part.shift = kept->shift;
    for (int32_t n = 0; n < samples; ++n)
      Put(n, integers[n] == 0 ? 0 : part.Pattern(integers[n], 0));
    if (wordsForZeros && !ReadPart(
                             bits, [](int32_t x) { return x == 0 ? 32 : 0; },
                             [this](int32_t n, uint32_t word) {
                               if (integers[n] == 0) Put(n, word);
                             }))
      return false;
    if (part.mostBits > 0 &&
        !ReadPart(
            bits, [&part](int32_t x) { return x == 0 ? 0 : part.DifferenceBits(x); },
            [this, &part](int32_t n, uint32_t word) {
              if (word != 0) Put(n, part.Pattern(integers[n], word));
            }))
      return false;
    bits->Align();
    return true;
  }
};

}  // namespace

void AlsFloatReset(AlsState* state) {
  for (int32_t c = 0; c < state->config.channels; ++c) state->floats[c] = AlsFloatChannel{};
  AlsDictionary* dictionary = state->dictionary;
  Flush(dictionary);
  for (int32_t i = 0; i < 256; ++i) {
    dictionary->prefix[i] = 0;
    dictionary->length[i] = 1;
    dictionary->first[i] = dictionary->last[i] = static_cast<uint8_t>(i);
  }
  // The two codes that are no strings.
  for (uint32_t code : {kFlush, kFreeze}) {
    dictionary->prefix[code] = 0;
    dictionary->length[code] = 0;
    dictionary->first[code] = dictionary->last[code] = 0;
  }
}

bool AlsReadFloats(AlsState* state, int32_t samples, AlsBits* bits, uint8_t* output) {
  const bool useFactor = bits->Flag();
  for (int32_t c = 0; c < state->config.channels; ++c) {
    const Channel channel = {state, AlsChannel(*state, c), samples,
                             output + 4 * int64_t{state->position[c]}};
    if (!channel.Read(useFactor, &state->floats[c], bits)) return false;
  }
  return !bits->IsPast();
}

}  // namespace orbel
