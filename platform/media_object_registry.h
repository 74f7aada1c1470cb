// Registration of media objects by category and type, in the registry of the
// process. Enumeration is declared in orbel/registration.h.
#pragma once

#include <cstdint>

#include "orbel/registration.h"

namespace orbel {

// Enters an object, or replaces what is known of it. S_OK; E_INVALIDARG for the
// null class or category or a name without a character; E_POINTER; E_OUTOFMEMORY,
// and the object is not in the category then.
HRESULT DMORegister(const char* name, const GUID& classId, const GUID& category, uint32_t flags,
                    uint32_t inputCount, const DMO_PARTIAL_MEDIATYPE* inputs, uint32_t outputCount,
                    const DMO_PARTIAL_MEDIATYPE* outputs) noexcept;

// Takes an object out of a category, out of all with GUID_NULL. S_FALSE when it
// was in none of them.
HRESULT DMOUnregister(const GUID& classId, const GUID& category) noexcept;

}  // namespace orbel
