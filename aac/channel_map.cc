#include "aac/channel_map.h"

#include "aac/elements.h"

namespace orbel {
namespace {

constexpr int32_t kFrontCentre = 0;
constexpr int32_t kFront = 1;
constexpr int32_t kSide = 32;
constexpr int32_t kBack = 64;
constexpr int32_t kBackCentre = 95;
constexpr int32_t kLowFrequency = 96;

class MapWriter {
 public:
  explicit MapWriter(ElementMapEntry* map) : map_(map) {}

  // False for an entry too many.
  bool Add(int32_t id, int32_t tag, int32_t position) {
    if (count_ == kMaxMapEntries) return false;
    map_[count_++] = {static_cast<int16_t>(id), static_cast<int16_t>(tag),
                      static_cast<int16_t>(position), 0};
    map_[0].count = static_cast<int16_t>(count_);
    return true;
  }

  bool AddGroup(int32_t first, int32_t count, const int32_t* isCpe, const int32_t* tags,
                int32_t position) {
    for (int32_t i = first; i < count; ++i) {
      if (!Add(isCpe[i] != 0 ? kIdCpe : kIdSce, tags[i], position)) return false;
      position += isCpe[i] != 0 ? 2 : 1;
    }
    return true;
  }

 private:
  ElementMapEntry* map_;
  int32_t count_ = 0;
};

}  // namespace

int32_t BuildMapFromPce(const ProgramConfigElement& pce, ElementMapEntry map[kMaxMapEntries]) {
  MapWriter writer(map);
  map[0].count = 0;
  int32_t first = 0;
  if (pce.num_front_channels % 2 != 0) {
    // Odd: the first one is the centre, whatever is_cpe says of it.
    if (!writer.Add(kIdSce, pce.front_element_tag_select[0], kFrontCentre)) return -1;
    first = 1;
  }
  if (!writer.AddGroup(first, pce.num_front_channel_elements, pce.front_element_is_cpe,
                       pce.front_element_tag_select, kFront))
    return -1;
  first = 0;
  if (pce.num_back_channels % 2 != 0) {
    if (!writer.Add(kIdSce, pce.back_element_tag_select[0], kBackCentre)) return -1;
    first = 1;
  }
  if (!writer.AddGroup(first, pce.num_back_channel_elements, pce.back_element_is_cpe,
                       pce.back_element_tag_select, kBack) ||
      !writer.AddGroup(0, pce.num_side_channel_elements, pce.side_element_is_cpe,
                       pce.side_element_tag_select, kSide))
    return -1;
  for (int32_t i = 0; i < pce.num_lfe_channel_elements; ++i)
    if (!writer.Add(kIdLfe, pce.lfe_element_tag_select[i], kLowFrequency + i)) return -1;
  return 0;
}

int32_t BuildMapFromConfiguration(int32_t channelConfiguration, const FrameElementEntry* entries,
                                  int32_t count, ElementMapEntry map[kMaxMapEntries]) {
  if (count > kMaxMapEntries) return -1;
  MapWriter writer(map);
  map[0].count = 0;
  bool used[kMaxMapEntries] = {};
  // The first element of the kind that has no place yet, or -1.
  const auto place = [&](int32_t id, int32_t position) {
    for (int32_t i = 0; i < count; ++i)
      if (entries[i].id == id && !used[i]) {
        used[i] = true;
        return writer.Add(id, entries[i].key, position);
      }
    return false;
  };
  int32_t left = channelConfiguration == 7 ? 8 : channelConfiguration;
  if (left > 5) {
    if (!place(kIdLfe, kLowFrequency)) return -1;
    --left;
  }
  if (left != 2) {
    if (!place(kIdSce, kFrontCentre)) return -1;
    --left;
  }
  for (int32_t j = 0; j < left - 1; j += 2)
    if (!place(kIdCpe, kFront + j)) return -1;
  if (left % 2 != 0 && !place(kIdSce, kBackCentre)) return -1;
  return 0;
}

int32_t ApplyMap(const ElementMapEntry map[kMaxMapEntries], const FrameElementEntry* entries,
                 int32_t count, int32_t* channelOrder) {
  struct Placed {
    int32_t position;
    int32_t channel;
  };
  Placed placed[2 * kMaxMapEntries];
  int32_t channels = 0;
  // Kept in order while it grows; equal positions stay in the order they came.
  const auto insert = [&](int32_t position, int32_t channel) {
    int32_t at = channels++;
    for (; at > 0 && placed[at - 1].position > position; --at) placed[at] = placed[at - 1];
    placed[at] = {position, channel};
  };
  for (int32_t i = 0; i < count; ++i) {
    for (int32_t m = 0; m < map[0].count; ++m) {
      if (map[m].id != entries[i].id || map[m].tag != entries[i].key) continue;
      insert(map[m].position, entries[i].channel);
      if (entries[i].id == kIdCpe) insert(map[m].position + 1, entries[i].channel + 1);
      break;
    }
  }
  for (int32_t i = 0; i < channels; ++i) channelOrder[i] = placed[i].channel;
  return channels;
}

}  // namespace orbel
