// orbel encode: PCM to the codes of telephony.
#include <algorithm>
#include <chrono>
#include <cstdio>

#include "tools/commands.h"
#include "tools/failure.h"
#include "tools/framed_speech.h"
#include "tools/output_file.h"
#include "tools/progress.h"
#include "tools/report.h"
#include "tools/speech_codec.h"
#include "tools/wav.h"

namespace orbel::tool {
namespace {

// By which the encoder with silence coding is late.
constexpr size_t kSilenceDelay = kSpeechFrameSamples / 2;

// A WAV file of 16-bit PCM, 8000 Hz, mono.
class PcmInput final : public StreamInput {
 public:
  explicit PcmInput(std::unique_ptr<InputFile> file) : file_(std::move(file)) {
    form_.name = file_->Name();
    if (!LooksLikeWav(file_.get())) throw FailureAt(form_.name, "not a WAV file", 0);
    const WavHead head = ReadWavHead(file_.get());
    if (head.tag != kWavPcm || head.bits != 16 || head.rate != kTelephonyRate || head.channels != 1)
      throw FailureAt(
          form_.name,
          "WAV file of " +
              (head.tag != kWavPcm
                   ? "format tag " + std::to_string(head.tag)
                   : std::to_string(head.bits) + "-bit PCM, " + std::to_string(head.rate) +
                         " Hz, channels " + std::to_string(head.channels)) +
              "; encode takes 16-bit PCM, 8000 Hz, mono: sox IN.wav -r 8000 -c 1 -b 16 OUT.wav",
          head.formatAt);
    notes_ = head.notes;
    left_ = head.dataLength;
    form_.dataStart = file_->Position();
    form_.codedBytes = left_;
    if (!left_ && file_->Size()) form_.codedBytes = *file_->Size() - form_.dataStart;
    if (form_.codedBytes) form_.pcmSamples = *form_.codedBytes / 2;
  }

  // Up to `count` samples; fewer at the end only.
  std::span<const int16_t> Take(size_t count) {
    const auto bytes = file_->Take(std::min<uint64_t>(2 * count, left_.value_or(2 * count)));
    if (left_) *left_ -= bytes.size();
    samples_.resize(bytes.size() / 2);
    for (size_t i = 0; i < samples_.size(); ++i)
      samples_[i] = static_cast<int16_t>(bytes[2 * i] | bytes[2 * i + 1] << 8);
    if (samples_.size() < count) {
      if (left_.value_or(0) > 0)
        Note("ends " + std::to_string(*left_) + " bytes early", file_->Position());
      if (bytes.size() % 2 != 0) Note("ends within a sample", file_->Position() - 1);
      left_ = 0;
    }
    return samples_;
  }

  uint64_t Position() const { return file_->Position(); }
  bool MayWait() const override { return file_->MayWaitFor(2 * kSpeechFrameSamples); }
  bool IsSameFile(int descriptor) const override { return file_->IsSameFile(descriptor); }

 private:
  std::unique_ptr<InputFile> file_;
  std::optional<uint64_t> left_;
  std::vector<int16_t> samples_;
};

struct Work {
  uint64_t samples = 0;
  uint64_t bytes = 0;  // behind a header
  FrameTypes types;    // with silence coding
};

// Sends frame by frame, with zeros behind the sound until all of it is out.
void EncodeFramed(PcmInput* input, SpeechCodec* codec, OutputFile* output, Progress* progress,
                  Work* work) {
  size_t late = kSilenceDelay;
  for (;;) {
    const uint64_t position = input->Position();
    const auto pcm = input->Take(kSpeechFrameSamples);
    const size_t rest = kSpeechFrameSamples - pcm.size();
    if (pcm.empty() && work->samples == 0) return;
    late -= std::min(late, rest);
    std::vector<int16_t> frame(pcm.begin(), pcm.end());
    frame.resize(kSpeechFrameSamples);
    const auto coded = codec->Encode(frame, position);
    const auto type = static_cast<uint8_t>(coded.frameType);
    const auto size = FramedBytes(type);
    if (!size || *size > coded.bytes.size())
      throw FailureAt(input->Form().name,
                      "the codec gave a frame of type " + std::to_string(coded.frameType),
                      position);
    output->Write({&type, 1});
    output->Write(coded.bytes.first(*size));
    if (input->MayWait()) output->Flush();
    work->types.Count(type);
    work->samples += pcm.size();
    work->bytes += 1 + *size;
    progress->Add(2 * pcm.size(), static_cast<double>(pcm.size()) / kTelephonyRate);
    if (late == 0) return;
  }
}

void EncodePlain(const Format& format, PcmInput* input, SpeechCodec* codec, OutputFile* output,
                 Progress* progress, Work* work) {
  for (;;) {
    const uint64_t position = input->Position();
    const auto pcm = input->Take(kSpeechFrameSamples);
    if (pcm.empty()) return;
    std::vector<int16_t> frame(pcm.begin(), pcm.end());
    // G.726 fills up its last block, which is part of the code; G.711 has none.
    if (format.IsG711()) frame.resize(kSpeechFrameSamples);
    auto coded = codec->Encode(frame, position).bytes;
    if (format.IsG711()) coded = coded.first(pcm.size());
    output->Write(coded);
    if (input->MayWait()) output->Flush();
    work->samples += pcm.size();
    work->bytes += coded.size();
    progress->Add(2 * pcm.size(), static_cast<double>(pcm.size()) / kTelephonyRate);
  }
}

OutputHead HeadFor(const Options& options, const Work& work) {
  const Format& format = *options.format;
  if (options.vad)
    return {[&format, &work](std::optional<uint64_t> bytes) {
      return MakeFramedHead(format, bytes ? std::optional(work.types.All()) : std::nullopt);
    }};
  if (options.output.ends_with(".wav"))
    return WavOutputHead({format.wavTag, kTelephonyRate, 1, 8, 0});
  return {};
}

}  // namespace

void RunEncode(const Options& options) {
  const auto start = std::chrono::steady_clock::now();
  const Format& format = *options.format;
  PcmInput input(std::make_unique<InputFile>(options.inputs[0]));
  const StreamForm& form = input.Form();
  SpeechCodec codec(format, SpeechCodec::Direction::kEncode, options.vad, form.name);
  Work work;
  OutputFile output(options.output, HeadFor(options, work), input,
                    format.IsG711() && !options.vad ? form.pcmSamples : std::nullopt);
  {
    Progress progress(form);
    if (options.vad)
      EncodeFramed(&input, &codec, &output, &progress, &work);
    else
      EncodePlain(format, &input, &codec, &output, &progress, &work);
    output.Finish();
  }
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  PrintNotes(input);
  if (!options.json) return;
  const double seconds = static_cast<double>(work.samples) / kTelephonyRate;
  JsonLine line;
  TextRows unused;
  line.Text("file", form.name)
      .Text("output", options.output)
      .Text("format", format.key)
      .Whole("samples", work.samples)
      .Real("seconds", seconds, 3)
      .Whole("codedBytes", work.bytes)
      .Real("elapsed", elapsed.count(), 6)
      .Real("timesRealTime", seconds / elapsed.count(), 1);
  if (options.vad) TellFrameTypes(work.types, &line, &unused);
  if (options.output == "-")
    std::fputs(line.Done().c_str(), stderr);  // standard output carries the code
  else
    Print(line.Done());
}

}  // namespace orbel::tool
