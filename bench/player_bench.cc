// What the player costs over the bare codec, and how many players a core feeds.
// Prints ratios of things measured in this one run.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <vector>

#include "orbel/player.h"
#include "speech/speech_codec.h"

namespace {

using Clock = std::chrono::steady_clock;

// Seconds that one call takes: the median of runs of about 20 ms each.
double Time(const std::function<void()>& call) {
  int64_t count = 1;
  for (;;) {
    const auto start = Clock::now();
    for (int64_t i = 0; i < count; ++i) call();
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    if (seconds > 0.02) break;
    count *= 2;
  }
  std::vector<double> runs;
  for (int run = 0; run < 31; ++run) {
    const auto start = Clock::now();
    for (int64_t i = 0; i < count; ++i) call();
    runs.push_back(std::chrono::duration<double>(Clock::now() - start).count() /
                   static_cast<double>(count));
  }
  std::nth_element(runs.begin(), runs.begin() + 15, runs.end());
  return runs[15];
}

Player* Open(int32_t formatId, int32_t sampleSize) {
  Player* const player = CreatePlayer();
  if (PlayerOpen(player, formatId, 0, sampleSize, 1) != 0) {
    std::fprintf(stderr, "open failed\n");
    std::exit(1);
  }
  return player;
}

void Close(Player* player) {
  PlayerClose(player);
  DisposePlayer(player);
}

void BareAgainstPlayer() {
  using namespace orbel;
  std::vector<uint8_t> coded(160);
  for (size_t i = 0; i < coded.size(); ++i) coded[i] = static_cast<uint8_t>(i * 77);
  SpeechCodecOptions options = {};
  options.direction = 1;
  options.modes.bitRate = 64000;
  SpeechMemBank bank = {};
  kSpeechCodecG711U.GetBankSizes(&options, &bank);
  bank.memory = std::aligned_alloc(32, static_cast<size_t>(bank.size + 31) / 32 * 32);
  void* handle = nullptr;
  kSpeechCodecG711U.Init(&options, &bank, &handle);
  std::vector<int16_t> pcm(160);
  const double bare = Time([&] {
    for (int frame = 0; frame < 2; ++frame) {
      SpeechBitstream bits = {coded.data() + 80 * frame, 80, FrameSpeech, 64000};
      SpeechPcmStream out = {pcm.data() + 80 * frame, 0, 0, 0, 0};
      kSpeechCodecG711U.Decode(handle, &bits, &out);
    }
  });
  std::free(bank.memory);

  Player* const player = Open(ORBEL_FORMAT_MULAW, 160);
  const double whole = Time([&] {
    uint8_t* out = nullptr;
    int32_t size = 0;
    PlayerRenderMPEGAudioSampleDec(player, coded.data(), 160, 0, 0, &out, &size);
  });
  Close(player);
  std::printf("20 ms of G.711, bare Decode calls     %8.1f ns\n", bare * 1e9);
  std::printf("the same through the player           %8.1f ns\n", whole * 1e9);
  std::printf("player / bare                         %8.2f   (goal: at most 2)\n", whole / bare);
}

void OpenAndClose() {
  const double seconds = Time([] { Close(Open(ORBEL_FORMAT_MULAW, 160)); });
  std::printf("open and close a speech player        %8.2f us  = %.0f a second (goal: 10000)\n",
              seconds * 1e6, 1 / seconds);
}

void ManyPlayers() {
  constexpr int kPlayers = 1000;
  struct Kind {
    const char* name;
    int32_t formatId, bytes;
  };
  for (const Kind& kind :
       {Kind{"G.711", ORBEL_FORMAT_MULAW, 160}, Kind{"G.726 at 32", ORBEL_FORMAT_G726_32, 80},
        Kind{"IMA ADPCM", ORBEL_FORMAT_IMA, 84}}) {
    std::vector<Player*> players;
    for (int i = 0; i < kPlayers; ++i) players.push_back(Open(kind.formatId, kind.bytes));
    std::vector<uint8_t> coded(static_cast<size_t>(kind.bytes));
    for (size_t i = 0; i < coded.size(); ++i) coded[i] = static_cast<uint8_t>(i * 77);
    const double round = Time([&] {
      for (Player* player : players) {
        uint8_t* out = nullptr;
        int32_t size = 0;
        PlayerRenderMPEGAudioSampleDec(player, coded.data(), kind.bytes, 0, 0, &out, &size);
      }
    });
    for (Player* player : players) Close(player);
    std::printf("1000 players, %-12s            %8.3f us a 20 ms sample = %.0f players a core\n",
                kind.name, round / kPlayers * 1e6, 0.020 / (round / kPlayers));
  }
}

}  // namespace

int main() {
  CoInitializeEx(nullptr, ORBEL_COINIT_MULTITHREADED);
  BareAgainstPlayer();
  OpenAndClose();
  ManyPlayers();
  CoUninitialize();
  return 0;
}
