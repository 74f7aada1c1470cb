#include "umc/codec.h"

#include <new>

namespace UMC {

const char* BaseCodecParams::ClassName() { return "BaseCodecParams"; }
bool BaseCodecParams::IsClass(ClassIdentifier identifier) const { return identifier == &ClassName; }
bool BaseCodecParams::IsClassByName(ClassIdentifier identifier) const {
  return SameClassName(identifier, ClassName());
}

const char* AudioCodecParams::ClassName() { return "AudioCodecParams"; }
bool AudioCodecParams::IsClass(ClassIdentifier identifier) const {
  return identifier == &ClassName || BaseCodecParams::IsClass(identifier);
}
bool AudioCodecParams::IsClassByName(ClassIdentifier identifier) const {
  return SameClassName(identifier, ClassName()) || BaseCodecParams::IsClassByName(identifier);
}

const char* BaseCodec::ClassName() { return "BaseCodec"; }
bool BaseCodec::IsClass(ClassIdentifier identifier) const { return identifier == &ClassName; }
bool BaseCodec::IsClassByName(ClassIdentifier identifier) const {
  return SameClassName(identifier, ClassName());
}

const char* AudioCodec::ClassName() { return "AudioCodec"; }
bool AudioCodec::IsClass(ClassIdentifier identifier) const {
  return identifier == &ClassName || BaseCodec::IsClass(identifier);
}
bool AudioCodec::IsClassByName(ClassIdentifier identifier) const {
  return SameClassName(identifier, ClassName()) || BaseCodec::IsClassByName(identifier);
}

BaseCodec::~BaseCodec() { ReleaseAllocator(); }

void BaseCodec::ReleaseAllocator() {
  if (!ownsAllocator || memoryAllocator == nullptr) return;
  delete memoryAllocator;
  memoryAllocator = nullptr;
  ownsAllocator = false;
}

Status BaseCodec::Init(BaseCodecParams* params) {
  if (params == nullptr) return UMC_ERR_NULL_PTR;
  if (params->memoryAllocator != nullptr) {
    if (ownsAllocator && memoryAllocator != params->memoryAllocator) return UMC_ERR_INIT;
    memoryAllocator = params->memoryAllocator;
    ownsAllocator = false;
    return UMC_OK;
  }
  if (memoryAllocator != nullptr) return ownsAllocator ? UMC_OK : UMC_ERR_INIT;
  auto* const allocator = new (std::nothrow) DefaultMemoryAllocator;
  if (allocator == nullptr) return UMC_ERR_ALLOC;
  allocator->Init();
  memoryAllocator = allocator;
  ownsAllocator = true;
  return UMC_OK;
}

Status BaseCodec::Close() {
  ReleaseAllocator();
  return UMC_OK;
}

Status BaseCodec::SetParams(BaseCodecParams* params) {
  return params == nullptr ? UMC_ERR_NULL_PTR : UMC_ERR_NOT_IMPLEMENTED;
}

}  // namespace UMC
