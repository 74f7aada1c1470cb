// Packet-loss concealment for G.711: the method of ITU-T G.711 Appendix I, in
// integers. A history of what was heard, a pitch estimate on the first lost
// frame, repetition of the last one to three pitch periods with growing
// attenuation, and a cross-fade at each joint.
//
// It departs from the Appendix in two ways. Good frames pass undelayed: only the
// first frame of a loss comes out 30 samples late, so that its joint can still be
// blended. And the pitch search compares squared correlations (pitch_search.h).
//
// Gains and weights run with 30 fraction bits and are cut to 14 before they meet
// a sample. Nothing here fails or allocates.
#pragma once

#include <cstdint>

namespace orbel {

inline constexpr int32_t kConcealFrame = 80;     // samples: 10 ms
inline constexpr int32_t kConcealHistory = 390;  // three longest periods and an overlap
inline constexpr int32_t kConcealLongestPitch = 120;
inline constexpr int32_t kConcealShortestPitch = 40;
inline constexpr int32_t kConcealLargestOverlap = 30;

// Holds pointers into itself: it stays where ResetConcealment found it.
struct ConcealmentState {
  int32_t erasureCount;  // frames concealed in a row; 0 in normal running; stops at the top
  int32_t overlap;       // samples of a cross-fade: a quarter of the pitch
  int32_t offset;        // read position in the repeating buffer, from bufferStart
  int32_t pitch;         // samples, 40 to 120
  int32_t bufferLength;  // of the repeating buffer: one, two or three periods
  int16_t* bufferEnd;    // one past pitchBuffer
  int16_t* bufferStart;  // bufferEnd - bufferLength
  int16_t pitchBuffer[kConcealHistory];         // the history when the loss began, then blended
  int16_t lastQuarter[kConcealLargestOverlap];  // its last `overlap` samples, unblended
  int16_t history[kConcealHistory];             // what was put out, newest sample last
};

// Silence in the history, no loss.
void ResetConcealment(ConcealmentState* state);

// Takes a good frame of 80 samples. The first one after a loss is blended, in
// place, with the end of the synthetic signal.
void AcceptFrame(ConcealmentState* state, int16_t* pcm);

// Writes the 80 samples of a frame that did not arrive.
void ConcealFrame(ConcealmentState* state, int16_t* pcm);

// The steps of the two above.

// Enters a frame in the history. In the first frame of a loss it then replaces
// the frame by the signal of 30 samples before.
void SaveFrame(ConcealmentState* state, int16_t* pcm);

// Reads `count` samples on from `offset`, round and round the repeating buffer.
void FetchRepeated(ConcealmentState* state, int16_t* out, int32_t count);

// Fades from left to right over `count` samples. `out` may be `right`.
void CrossFade(const int16_t* left, const int16_t* right, int16_t* out, int32_t count);

// Lowers the second to sixth frame of a loss along one straight line from full
// level to silence.
void Attenuate(const ConcealmentState* state, int16_t* pcm);

}  // namespace orbel
