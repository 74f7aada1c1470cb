// orbel info: facts about coded input.
#include <cmath>
#include <cstdio>

#include "tools/aac_input.h"
#include "tools/aac_layout.h"
#include "tools/aac_pcm.h"
#include "tools/commands.h"
#include "tools/pcm_stream.h"
#include "tools/progress.h"
#include "tools/report.h"

namespace orbel::tool {
namespace {

struct Facts {
  uint64_t coded = 0;
  uint64_t samples = 0;
  double seconds = 0;
  PcmForm form;      // of the first sound
  size_t parts = 0;  // one more than changes of form
  LevelMeter level;

  double BitRate() const { return seconds > 0 ? static_cast<double>(coded) * 8 / seconds : 0; }
};

struct ToolRow {
  const char* key;
  const char* title;
  int64_t count;
};

std::vector<ToolRow> Windows(const FrameTools& t) {
  return {{"long", "long", t.windowSequence[0]},
          {"start", "start", t.windowSequence[1]},
          {"short", "eight short", t.windowSequence[2]},
          {"stop", "stop", t.windowSequence[3]},
          {"sine", "sine", t.windowShape[0]},
          {"kbd", "KBD", t.windowShape[1]}};
}

std::vector<ToolRow> Tools(const FrameTools& t) {
  return {{"tns", "TNS", t.tns},
          {"pns", "PNS bands", t.noiseBands},
          {"midSide", "M/S bands", t.midSideBands},
          {"intensity", "intensity bands", t.intensityBands},
          {"prediction", "prediction", t.mainPrediction},
          {"ltp", "LTP", t.longTermPrediction},
          {"pulse", "pulses", t.pulse},
          {"gainControl", "gain control", t.gainControl},
          {"coupling", "coupling elements", t.elements[2]},
          {"lowFrequency", "low frequency elements", t.elements[3]},
          {"dataStream", "data stream elements", t.elements[4]},
          {"programConfig", "program config elements", t.elements[5]},
          {"fill", "fill elements", t.elements[6]},
          {"bandReplication", "band replication frames", t.sbrFrames}};
}

JsonLine AsJson(const std::vector<ToolRow>& rows) {
  JsonLine line;
  for (const ToolRow& row : rows) line.Whole(row.key, static_cast<uint64_t>(row.count));
  return line;
}

// Only what is there: "TNS 6, pulses 5".
std::string AsText(const std::vector<ToolRow>& rows) {
  std::string text;
  for (const ToolRow& row : rows)
    if (row.count > 0)
      text += (text.empty() ? "" : ", ") + std::string(row.title) + " " + std::to_string(row.count);
  return text.empty() ? "none" : text;
}

std::string AsJson(const PcmStream& stream, const Facts& facts) {
  const StreamForm& form = stream.Input().Form();
  JsonLine line;
  line.Text("file", form.name)
      .Text("container", form.container)
      .Text("format", form.format)
      .Text("title", form.title)
      .Whole("formatId", static_cast<uint64_t>(form.formatId))
      .Whole("rate", facts.form.rate)
      .Whole("channels", facts.form.channels)
      .Whole("dataStart", form.dataStart)
      .Whole("codedBytes", facts.coded)
      .Whole("samples", facts.samples)
      .Real("seconds", facts.seconds, 3)
      .Real("bitRate", facts.BitRate(), 0)
      .Real("peakDbfs", facts.level.PeakDb(), 2)
      .Real("rmsDbfs", facts.level.RmsDb(), 2);
  if (const AacFacts* const aac = stream.Aac())
    line.Whole("objectType", static_cast<uint64_t>(aac->objectType))
        .Text("speakers", SpeakerNames(facts.form.mask))
        .Whole("frames", aac->frames)
        .Whole("badFrames", aac->badFrames)
        .Whole("streams", aac->streams)
        .Whole("parts", facts.parts)
        .Nested("windows", AsJson(Windows(aac->tools)))
        .Nested("tools", AsJson(Tools(aac->tools)));
  else
    line.Whole("sampleBytes", static_cast<uint64_t>(form.sampleBytes));
  return line.Texts("notes", stream.Input().Notes()).Done();
}

std::string Decibels(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.2f dBFS", value);
  return std::isfinite(value) ? text : "silent";
}

std::string AsText(const PcmStream& stream, const Facts& facts) {
  const StreamForm& form = stream.Input().Form();
  const AacFacts* const aac = stream.Aac();
  std::string text =
      form.name + "\n  format   " + form.title + ", " + form.container + ", " + facts.form.Text();
  if (facts.form.mask != 0) text += " (" + SpeakerNames(facts.form.mask) + ")";
  char lengths[160];
  std::snprintf(lengths, sizeof lengths,
                "\n  length   %.3f s, %llu samples\n"
                "  coded    %llu bytes from byte %llu, %.0f bit/s",
                facts.seconds, static_cast<unsigned long long>(facts.samples),
                static_cast<unsigned long long>(facts.coded),
                static_cast<unsigned long long>(form.dataStart), facts.BitRate());
  text += lengths;
  if (form.sampleBytes > 0)
    text += ", decoded " + std::to_string(form.sampleBytes) + " bytes at a time";
  text += "\n";
  if (aac != nullptr) {
    text += "  frames   " + std::to_string(aac->frames) + ", damaged " +
            std::to_string(aac->badFrames) + "\n  windows  " + AsText(Windows(aac->tools)) +
            "\n  tools    " + AsText(Tools(aac->tools)) + "\n";
    if (aac->streams > 1)
      text += "  streams  " + std::to_string(aac->streams) + " one after the other, in " +
              std::to_string(facts.parts) + " forms of sound\n";
  }
  return text + "  level    peak " + Decibels(facts.level.PeakDb()) + ", RMS " +
         Decibels(facts.level.RmsDb()) + "\n";
}

void Tell(const Options& options, size_t index) {
  const auto stream = OpenPcmStream(options, index);
  Facts facts;
  PcmForm last;
  {
    Progress progress(stream->Input().Form());
    for (PcmBlock block; stream->Next(&block); progress.Add(block.codedBytes, block.Seconds())) {
      if (facts.parts == 0) facts.form = block.form;
      if (block.form != last) ++facts.parts;
      last = block.form;
      facts.level.Add(block.pcm);
      facts.coded += block.codedBytes;
      facts.samples += block.Frames();
      facts.seconds += block.Seconds();
    }
  }
  if (facts.parts == 0) {
    const StreamForm& form = stream->Input().Form();
    facts.form = {form.rate, form.channels, 0};
  }
  if (!options.json) PrintNotes(stream->Input());
  Print(options.json ? AsJson(*stream, facts) : AsText(*stream, facts));
}

}  // namespace

void RunInfo(const Options& options) {
  for (size_t i = 0; i < options.inputs.size(); ++i) Tell(options, i);
}

}  // namespace orbel::tool
