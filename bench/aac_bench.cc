// aac_bench FILE.aac... [FILE.bsac]: what opening costs, and for each ADTS file with one
// raw data block a frame how many such streams a core plays through players. A file of ER
// BSAC frames, 44.1 kHz stereo, is held against the last ADTS file.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "aac/aac_decoder.h"
#include "orbel/player.h"

namespace {

using Clock = std::chrono::steady_clock;
using Bytes = std::vector<uint8_t>;

double Since(Clock::time_point start) {
  return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

double Median(std::vector<double> values) {
  std::nth_element(values.begin(), values.begin() + static_cast<ptrdiff_t>(values.size() / 2),
                   values.end());
  return values[values.size() / 2];
}

struct Stream {
  std::vector<Bytes> samples;  // as the player takes them
  Bytes config;
  double seconds = 0;
};

Stream Cut(const char* path) {
  std::ifstream file(path, std::ios::binary);
  const Bytes bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  constexpr double kRates[16] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                 22050, 16000, 12000, 11025, 8000,  7350};
  Stream stream;
  for (size_t at = 0; at + 9 <= bytes.size();) {
    const uint8_t* const head = &bytes[at];
    const size_t length = (head[3] & 3U) << 11 | static_cast<size_t>(head[4]) << 3 | head[5] >> 5;
    const size_t headBytes = (head[1] & 1) != 0 ? 7 : 9;
    if (length < headBytes || at + length > bytes.size()) break;
    const uint32_t index = head[2] >> 2 & 15U;
    const uint32_t fields =
        ((head[2] >> 6U) + 1) << 11 | index << 7 | ((head[2] & 1U) << 2 | head[3] >> 6U) << 3;
    stream.config = {static_cast<uint8_t>(fields >> 8), static_cast<uint8_t>(fields)};
    Bytes sample = {2, stream.config[0], stream.config[1]};
    sample.insert(sample.end(), head + headBytes, head + length);
    stream.samples.push_back(sample);
    stream.seconds += 1024 / kRates[index];
    at += length;
  }
  if (stream.samples.empty()) {
    std::fprintf(stderr, "%s: no ADTS frames\n", path);
    std::exit(1);
  }
  return stream;
}

void Render(Player* player, const Bytes& sample) {
  uint8_t* pcm = nullptr;
  int32_t size = 0;
  PlayerRenderMPEGAudioSampleDec(player, sample.data(), static_cast<int32_t>(sample.size()), 0, 0,
                                 &pcm, &size);
}

void Opening(const Stream& stream) {
  std::vector<double> inits, opens;
  double first = 0;
  for (int run = 0; run < 301; ++run) {
    Bytes config = stream.config;
    UMC::MediaData data;
    data.SetBufferPointer(config.data(), config.size());
    data.SetDataSize(config.size());
    UMC::AACDecoderParams params;
    params.data = &data;
    params.inputStreamType = UMC::kStreamUnits;
    params.sbrMode = 18;
    params.sbrDownsample = 1;
    params.sbrSupportLevel = 777;
    auto start = Clock::now();
    UMC::AACDecoder decoder;
    if (decoder.Init(&params) != UMC::UMC_OK) std::exit(1);
    if (run == 0) first = Since(start);
    inits.push_back(Since(start));
    start = Clock::now();
    Player* const player = CreatePlayer();
    if (PlayerOpen(player, ORBEL_FORMAT_AAC, 28, 0, 1) != 0) std::exit(1);
    Render(player, stream.samples[0]);
    opens.push_back(Since(start));
    PlayerClose(player);
    DisposePlayer(player);
  }
  std::printf("Init                                  %8.1f us, the first one %.1f (goal: 200)\n",
              Median(inits), first);
  std::printf("PlayerOpen and the first sample       %8.1f us (goal: 500)\n", Median(opens));
}

// Many players in turn, as a recorder has them: each one's state is cold.
void Streams(const char* path, const Stream& stream) {
  constexpr size_t kPlayers = 100;
  std::vector<Player*> players;
  for (size_t i = 0; i < kPlayers; ++i) {
    players.push_back(CreatePlayer());
    PlayerOpen(players[i], ORBEL_FORMAT_AAC, 28, 0, 1);
    Render(players[i], stream.samples[0]);
  }
  std::vector<double> rounds;
  for (int run = 0; run < 15; ++run) {
    const auto start = Clock::now();
    for (const Bytes& sample : stream.samples)
      for (Player* player : players) Render(player, sample);
    rounds.push_back(Since(start));
  }
  for (Player* player : players) {
    PlayerClose(player);
    DisposePlayer(player);
  }
  const double microseconds =
      Median(rounds) / static_cast<double>(kPlayers * stream.samples.size());
  const double frame = stream.seconds * 1e6 / static_cast<double>(stream.samples.size());
  std::printf("%s\n  100 players in turn                 %8.2f us a frame = %.0f streams a core\n",
              path, microseconds, frame / microseconds);
}

struct Codec {
  Codec(Bytes configuration, std::vector<Bytes> accessUnits)
      : config(std::move(configuration)), units(std::move(accessUnits)), pcm(16384) {
    UMC::MediaData data;
    data.SetBufferPointer(config.data(), config.size());
    data.SetDataSize(config.size());
    UMC::AACDecoderParams params;
    params.data = &data;
    params.inputStreamType = UMC::kStreamUnits;
    params.sbrDownsample = 2;
    params.layer = -1;
    if (decoder.Init(&params) != UMC::UMC_OK) std::exit(1);
  }

