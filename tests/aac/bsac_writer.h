// Writes ER BSAC frames (ISO/IEC 14496-3, subpart 4) of one or two channels: an arithmetic
// coder, and the layers as the standard tells them, line by line. Shares its tables of
// probabilities with the decoder and nothing else.
#pragma once

#include <random>
#include <vector>

#include "aac/aac_writer.h"

namespace orbel::aac_test {

struct BsacFrame {
  int samplingIndex = 4;
  int channels = 1;
  int frameLength = 700;
  int headerLength = -1;  // -1: what it is
  int topLayer = 30;
  int snf = 0;
  int baseBand = 8;
  int maxScalefactor[2] = {130, 130};
  int siType[2] = {22, 22};
  int baseModel[2] = {4, 4};
  int enhModel[2] = {4, 4};
  int siLen[2] = {5, 5};
  int pnsStart = -1;  // -1: no noise
  int maxNoise[2] = {90, 90};
  int msMask = 0;  // as coded, 0 to 3
  int noiseMode[kGroups][kBands] = {};
  int si[2][32] = {};                 // cband_si
  int lines[2][kLines] = {};          // in coded order
  int code[2][kGroups][kBands] = {};  // what is sent for the factor
  // Windows, books, factors, ms_used, TNS and LTP. msMask as AAC has it.
  Element element;

  int Groups() const { return static_cast<int>(element.channel[0].groups.size()); }
};

// Random books, factors and lines for a frame whose other fields stand; bands get noise from
// pnsStart on, intensity or a noise mode where msMask is 3.
void FillBsac(std::mt19937& random, int largestSi, BsacFrame* frame);

// The frame's bytes. What the frame holds becomes what `layers` enhancement layers, or all
// of them, tell of it.
std::vector<uint8_t> WriteBsac(BsacFrame* frame, int layers = -1);

// AudioSpecificConfig.
std::vector<uint8_t> WriteBsacConfig(int samplingIndex, int channels, int numOfSubFrame = 1);

}  // namespace orbel::aac_test
