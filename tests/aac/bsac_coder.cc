// bsac_coder FILE.aac > FILE.bsac, bsac_coder FILE.au SAMPLING_INDEX > FILE.bsac: the frames
// of AAC LC, one or two channels, as ER BSAC frames with the same lines, factors and tools.
// Tells their configuration. The input is ADTS, or raw units behind their lengths.
#include <cstdio>
#include <cstdlib>

#include "aac/bsac_writer.h"
#include "aac/frame_decoder.h"
#include "aac/record_decoder.h"
#include "aac/stream_reader.h"

int main(int count, char** words) {
  using namespace orbel::aac_test;
  const std::vector<uint8_t> input = count > 1 ? ReadBytes(words[1]) : std::vector<uint8_t>();
  if (input.size() < 7 || count > 3) {
    std::fputs(
        "usage: bsac_coder FILE.aac > FILE.bsac\n"
        "       bsac_coder FILE.au SAMPLING_INDEX > FILE.bsac\n",
        stderr);
    return 2;
  }
  const int index = count == 3 ? std::atoi(words[2]) : input[2] >> 2 & 15;
  RecordDecoder decoder(orbel::kObjectLc, index, 0);
  size_t frames = 0;
  for (const std::vector<uint8_t>& block : count == 3 ? CutUnits(input) : CutAdts(input)) {
    BsacFrame frame;
    frame.samplingIndex = index;
    std::vector<uint8_t> bytes;
    if (decoder.Frame(block) == orbel::kFrameGood) {
      frame.element = decoder.Last();
      if (CodeBsac(&frame)) bytes = WriteBsac(&frame);
    }
    if (bytes.empty()) {
      std::fprintf(stderr, "frame %zu cannot be carried\n", frames);
      return 1;
    }
    ++frames;
    std::fwrite(bytes.data(), 1, bytes.size(), stdout);
  }
  for (const uint8_t byte : WriteBsacConfig(index, decoder.state->numChannels))
    std::fprintf(stderr, "%02x", byte);
  std::fputs("\n", stderr);
  return std::fflush(stdout) == 0 ? 0 : 1;
}
