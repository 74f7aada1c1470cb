// Comfort noise: known answers of ITU-T G.729 Annex B, and how the decoder of the
// G.711 tables goes in and out of a silent stretch.
#include "speech/comfort_noise.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <numeric>
#include <random>
#include <vector>

#include "dsp/primitives.h"
#include "speech/codec_run.h"
#include "speech/g711.h"
#include "speech/lsp.h"
#include "speech/sid_gain.h"
#include "speech/silence_encoder.h"

namespace orbel {
namespace {

using Samples = std::vector<int16_t>;
using Bytes = std::vector<uint8_t>;

Bytes PackSid(int mode, int first, int second, int gain) {
  const int word = mode << 15 | first << 10 | second << 6 | gain << 1;
  return {static_cast<uint8_t>(word >> 8), static_cast<uint8_t>(word & 255)};
}

// A decoder with its scratch.
struct NoiseRun {
  ComfortNoiseDecoderState state = {};
  alignas(32) uint8_t scratch[kSilenceScratchBytes];

  explicit NoiseRun(int32_t postFilter = 0) {
    state.head.scratchBase = scratch;
    EXPECT_EQ(ComfortNoiseDecoderInit(&state, 1), 0);
    state.postFilter = postFilter;
  }
  Samples Decode(int32_t frameType, const Bytes& bits = {0, 0}) {
    Samples pcm(kSilenceFrame, 12345);
    EXPECT_EQ(ComfortNoiseDecodeFrame(&state, bits.data(), frameType, pcm.data()), 0);
    EXPECT_EQ(state.head.scratchTop, scratch);
    return pcm;
  }
};

std::vector<uint8_t> BytesOf(const ComfortNoiseDecoderState& state) {
  const auto* bytes = reinterpret_cast<const uint8_t*>(&state);
  return {bytes, bytes + sizeof state};
}

TEST(ComfortNoise, StoredNoiseIsTheGenerators) {
  EXPECT_EQ(Samples(kStoredNoise.samples[0], kStoredNoise.samples[0] + 8),
            (Samples{86, -609, 391, 173, -80, -718, -47, 559}));
  EXPECT_EQ(static_cast<uint16_t>(kStoredNoise.seed[0]), 38770);
  // From anywhere in the stored rows the generator leads to the same noise.
  NoiseRun stored, generated;
  const Bytes sid = PackSid(1, 5, 3, 18);
  for (int frame = 0; frame < 40; ++frame) {
    if (frame == 3) generated.state.noiseSubframes = kStoredNoiseSubframes;
    ASSERT_EQ(stored.Decode(frame % 7 == 0, sid), generated.Decode(frame % 7 == 0, sid)) << frame;
    ASSERT_EQ(stored.state.noiseSeed, generated.state.noiseSeed);
  }
  EXPECT_EQ(stored.state.noiseSubframes, kStoredNoiseSubframes);
}

TEST(ComfortNoise, DescriptorsToFilters) {
  SidLsfHistory history;
  ResetSidLsfHistory(history);
  Samples lsp(10);
  int16_t first[kFilterLength], second[kFilterLength];
  DecodeSidLsf({1, 17, 9}, history, lsp.data());
  EXPECT_EQ(lsp, (Samples{31424, 28946, 24849, 15390, 9690, 1488, -13729, -19171, -26686, -30345}));
  Samples old(kLspStart, kLspStart + 10);
  InterpolateFilters(old.data(), lsp.data(), first, second);
  EXPECT_EQ(Samples(second, second + kFilterLength),
            (Samples{4096, -2732, 428, -132, 900, -1140, 559, 551, 573, -1187, 441}));
  EXPECT_EQ(Samples(first, first + kFilterLength),
            (Samples{4096, -3241, 3309, -2449, 3043, -2375, 2117, -1036, 1220, -928, 394}));
  EXPECT_EQ(old, lsp);
  DecodeSidLsf({0, 3, 15}, history, lsp.data());
  EXPECT_EQ(lsp, (Samples{30915, 28400, 24702, 15883, 8379, 2228, -11110, -16486, -26621, -29951}));
}

TEST(ComfortNoise, Gains) {
  const int16_t energies[] = {20000, 18000}, exponents[] = {3, 4}, none = 0, one = 1;
  EXPECT_EQ(QuantiseEnergy(energies, exponents, 2).index, 2);
  EXPECT_EQ(QuantiseEnergy(energies, exponents, 2).level, 0);
  EXPECT_EQ(QuantiseEnergy(energies, exponents, 1).index, 3);
  EXPECT_EQ(QuantiseEnergy(energies, exponents, 1).level, 4);
  EXPECT_EQ(QuantiseEnergy(&none, &one, 0).index, 2);
  // A fresh decoder without a descriptor takes the third level.
  NoiseRun run;
  run.Decode(FrameNoData);
  EXPECT_EQ(run.state.sidGain, 8);
  EXPECT_EQ(run.state.currentGain, 8);
  // Smoothed after a descriptor, but not after speech.
  run.Decode(FrameSid, PackSid(0, 0, 0, 31));
  EXPECT_EQ(run.state.currentGain, 7 + 1995);
  run.Decode(FrameSidAfterSpeech, PackSid(0, 0, 0, 0));
  EXPECT_EQ(run.state.currentGain, 2);
  // Level 0 is silence, and draws nothing.
  run.state.currentGain = run.state.sidGain = 0;
  const int16_t seed = run.state.noiseSeed;
  run.Decode(FrameNoData);
  EXPECT_EQ(run.state.noiseSeed, seed);
  EXPECT_EQ(run.state.energy, 0);
  const int16_t* const frame = run.state.excitation + kPastExcitation - kSilenceFrame;
  EXPECT_EQ(Samples(frame, frame + kSilenceFrame), Samples(kSilenceFrame));
}

// Annex B's decoder, with and without the post filter of Annex A.
TEST(ComfortNoise, KnownFrames) {
  struct Frame {
    Samples first;
    int sum;
  };
  const struct {
    int32_t postFilter;
    std::vector<Frame> frames;
  } runs[] = {{0,
               {{{194, 108, -42, 10, -232, -238, -6, 52}, 462},
                {{-70, -250, -94, -112, -248, -56, -16, -62}, -1908},
                {{52, -304, -198, 32, 42, 106, -16, -268}, -450},
                {{-146, -66, -100, -146, -84, 22, 484, 354}, 322}}},
              {1,
               {{{180, 97, -70, -13, -229, -231, 25, 77}, -110},
                {{-86, -239, -74, -96, -213, -11, 24, -13}, -83},
                {{83, -245, -140, 84, 87, 147, 25, -215}, 161},
                {{-138, -61, -83, -122, -53, 51, 476, 336}, 209}}}};
  for (const auto& run : runs) {
    NoiseRun decoder(run.postFilter);
    for (size_t f = 0; f < 4; ++f) {
      const Bytes sid = f == 0 ? PackSid(1, 17, 9, 14) : PackSid(0, 3, 15, 20);
      const Samples pcm = decoder.Decode(f % 2 == 0 ? FrameSid : FrameNoData, sid);
      EXPECT_EQ(Samples(pcm.begin(), pcm.begin() + 8), run.frames[f].first) << f;
      EXPECT_EQ(std::accumulate(pcm.begin(), pcm.end(), 0), run.frames[f].sum) << f;
    }
  }
}

// Memory that is too loud for the filters quarters the excitation, once for each
// subframe that saturates.
TEST(ComfortNoise, LoudSynthesisLowersTheExcitation) {
  NoiseRun calm, loud;
  const Bytes sid = PackSid(1, 17, 9, 25);
  for (int frame = 0; frame < 3; ++frame) {
    calm.Decode(FrameSid, sid);
    loud.Decode(FrameSid, sid);
  }
  for (int i = 0; i < kLpOrder; ++i)
    loud.state.synthesis[kSilenceFrame + i] = i % 2 == 0 ? -32768 : 32767;
  calm.Decode(FrameNoData);
  loud.Decode(FrameNoData);
  int shift = 0;
  while (loud.state.excitation[kPastExcitation - 1] !=
         calm.state.excitation[kPastExcitation - 1] >> shift) {
    shift += 2;
    ASSERT_LE(shift, 4);
  }
  EXPECT_GT(shift, 0);
  for (int i = 0; i < kPastExcitation; ++i)
    ASSERT_EQ(loud.state.excitation[i], calm.state.excitation[i] >> shift) << i;
}

TEST(ComfortNoise, RefusalsChangeNothing) {
  NoiseRun run, bare;
  bare.state.head.scratchBase = nullptr;
  EXPECT_EQ(ComfortNoiseDecoderInit(&bare.state, 5), -5);
  EXPECT_EQ(ComfortNoiseDecoderInit(&bare.state, 4), 0);
  NoiseRun unset, foreign;
  unset.state.head.stateSize = 0;
  foreign.state.head.key = kG711DecoderKey;
  const uint8_t bits[2] = {};
  Samples pcm(80, 12345);
  EXPECT_EQ(ComfortNoiseDecodeFrame(nullptr, bits, 1, pcm.data()), -1);
  EXPECT_EQ(ComfortNoiseDecodeFrame(&run.state, nullptr, 0, pcm.data()), -1);
  EXPECT_EQ(ComfortNoiseDecodeFrame(&run.state, bits, 0, nullptr), -1);
  for (NoiseRun* r : {&bare, &unset, &foreign, &run}) {
    const std::vector<uint8_t> before = BytesOf(r->state);
    EXPECT_EQ(ComfortNoiseDecodeFrame(&r->state, bits, r == &run ? 3 : 1, pcm.data()), -1);
    EXPECT_EQ(BytesOf(r->state), before);
  }
  EXPECT_EQ(pcm, Samples(80, 12345));
}

// The states behind a decoder of the tables.
ComfortNoiseDecoderState* NoiseOf(const CodecRun& run) {
  return static_cast<G711Handle*>(run.handle)->decoder.comfortNoise;
}

// Random frame types through both tables, against the rules spelled out here.
TEST(ComfortNoise, FrameTypesThroughG711) {
  std::mt19937 random(17);
  for (const SpeechCodecFunctions* table : {&kSpeechCodecG711A, &kSpeechCodecG711U}) {
    const bool aLaw = table == &kSpeechCodecG711A;
    CodecRun decoder(*table, 1, 64000);
    const G711DecoderState& state = static_cast<G711Handle*>(decoder.handle)->decoder;
    NoiseRun noise;
    bool silent = false;
    int losses = 0;  // in the run
    for (int frame = 0; frame < 600; ++frame) {
      static constexpr int32_t kTypes[] = {FrameSpeech, FrameSid, FrameNoData, FrameLost,
                                           CodecRun::kNullRecord};
      const int32_t type = kTypes[random() % 5];
      Bytes bytes(80);
      for (uint8_t& b : bytes) b = static_cast<uint8_t>(random());
      const auto d = decoder.Decode(bytes, type);
      ASSERT_EQ(d.status, SPEECH_OK);
      ASSERT_EQ(d.pcm.byteCount, 160);
      Samples want(80);
      if (type == FrameSpeech) {
        (aLaw ? dspALawToLin_8u16s : dspMuLawToLin_8u16s)(bytes.data(), want.data(), 80);
      } else if (type == FrameSid) {
        want = noise.Decode(silent ? FrameSid : FrameSidAfterSpeech, bytes);
      } else if (silent) {
        want = noise.Decode(FrameNoData);
      }
      const bool concealed = type != FrameSpeech && type != FrameSid && !silent;
      if (concealed) {
        ++losses;
      } else {
        // After a loss the frame's start is blended, 32 samples more for each frame lost.
        const int32_t overlap = state.concealment.overlap;
        const int from = losses > 0 ? std::min(overlap + 32 * (losses - 1), 80) : 0;
        ASSERT_TRUE(std::equal(want.begin() + from, want.end(), d.samples.begin() + from)) << frame;
        losses = 0;
        silent = type != FrameSpeech;
      }
      ASSERT_EQ(state.concealment.erasureCount, losses);
    }
  }
}

TEST(ComfortNoise, BankHoldsStateAndScratch) {
  for (int32_t direction : {0, 1}) {
    CodecRun run(kSpeechCodecG711U, direction, 64000);
    auto* const handle = static_cast<G711Handle*>(run.handle);
    const auto check = [&](const SilenceStateHead* head, const void* behind, int32_t stateSize,
                           size_t own) {
      EXPECT_EQ(static_cast<const void*>(head), behind);
      EXPECT_EQ(stateSize, static_cast<int32_t>(own) + head->stateSize);
      EXPECT_EQ(reinterpret_cast<uintptr_t>(head->scratchBase) % kSilenceScratchAlignment, 0u);
      EXPECT_EQ(head->scratchEnd - head->scratchBase, kSilenceScratchBytes);
      const auto* const state = reinterpret_cast<const uint8_t*>(head);
      EXPECT_GE(head->scratchBase, state + head->stateSize);
      EXPECT_LE(head->scratchEnd, static_cast<uint8_t*>(run.bank.memory) + run.bank.size);
    };
    SpeechCodecModes modes = {64000, 0, 0, 0, 1};
    for (int made = 0; made < 2; ++made) {
      if (direction == 1) {
        const G711DecoderState& state = handle->decoder;
        check(&state.comfortNoise->head, &state + 1, state.stateSize, sizeof state);
      } else {
        const G711EncoderState& state = handle->encoder;
        check(&state.silence->head, &state + 1, state.stateSize, sizeof state);
      }
      EXPECT_EQ(run.table->Reinit(&modes, run.handle), SPEECH_OK);
    }
  }
}

// The switch comes with Init, Reinit and Control; Reinit alone starts anew.
TEST(ComfortNoise, PostFilterSwitchAndReinit) {
  const Bytes sid = PackSid(1, 17, 9, 14);
  CodecRun run(kSpeechCodecG711A, 1, 64000);
  const Samples plain = run.Decode(sid, FrameSid).samples;
  EXPECT_EQ(plain[0], 194);
  SpeechCodecModes modes = {64000, 0, 0, 0, 7};
  run.table->Control(&modes, run.handle);
  EXPECT_EQ(NoiseOf(run)->postFilter, 7);
  EXPECT_EQ(run.Decode(sid, FrameNoData).bits.byteCount, 2);
  run.table->Reinit(&modes, run.handle);
  EXPECT_EQ(run.Decode(sid, FrameSid).samples[0], 180);
  modes.postFilter = 0;
  run.table->Reinit(&modes, run.handle);
  EXPECT_EQ(run.Decode(sid, FrameSid).samples, plain);
  run.options.modes.postFilter = 1;
  run.table->Init(&run.options, &run.bank, &run.handle);
  EXPECT_EQ(run.Decode(sid, FrameSid).samples[0], 180);
}

}  // namespace
}  // namespace orbel
