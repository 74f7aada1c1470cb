// The eight exports from inside: the record's fields, codes, volume, what they
// take from the heap, and many players on many threads.
#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

#include "platform/object_system.h"
#include "player/player_record.h"
#include "support/heap_meter.h"

namespace orbel {
namespace {

const std::vector<uint8_t> kSilence(8192, 0xFF);

class PlayerTest : public testing::Test {
 protected:
  void SetUp() override {
    CoInitializeEx(nullptr, 0);
    player = CreatePlayer();
  }
  void TearDown() override {
    PlayerClose(player);
    DisposePlayer(player);
    CoUninitialize();
  }
  int32_t Dec(int32_t size) {
    out = nullptr;
    outSize = -1;
    return PlayerRenderMPEGAudioSampleDec(player, kSilence.data(), size, 0, 0, &out, &outSize);
  }
  void ExpectClosed() {
    EXPECT_EQ(player->captureBuilder, nullptr);
    EXPECT_EQ(player->graph, nullptr);
    EXPECT_EQ(player->sourceFilter, nullptr);
    EXPECT_EQ(player->decoderFilter, nullptr);
    EXPECT_EQ(player->rendererFilter, nullptr);
    EXPECT_EQ(player->mediaControl, nullptr);
    EXPECT_EQ(player->basicAudio, nullptr);
    EXPECT_EQ(player->audioFilter, nullptr);
    EXPECT_EQ(player->callbackRenderer, nullptr);
  }
  Player* player = nullptr;
  uint8_t* out = nullptr;
  int32_t outSize = -1;
};

TEST_F(PlayerTest, StartsZeroedAndOpensRunning) {
  ExpectClosed();
  EXPECT_EQ(player->running, 0);
  EXPECT_EQ(player->fixedSampleSize, 0);
  EXPECT_EQ(player->decodedData, nullptr);
  EXPECT_EQ(player->decodedSize, 0);
  ASSERT_EQ(PlayerOpen(player, 495, 0, 160, 1), 0);
  EXPECT_EQ(player->running, 1);
  EXPECT_EQ(player->fixedSampleSize, 160);
  EXPECT_EQ(static_cast<IBaseFilter*>(player->audioFilter), player->sourceFilter);
  EXPECT_EQ(static_cast<IBaseFilter*>(player->callbackRenderer), player->rendererFilter);
  for (const char* name : {"AudioSourceFilter", "AudioDecoderFilter", "AudioRendererFilter"}) {
    Reference<IBaseFilter> filter;
    EXPECT_EQ(player->graph->FindFilterByName(name, filter.Receive()), S_OK) << name;
  }
  PlayerReset(player);
  EXPECT_EQ(player->running, 0);
  EXPECT_NE(player->audioFilter, nullptr);
  EXPECT_EQ(Dec(160), 0);
  EXPECT_EQ(player->running, 1);
  PlayerClose(player);
  ExpectClosed();
  EXPECT_EQ(player->running, 0);
  PlayerClose(player);
  ExpectClosed();
}

TEST_F(PlayerTest, SizesAreJudgedInOrder) {
  struct Case {
    int32_t formatId, sampleSize, size, code;
    bool pcm;
  };
  const Case cases[] = {
      {495, 320, 320, 0, true},       {495, 320, 321, -3, false}, {495, 320, 0, -3, false},
      {495, 320, -1, -3, false},      {495, 0, 100, -1, false},   {495, 0, 9000, -3, false},
      {495, 0, 0, 0, false},          {495, 0, 8191, -1, false},  {10005, 164, 164, 0, true},
      {10005, 3, 3, 0, false},        {751, 80, 80, 0, true},     {1007, 60, 60, 0, true},
      {496, 320, INT_MIN, -3, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.formatId << " " << c.sampleSize << " " << c.size);
    ASSERT_EQ(PlayerOpen(player, c.formatId, 0, c.sampleSize, 1), 0);
    player->decodedData = &out[0];
    player->decodedSize = 77;
    PlayerReset(player);
    const std::vector<uint8_t> bytes(9000);
    uint8_t* place = nullptr;
    int32_t size = -7;
    EXPECT_EQ(PlayerRenderMPEGAudioSampleDec(player, bytes.data(), c.size, 0, 0, &place, &size),
              c.code);
    EXPECT_EQ(place != nullptr, c.pcm);
    if (!c.pcm) {
      EXPECT_EQ(size, -7);
      EXPECT_EQ(player->decodedSize, 0);  // cleared before all else
    }
    EXPECT_EQ(player->running, 1);  // and restarted, whatever the sample
    PlayerClose(player);
  }
}

TEST_F(PlayerTest, OddArguments) {
  EXPECT_EQ(PlayerOpen(nullptr, 495, 0, 160, 1), -1);
  PlayerClose(nullptr);
  PlayerReset(nullptr);
  DisposePlayer(nullptr);
  EXPECT_EQ(PlayerSetVolume(nullptr, 0), 10000);
  EXPECT_EQ(PlayerRenderMPEGAudioSample(nullptr, kSilence.data(), 1, 0), -2);
  EXPECT_EQ(PlayerRenderMPEGAudioSampleDec(nullptr, nullptr, 1, 0, 0, nullptr, nullptr), -2);

  PlayerReset(player);
  EXPECT_EQ(Dec(-1), -2);
  EXPECT_EQ(PlayerSetVolume(player, 0), 10000);
  ASSERT_EQ(PlayerOpen(player, 495, 0, 160, 1), 0);
  EXPECT_EQ(PlayerRenderMPEGAudioSample(player, nullptr, 160, 0), -1);
  EXPECT_EQ(PlayerRenderMPEGAudioSample(player, nullptr, 160, 4), -1);
  EXPECT_EQ(PlayerRenderMPEGAudioSampleDec(player, kSilence.data(), 160, 0, 0, nullptr, nullptr),
            0);
  // The offset is signed.
  std::vector<uint8_t> bytes(320, 0x80);
  for (const int32_t offset : {160, 0, -160}) {
    const uint8_t* const base = bytes.data() + (offset < 0 ? 320 : 0);
    EXPECT_EQ(PlayerRenderMPEGAudioSampleDec(player, base, 160, offset, 0, &out, &outSize), 0);
    ASSERT_EQ(outSize, 320);
    int16_t sample = 0;
    std::memcpy(&sample, out + 318, 2);
    EXPECT_EQ(sample, 32124);
  }
  // In callback mode nothing has a volume.
  EXPECT_EQ(PlayerSetVolume(player, 65535), E_NOTIMPL);
}

TEST_F(PlayerTest, OpenFailsWithTheStepsCode) {
  std::thread([] {
    Player* const other = CreatePlayer();
    EXPECT_EQ(PlayerOpen(other, 495, 0, 160, 1), -1);  // this thread is not initialised
    EXPECT_EQ(other->fixedSampleSize, 160);
    DisposePlayer(other);
  }).join();
  struct Case {
    int32_t formatId, sampleSize, code;
  };
  for (const Case& c :
       {Case{7, 160, -5}, Case{0, 0, -5}, Case{-1, 160, -5}, Case{65536 + 495, 160, -5},
        Case{495, INT_MAX, -5}, Case{495, (1 << 26) + 1, -5}, Case{495, -160, -5}}) {
    EXPECT_EQ(PlayerOpen(player, c.formatId, 0, c.sampleSize, 1), c.code) << c.formatId;
    ExpectClosed();
    EXPECT_EQ(player->fixedSampleSize, c.sampleSize);
    EXPECT_EQ(Dec(160), -2);
  }
  EXPECT_EQ(PlayerOpen(player, 495, 0, 160, 1), 0);
  EXPECT_EQ(Dec(160), 0);
}

TEST_F(PlayerTest, NoDeviceNoPlayback) {
  setenv("ALSA_CONFIG_PATH", "/dev/null", 1);
  EXPECT_EQ(PlayerOpen(player, 495, 0, 160, 0), -3);
  ExpectClosed();
  EXPECT_EQ(PlayerOpen(player, 495, 0, 160, 1), 0);
  EXPECT_EQ(Dec(160), 0);
  unsetenv("ALSA_CONFIG_PATH");
}

TEST_F(PlayerTest, TakesNothingFromTheHeapWhenItRuns) {
  const heap::Meter before = heap::Read();
  for (const int32_t formatId : {495, 496, 751, 1007, 10005}) {
    ASSERT_EQ(PlayerOpen(player, formatId, 0, 240, 1), 0);
    EXPECT_EQ(Dec(240), 0);
    const heap::Meter open = heap::Read();
    EXPECT_LT(open.live - before.live, 64 * 1024);
    for (int i = 0; i < 500; ++i) {
      EXPECT_EQ(Dec(240), 0);
      if (i % 100 == 50) PlayerReset(player);
    }
    EXPECT_EQ(heap::Read().allocations, open.allocations) << formatId;
    PlayerClose(player);
    EXPECT_EQ(heap::Read().live, before.live);
  }
}

TEST_F(PlayerTest, RunsOutOfMemoryCleanly) {
  const heap::Meter before = heap::Read();
  int failures = 0;
  for (int n = 0;; ++n) {
    ASSERT_LT(n, 100);
    heap::FailFrom(n);
    const int32_t code = PlayerOpen(player, 495, 0, 160, 1);
    const int32_t rendered = code == 0 ? Dec(160) : 0;
    heap::FailFrom(-1);
    EXPECT_TRUE(code == 0 || code == -1 || code == -2 || code == -3 || code == -5) << code;
    EXPECT_EQ(rendered, 0);
    if (code == 0) {
      // What failed late is made up for by a later sample.
      EXPECT_EQ(Dec(160), 0);
      EXPECT_NE(out, nullptr);
    } else {
      ExpectClosed();
    }
    PlayerClose(player);
    EXPECT_EQ(heap::Read().live, before.live) << n;
    if (!heap::HasFailed()) break;
    ++failures;
  }
  EXPECT_GT(failures, 8);
  heap::FailFrom(0);
  Player* const none = CreatePlayer();
  heap::FailFrom(-1);
  EXPECT_EQ(none, nullptr);
}

TEST_F(PlayerTest, VolumeIsMappedInWrappingArithmetic) {
  struct FakeAudio final : IBasicAudio {
    HRESULT QueryInterface(const GUID&, void**) noexcept override { return E_NOINTERFACE; }
    uint32_t AddRef() noexcept override { return 1; }
    uint32_t Release() noexcept override { return 1; }
    HRESULT put_Volume(int32_t l) noexcept override { return level = l, HRESULT{42}; }
    HRESULT get_Volume(int32_t*) noexcept override { return E_NOTIMPL; }
    int32_t level = 0;
  } audio;
  player->basicAudio = &audio;
  struct Case {
    int32_t volume, level;
  };
  for (const Case& c :
       {Case{0, -10000}, Case{32768, -5000}, Case{65535, 0}, Case{1, -10000}, Case{7, -9999},
        Case{65536, 0}, Case{100000, 0}, Case{-65535, -20000}, Case{-1, -10000}, Case{214748, 0},
        Case{214749, -42768}, Case{INT_MIN, -10000}}) {
    EXPECT_EQ(PlayerSetVolume(player, c.volume), 42);
    EXPECT_EQ(audio.level, c.level) << c.volume;
  }
  player->basicAudio = nullptr;
}

// Opening twice leaves the first graph alive and out of reach; the new one does
// not run until the player is reset.
TEST_F(PlayerTest, OpenTwiceLeaksTheFirstGraph) {
  ASSERT_EQ(PlayerOpen(player, 495, 0, 160, 1), 0);
  const Player first = *player;
  ASSERT_EQ(PlayerOpen(player, 496, 0, 160, 1), 0);
  EXPECT_NE(player->graph, first.graph);
  EXPECT_EQ(Dec(160), -1);  // the new graph is not running
  EXPECT_EQ(out, nullptr);
  PlayerReset(player);
  EXPECT_EQ(Dec(160), 0);
  EXPECT_NE(out, nullptr);
  // Tidy up what the library by contract does not.
  Player stale = first;
  PlayerClose(&stale);
}

TEST_F(PlayerTest, ManyPlayersOnManyThreads) {
  std::vector<std::thread> threads;
  std::atomic<int> wrong{0};
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&, t] {
      CoInitializeEx(nullptr, 0);
      const int32_t formats[] = {495, 496, 751, 1007, 10005};
      std::vector<Player*> players;
      for (int i = 0; i < 20; ++i) {
        players.push_back(CreatePlayer());
        if (PlayerOpen(players.back(), formats[(i + t) % 5], 0, 240, 1) != 0) ++wrong;
      }
      for (int round = 0; round < 20; ++round)
        for (Player* each : players) {
          uint8_t* pcm = nullptr;
          int32_t size = 0;
          if (PlayerRenderMPEGAudioSampleDec(each, kSilence.data(), 240, round, 0, &pcm, &size) !=
                  0 ||
              pcm == nullptr || size < 480)
            ++wrong;
          if (round % 7 == 3) PlayerReset(each);
        }
      for (Player* each : players) {
        PlayerClose(each);
        DisposePlayer(each);
      }
      CoUninitialize();
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace orbel
