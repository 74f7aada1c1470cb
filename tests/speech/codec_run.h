// A codec table with its bank, as a caller holds them.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "speech/speech_codec.h"

namespace orbel {

struct CodecRun {
  const SpeechCodecFunctions* table;
  SpeechCodecOptions options = {};
  SpeechMemBank bank = {};
  std::vector<int64_t> memory;
  void* handle = nullptr;

  // Goes the whole way to a handle.
  CodecRun(const SpeechCodecFunctions& codec, int32_t direction, int32_t bitRate, int32_t law = 0,
           int32_t vad = 0)
      : table(&codec) {
    options.direction = direction;
    options.law = law;
    options.modes.bitRate = bitRate;
    options.modes.vad = vad;
    int32_t count = 0;
    EXPECT_EQ(table->GetBankCount(&options, &count), SPEECH_OK);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(table->GetBankSizes(&options, &bank), SPEECH_OK);
    EXPECT_EQ(bank.memory, nullptr);
    EXPECT_EQ(bank.alignment, 32);
    // Memory with something in it: Init may not count on zeros. Just as large as
    // asked for, so that the sanitizer sees the end.
    memory.assign((static_cast<size_t>(bank.size) + 7) / 8, 0x5A5A5A5A5A5A5A5A);
    bank.memory = memory.data();
    status = table->Init(&options, &bank, &handle);
  }

  struct Decoded {
    int32_t status;
    SpeechBitstream bits;
    SpeechPcmStream pcm;
    std::vector<int16_t> samples;  // as many as were put out
  };
  // One call on `bytes`, or on a null record when `frameType` is kNullRecord.
  static constexpr int32_t kNullRecord = 1000;
  Decoded Decode(std::vector<uint8_t> bytes, int32_t frameType = FrameSpeech,
                 size_t roomSamples = 80) const {
    Decoded d = {};
    d.samples.assign(roomSamples, 12345);
    d.bits = {bytes.data(), static_cast<int32_t>(bytes.size()), frameType, options.modes.bitRate};
    d.pcm = {d.samples.data(), -1, -1, -1, -1};
    d.status = table->Decode(handle, frameType == kNullRecord ? nullptr : &d.bits, &d.pcm);
    if (d.status == SPEECH_OK && d.pcm.byteCount >= 0)
      d.samples.resize(static_cast<size_t>(d.pcm.byteCount) / 2);
    return d;
  }

  std::vector<uint8_t> State() const {
    std::vector<uint8_t> bytes(static_cast<size_t>(bank.size));
    std::memcpy(bytes.data(), bank.memory, bytes.size());
    return bytes;
  }

  int32_t status = 0;  // of Init
};

template <typename T>
std::vector<T> ReadData(const std::string& name) {
  std::vector<T> data;
  std::FILE* file = std::fopen((std::string(ORBEL_TEST_DATA "/telephony/") + name).c_str(), "rb");
  EXPECT_NE(file, nullptr) << name;
  if (file == nullptr) return data;
  T buffer[1024];
  size_t count = 0;
  while ((count = std::fread(buffer, sizeof(T), 1024, file)) > 0)
    data.insert(data.end(), buffer, buffer + count);
  std::fclose(file);
  return data;
}

}  // namespace orbel
