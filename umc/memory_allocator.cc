#include "umc/memory_allocator.h"

#include <algorithm>
#include <new>

#include "dsp/memory.h"

namespace UMC {
namespace {

constexpr int32_t kGreatestAlignment = 1 << 20;
constexpr int32_t kLeastCapacity = 8;
constexpr int32_t kGreatestCapacity = 1 << 30;

class Guard {
 public:
  explicit Guard(Mutex* mutex) : mutex_(mutex) { Mutex::Lock(mutex_); }
  ~Guard() { Mutex::Unlock(mutex_); }
  Guard(const Guard&) = delete;
  Guard& operator=(const Guard&) = delete;

 private:
  Mutex* mutex_;
};

// Bytes from `memory` to the next multiple of `alignment`.
uint64_t Padding(const uint8_t* memory, int32_t alignment) {
  return (0 - reinterpret_cast<uintptr_t>(memory)) & static_cast<uint64_t>(alignment - 1);
}

bool Fits(const MemoryBlock& block, uint64_t size, int32_t alignment) {
  const uint64_t padding = Padding(block.memory, alignment);
  return padding <= block.size && size <= block.size - padding;
}

}  // namespace

const char* MemoryAllocator::ClassName() { return "MemoryAllocator"; }
bool MemoryAllocator::IsClass(ClassIdentifier identifier) const { return identifier == &ClassName; }
bool MemoryAllocator::IsClassByName(ClassIdentifier identifier) const {
  return SameClassName(identifier, ClassName());
}

const char* DefaultMemoryAllocator::ClassName() { return "DefaultMemoryAllocator"; }
bool DefaultMemoryAllocator::IsClass(ClassIdentifier identifier) const {
  return identifier == &ClassName || MemoryAllocator::IsClass(identifier);
}
bool DefaultMemoryAllocator::IsClassByName(ClassIdentifier identifier) const {
  return SameClassName(identifier, ClassName()) || MemoryAllocator::IsClassByName(identifier);
}

DefaultMemoryAllocator::~DefaultMemoryAllocator() { ReleaseAll(); }

void DefaultMemoryAllocator::ReleaseAll() {
  for (int32_t i = 0; i < used; ++i) orbel::dspFree(blocks[i].memory);
  delete[] blocks;
  blocks = nullptr;
  capacity = 0;
  used = 0;
}

Status DefaultMemoryAllocator::Init() {
  const Guard held(&guard);
  return Close();
}

Status DefaultMemoryAllocator::Close() {
  const Guard held(&guard);
  ReleaseAll();
  return UMC_OK;
}

Status DefaultMemoryAllocator::Alloc(int32_t* identifier, uint64_t size, uint32_t /*flags*/,
                                     int32_t alignment) {
  const Guard held(&guard);
  if (identifier == nullptr) return UMC_ERR_NULL_PTR;
  if (size == 0 || alignment == 0) return UMC_ERR_INVALID_PARAMS;
  *identifier = 0;
  if (alignment < 0 || alignment > kGreatestAlignment || (alignment & (alignment - 1)) != 0)
    return UMC_ERR_INVALID_PARAMS;
  if (size > static_cast<uint64_t>(INT64_MAX) - static_cast<uint64_t>(alignment))
    return UMC_ERR_ALLOC;

  MemoryBlock* const block = Choose(size, alignment);
  if (block == nullptr) return UMC_ERR_ALLOC;
  if (block->memory == nullptr) {
    const uint64_t bytes = size + static_cast<uint64_t>(alignment);
    block->memory = orbel::dspMalloc_8u(static_cast<int64_t>(bytes));
    if (block->memory == nullptr) return UMC_ERR_ALLOC;
    block->size = bytes;
  }
  block->alignment = alignment;
  block->lockCount = 0;
  block->freed = 0;
  lastIdentifier = static_cast<int32_t>(static_cast<uint32_t>(lastIdentifier) + 1U);
  block->identifier = lastIdentifier;
  *identifier = lastIdentifier;
  return UMC_OK;
}

// A record for a block of that size, with memory that is large enough or none.
MemoryBlock* DefaultMemoryAllocator::Choose(uint64_t size, int32_t alignment) {
  MemoryBlock* tooSmall = nullptr;
  for (MemoryBlock* block = blocks; block != blocks + used; ++block) {
    if (block->memory == nullptr) return block;
    if (block->identifier != 0) continue;
    if (Fits(*block, size, alignment)) return block;
    tooSmall = block;
  }
  if (used < capacity) return &blocks[used++];
  if (tooSmall != nullptr) {
    orbel::dspFree(tooSmall->memory);
    tooSmall->memory = nullptr;
    return tooSmall;
  }
  return Grow() ? &blocks[used++] : nullptr;
}

bool DefaultMemoryAllocator::Grow() {
  if (capacity >= kGreatestCapacity) return false;
  const int32_t larger = std::max(2 * capacity, kLeastCapacity);
  auto* const table = new (std::nothrow) MemoryBlock[static_cast<size_t>(larger)]();
  if (table == nullptr) return false;
  std::copy_n(blocks, used, table);
  delete[] blocks;
  blocks = table;
  capacity = larger;
  return true;
}

MemoryBlock* DefaultMemoryAllocator::Find(int32_t identifier) {
  if (identifier == 0) return nullptr;
  MemoryBlock* const end = blocks + used;
  MemoryBlock* const block =
      std::find_if(blocks, end, [=](const MemoryBlock& b) { return b.identifier == identifier; });
  return block != end ? block : nullptr;
}

void* DefaultMemoryAllocator::Lock(int32_t identifier) {
  const Guard held(&guard);
  MemoryBlock* const block = Find(identifier);
  if (block == nullptr || block->memory == nullptr || block->freed != 0) return nullptr;
  if (block->lockCount < INT32_MAX) ++block->lockCount;
  return block->memory + Padding(block->memory, block->alignment);
}

Status DefaultMemoryAllocator::Unlock(int32_t identifier) {
  const Guard held(&guard);
  MemoryBlock* const block = Find(identifier);
  if (block == nullptr || block->memory == nullptr || block->lockCount == 0) return UMC_ERR_FAILED;
  --block->lockCount;
  if (block->lockCount == 0 && block->freed != 0) block->identifier = 0;
  return UMC_OK;
}

Status DefaultMemoryAllocator::Free(int32_t identifier) {
  const Guard held(&guard);
  MemoryBlock* const block = Find(identifier);
  if (block == nullptr || block->memory == nullptr || block->freed != 0) return UMC_ERR_FAILED;
  block->freed = 1;
  if (block->lockCount == 0) block->identifier = 0;
  return UMC_OK;
}

Status DefaultMemoryAllocator::DeallocateMem(int32_t identifier) {
  const Guard held(&guard);
  if (identifier == 0) return UMC_ERR_FAILED;
  MemoryBlock* const block = Find(identifier);
  if (block == nullptr) return UMC_OK;
  if (block->memory == nullptr) return UMC_ERR_FAILED;
  block->freed = 1;
  block->lockCount = 0;
  block->identifier = 0;
  return UMC_OK;
}

}  // namespace UMC
