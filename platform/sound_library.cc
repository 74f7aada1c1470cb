#include "platform/sound_library.h"

#include <dlfcn.h>

#include <cstdarg>
#include <mutex>

namespace orbel {
namespace {

// The part of the sound library's interface that is used here. The numbers are
// those of its public headers.
constexpr int kStreamPlayback = 0;
constexpr int kModeNonBlock = 1;
constexpr int kFormatS16Le = 2;
constexpr int kAccessInterleaved = 3;
constexpr unsigned kLatencyMicroseconds = 200000;
constexpr int kMostRecoveries = 8;

using ErrorHandler = void (*)(const char* file, int line, const char* function, int error,
                              const char* format, va_list arguments);

struct Functions {
  int (*open)(void** pcm, const char* name, int stream, int mode);
  int (*close)(void* pcm);
  int (*nonblock)(void* pcm, int nonblock);
  int (*setParams)(void* pcm, int format, int access, unsigned channels, unsigned rate,
                   int softResample, unsigned latency);
  long (*writei)(void* pcm, const void* buffer, unsigned long frames);
  int (*recover)(void* pcm, int error, int silent);
  int (*drop)(void* pcm);
  int (*prepare)(void* pcm);
  // Sets who hears of the library's troubles on the calling thread; gives back
  // who did before.
  ErrorHandler (*setErrorHandler)(ErrorHandler handler);
};

void SayNothing(const char*, int, const char*, int, const char*, va_list) {}

// Keeps the library from printing complaints to standard error during a call,
// and leaves the host's own handlers as they are.
class Quiet {
 public:
  explicit Quiet(const Functions* library) noexcept
      : library_(library), before_(library->setErrorHandler(&SayNothing)) {}
  ~Quiet() { library_->setErrorHandler(before_); }
  Quiet(const Quiet&) = delete;
  Quiet& operator=(const Quiet&) = delete;

 private:
  const Functions* library_;
  ErrorHandler before_;
};

template <class F>
bool Find(void* library, const char* name, F* function) {
  *function = reinterpret_cast<F>(dlsym(library, name));
  return *function != nullptr;
}

bool Load(Functions* f) {
  void* const library = dlopen("libasound.so.2", RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) return false;
  if (Find(library, "snd_pcm_open", &f->open) && Find(library, "snd_pcm_close", &f->close) &&
      Find(library, "snd_pcm_nonblock", &f->nonblock) &&
      Find(library, "snd_pcm_set_params", &f->setParams) &&
      Find(library, "snd_pcm_writei", &f->writei) &&
      Find(library, "snd_pcm_recover", &f->recover) && Find(library, "snd_pcm_drop", &f->drop) &&
      Find(library, "snd_pcm_prepare", &f->prepare) &&
      Find(library, "snd_lib_error_set_local", &f->setErrorHandler))
    return true;
  dlclose(library);
  return false;
}

// Tried again at each open until it succeeds; then kept for the process's life,
// since device plug-ins may leave threads behind that run the library's code.
const Functions* Library() noexcept {
  static constinit std::mutex mutex;
  static constinit Functions functions = {};
  static constinit bool loaded = false;
  const std::lock_guard held(mutex);
  if (!loaded) loaded = Load(&functions);
  return loaded ? &functions : nullptr;
}

}  // namespace

bool SoundDevice::Open() noexcept {
  Close();
  const Functions* const library = Library();
  if (library == nullptr) return false;
  const Quiet quiet(library);
  void* pcm = nullptr;
  if (library->open(&pcm, "default", kStreamPlayback, kModeNonBlock) < 0) return false;
  if (library->nonblock(pcm, 0) < 0) {
    library->close(pcm);
    return false;
  }
  pcm_ = pcm;
  return true;
}

void SoundDevice::Close() noexcept {
  if (pcm_ == nullptr) return;
  const Functions* const library = Library();
  const Quiet quiet(library);
  library->close(pcm_);
  pcm_ = nullptr;
  configured_ = false;
}

bool SoundDevice::Configure(uint32_t channels, uint32_t rate) noexcept {
  if (pcm_ == nullptr) return false;
  const Functions* const library = Library();
  const Quiet quiet(library);
  configured_ = library->setParams(pcm_, kFormatS16Le, kAccessInterleaved, channels, rate, 1,
                                   kLatencyMicroseconds) >= 0;
  frameSamples_ = channels;
  return configured_;
}

int64_t SoundDevice::Write(const int16_t* samples, int64_t frames) noexcept {
  if (!configured_) return 0;
  const Functions* const library = Library();
  const Quiet quiet(library);
  int64_t done = 0;
  for (int recoveries = 0; done < frames && recoveries < kMostRecoveries;) {
    const long written = library->writei(pcm_, samples + done * frameSamples_,
                                         static_cast<unsigned long>(frames - done));
    if (written > 0) {
      done += written;
    } else {
      ++recoveries;
      if (written < 0 && library->recover(pcm_, static_cast<int>(written), 1) < 0) break;
    }
  }
  return done;
}

void SoundDevice::Drop() noexcept {
  if (!configured_) return;
  const Functions* const library = Library();
  const Quiet quiet(library);
  library->drop(pcm_);
  library->prepare(pcm_);
}

}  // namespace orbel
