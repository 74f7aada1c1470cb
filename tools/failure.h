// How the tool fails: each of these ends the command and becomes one line on
// standard error and an exit code, in main.cc alone.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace orbel::tool {

// The work could not be done: exit code 1.
struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The command line asks for something that does not exist or make sense: exit
// code 2.
struct UsageFailure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Whoever reads our pipe has closed it and wants no more: no line, exit code 0.
struct ReaderGone {};

// "NAME: what" and "NAME: what (byte N)".
Failure FailureIn(const std::string& name, const std::string& what);
Failure FailureAt(const std::string& name, const std::string& what, uint64_t position);
// "NAME: the system's text for errorCode".
Failure SystemFailure(const std::string& name, int errorCode);

}  // namespace orbel::tool
