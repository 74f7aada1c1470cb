#include "als/als_block.h"

#include <algorithm>
#include <bit>

#include "als/als_entropy.h"
#include "als/als_prediction.h"

namespace orbel {
namespace {

constexpr int32_t kReservedBits = 5;
constexpr int32_t kFirstOnScales = 3;

// Walks the tree of halves. Node 1 is the frame, the halves of node i are 2i and
// 2i + 1; bit i behind the first one of the word says that node i is split.
struct Splitter {
  uint32_t word;  // at the top
  int32_t bits;
  int32_t frameLength;
  int32_t left;  // samples not laid out yet
  AlsDivision* division;

  void Walk(int32_t node, int32_t level) {
    if (node < bits && (word << node) >> 31 != 0) {
      Walk(2 * node, level + 1);
      Walk(2 * node + 1, level + 1);
      return;
    }
    const int32_t length = std::min(frameLength >> level, left);
    if (length == 0) return;
    division->lengths[division->count++] = length;
    left -= length;
  }
};

}  // namespace

bool AlsReadDivision(const AlsConfig& config, int32_t samples, AlsBits* bits,
                     AlsDivision* division) {
  division->independent = false;
  division->count = 0;
  Splitter splitter = {0, 0, config.frameLength, samples, division};
  if (config.blockSwitching != 0) {
    splitter.bits = 4 << config.blockSwitching;
    splitter.word = bits->Get(splitter.bits) << ((32 - splitter.bits) & 31);
    division->independent = splitter.word >> 31 != 0;
  }
  splitter.Walk(1, 0);
  return splitter.left == 0;
}

void AlsReadBlockKind(const AlsConfig& config, AlsBits* bits, AlsBlock* block) {
  block->coded = bits->Flag();
  block->value = 0;
  if (block->coded) {
    block->difference = bits->Flag();
    return;
  }
  const bool constant = bits->Flag();
  block->difference = bits->Flag();
  bits->Get(kReservedBits);
  if (!constant) return;
  block->value = config.resolution == 0 ? static_cast<int32_t>(bits->Get(8)) - 128
                                        : bits->Signed(AlsWidth(config));
}

bool AlsReadBlock(const AlsConfig& config, AlsBits* bits, AlsBlock* block, int32_t* samples) {
  if (!block->coded) return !bits->IsPast();
  AlsCode code;
  if (!AlsReadCode(config, block->length, bits, &code)) return false;
  block->shift = bits->Flag() ? static_cast<int32_t>(bits->Get(4)) + 1 : 0;
  block->order = config.maxOrder;
  if (config.adaptOrder != 0) {
    const int32_t orders = std::max(2, std::min(block->length >> 3, config.maxOrder + 1));
    block->order =
        static_cast<int32_t>(bits->Get(std::bit_width(static_cast<uint32_t>(orders - 1))));
    if (block->order > config.maxOrder) return false;
  }
  if (!AlsReadCoefficients(config.coefTable, block->order, bits, block->quantised)) return false;
  block->longTerm = false;
  if (config.longTerm != 0 && !AlsReadLongTerm(config, bits, block)) return false;
  if (bits->IsPast()) return false;
  const int32_t first = block->randomAccess ? std::min(block->order, kFirstOnScales) : 0;
  return AlsReadResidual(config, code, first, block->length, bits, samples);
}

void AlsFinishBlock(AlsState* state, const AlsBlock& block, int32_t* samples) {
  if (block.coded) {
    AlsPredict(state, block, samples);
  } else {
    std::fill(samples, samples + block.length, block.value);
  }
}

}  // namespace orbel
