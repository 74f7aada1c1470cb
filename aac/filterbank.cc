#include "aac/filterbank.h"

#include "aac/channel_stream.h"
#include "aac/windows.h"
#include "dsp/primitives.h"

namespace orbel {
namespace {

constexpr int32_t kSpecAlignment = 16;
constexpr int32_t kWorkAlignment = 32;

constexpr int32_t kShortFirst = 448;  // where the first short window begins
constexpr int32_t kShortSpan = kShortFirst + 9 * kShortLength - kFrameLength;

// Behind the transforms' work: the eight short windows' sum, or the windowed input
// of a forward transform.
constexpr int32_t kScratchBytes = 2 * kFrameLength * static_cast<int32_t>(sizeof(float));

int32_t RoundUp(int32_t size, int32_t alignment) {
  return (size + alignment - 1) / alignment * alignment;
}

// Sizes of the four transforms' records, 0 for those that `kinds` lacks, and the offset
// of the scratch area behind the transforms' work area.
struct Sizes {
  int32_t inverse[2] = {};
  int32_t forward[2] = {};
  int32_t scratchOffset = 0;
};

struct Lengths {
  int32_t samples[2];
};

Lengths LengthsOf(int32_t objectType) {
  return objectType == kObjectSsr ? Lengths{{512, 64}} : Lengths{{2048, 256}};
}

Sizes SizesOf(int32_t kinds, int32_t objectType) {
  Sizes sizes;
  int32_t init = 0;
  int32_t work = 0;
  const auto add = [&](int32_t& specSize) {
    specSize = RoundUp(specSize, kSpecAlignment);
    if (work > sizes.scratchOffset) sizes.scratchOffset = RoundUp(work, kWorkAlignment);
  };
  const Lengths lengths = LengthsOf(objectType);
  for (int i = 0; i < 2; ++i) {
    if (kinds & kTransformInverse) {
      dspImdctGetSize_32f(lengths.samples[i], &sizes.inverse[i], &init, &work);
      add(sizes.inverse[i]);
    }
    if (kinds & kTransformForward) {
      dspMdctFwdGetSize_32f(lengths.samples[i], &sizes.forward[i], &init, &work);
      add(sizes.forward[i]);
    }
  }
  return sizes;
}

float* Scratch(const FilterbankSpec& spec) {
  return reinterpret_cast<float*>(spec.work + spec.scratchOffset);
}

void ShortWindows(const FilterbankSpec& spec, const float* spectrum, const float* overlap,
                  int32_t shape, int32_t prevShape, float* output, float* overlapOut) {
  const FilterbankWindows& windows = Windows();
  // Each window finishes 128 samples of the sum and leaves its second half behind
  // them, where the next window's first half is added. The first one is added to
  // what was kept.
  float* sum = Scratch(spec);
  dspCopy_32f(overlap + kShortFirst, sum, kShortLength);
  for (int w = 0; w < kMaxWindows; ++w) {
    float* at = sum + kShortLength * w;
    dspImdctWindowOverlap_32f(
        spectrum + kShortLength * w, windows.shortRising[w == 0 ? prevShape : shape],
        windows.shortFalling[shape], at, at, at + kShortLength, spec.inverseShort, spec.work);
  }
  constexpr int32_t kFirstEnd = kShortFirst + kShortLength;
  dspCopy_32f(overlap, output, kShortFirst);
  dspCopy_32f(sum, output + kShortFirst, kShortLength);
  dspAdd_32f(sum + kShortLength, overlap + kFirstEnd, output + kFirstEnd, kFrameLength - kFirstEnd);
  dspCopy_32f(sum + kFrameLength - kShortFirst, overlapOut, kShortSpan);
  dspZero_32f(overlapOut + kShortSpan, kFrameLength - kShortSpan);
}

}  // namespace

int32_t FilterbankInit(FilterbankSpec* spec, uint8_t* memory, int32_t kinds, int32_t objectType,
                       int32_t* size) {
  const Sizes sizes = SizesOf(kinds, objectType);
  if (memory == nullptr) {
    if (size == nullptr) return -1;
    *size = sizes.inverse[0] + sizes.inverse[1] + sizes.forward[0] + sizes.forward[1] +
            sizes.scratchOffset + kScratchBytes + kWorkAlignment;
    return 0;
  }
  if (spec == nullptr) return -1;
  *spec = {};
  const auto misalignment = static_cast<int32_t>(reinterpret_cast<uintptr_t>(memory) %
                                                 static_cast<uintptr_t>(kWorkAlignment));
  spec->work = memory + (kWorkAlignment - misalignment) % kWorkAlignment;
  spec->scratchOffset = sizes.scratchOffset;
  uint8_t* next = spec->work + sizes.scratchOffset + kScratchBytes;
  const Lengths lengths = LengthsOf(objectType);
  const DspImdctSpec** inverse[2] = {&spec->inverseLong, &spec->inverseShort};
  const DspMdctFwdSpec** forward[2] = {&spec->forwardLong, &spec->forwardShort};
  for (int i = 0; i < 2; ++i) {
    if (kinds & kTransformInverse) {
      DspImdctSpec* made = nullptr;
      dspImdctInit_32f(&made, lengths.samples[i], next, spec->work);
      *inverse[i] = made;
      next += sizes.inverse[i];
    }
    if (kinds & kTransformForward) {
      DspMdctFwdSpec* made = nullptr;
      dspMdctFwdInit_32f(&made, lengths.samples[i], next, spec->work);
      *forward[i] = made;
      next += sizes.forward[i];
    }
  }
  return 0;
}

void Filterbank(const FilterbankSpec& spec, const float* spectrum, const float* overlap,
                int32_t window_sequence, int32_t windowShape, int32_t prevWindowShape,
                float* output, float* overlapOut) {
  int32_t silent = 0;
  dspIsZero_32f(spectrum, kFrameLength, &silent);
  if (silent) {
    dspCopy_32f(overlap, output, kFrameLength);
    dspZero_32f(overlapOut, kFrameLength);
    return;
  }
  const int32_t shape = windowShape & 1;
  const int32_t prevShape = prevWindowShape & 1;
  if (window_sequence == kEightShort) {
    ShortWindows(spec, spectrum, overlap, shape, prevShape, output, overlapOut);
    return;
  }
  const FilterbankWindows& windows = Windows();
  const float* rising =
      window_sequence == kLongStop ? windows.stopRising[prevShape] : windows.longRising[prevShape];
  const float* falling =
      window_sequence == kLongStart ? windows.startFalling[shape] : windows.longFalling[shape];
  dspImdctWindowOverlap_32f(spectrum, rising, falling, overlap, output, overlapOut,
                            spec.inverseLong, spec.work);
}

void LtpForwardFilterbank(const FilterbankSpec& spec, const float* samples, int32_t window_sequence,
                          int32_t windowShape, int32_t prevWindowShape, float* lines) {
  const FilterbankWindows& windows = Windows();
  const int32_t shape = windowShape & 1;
  const int32_t prevShape = prevWindowShape & 1;
  float* windowed = Scratch(spec);
  if (window_sequence == kEightShort) {
    dspMul_32f(samples, windows.shortRising[prevShape], windowed, kShortLength);
    dspMul_32f(samples + kShortLength, windows.shortFalling[shape], windowed + kShortLength,
               kShortLength);
    dspMdctFwd_32f(windowed, lines, spec.forwardShort, spec.work);
    return;
  }
  dspMul_32f(
      samples,
      window_sequence == kLongStop ? windows.stopRising[prevShape] : windows.longRising[prevShape],
      windowed, kFrameLength);
  dspMul_32f(
      samples + kFrameLength,
      window_sequence == kLongStart ? windows.startFalling[shape] : windows.longFalling[shape],
      windowed + kFrameLength, kFrameLength);
  dspMdctFwd_32f(windowed, lines, spec.forwardLong, spec.work);
}

}  // namespace orbel
