#include "tools/aac_pcm.h"

#include <algorithm>
#include <utility>

#include "tools/failure.h"

namespace orbel::tool {
namespace {

// Samples that a block gathers: calls of the system cost nothing then, and they
// are still in a near cache.
constexpr size_t kBlockSamples = 32768;

}  // namespace

AacPcm::AacPcm(std::unique_ptr<AacInput> input, const Options& options)
    : input_(std::move(input)),
      psLevel_(options.psLevel),
      counts_(options.command == Command::kInfo),
      pcm_(kBlockSamples + AacCodec::kMostSamples) {
  facts_.objectType = input_->Head().objectType;
  facts_.modes.sbrMode = options.sbrMode.value_or(facts_.modes.sbrMode);
  facts_.modes.sbrDownsample = options.sbrDownsample;
  facts_.modes.layers = options.layers.value_or(facts_.modes.layers);
}

bool AacPcm::Next(PcmBlock* block) {
  *block = {};
  size_t filled = waiting_;
  std::copy_n(pcm_.begin() + static_cast<ptrdiff_t>(waitingAt_), waiting_, pcm_.begin());
  uint64_t coded = std::exchange(waitingCoded_, 0);
  block->position = waiting_ > 0 ? waitingPosition_ : input_->Position();
  block->form = form_;
  waiting_ = 0;

  AacFrame frame;
  while (filled < kBlockSamples && !(filled > 0 && input_->MayWait())) {
    const uint64_t before = input_->Position();
    if (done_ || !input_->Next(&frame)) {
      done_ = true;
      break;
    }
    const size_t samples = DecodeFrame(&frame, &pcm_[filled]);
    const uint64_t used = input_->Position() - before;
    if (filled > 0 && samples > 0 && form_ != block->form) {
      waitingAt_ = filled;
      waiting_ = samples;
      waitingCoded_ = used;
      waitingPosition_ = frame.position;
      break;
    }
    block->form = form_;
    filled += samples;
    coded += used;
  }
  if (filled == 0) {
    Finish();
    return false;
  }
  block->pcm = AsBytes(std::span(pcm_).first(filled));
  block->codedBytes = coded;
  return true;
}

void AacPcm::OpenStream(AacFrame* frame) {
  replicates_ = replicates_ || codec_.HasReplication();
  const std::string& name = input_->Form().name;
  AacHead head = input_->Head();
  facts_.modes.psLevel = ParametricLevel(frame);
  cuts_ = facts_.modes.psLevel != 0;
  if (cuts_) {
    cutter_.Open(head, name);
    head.config = ConfigOf(head);
  }
  // Beside parametric stereo the cost of counting is nothing.
  codec_.CountTools(counts_ || cuts_ ? &facts_.tools : nullptr);
  codec_.Open(head, facts_.modes, name);
  ++facts_.streams;
  arranged_ = false;
}

// The codec class leaves parametric stereo off in a stream that it finds by itself,
// and makes two channels of any mono one when it is on.
int32_t AacPcm::ParametricLevel(AacFrame* frame) {
  constexpr int32_t kFull = 411;
  constexpr int32_t kReal = 28;
  const AacHead& head = input_->Head();
  const bool isPossible =
      facts_.modes.sbrMode != kReal && facts_.modes.sbrDownsample.value_or(0) == 0;
  if (!isPossible || psLevel_ == 0 || ChannelsOf(head) != 1) return 0;
  if (psLevel_ || head.hasParametric) return psLevel_.value_or(kFull);
  first_.assign(frame->bytes.begin(), frame->bytes.end());
  frame->bytes = first_;
  return SendsParametricStereo(input_.get(), *frame) ? kFull : 0;
}

AacCodec::Result AacPcm::DecodeUnit(const AacFrame& frame, int16_t* room) {
  const auto cut = cutter_.Next(frame);
  AacCodec::Result result;
  if (!cut.unit.empty()) result = codec_.Decode(cut.unit, room);
  result.taken = cut.taken;
  return result;
}

// Their number stands in the header, behind length, header length and mode.
void AacPcm::CountLayers(std::span<const uint8_t> frame) {
  if (!input_->Head().isBsac || frame.size() < 3) return;
  const int32_t layers = frame[2] >> 2;
  facts_.leastLayers = facts_.frames == 1 ? layers : std::min(facts_.leastLayers, layers);
  facts_.mostLayers = std::max(facts_.mostLayers, layers);
}

// Returns the samples that it has put into `room`: none for damage in front of
// the first good frame, silence for any other.
size_t AacPcm::DecodeFrame(AacFrame* frame, int16_t* room) {
  if (frame->opens) OpenStream(frame);
  AacCodec::Result result;
  if (!frame->bytes.empty())
    result = cuts_ ? DecodeUnit(*frame, room) : codec_.Decode(frame->bytes, room);
  const bool counts = input_->Took(result.taken, result.Good());
  if (!counts) return 0;
  ++facts_.frames;
  CountLayers(frame->bytes);
  if (!result.Good()) return Damaged(*frame, room);
  if (!arranged_ || result.channels != form_.channels) {
    layout_ = LayoutOf(input_->Head(), result.channels);
    arranged_ = true;
  }
  form_ = {result.rate, result.channels, layout_.mask, SampleFormat::kS16};
  frameSamples_ = result.samples;
  if (!layout_.wavOrder.empty()) Arrange(room, result.samples);
  return result.samples;
}

size_t AacPcm::Damaged(const AacFrame& frame, int16_t* room) {
  if (facts_.badFrames++ == 0) firstBad_ = frame.position;
  if (frameSamples_ == 0) ++dropped_;
  std::fill_n(room, frameSamples_, int16_t{0});
  return frameSamples_;
}

void AacPcm::Arrange(int16_t* pcm, size_t samples) const {
  const size_t channels = layout_.wavOrder.size();
  int16_t frame[16];
  for (const int16_t* const end = pcm + samples; pcm != end; pcm += channels) {
    std::copy_n(pcm, channels, frame);
    for (size_t i = 0; i < channels; ++i) pcm[i] = frame[layout_.wavOrder[i]];
  }
}

// Under the name that people know.
std::string AacPcm::Title() const {
  std::string title = PcmStream::Title();
  if (!replicates_) return title;
  const bool isParametric = facts_.tools.psFrames > 0;
  const std::string lc = "AAC LC";
  if (title.ends_with(lc))
    return title.replace(title.size() - lc.size(), lc.size(),
                         isParametric ? "HE-AAC v2" : "HE-AAC");
  return title + (isParametric ? " with SBR and PS" : " with SBR");
}

void AacPcm::Finish() {
  replicates_ = replicates_ || codec_.HasReplication();
  if (facts_.badFrames == 0) return;
  const std::string counts =
      std::to_string(facts_.badFrames) + " of " + std::to_string(facts_.frames) + " frames";
  if (facts_.badFrames == facts_.frames)
    throw FailureAt(input_->Form().name,
                    "none of its " + std::to_string(facts_.frames) + " frames can be decoded",
                    firstBad_);
  std::string text = "damaged: " + counts + ", silent";
  if (dropped_ > 0) text += ", those in front of the first good one left out";
  input_->Note(text + "; the first", firstBad_);
}

}  // namespace orbel::tool
