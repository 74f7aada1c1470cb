// orbel play: coded input to the sound device.
#include <vector>

#include "platform/audio_output.h"
#include "platform/sound_library.h"
#include "tools/coded_input.h"
#include "tools/commands.h"
#include "tools/failure.h"
#include "tools/pcm_stream.h"
#include "tools/player_stream.h"
#include "tools/progress.h"
#include "tools/report.h"
#include "tools/stereo_mix.h"

namespace orbel::tool {
namespace {

// Closing a player or a device drops what has not been played yet, up to 200
// ms: so much silence behind the last sample, and some more, is dropped instead.
constexpr uint64_t kTrailMilliseconds = 300;

// Through a player, as any host plays it.
void PlaySamples(const Options& options, CodedInput* input) {
  const StreamForm& form = input->Form();
  PlayerStream stream(form, PlayerStream::Mode::kPlay);
  if (options.volume) stream.SetVolume(*options.volume);

  bool played = false;
  {
    Progress progress(form);
    for (Unit unit; input->Next(&unit); played = true) {
      stream.Play(unit);
      progress.Add(unit.codedBytes, static_cast<double>(unit.pcmSamples) / form.rate);
    }
  }
  PrintNotes(*input);
  if (!played) return;
  const Unit silence = input->Silence();
  for (uint64_t samples = 0; samples * 1000 < kTrailMilliseconds * form.rate;
       samples += silence.pcmSamples)
    stream.Play(silence);
}

// The device, at the rate of the sound and with its own number of channels up
// to two.
class Speakers {
 public:
  Speakers(const std::string& name, std::optional<int32_t> volume) : name_(name) {
    // Hundredths of a decibel, from a scale that is linear in them.
    if (volume) gain_ = VolumeGain(static_cast<int32_t>(*volume * int64_t{10000} / 65535) - 10000);
  }

  void Play(const PcmBlock& block) {
    if (block.form.rate != form_.rate || block.form.channels != form_.channels) Open(block.form);
    Queue(mix_.Mix(block));
  }

  void Trail() {
    if (form_.channels == 0) return;
    Queue(
        std::vector<int16_t>(kTrailMilliseconds * form_.rate / 1000 * StereoMix::Channels(form_)));
  }

 private:
  void Open(const PcmForm& form) {
    Trail();
    form_ = form;
    if (!device_.Open()) throw FailureIn(name_, "no sound device can be opened");
    if (!device_.Configure(StereoMix::Channels(form), form.rate))
      throw FailureIn(name_, "the sound device can't play " + form.Text());
  }

  void Queue(std::span<const int16_t> pcm) {
    constexpr int32_t kUnchanged = 65536;
    if (gain_ != kUnchanged) {
      scaled_.resize(pcm.size());
      for (size_t i = 0; i < pcm.size(); ++i)
        scaled_[i] = static_cast<int16_t>((int64_t{pcm[i]} * gain_ + 32768) >> 16);
      pcm = scaled_;
    }
    const auto frames = static_cast<int64_t>(pcm.size() / StereoMix::Channels(form_));
    if (device_.Write(pcm.data(), frames) != frames)
      throw FailureIn(name_, "the sound device is gone");
  }

  const std::string& name_;
  SoundDevice device_;
  PcmForm form_;
  StereoMix mix_;
  int32_t gain_ = 65536;
  std::vector<int16_t> scaled_;
};

void PlaySound(const Options& options, PcmStream* stream) {
  Speakers speakers(stream->Input().Form().name, options.volume);
  {
    Progress progress(stream->Input().Form());
    for (PcmBlock block; stream->Next(&block); progress.Add(block.codedBytes, block.Seconds()))
      speakers.Play(block);
  }
  speakers.Trail();
  PrintNotes(stream->Input());
}

}  // namespace

void RunPlay(const Options& options) {
  OpenedInput input = OpenInput(options, 0);
  if (input.samples && input.samples->Form().formatId != 0)
    PlaySamples(options, input.samples.get());
  else
    PlaySound(options, MakePcmStream(std::move(input)).get());
}

}  // namespace orbel::tool
