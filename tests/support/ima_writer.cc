// ima_writer BLOCK_BYTES < PCM > BLOCKS: codes 16-bit little-endian PCM as
// cameras send IMA ADPCM: blocks of a 4-byte header (predictor, step index, 0)
// and two codes a byte, high nibble first. The predictor runs on from block to
// block and the step index from code to code; the header tells where both stand.
// A last block is as short as its samples allow.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

// IMA recommended practices for enhancing digital audio compatibility, 1992:
// the step size table follows steps of 1.1 from 7 on, and is short enough to list.
constexpr int kSteps[89] = {
    7,     8,     9,     10,    11,    12,    13,    14,    16,    17,    19,   21,    23,
    25,    28,    31,    34,    37,    41,    45,    50,    55,    60,    66,   73,    80,
    88,    97,    107,   118,   130,   143,   157,   173,   190,   209,   230,  253,   279,
    307,   337,   371,   408,   449,   494,   544,   598,   658,   724,   796,  876,   963,
    1060,  1166,  1282,  1411,  1552,  1707,  1878,  2066,  2272,  2499,  2749, 3024,  3327,
    3660,  4026,  4428,  4871,  5358,  5894,  6484,  7132,  7845,  8630,  9493, 10442, 11487,
    12635, 13899, 15289, 16818, 18500, 20350, 22385, 24623, 27086, 29794, 32767};
constexpr int kIndexMoves[8] = {-1, -1, -1, -1, 2, 4, 6, 8};

struct State {
  int predictor = 0;
  int index = 0;
};

int After(const State& state, int code) {
  const int step = kSteps[state.index];
  const int change = (step >> 3) + ((code & 4) != 0 ? step : 0) +
                     ((code & 2) != 0 ? step >> 1 : 0) + ((code & 1) != 0 ? step >> 2 : 0);
  return std::clamp(state.predictor + ((code & 8) != 0 ? -change : change), -32768, 32767);
}

// The code that lands nearest to the sample.
int Encode(State* state, int sample) {
  int best = 0;
  for (int code = 1; code < 16; ++code)
    if (std::abs(After(*state, code) - sample) < std::abs(After(*state, best) - sample))
      best = code;
  state->predictor = After(*state, best);
  state->index = std::clamp(state->index + kIndexMoves[best & 7], 0, 88);
  return best;
}

}  // namespace

int main(int count, char** words) {
  const int blockBytes = count == 2 ? std::atoi(words[1]) : 0;
  if (blockBytes < 5) {
    std::fputs("usage: ima_writer BLOCK_BYTES < PCM > BLOCKS (5 or more)\n", stderr);
    return 2;
  }
  std::vector<int16_t> pcm(static_cast<size_t>(blockBytes - 4) * 2);
  State state;
  for (size_t got = 0; (got = std::fread(pcm.data(), 2, pcm.size(), stdin)) > 0;) {
    const auto predictor = static_cast<unsigned>(state.predictor);
    std::vector<uint8_t> block = {static_cast<uint8_t>(predictor),
                                  static_cast<uint8_t>(predictor >> 8),
                                  static_cast<uint8_t>(state.index), 0};
    for (size_t i = 0; i < got; i += 2) {
      const int high = Encode(&state, pcm[i]);
      const int low = Encode(&state, i + 1 < got ? pcm[i + 1] : state.predictor);
      block.push_back(static_cast<uint8_t>(high << 4 | low));
    }
    std::fwrite(block.data(), 1, block.size(), stdout);
  }
  return std::fflush(stdout) == 0 ? 0 : 1;
}
