// The one state record of the AAC family decoder. It lies at the start of one
// block of memory, in a room of kStateRoom bytes; the room for code tables and
// for band replication follows. It is plain data, which the codec class clears
// and AACDecoderStateInit sets up.
#pragma once

#include <cstdint>

#include "aac/bsac_frame.h"
#include "aac/channel_map.h"
#include "aac/coupling.h"
#include "aac/elements.h"
#include "aac/fill_element.h"
#include "aac/filterbank.h"
#include "aac/frame_tools.h"
#include "aac/gain_control.h"
#include "aac/long_term_prediction.h"
#include "aac/main_prediction.h"
#include "aac/stream_headers.h"
#include "aac/tns.h"
#include "als/als_state.h"
#include "sbr/ps.h"
#include "sbr/sbr_channel.h"
#include "sbr/sbr_element.h"

namespace orbel {

constexpr int32_t kMaxChannels = 12;           // 0 to 9 are output channels,
constexpr int32_t kFirstCouplingChannel = 10;  // 10 and 11 those of coupling elements
constexpr int32_t kMaxFrameLength = 2048;      // samples a channel at the doubled rate
constexpr uint64_t kStateRoom = 2142080;

struct AACDecoderState {
  int32_t pceMapBuilt;
  int32_t pcePresent;
  int32_t samplingFrequency;  // hertz
  int32_t upsamplingFactor;   // 1, or 2 when band replication doubles the rate
  int32_t samplingIndex;
  int32_t elementCount;     // entries of elementTable
  int32_t numChannels;      // of the present frame
  int32_t prevNumChannels;  // of the last good frame
  int32_t nextChannel;
  int32_t reserved;
  int32_t frameNumber;  // frames written to the output
  int32_t frameLength;  // 1024
  int32_t audioObjectType;
  ElementMapEntry elementMap[kMaxMapEntries];
  // In order of first appearance; an element keeps its channels from frame to frame.
  FrameElementEntry elementTable[kMaxMapEntries];
  int32_t ltpHistoryIndex[3];  // which buffer is the oldest, the last, the overlap
  int32_t windowShape[kMaxChannels];
  int32_t prevWindowShape[kMaxChannels];
  int32_t windowSequence[kMaxChannels];
  int32_t channelOrder[kMaxChannels];
  int32_t noiseSeed;
  int32_t channelConfiguration;  // of an ADTS header; -1 before there was one
  GainControlRecord gainControl[kMaxChannels];
  ProgramConfigElement pce;
  ChannelPairElement channelPair;
  SingleChannelElement singleChannel;
  SingleChannelElement lowFrequency;
  CouplingChannelElement coupling;
  CouplingInfo couplingInfo[kMaxCouplingElements];
  int32_t sbrPresent;
  int32_t sbrMode;
  int32_t sbrDownsample;
  int32_t sbrSupportLevel;
  int32_t psSupportLevel;
  const DspVlcTable* const* huffmanTables;
  int32_t id3Checked;
  int32_t id3Remaining;
  int32_t pendingFrameBytes;  // not 0: a frame is decoded and waits for room
  int32_t crcEnabled;
  int32_t crcValue;
  int32_t pendingCrc;
  int32_t layer;
  alignas(32) float overlap[kMaxChannels][kMaxFrameLength];
  alignas(32) float pcmFloat[kMaxChannels][kMaxFrameLength];
  alignas(32) float ltpHistory[kMaxChannels][3][kMaxFrameLength];
  alignas(32) float spectrum[kMaxChannels][kFrameLength];
  alignas(32) float ssrBuffers[kMaxChannels][2048];
  SbrWork sbrWork;
  alignas(32) float ltpWork[kLtpWorkLength];
  const float* outputChannels[kMaxChannels];
  CouplingGains couplingGains[kMaxCouplingElements];
  TnsRecord tnsData[kMaxChannels];
  GainState gainState[kMaxChannels];
  SbrElement sbrElements[kMaxSbrElements];
  // Two channels for each element, behind the record; those that have not been in
  // use are not touched.
  SbrChannel* sbrChannels;
  uint8_t sbrChannelUsed[2 * kMaxSbrElements];
  int32_t sbrWorkUsed;
  PsState* psState;  // behind the record too
  int32_t psReady;   // it has been set up
  FilterbankSpec filterbankSpec;
  LtpContext ltpContext;
  MainPredictorState* predictors[kMaxChannels];
  AlsState alsState;
  BsacState* bsacState;             // in the tool memory of object type 22
  int32_t unitFrames;               // frames in the last access unit; more than 1 in ER BSAC only
  int32_t wildScale[kMaxChannels];  // scale factors of the frame that no sane stream has
  FrameTools* tools;                // where to count what frames use, or null
};

static_assert(sizeof(AACDecoderState) <= kStateRoom);

// Sets up a record whose members before `overlap` and behind `ltpWork` are zero;
// the arrays between may hold anything.
void AACDecoderStateInit(AACDecoderState* state);

// Forgets the signal: histories, overlaps, counters. What is known of the stream
// stays.
void AACDecoderStateReset(AACDecoderState* state);

// The part of that which only one object type has. To be called once the object
// type is known: memory that no stream of its kind needs is not touched.
void ClearObjectTypeState(AACDecoderState* state);

// Gives the element records what depends on the rate and, by then, on the object
// type: bands, prediction and noise shaping limits. `index` is 0 to 12.
void ConfigureSampling(AACDecoderState* state, int32_t index);

// Sets parametric stereo up, once it is asked for, and passes psSupportLevel on.
void PassPsLevel(AACDecoderState* state);

// Replaces sbrMode and brings up to date what is derived from it.
void ChangeSbrMode(AACDecoderState* state, int32_t mode);

}  // namespace orbel
