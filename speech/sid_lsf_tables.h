// Tables of the SID LSF quantiser, ITU-T G.729 Annex B.
#pragma once

#include <cstdint>

#include "speech/sid_lsf.h"

namespace orbel {

// lspcb1 and lspcb2: the speech coder's codebooks, Q13. The second is two half
// books: columns 0 to 4 and 5 to 9 are taken from different rows.
extern const int16_t kLspCodebook1[128][kLpOrder];
extern const int16_t kLspCodebook2[32][kLpOrder];

// PtrTab_1: the row of the first codebook by first index. PtrTab_2: the rows for
// the lower and the upper half by second index.
extern const uint8_t kSidFirstRow[32];
extern const uint8_t kSidSecondRow[2][16];

// noise_fg, noise_fg_sum (Q15) and noise_fg_sum_inv (Q12): the predictor by mode
// and frames back, what is left for the code vector, and the inverse of that.
extern const int16_t kSidPredictor[2][kSidHistoryRows][kLpOrder];
extern const int16_t kSidPredictorRest[2][kLpOrder];
extern const int16_t kSidPredictorRestInverse[2][kLpOrder];

// Mp: the weight of each mode in the search.
extern const int16_t kSidModeWeight[2];

}  // namespace orbel
