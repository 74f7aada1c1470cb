#include "sbr/ps_parameters.h"

#include <cstring>

namespace orbel {
namespace {

// A band of one resolution as the weighted mean of up to four bands of the other.
struct Mean {
  uint8_t first;
  uint8_t count;  // of bands from `first` on
  uint8_t weight[4];
};

constexpr Mean kTo20[20] = {
    {0, 2, {2, 1}},  {1, 2, {1, 2}},  {3, 2, {2, 1}},  {4, 2, {1, 2}},        {6, 2, {1, 1}},
    {8, 2, {1, 1}},  {10, 1, {1}},    {11, 1, {1}},    {12, 2, {1, 1}},       {14, 2, {1, 1}},
    {16, 1, {1}},    {17, 1, {1}},    {18, 1, {1}},    {19, 1, {1}},          {20, 2, {1, 1}},
    {22, 2, {1, 1}}, {24, 2, {1, 1}}, {26, 2, {1, 1}}, {28, 4, {1, 1, 1, 1}}, {32, 2, {1, 1}},
};

constexpr Mean kTo34[34] = {
    {0, 1, {1}},  {0, 2, {1, 1}}, {1, 1, {1}},  {2, 1, {1}},  {2, 2, {1, 1}}, {3, 1, {1}},
    {4, 1, {1}},  {4, 1, {1}},    {5, 1, {1}},  {5, 1, {1}},  {6, 1, {1}},    {7, 1, {1}},
    {8, 1, {1}},  {8, 1, {1}},    {9, 1, {1}},  {9, 1, {1}},  {10, 1, {1}},   {11, 1, {1}},
    {12, 1, {1}}, {13, 1, {1}},   {14, 1, {1}}, {14, 1, {1}}, {15, 1, {1}},   {15, 1, {1}},
    {16, 1, {1}}, {16, 1, {1}},   {17, 1, {1}}, {17, 1, {1}}, {18, 1, {1}},   {18, 1, {1}},
    {18, 1, {1}}, {18, 1, {1}},   {19, 1, {1}}, {19, 1, {1}},
};

template <typename Sum, typename Value>
void TakeMeans(const Value* from, const Mean* means, int32_t count, Value* to) {
  for (int32_t b = 0; b < count; ++b) {
    const Mean& mean = means[b];
    auto weights = static_cast<Sum>(mean.weight[0]);
    Sum sum = static_cast<Sum>(from[mean.first]) * weights;
    for (int32_t i = 1; i < mean.count; ++i) {
      sum += static_cast<Sum>(from[mean.first + i]) * static_cast<Sum>(mean.weight[i]);
      weights += static_cast<Sum>(mean.weight[i]);
    }
    to[b] = static_cast<Value>(sum / weights);
  }
}

}  // namespace

int32_t PsBandCount(int32_t mode) {
  constexpr int32_t kCounts[6] = {10, 20, 34, 10, 20, 34};
  return kCounts[mode];
}

int32_t PsPhaseCount(int32_t iidCount) { return iidCount == 10 ? 5 : iidCount == 20 ? 11 : 17; }

void PsMapIndices(const PsIndices& indices, int32_t from, int32_t to, PsIndices* mapped) {
  PsIndices now = indices;
  if (from == to) {
    *mapped = now;
    return;
  }
  PsIndices middle = {};  // at 20 bands
  if (from == 10) {
    for (int32_t b = 0; b < 20; ++b) middle.of[b] = now.of[b / 2];
  } else if (from == 34) {
    TakeMeans<int32_t>(now.of, kTo20, 20, middle.of);
  } else {
    middle = now;
  }
  now = {};
  if (to == 10) {
    for (int32_t b = 0; b < 10; ++b)
      now.of[b] = static_cast<int8_t>((middle.of[2 * b] + middle.of[2 * b + 1]) / 2);
  } else if (to == 34) {
    TakeMeans<int32_t>(middle.of, kTo34, 34, now.of);
  } else {
    now = middle;
  }
  *mapped = now;
}

void PsMapParameters(const PsParameters& parameters, int32_t iidCount, int32_t iccCount,
                     PsParameters* mapped) {
  const int32_t from = parameters.iidCount;
  PsMapIndices(parameters.icc, parameters.iccCount, iccCount, &mapped->icc);
  PsMapIndices(parameters.iid, from, iidCount, &mapped->iid);
  PsMapIndices(parameters.ipd, from, iidCount, &mapped->ipd);
  PsMapIndices(parameters.opd, from, iidCount, &mapped->opd);
  mapped->iidCount = iidCount;
  mapped->iccCount = iccCount;
  mapped->phaseCount = PsPhaseCount(iidCount);
}

void PsMapMatrix(const float* values, int32_t from, int32_t to, float* mapped) {
  if (from == to) {
    std::memmove(mapped, values, static_cast<size_t>(to) * sizeof *mapped);
    return;
  }
  float held[kPsBands];
  std::memcpy(held, values, static_cast<size_t>(from) * sizeof *held);
  TakeMeans<float>(held, to == kPsBands ? kTo34 : kTo20, to, mapped);
}

}  // namespace orbel
