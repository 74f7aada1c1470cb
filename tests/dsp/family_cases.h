// The primitives of the AAC decoder as cases for the level tests: each runs one
// primitive at one level on input made from a seed and gives back every byte
// that it wrote and its status, guard bytes behind the output included.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace orbel {

struct FamilyCase {
  const char* primitive;  // as in the kernel list
  const char* what;       // tells cases of one primitive apart; may be ""
  // `extreme` asks for the ends of the value range; length is at least 1.
  std::vector<uint8_t> (*run)(int level, uint32_t seed, bool extreme, int32_t length);
};

std::span<const FamilyCase> VlcCases();
std::span<const FamilyCase> TransformCases();
std::span<const FamilyCase> PredictionCases();
std::span<const FamilyCase> ToolCases();
std::span<const FamilyCase> QmfCases();
std::span<const FamilyCase> SbrCases();
std::span<const FamilyCase> PsCases();
std::span<const FamilyCase> AlsCases();
std::span<const FamilyCase> BsacCases();

}  // namespace orbel
