#include "sbr/sbr_grid.h"

#include <algorithm>

namespace orbel {
namespace {

constexpr int32_t kFrameEnd = kQmfSlots / 2;
constexpr int32_t kLastBorder = 19;
constexpr int32_t kPointerBits[kSbrEnvelopes + 1] = {0, 1, 2, 2, 3, 3};

int32_t Read(BitReader* reader, int32_t count) {
  return static_cast<int32_t>(FastGetBits(reader, count));
}

// One side's borders: steps from the outer border inwards.
struct Side {
  int32_t border;
  int32_t count;
  int32_t steps[kSbrEnvelopes];
};

void ReadSteps(BitReader* reader, Side* side) {
  for (int32_t i = 0; i < side->count; ++i) side->steps[i] = 2 * Read(reader, 2) + 2;
}

void SetBorders(const Side& left, const Side& right, SbrGrid* grid) {
  std::fill_n(grid->t_E, kSbrEnvelopes + 1, 0);
  int32_t border = left.border;
  grid->t_E[0] = border;
  for (int32_t i = 0; i < left.count; ++i) grid->t_E[i + 1] = border += left.steps[i];
  border = right.border;
  grid->t_E[grid->L_E] = border;
  for (int32_t i = 0; i < right.count; ++i) grid->t_E[grid->L_E - 1 - i] = border -= right.steps[i];
}

int32_t MiddleIndex(int32_t frameClass, int32_t pointer, int32_t L_E) {
  if (frameClass == kFixFix) return L_E / 2;
  if (pointer == 1) return L_E - 1;
  if (frameClass == kVarFix) return pointer == 0 ? 1 : pointer - 1;
  return pointer == 0 ? L_E - 1 : L_E - pointer + 1;
}

void SetNoiseBorders(int32_t frameClass, int32_t pointer, SbrGrid* grid) {
  grid->L_Q = grid->L_E < 2 ? 1 : 2;
  grid->t_Q[0] = grid->t_E[0];
  grid->t_Q[grid->L_Q] = grid->t_E[grid->L_E];
  if (grid->L_Q == 1) return;
  // The pointer can name an envelope that there is none of.
  const int32_t middle = MiddleIndex(frameClass, pointer, grid->L_E);
  grid->t_Q[1] = grid->t_E[std::clamp(middle, 0, kSbrEnvelopes)];
}

}  // namespace

int32_t SbrGridParse(BitReader* reader, int32_t* bs_frame_class, int32_t* bs_pointer, SbrGrid* grid,
                     int32_t* status) {
  const uint32_t start = GetBitPosition(*reader);
  *status = kSbrBadStream;
  const int32_t frameClass = Read(reader, 2);
  *bs_frame_class = frameClass;
  Side left = {};
  Side right = {};
  right.border = kFrameEnd;
  if (frameClass == kFixFix) {
    grid->L_E = 1 << Read(reader, 2);
    if (grid->L_E > kSbrEnvelopes) return kSbrBadStream;
    left.count = grid->L_E - 1;
    std::fill_n(left.steps, left.count, kFrameEnd / grid->L_E);
    std::fill_n(grid->freqRes, grid->L_E, Read(reader, 1));
  } else {
    if (frameClass != kFixVar) left.border = Read(reader, 2);
    if (frameClass != kVarFix) right.border += Read(reader, 2);
    if (frameClass != kFixVar) left.count = Read(reader, 2);
    if (frameClass != kVarFix) right.count = Read(reader, 2);
    ReadSteps(reader, &left);
    ReadSteps(reader, &right);
    grid->L_E = left.count + right.count + 1;
    if (grid->L_E > kSbrEnvelopes) return kSbrBadStream;
    *bs_pointer = Read(reader, kPointerBits[grid->L_E]);
    for (int32_t i = 0; i < grid->L_E; ++i)  // the last envelope's first in class 1
      grid->freqRes[frameClass == kFixVar ? grid->L_E - 1 - i : i] = Read(reader, 1);
  }
  SetBorders(left, right, grid);
  if (*std::max_element(grid->t_E, grid->t_E + kSbrEnvelopes + 1) > kLastBorder)
    return kSbrBadStream;
  SetNoiseBorders(frameClass, *bs_pointer, grid);
  *status = 0;
  return static_cast<int32_t>(GetBitPosition(*reader) - start);
}

int32_t SbrDtdfParse(BitReader* reader, int32_t* bs_df_env, int32_t* bs_df_noise, int32_t L_E,
                     int32_t L_Q) {
  for (int32_t i = 0; i < L_E; ++i) bs_df_env[i] = Read(reader, 1);
  for (int32_t i = 0; i < L_Q; ++i) bs_df_noise[i] = Read(reader, 1);
  return L_E + L_Q;
}

int32_t SbrInvfParse(int32_t channel, BitReader* reader, SbrElement* element) {
  for (int32_t i = 0; i < element->N_Q; ++i) element->bs_invf_mode[channel][i] = Read(reader, 2);
  return 2 * element->N_Q;
}

}  // namespace orbel
