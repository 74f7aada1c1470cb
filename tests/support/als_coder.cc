// als_coder RATE CHANNELS < PCM > ALS: codes 16-bit little-endian PCM as a lossless
// stream, with the writer of the tests: prediction of order 24, joint stereo, Rice
// codes, a random-access frame every half second.
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "als/als_writer.h"

int main(int count, char** words) {
  const long rate = count == 3 ? std::atol(words[1]) : 0;
  const long channels = count == 3 ? std::atol(words[2]) : 0;
  if (rate < 8000 || channels < 1) {
    std::fputs("usage: als_coder RATE CHANNELS < PCM > ALS\n", stderr);
    return 2;
  }
  std::vector<int32_t> pcm;
  for (int low = 0, high = 0; (low = std::getchar()) >= 0 && (high = std::getchar()) >= 0;)
    pcm.push_back(static_cast<int16_t>(low | high << 8));
  orbel::als_test::Format format;
  format.rate = static_cast<uint32_t>(rate);
  format.channels = static_cast<uint32_t>(channels);
  format.samples = static_cast<uint32_t>(pcm.size()) / format.channels;
  format.frameLength = 4096;
  format.randomAccess = format.rate / 2 / format.frameLength + 1;
  format.maxOrder = 24;
  format.sbPart = true;
  format.jointStereo = channels > 1;
  format.tuned = true;
  const orbel::als_test::Bytes whole = orbel::als_test::Encode(format, pcm, 1).Whole();
  return std::fwrite(whole.data(), 1, whole.size(), stdout) == whole.size() ? 0 : 1;
}
