#include "speech/voice_activity.h"

#include <algorithm>

#include "speech/silence_encoder_tables.h"

namespace orbel {
namespace {

constexpr int32_t kMinimaStartFrames = 128;  // as many as fill the minimum buffer
constexpr int16_t kQuietEnergy = 3072;       // 15 dB: below, all is noise
constexpr int32_t kEnergyStep = 614;         // 3 dB
constexpr int32_t kNearSpectrum = 83;        // of the distance to the mean LSF
constexpr int16_t kCrossing = 410;           // one of 80, Q15

struct Features {
  int32_t fullEnergy, lowEnergy;
  int32_t distance;
  int32_t crossings;
};

// The logarithm of `sum` * 2^exponent over the window.
int32_t LogEnergy(int32_t sum, int32_t exponent) {
  constexpr int32_t kLog10Of2 = 9864;  // Q15
  constexpr int32_t kOffset = 6108;    // of the window's length and the scale
  const fixed::Logarithm log = fixed::Log2(sum);
  const int32_t scaled = (log.exponent + exponent) * kLog10Of2 + ((log.fraction * kLog10Of2) >> 15);
  return (scaled >> 4) - kOffset;
}

int32_t LowBandSum(const Autocorrelation& r) {
  int64_t sum = 0;
  for (int i = 1; i <= kAutocorrelationOrder; ++i) sum += r.value[i].h * kLowBand[i];
  return static_cast<int32_t>(
      std::clamp<int64_t>(4 * sum + int64_t{2} * r.value[0].h * kLowBand[0], 0, INT32_MAX));
}

int32_t Distance(const int16_t* lsf, const int16_t* mean) {
  int64_t sum = 0;
  for (int i = 0; i < kLpOrder; ++i) sum += int64_t{lsf[i] - mean[i]} * (lsf[i] - mean[i]);
  return static_cast<int32_t>(std::min<int64_t>(sum >> 15, INT16_MAX));
}

int32_t Crossings(const int16_t* speech) {
  int32_t count = 0;
  for (int i = 1; i <= kSilenceFrame; ++i) count += speech[i - 1] * speech[i] < 0 ? 1 : 0;
  return std::min<int32_t>(count * kCrossing, INT16_MAX);
}

// The least energy of the last 128 frames or so, in steps of 8 frames.
void FollowMinimum(int16_t energy, int32_t n, VoiceActivityState* s) {
  if (n <= kMinimaStartFrames) {
    if (energy < s->minimum) s->minimum = s->previousMinimum = energy;
    if (n % 8 == 0) {
      s->minimumBuffer[n / 8 - 1] = s->minimum;
      s->minimum = INT16_MAX;
    }
    return;
  }
  if (n % 8 == 1) {
    s->minimum = s->previousMinimum;
    s->nextMinimum = INT16_MAX;
  }
  s->minimum = std::min(s->minimum, energy);
  s->nextMinimum = std::min(s->nextMinimum, energy);
  if (n % 8 == 0) {
    int16_t* const slots = s->minimumBuffer;
    std::copy(slots + 1, slots + kMinimumSlots, slots);
    slots[kMinimumSlots - 1] = s->nextMinimum;
    s->previousMinimum = *std::min_element(slots, slots + kMinimumSlots);
  }
}

// The first means of the background are those of the louder frames at the start.
void AddToStart(const Features& f, const int16_t* lsf, VoiceActivityState* s) {
  s->meanEnergy = static_cast<int16_t>(s->meanEnergy + (f.fullEnergy >> 5));
  s->smoothCrossings = static_cast<int16_t>(s->smoothCrossings + (f.crossings >> 5));
  for (int i = 0; i < kLpOrder; ++i)
    s->meanLsf[i] = static_cast<int16_t>(s->meanLsf[i] + (lsf[i] >> 5));
}

void EndStart(VoiceActivityState* s) {
  const auto scale = [s](int16_t sum) {
    using namespace fixed;
    return Hi(LShl(LMult(sum, kStartFactor[s->lessCount]), kStartShift[s->lessCount]));
  };
  s->meanEnergy = scale(s->meanEnergy);
  s->smoothCrossings = scale(s->smoothCrossings);
  for (int16_t& mean : s->meanLsf) mean = scale(mean);
  s->smoothEnergy = fixed::Sub(s->meanEnergy, 2048);
  s->smoothLowEnergy = fixed::Sub(s->meanEnergy, 2458);
}

// The decision planes of Annex B. dE, dL and dZ are the means less the frame's values.
bool FarFromBackground(int64_t dE, int64_t dL, int64_t dZ, int64_t distance) {
  const int64_t s = -distance * 65536;
  const int64_t e = -dE * 65536;
  return ((-233644032 - 14680 * dZ) >> 7) > s || ((19065 * dZ - 159301632) >> 6) > s ||
         ((20480 * dZ + 134217728) >> 1) < e || (((9830 - dZ) * 16384) >> 1) < e ||
         32767 * dE < -31541248 || 1279232 - 28160 * distance < -dE * 512 ||
         32767 * distance >= 966369 || ((187908096 - 20480 * dZ) >> 1) < e ||
         ((23831 * dZ + 129335296) >> 1) < e || 812640 - 22400 * distance < -256 * dL ||
         -7669504 - 30427 * dE > -dL * 32768 || 14380544 - 23406 * dE < -dL * 32768 ||
         24576 * dE + 30198784 < -dL * 16384;
}

int16_t Blend(int16_t oldWeight, int16_t mean, int16_t newWeight, int32_t value) {
  return static_cast<int16_t>((oldWeight * mean + newWeight * value) >> 15);
}

void UpdateMeans(const Features& f, const int16_t* lsf, VoiceActivityState* s) {
  s->updateCount = fixed::Add(s->updateCount, 1);
  const MeanWeights* w = kMeanWeights;
  while (w < kMeanWeights + kMeanWeightRows - 1 && s->updateCount >= w->limit) ++w;
  s->smoothEnergy = Blend(w->energyOld, s->smoothEnergy, w->energyNew, f.fullEnergy);
  s->smoothLowEnergy = Blend(w->energyOld, s->smoothLowEnergy, w->energyNew, f.lowEnergy);
  s->smoothCrossings = Blend(w->crossingsOld, s->smoothCrossings, w->crossingsNew, f.crossings);
  for (int i = 0; i < kLpOrder; ++i)
    s->meanLsf[i] = Blend(w->lsfOld, s->meanLsf[i], w->lsfNew, lsf[i]);
}

// The decision once there are means.
bool Decide(const Features& f, const int16_t* lsf, int16_t secondReflection, int32_t n,
            VoiceActivityState* s) {
  const int32_t dE = s->smoothEnergy - f.fullEnergy;
  const int32_t rise = f.fullEnergy - s->previousEnergy;
  bool speech = f.fullEnergy >= kQuietEnergy &&
                FarFromBackground(dE, s->smoothLowEnergy - f.lowEnergy,
                                  s->smoothCrossings - f.crossings, f.distance);

  s->boostFlag = 0;
  if (s->vadFlag != 0 && !speech && dE < -410 && f.fullEnergy > kQuietEnergy) {
    speech = true;
    s->boostFlag = 1;
  }
  if (s->flag != 1) {
    s->flag = 1;
  } else if (s->previousVadFlag != 0 && s->vadFlag != 0 && !speech && rise >= -kEnergyStep &&
             rise <= kEnergyStep) {
    speech = true;
    s->boostFlag = 1;
    if (++s->extensionCount > 4) s->flag = s->extensionCount = 0;
  }

  if (!speech) {
    s->silenceCount = fixed::Add(s->silenceCount, 1);
  } else {
    if (s->silenceCount > 10 && rise <= kEnergyStep) speech = false;
    s->silenceCount = 0;
  }

  if (f.fullEnergy - kEnergyStep < s->smoothEnergy) {
    if (n > kMinimaStartFrames && s->boostFlag == 0 && secondReflection < 19661) speech = false;
    if (secondReflection < 24576 && f.distance < kNearSpectrum) UpdateMeans(f, lsf, s);
  }
  if (n > kMinimaStartFrames && ((s->smoothEnergy < s->minimum && f.distance < kNearSpectrum) ||
                                 s->smoothEnergy - s->minimum > 2048)) {
    s->smoothEnergy = s->minimum;
    s->updateCount = 0;
  }
  return speech;
}

}  // namespace

void ResetVoiceActivity(VoiceActivityState* state) {
  *state = {};
  state->vadFlag = state->previousVadFlag = 1;
  state->previousMinimum = state->nextMinimum = state->minimum = INT16_MAX;
  state->previousEnergy = INT16_MAX;
  state->flag = 1;
}

bool VoiceActivity(const Autocorrelation& r, const int16_t* lsf, int16_t secondReflection,
                   const int16_t* speech, VoiceActivityState* state) {
  // From the highest number back to a multiple of 8 behind the start.
  state->frameCounter =
      static_cast<int16_t>(state->frameCounter == INT16_MAX ? 256 : state->frameCounter + 1);
  const int32_t n = state->frameCounter;
  const Features f = {LogEnergy(fixed::Join(r.value[0]), r.exponent),
                      LogEnergy(LowBandSum(r), r.exponent), Distance(lsf, state->meanLsf),
                      Crossings(speech)};
  FollowMinimum(static_cast<int16_t>(f.fullEnergy), n, state);

  bool isSpeech = false;
  if (n <= kVoiceStartFrames) {
    isSpeech = f.fullEnergy >= kQuietEnergy;
    if (isSpeech) {
      AddToStart(f, lsf, state);
    } else {
      ++state->lessCount;
    }
  }
  if (n == kVoiceStartFrames) EndStart(state);
  if (n >= kVoiceStartFrames) isSpeech = Decide(f, lsf, secondReflection, n, state);
  state->previousEnergy = static_cast<int16_t>(f.fullEnergy);
  return isSpeech;
}

}  // namespace orbel
