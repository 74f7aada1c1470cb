// als_bench LC.aac [FILE.als...]: what a sample of a lossless stream costs, beside
// one of the AAC LC stream, in turns within one run. Three streams of orders up to
// 32 are coded here from the sound of the LC stream.
#include <algorithm>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "aac/aac_decoder.h"
#include "als/als_writer.h"

namespace {

using Bytes = std::vector<uint8_t>;

constexpr int kRounds = 15;
constexpr double kSeconds = 40;  // of sound in a round: ten minutes in all

struct Sound {
  std::string name = {};
  Bytes bytes = {};
  size_t samples = 0;              // of all channels, in one pass
  std::vector<double> costs = {};  // nanoseconds a sample
};

// Of this program on the processor, in nanoseconds: others on the machine do not
// count.
double Spent() {
  timespec now = {};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

// One pass over the stream; adds the nanoseconds that its frames took to *spent.
// Returns the samples of all channels.
size_t Pass(Bytes* bytes, Bytes* room, double* spent, std::vector<int32_t>* pcm = nullptr) {
  UMC::AACDecoderParams params;
  params.sbrMode = 18;
  params.sbrDownsample = 1;
  params.sbrSupportLevel = 777;
  UMC::AACDecoder decoder;
  decoder.Init(&params);
  UMC::MediaData in;
  in.SetBufferPointer(bytes->data(), bytes->size());
  in.SetDataSize(bytes->size());
  size_t samples = 0;
  const double start = Spent();
  for (uint64_t before = 0; in.GetDataSize() != before;) {
    UMC::AudioData out;
    out.SetBufferPointer(room->data(), room->size());
    before = in.GetDataSize();
    if (decoder.GetFrame(&in, &out) != UMC::UMC_OK) continue;
    samples += out.GetDataSize() * 8 / static_cast<size_t>(out.bitsPerSample);
    const auto* values = reinterpret_cast<const int16_t*>(out.GetDataPointer());
    if (pcm != nullptr) pcm->insert(pcm->end(), values, values + out.GetDataSize() / 2);
  }
  *spent += Spent() - start;
  return samples;
}

Sound Open(const char* path) {
  std::ifstream file(path, std::ios::binary);
  Sound sound{path, Bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()}};
  sound.name.erase(0, sound.name.rfind('/') + 1);
  return sound;
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 2) return 2;
  Bytes room(size_t{1} << 20);
  std::vector<Sound> sounds;
  for (int i = 1; i < count; ++i) sounds.push_back(Open(arguments[i]));
  std::vector<int32_t> pcm;
  double spent = 0;
  Pass(&sounds[0].bytes, &room, &spent, &pcm);
  for (const uint32_t order : {10U, 20U, 32U}) {
    orbel::als_test::Format format;
    format.channels = 2;
    format.jointStereo = true;
    format.maxOrder = order;
    format.frameLength = 2048;
    format.sbPart = true;
    format.tuned = true;
    const Bytes bytes = orbel::als_test::Encode(format, pcm, 1).Whole();
    char name[64];
    std::snprintf(name, sizeof name, "order %u, %.2f of the size", order,
                  static_cast<double>(bytes.size()) / static_cast<double>(pcm.size() * 2));
    sounds.push_back({name, bytes});
  }
  for (Sound& sound : sounds) {
    sound.samples = Pass(&sound.bytes, &room, &spent);
    if (sound.samples == 0) {
      std::fprintf(stderr, "%s: nothing decoded\n", sound.name.c_str());
      return 1;
    }
  }
  for (int round = 0; round < kRounds; ++round)
    for (Sound& sound : sounds) {
      size_t samples = 0;
      spent = 0;
      while (static_cast<double>(samples) < kSeconds * 2 * 44100)
        samples += Pass(&sound.bytes, &room, &spent);
      sound.costs.push_back(spent / static_cast<double>(samples));
    }
  double first = 0;
  for (Sound& sound : sounds) {
    std::nth_element(sound.costs.begin(), sound.costs.begin() + kRounds / 2, sound.costs.end());
    const double cost = sound.costs[kRounds / 2];
    if (first == 0) first = cost;
    std::printf("%-32s %8.2f ns a sample, %.2f times the first\n", sound.name.c_str(), cost,
                cost / first);
  }
  return 0;
}
