// The payload parser and the delta decoding, on payloads laid down field by field.
#include "sbr/sbr_payload.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <vector>

#include "sbr/payload_writer.h"
#include "sbr/ps.h"
#include "sbr/sbr_grid.h"

namespace orbel {
namespace {

using sbr_test::Channel;
using sbr_test::Grid;
using sbr_test::Payload;
using Values = std::vector<int>;

constexpr int32_t kFillBits = 1000;

struct Result {
  int32_t status;
  int32_t position;  // of the reader
  int32_t bits;      // by which fillBitsLeft was lowered
};

Result Feed(SbrElement* element, const std::vector<uint8_t>& bytes, int32_t elementId = 0,
            int32_t count = -1) {
  const auto exact = std::make_unique<uint8_t[]>(bytes.size());
  std::copy(bytes.begin(), bytes.end(), exact.get());
  BitReader reader;
  BitReaderInit(&reader, exact.get(), bytes.size());
  const int32_t crcFlag = FastGetBits(&reader, 4) == 14 ? 1 : 0;
  element->fillBitsLeft = kFillBits;
  if (count < 0) count = static_cast<int32_t>(bytes.size());
  const int32_t status = SbrExtensionDataParse(elementId, crcFlag, element, &reader, count);
  return {status, static_cast<int32_t>(GetBitPosition(reader)), kFillBits - element->fillBitsLeft};
}

struct Element : SbrElement {
  explicit Element(int32_t index = 4) {
    SbrElementInit(this);
    samplingIndex = index;
  }
};

// A frame of one envelope for `e`'s tables, all values raw or zero.
Payload PlainFrame(const SbrElement& e, bool pair = false) {
  Payload p;
  p.hasHeader = false;
  p.pair = pair;
  for (Channel& c : p.channel) {
    c.invfMode.assign(static_cast<size_t>(e.N_Q), 1);
    c.envelopes = {Values(static_cast<size_t>(e.N_high), 0)};
    c.noise = {Values(static_cast<size_t>(e.N_Q), 0)};
  }
  return p;
}

// An element with tables, from a header alone.
void GiveHeader(Element* e, const sbr_test::Header& header = {}) {
  Payload p;
  p.header = header;
  p.hasFrame = false;
  ASSERT_GT(Feed(e, WriteExtension(p), 2).status, 0);
  ASSERT_GT(e->N_high, 0);
}

struct GridCase {
  const char* name;
  Grid grid;
  Values t_E;  // none: refused
  Values t_Q;
};
const GridCase kGridCases[] = {
    {"one envelope", {0, 0, {}, {}, 0, {0}}, {0, 16}, {0, 16}},
    {"two", {0, 1, {}, {}, 0, {1, 1}}, {0, 8, 16}, {0, 8, 16}},
    {"four", {0, 2, {}, {}, 0, {1, 1, 1, 1}}, {0, 4, 8, 12, 16}, {0, 8, 16}},
    {"eight", {0, 3, {}, {}, 0, {1}}, {}, {}},
    {"late end, order turned",
     {1, 0, {0, 3}, {{}, {1, 0}}, 2, {1, 0, 0}},
     {0, 13, 15, 19},
     {0, 15, 19}},
    {"late end, pointer 0", {1, 0, {0, 1}, {{}, {3}}, 0, {0, 1}}, {0, 9, 17}, {0, 9, 17}},
    {"borders before 0",
     {1, 0, {0, 0}, {{}, {3, 3, 3}}, 1, {1, 0, 1, 0}},
     {0, -8, 0, 8, 16},
     {0, 8, 16}},
    {"pointer at nothing before",
     {1, 0, {0, 0}, {{}, {0, 0, 0}}, 7, {1, 1, 0, 0}},
     {0, 10, 12, 14, 16},
     {0, 0, 16}},
    {"late start", {2, 0, {2, 0}, {{0, 2}, {}}, 3, {1, 0, 1}}, {2, 4, 10, 16}, {2, 10, 16}},
    {"late start, pointer 0",
     {2, 0, {1, 0}, {{0, 0}, {}}, 0, {1, 0, 1}},
     {1, 3, 5, 16},
     {1, 3, 16}},
    {"pointer behind all",
     {2, 0, {0, 0}, {{0, 0, 0}, {}}, 7, {1, 0, 1, 0}},
     {0, 2, 4, 6, 16},
     {0, 0, 16}},
    {"decreasing, just early enough",
     {2, 0, {3, 0}, {{3, 3}, {}}, 1, {1, 0, 1}},
     {3, 11, 19, 16},
     {3, 19, 16}},
    {"a border too late", {2, 0, {3, 0}, {{3, 3, 0}, {}}, 1, {1, 0, 1, 0}}, {}, {}},
    {"both",
     {3, 0, {1, 2}, {{0, 1}, {1, 0}}, 4, {1, 0, 1, 0, 1}},
     {1, 3, 7, 12, 14, 18},
     {1, 7, 18}},
    {"one of both", {3, 0, {1, 0}, {{}, {}}, 1, {1}}, {1, 16}, {1, 16}},
    {"seven", {3, 0, {}, {{0, 0, 0}, {0, 0, 0}}, 0, {1, 0, 1, 0, 1, 0, 1}}, {}, {}},
};

TEST(SbrGrid, Borders) {
  for (const GridCase& c : kGridCases) {
    SCOPED_TRACE(c.name);
    BitWriter writer;
    WriteGrid(&writer, c.grid);
    BitReader reader;
    BitReaderInit(&reader, writer.bytes.data(), writer.bytes.size());
    SbrGrid grid = {};
    int32_t frameClass = -1;
    int32_t pointer = 0;
    int32_t status = 1;
    const int32_t bits = SbrGridParse(&reader, &frameClass, &pointer, &grid, &status);
    if (c.t_E.empty()) {
      EXPECT_EQ(bits, kSbrBadStream);
      EXPECT_EQ(status, kSbrBadStream);
      continue;
    }
    EXPECT_EQ(status, 0);
    EXPECT_EQ(bits, writer.position);
    EXPECT_EQ(frameClass, c.grid.frameClass);
    ASSERT_EQ(grid.L_E, c.grid.Envelopes());
    EXPECT_EQ(Values(grid.t_E, grid.t_E + grid.L_E + 1), c.t_E);
    EXPECT_EQ(Values(grid.freqRes, grid.freqRes + grid.L_E), c.grid.freqRes);
    ASSERT_EQ(grid.L_Q, c.grid.Floors());
    EXPECT_EQ(Values(grid.t_Q, grid.t_Q + grid.L_Q + 1), c.t_Q);
  }
}

// What a channel's values are, kept QMF band by QMF band, whatever the resolution.
struct ChannelModel {
  int16_t bands[kQmfBands] = {};
  int16_t noise[kSbrNoiseBands] = {};

