// The encoder side of silence coding: its analysis against other ways to compute it,
// what it takes for speech, and that both sides of a silent stretch stay in step.
#include "speech/silence_encoder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>
#include <random>
#include <vector>

#include "speech/codec_run.h"
#include "speech/comfort_noise.h"
#include "speech/lsp.h"
#include "speech/lsp_analysis.h"
#include "speech/sid_lsf_encoder.h"
#include "speech/silence_encoder_tables.h"

namespace orbel {
namespace {

using Samples = std::vector<int16_t>;

struct EncoderRun {
  ComfortNoiseEncoderState state = {};
  alignas(32) uint8_t scratch[kSilenceScratchBytes];
  int16_t parameters[4] = {};

  EncoderRun() {
    state.head.scratchBase = scratch;
    SilenceEncoderInit(&state, 1, 1);
  }
  int32_t Encode(const Samples& frame) {
    int32_t type = 99;
    EXPECT_EQ(SilenceEncodeFrame(&state, frame.data(), parameters, &type), SILENCE_OK);
    EXPECT_EQ(state.head.scratchTop, scratch);
    return type;
  }
};

// Gaussian noise through a pole at `pole`, in frames.
struct NoiseSource {
  std::mt19937 random{3};
  double amplitude;
  double pole = 0;
  double memory = 0;

