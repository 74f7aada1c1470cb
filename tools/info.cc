// orbel info: facts about coded input.
#include <cmath>
#include <cstdio>

#include "tools/coded_input.h"
#include "tools/commands.h"
#include "tools/player_stream.h"
#include "tools/progress.h"
#include "tools/report.h"

namespace orbel::tool {
namespace {

struct Facts {
  uint64_t coded = 0;
  uint64_t samples = 0;
  LevelMeter level;

  double Seconds(const StreamForm& form) const { return static_cast<double>(samples) / form.rate; }
  double BitRate(const StreamForm& form) const {
    return samples == 0 ? 0 : static_cast<double>(coded) * 8 / Seconds(form);
  }
};

std::string AsJson(const CodedInput& input, const Facts& facts) {
  const StreamForm& form = input.Form();
  return JsonLine()
      .Text("file", form.name)
      .Text("container", form.container)
      .Text("format", form.format)
      .Text("title", form.title)
      .Whole("formatId", static_cast<uint64_t>(form.formatId))
      .Whole("rate", form.rate)
      .Whole("channels", form.channels)
      .Whole("dataStart", form.dataStart)
      .Whole("codedBytes", facts.coded)
      .Whole("sampleBytes", static_cast<uint64_t>(form.sampleBytes))
      .Whole("samples", facts.samples)
      .Real("seconds", facts.Seconds(form), 3)
      .Real("bitRate", facts.BitRate(form), 0)
      .Real("peakDbfs", facts.level.PeakDb(), 2)
      .Real("rmsDbfs", facts.level.RmsDb(), 2)
      .Texts("notes", input.Notes())
      .Done();
}

std::string Decibels(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.2f dBFS", value);
  return std::isfinite(value) ? text : "silent";
}

std::string AsText(const CodedInput& input, const Facts& facts) {
  const StreamForm& form = input.Form();
  char lengths[160];
  std::snprintf(lengths, sizeof lengths,
                "  length   %.3f s, %llu samples\n"
                "  coded    %llu bytes from byte %llu, %.0f bit/s, decoded %d bytes at a time\n",
                facts.Seconds(form), static_cast<unsigned long long>(facts.samples),
                static_cast<unsigned long long>(facts.coded),
                static_cast<unsigned long long>(form.dataStart), facts.BitRate(form),
                form.sampleBytes);
  return form.name + "\n  format   " + form.title + ", " + form.container + ", " +
         std::to_string(form.rate) + " Hz, " + std::to_string(form.channels) +
         (form.channels == 1 ? " channel\n" : " channels\n") + lengths + "  level    peak " +
         Decibels(facts.level.PeakDb()) + ", RMS " + Decibels(facts.level.RmsDb()) + "\n";
}

void Tell(const Options& options, size_t index) {
  const auto input = OpenCodedInput(options, index);
  Facts facts;
  {
    Progress progress(input->Form());
    PlayerStream stream(input->Form(), PlayerStream::Mode::kDecode);
    for (Unit unit; input->Next(&unit); progress.Add(unit)) {
      facts.level.Add(stream.Decode(unit));
      facts.coded += unit.codedBytes;
      facts.samples += unit.pcmSamples;
    }
  }
  if (!options.json) PrintNotes(*input);
  Print(options.json ? AsJson(*input, facts) : AsText(*input, facts));
}

}  // namespace

void RunInfo(const Options& options) {
  for (size_t i = 0; i < options.inputs.size(); ++i) Tell(options, i);
}

}  // namespace orbel::tool