  std::vector<int16_t> Envelope(const SbrElement& e, bool high, bool inTime, const Values& coded,
                                int factor) {
    const int32_t* table = high ? e.f_TableHigh : e.f_TableLow;
    std::vector<int16_t> values;
    int16_t before = 0;
    for (size_t k = 0; k < coded.size(); ++k) {
      before = static_cast<int16_t>((inTime ? bands[table[k]] : before) + factor * coded[k]);
      values.push_back(before);
    }
    for (size_t k = 0; k < coded.size(); ++k)
      std::fill(bands + table[k], bands + table[k + 1], values[k]);
    return values;
  }
  std::vector<int16_t> Noise(bool inTime, const Values& coded, int factor) {
    for (size_t k = 0; k < coded.size(); ++k) {
      const int before = inTime ? noise[k] : (k > 0 ? noise[k - 1] : 0);
      noise[k] = static_cast<int16_t>(before + factor * coded[k]);
    }
    return std::vector<int16_t>(noise, noise + coded.size());
  }
};

class Maker {
 public:
  explicit Maker(uint32_t seed) : rng_(seed) {}
  int Below(int count) { return static_cast<int>(rng_() % static_cast<uint32_t>(count)); }
  Values Some(int32_t count, int below, int from = 0) {
    Values values(static_cast<size_t>(count));
    for (int& value : values) value = from + Below(below);
    return values;
  }

