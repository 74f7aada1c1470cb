// The framework's contracts: class test, buffers, allocator, status words.
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <thread>
#include <vector>

#include "support/heap_meter.h"
#include "umc/codec.h"

namespace UMC {
namespace {

// As a second module would make it: its own name function, the same name.
const char* ForeignName() { return "AudioCodecParams"; }
const char* UnknownName() { return "AudioCodec"; }

class NamelessParams : public AudioCodecParams {};

TEST(ClassTest, CastsByIdentityThenByName) {
  BaseCodecParams base;
  AudioCodecParams audio;
  NamelessParams nameless;
  BaseCodecParams* none = nullptr;
  EXPECT_EQ(ClassCast<AudioCodecParams>(&base), nullptr);
  EXPECT_EQ(ClassCast<AudioCodecParams>(none), nullptr);
  EXPECT_EQ(ClassCast<AudioCodecParams>(static_cast<BaseCodecParams*>(&audio)), &audio);
  EXPECT_EQ(ClassCast<AudioCodecParams>(static_cast<BaseCodecParams*>(&nameless)), &nameless);
  EXPECT_FALSE(audio.IsClass(&ForeignName));
  EXPECT_TRUE(audio.IsClassByName(&ForeignName));
  EXPECT_FALSE(audio.IsClassByName(&UnknownName));
  EXPECT_FALSE(base.IsClassByName(&ForeignName));
  EXPECT_FALSE(audio.IsClassByName(nullptr));
  AudioData pcm;
  MediaData data;
  EXPECT_TRUE(pcm.IsClass(&MediaData::ClassName) && pcm.IsClassByName(&MediaData::ClassName));
  EXPECT_EQ(ClassCast<AudioData>(&data), nullptr);
}

TEST(Status, MapsEveryResult) {
  const Status want[] = {UMC_OK,        UMC_ERR_NOT_ENOUGH_DATA, UMC_ERR_INVALID_STREAM,
                         UMC_ERR_ALLOC, UMC_ERR_INVALID_STREAM,  UMC_ERR_NULL_PTR,
                         UMC_ERR_SYNC,  UMC_ERR_UNSUPPORTED};
  for (int32_t i = 0; i < 8; ++i) EXPECT_EQ(StatusOfResult(i), want[i]) << i;
  EXPECT_EQ(StatusOfResult(-1), UMC_ERR_UNSUPPORTED);
}

TEST(MediaData, PointerAndSizesStayInTheBuffer) {
  MediaData data;
  EXPECT_EQ(data.GetTime(), -1.0);
  EXPECT_EQ(data.endTime, 0.0);
  EXPECT_EQ(data.Alloc(0), UMC_OK);
  EXPECT_EQ(data.SetDataSize(0), UMC_ERR_NULL_PTR);
  EXPECT_EQ(data.Alloc(UINT64_MAX), UMC_ERR_ALLOC);
  EXPECT_EQ(data.GetBufferPointer(), nullptr);
  ASSERT_EQ(data.Alloc(10), UMC_OK);
  EXPECT_EQ(data.GetDataSize(), 0u);
  EXPECT_EQ(data.SetDataSize(11), UMC_ERR_FAILED);
  EXPECT_EQ(data.SetDataSize(10), UMC_OK);
  EXPECT_EQ(data.MoveDataPointer(11), UMC_ERR_FAILED);
  EXPECT_EQ(data.GetDataSize(), 10u);
  EXPECT_EQ(data.MoveDataPointer(10), UMC_OK);
  EXPECT_EQ(data.GetDataSize(), 0u);
  EXPECT_EQ(data.SetDataSize(1), UMC_ERR_FAILED);
  EXPECT_EQ(data.MoveDataPointer(-11), UMC_ERR_FAILED);
  EXPECT_EQ(data.MoveDataPointer(INT32_MIN), UMC_ERR_FAILED);
  EXPECT_EQ(data.MoveDataPointer(-10), UMC_OK);
  EXPECT_EQ(data.GetDataSize(), 10u);
  EXPECT_EQ(data.GetDataPointer(), data.GetBufferPointer());
  data.MoveDataPointer(4);
  data.Reset();
  double start = 0;
  double end = 0;
  data.GetTime(&start, &end);
  EXPECT_EQ(start, -1.0);
  EXPECT_EQ(end, -1.0);
  EXPECT_EQ(data.GetDataPointer(), data.GetBufferPointer());
  uint8_t foreign[4] = {};
  data.SetBufferPointer(foreign, 4);  // the leak checker sees the old buffer's end
  EXPECT_EQ(data.GetDataSize(), 0u);
  EXPECT_EQ(data.Close(), UMC_OK);
}

TEST(MediaData, MovesAsMuchAsFits) {
  uint8_t from[] = {1, 2, 3, 4, 5};
  uint8_t to[] = {9, 9, 9, 9};
  MediaData source;
  MediaData target;
  EXPECT_EQ(source.MoveDataTo(&target), UMC_ERR_NOT_INITIALIZED);
  source.SetBufferPointer(from, 5);
  source.SetDataSize(5);
  source.SetTime(1.0, 2.0);
  source.frameType = 7;
  EXPECT_EQ(source.MoveDataTo(nullptr), UMC_ERR_NULL_PTR);
  EXPECT_EQ(source.MoveDataTo(&target), UMC_ERR_NULL_PTR);
  target.SetBufferPointer(to, 4);
  target.SetDataSize(3);
  target.MoveDataPointer(1);
  EXPECT_EQ(source.MoveDataTo(&target), UMC_OK);
  EXPECT_EQ(target.GetDataSize(), 3u);
  EXPECT_EQ(to[3], 1);
  EXPECT_EQ(source.GetDataSize(), 4u);
  EXPECT_EQ(*source.GetDataPointer(), 2);
  EXPECT_EQ(target.GetTime(), 1.0);
  EXPECT_EQ(target.frameType, 7);
}

class Allocator : public DefaultMemoryAllocator {
 public:
  int32_t Take(uint64_t size, int32_t alignment = 16) {
    int32_t identifier = -1;
    EXPECT_EQ(Alloc(&identifier, size, 1, alignment), UMC_OK);
    return identifier;
  }
  int32_t Records() const { return used; }
  int32_t Capacity() const { return capacity; }
};

TEST(Allocator, RefusesBadRequests) {
  struct Case {
    uint64_t size;
    int32_t alignment;
    Status status;
  };
  const Case cases[] = {
      {0, 16, UMC_ERR_INVALID_PARAMS},        {8, 0, UMC_ERR_INVALID_PARAMS},
      {8, 24, UMC_ERR_INVALID_PARAMS},        {8, -16, UMC_ERR_INVALID_PARAMS},
      {8, INT32_MIN, UMC_ERR_INVALID_PARAMS}, {8, 2097152, UMC_ERR_INVALID_PARAMS},
      {UINT64_MAX, 16, UMC_ERR_ALLOC},        {UINT64_MAX - 15, 16, UMC_ERR_ALLOC},
      {INT64_MAX - 20, 16, UMC_ERR_ALLOC},    {8, 1048576, UMC_OK},
  };
  Allocator allocator;  // works without Init
  EXPECT_EQ(allocator.Alloc(nullptr, 8, 1, 16), UMC_ERR_NULL_PTR);
  for (const Case& c : cases) {
    int32_t identifier = 0;
    EXPECT_EQ(allocator.Alloc(&identifier, c.size, 1, c.alignment), c.status) << c.alignment;
    EXPECT_EQ(identifier != 0, c.status == UMC_OK);
    if (c.status != UMC_OK) continue;
    EXPECT_EQ(identifier, 1);  // failures use none up
    void* const memory = allocator.Lock(identifier);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(memory) % static_cast<uintptr_t>(c.alignment), 0u);
    std::memset(memory, 1, c.size);
  }
}

TEST(Allocator, BlocksPassThroughTheirStates) {
  Allocator allocator;
  allocator.Init();
  const int32_t first = allocator.Take(100);
  void* const memory = allocator.Lock(first);
  ASSERT_NE(memory, nullptr);
  EXPECT_EQ(allocator.Lock(first), memory);
  EXPECT_EQ(allocator.Free(first), UMC_OK);  // waits for both locks
  EXPECT_EQ(allocator.Free(first), UMC_ERR_FAILED);
  EXPECT_EQ(allocator.Lock(first), nullptr);
  EXPECT_EQ(allocator.Unlock(first), UMC_OK);
  EXPECT_NE(allocator.Lock(allocator.Take(100)), memory);
  EXPECT_EQ(allocator.Unlock(first), UMC_OK);
  EXPECT_EQ(allocator.Unlock(first), UMC_ERR_FAILED);
  EXPECT_EQ(allocator.Free(first), UMC_ERR_FAILED);
  const int32_t again = allocator.Take(90);
  EXPECT_EQ(again, 3);
  EXPECT_EQ(allocator.Lock(again), memory);
  EXPECT_EQ(allocator.DeallocateMem(again), UMC_OK);  // locked or not
  EXPECT_EQ(allocator.Unlock(again), UMC_ERR_FAILED);
  EXPECT_EQ(allocator.Lock(allocator.Take(100)), memory);
  EXPECT_EQ(allocator.DeallocateMem(99), UMC_OK);
  EXPECT_EQ(allocator.Free(99), UMC_ERR_FAILED);
  for (const Status status : {allocator.DeallocateMem(0), allocator.Free(0), allocator.Unlock(0)})
    EXPECT_EQ(status, UMC_ERR_FAILED);
  EXPECT_EQ(allocator.Lock(0), nullptr);
  allocator.Close();
  EXPECT_EQ(allocator.Lock(2), nullptr);
  EXPECT_EQ(allocator.Take(8), 5);
}

TEST(Allocator, TheTableGrowsOnlyWhenNothingElseHelps) {
  Allocator allocator;
  std::vector<int32_t> all;
  for (int i = 0; i < 8; ++i) all.push_back(allocator.Take(64));
  EXPECT_EQ(allocator.Capacity(), 8);
  allocator.Free(all[3]);
  allocator.Free(all[5]);
  all[5] = allocator.Take(1000);  // too large for either: the last one makes room
  EXPECT_EQ(allocator.Capacity(), 8);
  all[3] = allocator.Take(64);
  EXPECT_EQ(allocator.Capacity(), 8);
  int32_t identifier = 0;
  heap::FailFrom(0);
  EXPECT_EQ(allocator.Alloc(&identifier, 64, 1, 16), UMC_ERR_ALLOC);  // the table
  heap::FailFrom(1);
  EXPECT_EQ(allocator.Alloc(&identifier, 64, 1, 16), UMC_ERR_ALLOC);  // the block
  heap::FailFrom(-1);
  EXPECT_EQ(identifier, 0);
  EXPECT_EQ(allocator.Take(64), 11);
  EXPECT_EQ(allocator.Records(), 9);
  EXPECT_EQ(allocator.Capacity(), 16);
  for (const int32_t old : all) EXPECT_NE(allocator.Lock(old), nullptr);
}

TEST(Allocator, ThreadsShareIt) {
  Allocator allocator;
  auto work = [&allocator](std::set<int32_t>* mine) {
    for (int i = 1; i <= 500; ++i) {
      int32_t identifier = 0;
      ASSERT_EQ(allocator.Alloc(&identifier, static_cast<uint64_t>(i), 1, 16), UMC_OK);
      mine->insert(identifier);
      std::memset(allocator.Lock(identifier), i, static_cast<size_t>(i));
      ASSERT_EQ(allocator.Unlock(identifier), UMC_OK);
      if (i % 7 != 0) {
        ASSERT_EQ(allocator.Free(identifier), UMC_OK);
      }
    }
  };
  std::set<int32_t> mine;
  std::set<int32_t> other;
  std::thread second(work, &other);
  work(&mine);
  second.join();
  mine.merge(other);
  EXPECT_EQ(mine.size(), 1000u);
  EXPECT_TRUE(other.empty());
}

TEST(Mutex, KnowsItsStates) {
  Mutex mutex;
  EXPECT_EQ(Mutex::Lock(nullptr), UMC_ERR_NULL_PTR);
  EXPECT_EQ(Mutex::Lock(&mutex), UMC_ERR_NOT_INITIALIZED);
  EXPECT_EQ(Mutex::Unlock(&mutex), UMC_ERR_NOT_INITIALIZED);
  EXPECT_EQ(Mutex::Initialize(&mutex), UMC_OK);
  EXPECT_EQ(Mutex::Lock(&mutex), UMC_OK);
  EXPECT_EQ(Mutex::Lock(&mutex), UMC_OK);
  Mutex::Unlock(&mutex);
  Mutex::Unlock(&mutex);
}

class IdleCodec : public AudioCodec {
 public:
  Status GetFrame(MediaData*, MediaData*) override { return UMC_OK; }
  Status GetInfo(BaseCodecParams*) override { return UMC_OK; }
  Status Reset() override { return UMC_OK; }
  MemoryAllocator* Memory() const { return memoryAllocator; }
};

TEST(BaseCodec, KeepsToOneKindOfAllocator) {
  Allocator given;
  BaseCodecParams own;
  BaseCodecParams foreign;
  foreign.memoryAllocator = &given;
  IdleCodec codec;
  EXPECT_EQ(codec.Init(nullptr), UMC_ERR_NULL_PTR);
  heap::FailFrom(0);
  EXPECT_EQ(codec.Init(&own), UMC_ERR_ALLOC);
  heap::FailFrom(-1);
  EXPECT_EQ(codec.Init(&own), UMC_OK);
  MemoryAllocator* const made = codec.Memory();
  EXPECT_NE(ClassCast<DefaultMemoryAllocator>(made), nullptr);
  EXPECT_EQ(codec.Init(&own), UMC_OK);
  EXPECT_EQ(codec.Memory(), made);
  EXPECT_EQ(codec.Init(&foreign), UMC_ERR_INIT);
  EXPECT_EQ(codec.Close(), UMC_OK);
  EXPECT_EQ(codec.Init(&foreign), UMC_OK);
  EXPECT_EQ(codec.Init(&own), UMC_ERR_INIT);
  codec.Close();
  EXPECT_EQ(codec.Memory(), &given);
  EXPECT_EQ(codec.SetParams(nullptr), UMC_ERR_NULL_PTR);
  EXPECT_EQ(codec.SetParams(&own), UMC_ERR_NOT_IMPLEMENTED);
}

}  // namespace
}  // namespace UMC
