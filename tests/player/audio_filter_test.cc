// The source pin's offer and buffer sizes, and the callback renderer.
#include "player/audio_filter.h"

#include <gtest/gtest.h>

#include <cstring>

#include "platform/sample_pool.h"
#include "player/callback_renderer.h"

namespace orbel {
namespace {

TEST(AudioPin, OffersOneTypeByFormatAndRate) {
  struct Case {
    StreamFormat format;
    uint32_t subtype;  // 0: none
    uint32_t rate, codedRate;
  };
  const Case cases[] = {
      {{495, 0, 160}, 495, 8000, 64000},
      {{496, 0, 160}, 496, 8000, 64000},
      {{751, 0, 80}, 751, 8000, 32000},
      {{1007, 0, 60}, 1007, 8000, 24000},
      {{10005, 0, 164}, 10005, 8000, 32000},
      {{255, 19, 0}, 255, 0, 0},
      {{255, 20, 0}, 255, 8000, 8000},
      {{255, 24, 0}, 255, 8000, 32000},
      {{255, 25, 0}, 255, 16000, 12000},
      {{255, 30, 0}, 255, 16000, 64000},
      {{255, 31, 0}, 255, 32000, 16000},
      {{255, 36, 0}, 255, 32000, 128000},
      {{255, 37, 4000}, 255, 44100, 128000},
      {{255, 38, 0}, 255, 48000, 128000},
      {{255, 39, 0}, 255, 0, 0},
      {{7, 20, 100}, 0, 0, 0},
      {{65536 + 495, 0, 160}, 0, 0, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.format.formatId << " " << c.format.rateIndex);
    Reference<AudioFilter> filter(new AudioFilter(c.format));
    AudioPin& pin = filter->Pin();
    MediaType type;
    ASSERT_EQ(pin.GetMediaType(0, type.Record()), S_OK);
    EXPECT_EQ(type->majorType, MEDIATYPE_Audio);
    EXPECT_EQ(type->subtype, c.subtype != 0 ? WaveSubtype(c.subtype) : GUID{});
    const bool isAac = c.format.formatId == 255;
    EXPECT_EQ(type->fixedSizeSamples, isAac ? 0 : 1);
    EXPECT_EQ(type->temporalCompression, 0);
    EXPECT_EQ(type->sampleSize, isAac ? 0u : static_cast<uint32_t>(c.format.sampleSize));
    const WAVEFORMATEX* const wave = WaveFormatOf(*type);
    ASSERT_NE(wave, nullptr);
    EXPECT_EQ(wave->formatTag, c.format.formatId & 0xFFFF);
    EXPECT_EQ(wave->channels, 1);
    EXPECT_EQ(wave->samplesPerSecond, c.rate);
    EXPECT_EQ(wave->bytesPerSecond, c.codedRate);
    EXPECT_EQ(wave->blockAlign, 2);
    EXPECT_EQ(wave->bitsPerSample, 16);
    EXPECT_EQ(wave->extraSize, 0);
  }
}

TEST(AudioPin, AnswersOddQuestions) {
  Reference<AudioFilter> filter(new AudioFilter({495, 0, 320}));
  AudioPin& pin = filter->Pin();
  EXPECT_EQ(pin.GetMediaType(-1, nullptr), E_INVALIDARG);
  EXPECT_EQ(pin.GetMediaType(1, nullptr), VFW_S_NO_MORE_ITEMS);
  EXPECT_EQ(pin.GetMediaType(0, nullptr), E_POINTER);
  EXPECT_EQ(filter->GetPinCount(), 1);
  EXPECT_EQ(filter->GetPin(0), &pin);
  EXPECT_EQ(filter->GetPin(1), nullptr);
  EXPECT_EQ(filter->GetPin(-1), nullptr);

  // Only the tag counts, and before the first offer it is 0.
  MediaType type;
  EXPECT_EQ(pin.CheckMediaType(nullptr), E_POINTER);
  EXPECT_EQ(pin.CheckMediaType(type.Record()), S_FALSE);
  MoInitMediaType(type.Record(), 2);
  EXPECT_EQ(pin.CheckMediaType(type.Record()), S_OK);
  MediaType offer;
  pin.GetMediaType(0, offer.Record());
  EXPECT_EQ(pin.CheckMediaType(type.Record()), S_FALSE);
  type.Record()->format[0] = 495 & 0xFF;
  type.Record()->format[1] = 495 >> 8;
  EXPECT_EQ(pin.CheckMediaType(type.Record()), S_OK);
  type.Record()->formatSize = 1;
  EXPECT_EQ(pin.CheckMediaType(type.Record()), S_FALSE);
  // A type that holds a block already is freed first.
  EXPECT_EQ(pin.GetMediaType(0, type.Record()), S_OK);
}

TEST(AudioPin, RaisesBuffersToTheSample) {
  struct Case {
    int32_t formatId, sampleSize, proposed, size;
  };
  for (const Case& c :
       {Case{255, 0, 4096, 8191}, Case{255, 0, 10000, 10000}, Case{495, 320, 100, 320},
        Case{495, 320, 400, 400}, Case{255, 4000, 0, 4000}, Case{255, -5, 0, 8192}}) {
    Reference<AudioFilter> filter(new AudioFilter({c.formatId, 0, c.sampleSize}));
    Reference<IMemAllocator> pool(new SamplePool);
    AllocatorProperties properties = {-1, c.proposed, 0};
    EXPECT_EQ(filter->Pin().DecideBufferSize(pool.Get(), &properties), S_OK);
    EXPECT_EQ(properties.bufferCount, 1);
    pool->GetProperties(&properties);
    EXPECT_EQ(properties.bufferSize, c.size);
    EXPECT_EQ(filter->Pin().DecideBufferSize(nullptr, &properties), E_POINTER);
    EXPECT_EQ(filter->Pin().DecideBufferSize(pool.Get(), nullptr), E_POINTER);
    properties.bufferSize = INT32_MAX;
    EXPECT_LT(filter->Pin().DecideBufferSize(pool.Get(), &properties), 0);
  }
}

TEST(CallbackRenderer, NotesTheLastSampleWithData) {
  uint8_t* data = nullptr;
  int32_t size = 0;
  Reference<CallbackAudioRenderer> renderer(new CallbackAudioRenderer(&data, &size));
  MediaType type;
  EXPECT_EQ(renderer->CheckMediaType(nullptr), E_POINTER);
  EXPECT_EQ(renderer->CheckMediaType(type.Record()), S_FALSE);
  type.Record()->majorType = MEDIATYPE_Audio;
  EXPECT_EQ(renderer->CheckMediaType(type.Record()), S_OK);

  EXPECT_EQ(renderer->DoRenderSample(nullptr), S_OK);
  Reference<IMemAllocator> pool(new SamplePool);
  const AllocatorProperties request = {1, 64, 0};
  AllocatorProperties actual;
  pool->SetProperties(&request, &actual);
  pool->Commit();
  Reference<MediaSample> sample;
  pool->GetBuffer(sample.Receive());
  EXPECT_EQ(renderer->DoRenderSample(sample.Get()), S_OK);
  EXPECT_EQ(data, nullptr);  // no data in it
  sample->SetActualDataLength(10);
  EXPECT_EQ(renderer->DoRenderSample(sample.Get()), S_OK);
  uint8_t* const place = sample->GetPointer();
  EXPECT_EQ(data, place);
  EXPECT_EQ(size, 10);
}

}  // namespace
}  // namespace orbel