  // Any grid that is not refused.
  Grid MakeGrid() {
    for (;;) {
      Grid grid;
      grid.frameClass = Below(4);
      grid.tmp = Below(3);
      int last[2] = {0, 16};
      for (int side : {0, 1}) {
        if (grid.frameClass == 0 || grid.frameClass == side + 1) continue;
        grid.border[side] = Below(4);
        grid.step[side] = Some(Below(4), 4);
        last[side] += grid.border[side];
      }
      if (grid.frameClass == 0) grid.step[0] = grid.step[1] = {};
      for (int step : grid.step[0]) last[0] += 2 * step + 2;
      const int envelopes = grid.Envelopes();
      if (envelopes > kSbrEnvelopes || last[0] > 19) continue;
      grid.pointer = Below(envelopes == 1 ? 2 : (envelopes <= 3 ? 4 : 8));
      grid.freqRes = grid.frameClass == 0 ? Values(static_cast<size_t>(envelopes), Below(2))
                                          : Some(envelopes, 2);
      return grid;
    }
  }
  void Fill(const SbrElement& e, Channel* channel) {
    const int envelopes = channel->grid.Envelopes();
    channel->dfEnv = Some(envelopes, 2);
    channel->dfNoise = Some(channel->grid.Floors(), 2);
    channel->invfMode = Some(e.N_Q, 4);
    for (int i = 0; i < envelopes; ++i) {
      const bool high = channel->grid.freqRes[static_cast<size_t>(i)] != 0;
      channel->envelopes.push_back(Some(high ? e.N_high : e.N_low, 25, -12));
      // Behind the sign there is one raw width for all books: 5 bits at least.
      if (channel->dfEnv[static_cast<size_t>(i)] == 0) channel->envelopes.back()[0] = Below(32);
    }
    for (int i = 0; i < channel->grid.Floors(); ++i) {
      channel->noise.push_back(Some(e.N_Q, 25, -12));
      if (channel->dfNoise[static_cast<size_t>(i)] == 0) channel->noise.back()[0] = Below(32);
    }
    channel->addHarmonic = Below(2) != 0;
    channel->sinusoids = Some(e.N_high, 2);
  }

