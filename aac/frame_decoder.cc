#include "aac/frame_decoder.h"

#include <algorithm>
#include <cstring>

#include "aac/crc.h"
#include "aac/element_tools.h"
#include "aac/ssr_filterbank.h"
#include "dsp/primitives.h"

namespace orbel {
namespace {

constexpr int32_t kElementKinds = 4;
constexpr int32_t kTags = 16;
constexpr int32_t kParametricStereoBits = 1 << 1 | 1 << 3;  // of psSupportLevel
constexpr int32_t kNoElement = -1;
constexpr int32_t kNoReplication = 2;  // an element id that carries no band replication

// What lives for one frame.
struct Frame {
  AACDecoderState* state;
  BitReader reader;
  int32_t dataBits;
  int32_t elementCount;  // rows of elementTable, and the next free channel: stored
  int32_t nextChannel;   // in the state only when the frame is good
  FrameElementEntry entries[kMaxMapEntries];
  int32_t entryCount;
  int32_t channels;
  int32_t couplingCount;
  int32_t sbrCount;
  int32_t lfeAfterSbr;
  int32_t lastId;
  uint8_t seen[kElementKinds][kTags];
};

// The element's key: its tag, plus 16 for each earlier one with the same id and tag.
int32_t NextKey(Frame* frame, int32_t id, int32_t tag) {
  return tag + kTags * frame->seen[id][tag]++;
}

// Gives the element the channel that it had before, or a new one. -1 when there
// is none.
int32_t TakeChannel(Frame* frame, int32_t id, int32_t key) {
  FrameElementEntry* table = frame->state->elementTable;
  const int32_t width = id == kIdCpe ? 2 : 1;
  int32_t row = 0;
  while (row < frame->elementCount && (table[row].id != id || table[row].key != key)) ++row;
  if (row == frame->elementCount) {
    if (frame->elementCount == kMaxMapEntries) return kNoElement;
    table[row] = {static_cast<int16_t>(id), static_cast<int16_t>(key),
                  static_cast<int16_t>(frame->nextChannel)};
    ++frame->elementCount;
    frame->nextChannel += width;
  }
  const int32_t channel = table[row].channel;
  if (channel + width > kMaxOutputChannels || frame->channels + width > kMaxOutputChannels)
    return kNoElement;
  frame->entries[frame->entryCount++] = table[row];
  for (int32_t i = 0; i < width; ++i) frame->state->channelOrder[frame->channels++] = channel + i;
  return channel;
}

// Parses with the frame's CRC, if it has one, carried through the record.
template <typename Element, typename Parse>
bool ParseElement(Frame* frame, Element* element, Parse parse) {
  AACDecoderState* state = frame->state;
  element->crcEnabled = state->crcEnabled;
  element->crcValue = state->crcValue;
  if (parse(element) != 0) return false;
  state->crcValue = element->crcValue;
  return true;
}

bool DecodeSingle(Frame* frame, int32_t id) {
  AACDecoderState* state = frame->state;
  const bool low = id == kIdLfe;
  if (low && frame->entryCount >= kMaxMapEntries) return false;
  if (low && frame->sbrCount > 0) {
    ++frame->lfeAfterSbr;
    if (frame->sbrCount < kMaxSbrElements) state->sbrElements[frame->sbrCount++].elementId = kIdLfe;
  }
  SingleChannelElement* element = low ? &state->lowFrequency : &state->singleChannel;
  if (!ParseElement(frame, element, [&](SingleChannelElement* e) {
        return SingleChannelElementParse(e, &frame->reader, state->audioObjectType);
      }))
    return false;
  const int32_t channel = TakeChannel(frame, id, NextKey(frame, id, element->element_instance_tag));
  if (channel < 0) return false;
  if (low)
    LowFrequencyTools(state, channel);
  else
    SingleChannelTools(state, channel);
  return true;
}

bool DecodePair(Frame* frame) {
  AACDecoderState* state = frame->state;
  ChannelPairElement* element = &state->channelPair;
  if (!ParseElement(frame, element, [&](ChannelPairElement* e) {
        return ChannelPairElementParse(e, &frame->reader, state->audioObjectType);
      }))
    return false;
  const int32_t key = NextKey(frame, kIdCpe, element->element_instance_tag);
  const int32_t channel = TakeChannel(frame, kIdCpe, key);
  if (channel < 0) return false;
  ChannelPairTools(state, channel);
  return true;
}

bool DecodeCoupling(Frame* frame) {
  AACDecoderState* state = frame->state;
  if (frame->couplingCount == kMaxCouplingElements) return false;
  CouplingInfo* info = &state->couplingInfo[frame->couplingCount];
  if (!ParseElement(frame, &state->coupling, [&](CouplingChannelElement* e) {
        return CouplingChannelElementParse(e, info, &frame->reader, state->audioObjectType);
      }))
    return false;
  NextKey(frame, kIdCce, state->coupling.element_instance_tag);
  CouplingChannelTools(state, frame->couplingCount++);
  return true;
}

void DecodeProgramConfig(Frame* frame) {
  AACDecoderState* state = frame->state;
  const uint32_t start = GetBitPosition(frame->reader);
  ProgramConfigElementParse(&state->pce, &frame->reader);
  RefreshWord(&frame->reader);
  state->pceMapBuilt = 0;
  state->pcePresent = 1;
  if (state->crcEnabled != 0) {
    const uint32_t end = GetBitPosition(frame->reader);
    state->crcValue = static_cast<int32_t>(CrcOverBits(static_cast<uint32_t>(state->crcValue),
                                                       frame->reader, start, end, end - start));
  }
}

bool DecodeFill(Frame* frame) {
  AACDecoderState* state = frame->state;
  if (frame->sbrCount >= kMaxSbrElements) return false;
  SbrElement* record = &state->sbrElements[frame->sbrCount];
  record->samplingFrequency = 2 * state->samplingFrequency;
  record->samplingIndex =
      state->samplingIndex > 2 ? state->samplingIndex - 3 : state->samplingIndex;
  record->elementId = frame->lastId;
  const bool mayHavePs = (state->psSupportLevel & 1) != 0 && state->psReady != 0 &&
                         frame->sbrCount == 0 && frame->entryCount > 0 &&
                         frame->entries[0].id == kIdSce;
  record->ps = mayHavePs ? state->psState : nullptr;
  DynamicRangeInfo range;
  return FillElementParse({record, &frame->sbrCount, state->sbrSupportLevel}, &range,
                          &frame->reader) == 0;
}

bool DecodeElement(Frame* frame, int32_t id) {
  if (frame->channels >= kMaxOutputChannels) return false;
  if (frame->state->tools != nullptr) ++frame->state->tools->elements[id];
  switch (id) {
    case kIdCpe:
      frame->lastId = id;
      return DecodePair(frame);
    case kIdCce:
      return DecodeCoupling(frame);
    case kIdDse:
      DataStreamElementParse(&frame->reader);
      return true;
    case kIdPce:
      DecodeProgramConfig(frame);
      return true;
    case kIdFil:
      return DecodeFill(frame);
    case kIdSce:
    case kIdLfe:
    default:
      frame->lastId = id;
      return DecodeSingle(frame, id);
  }
}

bool DecodeElements(Frame* frame) {
  const auto nextId = [frame] { return static_cast<int32_t>(FastGetBits(&frame->reader, 3)); };
  for (int32_t id = nextId(); id != kIdEnd; id = nextId()) {
    if (!DecodeElement(frame, id)) return false;
    if (GetBitPosition(frame->reader) > static_cast<uint32_t>(frame->dataBits)) return false;
  }
  return true;
}

// Fixes the order of the channels in the output and their number.
bool OrderChannels(Frame* frame) {
  AACDecoderState* state = frame->state;
  int32_t channels = frame->channels;
  if (state->pcePresent == 1) {
    if (state->pceMapBuilt == 0 && BuildMapFromPce(state->pce, state->elementMap) != 0)
      return false;
    state->pceMapBuilt = 1;
    channels = ApplyMap(state->elementMap, frame->entries, frame->entryCount, state->channelOrder);
  } else if (state->channelConfiguration > 0) {
    if (BuildMapFromConfiguration(state->channelConfiguration, frame->entries, frame->entryCount,
                                  state->elementMap) != 0)
      return false;
    channels = ApplyMap(state->elementMap, frame->entries, frame->entryCount, state->channelOrder);
  }
  state->nextChannel = frame->nextChannel;
  state->elementCount = frame->elementCount;
  state->numChannels = channels;
  for (int32_t i = 0; i < channels; ++i)
    state->outputChannels[i] = state->pcmFloat[state->channelOrder[i]];
  return true;
}

// Spectra that may have become huge are held within bounds, so that what a hostile
// stream makes of one frame is gone with it.
bool MayBeHuge(const AACDecoderState& state, int32_t channel, int32_t couplingCount) {
  return state.wildScale[channel] != 0 || state.tnsData[channel].active != 0 || couplingCount > 0;
}

void Reconstruct(AACDecoderState* state, int32_t channel, int32_t couplingCount) {
  float* lines = state->spectrum[channel];
  const int32_t sequence = state->windowSequence[channel];
  const int32_t shape = state->windowShape[channel];
  int32_t& previous = state->prevWindowShape[channel];
  if (MayBeHuge(*state, channel, couplingCount)) dspLimit_32f_I(lines, kFrameLength);
  if (state->audioObjectType == kObjectSsr)
    SsrFilterbank(state->filterbankSpec, lines, sequence, shape, previous,
                  state->gainControl[channel], &state->gainState[channel],
                  state->ssrBuffers[channel], state->pcmFloat[channel]);
  else
    Filterbank(state->filterbankSpec, lines, state->overlap[channel], sequence, shape, previous,
               state->pcmFloat[channel], state->overlap[channel]);
  previous = shape;
}

// Long-term prediction works on whole numbers within 16 bits. ER BSAC rarely has it, and
// rounds when it is met.
void KeepHistory(AACDecoderState* state, int32_t channel) {
  float(*history)[kMaxFrameLength] = state->ltpHistory[channel];
  if (state->audioObjectType == kObjectBsac) {
    constexpr size_t kBytes = kFrameLength * sizeof(float);
    std::memcpy(history[state->ltpHistoryIndex[1]], state->pcmFloat[channel], kBytes);
    std::memcpy(history[state->ltpHistoryIndex[2]], state->overlap[channel], kBytes);
    return;
  }
  dspRoundTo16s_32f(state->pcmFloat[channel], history[state->ltpHistoryIndex[1]], kFrameLength);
  dspRoundTo16s_32f(state->overlap[channel], history[state->ltpHistoryIndex[2]], kFrameLength);
}

void FindTargets(AACDecoderState* state, CouplingInfo* info) {
  for (int32_t t = 0; t <= info->num_coupled_elements; ++t) {
    const int32_t id = info->cc_target_is_cpe[t] != 0 ? kIdCpe : kIdSce;
    info->targetChannel[t] = -1;
    for (int32_t row = 0; row < state->elementCount; ++row) {
      const FrameElementEntry& entry = state->elementTable[row];
      if (entry.id != id || entry.key != info->cc_target_tag_select[t]) continue;
      info->targetChannel[t] = entry.channel;
      break;
    }
  }
}

void Couple(AACDecoderState* state, int32_t count, int32_t domain) {
  for (int32_t i = 0; i < count; ++i) {
    const CouplingInfo& info = state->couplingInfo[i];
    if (info.ind_sw_cce_flag == 0 && info.cc_domain == domain)
      CouplingApply(info, state->couplingGains[i], state->spectrum[kFirstCouplingChannel + i],
                    state->spectrum, kMaxOutputChannels);
  }
}

// From spectra to time signals. Independently switched coupling elements are
// decoded, for their histories, and mixed into nothing.
void Synthesize(AACDecoderState* state, int32_t couplingCount) {
  const bool longTerm = HasLongTermPrediction(state->audioObjectType);
  if (longTerm)
    for (int32_t& index : state->ltpHistoryIndex) index = (index + 1) % 3;
  for (int32_t i = 0; i < couplingCount; ++i) {
    FindTargets(state, &state->couplingInfo[i]);
    if (state->couplingInfo[i].ind_sw_cce_flag == 0 && !longTerm) continue;
    // The spectrum is still needed: elements that are mixed into spectra follow.
    Reconstruct(state, kFirstCouplingChannel + i, couplingCount);
    if (longTerm) KeepHistory(state, kFirstCouplingChannel + i);
  }
  Couple(state, couplingCount, 0);
  for (int32_t i = 0; i < state->numChannels; ++i) {
    const int32_t channel = state->channelOrder[i];
    if (state->tnsData[channel].active != 0)
      TnsApply(state->tnsData[channel], state->spectrum[channel]);
  }
  Couple(state, couplingCount, 1);
  for (int32_t i = 0; i < state->numChannels; ++i)
    Reconstruct(state, state->channelOrder[i], couplingCount);
  if (longTerm)
    for (int32_t i = 0; i < state->numChannels; ++i) KeepHistory(state, state->channelOrder[i]);
}

// Whether the frame's one channel is to become two.
bool WantsStereo(AACDecoderState* state) {
  if ((state->psSupportLevel & kParametricStereoBits) == 0) return false;
  if (state->numChannels == 1) return true;
  state->psSupportLevel = 0;
  return false;
}

// Payloads stand for elements in the order of both; low frequency elements, which
// have none, have been counted in where their places could be known.
int32_t SbrElementCount(const Frame& frame) {
  if (frame.lfeAfterSbr == 0 || frame.sbrCount == 0 || frame.sbrCount == frame.entryCount)
    return frame.sbrCount;
  return frame.sbrCount == frame.entryCount - 1 ? frame.entryCount : 0;
}

SbrChannel* SbrChannelOf(AACDecoderState* state, int32_t slot, int32_t channel) {
  const int32_t index = 2 * slot + channel;
  SbrChannel* record = &state->sbrChannels[index];
  if (state->sbrChannelUsed[index] == 0) record->started = 0;
  state->sbrChannelUsed[index] = 1;
  return record;
}

void CountSbr(AACDecoderState* state, bool hasPs) {
  FrameTools* tools = state->tools;
  const SbrElement& element = state->sbrElements[0];
  ++tools->sbrFrames;
  tools->psFrames += hasPs ? 1 : 0;
  tools->sbrHeaders = element.headerCount;
  tools->sbrStartBand = element.kx;
  tools->sbrStopBand = element.kx + element.M;
  tools->sbrBands = element.N_high;
  tools->sbrNoiseBands = element.N_Q;
  tools->sbrPatches = element.numPatches;
  tools->sbrRate = 2 * state->samplingFrequency;
}

// Band replication, for every channel that is put out as soon as one element has
// it, and parametric stereo.
void Replicate(const Frame& frame) {
  AACDecoderState* state = frame.state;
  const bool stereo = WantsStereo(state);
  float* second = nullptr;
  if (stereo) {
    second = state->pcmFloat[state->channelOrder[0] == 1 ? 0 : 1];
    state->outputChannels[1] = second;
  }
  const int32_t count = SbrElementCount(frame);
  int32_t samples = kFrameLength;
  bool parametric = false;
  if (count > 0) {
    const bool downsampled = state->sbrDownsample != 0;
    if (!downsampled) state->upsamplingFactor = 2;
    state->sbrPresent = 1;
    if (state->sbrWorkUsed == 0) std::memset(&state->sbrWork, 0, sizeof state->sbrWork);
    state->sbrWorkUsed = 1;
    samples *= state->upsamplingFactor;
    for (int32_t slot = 0; slot < frame.entryCount; ++slot) {
      SbrElement* element = &state->sbrElements[slot];
      if (slot >= frame.sbrCount) element->elementId = kNoReplication;  // no payload in this frame
      const FrameElementEntry& entry = frame.entries[slot];
      const int32_t width = entry.id == kIdCpe ? 2 : 1;
      for (int32_t c = 0; c < width; ++c) {
        const int32_t channel = entry.channel + c;
        const int32_t* const end = state->channelOrder + state->numChannels;
        if (std::find(static_cast<const int32_t*>(state->channelOrder), end, channel) == end)
          continue;
        SbrFrameContext context = {state->sbrMode, downsampled, &state->sbrWork, nullptr, nullptr};
        if (stereo) {
          element->ps = state->psReady != 0 ? state->psState : nullptr;
          parametric =
              state->sbrMode != kSbrReal && element->ps != nullptr && PsHasData(*element->ps);
          if (parametric) {
            context.second = SbrChannelOf(state, slot, 1);
            context.secondPcm = second;
          }
        }
        SbrFrameDecode(element, c, SbrChannelOf(state, slot, c), context, state->pcmFloat[channel]);
      }
    }
    if (state->tools != nullptr) CountSbr(state, parametric);
  }
  if (!stereo) return;
  // Until there is parametric data, both are the same.
  if (!parametric)
    std::memcpy(second, state->outputChannels[0], static_cast<size_t>(samples) * sizeof *second);
  state->numChannels = 2;
}

int32_t WritePcm(int32_t* consumedBytes, int16_t* output, int32_t outputFree,
                 AACDecoderState* state) {
  const int32_t bytes = state->numChannels * state->upsamplingFactor * kFrameLength * 2;
  if (outputFree < bytes) {
    state->pendingFrameBytes = *consumedBytes;
    state->pendingCrc = state->crcValue;
    return kFrameOutputTooSmall;
  }
  dspInterleaveFloatTo16s(state->outputChannels, state->numChannels,
                          state->upsamplingFactor * kFrameLength, output);
  ++state->frameNumber;
  state->pendingFrameBytes = 0;
  return kFrameGood;
}

// One frame from its spectra on.
int32_t FinishBsacFrame(int32_t* consumedBytes, int16_t* output, int32_t outputFree,
                        AACDecoderState* state) {
  for (int32_t i = 0; i < state->numChannels; ++i) {
    state->channelOrder[i] = i;
    state->outputChannels[i] = state->pcmFloat[i];
  }
  Synthesize(state, 0);
  Frame frame{};
  frame.state = state;
  Replicate(frame);
  state->prevNumChannels = state->numChannels;
  if (state->tools != nullptr) ++state->tools->frames;
  return WritePcm(consumedBytes, output, outputFree, state);
}

// An access unit of ER BSAC: its frames one behind the other, fewer where the data end with
// one. Unlike other frames they do not wait in the state: without room for all of them
// nothing is decoded. With one bad frame the unit is bad.
int32_t DecodeBsacUnit(const uint8_t* data, int32_t* consumedBytes, int16_t* output,
                       int32_t dataSize, int32_t outputFree, AACDecoderState* state) {
  const BsacState& bsac = *state->bsacState;
  if (bsac.channels < 1 || bsac.channels > kBsacMaxChannels) return kFrameUnsupported;
  state->numChannels = bsac.channels;
  const int32_t channels = WantsStereo(state) ? 2 : bsac.channels;
  const int32_t frameBytes = channels * kFrameLength * 2;
  if (outputFree < bsac.subFrames * frameBytes) return kFrameOutputTooSmall;
  int32_t position = 0;
  int32_t frames = 0;
  while (frames < bsac.subFrames && (frames == 0 || position < dataSize)) {
    int32_t length = 0;
    const int32_t result = BsacFrameDecode(data + position, dataSize - position, state, &length);
    if (result != kFrameGood) {
      state->numChannels = channels;
      state->unitFrames = bsac.subFrames;
      *consumedBytes = dataSize;
      return result;
    }
    FinishBsacFrame(consumedBytes, output, frameBytes, state);
    output += channels * kFrameLength;
    position += length;
    ++frames;
  }
  state->unitFrames = frames;
  *consumedBytes = position;
  return kFrameGood;
}

}  // namespace

int32_t DecodeRawDataBlock(const uint8_t* data, int32_t* consumedBytes, int16_t* output,
                           int32_t dataSize, int32_t outputFree, AACDecoderState* state) {
  if (data == nullptr || output == nullptr) return kFrameNullPointer;
  if (state->pendingFrameBytes != 0) {
    *consumedBytes = state->pendingFrameBytes;
    state->crcValue = state->pendingCrc;
    return WritePcm(consumedBytes, output, outputFree, state);
  }
  const int32_t pceMapBuilt = state->pceMapBuilt;
  const int32_t pcePresent = state->pcePresent;
  state->upsamplingFactor = 1;
  state->unitFrames = 1;
  if (state->audioObjectType == kObjectBsac)
    return DecodeBsacUnit(data, consumedBytes, output, dataSize, outputFree, state);
  Frame frame{};
  frame.state = state;
  frame.elementCount = state->elementCount;
  frame.nextChannel = state->nextChannel;
  frame.lastId = kNoReplication;
  BitReaderInit(&frame.reader, data, static_cast<size_t>(std::max(dataSize, 0)));
  frame.dataBits = frame.reader.sizeBytes * 8;
  if (!DecodeElements(&frame) || !OrderChannels(&frame)) {
    *consumedBytes = static_cast<int32_t>((GetBitPosition(frame.reader) + 7) / 8);
    state->numChannels = state->prevNumChannels;
    state->pceMapBuilt = pceMapBuilt;
    state->pcePresent = pcePresent;
    return kFrameBad;
  }
  Synthesize(state, frame.couplingCount);
  Replicate(frame);
  ByteAlign(&frame.reader);
  *consumedBytes = static_cast<int32_t>(GetBitPosition(frame.reader) / 8);
  state->prevNumChannels = state->numChannels;
  if (state->tools != nullptr) ++state->tools->frames;
  return WritePcm(consumedBytes, output, outputFree, state);
}

}  // namespace orbel
