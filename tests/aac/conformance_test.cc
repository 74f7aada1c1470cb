// Real streams by independent encoders against PCM by independent decoders.
//
// The bound is that of ISO/IEC 14496-4 for full accuracy: a root mean square
// error below 2^-15 / sqrt(12) of full scale and no sample off by more than
// 2^-14. In steps of 16 bits, in which both sides are rounded, these are 0.2887
// and 2. Long-term prediction: the reference keeps its history unrounded, so 0.6.
// Noise substitution: every decoder draws its own, so energies are compared.
// Band replication has no bound there: the demand on each stream is a distance that
// only a decoder of the same arithmetic keeps.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdio>
#include <numbers>

#include "aac/stream_reader.h"
#include "support/flac_reader.h"

namespace orbel::aac_test {
namespace {

enum class Judge { kSamples, kLongTerm, kEnergy, kBlocks };

struct Case {
  const char* file;
  size_t blocks;
  Judge judge = Judge::kSamples;
  const char* config = nullptr;  // of raw units; "pce": made of the first block
  const char* order = nullptr;   // the decoder's channel for each of the reference's
};

constexpr Case kCases[] = {
    {"lc_96000_st_192k_sweep.aac", 20},
    {"lc_88200_mono_96k_music.aac", 20},
    {"lc_64000_st_128k_clicks.aac", 20},
    {"lc_48000_mono_64k_speech.aac", 20},
    {"lc_44100_st_plain_160k.aac", 20},
    {"lc_32000_st_64k_clicks.aac", 20},
    {"lc_24000_mono_adif.adif", 38},
    {"lc_22050_st_40k_music.aac", 20},
    {"lc_16000_mono_24k_speech.aac", 20, Judge::kEnergy},
    {"lc_12000_mono_20k_speech.aac", 20},
    {"lc_11025_mono_20k_music.aac", 20},
    {"lc_08000_mono_16k_speech.aac", 20},
    {"lc_48000_30_112k.aac", 20, Judge::kSamples, nullptr, "120"},
    {"lc_48000_quad_pce_128k.aac", 20, Judge::kSamples, "pce"},
    {"lc_48000_51_192k.aac", 14, Judge::kSamples, nullptr, "120534"},
    {"lc_48000_51_adif.adif", 31, Judge::kSamples, nullptr, "120534"},
    {"lc_48000_61_raw_cfg11.au", 12, Judge::kSamples, "\x11\xd8", "1206345"},
    {"lc_48000_71_front_cfg7.aac", 10, Judge::kSamples, nullptr, "12075634"},
    {"lc_48000_71_rear_pce.aac", 10, Judge::kSamples, "pce", "12075634"},
    {"lc_44100_st_raw_au.au", 20, Judge::kSamples, "\x12\x10"},
    {"lc_32000_st_pce_each.aac", 20, Judge::kSamples, "pce"},
    {"lc_44100_st_fast_loud.aac", 20},
    {"lc_44100_st_ms_notns_noise.aac", 20},
    {"lc_44100_mono_pulse.aac", 45},
    {"lc_44100_st_128k_crc.aac", 20},
    {"lc_48000_st_crc_enc1.aac", 20},
    {"lc_44100_st_ancillary.aac", 20},
    {"lc_48000_st_dse_fill.aac", 20},
    {"lc_48000_st_drc_metadata.aac", 20},
    {"lc_44100_st_128k_music.aac", 20, Judge::kEnergy},
    {"lc_44100_st_cce_spec0.aac", 20, Judge::kSamples, "pce"},
    {"lc_44100_st_cce_spec1.aac", 20, Judge::kSamples, "pce"},
    {"lc_44100_mono_cce_time.aac", 20, Judge::kBlocks, "pce"},
    {"main_48000_st_pred_96k.aac", 24},
    {"main_44100_st_pred_96k_b.aac", 24},
    {"main_22050_mono_pred_32k.aac", 24},
    {"ltp_44100_st_96k.aac", 28, Judge::kLongTerm},
    {"ltp_48000_st_64k_b.aac", 20, Judge::kLongTerm},
    {"ltp_32000_mono_48k.aac", 12, Judge::kLongTerm},
    {"ssr_44100_st_nogain.aac", 20, Judge::kBlocks},
    {"ssr_32000_mono_gain.aac", 20, Judge::kBlocks},
};

Decoded Decode(const Case& test) {
  const std::string file = test.file;
  const auto bytes = ReadBytes(StreamPath(file));
  if (test.config == nullptr) return DecodeWhole(bytes);
  if (file.ends_with(".aac")) return DecodeUnits(CutAdts(bytes), ConfigOf(bytes));
  const auto* const config = reinterpret_cast<const uint8_t*>(test.config);
  return DecodeUnits(CutUnits(bytes), {config, config + 2});
}

// One channel, as long as the reference.
std::vector<double> Channel(const std::vector<int16_t>& samples, size_t channels, size_t channel,
                            size_t length) {
  std::vector<double> one(length);
  for (size_t i = 0; i < length; ++i) one[i] = samples[i * channels + channel];
  return one;
}

constexpr size_t kBands = 16;
constexpr size_t kWindow = 2048;

void Fft(std::vector<std::complex<double>>* x) {
  const size_t n = x->size();
  if (n == 1) return;
  std::vector<std::complex<double>> even(n / 2), odd(n / 2);
  for (size_t i = 0; i < n / 2; ++i) {
    even[i] = (*x)[2 * i];
    odd[i] = (*x)[2 * i + 1];
  }
  Fft(&even);
  Fft(&odd);
  for (size_t i = 0; i < n / 2; ++i) {
    const auto turned =
        std::polar(1.0, -2 * std::numbers::pi * static_cast<double>(i) / static_cast<double>(n)) *
        odd[i];
    (*x)[i] = even[i] + turned;
    (*x)[i + n / 2] = even[i] - turned;
  }
}

// Energy in each of equal bands, over all of the signal.
std::vector<double> BandEnergies(const std::vector<double>& signal) {
  std::vector<double> bands(kBands);
  for (size_t at = 0; at + kWindow <= signal.size(); at += kWindow / 2) {
    std::vector<std::complex<double>> x(kWindow);
    for (size_t i = 0; i < kWindow; ++i)
      x[i] = signal[at + i] *
             std::sin(std::numbers::pi * (static_cast<double>(i) + 0.5) / double{kWindow});
    Fft(&x);
    for (size_t i = 0; i < kWindow / 2; ++i) bands[i * kBands * 2 / kWindow] += std::norm(x[i]);
  }
  return bands;
}

TEST(Conformance, Streams) {
  std::printf("%-32s %7s %6s\n", "stream", "rms", "max");
  for (const Case& test : kCases) {
    SCOPED_TRACE(test.file);
    const Decoded got = Decode(test);
    EXPECT_EQ(got.frames, test.blocks);
    EXPECT_EQ(got.bad, 0u);
    if (test.judge == Judge::kBlocks) {
      EXPECT_EQ(got.samples.size(), 1024 * test.blocks * got.channels);
      continue;
    }
    const std::string name = test.file;
    const ReferencePcm want = ReadFlac(StreamPath(name.substr(0, name.rfind('.')) + ".flac"));
    ASSERT_FALSE(want.samples.empty());
    EXPECT_EQ(got.rate, want.rate);
    const size_t length = want.samples.size() / want.channels;
    ASSERT_GE(got.samples.size(), length * got.channels);
    ASSERT_GE(got.channels, want.channels);
    double squares = 0;
    double most = 0;
    double decibels = 0;  // the largest difference of a band's energy
    for (size_t c = 0; c < want.channels; ++c) {
      const size_t ours = test.order != nullptr ? static_cast<size_t>(test.order[c] - '0') : c;
      const auto x = Channel(got.samples, got.channels, ours, length);
      const auto y = Channel(want.samples, want.channels, c, length);
      for (size_t i = 0; i < length; ++i) {
        squares += (x[i] - y[i]) * (x[i] - y[i]);
        most = std::max(most, std::abs(x[i] - y[i]));
      }
      if (test.judge != Judge::kEnergy) continue;
      const auto a = BandEnergies(x);
      const auto b = BandEnergies(y);
      for (size_t band = 0; band < kBands; ++band)
        decibels = std::max(decibels, std::abs(10 * std::log10((a[band] + 1) / (b[band] + 1))));
    }
    const double rms = std::sqrt(squares / static_cast<double>(want.samples.size()));
    if (test.judge == Judge::kEnergy) {
      std::printf("%-32s %7s %6s %5.2f dB\n", test.file, "noise", "", decibels);
      EXPECT_LT(decibels, 1.5);
    } else {
      std::printf("%-32s %7.4f %6.0f\n", test.file, rms, most);
      EXPECT_LT(rms, test.judge == Judge::kLongTerm ? 0.6 : 1 / std::sqrt(12.0));
      EXPECT_LE(most, 2);
    }
  }
}

struct ReplicationCase {
  const char* file;
  size_t blocks;
  double decibels;  // from the reference, at least
  Modes modes = {0, 0};
  const char* config = "";   // of raw units, in hexadecimal digits
  const char* order = "01";  // as above
};

constexpr ReplicationCase kReplicationCases[] = {
    {"he1_44100_st_48k.aac", 35, 84},
    {"he1_48000_mono_24k.aac", 40, 96, {0, 0}, "", "00"},
    {"he1_44100_st_crc.aac", 25, 90},
    {"he1_44100_st_64k_enc4.aac", 27, 92},
    {"he1_48000_51_160k.aac", 22, 100, {0, 0}, "", "120534"},
    {"he1_44100_st_raw_sig1.au", 25, 84, {1, 0}, "139056e5a0"},
    {"he1_48000_st_raw_sig2.au", 31, 100, {1, 0}, "2b118800"},
    {"he1_24000_mono_downsampled.au", 38, 100, {0, 0}, "2b0b0800", "00"},
    {"he2_44100_24k.aac", 38, 83, {0, 411}, "1388"},
    {"he2_48000_raw_sig2.au", 37, 78, {0, 411}, "eb098800"},
    {"he2_32000_raw_sig0.au", 29, 84, {0, 411}, "1408"},
};

TEST(Conformance, BandReplication) {
  std::printf("%-32s %7s %6s\n", "stream", "dB", "max");
  for (const ReplicationCase& test : kReplicationCases) {
    SCOPED_TRACE(test.file);
    const std::string name = test.file;
    const auto bytes = ReadBytes(StreamPath(name));
    std::vector<uint8_t> config;
    for (const char* digit = test.config; *digit != 0; digit += 2)
      config.push_back(static_cast<uint8_t>(std::stoi(std::string(digit, 2), nullptr, 16)));
    const Decoded got = config.empty()
                            ? DecodeWhole(bytes, test.modes)
                            : DecodeUnits(name.ends_with(".aac") ? CutAdts(bytes) : CutUnits(bytes),
                                          config, test.modes);
    const ReferencePcm want = ReadFlac(StreamPath(name.substr(0, name.rfind('.')) + ".flac"));
    ASSERT_FALSE(want.samples.empty());
    EXPECT_EQ(got.frames, test.blocks);
    EXPECT_EQ(got.bad, 0u);
    EXPECT_EQ(got.rate, want.rate);
    const size_t length = want.samples.size() / want.channels;
    ASSERT_GE(got.samples.size(), length * got.channels);
    double energy = 0, noise = 0, most = 0;
    for (size_t c = 0; c < want.channels; ++c) {
      const auto ours = static_cast<size_t>(test.order[c] - '0');
      ASSERT_LT(ours, got.channels);
      const auto x = Channel(got.samples, got.channels, ours, length);
      const auto y = Channel(want.samples, want.channels, c, length);
      for (size_t i = 0; i < length; ++i) {
        energy += y[i] * y[i];
        noise += (x[i] - y[i]) * (x[i] - y[i]);
        most = std::max(most, std::abs(x[i] - y[i]));
      }
    }
    const double decibels = 10 * std::log10(energy / noise);
    std::printf("%-32s %7.1f %6.0f\n", test.file, decibels, most);
    EXPECT_GE(decibels, test.decibels);
  }
}

// What the codec class is known not to decode; who holds such files wraps their
// blocks again, as the tool does.
TEST(Conformance, WhatTheClassLeavesOut) {
  // Of an ADTS frame with four blocks, the first one, and none if the frame is
  // longer than one block may be.
  Decoded got = DecodeWhole(ReadBytes(StreamPath("lc_48000_st_4blocks.aac")));
  EXPECT_EQ(got.frames + got.bad, 5u);
  EXPECT_GE(got.frames, 1u);
  // ADTS without a channel configuration.
  got = DecodeWhole(ReadBytes(StreamPath("lc_48000_quad_pce_128k.aac")));
  EXPECT_EQ(got.frames, 0u);
  EXPECT_GE(got.bad, 20u);
  EXPECT_EQ(got.lastBad, UMC::UMC_ERR_INVALID_STREAM);
  // Another rate on the way: the rest of the input is no frame of this stream.
  auto bytes = ReadBytes(StreamPath("lc_44100_st_plain_160k.aac"));
  const auto more = ReadBytes(StreamPath("lc_48000_mono_64k_speech.aac"));
  bytes.insert(bytes.end(), more.begin(), more.end());
  got = DecodeWhole(bytes);
  EXPECT_EQ(got.frames, 20u);
  EXPECT_EQ(got.channels, 2u);
}

// An input that ends anywhere within a frame gives all the frames before it.
TEST(Conformance, CutShort) {
  const auto bytes = ReadBytes(StreamPath("lc_22050_st_40k_music.aac"));
  const Decoded whole = DecodeWhole(bytes);
  size_t end = bytes.size() - CutAdts(bytes).back().size() - 7;
  for (; end < bytes.size(); end += 11) {
    const Decoded got = DecodeWhole({bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(end)});
    ASSERT_EQ(got.frames, 19u) << end;
    ASSERT_EQ(got.bad, 0u) << end;
    ASSERT_TRUE(std::equal(got.samples.begin(), got.samples.end(), whole.samples.begin())) << end;
  }
}

}  // namespace
}  // namespace orbel::aac_test
