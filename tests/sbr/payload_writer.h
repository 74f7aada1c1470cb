// Lays down sbr_extension_data() field by field (ISO/IEC 14496-3, subpart 4), without
// asking whether it makes sense: tests say what stands in each field.
#pragma once

#include <cstdint>
#include <vector>

#include "support/bit_writer.h"

namespace orbel::sbr_test {

struct Header {
  int ampRes = 1;
  int startFreq = 5;
  int stopFreq = 9;
  int xoverBand = 0;
  bool extra1 = false;  // the next three are sent
  int freqScale = 2;
  int alterScale = 1;
  int noiseBands = 2;
  bool extra2 = false;  // the next four are sent
  int limiterBands = 2;
  int limiterGains = 2;
  int interpolFreq = 1;
  int smoothingMode = 1;
};

struct Grid {
  int frameClass = 0;
  int tmp = 0;               // class 0: the binary logarithm of the number of envelopes
  int border[2] = {};        // bs_abs_bord of the left and the right side, where it is sent
  std::vector<int> step[2];  // bs_rel_bord of each side, 0 to 3 each
  int pointer = 0;
  std::vector<int> freqRes = {1};  // in the order of time; class 0 sends the first

  int Envelopes() const;
  int Floors() const { return Envelopes() < 2 ? 1 : 2; }
};

// Values as they are coded: differences, but for the first of one in the frequency direction.
struct Channel {
  Grid grid;
  std::vector<int> dfEnv = {0};
  std::vector<int> dfNoise = {0};
  std::vector<int> invfMode;
  std::vector<std::vector<int>> envelopes;
  std::vector<std::vector<int>> noise;
  bool addHarmonic = false;
  std::vector<int> sinusoids;
};

struct Payload {
  int crc = -1;  // 10 bits; none when negative
  bool hasHeader = true;
  Header header;  // bs_amp_res of it counts without being sent, too
  bool hasFrame = true;
  bool pair = false;
  bool coupled = false;
  bool dataExtra = false;  // with reserved bits
  Channel channel[2];
  int extensionSize = -1;  // bytes; -1: no extended data
  BitWriter extension;
};

void WriteHeader(BitWriter* out, const Header& header);
void WriteGrid(BitWriter* out, const Grid& grid);
// What follows the extension type.
void WritePayload(BitWriter* out, const Payload& payload);
// With the extension type in front, and zeros behind up to a whole byte.
std::vector<uint8_t> WriteExtension(const Payload& payload);

}  // namespace orbel::sbr_test
