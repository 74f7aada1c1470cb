// AAC files of every kind through the tool: what comes out is the reference PCM,
// also where frames must be wrapped again or found among damage.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "support/bit_writer.h"
#include "support/flac_reader.h"
#include "tools/tool_run.h"

namespace orbel {
namespace {

using Pcm = std::vector<int16_t>;

const std::string kData = ORBEL_TEST_DATA "/aac/";

Bytes Stream(const std::string& name) { return ReadFile(kData + name); }

Bytes operator+(Bytes left, const Bytes& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

struct Wav {
  uint32_t rate = 0;
  size_t channels = 0;
  uint32_t mask = 0;  // of an extensible header
  Pcm pcm;
};

Wav ReadWav(const Bytes& bytes) {
  Wav wav;
  if (bytes.size() < 44) return wav;
  const bool isExtensible = LittleAt(bytes, 20, 2) == 0xFFFE;
  const size_t head = isExtensible ? 68 : 44;
  wav.channels = LittleAt(bytes, 22, 2);
  wav.rate = LittleAt(bytes, 24, 4);
  if (isExtensible) wav.mask = LittleAt(bytes, 40, 4);
  EXPECT_EQ(LittleAt(bytes, 4, 4), bytes.size() - 8);
  EXPECT_EQ(LittleAt(bytes, head - 4, 4), bytes.size() - head);
  wav.pcm = AsPcm(bytes, head);
  return wav;
}

Wav Decode(const Workplace& work, const std::string& words, const std::string& notes = "") {
  const ToolResult result = work.Orbel("decode " + words + " -o o.wav");
  EXPECT_EQ(result.exitCode, 0) << words << ": " << result.err;
  if (notes.empty())
    EXPECT_EQ(result.err, "") << words;
  else
    EXPECT_NE(result.err.find(notes), std::string::npos) << words << ": " << result.err;
  return ReadWav(work.Get("o.wav"));
}

// `order`: the WAV's channel for each of the reference's.
void ExpectSound(const Wav& wav, const ReferencePcm& want, const std::string& what,
                 const char* order = "01234567") {
  ASSERT_EQ(wav.channels, want.channels) << what;
  EXPECT_EQ(wav.rate, want.rate) << what;
  ASSERT_GE(wav.pcm.size(), want.samples.size()) << what;
  double squares = 0;
  for (size_t i = 0; i < want.samples.size(); ++i) {
    const size_t c = i % want.channels;
    const double error = wav.pcm[i - c + static_cast<size_t>(order[c] - '0')] - want.samples[i];
    squares += error * error;
    ASSERT_LE(std::abs(error), 2) << what << " sample " << i;
  }
  EXPECT_LT(std::sqrt(squares / static_cast<double>(want.samples.size())), 0.2887) << what;
}

TEST(Aac, EveryKindOfFile) {
  const Workplace work;
  const struct {
    const char* file;
    const char* reference;
    uint32_t mask = 0;
    const char* options = "";
    const char* order = "01234567";
  } kCases[] = {
      {"lc_22050_st_40k_music.aac", "lc_22050_st_40k_music"},
      {"lc_24000_mono_adif.adif", "lc_24000_mono_adif"},
      {"lc_44100_st_raw_au.au", "lc_44100_st_raw_au", 0, " --config 1210"},
      {"lc_44100_st_128k_crc.aac", "lc_44100_st_128k_crc"},
      {"lc_48000_st_4blocks.aac", "lc_48000_st_4blocks"},
      {"lc_32000_st_pce_each.aac", "lc_32000_st_pce_each"},
      {"lc_48000_30_112k.aac", "lc_48000_30_112k", 0x7},
      {"lc_48000_quad_pce_128k.aac", "lc_48000_quad_pce_128k", 0x33},
      {"lc_48000_51_192k.aac", "lc_48000_51_192k", 0x3F},
      {"lc_48000_51_adif.adif", "lc_48000_51_adif", 0x3F},
      {"lc_48000_61_raw_cfg11.au", "lc_48000_61_raw_cfg11", 0x13F, " --config 11d8"},
      {"lc_48000_71_rear_pce.aac", "lc_48000_71_rear_pce", 0x63F},
      // Inner front and front, which the reference takes for front and side.
      {"lc_48000_71_front_cfg7.aac", "lc_48000_71_front_cfg7", 0xFF, "", "67234501"},
  };
  for (const auto& test : kCases) {
    const ReferencePcm want = ReadFlac(kData + test.reference + ".flac");
    const std::string file = kData + test.file;
    const Wav wav = Decode(work, "'" + file + "'" + test.options);
    ExpectSound(wav, want, test.file, test.order);
    EXPECT_EQ(wav.mask, test.mask) << test.file;

    const ToolResult piped =
        work.Shell("cat '" + file + "' | orbel decode - -o o.pcm" + test.options);
    EXPECT_EQ(piped.exitCode, 0) << test.file << piped.err;
    EXPECT_TRUE(AsPcm(work.Get("o.pcm")) == wav.pcm) << test.file << " from a pipe";

    const ToolResult player = work.Orbel("decode '" + file + "' --player -o o.wav" + test.options);
    if (test.mask == 0x33 || test.mask == 0x63F) {
      EXPECT_TRUE(player.Complains(1, "configuration")) << test.file << player.err;
      continue;
    }
    const Wav mono = ReadWav(work.Get("o.wav"));
    ASSERT_EQ(player.exitCode, 0) << test.file << player.err;
    ASSERT_EQ(mono.pcm.size() / mono.channels, wav.pcm.size() / wav.channels) << test.file;
    if (wav.channels > 2) continue;  // as they are
    for (size_t i = 0; i < mono.pcm.size(); ++i)
      ASSERT_EQ(mono.pcm[i], wav.pcm[i * wav.channels]) << test.file << " sample " << i;
  }
}

// Frames are found, and all of them, whatever lies between them.
TEST(Aac, AmongGarbageAndDamage) {
  const Workplace work;
  const Bytes whole = Stream("lc_12000_mono_20k_speech.aac");
  std::vector<size_t> at = {0};
  while (at.back() < whole.size())
    at.push_back(at.back() + ((whole[at.back() + 3] & 3u) << 11 |
                              static_cast<size_t>(whole[at.back() + 4]) << 3 |
                              whole[at.back() + 5] >> 5));
  ASSERT_EQ(at.size(), 21u);
  const auto part = [&](size_t from, size_t to) {
    return Bytes(whole.begin() + static_cast<ptrdiff_t>(at[from]),
                 whole.begin() + static_cast<ptrdiff_t>(at[to]));
  };
  const Bytes sync = {0xFF, 0xF1, 0x64};
  Bytes tag = {'I', 'D', '3', 4, 0, 0, 0, 0, 2, 0};
  tag.resize(10 + 256, 0xFF);
  Bytes end = {'T', 'A', 'G'};
  end.resize(128);
  Bytes runOn = whole;  // a frame whose length runs over the next two
  runOn[at[7] + 4] = static_cast<uint8_t>(runOn[at[7] + 4] + 64);
  Bytes noHead = whole;
  noHead[at[7]] = 0;
  Bytes bad = whole;
  std::fill(bad.begin() + static_cast<ptrdiff_t>(at[7]) + 7,
            bad.begin() + static_cast<ptrdiff_t>(at[8]), 0xFF);
  work.Put("in", whole);
  const Wav want = Decode(work, "in");
  ASSERT_EQ(want.pcm.size(), 20480u);

  const struct {
    const char* what;
    Bytes bytes;
    const char* note;
    size_t frames;
    size_t gone = 99;  // a frame that is lost or silent, and so the next one's overlap
    bool isSilent = true;
  } kCases[] = {
      {"ID3 tag", tag + whole, "", 20},
      {"tag behind", whole + end, "no frame: 128", 20},
      {"sync words between frames", part(0, 5) + sync + part(5, 9) + sync + part(9, 20),
       "no frame: 6, in 2 places, the first (byte ", 20},
      {"garbage in front", Noise(500, 1) + whole, "no frame: 500, in 1 place (byte 0)", 20},
      {"cut short", Bytes(whole.begin(), whole.end() - 5), "ends within a frame", 19},
      {"damaged frame", bad, "damaged: 1 of 20 frames, silent; the first", 20, 7},
      {"damaged length", runOn, "damaged: 1 of 20", 20, 7},
      {"damaged header", noHead, "no frame", 19, 7, false},
      {"lost frame", part(0, 7) + part(8, 20), "", 19, 7, false},
  };
  for (const auto& test : kCases) {
    work.Put("in", test.bytes);
    const Wav got = Decode(work, "in", test.note);
    ASSERT_EQ(got.pcm.size(), 1024 * test.frames) << test.what;
    for (size_t frame = 0; frame < test.frames; ++frame) {
      if (frame == test.gone || frame == test.gone + 1) continue;
      const size_t from = frame + (test.isSilent || frame < test.gone ? 0 : 1);
      if (from == test.gone + 1) continue;
      EXPECT_TRUE(std::equal(got.pcm.begin() + static_cast<ptrdiff_t>(1024 * frame),
                             got.pcm.begin() + static_cast<ptrdiff_t>(1024 * (frame + 1)),
                             want.pcm.begin() + static_cast<ptrdiff_t>(1024 * from)))
          << test.what << ", frame " << frame;
    }
  }
}

// A mono ADTS stream at 22050 Hz as ADIF, where nothing but decoding tells the frames' ends.
Bytes AsAdif(const Bytes& adts) {
  BitWriter head;
  head.Put(0x41444946, 32);
  head.Put(1, 4);  // variable rate, and nothing else
  head.Put(0, 23 + 4);
  for (const auto& [value, bits] : {std::pair{0u, 4}, {1u, 2}, {7u, 4}, {1u, 4}, {0u, 24}})
    head.Put(value, bits);
  while (head.position % 8 != 0) head.Put(0, 1);
  head.Put(0, 8);  // no comment
  Bytes adif = head.bytes;
  for (size_t at = 0; at < adts.size();) {
    const size_t length =
        (adts[at + 3] & 3u) << 11 | static_cast<size_t>(adts[at + 4]) << 3 | adts[at + 5] >> 5;
    adif.insert(adif.end(), adts.begin() + static_cast<ptrdiff_t>(at + 7),
                adts.begin() + static_cast<ptrdiff_t>(at + length));
    at += length;
  }
  return adif;
}

// Where nothing is asked for, the full rate, and two channels where parametric
// stereo is sent, in any container and from a pipe.
TEST(Aac, BandReplicationAndParametricStereo) {
  const Workplace work;
  work.Put("he1.aac", Stream("he1_44100_st_48k.aac"));
  work.Put("mono.aac", Stream("he1_48000_mono_24k.aac"));
  work.Put("down.au", Stream("he1_24000_mono_downsampled.au"));
  work.Put("sig2.au", Stream("he1_48000_st_raw_sig2.au"));
  work.Put("he2.aac", Stream("he2_44100_24k.aac"));
  work.Put("he2.adif", AsAdif(Stream("he2_44100_24k.aac")));
  work.Put("he2.au", Stream("he2_32000_raw_sig0.au"));
  const std::string nothing;
  const struct {
    std::string words;
    uint32_t rate;
    size_t channels;
    std::string reference;  // empty: only the form is looked at
    const char* title = "MPEG-4 HE-AAC\"";
  } kCases[] = {
      {"he1.aac", 44100, 2, "he1_44100_st_48k"},
      {"he1.aac --sbr-mode 28", 44100, 2, nothing},
      {"he1.aac --downsample 1", 22050, 2, nothing},
      {"mono.aac", 48000, 1, "he1_48000_mono_24k"},
      {"mono.aac --ps 411", 48000, 2, "he1_48000_mono_24k"},
      {"down.au --config 2b0b0800", 24000, 1, "he1_24000_mono_downsampled"},
      {"down.au --config 2b0b0800 --downsample 0", 48000, 1, nothing},
      {"sig2.au --config 2b118800", 48000, 2, "he1_48000_st_raw_sig2"},
      {"sig2.au --config 2b118800 --downsample 1", 24000, 2, nothing},
      {"sig2.au --config 2b118800 --player", 48000, 1, nothing, "AAC LC"},
      {"he2.aac", 44100, 2, "he2_44100_24k", "MPEG-4 HE-AAC v2\""},
      {"he2.adif", 44100, 2, "he2_44100_24k", "MPEG-4 HE-AAC v2\""},
      {"he2.au --config 1408", 32000, 2, "he2_32000_raw_sig0", "MPEG-4 HE-AAC v2\""},
      {"he2.aac --ps 111", 44100, 2, nothing, "MPEG-4 HE-AAC v2\""},
      {"he2.aac --ps off", 44100, 1, nothing},
      {"he2.aac --sbr-mode 28", 44100, 1, nothing},
      {"he2.aac --downsample 1", 22050, 1, nothing},
      {"he2.aac --player", 22050, 1, nothing, "AAC LC"},
  };
  for (const auto& test : kCases) {
    const ToolResult result = work.Orbel("decode " + test.words + " -o o.wav --json");
    ASSERT_EQ(result.exitCode, 0) << test.words << result.err;
    EXPECT_NE(result.out.find(test.title), std::string::npos) << test.words << result.out;
    const Wav wav = ReadWav(work.Get("o.wav"));
    EXPECT_EQ(wav.rate, test.rate) << test.words;
    ASSERT_EQ(wav.channels, test.channels) << test.words;
    if (test.reference.empty()) continue;
    const ReferencePcm want = ReadFlac(kData + test.reference + ".flac");
    const size_t step = want.channels / wav.channels;  // 2: the reference has mono twice
    ASSERT_GE(wav.pcm.size() * step, want.samples.size()) << test.words;
    for (size_t i = 0; i < want.samples.size() / step; ++i)
      ASSERT_LE(std::abs(wav.pcm[i] - want.samples[i * step]), 2) << test.words << " sample " << i;
    const size_t nameEnd = test.words.find(' ');
    const std::string piped = "cat " + test.words.substr(0, nameEnd) + " | orbel decode -" +
                              (nameEnd < test.words.size() ? test.words.substr(nameEnd) : "");
    ASSERT_EQ(work.Shell(piped + " -o o.pcm").exitCode, 0) << piped;
    EXPECT_TRUE(AsPcm(work.Get("o.pcm")) == wav.pcm) << piped;
  }
  // It begins late: the rate doubles where it does.
  work.Put("late", Stream("lc_22050_st_40k_music.aac") + Stream("he1_44100_st_48k.aac"));
  const Wav before = Decode(work, "late", "changes to 44100 Hz, 2 channels, goes on in o-2.wav");
  ExpectSound(before, ReadFlac(kData + "lc_22050_st_40k_music.flac"), "before");
  const Wav after = ReadWav(work.Get("o-2.wav"));
  EXPECT_EQ(after.rate, 44100u);
  EXPECT_EQ(after.pcm.size(), 35u * 2048 * 2);
}

TEST(Aac, AnotherRateOnTheWay) {
  const Workplace work;
  const char* const kParts[] = {"lc_44100_st_plain_160k", "lc_48000_mono_64k_speech",
                                "lc_22050_st_40k_music"};
  Bytes all;
  for (const char* const part : kParts) all = all + Stream(std::string(part) + ".aac");
  work.Put("in", all);
  ExpectSound(Decode(work, "in", "changes to 48000 Hz, 1 channel, goes on in o-2.wav (byte "),
              ReadFlac(kData + kParts[0] + ".flac"), "first part");
  ExpectSound(ReadWav(work.Get("o-2.wav")), ReadFlac(kData + kParts[1] + ".flac"), "second part");
  ExpectSound(ReadWav(work.Get("o-3.wav")), ReadFlac(kData + kParts[2] + ".flac"), "third part");

  const ToolResult piped =
      work.Shell("{ orbel decode in -o - --raw || echo code $? >code; } | cat >o.pcm");
  EXPECT_NE(piped.err.find("in: changes to 48000 Hz, 1 channel, which can't follow in a pipe"),
            std::string::npos)
      << piped.err;
  EXPECT_EQ(work.Get("code"), (Bytes{'c', 'o', 'd', 'e', ' ', '1', '\n'}));
  EXPECT_EQ(work.Get("o.pcm").size(), 20u * 1024 * 2 * 2);
  EXPECT_EQ(work.Orbel("decode in -o /dev/null").exitCode, 0);
  const ToolResult null = work.Orbel("decode in --null --json");
  EXPECT_NE(null.out.find("\"samples\": 61440"), std::string::npos) << null.out << null.err;
  const ToolResult info = work.Orbel("info in --json");
  EXPECT_NE(info.out.find("\"streams\": 3, \"parts\": 3"), std::string::npos) << info.out;
}

// Into a file, through the sound library's own plug-in: at the sound's rate, and
// no more than two channels.
TEST(Aac, Plays) {
  const Workplace work;
  const std::string play =
      "printf 'pcm.!default { type file file \"%s\" format raw slave.pcm "
      "{ type null } }' $PWD/played >conf; export ALSA_CONFIG_PATH=$PWD/conf; "
      "orbel play '" +
      kData;
  const std::string stereo = "lc_22050_st_40k_music.aac'";
  const Wav want = Decode(work, "'" + kData + stereo);
  ASSERT_EQ(work.Shell(play + stereo).exitCode, 0);
  Pcm played = AsPcm(work.Get("played"));
  ASSERT_GT(played.size(), want.pcm.size());
  EXPECT_TRUE(std::equal(want.pcm.begin(), want.pcm.end(), played.begin()));

  const Wav six = Decode(work, "'" + kData + "lc_48000_51_192k.aac'");
  ASSERT_EQ(work.Shell(play + "lc_48000_51_192k.aac'").exitCode, 0);
  played = AsPcm(work.Get("played"));
  ASSERT_GT(played.size(), six.pcm.size() / 3);
  for (size_t i = 0; i < six.pcm.size() / 6; ++i) {
    const int16_t* const in = &six.pcm[6 * i];  // FL FR FC LFE BL BR
    const double whole = 1 + 2 * std::sqrt(0.5);
    EXPECT_NEAR(played[2 * i], (in[0] + std::sqrt(0.5) * (in[2] + in[4])) / whole, 1);
    EXPECT_NEAR(played[2 * i + 1], (in[1] + std::sqrt(0.5) * (in[2] + in[5])) / whole, 1);
  }
}

TEST(Aac, InfoTellsWhatFramesUse) {
  const Workplace work;
  const struct {
    const char* file;
    std::vector<const char*> facts;
  } kCases[] = {
      {"lc_44100_mono_pulse.aac",
       {"\"title\": \"MPEG-4 AAC LC\"", "\"container\": \"ADTS\"", "\"objectType\": 2",
        "\"rate\": 44100", "\"channels\": 1", "\"frames\": 45", "\"badFrames\": 0", "\"pulse\": 5",
        "\"long\": 6, \"start\": 7, \"short\": 26, \"stop\": 6", "\"sine\": 33, \"kbd\": 12",
        "\"bitRate\": 67291"}},
      {"main_48000_st_pred_96k.aac", {"\"objectType\": 1", "\"prediction\": 34"}},
      {"ltp_44100_st_96k.aac", {"\"objectType\": 4", "\"ltp\": 52"}},
      {"ssr_32000_mono_gain.aac", {"\"objectType\": 3", "\"gainControl\": 10"}},
      {"lc_44100_st_cce_spec1.aac", {"\"coupling\": 20", "\"programConfig\": 20"}},
      {"lc_48000_st_dse_fill.aac", {"\"dataStream\": 30", "\"fill\": 14", "\"intensity\": 221"}},
      {"lc_44100_st_128k_music.aac", {"\"tns\": 3, \"pns\": 408"}},
      {"lc_48000_51_adif.adif",
       {"\"container\": \"ADIF\"", "\"speakers\": \"FL FR FC LFE BL BR\"", "\"tns\": 57"}},
      {"he2_44100_24k.aac",
       {"\"title\": \"MPEG-4 HE-AAC v2\"", "\"rate\": 44100, \"channels\": 2",
        "\"speakers\": \"FL FR\"",
        "\"bandReplication\": {\"frames\": 38, \"headers\": 4, \"mode\": 18, "
        "\"coreRate\": 22050, \"rate\": 44100, \"startBand\": 16, \"stopBand\": 43, "
        "\"bands\": 14, \"noiseBands\": 3, \"patches\": 2}",
        "\"parametricStereo\": {\"frames\": 38, \"level\": 411}"}},
      {"he1_44100_st_48k.aac' --sbr-mode '28",
       {"\"title\": \"MPEG-4 HE-AAC\"", "{\"frames\": 35, ", "\"mode\": 28, "}},
  };
  for (const auto& test : kCases) {
    const ToolResult result = work.Orbel("info --json '" + kData + test.file + "'");
    for (const char* const fact : test.facts)
      EXPECT_NE(result.out.find(fact), std::string::npos) << fact << " in " << result.out;
  }
}

TEST(Aac, RefusesClearly) {
  const Workplace work;
  work.Put("noise", Noise(3000, 4));
  work.Put("adts", Stream("lc_12000_mono_20k_speech.aac"));
  work.Put("units", Stream("lc_44100_st_raw_au.au"));
  work.Put("mp4", Bytes{0, 0, 0, 24} + Bytes{'f', 't', 'y', 'p'} + Bytes(100, 0));
  work.Put("empty", {});
  const struct {
    const char* words;
    int code;
    const char* complaint;
  } kCases[] = {
      {"decode noise -o o.wav", 2,
       "noise: not a WAV, ADTS, ADIF, ALS or framed speech file; say what it holds"},
      {"decode noise --format aac -o o.wav", 1, "neither ADTS nor ADIF; raw access units need"},
      {"decode units -o o.wav", 2, "units: not a WAV"},
      {"decode noise --config 1210 -o o.wav", 1,
       "no raw access units behind their lengths (byte 0)"},
      {"decode adts --config 1210 -o o.wav", 2, "adts: ADTS, which needs no --config"},
      {"decode units --config 12g0 -o o.wav", 2, "two hexadecimal digits each, not '12g0'"},
      {"decode units --config 4210 -o o.wav", 1, "--config names object type 8, which is not"},
      {"decode units --config 1210 --format mulaw -o o.wav", 2, "--config is for AAC"},
      {"decode empty --config 1210 -o o.wav", 1, "empty: holds no frame"},
      {"decode mp4 -o o.wav", 1, "mp4: MP4 files are not read"},
      {"decode noise --format bsac -o o.wav", 2, "format bsac needs --config"},
      {"decode noise --format bsac --config 1210 -o o.wav", 1, "object type 2, --format bsac 22"},
      {"decode adts --null -o o.wav", 2, "contradict"},
      {"decode adts --sample-bytes 5 --format aac -o o.wav", 2, "not for AAC"},
  };
  for (const auto& test : kCases) {
    const ToolResult result = work.Orbel(test.words);
    EXPECT_TRUE(result.Complains(test.code, test.complaint)) << test.words << ": " << result.err;
    EXPECT_FALSE(work.Has("o.wav")) << test.words;
  }
}

}  // namespace
}  // namespace orbel