 private:
  std::mt19937 rng_;
};

void CheckChannel(const SbrElement& e, int c, const Payload& p, bool sharesGrid,
                  ChannelModel* model) {
  const Channel& sent = p.channel[c];
  const SbrGrid& grid = e.grid[c];
  const SbrChannelData& data = e.channelData[c];
  const int factor = c == 1 && p.coupled ? 2 : 1;
  ASSERT_EQ(grid.L_E, sent.grid.Envelopes());
  EXPECT_EQ(e.bs_frame_class[c], sent.grid.frameClass);
  EXPECT_EQ(Values(grid.freqRes, grid.freqRes + grid.L_E), sent.grid.freqRes);
  EXPECT_TRUE(!sharesGrid || std::equal(grid.t_Q, grid.t_Q + grid.L_Q + 1, e.grid[0].t_Q));
  EXPECT_TRUE(!sharesGrid || std::equal(grid.t_E, grid.t_E + grid.L_E + 1, e.grid[0].t_E));
  for (size_t i = 0; i < sent.envelopes.size(); ++i) {
    const int16_t* at = data.envValues + data.envOffset[i];
    const auto want = model->Envelope(e, sent.grid.freqRes[i] != 0, sent.dfEnv[i] != 0,
                                      sent.envelopes[i], factor);
    EXPECT_EQ(std::vector<int16_t>(at, at + want.size()), want) << i;
  }
  for (size_t i = 0; i < sent.noise.size(); ++i) {
    const int16_t* at = data.noiseValues + data.noiseOffset[i];
    const auto want = model->Noise(sent.dfNoise[i] != 0, sent.noise[i], factor);
    EXPECT_EQ(std::vector<int16_t>(at, at + want.size()), want) << i;
  }
  EXPECT_EQ(Values(e.bs_invf_mode[c], e.bs_invf_mode[c] + e.N_Q),
            p.channel[sharesGrid ? 0 : c].invfMode);
  const Values none(static_cast<size_t>(e.N_high), 0);
  EXPECT_EQ(Values(data.bs_add_harmonic, data.bs_add_harmonic + e.N_high),
            sent.addHarmonic ? sent.sinusoids : none);
}

TEST(SbrPayload, EverythingSentArrives) {
  for (uint32_t seed = 1; seed <= 40; ++seed) {
    Maker maker(seed);
    Element e(seed % 2 == 0 ? 4 : 6);
    sbr_test::Header header;
    header.ampRes = maker.Below(2);
    header.xoverBand = maker.Below(4);
    header.extra1 = true;
    header.noiseBands = maker.Below(4);
    ASSERT_NO_FATAL_FAILURE(GiveHeader(&e, header));
    ASSERT_EQ(std::adjacent_find(e.f_TableHigh, e.f_TableHigh + e.N_high),
              e.f_TableHigh + e.N_high);
    const bool pair = seed % 4 != 0;
    ChannelModel model[2];
    for (int frame = 0; frame < 40; ++frame) {
      SCOPED_TRACE(testing::Message() << "seed " << seed << " frame " << frame);
      Payload p;
      p.header = header;
      p.hasHeader = maker.Below(4) == 0;
      p.crc = maker.Below(3) == 0 ? maker.Below(1024) : -1;
      p.dataExtra = maker.Below(4) == 0;
      p.pair = pair;
      p.coupled = pair && maker.Below(2) != 0;
      for (Channel& channel : p.channel) {
        channel.grid =
            p.coupled && &channel == &p.channel[1] ? p.channel[0].grid : maker.MakeGrid();
        maker.Fill(e, &channel);
      }
      if (maker.Below(3) == 0) p.extensionSize = 0;
      BitWriter written;
      WritePayload(&written, p);
      std::vector<uint8_t> bytes = WriteExtension(p);
      bytes.resize(bytes.size() + static_cast<size_t>(maker.Below(8)));
      const Result result = Feed(&e, bytes, pair ? 1 : 0);
      ASSERT_EQ(result.status, static_cast<int32_t>(bytes.size()));
      ASSERT_EQ(result.position, static_cast<int32_t>(bytes.size() * 8));
      ASSERT_EQ(result.bits, written.position);
      EXPECT_TRUE(!p.hasHeader || e.resetFlag == 0);
      EXPECT_TRUE(p.crc < 0 || e.bs_sbr_crc_bits == p.crc);
      for (int c = 0; c <= (pair ? 1 : 0); ++c) {
        ASSERT_NO_FATAL_FAILURE(CheckChannel(e, c, p, p.coupled && c == 1, &model[c]));
        e.grid[c].prevL_E = e.grid[c].L_E;  // as the signal path leaves it
      }
      if (testing::Test::HasFailure()) return;
    }
  }
}

TEST(SbrPayload, SumsWrapAt16Bits) {
  Element e;
  ASSERT_NO_FATAL_FAILURE(GiveHeader(&e));
  Payload p = PlainFrame(e);
  p.channel[0].dfEnv = {1};
  p.channel[0].envelopes[0].assign(static_cast<size_t>(e.N_high), 60);
  const auto bytes = WriteExtension(p);
  for (int frame = 1; frame <= 1200; ++frame) {
    Feed(&e, bytes);
    ASSERT_EQ(e.channelData[0].envValues[1], static_cast<int16_t>(60 * frame));
  }
}

// The states of headers and errors, one after the other on one element.
TEST(SbrPayload, HeadersAndErrors) {
  Element e;
  Payload headerOnly;
  headerOnly.hasFrame = false;
  const auto header = [&] { return WriteExtension(headerOnly); };
  // Without a header nothing but the length counts.
  EXPECT_EQ(Feed(&e, std::vector<uint8_t>{0xD0, 0x55, 0xAA, 0x55}).position, 32);
  EXPECT_EQ(e.headerCount, 0);
  EXPECT_EQ(e.N_high, 0);
  // The first one makes the tables though it is what the record holds already.
  headerOnly.header.stopFreq = 0;
  headerOnly.header.extra1 = true;
  Feed(&e, header(), 2);
  EXPECT_EQ(e.resetFlag, 1);
  EXPECT_GT(e.N_high, 0);
  const int32_t bands = e.N_high;
  // The same again, even at another resolution, makes none.
  e.N_high = 99;
  headerOnly.header.ampRes = 0;
  Feed(&e, header(), 2);
  EXPECT_EQ(e.resetFlag, 0);
  EXPECT_EQ(e.bs_amp_res, 0);
  EXPECT_EQ(e.N_high, 99);
  e.N_high = bands;
  // A grid that is refused: no frame is read until there is a header again.
  Payload bad = PlainFrame(e);
  bad.channel[0].grid.tmp = 3;
  EXPECT_EQ(Feed(&e, WriteExtension(bad)).status, kSbrBadStream);
  EXPECT_EQ(e.sbrError, kSbrBadStream);
  const auto good = WriteExtension(PlainFrame(e));
  e.grid[0].L_E = 77;
  EXPECT_EQ(Feed(&e, good).bits, 1);
  EXPECT_EQ(e.grid[0].L_E, 77);
  Payload both = PlainFrame(e);
  both.hasHeader = true;
  both.header = headerOnly.header;
  EXPECT_EQ(Feed(&e, WriteExtension(both)).status,
            static_cast<int32_t>(WriteExtension(both).size()));
  EXPECT_EQ(e.sbrError, 0);
  EXPECT_EQ(e.resetFlag, 1);
  EXPECT_EQ(e.grid[0].L_E, 1);
  // Tables that cannot be: the same, and sending them again does not help.
  headerOnly.header.startFreq = 15;
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(Feed(&e, header()).status, kSbrBadStream);
    EXPECT_EQ(e.resetFlag, 1);
  }
  EXPECT_EQ(Feed(&e, good).bits, 1);
  Feed(&e, WriteExtension(both));
  EXPECT_EQ(e.sbrError, 0);
  EXPECT_EQ(e.N_high, bands);
  EXPECT_EQ(e.headerCount, 6);
}

// Each field on its own, sent and in the place that it belongs to.
TEST(SbrPayload, SixHeaderFieldsAskForNewTables) {
  struct Field {
    int sbr_test::Header::*sent;
    int32_t SbrElement::*kept;
    int value;
    bool newTables;
  };
  using H = sbr_test::Header;
  using E = SbrElement;
  const Field fields[] = {
      {&H::startFreq, &E::bs_start_freq, 6, true},
      {&H::stopFreq, &E::bs_stop_freq, 8, true},
      {&H::freqScale, &E::bs_freq_scale, 1, true},
      {&H::alterScale, &E::bs_alter_scale, 0, true},
      {&H::xoverBand, &E::bs_xover_band, 5, true},
      {&H::noiseBands, &E::bs_noise_bands, 1, true},
      {&H::ampRes, &E::bs_amp_res, 0, false},
      {&H::limiterBands, &E::bs_limiter_bands, 3, false},
      {&H::limiterGains, &E::bs_limiter_gains, 1, false},
      {&H::interpolFreq, &E::bs_interpol_freq, 0, false},
      {&H::smoothingMode, &E::bs_smoothing_mode, 0, false},
  };
  Element e;
  ASSERT_NO_FATAL_FAILURE(GiveHeader(&e));
  for (const Field& field : fields) {
    sbr_test::Header header;
    header.extra1 = header.extra2 = true;
    for (bool changed : {false, true, false}) {  // the last one may be left out
      header.*field.sent = changed ? field.value : sbr_test::Header().*field.sent;
      BitWriter writer;
      WriteHeader(&writer, header);
      BitReader reader;
      BitReaderInit(&reader, writer.bytes.data(), writer.bytes.size());
      ++e.headerCount;
      EXPECT_EQ(SbrHeaderParse(&reader, &e), writer.position);
      EXPECT_EQ(e.*field.kept, header.*field.sent) << field.value;
      if (changed) header.extra1 = header.extra2 = false;
      EXPECT_TRUE(!changed || e.resetFlag == (field.newTables ? 1 : 0)) << &field - fields;
    }
    EXPECT_EQ(e.resetFlag, field.newTables ? 1 : 0);
  }
}

TEST(SbrPayload, RestIsSkippedAsEver) {
  Element e;
  ASSERT_NO_FATAL_FAILURE(GiveHeader(&e));
  const auto bytes = WriteExtension(PlainFrame(e));
  BitWriter written;
  WritePayload(&written, PlainFrame(e));
  const auto bits = static_cast<int32_t>(written.position);
  ASSERT_GT(bits, 44);
  for (int32_t count : {1, 2, 3, 40}) {  // the first ones are overrun
    const int32_t left = count * 8 - bits - 4;
    const int32_t skipped = left >= 0 ? left : left & 31;
    const Result result = Feed(&e, bytes, 0, count);
    EXPECT_EQ(result.status, count);
    EXPECT_EQ(result.position, 4 + bits + skipped);
    EXPECT_EQ(result.bits, bits);
  }
}

TEST(SbrPayload, ExtendedData) {
  Element e;
  ASSERT_NO_FATAL_FAILURE(GiveHeader(&e));
  Payload p = PlainFrame(e);
  BitWriter plain;
  WritePayload(&plain, p);
  const auto without = static_cast<int32_t>(plain.position);
  // Unknown ids are stepped over two bits at a time, until fewer than 8 are left; so is
  // parametric stereo where none is wanted.
  for (uint32_t id : {0U, 1U, 2U}) {
    for (int size : {1, 14, 15, 20}) {
      p.extensionSize = size;
      p.extension = {};
      for (int i = 0; i < 4 * size; ++i) p.extension.Put(id, 2);
      const int32_t sizeBits = size < 15 ? 4 : 12;
      const Result result = Feed(&e, WriteExtension(p));
      EXPECT_EQ(result.bits, without + sizeBits + 8 * size - 6) << id << " " << size;
    }
  }
  // Parametric data that is refused counts as minus seven bits and stops nothing.
  const auto memory = std::make_unique<uint64_t[]>(static_cast<size_t>(PsStateSize()) / 8 + 1);
  e.ps = reinterpret_cast<PsState*>(memory.get());
  PsInit(e.ps);
  p.extensionSize = 4;
  p.extension = {};
  for (uint32_t word : {2U, 1U, 1U}) p.extension.Put(word, word == 2 ? 2 : 1);
  p.extension.Put(6, 3);  // iid_mode
  for (int i = 0; i < 25; ++i) p.extension.Put(0, 1);
  const auto bytes = WriteExtension(p);
  BitReader reader;
  BitReaderInit(&reader, bytes.data(), bytes.size());
  const int32_t start = 4 + without + 4 + 2;
  SetBitPosition(&reader, static_cast<uint32_t>(start));
  int32_t psBits = 0;
  ASSERT_NE(PsDataParse(&reader, e.ps, &psBits), 0);
  const Result result = Feed(&e, bytes);
  EXPECT_EQ(result.status, static_cast<int32_t>(bytes.size()));
  EXPECT_EQ(result.bits, 1 - 7);
  EXPECT_EQ(result.position, start + psBits + static_cast<int32_t>(bytes.size()) * 8 - 4 + 6);
  EXPECT_EQ(e.sbrError, 0);
}

// After a frame whose signal path did not run, the count of envelopes is an old one.
TEST(SbrPayload, TimeDirectionAfterAnUnfinishedFrame) {
  Element e;
  ASSERT_NO_FATAL_FAILURE(GiveHeader(&e));
  Payload p = PlainFrame(e);
  Channel& channel = p.channel[0];
  channel.grid = {1, 0, {0, 0}, {{}, {0}}, 0, {0, 1}};
  channel.dfEnv = {0, 0};
  channel.dfNoise = {0, 0};
  channel.envelopes = {Values(static_cast<size_t>(e.N_low), 1),
                       Values(static_cast<size_t>(e.N_high), 1)};
  channel.noise = {channel.noise[0], channel.noise[0]};
  Feed(&e, WriteExtension(p));
  ASSERT_EQ(e.grid[0].prevL_E, 1);  // so the last envelope is taken for one of low resolution
  p = PlainFrame(e);
  p.channel[0].dfEnv = {1};
  Feed(&e, WriteExtension(p));
  for (int32_t k = 0; k < e.N_high; ++k) {
    int32_t low = 0;
    while (low + 1 < e.N_low && e.f_TableLow[low + 1] <= e.f_TableHigh[k]) ++low;
    EXPECT_EQ(e.channelData[0].envValues[k], low + 1) << k;
  }
}

TEST(SbrPayload, AnyBytesLeaveASoundRecord) {
  std::mt19937 rng(5);
  for (int round = 0; round < 400; ++round) {
    Element e(static_cast<int32_t>(rng() % 9));
    for (int payload = 0; payload < 20; ++payload) {
      std::vector<uint8_t> bytes(1 + rng() % 80);
      for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(rng());
      const int32_t id = static_cast<int32_t>(rng() % 3);
      const Result result = Feed(&e, bytes, id);
      ASSERT_TRUE(result.status == kSbrBadStream ||
                  result.status == static_cast<int32_t>(bytes.size()));
      if (e.headerCount == 0 || e.sbrError != 0) continue;
      for (int c = 0; c < id % 2 + (id == 2 ? 0 : 1); ++c) {
        const SbrGrid& grid = e.grid[c];
        ASSERT_TRUE(grid.L_E >= 1 && grid.L_E <= kSbrEnvelopes);
        ASSERT_TRUE(grid.L_Q >= 1 && grid.L_Q <= kSbrNoiseFloors);
        ASSERT_LE(*std::max_element(grid.t_E, grid.t_E + 6), 19);
        ASSERT_GE(*std::min_element(grid.t_E, grid.t_E + 6), -8);
        ASSERT_LE(e.channelData[c].envOffset[grid.L_E], 320);
      }
    }
  }
}

}  // namespace
}  // namespace orbel