  explicit NoiseSource(double level, double colour = 0) : amplitude(level), pole(colour) {}
  Samples Frame(double toneLevel = 0) {
    Samples frame(kSilenceFrame);
    for (int i = 0; i < kSilenceFrame; ++i) {
      double white = -6;
      for (int k = 0; k < 12; ++k) white += random() / 4294967296.0;
      memory = pole * memory + white;
      const double tone = toneLevel * std::sin(i * std::numbers::pi / 8);
      const double held = std::clamp(amplitude * memory + tone, -32768.0, 32767.0);
      frame[static_cast<size_t>(i)] = static_cast<int16_t>(std::lrint(held));
    }
    return frame;
  }
};

// Annex B's test of small noise. Its own rules compare a filter's output with the
// residual energy and send six descriptors, the first 0, 13, 2, 3; here the measure is
// the signal's energy, which no filter of this noise passes, so that the flat filter of
// the empty history goes out and nothing after it.
TEST(SilenceEncoder, SmallNoise) {
  EncoderRun run;
  uint32_t s = 7;
  for (int frame = 0; frame < 40; ++frame) {
    Samples pcm(kSilenceFrame);
    for (int16_t& sample : pcm) {
      s = (s * 1103515245u + 12345u) & 0x7FFFFFFF;
      sample = static_cast<int16_t>((s >> 16 & 31) - 16);
    }
    ASSERT_EQ(run.Encode(pcm), frame == 0 ? FrameSid : FrameNoData) << frame;
    if (frame == 0) {
      EXPECT_EQ(Samples(run.parameters, run.parameters + 4), (Samples{0, 13, 1, 3}));
    }
  }
}

// The unordered sums of Autocorrelate are the standard's, held at every step.
TEST(SilenceEncoder, AutocorrelationStepByStep) {
  using namespace fixed;
  std::mt19937 random(5);
  for (int trial = 0; trial < 60; ++trial) {
    int16_t speech[kAnalysisWindow];
    const int bits = trial / 3;  // 16 and above: square waves at full scale
    for (int j = 0; j < kAnalysisWindow; ++j) {
      speech[j] = bits < 16 ? static_cast<int16_t>(static_cast<int16_t>(random()) >> (15 - bits))
                            : static_cast<int16_t>(j / (trial - 47) % 2 == 0 ? 32767 : -32768);
    }
    int16_t y[kAnalysisWindow];
    for (int j = 0; j < kAnalysisWindow; ++j) y[j] = MultR(speech[j], kAnalysisWeights[j]);
    int exponent = 1;
    int32_t first = 1;
    for (bool overflow = true; overflow;) {
      overflow = false;
      first = 1;
      for (const int16_t v : y) first = LMac(first, v, v, &overflow);
      if (!overflow) break;
      for (int16_t& v : y) v = Shr(v, 2);
      exponent += 4;
    }
    const int16_t norm = NormL(first);
    Autocorrelation r;
    int16_t work[kWindowedSamples];
    Autocorrelate(speech, work, &r);
    EXPECT_EQ(r.exponent, exponent - norm) << trial;
    for (int lag = 0; lag <= kAutocorrelationOrder; ++lag) {
      int32_t sum = lag == 0 ? 1 : 0;
      for (int j = 0; j + lag < kAnalysisWindow; ++j) sum = LMac(sum, y[j], y[j + lag]);
      const TwoWord want = Split(LShl(sum, norm));
      ASSERT_TRUE(r.value[lag].h == want.h && r.value[lag].l == want.l) << trial << " " << lag;
    }
  }
}

// Levinson and the ways between filters, LSP and LSF against double precision.
TEST(SilenceEncoder, AnalysisAgainstDouble) {
  double worstFilter = 0, worstRoot = 0, worstLsf15 = 0, worstLsf13 = 0;
  const auto raise = [](double* worst, double v) { *worst = std::max(*worst, std::fabs(v)); };
  for (int trial = 0; trial < 100; ++trial) {
    NoiseSource source(100.0 * (1 + trial % 7), (trial % 19 - 9) / 10.5);
    Samples speech;
    for (int f = 0; f < 3; ++f) {
      const Samples frame = source.Frame(trial % 3 * 30.0);
      speech.insert(speech.end(), frame.begin(), frame.end());
    }
    Autocorrelation r;
    int16_t work[kWindowedSamples];
    Autocorrelate(speech.data(), work, &r);
    ApplyLagWindow(&r);
    LevinsonMemory memory;
    ResetLevinson(&memory);
    ASSERT_TRUE(Levinson(r.value, &memory));

    double a[kFilterLength] = {1}, error = fixed::Join(r.value[0]);
    for (int i = 1; i <= kLpOrder; ++i) {
      double sum = 0;
      for (int j = 0; j < i; ++j) sum += a[j] * fixed::Join(r.value[i - j]);
      const double k = -sum / error;
      if (i <= 2) {
        EXPECT_NEAR(memory.reflection[i - 1] / 32768.0, k, 1e-3) << trial;
      }
      double next[kFilterLength];
      for (int j = 1; j < i; ++j) next[j] = a[j] + k * a[i - j];
      std::copy(next + 1, next + i, a + 1);
      a[i] = k;
      error *= 1 - k * k;
    }
    int16_t lsp[kLpOrder], lsf15[kLpOrder], lsf13[kLpOrder], back[kFilterLength];
    const int16_t none[kLpOrder] = {};
    FilterToLsp(memory.filter, none, lsp);
    LspToFilter(lsp, back);
    for (int i = 0; i < kFilterLength; ++i) {
      raise(&worstFilter, memory.filter[i] / 4096.0 - a[i]);
      raise(&worstRoot, (memory.filter[i] - back[i]) / 4096.0);
    }
    LspToLsfQ15(lsp, lsf15);
    LspToLsfQ13(lsp, lsf13);
    for (int i = 0; i < kLpOrder; ++i) {
      const double angle = std::acos(lsp[i] / 32768.0);
      raise(&worstLsf15, lsf15[i] / 32768.0 - angle / (2 * std::numbers::pi));
      raise(&worstLsf13, lsf13[i] / 8192.0 - angle);
    }
  }
  std::printf("worst errors: filter %.5f, after roots %.5f, LSF %.6f of a turn, %.5f radians\n",
              worstFilter, worstRoot, worstLsf15, worstLsf13);
  EXPECT_LT(worstFilter, 0.0005);
  EXPECT_LT(worstRoot, 0.002);
  EXPECT_LT(worstLsf15, 0.0005);
  EXPECT_LT(worstLsf13, 0.003);
}

// What the quantiser can say exactly it says nearly so.
TEST(SilenceEncoder, DescriptorsComeBack) {
  int same = 0;
  for (int16_t n = 0; n < 1024; ++n) {
    SidLsfHistory histories[2];
    for (auto& history : histories) ResetSidLsfHistory(history);
    int16_t said[kLpOrder], heard[kLpOrder];
    const SidLsfIndices want = {static_cast<int16_t>(n >> 9), static_cast<int16_t>(n >> 4 & 31),
                                static_cast<int16_t>(n & 15)};
    DecodeSidLsf(want, histories[0], said);
    const SidLsfIndices got = EncodeSidLsf(said, histories[1], heard);
    if (std::memcmp(&want, &got, sizeof want) != 0) continue;
    ++same;
    ASSERT_EQ(std::memcmp(said, heard, sizeof said), 0);
    ASSERT_EQ(std::memcmp(histories[0], histories[1], sizeof histories[0]), 0);
  }
  std::printf("%d of 1024 descriptors come back\n", same);
  EXPECT_GT(same, 950);
}

TEST(SilenceEncoder, SpeechAndBackground) {
  for (const double level : {5.0, 200.0, 1000.0}) {
    EncoderRun run;
    NoiseSource source(level);
    int speech = 0;
    for (int frame = 0; frame < 1200; ++frame) {
      const bool burst = frame >= 400 && frame % 200 < 40;
      const int32_t type = run.Encode(source.Frame(burst ? 12000 : 0));
      // The minima of the background are known from frame 128 on.
      if (frame >= 130 && frame < 400) speech += type == FrameSpeech;
      if (burst) {
        ASSERT_EQ(type, FrameSpeech) << level << " " << frame;
      }
      if (frame >= 400 && frame % 200 >= 60) {
        ASSERT_NE(type, FrameSpeech) << level << " " << frame;
      }
    }
    EXPECT_LE(speech, 2) << level;
  }
}

// Every decision plane and hangover has its say here. The numbers were worked out by a
// second program, written from the standard's description, on the same features.
TEST(SilenceEncoder, DecisionsOnMixedSignals) {
  EncoderRun run;
  NoiseSource source(40);
  int speech = 0;
  uint32_t decisions = 0;
  for (int frame = 0; frame < 3000; ++frame) {
    source.amplitude = 40 * (1 + frame / 100 % 5);
    source.pole = (frame / 370 % 7 - 3) * 0.25;
    const bool isSpeech =
        run.Encode(source.Frame(frame % 60 < 15 ? 40 * (frame / 60 % 8) : 0)) == FrameSpeech;
    speech += isSpeech;
    decisions = decisions * 31 + (isSpeech ? 1 : 0);
  }
  EXPECT_EQ(speech, 1856);
  EXPECT_EQ(decisions, 1924070814u);
}

TEST(SilenceEncoder, FrameNumberWraps) {
  EncoderRun early, late;
  NoiseSource source(100);
  for (int frame = 0; frame < 248; ++frame) {
    const Samples pcm = source.Frame();
    ASSERT_EQ(early.Encode(pcm), late.Encode(pcm));
  }
  ASSERT_EQ(early.state.voiceActivity.frameCounter, 248);
  late.state.voiceActivity.frameCounter = 32760;  // also a multiple of 8
  for (int frame = 0; frame < 20; ++frame) {
    const Samples pcm = source.Frame(frame % 5 == 0 ? 3000 : 0);
    ASSERT_EQ(early.Encode(pcm), late.Encode(pcm));
    EXPECT_EQ(late.state.voiceActivity.frameCounter, frame < 7 ? 32761 + frame : 249 + frame);
  }
  EXPECT_EQ(std::memcmp(&early.state.voiceActivity, &late.state.voiceActivity,
                        sizeof(VoiceActivityState)),
            0);
}

// 40000 frames each: the wrap of the frame number included.
TEST(SilenceEncoder, LongRunsOfExtremes) {
  EncoderRun zeros, squares;
  std::mt19937 random(9);
  int period = 1, phase = 0, counts[4] = {};
  for (int frame = 0; frame < 40000; ++frame) {
    ASSERT_EQ(zeros.Encode(Samples(kSilenceFrame)), frame == 0 ? FrameSid : FrameNoData) << frame;
    if (random() % 50 == 0) period = 1 + static_cast<int>(random() % (1u << random() % 12));
    Samples wave(kSilenceFrame);
    for (int16_t& sample : wave) sample = phase++ / period % 2 == 0 ? 32767 : -32768;
    const int32_t type = squares.Encode(wave);
    ASSERT_TRUE(type == FrameNoData || type == FrameSid || type == FrameSpeech);
    ++counts[type];
  }
  EXPECT_EQ(zeros.parameters[3], 0);
  EXPECT_GT(counts[FrameSpeech], 20000);  // no step of the wave goes by as background
}

// Descriptors follow the noise and no sooner than every third frame. Noise here is an
// autocorrelation: pole^lag, 2^exponent.
TEST(SilenceEncoder, WhenDescriptorsAreSent) {
  DtxState dtx;
  ResetDtx(&dtx);
  LevinsonMemory lastGood;
  ResetLevinson(&lastGood);
  const auto frame = [&dtx, &lastGood](double pole, int16_t exponent, bool afterSpeech = false) {
    int16_t r[kFilterLength], work[kSilenceSubframe];
    for (int i = 0; i < kFilterLength; ++i)
      r[i] = static_cast<int16_t>(std::lrint(20000 * std::pow(pole, i)));
    UpdateAutocorrelation(r, exponent, afterSpeech, &dtx);
    SidDescriptor sid;
    return Dtx(afterSpeech, work, &lastGood, &dtx, &sid);
  };
  EXPECT_TRUE(frame(0.8, -8, true));
  for (int i = 0; i < 10; ++i) EXPECT_FALSE(frame(0.8, -8)) << i;
  const struct {
    double pole;
    int16_t exponent;
    int sent;
  } stretches[] = {
      {0.8, -4, 1},    // louder by 12 dB
      {0.8, -8, 1},    // and back
      {-0.8, -8, 1},   // another colour of the same strength
      {-0.75, -8, 0},  // nearly that
  };
  for (const auto& s : stretches) {
    int sent = 0;
    for (int i = 0; i < 20; ++i) sent += frame(s.pole, s.exponent);
    EXPECT_EQ(sent, s.sent) << s.pole << " " << s.exponent;
  }
  std::vector<int> gaps;  // while the noise rises by 3 dB a frame
  for (int i = 0, last = 0; i < 14; ++i) {
    if (!frame(-0.75, static_cast<int16_t>(i - 8))) continue;
    gaps.push_back(i - last);
    last = i;
  }
  ASSERT_GT(gaps.size(), 3u);
  EXPECT_TRUE(std::all_of(gaps.begin() + 1, gaps.end(), [](int gap) { return gap == 3; }));
}

TEST(SilenceEncoder, BothSidesStayInStep) {
  EncoderRun encoder;
  ComfortNoiseDecoderState decoder = {};
  alignas(32) uint8_t scratch[kSilenceScratchBytes];
  decoder.head.scratchBase = scratch;
  ASSERT_EQ(ComfortNoiseDecoderInit(&decoder, 1), 0);
  NoiseSource source(30, 0.5);
  bool afterSpeech = true;
  int descriptors = 0;
  for (int frame = 0; frame < 4000; ++frame) {
    source.amplitude = frame % 700 < 400 ? 30 : 60 + frame % 90;
    const int32_t type = encoder.Encode(source.Frame(frame % 500 < 50 ? 9000 : 0));
    if (type == FrameSpeech) {
      afterSpeech = true;
      continue;
    }
    const int16_t* const p = encoder.parameters;
    const int word = p[0] << 15 | p[1] << 10 | p[2] << 6 | p[3] << 1;
    const uint8_t bits[2] = {static_cast<uint8_t>(word >> 8), static_cast<uint8_t>(word)};
    if (afterSpeech) {
      ASSERT_EQ(type, FrameSid) << frame;
    }
    int16_t pcm[kSilenceFrame];
    const bool first = type == FrameSid && afterSpeech;
    ASSERT_EQ(ComfortNoiseDecodeFrame(&decoder, bits, first ? FrameSidAfterSpeech : type, pcm), 0);
    const DtxState& dtx = encoder.state.dtx;
    ASSERT_EQ(decoder.currentGain, dtx.currentGain) << frame;
    ASSERT_EQ(std::memcmp(decoder.lspSid, dtx.lspSid, sizeof dtx.lspSid), 0) << frame;
    ASSERT_EQ(std::memcmp(decoder.lsfHistory, dtx.lsfHistory, sizeof dtx.lsfHistory), 0);
    descriptors += type == FrameSid;
    afterSpeech = false;
  }
  EXPECT_GT(descriptors, 15);
}

TEST(SilenceEncoder, SpeechLeavesHalfAFrameLate) {
  CodecRun encoder(kSpeechCodecG711A, 0, 64000, 0, 1), plain(kSpeechCodecG711A, 0, 64000);
  ASSERT_EQ(encoder.status, SPEECH_OK);
  NoiseSource source(2000);
  std::vector<uint8_t> late(40, 0xD5);  // codes that are still to come
  for (int frame = 0; frame < 30; ++frame) {
    Samples pcm = source.Frame(8000);
    uint8_t got[80], now[80];
    const auto encode = [&pcm](const CodecRun& run, uint8_t* out) {
      SpeechPcmStream in = {pcm.data(), 160, 8000, 16, 64000};
      SpeechBitstream bits = {out, 80, 99, 0};
      EXPECT_EQ(run.table->Encode(run.handle, &in, &bits), SPEECH_OK);
      EXPECT_EQ(bits.frameType, FrameSpeech);
    };
    encode(encoder, got);
    encode(plain, now);
    late.insert(late.end(), now, now + 80);
    ASSERT_TRUE(std::equal(got, got + 80, late.begin())) << frame;
    late.erase(late.begin(), late.begin() + 80);
  }
}

TEST(SilenceEncoder, Refusals) {
  EncoderRun run, bare, unset, foreign;
  bare.state.head.scratchBase = nullptr;
  SilenceEncoderInit(&bare.state, 1, 1);
  unset.state.head.stateSize = 0;
  foreign.state.head.key = kComfortNoiseDecoderKey;
  SilenceEncoderInit(&foreign.state, 5, 1);
  SilenceEncoderInit(nullptr, 1, 1);
  const Samples pcm(kSilenceFrame);
  int16_t p[4] = {};
  int32_t type = 99;
  EXPECT_EQ(SilenceEncodeFrame(nullptr, pcm.data(), p, &type), SILENCE_ERR_NULL);
  EXPECT_EQ(SilenceEncodeFrame(&run.state, nullptr, p, &type), SILENCE_ERR_NULL);
  EXPECT_EQ(SilenceEncodeFrame(&run.state, pcm.data(), nullptr, &type), SILENCE_ERR_NULL);
  EXPECT_EQ(SilenceEncodeFrame(&run.state, pcm.data(), p, nullptr), SILENCE_ERR_NULL);
  EXPECT_EQ(SilenceEncodeFrame(&bare.state, pcm.data(), p, &type), SILENCE_ERR_NOT_READY);
  EXPECT_EQ(SilenceEncodeFrame(&unset.state, pcm.data(), p, &type), SILENCE_ERR_NOT_READY);
  EXPECT_EQ(SilenceEncodeFrame(&foreign.state, pcm.data(), p, &type), SILENCE_ERR_BAD_KEY);
  EXPECT_EQ(type, 99);
}

}  // namespace
}  // namespace orbel
