// Buffer pools: sizes, states, waiting, and many threads at once.
#include "platform/sample_pool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <set>
#include <thread>
#include <vector>

namespace orbel {
namespace {

Reference<IMemAllocator> Pool(int32_t count, int32_t size, int32_t alignment = 0) {
  Reference<IMemAllocator> pool(new SamplePool);
  const AllocatorProperties request = {count, size, alignment};
  AllocatorProperties actual = {};
  EXPECT_EQ(pool->SetProperties(&request, &actual), S_OK);
  return pool;
}

TEST(SamplePool, GivesWhatWasAskedForOrMore) {
  struct Case {
    AllocatorProperties request;
    HRESULT result;
    int32_t count, size, alignment;
  };
  const Case cases[] = {
      {{0, 0, 0}, S_OK, 1, SamplePool::kDefaultBytes, 32},
      {{-3, -160, -1}, S_OK, 1, SamplePool::kDefaultBytes, 32},
      {{3, 161, 64}, S_OK, 3, 161, 64},
      {{15, 1, 1}, S_OK, 15, 1, 32},
      {{16, 1, 1}, E_INVALIDARG, 0, 0, 0},
      {{1, SamplePool::kMostBytes + 1, 1}, E_INVALIDARG, 0, 0, 0},
      {{1, 1, 48}, E_INVALIDARG, 0, 0, 0},
      {{1, INT32_MAX, 1 << 30}, E_INVALIDARG, 0, 0, 0},
  };
  for (const Case& c : cases) {
    Reference<IMemAllocator> pool(new SamplePool);
    AllocatorProperties actual = {};
    EXPECT_EQ(pool->SetProperties(&c.request, &actual), c.result);
    AllocatorProperties now = {};
    EXPECT_EQ(pool->GetProperties(&now), S_OK);
    EXPECT_EQ(now.bufferCount, c.count);
    EXPECT_EQ(now.bufferSize, c.size);
    EXPECT_EQ(now.alignment, c.alignment);
    if (c.result != S_OK) continue;
    pool->Commit();
    std::vector<MediaSample*> all;
    std::set<uint8_t*> places;
    for (int i = 0; i < c.count; ++i) {
      MediaSample* sample = nullptr;
      ASSERT_EQ(pool->GetBuffer(&sample), S_OK);
      uint8_t* const data = sample->GetPointer();
      EXPECT_EQ(reinterpret_cast<uintptr_t>(data) % static_cast<uintptr_t>(c.alignment), 0u);
      EXPECT_EQ(sample->GetSize(), c.size);
      data[0] = data[c.size - 1] = 1;
      places.insert(data);
      all.push_back(sample);
    }
    EXPECT_EQ(places.size(), static_cast<size_t>(c.count));
    for (MediaSample* sample : all) sample->Release();
  }
}

TEST(SamplePool, ASampleStartsFreshAndKeepsItsBounds) {
  const Reference<IMemAllocator> pool = Pool(1, 100);
  pool->Commit();
  for (int round = 0; round < 2; ++round) {
    Reference<MediaSample> sample;
    ASSERT_EQ(pool->GetBuffer(sample.Receive()), S_OK);
    int64_t start = 7, stop = 7;
    EXPECT_FALSE(sample->GetTime(&start, &stop));
    EXPECT_EQ(start, 0);
    EXPECT_FALSE(sample->IsSyncPoint());
    EXPECT_EQ(sample->GetActualDataLength(), 0);
    sample->SetTime(5, 6);
    EXPECT_TRUE(sample->GetTime(&start, &stop));
    EXPECT_EQ(stop, 6);
    sample->SetSyncPoint(true);
    EXPECT_EQ(sample->SetActualDataLength(101), VFW_E_BUFFER_OVERFLOW);
    EXPECT_EQ(sample->SetActualDataLength(-1), VFW_E_BUFFER_OVERFLOW);
    EXPECT_EQ(sample->SetActualDataLength(100), S_OK);

    // The same buffer, seen as a media object sees it.
    Reference<IMediaBuffer> buffer;
    ASSERT_EQ(sample->QueryInterface(IID_IMediaBuffer, buffer.ReceiveVoid()), S_OK);
    uint8_t* b = nullptr;
    uint32_t length = 0, most = 0;
    EXPECT_EQ(buffer->GetBufferAndLength(&b, &length), S_OK);
    EXPECT_EQ(buffer->GetBufferAndLength(nullptr, nullptr), E_POINTER);
    EXPECT_EQ(sample->GetPointer(), b);
    EXPECT_EQ(length, 100u);
    EXPECT_EQ(buffer->GetMaxLength(&most), S_OK);
    EXPECT_EQ(most, 100u);
    EXPECT_EQ(buffer->SetLength(101), E_INVALIDARG);
    EXPECT_EQ(buffer->SetLength(3), S_OK);
    EXPECT_EQ(sample->GetActualDataLength(), 3);
  }
}

TEST(SamplePool, StatesAreKept) {
  const Reference<IMemAllocator> pool = Pool(1, 10);
  Reference<MediaSample> sample;
  EXPECT_EQ(pool->GetBuffer(sample.Receive()), VFW_E_NOT_COMMITTED);
  pool->Commit();
  const AllocatorProperties request = {2, 20, 0};
  AllocatorProperties actual;
  EXPECT_EQ(pool->SetProperties(&request, &actual), VFW_E_ALREADY_COMMITTED);
  ASSERT_EQ(pool->GetBuffer(sample.Receive()), S_OK);
  pool->Decommit();
  EXPECT_EQ(pool->SetProperties(&request, &actual), VFW_E_BUFFERS_OUTSTANDING);
  sample.Clear();
  EXPECT_EQ(pool->SetProperties(&request, &actual), S_OK);
}

TEST(SamplePool, ASampleOutlivesItsPoolsOwner) {
  Reference<MediaSample> sample;
  {
    const Reference<IMemAllocator> pool = Pool(2, 10);
    pool->Commit();
    ASSERT_EQ(pool->GetBuffer(sample.Receive()), S_OK);
  }
  uint8_t* const data = sample->GetPointer();
  data[9] = 1;
}

TEST(SamplePool, WaitsForABufferAndWakesOnDecommit) {
  const Reference<IMemAllocator> pool = Pool(1, 10);
  pool->Commit();
  Reference<MediaSample> first;
  ASSERT_EQ(pool->GetBuffer(first.Receive()), S_OK);
  std::atomic<int> got{0};
  std::thread waiter([&] {
    Reference<MediaSample> sample;
    EXPECT_EQ(pool->GetBuffer(sample.Receive()), S_OK);
    got = 1;
    Reference<MediaSample> another;
    EXPECT_EQ(pool->GetBuffer(another.Receive()), VFW_E_NOT_COMMITTED);
    got = 2;
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_EQ(got, 0);
  first.Clear();
  while (got == 0) std::this_thread::yield();
  pool->Decommit();
  waiter.join();
  EXPECT_EQ(got, 2);
}

TEST(SamplePool, NoBufferIsHandedOutTwice) {
  const Reference<IMemAllocator> pool = Pool(3, 64);
  pool->Commit();
  std::vector<std::thread> threads;
  std::atomic<int> clashes{0};
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&, t] {
      for (int i = 0; i < 2000; ++i) {
        Reference<MediaSample> sample;
        if (pool->GetBuffer(sample.Receive()) != S_OK) ++clashes;
        uint8_t* const data = sample->GetPointer();
        for (int k = 0; k < 64; ++k) data[k] = static_cast<uint8_t>(t);
        for (int k = 0; k < 64; ++k)
          if (data[k] != t) ++clashes;
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(clashes, 0);
}

}  // namespace
}  // namespace orbel
