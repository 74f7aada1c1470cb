// What the states of the two silence sides have in common: how they begin, and
// the scratch memory that a frame takes its work buffers from.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orbel {

inline constexpr int32_t kSilenceFrame = 80;     // samples: 10 ms at 8000 Hz
inline constexpr int32_t kSilenceSubframe = 40;  // samples
inline constexpr int32_t kLpOrder = 10;
inline constexpr int32_t kFilterLength = kLpOrder + 1;  // a filter with its first coefficient

inline constexpr int32_t kSilenceScratchBytes = 5160;
inline constexpr size_t kSilenceScratchAlignment = 32;

// The scratch is the host's: its base is set before the state is made for the
// first time, and stays when it is made again.
struct SilenceStateHead {
  int32_t stateSize;  // bytes; above 0 once initialised
  uint32_t key;
  int32_t vad;   // of the encoder
  int32_t mode;  // always 1: the variant built on G.729 Annex A
  uint8_t* scratchBase;
  uint8_t* scratchTop;
  uint8_t* scratchEnd;
};

// A head with the scratch whose base is given, which may be null.
constexpr SilenceStateHead MakeSilenceHead(int32_t stateSize, uint32_t key, int32_t vad,
                                           int32_t mode, uint8_t* scratchBase) {
  uint8_t* const end = scratchBase == nullptr ? nullptr : scratchBase + kSilenceScratchBytes;
  return {stateSize, key, vad, mode, scratchBase, scratchBase, end};
}

// Takes `count` objects of T from the scratch, uninitialised. Null when there is
// no scratch or it is used up.
template <typename T>
T* TakeScratch(SilenceStateHead* head, int32_t count) {
  if (head->scratchTop == nullptr) return nullptr;
  const size_t misfit = reinterpret_cast<uintptr_t>(head->scratchTop) % kSilenceScratchAlignment;
  const size_t gap = misfit == 0 ? 0 : kSilenceScratchAlignment - misfit;
  const size_t bytes = static_cast<size_t>(count) * sizeof(T);
  const size_t left = static_cast<size_t>(head->scratchEnd - head->scratchTop);
  if (gap + bytes > left) return nullptr;
  T* const taken = reinterpret_cast<T*>(head->scratchTop + gap);
  head->scratchTop += gap + bytes;
  return taken;
}

}  // namespace orbel
