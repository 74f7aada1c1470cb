#include "aac/record_decoder.h"

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "aac/bsac_frame.h"
#include "aac/frame_decoder.h"
#include "aac/tool_memory.h"

namespace orbel::aac_test {

RecordDecoder::RecordDecoder(int objectType, int samplingIndex, int channels)
    : block_(StateBlockSize() / 8 + 1), state(reinterpret_cast<AACDecoderState*>(block_.data())) {
  AACDecoderStateInit(state);
  PlaceSbrAreas(state);
  int32_t size = 0;
  if (QueryToolMemory(state, objectType, AlsConfig{}, nullptr, &size) != 0) std::abort();
  tool_.resize(static_cast<size_t>(size) / 8 + 1, ~uint64_t{0});
  if (QueryToolMemory(state, objectType, AlsConfig{}, reinterpret_cast<uint8_t*>(tool_.data()),
                      &size) != 0)
    std::abort();
  state->audioObjectType = objectType;
  ClearObjectTypeState(state);
  ConfigureSampling(state, samplingIndex);
  if (objectType == kObjectBsac) BsacStateInit(channels, 1, state->bsacState);
  state->layer = -1;
}

int32_t RecordDecoder::Frame(const std::vector<uint8_t>& frame) {
  const std::unique_ptr<uint8_t[]> exact(new uint8_t[frame.size()]);
  std::copy(frame.begin(), frame.end(), exact.get());
  pcm.assign(2048, 0);
  int32_t consumed = 0;
  const int32_t result = DecodeRawDataBlock(exact.get(), &consumed, pcm.data(),
                                            static_cast<int32_t>(frame.size()), 4096, state);
  pcm.resize(static_cast<size_t>(state->numChannels) * 1024);
  return result;
}

const IndividualChannelStream& RecordDecoder::Stream(int c) const {
  return state->numChannels == 2 ? state->channelPair.stream[c] : state->singleChannel.stream;
}

Element RecordDecoder::Last() const {
  const ChannelPairElement& pair = state->channelPair;
  Element element;
  element.id = state->numChannels == 2 ? kCpe : kSce;
  element.commonWindow = element.id == kCpe && pair.common_window != 0;
  element.msMask = element.id == kCpe ? pair.ms_mask_present : 0;
  for (int c = 0; c < state->numChannels; ++c) {
    const IndividualChannelStream& ics = Stream(c);
    Channel& channel = element.channel[c];
    channel.sequence = ics.window_sequence;
    channel.shape = ics.window_shape;
    channel.maxSfb = ics.max_sfb;
    channel.groups.assign(ics.window_group_length, ics.window_group_length + ics.num_window_groups);
    for (int g = 0; g < ics.num_window_groups; ++g)
      for (int b = 0; b < ics.max_sfb; ++b) {
        channel.book[g][b] = ics.sfb_cb[g][b];
        channel.factor[g][b] = ics.scaleFactors[g][b];
        if (c == 1) element.msUsed[g][b] = pair.ms_used[g][b] != 0;
      }
    const int16_t* value = ics.quantized;
    for (const int line : StreamOrder({2, state->samplingIndex}, channel))
      channel.lines[line] = *value++;
    for (int w = 0; ics.tns_data_present != 0 && w < ics.numWindows; ++w) {
      TnsWindow& window = channel.tns.emplace_back();
      window.coefRes = ics.coef_res[w];
      for (int f = 0; f < ics.n_filt[w]; ++f)
        window.filters.push_back({ics.length[w][f],
                                  ics.direction[w][f],
                                  ics.coef_compress[w][f],
                                  {ics.coef[w][f], ics.coef[w][f] + ics.order[w][f]}});
    }
  }
  return element;
}

}  // namespace orbel::aac_test
