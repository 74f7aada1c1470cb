// The commands. Each throws Failure, UsageFailure or ReaderGone when it
// can't do its work.
#pragma once

#include "tools/options.h"

namespace orbel::tool {

void RunDecode(const Options& options);
void RunEncode(const Options& options);
void RunPlay(const Options& options);
void RunInfo(const Options& options);

}  // namespace orbel::tool
