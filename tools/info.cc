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

constexpr int32_t kBsacObjectType = 22;

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
          {"fill", "fill elements", t.elements[6]}};
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

// Bands and patches as the first element's last header sets them.
JsonLine ReplicationAsJson(const AacFacts& aac) {
  const FrameTools& t = aac.tools;
  return JsonLine()
      .Whole("frames", static_cast<uint64_t>(t.sbrFrames))
      .Whole("headers", static_cast<uint64_t>(t.sbrHeaders))
      .Whole("mode", static_cast<uint64_t>(aac.modes.sbrMode))
      .Whole("coreRate", static_cast<uint64_t>(t.sbrRate) / 2)
      .Whole("rate", static_cast<uint64_t>(t.sbrRate))
      .Whole("startBand", static_cast<uint64_t>(t.sbrStartBand))
      .Whole("stopBand", static_cast<uint64_t>(t.sbrStopBand))
      .Whole("bands", static_cast<uint64_t>(t.sbrBands))
      .Whole("noiseBands", static_cast<uint64_t>(t.sbrNoiseBands))
      .Whole("patches", static_cast<uint64_t>(t.sbrPatches));
}

JsonLine StereoAsJson(const AacFacts& aac) {
  return JsonLine()
      .Whole("frames", static_cast<uint64_t>(aac.tools.psFrames))
      .Whole("level", static_cast<uint64_t>(aac.modes.psLevel));
}

// "35 frames, 22050 to 44100 Hz, mode 18 (complex), from 7924 to 16192 Hz in 10
// bands; noise bands 3, patches 2, headers 4"
std::string ReplicationAsText(const AacFacts& aac) {
  const FrameTools& t = aac.tools;
  const auto hertz = [&](int32_t band) { return std::to_string(int64_t{band} * t.sbrRate / 128); };
  return std::to_string(t.sbrFrames) + " frames, " + std::to_string(t.sbrRate / 2) + " to " +
         std::to_string(t.sbrRate) + " Hz, mode " + std::to_string(aac.modes.sbrMode) +
         (aac.modes.sbrMode == 18 ? " (complex)" : " (real)") + ", from " + hertz(t.sbrStartBand) +
         " to " + hertz(t.sbrStopBand) + " Hz in " + std::to_string(t.sbrBands) +
         " bands; noise bands " + std::to_string(t.sbrNoiseBands) + ", patches " +
         std::to_string(t.sbrPatches) + ", headers " + std::to_string(t.sbrHeaders);
}

// "30 in each frame, all decoded"
std::string LayersAsText(const AacFacts& aac) {
  const std::string least = std::to_string(aac.leastLayers);
  return (aac.leastLayers == aac.mostLayers ? least
                                            : least + " to " + std::to_string(aac.mostLayers)) +
         " in each frame, " +
         (aac.modes.layers < 0 ? "all" : "up to " + std::to_string(aac.modes.layers)) + " decoded";
}

std::string AsJson(const PcmStream& stream, const Facts& facts) {
  const StreamForm& form = stream.Input().Form();
  JsonLine line;
  line.Text("file", form.name)
      .Text("container", form.container)
      .Text("format", form.format)
      .Text("title", stream.Title())
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
  TextRows unused;
  stream.Tell(&line, &unused);
  if (const AacFacts* const aac = stream.Aac()) {
    line.Whole("objectType", static_cast<uint64_t>(aac->objectType))
        .Text("speakers", SpeakerNames(facts.form.mask))
        .Whole("frames", aac->frames)
        .Whole("badFrames", aac->badFrames)
        .Whole("streams", aac->streams)
        .Whole("parts", facts.parts)
        .Nested("windows", AsJson(Windows(aac->tools)))
        .Nested("tools", AsJson(Tools(aac->tools)));
    if (aac->objectType == kBsacObjectType)
      line.Nested("layers", JsonLine()
                                .Whole("least", static_cast<uint64_t>(aac->leastLayers))
                                .Whole("most", static_cast<uint64_t>(aac->mostLayers))
                                .Real("decoded", aac->modes.layers, 0));
    if (aac->tools.sbrFrames > 0) line.Nested("bandReplication", ReplicationAsJson(*aac));
    if (aac->tools.psFrames > 0) line.Nested("parametricStereo", StereoAsJson(*aac));
  } else if (form.sampleBytes > 0) {
    line.Whole("sampleBytes", static_cast<uint64_t>(form.sampleBytes));
  }
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
  std::string text = form.name + "\n  format   " + stream.Title() + ", " + form.container + ", " +
                     facts.form.Text();
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
    if (aac->objectType == kBsacObjectType) text += "  layers   " + LayersAsText(*aac) + "\n";
    if (aac->tools.sbrFrames > 0) text += "  SBR      " + ReplicationAsText(*aac) + "\n";
    if (aac->tools.psFrames > 0)
      text += "  PS       " + std::to_string(aac->tools.psFrames) + " frames, level " +
              std::to_string(aac->modes.psLevel) + "\n";
    if (aac->streams > 1)
      text += "  streams  " + std::to_string(aac->streams) + " one after the other, in " +
              std::to_string(facts.parts) + " forms of sound\n";
  }
  TextRows rows;
  JsonLine unused;
  stream.Tell(&unused, &rows);
  for (const TextRow& row : rows) {
    const std::string label = row.label;
    text += "  " + label + std::string(9 - label.size(), ' ') + row.text + "\n";
  }
  return text + "  level    peak " + Decibels(facts.level.PeakDb()) + ", RMS " +
         Decibels(facts.level.RmsDb()) + "\n";
}

void Tell(const Options& options, size_t index) {
  const auto stream = MakePcmStream(OpenInput(options, index));
  Facts facts;
  PcmForm last;
  {
    Progress progress(stream->Input().Form());
    for (PcmBlock block; stream->Next(&block); progress.Add(block.codedBytes, block.Seconds())) {
      if (facts.parts == 0) facts.form = block.form;
      if (block.form != last) ++facts.parts;
      last = block.form;
      facts.level.Add(block);
      facts.coded += block.codedBytes;
      facts.samples += block.Frames();
      facts.seconds += block.Seconds();
    }
  }
  if (facts.parts == 0) {
    const StreamForm& form = stream->Input().Form();
    facts.form = {form.rate, form.channels, 0, SampleFormat::kS16};
  }
  if (!options.json) PrintNotes(stream->Input());
  Print(options.json ? AsJson(*stream, facts) : AsText(*stream, facts));
}

}  // namespace

void RunInfo(const Options& options) {
  for (size_t i = 0; i < options.inputs.size(); ++i) Tell(options, i);
}

}  // namespace orbel::tool
