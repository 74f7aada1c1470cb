// The eight exports: glue between a host and the graph of one stream.
#include "orbel/player.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "platform/identifiers.h"
#include "platform/object_system.h"
#include "player/player_record.h"

namespace orbel {
namespace {

constexpr int32_t kNoVolume = 10000;  // PlayerSetVolume without a stream

template <class T>
void ReleaseField(T*& field) {
  if (field != nullptr) field->Release();
  field = nullptr;
}

void ReleaseAll(Player* player) {
  ReleaseField(player->basicAudio);
  ReleaseField(player->mediaControl);
  ReleaseField(player->rendererFilter);
  ReleaseField(player->decoderFilter);
  ReleaseField(player->sourceFilter);
  ReleaseField(player->graph);
  ReleaseField(player->captureBuilder);
  player->callbackRenderer = nullptr;
  player->audioFilter = nullptr;
}

int32_t FailOpen(Player* player, int32_t code) {
  ReleaseAll(player);
  return code;
}

bool CreateGraph(Player* player) {
  Reference<ICaptureGraphBuilder2> builder;
  Reference<IGraphBuilder> graph;
  if (CoCreateInstance(CLSID_CaptureGraphBuilder2, nullptr, kInProcessServer,
                       IID_ICaptureGraphBuilder2, builder.ReceiveVoid()) < 0 ||
      CoCreateInstance(CLSID_FilterGraph, nullptr, kInProcessServer, IID_IGraphBuilder,
                       graph.ReceiveVoid()) < 0)
    return false;
  builder->SetFiltergraph(graph.Get());
  player->captureBuilder = builder.Detach();
  player->graph = graph.Detach();
  return true;
}

bool CreateSource(Player* player, const StreamFormat& format) {
  player->audioFilter = new (std::nothrow) AudioFilter(format);
  if (player->audioFilter == nullptr) return false;
  // The filter's own reference becomes that of sourceFilter.
  player->sourceFilter = player->audioFilter;
  return true;
}

bool CreateDecoder(Player* player, const GUID& classId) {
  Reference<IBaseFilter> filter;
  if (CoCreateInstance(CLSID_DMOWrapperFilter, nullptr, kInProcessServer | kInProcessHandler,
                       IID_IBaseFilter, filter.ReceiveVoid()) < 0)
    return false;
  Reference<IDMOWrapperFilter> wrapper;
  filter->QueryInterface(IID_IDMOWrapperFilter, wrapper.ReceiveVoid());
  if (!wrapper || wrapper->Init(classId, DMOCATEGORY_AUDIO_DECODER) < 0) return false;
  player->decoderFilter = filter.Detach();
  return true;
}

bool CreateRenderer(Player* player, bool callback) {
  if (callback) {
    player->callbackRenderer =
        new (std::nothrow) CallbackAudioRenderer(&player->decodedData, &player->decodedSize);
    player->rendererFilter = player->callbackRenderer;
    return player->callbackRenderer != nullptr;
  }
  return CoCreateInstance(CLSID_DSoundRender, nullptr, kInProcessServer | kInProcessHandler,
                          IID_IBaseFilter, reinterpret_cast<void**>(&player->rendererFilter)) >= 0;
}

void StartIfStopped(Player* player) {
  if (player->mediaControl == nullptr || player->running != 0) return;
  player->mediaControl->Run();
  player->running = 1;
}

void StopIfRunning(Player* player) {
  if (player->mediaControl == nullptr || player->running == 0) return;
  player->mediaControl->Stop();
  player->running = 0;
}

int32_t Open(Player* player, const StreamFormat& format, bool callback) {
  player->fixedSampleSize = format.sampleSize;
  if (!CreateGraph(player)) return ORBEL_OPEN_NO_GRAPH;
  if (!CreateSource(player, format)) return FailOpen(player, ORBEL_OPEN_NO_GRAPH);
  player->graph->AddFilter(player->sourceFilter, "AudioSourceFilter");

  const GUID& decoder = format.formatId == kFormatAac ? CLSID_aacdecoder : CLSID_audiodecoder;
  if (!CreateDecoder(player, decoder)) return FailOpen(player, ORBEL_OPEN_NO_DECODER);
  player->graph->AddFilter(player->decoderFilter, "AudioDecoderFilter");

  if (!CreateRenderer(player, callback)) return FailOpen(player, ORBEL_OPEN_NO_RENDERER);
  if (player->graph->AddFilter(player->rendererFilter, "AudioRendererFilter") < 0)
    return FailOpen(player, ORBEL_OPEN_NOT_ADDED);

  if (player->captureBuilder->RenderStream(nullptr, &MEDIATYPE_Audio, player->sourceFilter,
                                           player->decoderFilter, player->rendererFilter) < 0)
    return FailOpen(player, ORBEL_OPEN_NOT_CONNECTED);

  player->graph->QueryInterface(IID_IMediaControl, reinterpret_cast<void**>(&player->mediaControl));
  player->graph->QueryInterface(IID_IBasicAudio, reinterpret_cast<void**>(&player->basicAudio));
  StartIfStopped(player);
  return ORBEL_OPEN_OK;
}

// Times the sample and pushes it through the graph; how it fares there is not
// the host's concern.
int32_t DeliverSample(AudioFilter* filter, const uint8_t* bytes, int32_t size) {
  int64_t start = 0;
  if (filter->HasClock()) filter->StreamTime(&start);
  const int64_t stop = start + 1;

  MediaSample* sample = nullptr;
  if (filter->Pin().GetDeliveryBuffer(&sample) < 0) return ORBEL_RENDER_REJECTED;
  if (sample->GetSize() < size) {
    filter->Pin().ReturnDeliveryBuffer(sample);
    return ORBEL_RENDER_REJECTED;
  }
  sample->SetSyncPoint(true);
  sample->SetTime(start, stop);
  sample->SetActualDataLength(size);
  uint8_t* const room = sample->GetPointer();
  if (size > 0) std::memcpy(room, bytes, static_cast<size_t>(size));
  filter->Pin().Deliver(sample);
  filter->Pin().ReturnDeliveryBuffer(sample);
  return ORBEL_RENDER_OK;
}

int32_t Render(Player* player, const uint8_t* data, int32_t size, int32_t offset) {
  if (player == nullptr) return ORBEL_RENDER_CLOSED;
  player->decodedData = nullptr;
  player->decodedSize = 0;
  StartIfStopped(player);
  AudioFilter* const filter = player->audioFilter;
  if (filter == nullptr) return ORBEL_RENDER_CLOSED;
  if (size < 0) return ORBEL_RENDER_SIZE;
  const int32_t fixed = player->fixedSampleSize;
  if (fixed > 0 ? size != fixed : size > kMostSampleBytes) return ORBEL_RENDER_SIZE;
  const StreamFormat& format = filter->Format();
  if (format.formatId != kFormatAac && size != format.sampleSize) return ORBEL_RENDER_REJECTED;
  if (data == nullptr && size > 0) return ORBEL_RENDER_REJECTED;
  return DeliverSample(filter, data != nullptr ? data + ptrdiff_t{offset} : nullptr, size);
}

}  // namespace
}  // namespace orbel

