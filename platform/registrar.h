// Registrar scripts: text that says which keys and values a class has in the
// registry.
//
//   HKCR                                  the root, of which there is this one
//   {
//     NoRemove CLSID                      stays when the class is taken out
//     {
//       ForceRemove {9e1a...} = s 'Name'  made anew; = gives the key's own value
//       {
//         InprocServer32 = s '%MODULE%'   %NAME% is replaced
//         {
//           val ThreadingModel = s 'Both' a named value
//         }
//       }
//     }
//   }
//
// Values are text (s). Names are words or stand in quotes, '' for a quote.
#pragma once

#include <string_view>

#include "platform/registry.h"

namespace orbel {

// What %name% in a script's values stands for.
struct RegistrarReplacement {
  std::string_view name;
  std::string_view text;
};

// E_INVALIDARG for a script that is none, with nothing changed; E_OUTOFMEMORY
// with a part of it entered.
HRESULT RegistrarEnter(Registry& registry, std::string_view script,
                       const RegistrarReplacement& replacement) noexcept;
// Removes each key that is not marked NoRemove, with all below it.
HRESULT RegistrarRemove(Registry& registry, std::string_view script) noexcept;

}  // namespace orbel
