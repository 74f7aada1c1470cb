#include "aac/bsac_layers.h"

#include <algorithm>

#include "aac/bsac_tables.h"
#include "dsp/bsac_state.h"

namespace orbel {
namespace {

constexpr int32_t kBandLines = kDspBsacBandLines;
constexpr int32_t kSfbIndexBits = 5;  // counted for a scale factor besides its own length

// Sampling indices.
constexpr int32_t k48000 = 3;
constexpr int32_t k44100 = 4;
constexpr int32_t k22050 = 7;
constexpr int32_t k11025 = 10;

constexpr int32_t RoundUpToBand(int32_t line) {
  return (line + kBandLines - 1) / kBandLines * kBandLines;
}

// Lines that the base layers have of a group of short windows.
int32_t ShortBaseWidth(int32_t lines, int32_t index) {
  const int32_t rest = lines % kBandLines;
  if (index == k48000 || index == k44100)
    return lines - rest + (rest == 0 ? 0 : rest <= 12 ? 8 : 20);
  if (index > k44100 && index <= k22050) return lines - rest % 16;
  return lines - rest;
}

// Lines that an enhancement layer adds to a group which ends at `end`.
int32_t LayerWidth(int32_t end, int32_t index) {
  if (index == k48000 || index == k44100) return std::min(12, kBandLines - end % kBandLines);
  if (index > k44100 && index <= k22050) return 16;
  return index > k22050 && index <= k11025 ? 32 : 64;
}

struct Groups {
  int32_t start[kMaxWindows];  // lines of the frame
  int32_t end[kMaxWindows];
  int32_t covered[kMaxWindows];  // where the layers so far end
};

void AddLayer(int32_t group, int32_t width, Groups* groups, BsacLayers* layers) {
  BsacLayer* layer = &layers->layer[layers->count++];
  const int32_t start = groups->covered[group];
  const int32_t end = std::min(start + width, groups->end[group]);
  *layer = {group,
            start,
            end,
            RoundUpToBand(start) / kBandLines,
            RoundUpToBand(end) / kBandLines,
            0,
            0,
            start == groups->start[group] && end > start ? 1 : 0};
  groups->covered[group] = end;
}

// Scale factor bands come with the first layer of the coding band in which they begin, as
// far as the uninterrupted run of layers of the group reaches.
void PlaceScaleFactorBands(const IndividualChannelStream& ics, const Groups& groups,
                           BsacLayers* layers) {
  const int32_t* offsets = BandOffsets(ics);
  int32_t sent[kMaxWindows] = {};
  for (int32_t l = 0; l < layers->count;) {
    const int32_t group = layers->layer[l].group;
    int32_t next = l + 1;
    while (next < layers->count && next != layers->base && layers->layer[next].group == group)
      ++next;
    const int32_t runEnd = layers->layer[next - 1].endLine;
    const int32_t windows = ics.window_group_length[group];
    for (; l < next; ++l) {
      BsacLayer* layer = &layers->layer[l];
      const int32_t limit = std::min(RoundUpToBand(layer->endLine), runEnd) - groups.start[group];
      layer->firstSfb = sent[group];
      while (sent[group] < ics.max_sfb && offsets[sent[group]] * windows < limit) ++sent[group];
      layer->endSfb = sent[group];
    }
  }
}

// The most bits that a layer's side information takes.
int32_t SideBits(const BsacHeader& header, const BsacLayer& layer, int32_t channels) {
  int32_t bits = 0;
  for (int32_t c = 0; c < channels; ++c) {
    const int32_t length = kBsacCbandTypes[header.cband_si_type[c]].maxCodeLength;
    bits += (layer.endBand - layer.firstBand) * length;
    if (layer.startsGroup != 0) bits += kBsacFirstCbandLength - length;
    bits += (layer.endSfb - layer.firstSfb) * (header.max_sfb_si_len[c] + kSfbIndexBits);
  }
  return bits;
}

}  // namespace

void PlanBsacLayers(const BsacHeader& header, const IndividualChannelStream& ics, int32_t index,
                    BsacLayers* layers) {
  const bool isShort = ics.window_sequence == kEightShort;
  Groups groups = {};
  int32_t groupOfWindow[kMaxWindows] = {};
  layers->count = 0;
  for (int32_t g = 0, window = 0; g < ics.num_window_groups; ++g) {
    const int32_t windows = isShort ? ics.window_group_length[g] : kMaxWindows;
    groups.start[g] = groups.covered[g] = kShortLength * window;
    groups.end[g] = groups.start[g] + kShortLength * windows;
    for (const int32_t end = window + windows; window < end; ++window) groupOfWindow[window] = g;
    int32_t width = kBandLines * header.base_band;
    if (isShort) width = ShortBaseWidth(4 * header.base_band * windows, index);
    for (; width > 0; width -= kBandLines)
      AddLayer(g, std::min(width, kBandLines), &groups, layers);
  }
  layers->base = layers->count;
  for (int32_t k = 0; k < header.top_layer; ++k) {
    const int32_t group = groupOfWindow[k % kMaxWindows];
    AddLayer(group, LayerWidth(groups.covered[group], index), &groups, layers);
  }
  PlaceScaleFactorBands(ics, groups, layers);
}

void BudgetBsacLayers(const BsacHeader& header, int32_t channels, int32_t frequency,
                      BsacLayers* layers) {
  const int32_t base = layers->base;
  const int32_t count = layers->count;
  int32_t* at = layers->firstBit;
  int32_t side[kBsacMaxLayers] = {};
  for (int32_t l = 0; l < count; ++l) side[l] = SideBits(header, layers->layer[l], channels);
  // A kilobit a second and channel for each enhancement layer, on top of 16.
  const int32_t frameBits = 8 * header.frame_length;
  for (int32_t l = base; l < count; ++l)
    at[l] =
        std::min(channels * ((l - base + 16) * 1000 * kFrameLength / frequency / 8 * 8), frameBits);
  at[count] = frameBits;
  for (int32_t l = count - 1; l >= base; --l) at[l] = std::min(at[l], at[l + 1] - side[l]);
  for (int32_t l = base - 1; l >= 0; --l) at[l] = at[l + 1] - side[l];

  const int32_t headerBits = 8 * header.headerBytes;
  int32_t over = headerBits - at[0];
  if (over > 0) {
    // What the header takes is taken from the last layers, as far as they can give.
    int32_t taken = 0;
    int32_t behind = frameBits;  // where the layer behind began
    for (int32_t l = count - 1; l >= 1; --l) {
      const int32_t here = at[l];
      if (l >= base) {
        const int32_t take = std::min(behind - here - side[l], over);
        taken += take;
        over -= take;
      }
      behind = here;
      at[l] = here + taken;
    }
    at[0] = headerBits;
    return;
  }
  at[0] = headerBits;
  for (int32_t m = 1; m < base; ++m)
    at[m] = at[m - 1] + side[m - 1] + -over / base + (m <= -over % base ? 1 : 0);
}

}  // namespace orbel
