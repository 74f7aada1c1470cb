// One open player, as any host uses it: through the exports alone.
#pragma once

#include <cstdint>
#include <span>

#include "orbel/player.h"
#include "tools/coded_input.h"

namespace orbel::tool {

class PlayerStream {
 public:
  enum class Mode { kDecode, kPlay };

  // Throws Failure. `form` must outlive the stream.
  PlayerStream(const StreamForm& form, Mode mode);
  ~PlayerStream();
  PlayerStream(const PlayerStream&) = delete;
  PlayerStream& operator=(const PlayerStream&) = delete;

  // 0 to 65535, when playing.
  void SetVolume(int32_t volume);
  // The PCM of the unit's coded bytes, without that of padding; valid until
  // the next call. None for a damaged AAC unit. Throws Failure.
  std::span<const int16_t> Decode(const Unit& unit);
  // Returns when the sound is queued. Throws Failure.
  void Play(const Unit& unit);

 private:
  void Check(int32_t code, const Unit& unit) const;

  const StreamForm& form_;
  Player* player_ = nullptr;
};

}  // namespace orbel::tool
