// orbel decode: coded input to PCM.
#include <chrono>
#include <cstdio>

#include "tools/coded_input.h"
#include "tools/commands.h"
#include "tools/pcm_output.h"
#include "tools/player_stream.h"
#include "tools/progress.h"
#include "tools/report.h"

namespace orbel::tool {
namespace {

bool WantsHeader(const Options& options) {
  return !options.raw && !options.output.ends_with(".pcm") && !options.output.ends_with(".raw");
}

std::string Statistics(const Options& options, const StreamForm& form, uint64_t samples,
                       double elapsed) {
  const double seconds = static_cast<double>(samples) / form.rate;
  return JsonLine()
      .Text("file", form.name)
      .Text("output", options.output)
      .Text("format", form.format)
      .Text("title", form.title)
      .Whole("samples", samples)
      .Real("seconds", seconds, 3)
      .Real("elapsed", elapsed, 6)
      .Real("timesRealTime", seconds / elapsed, 1)
      .Done();
}

}  // namespace

void RunDecode(const Options& options) {
  const auto start = std::chrono::steady_clock::now();
  const auto input = OpenCodedInput(options, 0);
  const StreamForm& form = input->Form();
  Progress progress(form);
  PlayerStream stream(form, PlayerStream::Mode::kDecode);

  std::optional<uint64_t> pcmBytes;
  if (form.pcmSamples) pcmBytes = *form.pcmSamples * form.channels * sizeof(int16_t);
  PcmOutput output(options.output, WantsHeader(options), *input, pcmBytes);

  uint64_t samples = 0;
  for (Unit unit; input->Next(&unit);) {
    output.Write(stream.Decode(unit));
    if (input->MayWait()) output.Flush();
    samples += unit.pcmSamples;
    progress.Add(unit);
  }
  output.Finish();
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  PrintNotes(*input);
  if (!options.json) return;
  const std::string text = Statistics(options, form, samples, elapsed.count());
  if (options.output == "-")
    std::fputs(text.c_str(), stderr);  // standard output carries the sound
  else
    Print(text);
}

}  // namespace orbel::tool
