// The codec class around the frames: detection, tags, information, parameters,
// memory that fails, and what is left after a refusal.
#include <gtest/gtest.h>

#include <cstring>
#include <numeric>

#include "aac/aac_decoder.h"
#include "aac/stream_reader.h"
#include "umc/memory_allocator.h"

namespace orbel::aac_test {
namespace {

using Bytes = std::vector<uint8_t>;
using UMC::Status;

// Fails at the n-th Alloc or Lock, and counts what is open.
class FailingAllocator final : public UMC::DefaultMemoryAllocator {
 public:
  Status Alloc(int32_t* identifier, uint64_t size, uint32_t flags, int32_t alignment) override {
    if (failAlloc-- == 0) return UMC::UMC_ERR_ALLOC;
    const Status status = DefaultMemoryAllocator::Alloc(identifier, size, flags, alignment);
    if (status != UMC::UMC_OK) return status;
    std::memset(DefaultMemoryAllocator::Lock(*identifier), 0x41, size);  // nothing is cleared
    DefaultMemoryAllocator::Unlock(*identifier);
    ++blocks_;
    return status;
  }
  void* Lock(int32_t identifier) override {
    return failLock-- == 0 ? nullptr : DefaultMemoryAllocator::Lock(identifier);
  }
  Status Free(int32_t identifier) override {
    const Status status = DefaultMemoryAllocator::Free(identifier);
    if (status == UMC::UMC_OK) --blocks_;
    return status;
  }
  int Blocks() const { return blocks_; }
  int failAlloc = -1, failLock = -1;

