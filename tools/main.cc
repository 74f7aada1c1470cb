// orbel: the command line tool. Exit codes: 0 done, 1 failed, 2 wrong usage.
#include <csignal>
#include <cstdio>
#include <exception>
#include <new>

#include "tools/commands.h"
#include "tools/failure.h"
#include "tools/options.h"
#include "tools/report.h"

namespace orbel::tool {
namespace {

void Run(int count, const char* const* words) {
  const Options options = ParseOptions(count, words);
  if (options.version) return Print("orbel " ORBEL_VERSION "\n");
  if (options.help) return Print(HelpText(options.command));
  switch (options.command) {
    case Command::kDecode:
      return RunDecode(options);
    case Command::kEncode:
      return RunEncode(options);
    case Command::kPlay:
      return RunPlay(options);
    case Command::kInfo:
      return RunInfo(options);
    case Command::kNone:
      break;
  }
}

int Complain(int exitCode, const char* what) {
  std::fprintf(stderr, "orbel: %s\n", what);
  return exitCode;
}

}  // namespace
}  // namespace orbel::tool

int main(int count, char** words) {
  using namespace orbel::tool;
  // A closed pipe and a file size limit are errors of write instead.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  try {
    Run(count, words);
    return 0;
  } catch (const UsageFailure& failure) {
    return Complain(2, failure.what());
  } catch (const Failure& failure) {
    return Complain(1, failure.what());
  } catch (const ReaderGone&) {
    return 0;
  } catch (const std::bad_alloc&) {
    return Complain(1, "out of memory");
  } catch (const std::exception& failure) {
    return Complain(1, failure.what());
  }
}
