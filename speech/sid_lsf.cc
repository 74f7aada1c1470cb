#include "speech/sid_lsf.h"

#include <algorithm>
#include <utility>

#include "speech/basic_operations.h"
#include "speech/lsp.h"
#include "speech/sid_lsf_tables.h"

namespace orbel {
namespace {

constexpr int16_t kLeastSpread = 10;  // between elements of a code vector
constexpr int16_t kLeastLsfGap = 321;

// Moves neighbours apart that are closer than the least spread.
void Spread(int16_t* v) {
  using namespace fixed;
  for (int j = 1; j < kLpOrder; ++j) {
    const int16_t step = Shr(Add(Sub(v[j - 1], v[j]), kLeastSpread), 1);
    if (step <= 0) continue;
    v[j - 1] = Sub(v[j - 1], step);
    v[j] = Add(v[j], step);
  }
}

// Makes LSF that a stable filter can have.
void Stabilise(int16_t* lsf) {
  using namespace fixed;
  for (int j = 0; j < kLpOrder - 1; ++j) {
    if (lsf[j + 1] < lsf[j]) std::swap(lsf[j], lsf[j + 1]);
  }
  lsf[0] = std::max(lsf[0], kSidLowestLsf);
  for (int j = 0; j < kLpOrder - 1; ++j) {
    if (LSub(lsf[j + 1], lsf[j]) < kLeastLsfGap) lsf[j + 1] = Add(lsf[j], kLeastLsfGap);
  }
  lsf[kLpOrder - 1] = std::min(lsf[kLpOrder - 1], kSidHighestLsf);
}

}  // namespace

void ResetSidLsfHistory(SidLsfHistory history) {
  // freq_prev_reset: multiples of pi / 11.
  static constexpr int16_t kStart[kLpOrder] = {2339,  4679,  7018,  9358,  11698,
                                               14037, 16377, 18717, 21056, 23396};
  for (int row = 0; row < kSidHistoryRows; ++row)
    std::copy(kStart, kStart + kLpOrder, history[row]);
}

void DecodeSidLsf(const SidLsfIndices& indices, SidLsfHistory history, int16_t* lsp) {
  using namespace fixed;
  const int16_t* const first = kLspCodebook1[kSidFirstRow[indices.first]];
  int16_t v[kLpOrder];
  for (int j = 0; j < kLpOrder; ++j) {
    const int half = j < kLpOrder / 2 ? 0 : 1;
    v[j] = Add(first[j], kLspCodebook2[kSidSecondRow[half][indices.second]][j]);
  }
  Spread(v);

  int16_t lsf[kLpOrder];
  for (int j = 0; j < kLpOrder; ++j) {
    int32_t sum = LMult(v[j], kSidPredictorRest[indices.mode][j]);
    for (int k = 0; k < kSidHistoryRows; ++k)
      sum = LMac(sum, history[k][j], kSidPredictor[indices.mode][k][j]);
    lsf[j] = Hi(sum);
  }
  for (int k = kSidHistoryRows - 1; k > 0; --k)
    std::copy(history[k - 1], history[k - 1] + kLpOrder, history[k]);
  std::copy(v, v + kLpOrder, history[0]);

  Stabilise(lsf);
  LsfToLsp(lsf, lsp);
}

}  // namespace orbel
