#include "tools/failure.h"

#include <cstring>

namespace orbel::tool {
Failure FailureIn(const std::string& name, const std::string& what) {
  return Failure(name + ": " + what);
}

Failure FailureAt(const std::string& name, const std::string& what, uint64_t position) {
  return Failure(name + ": " + what + " (byte " + std::to_string(position) + ")");
}

Failure SystemFailure(const std::string& name, int errorCode) {
  return FailureIn(name, std::strerror(errorCode));
}

}  // namespace orbel::tool
