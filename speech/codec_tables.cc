#include "speech/codec_tables.h"

#include <cstring>

namespace orbel {

constexpr int32_t kSpeechBitRates[] = {64000, 40000, 32000, 24000, 16000};

int32_t SpeechGetInfoSize(int32_t* size) {
  if (size == nullptr) return SPEECH_ERR_NULL_ARGUMENT;
  *size = sizeof(SpeechCodecInfo);
  return SPEECH_OK;
}

int32_t SpeechGetBankCount(const SpeechCodecOptions* options, int32_t* count) {
  if (options == nullptr || count == nullptr) return SPEECH_ERR_NULL_ARGUMENT;
  *count = 1;
  return SPEECH_OK;
}

void SpeechDescribeBank(SpeechMemBank* bank) {
  bank->memory = nullptr;
  bank->alignment = kSpeechBankAlignment;
  bank->kind = 0;
}

bool SpeechBankHolds(const SpeechMemBank& bank, int32_t size, uintptr_t alignment) {
  return bank.memory != nullptr && bank.size >= 1 && bank.size >= size &&
         reinterpret_cast<uintptr_t>(bank.memory) % alignment == 0;
}

const SpeechCodecFunctions* SpeechCodecByName(const char* name) {
  if (name == nullptr) return nullptr;
  static constexpr const SpeechCodecFunctions* kTables[] = {&kSpeechCodecG711A, &kSpeechCodecG711U,
                                                            &kSpeechCodecG726};
  for (const SpeechCodecFunctions* table : kTables) {
    SpeechCodecInfo info = {};
    table->GetInfo(nullptr, &info);
    if (std::strcmp(name, info.name) == 0) return table;
  }
  return nullptr;
}

}  // namespace orbel
