// The module's life: what keeps it loaded.
#pragma once

namespace orbel {

// Each media object, factory reference and server lock holds the module once.
void HoldModule() noexcept;
void LetModuleGo() noexcept;

}  // namespace orbel
