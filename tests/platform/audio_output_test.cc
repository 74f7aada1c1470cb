// The real path to the sound library, with its own file and null plug-ins as
// the device: what reaches the device is what was rendered.
#include "platform/audio_output.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "platform/sample_pool.h"

namespace orbel {
namespace {

class AudioOutputTest : public testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/orbel-audio-XXXXXX";
    directory = mkdtemp(pattern);
    CoInitializeEx(nullptr, 0);
    UseDevice("pcm.!default { type file file \"" + directory +
              "/out.raw\" format raw slave.pcm { type null } }\n");
  }
  void TearDown() override {
    output.Clear();
    CoUninitialize();
    std::filesystem::remove_all(directory);
    unsetenv("ALSA_CONFIG_PATH");
  }
  void UseDevice(const std::string& configuration) {
    static int count = 0;  // a fresh name, so that the library reads it anew
    const std::string path = directory + "/asound" + std::to_string(++count) + ".conf";
    std::ofstream(path) << configuration;
    setenv("ALSA_CONFIG_PATH", path.c_str(), 1);
  }
  HRESULT Create() {
    return CoCreateInstance(CLSID_DSoundRender, nullptr, 3, IID_IBaseFilter, output.ReceiveVoid());
  }
  AudioOutput* Renderer() { return static_cast<AudioOutput*>(output.Get()); }

  static void Describe(DMO_MEDIA_TYPE* t, uint32_t rate, uint16_t channels = 1,
                       uint16_t bits = 16) {
    MoInitMediaType(t, 18);
    t->majorType = MEDIATYPE_Audio;
    t->subtype = MEDIASUBTYPE_PCM;
    t->formatType = FORMAT_WaveFormatEx;
    *reinterpret_cast<WAVEFORMATEX*>(t->format) = {
        .formatTag = 1,
        .channels = channels,
        .samplesPerSecond = rate,
        .bytesPerSecond = rate * channels * 2,
        .blockAlign = static_cast<uint16_t>(2 * channels),
        .bitsPerSample = bits,
        .extraSize = 0};
  }
  HRESULT Render(const std::vector<int16_t>& samples) {
    Reference<IMemAllocator> pool(new SamplePool);
    const AllocatorProperties request = {1, static_cast<int32_t>(samples.size() * 2), 0};
    AllocatorProperties actual;
    pool->SetProperties(&request, &actual);
    pool->Commit();
    Reference<MediaSample> sample;
    pool->GetBuffer(sample.Receive());
    uint8_t* const data = sample->GetPointer();
    std::memcpy(data, samples.data(), samples.size() * 2);
    sample->SetActualDataLength(request.bufferSize);
    return Renderer()->DoRenderSample(sample.Get());
  }
  // What reached the device. Closing it drops what is still queued, so silence
  // of more than its buffer goes behind.
  std::vector<int16_t> Played() {
    EXPECT_EQ(Render(std::vector<int16_t>(4000)), S_OK);
    output.Clear();
    std::ifstream file(directory + "/out.raw", std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(file)), {});
    std::vector<int16_t> samples(bytes.size() / 2);
    std::memcpy(samples.data(), bytes.data(), samples.size() * 2);
    return samples;
  }
  HRESULT Connect(uint32_t rate) {
    // What a source pin would do.
    MediaType type;
    Describe(type.Record(), rate);
    return Renderer()->BasePin(0)->SetMediaType(*type);
  }

  std::string directory;
  Reference<IBaseFilter> output;
};

std::vector<int16_t> Ramp(int count) {
  std::vector<int16_t> samples;
  for (int i = 0; i < count; ++i) samples.push_back(static_cast<int16_t>(i * 37 - 32768));
  return samples;
}

TEST_F(AudioOutputTest, TheSamplesReachTheDevice) {
  ASSERT_EQ(Create(), S_OK);
  ASSERT_EQ(Connect(8000), S_OK);
  const std::vector<int16_t> samples = Ramp(1777);
  EXPECT_EQ(Render(samples), S_OK);
  EXPECT_EQ(Render(samples), S_OK);
  std::vector<int16_t> twice = samples;
  twice.insert(twice.end(), samples.begin(), samples.end());
  std::vector<int16_t> played = Played();
  ASSERT_GE(played.size(), twice.size());
  played.resize(twice.size());
  EXPECT_EQ(played, twice);
}

TEST_F(AudioOutputTest, VolumeScalesWhatIsPlayed) {
  ASSERT_EQ(Create(), S_OK);
  ASSERT_EQ(Connect(8000), S_OK);
  Reference<IBasicAudio> audio;
  ASSERT_EQ(output->QueryInterface(IID_IBasicAudio, audio.ReceiveVoid()), S_OK);
  EXPECT_EQ(audio->put_Volume(1), E_INVALIDARG);
  EXPECT_EQ(audio->put_Volume(-10001), E_INVALIDARG);
  EXPECT_EQ(audio->get_Volume(nullptr), E_POINTER);
  const std::vector<int16_t> samples = Ramp(3000);
  const int32_t levels[] = {0, -602, -2000, -9999, -10000};
  for (const int32_t level : levels) {
    EXPECT_EQ(audio->put_Volume(level), S_OK);
    int32_t told = 1;
    EXPECT_EQ(audio->get_Volume(&told), S_OK);
    EXPECT_EQ(told, level);
    EXPECT_EQ(Render(samples), S_OK);
  }
  const std::vector<int16_t> played = Played();
  ASSERT_GE(played.size(), 5 * samples.size());
  for (size_t k = 0; k < 5; ++k) {
    const double gain = levels[k] == -10000 ? 0 : std::pow(10.0, levels[k] / 2000.0);
    for (size_t i = 0; i < samples.size(); ++i)
      ASSERT_NEAR(played[k * samples.size() + i], samples[i] * gain, 1.0) << levels[k];
  }
}

TEST_F(AudioOutputTest, TakesPcmOf16BitsOnly) {
  ASSERT_EQ(Create(), S_OK);
  EXPECT_EQ(Renderer()->CheckMediaType(nullptr), E_POINTER);
  MediaType good, eight, silent, video;
  Describe(good.Record(), 48000, 2);
  EXPECT_EQ(Renderer()->CheckMediaType(good.Record()), S_OK);
  Describe(eight.Record(), 8000, 1, 8);
  EXPECT_EQ(Renderer()->CheckMediaType(eight.Record()), S_FALSE);
  Describe(silent.Record(), 0);
  EXPECT_EQ(Renderer()->CheckMediaType(silent.Record()), S_FALSE);
  MoInitMediaType(video.Record(), 0);
  EXPECT_EQ(Renderer()->CheckMediaType(video.Record()), S_FALSE);
}

TEST_F(AudioOutputTest, NoDeviceNoRenderer) {
  UseDevice("# no device at all\n");
  EXPECT_LT(Create(), 0);
  EXPECT_EQ(output.Get(), nullptr);
  UseDevice("pcm.!default { type hw card 77 }\n");
  EXPECT_LT(Create(), 0);
}

TEST_F(AudioOutputTest, StopDropsAndRunGoesOn) {
  ASSERT_EQ(Create(), S_OK);
  ASSERT_EQ(Connect(8000), S_OK);
  for (int round = 0; round < 3; ++round) {
    EXPECT_EQ(Renderer()->Run(0), S_OK);
    EXPECT_EQ(Render(Ramp(400)), S_OK);
    EXPECT_EQ(Renderer()->Stop(), S_OK);
  }
}

}  // namespace
}  // namespace orbel
