#include "tools/failure.h"

#include <csignal>
#include <cstring>

namespace orbel::tool {
namespace {

volatile std::sig_atomic_t heldSignal = 0;

void HoldSignal(int signal) { heldSignal = signal; }

}  // namespace

Failure FailureIn(const std::string& name, const std::string& what) {
  return Failure(name + ": " + what);
}

Failure FailureAt(const std::string& name, const std::string& what, uint64_t position) {
  return Failure(name + ": " + what + " (byte " + std::to_string(position) + ")");
}

Failure SystemFailure(const std::string& name, int errorCode) {
  return FailureIn(name, std::strerror(errorCode));
}

void HoldSignals() {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction now = {};
    sigaction(signal, nullptr, &now);
    if (now.sa_handler == SIG_IGN) continue;  // nohup and the like
    struct sigaction action = {};
    action.sa_handler = HoldSignal;  // no SA_RESTART: a waiting read or write ends
    sigaction(signal, &action, nullptr);
  }
}

void ThrowIfInterrupted() {
  if (heldSignal != 0) throw Interrupted{heldSignal};
}

}  // namespace orbel::tool
