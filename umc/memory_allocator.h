// Memory that is named by an identifier and reached through a lock.
#pragma once

#include <cstdint>

#include "umc/class_test.h"
#include "umc/mutex.h"
#include "umc/status.h"

namespace UMC {

class MemoryAllocator {
 public:
  MemoryAllocator(const MemoryAllocator&) = delete;
  MemoryAllocator& operator=(const MemoryAllocator&) = delete;

  static const char* ClassName();
  virtual bool IsClass(ClassIdentifier identifier) const;
  virtual bool IsClassByName(ClassIdentifier identifier) const;
  virtual ~MemoryAllocator() = default;

  virtual Status Init() = 0;
  virtual Status Close() = 0;

  // *identifier receives the name of a block of `size` bytes, not cleared,
  // whose address is a multiple of `alignment`, a power of two up to 2^20.
  virtual Status Alloc(int32_t* identifier, uint64_t size, uint32_t flags, int32_t alignment) = 0;

  // The block's address, good until the matching Unlock; locks nest. Null when
  // there is no such block.
  virtual void* Lock(int32_t identifier) = 0;
  virtual Status Unlock(int32_t identifier) = 0;

  // Ends the block, with the last Unlock if it is locked.
  virtual Status Free(int32_t identifier) = 0;

  // Ends the block, locked or not.
  virtual Status DeallocateMem(int32_t identifier) = 0;

 protected:
  MemoryAllocator() { Mutex::Initialize(&guard); }

  Mutex guard;
};

// One block, also after it was freed, for the next that fits into it.
struct MemoryBlock {
  uint8_t* memory;     // as the heap gave it; null when there is none
  uint64_t size;       // bytes of `memory`
  int32_t identifier;  // 0 when the block may be given out again
  int32_t alignment;
  int32_t lockCount;
  int32_t freed;  // 1 after Free, while locks may remain
};

// Takes blocks from the heap and keeps them until Close. Several threads may
// share one; what lies in a block is its user's to protect. Blocks never move.
class DefaultMemoryAllocator : public MemoryAllocator {
 public:
  DefaultMemoryAllocator() = default;

  static const char* ClassName();
  bool IsClass(ClassIdentifier identifier) const override;
  bool IsClassByName(ClassIdentifier identifier) const override;
  ~DefaultMemoryAllocator() override;

  Status Init() override;

  // Gives all memory back, locked or not. Identifiers are not used again.
  Status Close() override;

  // UMC_ERR_NULL_PTR, UMC_ERR_INVALID_PARAMS (size 0, alignment) or
  // UMC_ERR_ALLOC. `flags` mean nothing here.
  Status Alloc(int32_t* identifier, uint64_t size, uint32_t flags, int32_t alignment) override;
  void* Lock(int32_t identifier) override;

  // UMC_ERR_FAILED when there is no such block or no lock on it.
  Status Unlock(int32_t identifier) override;

  // UMC_ERR_FAILED when there is no such block or it was freed before.
  Status Free(int32_t identifier) override;

  // UMC_OK for a block that does not exist, unlike Free.
  Status DeallocateMem(int32_t identifier) override;

 protected:
  MemoryBlock* blocks = nullptr;
  int32_t capacity = 0;        // records in `blocks`
  int32_t used = 0;            // of which so many, from the front
  int32_t lastIdentifier = 0;  // only grows

 private:
  MemoryBlock* Find(int32_t identifier);
  MemoryBlock* Choose(uint64_t size, int32_t alignment);
  bool Grow();
  void ReleaseAll();
};

}  // namespace UMC
