// The AAC media object: what it takes and offers, its samples with their
// configuration in front, and the way back to one channel.
#include "dmo/decoder_fixture.h"
#include "support/aac_stream.h"

namespace orbel {
namespace {

constexpr uint32_t kRoom = 102400;

void SetAacInput(IMediaObject* object, uint32_t rate) {
  MediaType type;
  MakeInputType(type.Record(), 255, 0);
  reinterpret_cast<WAVEFORMATEX*>(type->format)->samplesPerSecond = rate;
  ASSERT_EQ(object->SetInputType(0, type.Record(), 0), S_OK);
}

Reference<IMediaObject> OpenAac(uint32_t rate) {
  Reference<IMediaObject> object = MakeDecoder(CLSID_aacdecoder);
  SetAacInput(object.Get(), rate);
  EXPECT_EQ(AcceptOutput(object.Get()), S_OK);
  return object;
}

TEST(AacDecoderObject, OffersMonoAtTheRatesItKnows) {
  for (const auto& [rate, offered] : std::vector<std::pair<uint32_t, uint32_t>>{
           {8000, 8000}, {16000, 16000}, {32000, 32000}, {44100, 44100}, {22050, 48000}}) {
    Reference<IMediaObject> object = MakeDecoder(CLSID_aacdecoder);
    EXPECT_EQ(SetInput(object.Get(), 495, 160), DMO_E_INVALIDTYPE);
    SetAacInput(object.Get(), rate);
    MediaType type;
    ASSERT_EQ(object->GetOutputType(0, 0, type.Record()), S_OK);
    const auto* wave = reinterpret_cast<const WAVEFORMATEX*>(type->format);
    EXPECT_EQ(wave->samplesPerSecond, offered);
    EXPECT_EQ(wave->bytesPerSecond, 2 * offered);
    EXPECT_EQ(wave->channels, 1);
    EXPECT_EQ(type->sampleSize, kRoom);
    ASSERT_EQ(object->SetOutputType(0, type.Record(), 0), S_OK);
    uint32_t flags = 0, size = 0, lookahead = 9, alignment = 0;
    EXPECT_EQ(object->GetInputStreamInfo(0, &flags), S_OK);
    EXPECT_EQ(flags, 3u);
    EXPECT_EQ(object->GetOutputStreamInfo(0, &flags), S_OK);
    EXPECT_EQ(flags, 7u);
    EXPECT_EQ(object->GetInputSizeInfo(0, &size, &lookahead, &alignment), S_OK);
    EXPECT_EQ(size + lookahead + alignment, 2u);
  }
}

TEST(AacDecoderObject, KeepsTheLeftChannel) {
  for (const char* file : {"lc_44100_st_128k_music.aac", "main_22050_mono_pred_32k.aac",
                           "ltp_44100_st_96k.aac", "lc_48000_51_192k.aac"}) {
    const AacStream stream(file);
    const aac_test::Decoded& want = stream.want;
    const size_t step = want.channels == 2 ? 2 : 1;
    Reference<IMediaObject> object = OpenAac(44100);
    for (size_t i = 0; i < stream.units.size(); ++i) {
      HostBuffer input(stream.samples.at(i));
      HostBuffer output(kRoom + 1);
      output.shift = i % 2;  // odd addresses too
      ASSERT_EQ(Feed(object.Get(), &input), S_OK);
      DMO_OUTPUT_DATA_BUFFER buffer = {&output, 0, 0, 0};
      uint32_t status = 0;
      ASSERT_EQ(object->ProcessOutput(0, 1, &buffer, &status), S_OK);
      EXPECT_EQ(buffer.status, 7u);
      const std::vector<int16_t> pcm = output.Pcm();
      const size_t perFrame = 1024 * want.channels;
      ASSERT_EQ(pcm.size(), perFrame / step);
      for (size_t n = 0; n < pcm.size(); ++n)
        ASSERT_EQ(pcm[n], want.samples[i * perFrame + n * step]) << file << " " << i << " " << n;
    }
  }
}

// The output type's sample size is what counts as room, at odd addresses too.
TEST(AacDecoderObject, FillsNoMoreThanTheTypeSays) {
  const AacStream stream("lc_16000_mono_24k_speech.aac");
  for (const uint32_t size : {0u, 1u, 2047u, 2048u})
    for (const uint32_t shift : {0u, 1u}) {
      Reference<IMediaObject> object = MakeDecoder(CLSID_aacdecoder);
      SetAacInput(object.Get(), 16000);
      ASSERT_EQ(AcceptOutput(object.Get(), size), S_OK);
      HostBuffer input(stream.samples[0]);
      HostBuffer output(size + 1);
      output.shift = shift;
      ASSERT_EQ(Feed(object.Get(), &input), S_OK);
      EXPECT_EQ(Fetch(object.Get(), &output), size == 2048 ? S_OK : E_FAIL) << size << shift;
    }
}

TEST(AacDecoderObject, LosesBadSamplesAndNothingElse) {
  const AacStream stream("lc_16000_mono_24k_speech.aac");
  Reference<IMediaObject> object = OpenAac(16000);
  const auto fetch = [&](const std::vector<uint8_t>& sample) {
    HostBuffer input(sample);
    HostBuffer output(kRoom);
    EXPECT_EQ(Feed(object.Get(), &input), S_OK);
    const HRESULT result = Fetch(object.Get(), &output);
    EXPECT_EQ(input.references, 1u);
    return result;
  };
  // The first sample sets the decoder up even when its length byte is bad.
  std::vector<uint8_t> badLength = stream.samples.at(0);
  badLength[0] = 5;
  EXPECT_EQ(fetch(badLength), E_INVALIDARG);
  EXPECT_EQ(fetch(stream.samples.at(0)), S_OK);
  badLength[0] = 0;
  EXPECT_EQ(fetch(badLength), E_INVALIDARG);
  EXPECT_EQ(fetch({3, 0x14, 0x08, 0x00}), E_FAIL);  // no unit behind the configuration
  EXPECT_EQ(fetch({3, 0x14, 0x08}), E_INVALIDARG);
  std::vector<uint8_t> cut = stream.samples.at(1);
  cut.resize(cut.size() / 2);
  EXPECT_EQ(fetch(cut), E_FAIL);
  // Configurations of later samples are stepped over.
  EXPECT_EQ(fetch(AacSample({0xFF, 0xFF, 0xFF}, stream.units[1])), S_OK);
  EXPECT_EQ(fetch(stream.samples.at(2)), S_OK);
}

TEST(AacDecoderObject, RefusesForeverWhatItCannotSetUp) {
  const AacStream stream("lc_16000_mono_24k_speech.aac");
  Reference<IMediaObject> object = OpenAac(16000);
  HostBuffer bad(AacSample({0xF0, 0x00}, {}));
  EXPECT_EQ(Feed(object.Get(), &bad), E_FAIL);
  HostBuffer good(stream.samples.at(0));
  EXPECT_EQ(Feed(object.Get(), &good), E_FAIL);
}

}  // namespace
}  // namespace orbel
