// What the codec tables share: their names, their bit rates, and the slots that
// are the same function in all of them.
#pragma once

#include <cstdint>

#include "speech/speech_codec.h"

namespace orbel {

inline constexpr int32_t kSpeechSampleRate = 8000;
inline constexpr int32_t kSpeechBitsPerSample = 16;
inline constexpr int32_t kSpeechBankAlignment = 32;

// The rates of G.711 and, directly behind them, those of G.726.
inline constexpr int32_t kG711RateCount = 1;
inline constexpr int32_t kG726RateCount = 4;
extern const int32_t kSpeechBitRates[kG711RateCount + kG726RateCount];

// The size of SpeechCodecInfo. Null: SPEECH_ERR_NULL_ARGUMENT.
int32_t SpeechGetInfoSize(int32_t* size);

// One bank. Options or count null: SPEECH_ERR_NULL_ARGUMENT.
int32_t SpeechGetBankCount(const SpeechCodecOptions* options, int32_t* count);

// Fills all of a bank's record but its size and its reserved word.
void SpeechDescribeBank(SpeechMemBank* bank);

// Whether the bank holds `size` bytes for a record of this alignment.
bool SpeechBankHolds(const SpeechMemBank& bank, int32_t size, uintptr_t alignment);

}  // namespace orbel
