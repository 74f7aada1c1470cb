// Writes ER BSAC frames (ISO/IEC 14496-3, subpart 4) of one or two channels: chooses models,
// codes, and lays the layers down as the standard tells them, line by line. Shares its tables
// of probabilities with the decoder and nothing else.
#pragma once

#include <vector>

#include "aac/aac_writer.h"

namespace orbel::aac_test {

struct BsacFrame {
  // The lines, factors and tools of an AAC frame. Both channels have the first one's windows.
  Element element;
  int samplingIndex = 4;
  int frameLength = 0;  // 0: as long as all lines need
  int topLayer = 48;    // with this and base_band, layers reach all lines at every rate
  int baseBand = 16;
  int snf = 0;

  // What CodeBsac chooses.
  int maxScalefactor[2] = {};
  int siType[2] = {};
  int baseModel[2] = {};
  int enhModel[2] = {};
  int siLen[2] = {5, 5};
  int pnsStart = -1;  // -1: no noise
  int maxNoise[2] = {};
  int msMask = 0;  // as coded, 0 to 3
  int noiseMode[kGroups][kBands] = {};
  int si[2][32] = {};                 // cband_si
  int lines[2][kLines] = {};          // in coded order
  int code[2][kGroups][kBands] = {};  // what is sent for the factor

  int Channels() const { return element.id == kCpe ? 2 : 1; }
  int Groups() const { return static_cast<int>(element.channel[0].groups.size()); }
  int Windows(int group) const;
  int Start(int group) const;  // among `lines`
};

// Chooses the shortest codes. Books, factors and ms_used become what a decoder has of them.
// False when BSAC cannot carry the frame.
bool CodeBsac(BsacFrame* frame);

// The frame's bytes; none when they are more than frameLength. With a frameLength, what the
// frame holds becomes what `layers` enhancement layers, or all of them, tell of it.
std::vector<uint8_t> WriteBsac(BsacFrame* frame, int layers = -1);

// AudioSpecificConfig.
std::vector<uint8_t> WriteBsacConfig(int samplingIndex, int channels, int numOfSubFrame = 1);

}  // namespace orbel::aac_test