  // Microseconds of the processor's time a frame.
  double Round() {
    constexpr int kTimes = 20;
    const std::clock_t start = std::clock();
    for (int time = 0; time < kTimes; ++time)
      for (Bytes& unit : units) {
        UMC::MediaData in;
        in.SetBufferPointer(unit.data(), unit.size());
        in.SetDataSize(unit.size());
        UMC::AudioData out;
        out.SetBufferPointer(pcm.data(), pcm.size());
        if (decoder.GetFrame(&in, &out) != UMC::UMC_OK) std::exit(1);
      }
    return static_cast<double>(std::clock() - start) * 1e6 / CLOCKS_PER_SEC /
           static_cast<double>(kTimes * units.size());
  }

  Bytes config;
  std::vector<Bytes> units;
  Bytes pcm;
  UMC::AACDecoder decoder;
};

// One decoder each, in turn.
void Bsac(const char* path, const Stream& lc) {
  std::ifstream file(path, std::ios::binary);
  const Bytes bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  std::vector<Bytes> frames, blocks;
  for (size_t at = 0; at + 1 < bytes.size();) {
    const auto length = static_cast<size_t>(bytes[at] << 3 | bytes[at + 1] >> 5);
    if (length < 2 || at + length > bytes.size()) break;
    const auto begin = bytes.begin() + static_cast<ptrdiff_t>(at);
    frames.emplace_back(begin, begin + static_cast<ptrdiff_t>(length));
    at += length;
  }
  for (const Bytes& sample : lc.samples) blocks.emplace_back(sample.begin() + 3, sample.end());
  const auto bsac = std::make_unique<Codec>(Bytes{0xB2, 0x11, 0x08, 0, 0}, frames);
  const auto plain = std::make_unique<Codec>(lc.config, blocks);
  std::vector<double> bsacRounds, plainRounds;
  for (int run = 0; run < 31; ++run) {
    bsacRounds.push_back(bsac->Round());
    plainRounds.push_back(plain->Round());
  }
  const double ours = Median(bsacRounds);
  const double theirs = Median(plainRounds);
  std::printf("%s\n  ER BSAC %.2f us a frame, LC %.2f us: %.2f times (goal: at most 4)\n", path,
              ours, theirs, ours / theirs);
}

}  // namespace

int main(int count, char** arguments) {
  CoInitializeEx(nullptr, ORBEL_COINIT_MULTITHREADED);
  Stream stream;
  for (int i = 1; i < count; ++i) {
    if (std::string(arguments[i]).ends_with(".bsac")) {
      Bsac(arguments[i], stream);
      continue;
    }
    stream = Cut(arguments[i]);
    if (i == 1) Opening(stream);
    Streams(arguments[i], stream);
  }
  CoUninitialize();
  return 0;
}
