#include "speech/concealment.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include "speech/pitch_search.h"

namespace orbel {
namespace {

constexpr int32_t kOne = 0x40000000;       // 1.0 in 30 fraction bits
constexpr int32_t kOverlapGrowth = 32;     // samples per further lost frame
constexpr int32_t kGrowingFrames = 3;      // the buffer grows until that many are lost
constexpr int32_t kAudibleFrames = 6;      // from then on: silence
constexpr int32_t kGainStep = 0x0CCCCCCC;  // 0.2: what one frame takes
constexpr int32_t kGainSlope = 2684354;    // 0.0025: what one sample takes

int16_t Saturate16(int32_t value) { return static_cast<int16_t>(std::clamp(value, -32768, 32767)); }

// Weights have 30 fraction bits and add up to little more than one.
int16_t Blend(int32_t leftWeight, int32_t left, int32_t rightWeight, int32_t right) {
  return Saturate16(((leftWeight >> 16) * left + 8192 + (rightWeight >> 16) * right) >> 14);
}

void CopySamples(int16_t* out, const int16_t* in, int32_t count) {
  std::memcpy(out, in, static_cast<size_t>(count) * sizeof(int16_t));
}

// Looks for the pitch and makes the one-period buffer.
void BeginRepetition(ConcealmentState* state) {
  CopySamples(state->pitchBuffer, state->history, kConcealHistory);
  const int32_t coarse = FindPitch(state, 0, kPitchLags, 2);
  state->pitch = kConcealLongestPitch - FindPitch(state, coarse - 1, coarse + 1, 1);
  state->overlap = state->pitch >> 2;
  state->offset = 0;
  state->bufferLength = state->pitch;
  state->bufferStart = state->bufferEnd - state->pitch;

  int16_t* const tail = state->bufferEnd - state->overlap;
  CopySamples(state->lastQuarter, tail, state->overlap);
  CrossFade(state->lastQuarter, state->bufferStart - state->overlap, tail, state->overlap);
  // The first concealed frame begins with these samples, out of the history.
  CopySamples(state->history + kConcealHistory - state->overlap, tail, state->overlap);
}

// One more period in the buffer, heard from where the last frame ended.
void ContinueWithLongerBuffer(ConcealmentState* state, int16_t* pcm) {
  int16_t tail[kConcealLargestOverlap];
  const int32_t overlap = state->overlap;
  const int32_t offset = state->offset;
  FetchRepeated(state, tail, overlap);
  state->offset = offset;
  while (state->offset > state->pitch) state->offset -= state->pitch;

  state->bufferLength += state->pitch;
  state->bufferStart = state->bufferEnd - state->bufferLength;
  CrossFade(state->lastQuarter, state->bufferStart - overlap, state->bufferEnd - overlap, overlap);
  FetchRepeated(state, pcm, kConcealFrame);
  CrossFade(tail, pcm, pcm, overlap);
}

}  // namespace

void ResetConcealment(ConcealmentState* state) {
  *state = {};
  state->bufferEnd = state->pitchBuffer + kConcealHistory;
}

void SaveFrame(ConcealmentState* state, int16_t* pcm) {
  constexpr int32_t kKept = kConcealHistory - kConcealFrame;
  std::memmove(state->history, state->history + kConcealFrame, kKept * sizeof(int16_t));
  CopySamples(state->history + kKept, pcm, kConcealFrame);
  if (state->erasureCount == 1)
    CopySamples(pcm, state->history + kKept - kConcealLargestOverlap, kConcealFrame);
}

void FetchRepeated(ConcealmentState* state, int16_t* out, int32_t count) {
  while (count > 0) {
    const int32_t run = std::min(state->bufferLength - state->offset, count);
    CopySamples(out, state->bufferStart + state->offset, run);
    out += run;
    count -= run;
    state->offset += run;
    if (state->offset == state->bufferLength) state->offset = 0;
  }
}

void CrossFade(const int16_t* left, const int16_t* right, int16_t* out, int32_t count) {
  if (count < 1) return;
  const int32_t increment = kOne / count;
  int32_t leftWeight = kOne - increment;
  int32_t rightWeight = increment;
  for (int32_t i = 0; i < count; ++i) {
    out[i] = Blend(leftWeight, left[i], rightWeight, right[i]);
    leftWeight -= increment;
    rightWeight += increment;
  }
}

void Attenuate(const ConcealmentState* state, int16_t* pcm) {
  // 1.2 less 0.2 a frame, so that the second lost frame starts at 1.0.
  int32_t gain = 0x4CCCCCCC - state->erasureCount * kGainStep;
  for (int32_t i = 0; i < kConcealFrame; ++i) {
    pcm[i] = static_cast<int16_t>(((gain >> 14) * pcm[i]) >> 16);
    gain -= kGainSlope;
  }
}

void AcceptFrame(ConcealmentState* state, int16_t* pcm) {
  if (state->erasureCount != 0) {
    // Past six lost frames neither length nor gain changes any more.
    const int32_t lost = std::min(state->erasureCount, kAudibleFrames);
    const int32_t length = std::min(state->overlap + kOverlapGrowth * (lost - 1), kConcealFrame);
    int16_t synthetic[kConcealFrame];
    FetchRepeated(state, synthetic, length);

    const int32_t increment = kOne / length;
    const int32_t gain = std::max(65536 + (65536 - 65536 * lost) / 5, 0);  // 16 fraction bits
    const int32_t fall = (increment >> 16) * gain;
    int32_t left = 16384 * gain - fall;
    int32_t right = increment;
    for (int32_t i = 0; i < length; ++i) {
      pcm[i] = Blend(left, synthetic[i], right, pcm[i]);
      left -= fall;
      right += increment;
    }
    state->erasureCount = 0;
  }
  SaveFrame(state, pcm);
}

void ConcealFrame(ConcealmentState* state, int16_t* pcm) {
  const int32_t lost = state->erasureCount;
  if (lost == 0) {
    BeginRepetition(state);
    FetchRepeated(state, pcm, kConcealFrame);
  } else if (lost < kAudibleFrames) {
    if (lost < kGrowingFrames) {
      ContinueWithLongerBuffer(state, pcm);
    } else {
      FetchRepeated(state, pcm, kConcealFrame);
    }
    Attenuate(state, pcm);
  } else {
    std::memset(pcm, 0, kConcealFrame * sizeof(int16_t));
  }
  if (state->erasureCount < INT_MAX) ++state->erasureCount;
  SaveFrame(state, pcm);
}

}  // namespace orbel
