#include "aac/gain_control.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace orbel {
namespace {

constexpr int32_t kSlope = 8;      // samples from one level to the next
constexpr int32_t kUnityCode = 4;  // alevcode of gain 1; one step is a factor of 2
constexpr int32_t kFlat = 112;     // samples before and behind the slopes of start and stop windows

// Windows of a window_sequence, and of each the bits of aloccode and the length of
// its gain fragment. The windows of eight short ones are all like the first.
struct GainWindows {
  int32_t count;
  int32_t locationBits[2];
  int32_t length[2];
};

constexpr GainWindows kGainWindows[4] = {
    {1, {5, 0}, {256, 0}},    // only long
    {2, {4, 2}, {112, 32}},   // long start
    {8, {2, 2}, {32, 32}},    // eight short
    {2, {4, 5}, {112, 256}},  // long stop
};

// The gain of one window: its exponents in eighths over the fragment, and the whole
// exponent that it starts with.
struct WindowGain {
  int32_t first;
  int16_t fragment[kSsrBandLength];
};

WindowGain GainOf(const GainControlRecord& record, int32_t band, int32_t window, int32_t length) {
  WindowGain gain = {};
  const int32_t count = band <= record.max_band ? record.adjust_num[band - 1][window] : 0;
  if (count == 0) return gain;
  int32_t location[9] = {};  // of 0 to count
  int32_t level[9] = {};     // of 0 to count + 1, the last one being gain 1
  for (int32_t i = 0; i < count; ++i) {
    location[i + 1] = kSlope * record.aloccode[band - 1][window][i];
    level[i + 1] = record.alevcode[band - 1][window][i] - kUnityCode;
  }
  level[0] = level[1];
  for (int32_t j = 0; j < length; ++j) {
    int32_t m = count;
    while (location[m] > j) --m;
    const int32_t p = std::min(j - location[m], kSlope);
    gain.fragment[j] = static_cast<int16_t>((kSlope - p) * level[m] + p * level[m + 1]);
  }
  gain.first = kSlope * level[0];
  return gain;
}

// 2 to the power -eighths / 8.
float Reciprocal(int32_t eighths) {
  constexpr float kRoots[8] = {1.0F,         0.917004043F, 0.840896415F, 0.771105413F,
                               0.707106781F, 0.648419777F, 0.594603558F, 0.545253866F};
  return kRoots[eighths & 7] * std::bit_cast<float>((127 - (eighths >> 3)) << 23);
}

// Undoes a gain over `length` samples and moves on behind them.
void Undo(const int16_t* fragment, int32_t more, int32_t length, float*& samples) {
  for (int32_t j = 0; j < length; ++j) samples[j] *= Reciprocal(fragment[j] + more);
  samples += length;
}

bool NoGain(const GainControlRecord& record, int32_t windows, int32_t band, const int16_t* kept) {
  if (band <= record.max_band) {
    for (int32_t w = 0; w < windows; ++w)
      if (record.adjust_num[band - 1][w] != 0) return false;
  }
  return std::all_of(kept, kept + kSsrBandLength, [](int16_t gain) { return gain == 0; });
}

}  // namespace

void GainControlParse(IndividualChannelStream* ics, BitReader* reader) {
  const auto read = [reader](int32_t bits) {
    return static_cast<int32_t>(FastGetBits(reader, bits));
  };
  GainControlData& data = ics->gainControl;
  const GainWindows& windows = kGainWindows[ics->window_sequence];
  data.max_band = read(2);
  for (int32_t band = 0; band < data.max_band; ++band) {
    for (int32_t w = 0; w < windows.count; ++w) {
      data.adjust_num[band][w] = read(3);
      for (int32_t i = 0; i < data.adjust_num[band][w]; ++i) {
        data.alevcode[band][w][i] = read(4);
        data.aloccode[band][w][i] = read(windows.locationBits[std::min(w, 1)]);
      }
    }
  }
}

void CopyGainControl(const IndividualChannelStream& ics, GainControlRecord* record) {
  if (ics.gain_control_data_present != 0) {
    *record = ics.gainControl;
  } else {
    record->max_band = 0;
  }
}

void ResetGainControl(GainControlRecord* record, GainState* state) {
  *record = {};
  *state = {};
}

void ApplyGainControl(const GainControlRecord& record, int32_t window_sequence, int32_t band,
                      GainState* state, float* windowed) {
  const GainWindows& windows = kGainWindows[window_sequence];
  int16_t* const kept = state->fragment[band];
  if (NoGain(record, windows.count, band, kept)) return;

  WindowGain gain = GainOf(record, band, 0, windows.length[0]);
  if (window_sequence == kOnlyLong) {
    Undo(kept, gain.first, kSsrBandLength, windowed);
    Undo(gain.fragment, 0, kSsrBandLength, windowed);
  } else if (window_sequence == kEightShort) {
    Undo(kept, gain.first, kSsrShortLength, windowed);
    Undo(gain.fragment, 0, kSsrShortLength, windowed);
    for (int32_t w = 1; w < kMaxWindows; ++w) {
      const WindowGain next = GainOf(record, band, w, windows.length[1]);
      Undo(gain.fragment, next.first, kSsrShortLength, windowed);
      Undo(next.fragment, 0, kSsrShortLength, windowed);
      gain = next;
    }
  } else {
    // The window's gain changes in two steps: on the long side and on the short one.
    const WindowGain last = GainOf(record, band, 1, windows.length[1]);
    const bool start = window_sequence == kLongStart;
    if (!start) windowed += kFlat;  // where the window is 0
    Undo(kept, gain.first + last.first, start ? kSsrBandLength : kSsrShortLength, windowed);
    Undo(gain.fragment, last.first, kFlat, windowed);
    Undo(last.fragment, 0, windows.length[1], windowed);
    gain = last;
  }
  std::memcpy(kept, gain.fragment, sizeof gain.fragment);
}

}  // namespace orbel
