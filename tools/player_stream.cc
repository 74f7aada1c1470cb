#include "tools/player_stream.h"

#include "tools/failure.h"

namespace orbel::tool {
namespace {

const char* OpenFault(int32_t code) {
  switch (code) {
    case ORBEL_OPEN_NO_DECODER:
      return "there is no decoder for this format";
    case ORBEL_OPEN_NO_RENDERER:
      return "no sound device can be opened";
    case ORBEL_OPEN_NOT_CONNECTED:
      return "the decoder refuses this format or sample size";
    default:
      return "no player can be made";
  }
}

}  // namespace

PlayerStream::PlayerStream(const StreamForm& form, Mode mode) : form_(form) {
  CoInitializeEx(nullptr, ORBEL_COINIT_MULTITHREADED);
  player_ = CreatePlayer();
  const int32_t code = player_ == nullptr
                           ? int32_t{ORBEL_OPEN_NO_GRAPH}
                           : PlayerOpen(player_, form.formatId, form.rateIndex, form.sampleBytes,
                                        mode == Mode::kDecode ? 1 : 0);
  if (code == ORBEL_OPEN_OK) return;
  DisposePlayer(player_);
  CoUninitialize();
  throw FailureIn(form.name, std::string(OpenFault(code)) + " (code " + std::to_string(code) + ")");
}

PlayerStream::~PlayerStream() {
  PlayerClose(player_);
  DisposePlayer(player_);
  CoUninitialize();
}

void PlayerStream::SetVolume(int32_t volume) {
  const int32_t code = PlayerSetVolume(player_, volume);
  if (code != 0)
    throw FailureIn(form_.name, "the volume can't be set (code " + std::to_string(code) + ")");
}

std::span<const int16_t> PlayerStream::Decode(const Unit& unit) {
  uint8_t* bytes = nullptr;
  int32_t size = 0;
  Check(PlayerRenderMPEGAudioSampleDec(player_, unit.data, unit.size, 0, 0, &bytes, &size), unit);
  const uint64_t got = bytes == nullptr ? 0 : static_cast<uint64_t>(size) / sizeof(int16_t);
  const uint64_t wanted =
      form_.formatId == ORBEL_FORMAT_AAC ? got : unit.pcmSamples * form_.channels;
  if (got < wanted)
    throw FailureAt(
        form_.name,
        "gave " + std::to_string(got) + " of " + std::to_string(wanted) + " PCM samples",
        unit.position);
  return {reinterpret_cast<const int16_t*>(bytes), wanted};
}

void PlayerStream::Play(const Unit& unit) {
  Check(PlayerRenderMPEGAudioSample(player_, unit.data, unit.size, 0), unit);
}

void PlayerStream::Check(int32_t code, const Unit& unit) const {
  if (code != ORBEL_RENDER_OK)
    throw FailureAt(form_.name, "the player refuses a sample, code " + std::to_string(code),
                    unit.position);
}

}  // namespace orbel::tool
