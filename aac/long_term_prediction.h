// Long-term prediction of object type LTP (ISO/IEC 14496-3, subpart 4): the
// spectrum of a piece of the channel's own recent output is added to what the
// stream carries.
#pragma once

#include "aac/bit_reader.h"
#include "aac/channel_stream.h"
#include "aac/filterbank.h"
#include "aac/tns.h"

namespace orbel {

// Floats of LtpContext::work: the estimate and its spectrum.
constexpr int32_t kLtpWorkLength = 2048 + kFrameLength;

// What a channel's prediction is made of.
struct LtpContext {
  // 1024 samples each, oldest first: the output of the frame before the last one, of
  // the last one, and the overlap; whole numbers in the range of 16 bits.
  const float* history[3];
  int32_t prevWindowShape;
  const FilterbankSpec* filterbank;  // with the forward transforms
  const TnsRecord* tns;              // of the present frame; read if tns_data_present is set
  // kLtpWorkLength floats, cleared at reset and kept between the calls: with lags
  // shorter than eight samples a short window takes what the last one has left there.
  float* work;
};

// ltp_data() of one channel; max_sfb and window_sequence are known by then.
void LtpDataParse(IndividualChannelStream* ics, BitReader* reader);

// `spectrum` is in window order. Nothing happens if ltp_data_present is 0.
void ApplyLongTermPrediction(const LtpContext& context, const IndividualChannelStream& ics,
                             float* spectrum);

}  // namespace orbel
