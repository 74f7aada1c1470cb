#include "sbr/payload_writer.h"

#include "sbr/sbr_huffman_tables.h"

namespace orbel::sbr_test {
namespace {

void Put(BitWriter* out, int value, int bits) { out->Put(static_cast<uint32_t>(value), bits); }

void PutValues(BitWriter* out, int book, int value) {
  const SbrHuffmanBook& codes = kSbrHuffmanBooks[book];
  const SbrHuffmanCode& code = codes.codes[value + codes.largest];
  out->Put(code.word, code.length);
}

void PutRun(BitWriter* out, const std::vector<int>& values, bool inTime, int timeBook,
            int frequencyBook, int firstBits) {
  for (size_t k = 0; k < values.size(); ++k) {
    if (inTime || k > 0) {
      PutValues(out, inTime ? timeBook : frequencyBook, values[k]);
    } else {
      Put(out, values[k], firstBits);
    }
  }
}

void PutEnvelopes(BitWriter* out, const Channel& channel, bool balance, int ampRes) {
  if (channel.grid.frameClass == 0 && channel.grid.Envelopes() == 1) ampRes = 0;
  const int book = (balance ? kBookEnvBalance15 : kBookEnv15) + 4 * ampRes;
  const int firstBits = 7 - ampRes - (balance ? 1 : 0);
  for (size_t e = 0; e < channel.envelopes.size(); ++e)
    PutRun(out, channel.envelopes[e], channel.dfEnv[e] != 0, book, book + 1, firstBits);
}

void PutNoise(BitWriter* out, const Channel& channel, bool balance) {
  for (size_t f = 0; f < channel.noise.size(); ++f)
    PutRun(out, channel.noise[f], channel.dfNoise[f] != 0,
           balance ? kBookNoiseBalance30 : kBookNoise30,
           (balance ? kBookEnvBalance30 : kBookEnv30) + 1, 5);
}

void PutFlags(BitWriter* out, const std::vector<int>& flags, int bits) {
  for (int flag : flags) Put(out, flag, bits);
}

}  // namespace

int Grid::Envelopes() const {
  return frameClass == 0 ? 1 << tmp : static_cast<int>(step[0].size() + step[1].size()) + 1;
}

void WriteHeader(BitWriter* out, const Header& header) {
  Put(out, header.ampRes, 1);
  Put(out, header.startFreq, 4);
  Put(out, header.stopFreq, 4);
  Put(out, header.xoverBand, 3);
  Put(out, 3, 2);  // reserved
  Put(out, header.extra1, 1);
  Put(out, header.extra2, 1);
  if (header.extra1) {
    Put(out, header.freqScale, 2);
    Put(out, header.alterScale, 1);
    Put(out, header.noiseBands, 2);
  }
  if (header.extra2) {
    Put(out, header.limiterBands, 2);
    Put(out, header.limiterGains, 2);
    Put(out, header.interpolFreq, 1);
    Put(out, header.smoothingMode, 1);
  }
}

void WriteGrid(BitWriter* out, const Grid& grid) {
  Put(out, grid.frameClass, 2);
  if (grid.frameClass == 0) {
    Put(out, grid.tmp, 2);
    Put(out, grid.freqRes[0], 1);
    return;
  }
  const bool has[2] = {grid.frameClass != 1, grid.frameClass != 2};
  for (int side : {0, 1})
    if (has[side]) Put(out, grid.border[side], 2);
  for (int side : {0, 1})
    if (has[side]) Put(out, static_cast<int>(grid.step[side].size()), 2);
  for (int side : {0, 1}) PutFlags(out, grid.step[side], 2);
  const int envelopes = grid.Envelopes();
  Put(out, grid.pointer, envelopes == 1 ? 1 : (envelopes <= 3 ? 2 : 3));
  std::vector<int> freqRes = grid.freqRes;
  if (grid.frameClass == 1) freqRes.assign(grid.freqRes.rbegin(), grid.freqRes.rend());
  PutFlags(out, freqRes, 1);
}

void WritePayload(BitWriter* out, const Payload& payload) {
  if (payload.crc >= 0) Put(out, payload.crc, 10);
  Put(out, payload.hasHeader, 1);
  if (payload.hasHeader) WriteHeader(out, payload.header);
  if (!payload.hasFrame) return;
  const Channel* const channel = payload.channel;
  const int channels = payload.pair ? 2 : 1;
  const bool coupled = payload.pair && payload.coupled;
  Put(out, payload.dataExtra, 1);
  if (payload.dataExtra) Put(out, 0xA5, payload.pair ? 8 : 4);
  if (payload.pair) Put(out, payload.coupled, 1);
  for (int c = 0; c < (coupled ? 1 : channels); ++c) WriteGrid(out, channel[c].grid);
  for (int c = 0; c < channels; ++c) {
    PutFlags(out, channel[c].dfEnv, 1);
    PutFlags(out, channel[c].dfNoise, 1);
  }
  for (int c = 0; c < (coupled ? 1 : channels); ++c) PutFlags(out, channel[c].invfMode, 2);
  for (int c = 0; c < channels; ++c) {
    PutEnvelopes(out, channel[c], coupled && c == 1, payload.header.ampRes);
    if (coupled) PutNoise(out, channel[c], c == 1);
  }
  for (int c = 0; c < channels && !coupled; ++c) PutNoise(out, channel[c], false);
  for (int c = 0; c < channels; ++c) {
    Put(out, channel[c].addHarmonic, 1);
    if (channel[c].addHarmonic) PutFlags(out, channel[c].sinusoids, 1);
  }
  Put(out, payload.extensionSize >= 0, 1);
  if (payload.extensionSize < 0) return;
  Put(out, payload.extensionSize < 15 ? payload.extensionSize : 15, 4);
  if (payload.extensionSize >= 15) Put(out, payload.extensionSize - 15, 8);
  for (int64_t i = 0; i < payload.extension.position; ++i)
    Put(out, payload.extension.bytes[static_cast<size_t>(i / 8)] >> (7 - i % 8) & 1, 1);
}

std::vector<uint8_t> WriteExtension(const Payload& payload) {
  BitWriter out;
  Put(&out, payload.crc >= 0 ? 14 : 13, 4);
  WritePayload(&out, payload);
  return out.bytes;
}

}  // namespace orbel::sbr_test
