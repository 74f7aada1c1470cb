// The record behind the handle of the Player functions.
#pragma once

#include "orbel/player.h"
#include "platform/graph.h"
#include "player/audio_filter.h"
#include "player/callback_renderer.h"

// All fields are zero between CreatePlayer and PlayerOpen. The references are
// the player's own; the two pointers without one name the same objects by their
// classes.
struct Player {
  orbel::ICaptureGraphBuilder2* captureBuilder;
  orbel::IGraphBuilder* graph;
  orbel::IBaseFilter* sourceFilter;
  orbel::IBaseFilter* decoderFilter;
  orbel::IBaseFilter* rendererFilter;
  orbel::IMediaControl* mediaControl;
  orbel::IBasicAudio* basicAudio;
  orbel::AudioFilter* audioFilter;  // set: the player is open
  orbel::CallbackAudioRenderer* callbackRenderer;
  int32_t running;
  int32_t fixedSampleSize;
  uint8_t* decodedData;  // written by the callback renderer during delivery
  int32_t decodedSize;
};
