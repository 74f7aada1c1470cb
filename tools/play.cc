// orbel play: coded input to the sound device.
#include "tools/coded_input.h"
#include "tools/commands.h"
#include "tools/player_stream.h"
#include "tools/progress.h"
#include "tools/report.h"

namespace orbel::tool {
namespace {

// Closing a player drops what the device has not played yet, up to 200 ms: so
// much silence behind the last sample, and some more, is dropped instead.
constexpr uint64_t kTrailMilliseconds = 300;

}  // namespace

void RunPlay(const Options& options) {
  const auto input = OpenCodedInput(options, 0);
  const StreamForm& form = input->Form();
  PlayerStream stream(form, PlayerStream::Mode::kPlay);
  if (options.volume) stream.SetVolume(*options.volume);

  bool played = false;
  {
    Progress progress(form);
    for (Unit unit; input->Next(&unit); played = true) {
      stream.Play(unit);
      progress.Add(unit);
    }
  }
  PrintNotes(*input);
  if (!played) return;
  const Unit silence = input->Silence();
  for (uint64_t samples = 0; samples * 1000 < kTrailMilliseconds * form.rate;
       samples += silence.pcmSamples)
    stream.Play(silence);
}

}  // namespace orbel::tool
