#include "aac/aac_writer.h"

#include <algorithm>
#include <cstdlib>

#include "aac/huffman_tables.h"
#include "aac/sampling_tables.h"

namespace orbel::aac_test {
namespace {

constexpr int kPredictedBands = 40;  // at 44.1 and 48 kHz
constexpr int kLtpBands = 40;

void PutCode(BitWriter* out, const HuffmanCode& code) { out->Put(code.word, code.length); }
void PutStep(BitWriter* out, int step) { PutCode(out, kScaleFactorCodes[step + 60]); }

void PutEscape(BitWriter* out, int magnitude) {
  int extra = 0;
  while (magnitude >= 32 << extra) ++extra;
  for (int i = 0; i < extra; ++i) out->Put(1, 1);
  out->Put(0, 1);
  out->Put(static_cast<uint32_t>(magnitude - (16 << extra)), extra + 4);
}

void PutValues(BitWriter* out, int number, const int* values) {
  const SpectrumBook& book = kSpectrumBooks[number];
  const int base = book.isSigned ? 2 * book.largest + 1 : book.largest + 1;
  int index = 0;
  for (int i = 0; i < book.dimension; ++i)
    index = index * base + (book.isSigned ? values[i] + book.largest
                                          : std::min(std::abs(values[i]), book.largest));
  PutCode(out, book.codes[index]);
  for (int i = 0; i < book.dimension && !book.isSigned; ++i)
    if (values[i] != 0) out->Put(values[i] < 0 ? 1 : 0, 1);
  for (int i = 0; i < book.dimension && number == 11; ++i)
    if (std::abs(values[i]) >= 16) PutEscape(out, std::abs(values[i]));
}

void PutLtp(BitWriter* out, const Channel& channel) {
  out->Put(channel.ltp, 1);
  if (!channel.ltp) return;
  out->Put(static_cast<uint32_t>(channel.ltpLag), 11);
  out->Put(static_cast<uint32_t>(channel.ltpCoef), 3);
  for (int b = 0; b < std::min(channel.maxSfb, kLtpBands); ++b) out->Put(channel.ltpUsed[b], 1);
}

void PutIcsInfo(BitWriter* out, const Format& format, const Channel& channel) {
  out->Put(0, 1);
  out->Put(static_cast<uint32_t>(channel.sequence), 2);
  out->Put(static_cast<uint32_t>(channel.shape), 1);
  if (channel.sequence == 2) {
    out->Put(static_cast<uint32_t>(channel.maxSfb), 4);
    for (size_t g = 0; g < channel.groups.size(); ++g)
      for (int w = g == 0 ? 1 : 0; w < channel.groups[g]; ++w) out->Put(w > 0 ? 1 : 0, 1);
    return;
  }
  out->Put(static_cast<uint32_t>(channel.maxSfb), 6);
  out->Put(channel.predictorData, 1);
  if (!channel.predictorData) return;
  if (format.objectType == 4) PutLtp(out, channel);
  if (format.objectType != 1) return;
  out->Put(channel.resetGroup >= 0, 1);
  if (channel.resetGroup >= 0) out->Put(static_cast<uint32_t>(channel.resetGroup), 5);
  for (int b = 0; b < std::min(channel.maxSfb, kPredictedBands); ++b)
    out->Put(channel.predicted[b], 1);
}

void PutSections(BitWriter* out, const Channel& channel) {
  const int unit = channel.sequence == 2 ? 3 : 5;
  const int most = (1 << unit) - 1;
  for (size_t g = 0; g < channel.groups.size(); ++g) {
    const int* const books = channel.book[g];
    int runs = 0;
    for (int b = 0; b < channel.maxSfb; ++b) runs += b == 0 || books[b] != books[b - 1] ? 1 : 0;
    // There may be no more sections than bands.
    if (channel.emptySections && runs < channel.maxSfb) out->Put(1, 4), out->Put(0, unit);
    for (int b = 0; b < channel.maxSfb;) {
      int length = 1;
      while (b + length < channel.maxSfb && books[b + length] == books[b]) ++length;
      out->Put(static_cast<uint32_t>(books[b]), 4);
      b += length;
      for (; length >= most; length -= most) out->Put(static_cast<uint32_t>(most), unit);
      out->Put(static_cast<uint32_t>(length), unit);
    }
  }
}

void PutScaleFactors(BitWriter* out, const Channel& channel) {
  int last = channel.globalGain;
  int lastNoise = channel.globalGain - 90;
  int lastPosition = 0;
  bool noiseSeen = false;
  for (size_t g = 0; g < channel.groups.size(); ++g) {
    for (int b = 0; b < channel.maxSfb; ++b) {
      const int book = channel.book[g][b];
      const int value = channel.factor[g][b];
      if (book == 0) continue;
      int* const from = book == 13 ? &lastNoise : book >= 14 ? &lastPosition : &last;
      if (book == 13 && !noiseSeen) {
        out->Put(static_cast<uint32_t>(value - lastNoise + 256), 9);
        noiseSeen = true;
      } else {
        PutStep(out, value - *from);
      }
      *from = value;
    }
  }
}

void PutTns(BitWriter* out, const Channel& channel) {
  const bool isShort = channel.sequence == 2;
  for (const TnsWindow& window : channel.tns) {
    out->Put(static_cast<uint32_t>(window.filters.size()), isShort ? 1 : 2);
    if (window.filters.empty()) continue;
    out->Put(static_cast<uint32_t>(window.coefRes), 1);
    for (const TnsFilter& filter : window.filters) {
      out->Put(static_cast<uint32_t>(filter.length), isShort ? 4 : 6);
      out->Put(static_cast<uint32_t>(filter.coefs.size()), isShort ? 3 : 5);
      if (filter.coefs.empty()) continue;
      out->Put(static_cast<uint32_t>(filter.direction), 1);
      out->Put(static_cast<uint32_t>(filter.compress), 1);
      const int width = window.coefRes + 3 - filter.compress;
      for (const int coef : filter.coefs)
        out->Put(static_cast<uint32_t>(coef) & ((1U << width) - 1), width);
    }
  }
}

void PutGainControl(BitWriter* out, const Channel& channel) {
  static constexpr int kWindows[4] = {1, 2, 8, 2};
  out->Put(static_cast<uint32_t>(channel.gainBands), 2);
  for (int b = 0; b < channel.gainBands; ++b) {
    for (int w = 0; w < kWindows[channel.sequence]; ++w) {
      const int width = channel.sequence == 0   ? 5
                        : channel.sequence == 1 ? (w == 0 ? 4 : 2)
                        : channel.sequence == 2 ? 2
                                                : (w == 0 ? 4 : 5);
      out->Put(static_cast<uint32_t>(channel.gain[b][w].size()), 3);
      for (const GainPoint& point : channel.gain[b][w]) {
        out->Put(static_cast<uint32_t>(point.level), 4);
        out->Put(static_cast<uint32_t>(point.location), width);
      }
    }
  }
}

const ScaleFactorBands& Bands(const Format& format, const Channel& channel) {
  return (channel.sequence == 2 ? kShortBands : kLongBands)[format.samplingIndex];
}
// A channel may claim more bands than there are.
int BandsWithLines(const Format& format, const Channel& channel) {
  return std::min(channel.maxSfb, Bands(format, channel).count);
}

void PutSpectrum(BitWriter* out, const Format& format, const Channel& channel) {
  const int32_t* const offsets = Offsets(format, channel);
  const std::vector<int> order = StreamOrder(format, channel);
  size_t at = 0;
  for (size_t g = 0; g < channel.groups.size(); ++g) {
    for (int b = 0; b < BandsWithLines(format, channel); ++b) {
      const size_t end =
          at + static_cast<size_t>((offsets[b + 1] - offsets[b]) * channel.groups[g]);
      const int book = channel.book[g][b];
      if (book == 0 || book > 11) at = end;
      while (at < end) {
        int values[4] = {};
        for (int i = 0; i < kSpectrumBooks[book].dimension; ++i)
          values[i] = channel.lines[order[at++]];
        PutValues(out, book, values);
      }
    }
  }
}

void PutStream(BitWriter* out, const Format& format, const Channel& channel, bool commonWindow) {
  out->Put(static_cast<uint32_t>(channel.globalGain), 8);
  if (!commonWindow) PutIcsInfo(out, format, channel);
  PutSections(out, channel);
  PutScaleFactors(out, channel);
  out->Put(!channel.pulses.empty(), 1);
  if (!channel.pulses.empty()) {
    out->Put(static_cast<uint32_t>(channel.pulses.size() - 1), 2);
    out->Put(static_cast<uint32_t>(channel.pulseStart), 6);
    for (const Pulse& pulse : channel.pulses) {
      out->Put(static_cast<uint32_t>(pulse.offset), 5);
      out->Put(static_cast<uint32_t>(pulse.amplitude), 4);
    }
  }
  out->Put(!channel.tns.empty(), 1);
  PutTns(out, channel);
  out->Put(channel.gainBands >= 0, 1);
  if (channel.gainBands >= 0) PutGainControl(out, channel);
  PutSpectrum(out, format, channel);
}

void PutPair(BitWriter* out, const Format& format, const Element& element) {
  const Channel& first = element.channel[0];
  out->Put(element.commonWindow, 1);
  if (element.commonWindow) {
    PutIcsInfo(out, format, first);
    if (format.objectType == 4 && first.sequence != 2 && first.predictorData)
      PutLtp(out, element.channel[1]);
    out->Put(static_cast<uint32_t>(element.msMask), 2);
    for (size_t g = 0; g < first.groups.size() && element.msMask == 1; ++g)
      for (int b = 0; b < first.maxSfb; ++b) out->Put(element.msUsed[g][b], 1);
  }
  for (const Channel& channel : element.channel)
    PutStream(out, format, channel, element.commonWindow);
}

void PutCoupling(BitWriter* out, const Format& format, const Element& element) {
  const Channel& channel = element.channel[0];
  out->Put(element.independent, 1);
  out->Put(static_cast<uint32_t>(element.targets.size() - 1), 3);
  for (const Target& target : element.targets) {
    out->Put(target.pair, 1);
    out->Put(static_cast<uint32_t>(target.tag), 4);
    if (target.pair) out->Put(static_cast<uint32_t>(target.sides), 2);
  }
  out->Put(static_cast<uint32_t>(element.domain), 1);
  out->Put(static_cast<uint32_t>(element.gainSign), 1);
  out->Put(static_cast<uint32_t>(element.gainScale), 2);
  PutStream(out, format, channel, false);
  for (const GainList& list : element.lists) {
    if (!element.independent) out->Put(list.common, 1);
    if (list.common) {
      PutStep(out, list.value);
      continue;
    }
    int last = 0;
    for (size_t g = 0; g < channel.groups.size(); ++g) {
      for (int b = 0; b < channel.maxSfb; ++b) {
        if (channel.book[g][b] == 0) continue;
        PutStep(out, list.byBand[g][b] - last);
        last = list.byBand[g][b];
      }
    }
  }
}

void PutEntries(BitWriter* out, const std::vector<ProgramConfig::Entry>& entries) {
  for (const ProgramConfig::Entry& entry : entries) {
    out->Put(entry.pair, 1);
    out->Put(static_cast<uint32_t>(entry.tag), 4);
  }
}

}  // namespace

void BitWriter::Put(uint32_t value, int bits) {
  for (int i = bits - 1; i >= 0; --i, ++bits_) {
    if (bits_ % 8 == 0) bytes_.push_back(0);
    bytes_.back() = static_cast<uint8_t>(bytes_.back() | ((value >> i & 1) << (7 - bits_ % 8)));
  }
}

void BitWriter::Align() {
  if (bits_ % 8 != 0) Put(0, static_cast<int>(8 - bits_ % 8));
}

void BitWriter::Append(const BitWriter& other) {
  for (size_t i = 0; i < other.bits_; ++i) Put(other.bytes_[i / 8] >> (7 - i % 8) & 1, 1);
}

const int32_t* Offsets(const Format& format, const Channel& channel) {
  return Bands(format, channel).offsets;
}

std::vector<int> StreamOrder(const Format& format, const Channel& channel) {
  const int32_t* const offsets = Offsets(format, channel);
  std::vector<int> order;
  int first = 0;
  for (const int length : channel.groups) {
    for (int b = 0; b < BandsWithLines(format, channel); ++b)
      for (int w = 0; w < length; ++w)
        for (int k = offsets[b]; k < offsets[b + 1]; ++k) order.push_back((first + w) * 128 + k);
    first += length;
  }
  return order;
}

void WriteProgramConfig(BitWriter* out, const Format& format, const ProgramConfig& config) {
  out->Put(static_cast<uint32_t>(config.tag), 4);
  out->Put(static_cast<uint32_t>(config.profile), 2);
  out->Put(static_cast<uint32_t>(format.samplingIndex), 4);
  for (const auto* list : {&config.front, &config.side, &config.back})
    out->Put(static_cast<uint32_t>(list->size()), 4);
  out->Put(static_cast<uint32_t>(config.lfe.size()), 2);
  out->Put(0, 3 + 4);      // associated data, coupling
  out->Put(0, 1 + 1 + 1);  // mixdowns
  for (const auto* list : {&config.front, &config.side, &config.back}) PutEntries(out, *list);
  for (const int tag : config.lfe) out->Put(static_cast<uint32_t>(tag), 4);
  out->Align();
  out->Put(static_cast<uint32_t>(config.comment.size()), 8);
  for (const uint8_t byte : config.comment) out->Put(byte, 8);
}

void WriteElement(BitWriter* out, const Format& format, const Element& element) {
  out->Put(static_cast<uint32_t>(element.id), 3);
  if (element.id > kLfe) return out->Append(element.payload);
  out->Put(static_cast<uint32_t>(element.tag), 4);
  if (element.id == kCpe) return PutPair(out, format, element);
  if (element.id == kCce) return PutCoupling(out, format, element);
  PutStream(out, format, element.channel[0], false);
}

std::vector<uint8_t> WriteBlock(const Format& format, const Block& block) {
  BitWriter out;
  for (const Element& element : block) WriteElement(&out, format, element);
  out.Put(kEnd, 3);
  out.Align();
  return out.Bytes();
}

std::vector<uint8_t> WriteConfig(const Format& format, int channelConfiguration,
                                 const ProgramConfig* program) {
  BitWriter out;
  out.Put(static_cast<uint32_t>(format.objectType), 5);
  out.Put(static_cast<uint32_t>(format.samplingIndex), 4);
  out.Put(static_cast<uint32_t>(channelConfiguration), 4);
  out.Put(0, 3);
  if (program != nullptr) WriteProgramConfig(&out, format, *program);
  out.Align();
  return out.Bytes();
}

std::vector<uint8_t> WriteAdts(const Format& format, int channelConfiguration,
                               const std::vector<uint8_t>& block, int crc) {
  BitWriter out;
  out.Put(0xFFF, 12);
  out.Put(0, 3);
  out.Put(crc < 0, 1);
  out.Put(static_cast<uint32_t>(format.objectType - 1), 2);
  out.Put(static_cast<uint32_t>(format.samplingIndex), 4);
  out.Put(0, 1);
  out.Put(static_cast<uint32_t>(channelConfiguration), 3);
  out.Put(0, 4);
  out.Put(static_cast<uint32_t>(block.size() + (crc < 0 ? 7 : 9)), 13);
  out.Put(0x7FF, 11);
  out.Put(0, 2);
  if (crc >= 0) out.Put(static_cast<uint32_t>(crc), 16);
  std::vector<uint8_t> bytes = out.Bytes();
  bytes.insert(bytes.end(), block.begin(), block.end());
  return bytes;
}

std::vector<uint8_t> WriteAdif(const Format& format, const ProgramConfig& program) {
  BitWriter out;
  for (const char c : {'A', 'D', 'I', 'F'}) out.Put(static_cast<uint32_t>(c), 8);
  out.Put(0, 3);
  out.Put(1, 1);  // variable rate
  out.Put(128000, 23);
  out.Put(0, 4);
  WriteProgramConfig(&out, format, program);
  return out.Bytes();
}

}  // namespace orbel::aac_test
