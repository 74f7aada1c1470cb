#include "speech/sid_lsf_encoder.h"

#include <algorithm>

#include "speech/basic_operations.h"
#include "speech/lsp_analysis.h"
#include "speech/sid_lsf_tables.h"

namespace orbel {
namespace {

constexpr int16_t kLeastGap = 642;
constexpr int kModes = 2;
constexpr int kFirstIndices = 32;
constexpr int kSecondIndices = 16;
constexpr int kCandidates = 4;

struct Candidate {
  int16_t distance;
  int16_t mode, first;
};

void MoveApart(int16_t* lsf) {
  constexpr int kLast = kLpOrder - 1;
  lsf[0] = std::max(lsf[0], kSidLowestLsf);
  for (int i = 0; i < kLast; ++i) {
    if (fixed::Sub(lsf[i + 1], lsf[i]) < kLeastGap) lsf[i + 1] = fixed::Add(lsf[i], kLeastGap);
  }
  lsf[kLast] = std::min(lsf[kLast], kSidHighestLsf);
  if (lsf[kLast] < lsf[kLast - 1]) lsf[kLast - 1] = fixed::Sub(lsf[kLast], kLeastGap / 2);
}

// LSF with near neighbours weigh more.
void MakeWeights(const int16_t* lsf, int16_t* weights) {
  using namespace fixed;
  constexpr int16_t kBelow = 1029 + 8192;   // 0.04 pi + 1, Q13
  constexpr int16_t kAbove = 23677 - 8192;  // 0.92 pi - 1
  int16_t greatest = 0;
  for (int i = 0; i < kLpOrder; ++i) {
    const int16_t d = i == 0              ? Sub(lsf[1], kBelow)
                      : i == kLpOrder - 1 ? Sub(kAbove, lsf[i - 1])
                                          : Sub(Sub(lsf[i + 1], lsf[i - 1]), 8192);
    int16_t w = 2048;
    if (d <= 0) {
      const int16_t square = Hi(LShl(LMult(d, d), 2));
      w = Add(Hi(LShl(LMult(square, 20480), 2)), 2048);
    }
    if (i == 4 || i == 5) w = Hi(LShl(LMult(w, 19661), 1));  // 1.2
    weights[i] = w;
    greatest = std::max(greatest, w);
  }
  const int16_t norm = NormS(greatest);
  for (int i = 0; i < kLpOrder; ++i) weights[i] = Shl(weights[i], norm);
}

// What the predictor leaves of the LSF, in units of the code vectors.
void TakePrediction(const int16_t* lsf, const SidLsfHistory history, int mode, int16_t* rest) {
  using namespace fixed;
  for (int j = 0; j < kLpOrder; ++j) {
    int32_t t = lsf[j] * 65536;
    for (int k = 0; k < kSidHistoryRows; ++k) t = LMsu(t, history[k][j], kSidPredictor[mode][k][j]);
    rest[j] = Hi(LShl(LMult(Hi(t), kSidPredictorRestInverse[mode][j]), 3));
  }
}

// The four best of the first stage, best first; of equals the one met first.
void SearchFirst(const int16_t (*rest)[kLpOrder], Candidate* best) {
  using namespace fixed;
  std::fill(best, best + kCandidates, Candidate{INT16_MAX, 0, 0});
  int known = 0;
  for (int16_t mode = 0; mode < kModes; ++mode) {
    for (int16_t first = 0; first < kFirstIndices; ++first) {
      const int16_t* const row = kLspCodebook1[kSidFirstRow[first]];
      int64_t sum = 0;  // of squares: to hold the end is to hold every step
      for (int j = 0; j < kLpOrder; ++j) {
        const int32_t d = Sub(rest[mode][j], row[j]);
        sum += d * d;
      }
      const Candidate found = {Mult(Hi(Hold32(2 * sum)), kSidModeWeight[mode]), mode, first};
      int place = known;
      while (place > 0 && found.distance < best[place - 1].distance) --place;
      if (place == kCandidates) continue;
      known = std::min(known + 1, kCandidates);
      std::copy_backward(best + place, best + known - 1, best + known);
      best[place] = found;
    }
  }
}

// The best second stage index for a candidate, with its distance.
Candidate SearchSecond(const int16_t* rest, const int16_t* weights, const Candidate& candidate,
                       int16_t* second) {
  using namespace fixed;
  const int16_t* const row = kLspCodebook1[kSidFirstRow[candidate.first]];
  int16_t target[kLpOrder];
  int16_t gain[kLpOrder];
  for (int j = 0; j < kLpOrder; ++j) {
    const int16_t s = kSidPredictorRest[candidate.mode][j];
    target[j] = Sub(rest[j], row[j]);
    gain[j] = Mult(Hi(LShl(LMult(s, s), 2)), weights[j]);
  }
  Candidate best = {INT16_MAX, candidate.mode, candidate.first};
  *second = 0;
  for (int16_t index = 0; index < kSecondIndices; ++index) {
    const int16_t* const halves[2] = {kLspCodebook2[kSidSecondRow[0][index]],
                                      kLspCodebook2[kSidSecondRow[1][index]]};
    int32_t sum = 0;
    for (int j = 0; j < kLpOrder; ++j) {
      const int16_t d = Sub(target[j], halves[j < kLpOrder / 2 ? 0 : 1][j]);
      sum = LMac(sum, d, Hi(LShl(LMult(d, gain[j]), 3)));
    }
    if (Hi(sum) < best.distance) {
      best.distance = Hi(sum);
      *second = index;
    }
  }
  return best;
}

}  // namespace

SidLsfIndices EncodeSidLsf(const int16_t* lsp, SidLsfHistory history, int16_t* quantised) {
  int16_t lsf[kLpOrder];
  int16_t weights[kLpOrder];
  LspToLsfQ13(lsp, lsf);
  MoveApart(lsf);
  MakeWeights(lsf, weights);
  int16_t rest[kModes][kLpOrder];
  for (int mode = 0; mode < kModes; ++mode) TakePrediction(lsf, history, mode, rest[mode]);

  Candidate candidates[kCandidates];
  SearchFirst(rest, candidates);
  SidLsfIndices indices = {candidates[0].mode, candidates[0].first, 0};
  int16_t least = INT16_MAX;
  for (const Candidate& candidate : candidates) {
    int16_t second;
    const Candidate best = SearchSecond(rest[candidate.mode], weights, candidate, &second);
    if (best.distance >= least) continue;
    least = best.distance;
    indices = {best.mode, best.first, second};
  }
  DecodeSidLsf(indices, history, quantised);
  return indices;
}

}  // namespace orbel
