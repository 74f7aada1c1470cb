// Format 255 through the exports: every rate index, every length of sample, no
// allocation, memory running out, two threads.
#include <gtest/gtest.h>

#include <thread>

#include "orbel/media_object.h"
#include "orbel/player.h"
#include "support/aac_stream.h"
#include "support/heap_meter.h"

namespace orbel {
namespace {

struct OnePlayer {
  OnePlayer() {
    CoInitializeEx(nullptr, 0);
    player = CreatePlayer();
  }
  ~OnePlayer() {
    PlayerClose(player);
    DisposePlayer(player);
    CoUninitialize();
  }
  // The PCM of one sample; empty when there is none.
  std::vector<int16_t> Render(const std::vector<uint8_t>& sample, int32_t want = 0) {
    uint8_t* pcm = nullptr;
    int32_t size = 0;
    EXPECT_EQ(PlayerRenderMPEGAudioSampleDec(
                  player, sample.data(), static_cast<int32_t>(sample.size()), 0, 0, &pcm, &size),
              want);
    const auto* first = reinterpret_cast<const int16_t*>(pcm);
    return std::vector<int16_t>(first, first + size / 2);
  }
  Player* player;
};

TEST(AacPlayer, PlaysAtEveryRateIndex) {
  const AacStream stream("lc_44100_st_128k_music.aac");
  for (int32_t rateIndex = 20; rateIndex <= 38; ++rateIndex) {
    OnePlayer one;
    ASSERT_EQ(PlayerOpen(one.player, ORBEL_FORMAT_AAC, rateIndex, 0, 1), 0) << rateIndex;
    size_t at = 0;
    for (const std::vector<uint8_t>& sample : stream.samples)
      for (const int16_t left : one.Render(sample)) {
        ASSERT_EQ(left, stream.want.samples[at]) << rateIndex;
        at += 2;
      }
    EXPECT_EQ(at, stream.want.samples.size());
  }
}

TEST(AacPlayer, DamagedSamplesGiveNoSoundAndNoError) {
  const AacStream stream("lc_16000_mono_24k_speech.aac");
  OnePlayer one;
  ASSERT_EQ(PlayerOpen(one.player, ORBEL_FORMAT_AAC, 25, 0, 1), 0);
  EXPECT_FALSE(one.Render(stream.samples[0]).empty());
  for (size_t length = 1; length < stream.samples[1].size(); ++length) {
    const std::vector<uint8_t> cut(stream.samples[1].begin(),
                                   stream.samples[1].begin() + static_cast<ptrdiff_t>(length));
    one.Render(cut);
  }
  EXPECT_TRUE(one.Render({}).empty());
  EXPECT_EQ(one.Render(stream.samples[2]).size(), 1024u);
  one.Render(std::vector<uint8_t>(8192, 0xFF), ORBEL_RENDER_SIZE);
  EXPECT_EQ(one.Render(stream.samples[3]).size(), 1024u);
}

TEST(AacPlayer, AllocatesNothingOnceItRuns) {
  for (const char* file : {"lc_44100_st_128k_music.aac", "main_48000_st_pred_96k.aac",
                           "ltp_44100_st_96k.aac", "ssr_32000_mono_gain.aac"}) {
    const AacStream stream(file);
    OnePlayer one;
    ASSERT_EQ(PlayerOpen(one.player, ORBEL_FORMAT_AAC, 28, 0, 1), 0);
    uint8_t* pcm = nullptr;
    int32_t size = 0;
    const auto render = [&](const std::vector<uint8_t>& sample) {
      return PlayerRenderMPEGAudioSampleDec(one.player, sample.data(),
                                            static_cast<int32_t>(sample.size()), 0, 0, &pcm, &size);
    };
    ASSERT_EQ(render(stream.samples[0]), 0);
    const int64_t before = heap::Read().allocations;
    for (const std::vector<uint8_t>& sample : stream.samples) ASSERT_EQ(render(sample), 0);
    EXPECT_EQ(heap::Read().allocations, before) << file;
  }
}

// Memory short at any point costs samples, never more.
TEST(AacPlayer, SurvivesMemoryRunningOut) {
  const AacStream stream("main_22050_mono_pred_32k.aac");
  bool failed = true;
  for (int64_t n = 0; failed; ++n) {
    ASSERT_LT(n, 1000);
    OnePlayer one;
    heap::FailFrom(n);
    const int32_t opened = PlayerOpen(one.player, ORBEL_FORMAT_AAC, 26, 0, 1);
    uint8_t* pcm = nullptr;
    int32_t size = 0;
    const std::vector<uint8_t>& first = stream.samples[0];
    if (opened == 0)
      PlayerRenderMPEGAudioSampleDec(one.player, first.data(), static_cast<int32_t>(first.size()),
                                     0, 0, &pcm, &size);
    failed = heap::HasFailed();
    heap::FailFrom(-1);
    if (opened == 0) {
      EXPECT_EQ(one.Render(stream.samples[1]).size(), 1024u);
    }
  }
}

TEST(AacPlayer, ThreadsShareNothingThatChanges) {
  const AacStream music("lc_44100_st_128k_music.aac");
  const AacStream chords("ltp_44100_st_96k.aac");
  const auto play = [](const AacStream& stream) {
    for (int round = 0; round < 3; ++round) {
      OnePlayer one;
      EXPECT_EQ(PlayerOpen(one.player, ORBEL_FORMAT_AAC, 28, 0, 1), 0);
      size_t at = 0;
      for (const std::vector<uint8_t>& sample : stream.samples)
        for (const int16_t left : one.Render(sample)) {
          EXPECT_EQ(left, stream.want.samples[at]);
          at += 2;
        }
    }
  };
  std::thread first([&] { play(music); });
  std::thread second([&] { play(chords); });
  first.join();
  second.join();
}

}  // namespace
}  // namespace orbel