 private:
  int blocks_ = 0;
};

struct Session {
  explicit Session(UMC::MemoryAllocator* allocator = nullptr) {
    params.memoryAllocator = allocator;
    params.sbrMode = 18;
    params.sbrDownsample = 1;
    params.sbrSupportLevel = 777;
  }
  Status Init(Bytes config = {}) {
    bytes = std::move(config);
    params.data = nullptr;
    params.inputStreamType = 0;
    if (!bytes.empty()) {
      configData.SetBufferPointer(bytes.data(), bytes.size());
      configData.SetDataSize(bytes.size());
      params.data = &configData;
      params.inputStreamType = UMC::kStreamUnits;
    }
    return decoder.Init(&params);
  }
  // One GetFrame; what it leaves of the input stays in `in`.
  Status Get(Bytes* data) {
    in.SetBufferPointer(data->data(), data->size());
    in.SetDataSize(data->size());
    return Next();
  }
  Status Next() {
    pcm.assign(10 * 2048, 0x55AA);
    out.SetBufferPointer(reinterpret_cast<uint8_t*>(pcm.data()), pcm.size() * 2);
    return decoder.GetFrame(&in, &out);
  }
  UMC::AACDecoderParams params;
  UMC::AACDecoder decoder;
  UMC::MediaData configData, in;
  UMC::AudioData out;
  std::vector<int16_t> pcm;
  Bytes bytes;
};

Bytes Adts() { return ReadBytes(StreamPath("lc_44100_st_128k_music.aac")); }
Bytes Adif() { return ReadBytes(StreamPath("lc_24000_mono_adif.adif")); }

TEST(CodecClass, FindsStreams) {
  Session session;
  EXPECT_EQ(session.decoder.Reset(), UMC::UMC_ERR_NOT_INITIALIZED);
  EXPECT_EQ(session.Next(), UMC::UMC_ERR_NOT_INITIALIZED);
  ASSERT_EQ(session.Init(), UMC::UMC_OK);
  EXPECT_EQ(session.decoder.GetFrame(nullptr, &session.out), UMC::UMC_ERR_NULL_PTR);
  Bytes empty;
  EXPECT_EQ(session.Get(&empty), UMC::UMC_ERR_NOT_ENOUGH_DATA);
  Bytes noise(64, 0x12);
  EXPECT_EQ(session.Get(&noise), UMC::UMC_ERR_UNSUPPORTED);
  EXPECT_EQ(session.in.GetDataSize(), 64u);
  // A start that may still become one: not enough, and nothing is kept of it.
  for (const Bytes& start : {Adts(), Adif()})
    for (size_t length = 1; length < 9; ++length) {
      Bytes cut(start.begin(), start.begin() + static_cast<ptrdiff_t>(length));
      EXPECT_EQ(session.Get(&cut), UMC::UMC_ERR_NOT_ENOUGH_DATA) << length;
      EXPECT_EQ(session.in.GetDataSize(), length);
    }
  // Garbage between frames is skipped, byte by byte.
  Bytes stream = Adts();
  ASSERT_EQ(session.Get(&stream), UMC::UMC_OK);
  Bytes late(301, 0xFF);
  late.insert(late.end(), session.in.GetDataPointer(),
              session.in.GetDataPointer() + session.in.GetDataSize());
  EXPECT_EQ(session.Get(&late), UMC::UMC_OK);
  EXPECT_EQ(session.out.channels, 2);
  Bytes sync(300, 0x12);
  EXPECT_EQ(session.Get(&sync), UMC::UMC_ERR_NOT_ENOUGH_DATA);
  EXPECT_EQ(session.in.GetDataSize(), 2u);
}

TEST(CodecClass, SkipsId3Tags) {
  for (const uint8_t flags : {0x00, 0x10}) {
    Bytes tagged = {'I', 'D', '3', 4, 0, flags, 0, 0, 2, 44};  // 300 bytes, then perhaps a footer
    tagged.resize(310 + (flags != 0 ? 10 : 0), 0xFF);
    Bytes whole = tagged;
    const Bytes stream = Adts();
    whole.insert(whole.end(), stream.begin(), stream.end());
    Session session;
    ASSERT_EQ(session.Init(), UMC::UMC_OK);
    EXPECT_EQ(session.Get(&whole), UMC::UMC_OK);
    // In pieces: a tag that ends with the data is not enough.
    Session pieces;
    ASSERT_EQ(pieces.Init(), UMC::UMC_OK);
    Bytes first(tagged.begin(), tagged.begin() + 50), rest(tagged.begin() + 50, tagged.end());
    EXPECT_EQ(pieces.Get(&first), UMC::UMC_ERR_NOT_ENOUGH_DATA);
    EXPECT_EQ(pieces.Get(&rest), UMC::UMC_ERR_NOT_ENOUGH_DATA);
    EXPECT_EQ(pieces.in.GetDataSize(), 0u);
    Bytes body = stream;
    EXPECT_EQ(pieces.Get(&body), UMC::UMC_OK);
    EXPECT_EQ(pieces.pcm, session.pcm);
  }
}

TEST(CodecClass, TellsWhatItKnows) {
  Session session;
  ASSERT_EQ(session.Init(), UMC::UMC_OK);
  UMC::AudioCodecParams info;
  EXPECT_EQ(session.decoder.GetInfo(&info), 3);
  EXPECT_EQ(info.suggestedInputSize, 7680);
  EXPECT_EQ(info.suggestedOutputSize, 40960);
  Bytes stream = Adts();
  ASSERT_EQ(session.Get(&stream), UMC::UMC_OK);
  EXPECT_DOUBLE_EQ(session.out.endTime, 1024 / 44100.0);
  ASSERT_EQ(session.Next(), UMC::UMC_OK);
  EXPECT_DOUBLE_EQ(session.out.startTime, 1024 / 44100.0);
  ASSERT_EQ(session.decoder.GetInfo(&info), UMC::UMC_OK);
  EXPECT_EQ(info.level, 2);
  EXPECT_EQ(info.inputStreamType, 2048);
  EXPECT_EQ(info.inputStreamSubtype, 1);
  EXPECT_EQ(info.outputStreamType, 1);
  EXPECT_EQ(info.frameCount, 2);
  EXPECT_EQ(info.output.bitRate, 44100 * 16);
  EXPECT_EQ(info.outputChannelMask, 3);
  float seconds = 0;
  ASSERT_EQ(session.decoder.GetDuration(&seconds), UMC::UMC_OK);
  EXPECT_FLOAT_EQ(seconds, 2048 / 44100.0F);
  EXPECT_EQ(session.decoder.GetDuration(nullptr), UMC::UMC_ERR_NULL_PTR);
  UMC::BaseCodecParams plain;
  EXPECT_EQ(session.decoder.SetParams(&plain), UMC::UMC_ERR_NULL_PTR);
  EXPECT_EQ(session.decoder.SetParams(&info), UMC::UMC_OK);
  // A lossless configuration that does not parse, and one that has not ended.
  Session other;
  EXPECT_EQ(other.Init({0xF9, 0x08, 0x00}), UMC::UMC_ERR_INIT);
  Bytes als = {'A', 'L', 'S', 0, 1, 2, 3, 4, 5, 6, 7, 8};
  ASSERT_EQ(other.Init(), UMC::UMC_OK);
  EXPECT_EQ(other.Get(&als), UMC::UMC_ERR_NOT_ENOUGH_DATA);
}

TEST(CodecClass, WritesNothingOutsideTheRoomGiven) {
  Session session;
  ASSERT_EQ(session.Init(), UMC::UMC_OK);
  Bytes stream = Adts();
  session.in.SetBufferPointer(stream.data(), stream.size());
  session.in.SetDataSize(stream.size());
  std::vector<int16_t> small(2047, 0x77);
  session.out.SetBufferPointer(reinterpret_cast<uint8_t*>(small.data()), 4094);
  for (int again = 0; again < 2; ++again) {
    EXPECT_EQ(session.decoder.GetFrame(&session.in, &session.out), UMC::UMC_ERR_NOT_ENOUGH_BUFFER);
    EXPECT_EQ(session.in.GetDataSize(), stream.size());
  }
  EXPECT_EQ(session.Next(), UMC::UMC_OK);
  const std::vector<int16_t> resumed = session.pcm;
  Session fresh;
  ASSERT_EQ(fresh.Init(), UMC::UMC_OK);
  ASSERT_EQ(fresh.Get(&stream), UMC::UMC_OK);
  EXPECT_EQ(fresh.pcm, resumed);
}

// Memory short at any point, then enough of it: the next try works.
TEST(CodecClass, RecoversFromFailingMemory) {
  const Bytes config = {0x12, 0x10};
  for (const bool units : {true, false})
    for (const bool lock : {true, false})
      for (int n = 0; n < 6; ++n) {
        FailingAllocator allocator;
        {
          Session session(&allocator);
          (lock ? allocator.failLock : allocator.failAlloc) = n;
          Bytes stream = units ? CutAdts(Adts())[0] : Adts();
          Status status = session.Init(units ? config : Bytes());
          if (status == UMC::UMC_OK) status = session.Get(&stream);
          if (status != UMC::UMC_OK) {
            EXPECT_EQ(status, UMC::UMC_ERR_ALLOC) << units << lock << n;
          }
          allocator.failLock = allocator.failAlloc = -1;
          session.Get(&stream);  // whatever it says, it survives
          ASSERT_EQ(session.Init(units ? config : Bytes()), UMC::UMC_OK);
          EXPECT_EQ(session.Get(&stream), UMC::UMC_OK);
        }
        EXPECT_EQ(allocator.Blocks(), 0);
      }
}

// A refused configuration leaves nothing behind that a stream found later meets.
TEST(CodecClass, StreamsAfterARefusalDecode) {
  for (const Bytes& refused : {Bytes{0xB2, 0x00}, Bytes{0xB3, 0xC5}, Bytes{0xF9, 0x08, 0x00}}) {
    Session session;
    EXPECT_EQ(session.Init(refused), UMC::UMC_ERR_INIT);
    Bytes none;
    EXPECT_EQ(session.Get(&none), UMC::UMC_ERR_NOT_ENOUGH_DATA);
    for (int profile = 0; profile < 4; ++profile) {
      Bytes stream = Adif();
      stream[9] = static_cast<uint8_t>((stream[9] & 0x3F) | profile << 6);
      for (int frame = 0; frame < 3; ++frame) session.Get(&stream);
      session.Init(refused);
    }
    ASSERT_EQ(session.Init(), UMC::UMC_OK);
    Bytes stream = Adts();
    EXPECT_EQ(session.Get(&stream), UMC::UMC_OK);
  }
}

// Every byte of a short stream flipped, and every length: a status each time, and
// what follows the damage decodes.
TEST(CodecClass, SurvivesEveryFlippedByteAndEveryCut) {
  const Bytes clean = Adts();
  const std::vector<Bytes> blocks = CutAdts(clean);
  const size_t length =
      7 * 4 + blocks[0].size() + blocks[1].size() + blocks[2].size() + blocks[3].size();
  for (size_t at = 0; at < length; at += 3) {
    Bytes damaged(clean.begin(), clean.begin() + static_cast<ptrdiff_t>(length));
    damaged[at] ^= static_cast<uint8_t>(1 + at % 255);
    Bytes cut(clean.begin(), clean.begin() + static_cast<ptrdiff_t>(at));
    for (Bytes* stream : {&damaged, &cut}) {
      Session session;
      ASSERT_EQ(session.Init(), UMC::UMC_OK);
      session.in.SetBufferPointer(stream->data(), stream->size());
      session.in.SetDataSize(stream->size());
      for (int call = 0; call < 64; ++call) {
        const Status status = session.Next();
        if (status != UMC::UMC_OK && status != UMC::UMC_ERR_INVALID_STREAM) break;
      }
    }
  }
  // A damaged unit costs itself; the stream goes on.
  Session session;
  ASSERT_EQ(session.Init({0x12, 0x10}), UMC::UMC_OK);
  for (size_t i = 0; i < blocks.size(); ++i) {
    Bytes unit = blocks[i];
    if (i % 3 == 1) unit.resize(unit.size() / 2);
    EXPECT_EQ(session.Get(&unit), i % 3 == 1 ? UMC::UMC_ERR_INVALID_STREAM : UMC::UMC_OK) << i;
    EXPECT_EQ(session.in.GetDataSize(), 0u);
    if (i % 3 == 1) {
      const int64_t sum =
          std::accumulate(session.pcm.begin(), session.pcm.begin() + 2048, int64_t{0});
      EXPECT_EQ(sum, 0);
    }
  }
}

}  // namespace
}  // namespace orbel::aac_test
