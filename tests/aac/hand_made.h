// What tests with hand-made AAC streams share: a decoder, random channels, and
// the comparison with the reference model.
#pragma once

#include <cstdint>
#include <random>
#include <vector>

#include "aac/aac_decoder.h"
#include "aac/aac_writer.h"
#include "aac/reference_model.h"

namespace orbel::aac_test {

using Bytes = std::vector<uint8_t>;
using Pcm = std::vector<int16_t>;
using Random = std::mt19937;

int Draw(Random& random, int low, int high);

class Decoder {
 public:
  // With a configuration for raw units; without one, streams show their kind.
  explicit Decoder(Bytes config = {});

  // One frame from exactly these bytes, `left` of which were not taken; what was
  // decoded is then in `pcm`.
  UMC::Status Frame(const Bytes& bytes);
  UMC::Status Frame(UMC::MediaData* in);

  UMC::AACDecoder codec;
  UMC::AudioData out;
  Pcm pcm;
  uint64_t left = 0;

 private:
  Bytes config_;
};

// Differences of 16-bit samples; at its end it expects them to be within what
// ISO/IEC 14496-4 asks for, and no sample to be off by more than one step.
class Comparison {
 public:
  // `order` says for each channel of the output where it stands among the signals.
  void Add(const Pcm& pcm, const std::vector<Signal>& signals, const std::vector<size_t>& order);
  ~Comparison();

 private:
  double largest_ = 0;
  double sum_ = 0;
  double energy_ = 0;
  double count_ = 0;
};

// Decodes raw units and compares; without `order` the channels come as they stand in the
// block. A reset must bring the same samples again.
void Check(const Format& format, const std::vector<Block>& blocks,
           const std::vector<size_t>& order = {}, const ProgramConfig* program = nullptr);

struct Shape {
  int sequence = 0;
  int shape = 0;
  int maxSfb = 40;
  std::vector<int> groups = {1};
};
// What may follow what: a stretch of all window kinds.
extern const std::vector<Shape> kShapes;

// Random lines in the given books, each band at about the same level.
Channel RandomChannel(Random& random, const Format& format, const Shape& shape,
                      const std::vector<int>& books = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12},
                      double level = 30000);

Element Single(const Channel& channel, int tag = 0, int id = kSce);
Element Pair(const Channel& left, const Channel& right, int tag = 0);
Element RandomPair(Random& random, const Format& format, const Shape& shape, int tag = 0);

Element Coupling(const Channel& channel, const std::vector<Target>& targets, int domain, int sign,
                 int scale);

}  // namespace orbel::aac_test
