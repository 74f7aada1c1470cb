// orbel decode: coded input to PCM.
#include <chrono>
#include <cstdio>
#include <memory>

#include "tools/commands.h"
#include "tools/failure.h"
#include "tools/output_file.h"
#include "tools/pcm_stream.h"
#include "tools/progress.h"
#include "tools/report.h"
#include "tools/wav.h"

namespace orbel::tool {
namespace {

// The outputs of one command: a stream whose form changes goes on in a file of
// the same name with a number.
class Outputs {
 public:
  Outputs(const Options& options, const StreamInput& input) : options_(options), input_(input) {}

  void Open(const PcmForm& form, std::optional<uint64_t> pcmBytes) {
    form_ = form;
    if (WantsHeader() && form.FrameBytes() > 0xFFFF)
      throw FailureIn(input_.Form().name, std::to_string(form.channels) +
                                              " channels, more than a WAV file holds; use --raw");
    names_.push_back(NumberedName());
    output_ = std::make_unique<OutputFile>(
        names_.back(), WantsHeader() ? WavOutputHead(WavFormOf(form)) : OutputHead(), input_,
        pcmBytes);
  }

  void Write(const PcmBlock& block) {
    if (!output_)
      Open(block.form, std::nullopt);
    else if (block.form != form_)
      Change(block);
    output_->Write(block.pcm);
    if (input_.MayWait()) output_->Flush();
  }

  void Finish() {
    if (!output_) throw FailureIn(input_.Form().name, "holds no frame");
    output_->Finish();
    output_.reset();
  }

  const std::vector<std::string>& Names() const { return names_; }

 private:
  bool WantsHeader() const {
    const std::string& name = options_.output;
    return !options_.raw && !name.ends_with(".pcm") && !name.ends_with(".raw");
  }

  // "a.wav", "a-2.wav", "a-3.wav"
  std::string NumberedName() const {
    const std::string& name = options_.output;
    if (names_.empty()) return name;
    const size_t slash = name.rfind('/');
    size_t dot = name.rfind('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) dot = name.size();
    return name.substr(0, dot) + "-" + std::to_string(names_.size() + 1) + name.substr(dot);
  }

  void Change(const PcmBlock& block) {
    form_ = block.form;
    if (output_->IsDevice()) return;
    const bool isFile = output_->IsFile();
    output_->Finish();
    if (!isFile)
      throw FailureAt(input_.Form().name,
                      "changes to " + block.form.Text() +
                          ", which can't follow in a pipe; with -o FILE each part gets a file",
                      block.position);
    Open(block.form, std::nullopt);
    std::fprintf(stderr, "orbel: %s: note: changes to %s, goes on in %s (byte %llu)\n",
                 input_.Form().name.c_str(), block.form.Text().c_str(), names_.back().c_str(),
                 static_cast<unsigned long long>(block.position));
  }

  const Options& options_;
  const StreamInput& input_;
  PcmForm form_;
  std::vector<std::string> names_;
  std::unique_ptr<OutputFile> output_;
};

}  // namespace

void RunDecode(const Options& options) {
  const auto start = std::chrono::steady_clock::now();
  const auto stream = MakePcmStream(OpenInput(options, 0));
  const StreamInput& input = stream->Input();
  const StreamForm& form = input.Form();
  uint64_t samples = 0;
  double seconds = 0;
  Outputs outputs(options, input);
  {
    Progress progress(form);
    if (const auto fixed = stream->FixedForm(); fixed && !options.null) {
      std::optional<uint64_t> pcmBytes;
      if (form.pcmSamples) pcmBytes = *form.pcmSamples * fixed->FrameBytes();
      outputs.Open(*fixed, pcmBytes);
    }
    for (PcmBlock block; stream->Next(&block);) {
      if (!options.null) outputs.Write(block);
      samples += block.Frames();
      seconds += block.Seconds();
      progress.Add(block.codedBytes, block.Seconds());
    }
    if (!options.null) outputs.Finish();
  }
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  PrintNotes(input);
  if (!options.json) return;
  const std::string text = JsonLine()
                               .Text("file", form.name)
                               .Text("output", options.output)
                               .Texts("outputs", outputs.Names())
                               .Text("format", form.format)
                               .Text("title", stream->Title())
                               .Whole("samples", samples)
                               .Real("seconds", seconds, 3)
                               .Real("elapsed", elapsed.count(), 6)
                               .Real("timesRealTime", seconds / elapsed.count(), 1)
                               .Done();
  if (options.output == "-")
    std::fputs(text.c_str(), stderr);  // standard output carries the sound
  else
    Print(text);
}

}  // namespace orbel::tool
