// What the module enters with the registry.
#pragma once

#include <string_view>

#include "platform/media_object_registry.h"

namespace orbel {

// The registrar scripts beside this file, as the build found them.
extern const std::string_view kAacDecoderScript;
extern const std::string_view kAudioDecoderScript;

}  // namespace orbel
