// The framework's own class test, in place of the language's type information.
//
// A class is identified by the address of its static ClassName(). An object is
// asked twice: IsClass compares addresses, IsClassByName calls the identifier
// and compares names, so that an object made by another module, which has name
// functions of its own, is still known. Both also answer for the base classes.
#pragma once

#include <cstring>

namespace UMC {

using ClassIdentifier = const char* (*)();

inline bool SameClassName(ClassIdentifier identifier, const char* name) {
  return identifier != nullptr && std::strcmp(identifier(), name) == 0;
}

// `object` as a T, or null if it is null or no T. T must have a ClassName() of
// its own: one that is inherited vouches for the base only.
template <class T, class Base>
T* ClassCast(Base* object) {
  if (object == nullptr) return nullptr;
  if (!object->IsClass(&T::ClassName) && !object->IsClassByName(&T::ClassName)) return nullptr;
  return static_cast<T*>(object);
}

}  // namespace UMC
