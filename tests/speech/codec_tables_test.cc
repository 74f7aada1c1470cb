// What the three codec tables have in common: the info record, the way to a
// handle, sizes, and the order in which slots check their arguments.
#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include "speech/codec_run.h"

namespace orbel {
namespace {

constexpr const SpeechCodecFunctions *kA = &kSpeechCodecG711A, *kU = &kSpeechCodecG711U,
                                     *kG726 = &kSpeechCodecG726;

TEST(CodecTables, Info) {
  SpeechCodecInfo g726 = {};
  kG726->GetInfo(nullptr, &g726);
  EXPECT_EQ(std::vector<int32_t>(g726.bitRates, g726.bitRates + 4),
            (std::vector<int32_t>{40000, 32000, 24000, 16000}));
  struct Case {
    const SpeechCodecFunctions* table;
    const char* name;
    int32_t rateIndex;  // from 64000 on
    // maxFrameBytes, bitRateCount, then the options in order.
    std::vector<int32_t> defaults, fromHandle;
  };
  // 70 to 74 stand in the record before. With a handle G.711 leaves the bit rate.
  for (const Case& c : {Case{kA,
                             "IPP_G711A",
                             0,
                             {80, 1, 0, 1, 160, 70, 64000, 0, 1, 0, 1},
                             {80, 1, 1, 1, 160, 70, 71, 0, 0, 0, 6}},
                        {kU,
                         "IPP_G711U",
                         0,
                         {80, 1, 0, 1, 160, 70, 64000, 0, 1, 0, 1},
                         {80, 1, 1, 2, 160, 70, 71, 0, 0, 0, 6}},
                        {kG726,
                         "IPP_G726",
                         1,
                         {5, 4, 0, 3, 16, 70, 16000, 0, 73, 0, 74},
                         {100, 4, 1, 9, 320, 70, 24000, 0, 73, 0, 74}}}) {
    EXPECT_EQ(SpeechCodecByName(c.name), c.table);
    EXPECT_EQ(c.table->reserved, 0);
    int32_t size = 0;
    EXPECT_EQ(c.table->GetInfoSize(&size), SPEECH_OK);
    EXPECT_EQ(size, 72);
    CodecRun run(*c.table, 1, c.table == kG726 ? 24000 : 64000, 9);
    SpeechCodecModes modes = {24000, 0, 0, 0, 6};
    EXPECT_EQ(c.table->Control(&modes, run.handle), SPEECH_OK);
    EXPECT_EQ(c.table->SetFrameSize(&run.options, run.handle, 325), SPEECH_OK);
    for (const void* handle : {static_cast<void*>(nullptr), run.handle}) {
      SpeechCodecInfo info = {};
      info.options.reserved = 70;
      info.options.modes = {71, 72, 73, 72, 74};
      EXPECT_EQ(c.table->GetInfo(handle, &info), SPEECH_OK);
      EXPECT_STREQ(info.name, c.name);
      EXPECT_EQ(info.sampleRate, 8000);
      EXPECT_EQ(info.bitsPerSample, 16);
      EXPECT_EQ(info.bitRates, g726.bitRates - 1 + c.rateIndex);
      const SpeechCodecOptions& o = info.options;
      EXPECT_EQ((std::vector<int32_t>{info.maxFrameBytes, info.bitRateCount, o.direction, o.law,
                                      o.frameSize, o.reserved, o.modes.bitRate, o.modes.reserved1,
                                      o.modes.vad, o.modes.reserved2, o.modes.postFilter}),
                handle == nullptr ? c.defaults : c.fromHandle)
          << c.name;
    }
  }
  EXPECT_EQ(g726.bitRates[-1], 64000);
  EXPECT_EQ(SpeechCodecByName("IPP_G729"), nullptr);
  EXPECT_EQ(SpeechCodecByName(nullptr), nullptr);
}

TEST(CodecTables, BanksAndInit) {
  constexpr int32_t kNoHandle = 1;
  struct Case {
    const char* what;
    const SpeechCodecFunctions* table;
    int32_t bitRate, direction, vad;
    int32_t offset, missing;  // of the bank; offset -1 for no memory
    int32_t flags, status;
    bool handleWritten;
  };
  for (const Case& c :
       {Case{"good", kA, 0, 1, 0, 0, 0, 0, SPEECH_OK, true},
        {"decoder with vad", kU, 0, 1, 1, 0, 0, 0, SPEECH_OK, true},
        {"encoder with vad", kA, 0, 0, 1, 0, 0, 0, SPEECH_OK, true},
        {"no memory, and the mode behind it", kA, 0, 1, 2, -1, 0, 0, -8, false},
        {"too small", kA, 0, 1, 0, 0, 1, 0, -8, false},
        {"empty", kA, 0, 2, 0, 0, 1 << 20, 0, -8, false},
        {"misaligned", kA, 0, 1, 0, 2, 0, 0, -8, false},
        {"mode, and the direction behind it", kU, 0, 2, 2, 0, 0, 0, -2, false},
        {"direction", kA, 0, 2, 0, 0, 0, 0, -6, true},
        {"no handle", kA, 0, 1, 0, -1, 0, kNoHandle, -1, false},
        {"good", kG726, 40000, 0, 0, 0, 0, 0, SPEECH_OK, true},
        {"too small", kG726, 40000, 1, 0, 0, 1, kNoHandle, -8, false},
        {"no handle, and the rate behind it", kG726, 64000, 1, 0, 0, 0, kNoHandle, -7, false},
        {"rate, and the direction behind it", kG726, 64000, 2, 0, 0, 0, 0, -4, false},
        {"direction", kG726, 16000, 2, 0, 0, 0, 0, -6, true}}) {
    SpeechCodecOptions options = {};
    options.direction = c.direction;
    options.modes = {c.bitRate, 0, c.vad, 0, 0};
    SpeechMemBank bank = {};
    EXPECT_EQ(c.table->GetBankSizes(&options, &bank), c.direction == 2 ? -6 : SPEECH_OK) << c.what;
    EXPECT_EQ(bank.alignment, 32);
    if (c.direction == 2) bank.size = 16;  // room for the header
    std::vector<int64_t> memory(static_cast<size_t>(bank.size) / 8 + 2);
    if (c.offset >= 0) bank.memory = reinterpret_cast<char*>(memory.data()) + c.offset;
    bank.size -= c.missing;
    void* handle = nullptr;
    EXPECT_EQ(c.table->Init(&options, &bank, c.flags == kNoHandle ? nullptr : &handle), c.status)
        << c.what;
    EXPECT_EQ(handle, c.handleWritten ? memory.data() : nullptr) << c.what;
    if (c.handleWritten) {
      EXPECT_EQ(static_cast<int32_t*>(handle)[0], c.direction) << c.what;
    }
  }
}

TEST(CodecTables, OutputSize) {
  struct Case {
    const SpeechCodecFunctions* table;
    int32_t direction, vad, bitRate, source, status, bytes;
  };
  for (const Case& c : {Case{kU, 1, 0, 64000, 81, 0, 160},     {kU, 1, 0, 64000, 159, 0, 160},
                        {kU, 1, 0, 64000, 160, 0, 320},        {kU, 1, 0, 64000, 79, -6, 0},
                        {kU, 1, 1, 64000, 3, 0, 160},          {kU, 1, 1, 64000, 80, 0, 6400},
                        {kU, 1, 1, 64000, 1, -6, 0},           {kU, 1, 2, 64000, 80, -2, 0},
                        {kU, 1, -1, 64000, 80, -2, 0},         {kU, 0, 0, 64000, 161, 0, 80},
                        {kU, 0, 0, 64000, 163, 0, 160},        {kU, 0, 0, 64000, 159, -6, 0},
                        {kU, 0, 2, 64000, 159, -2, 0},         {kU, 2, 9, 64000, 161, 0, 160},
                        {kU, 2, 0, 64000, 162, 0, 320},        {kU, 2, 0, 64000, 159, -6, 0},
                        {kU, 3, 0, 64000, 160, -6, 0},         {kU, 1, 0, 32000, 160, -4, 0},
                        {kU, 1, 0, 32000, 0, -6, 0},           {kU, 1, 1, 64000, INT32_MAX, -6, 0},
                        {kG726, 1, 0, 32000, 4, 0, 16},        {kG726, 1, 0, 32000, 11, 0, 32},
                        {kG726, 1, 0, 32000, 3, -6, 0},        {kG726, 1, 0, 24000, 320, 0, 1696},
                        {kG726, 1, 1, 24000, 320, -2, 0},      {kG726, 1, 1, 64000, 320, -4, 0},
                        {kG726, 1, 1, 64000, 0, -6, 0},        {kG726, 0, 0, 40000, 17, 0, 5},
                        {kG726, 0, 0, 40000, 18, 0, 10},       {kG726, 0, 0, 16000, 160, 0, 20},
                        {kG726, 0, 0, 16000, 15, -6, 0},       {kG726, 2, 0, 16000, 18, 0, 32},
                        {kG726, 2, 0, 16000, 15, -6, 0},       {kG726, 3, 0, 16000, 160, -6, 0},
                        {kG726, 1, 0, 16000, INT32_MAX, -6, 0}}) {
    SpeechCodecOptions options = {};
    options.direction = c.direction;
    options.modes.vad = c.vad;
    int32_t bytes = 0;
    EXPECT_EQ(c.table->GetOutputSize(&options, c.bitRate, c.source, &bytes), c.status)
        << c.direction << ' ' << c.vad << ' ' << c.bitRate << ' ' << c.source;
    EXPECT_EQ(bytes, c.bytes) << c.direction << ' ' << c.vad << ' ' << c.source;
  }
}

TEST(CodecTables, NullArguments) {
  for (const SpeechCodecFunctions* t : {kA, kU, kG726}) {
    CodecRun run(*t, 1, t == kG726 ? 32000 : 64000), encoder(*t, 0, run.options.modes.bitRate);
    const SpeechCodecOptions* const o = &run.options;
    const SpeechCodecModes* const m = &run.options.modes;
    int32_t n = 0;
    uint8_t bytes[80] = {};
    int16_t samples[80] = {};
    SpeechBitstream bits = {bytes, 80, FrameSpeech, run.options.modes.bitRate}, noBytes = bits;
    SpeechPcmStream pcm = {samples, 160, 8000, 16, run.options.modes.bitRate}, noSamples = pcm;
    noBytes.data = nullptr;
    noSamples.data = nullptr;
    // Decode's data pointers are the frame's arguments in G.711, the slot's in G.726.
    const int32_t noData = t == kG726 ? SPEECH_ERR_NULL_ARGUMENT : SPEECH_ERR_FAILED;
    const std::vector<uint8_t> before = run.State();
    const struct {
      int32_t got, want;
    } checks[] = {{t->GetInfoSize(nullptr), -1},
                  {t->GetInfo(run.handle, nullptr), -1},
                  {t->GetBankCount(nullptr, &n), -1},
                  {t->GetBankCount(o, nullptr), -1},
                  {t->GetBankSizes(nullptr, &run.bank), -1},
                  {t->GetBankSizes(o, nullptr), -1},
                  {t->Init(nullptr, &run.bank, &run.handle), -1},
                  {t->Init(o, nullptr, &run.handle), -1},
                  {t->GetOutputSize(nullptr, 0, 0, &n), -1},
                  {t->GetOutputSize(o, 0, 0, nullptr), -1},
                  {t->Reinit(nullptr, nullptr), -1},
                  {t->Reinit(m, nullptr), -7},
                  {t->Control(nullptr, nullptr), -1},
                  {t->Control(m, nullptr), -7},
                  {t->SetFrameSize(nullptr, nullptr, 0), -1},
                  {t->SetFrameSize(o, nullptr, 0), -7},
                  {t->SetFrameSize(o, run.handle, 0), -6},
                  {t->Encode(nullptr, nullptr, &bits), -1},
                  {t->Encode(nullptr, &pcm, &bits), -7},
                  {t->Encode(encoder.handle, &pcm, nullptr), -1},
                  {t->Encode(encoder.handle, &noSamples, &bits), -1},
                  {t->Encode(encoder.handle, &pcm, &noBytes), -1},
                  {t->Encode(run.handle, &pcm, &bits), -6},
                  {t->Decode(nullptr, &bits, nullptr), -1},
                  {t->Decode(nullptr, &bits, &pcm), -7},
                  {t->Decode(run.handle, &noBytes, &pcm), noData},
                  {t->Decode(run.handle, &bits, &noSamples), noData},
                  {t->Decode(run.handle, nullptr, &noSamples), noData},
                  {t->Decode(encoder.handle, &bits, &pcm), -6}};
    for (const auto& check : checks) EXPECT_EQ(check.got, check.want) << &check - checks;
    EXPECT_EQ(run.State(), before);
  }
}

}  // namespace
}  // namespace orbel