extern "C" {

Player* CreatePlayer(void) noexcept { return new (std::nothrow) Player(); }

void DisposePlayer(Player* player) noexcept { delete player; }

int32_t PlayerOpen(Player* player, int32_t formatId, int32_t rateIndex, int32_t sampleSize,
                   int32_t callbackMode) noexcept {
  if (player == nullptr) return ORBEL_OPEN_NO_GRAPH;
  return orbel::Open(player, {formatId, rateIndex, sampleSize}, callbackMode != 0);
}

void PlayerClose(Player* player) noexcept {
  if (player == nullptr) return;
  orbel::StopIfRunning(player);
  orbel::ReleaseAll(player);
}

void PlayerReset(Player* player) noexcept {
  if (player != nullptr) orbel::StopIfRunning(player);
}

int32_t PlayerSetVolume(Player* player, int32_t volume) noexcept {
  if (player == nullptr || player->basicAudio == nullptr) return orbel::kNoVolume;
  // The product keeps its low 32 bits.
  const auto product = static_cast<int32_t>(static_cast<uint32_t>(volume) * 10000u);
  const int32_t scaled = std::min(product / 65535, 10000);
  return player->basicAudio->put_Volume(scaled - 10000);
}

int32_t PlayerRenderMPEGAudioSample(Player* player, const uint8_t* data, int32_t size,
                                    int32_t offset) noexcept {
  return orbel::Render(player, data, size, offset);
}

int32_t PlayerRenderMPEGAudioSampleDec(Player* player, const uint8_t* data, int32_t size,
                                       int32_t offset, int32_t, uint8_t** decodedOut,
                                       int32_t* decodedSizeOut) noexcept {
  const int32_t result = orbel::Render(player, data, size, offset);
  if (result == ORBEL_RENDER_OK && player->decodedData != nullptr) {
    if (decodedOut != nullptr) *decodedOut = player->decodedData;
    if (decodedSizeOut != nullptr) *decodedSizeOut = player->decodedSize;
  }
  return result;
}

}  // extern "C"
