// Identifiers as text: {9e1ab3ba-0291-4f10-9a29-91fdb8a1604f}.
#pragma once

#include <string_view>

#include "orbel/media_object.h"

namespace orbel {

class GuidText {
 public:
  explicit GuidText(const GUID& guid) noexcept;
  std::string_view View() const noexcept { return {text_, kLength}; }

 private:
  static constexpr size_t kLength = 38;
  char text_[kLength];
};

// Takes upper and lower case. False when it is none.
bool ParseGuid(std::string_view text, GUID* guid) noexcept;

}  // namespace orbel
