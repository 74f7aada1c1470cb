// The module's life: what keeps it loaded.
#pragma once

namespace orbel {

// Each object that the library makes for a host, each factory reference and each
// server lock holds the module once.
void HoldModule() noexcept;
void LetModuleGo() noexcept;
bool IsModuleHeld() noexcept;

// Server locks count by themselves: more unlocks than locks change nothing.
void LockModule() noexcept;
void UnlockModule() noexcept;

// A member that holds the module; to be declared first, so that it lets go last.
class ModuleUse {
 public:
  ModuleUse() noexcept { HoldModule(); }
  ~ModuleUse() { LetModuleGo(); }
  ModuleUse(const ModuleUse&) = delete;
  ModuleUse& operator=(const ModuleUse&) = delete;
};

}  // namespace orbel
