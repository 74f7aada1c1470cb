// The band tables for every header there can be, against the standard's formulas in
// floating point and against what each table is for.
#include "sbr/frequency_tables.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

namespace orbel {
namespace {

using Borders = std::vector<int32_t>;

constexpr double kRates[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000, 22050, 16000};

double Octaves(int32_t lower, int32_t upper) {
  return std::log2(static_cast<double>(upper) / lower);
}

// The standard's formulas. `doubtful` is set where a value lies so near to a half that the
// arithmetic decides how it is rounded.
class Model {
 public:
  bool doubtful = false;

  int32_t Round(double value, double doubt) {
    if (std::abs(value - std::floor(value) - 0.5) < doubt) doubtful = true;
    return static_cast<int32_t>(std::floor(value + 0.5));
  }

  static int32_t StopBand(double rate, int32_t bs_stop_freq, int32_t k0) {
    const double hertz = rate < 32000 ? 6000 : (rate < 64000 ? 8000 : 10000);
    const double stopMin = std::floor(hertz * 128 / rate + 0.5);
    Borders steps;
    const auto border = [&](int32_t p) {
      return std::floor(stopMin * std::pow(64 / stopMin, p / 13.0) + 0.5);
    };
    for (int32_t p = 0; p < 13; ++p)
      steps.push_back(static_cast<int32_t>(border(p + 1) - border(p)));
    std::sort(steps.begin(), steps.end());
    int32_t k2 = static_cast<int32_t>(stopMin);
    if (bs_stop_freq >= 14) return std::min((bs_stop_freq - 12) * k0, 64);
    return std::accumulate(steps.begin(), steps.begin() + bs_stop_freq, k2);
  }

  Borders Steps(int32_t lower, int32_t upper, int32_t count) {
    Borders steps;
    int32_t before = lower;
    for (int32_t i = 1; i <= count; ++i) {
      const double ratio = static_cast<double>(upper) / lower;
      const int32_t border = Round(lower * std::pow(ratio, static_cast<double>(i) / count), 1e-3);
      steps.push_back(border - before);
      before = border;
    }
    std::sort(steps.begin(), steps.end());
    return steps;
  }

  // Empty: there is none.
  Borders Master(int32_t k0, int32_t k2, int32_t scale, int32_t alter) {
    Borders steps;
    if (scale == 0) {
      const int32_t width = alter + 1;
      const double bands = static_cast<double>(k2 - k0) / (2 * width);
      const auto count = 2 * static_cast<size_t>(alter == 0 ? bands : bands + 0.5);
      steps.assign(count, width);
      int32_t rest = k2 - k0 - static_cast<int32_t>(count) * width;
      for (size_t i = 0; rest < 0 && i < count; ++i, ++rest) --steps[i];
      if (rest > 0 && count > 0) ++steps.back();
    } else {
      const double bands = 14 - 2 * scale;
      const bool two = static_cast<double>(k2) / k0 > 2.2449;
      const int32_t k1 = two ? 2 * k0 : k2;
      steps = Steps(k0, k1, 2 * Round(bands * Octaves(k0, k1) / 2, 1e-6));
      if (two && !steps.empty()) {
        const double warp = alter != 0 ? 1.3 : 1.0;
        Borders upper = Steps(k1, k2, 2 * Round(bands * Octaves(k1, k2) / (2 * warp), 1e-3));
        if (upper.empty()) return {};
        if (upper.front() < steps.back()) {
          const int32_t change =
              std::min(steps.back() - upper.front(), (upper.back() - upper.front()) / 2);
          upper.front() += change;
          upper.back() -= change;
          std::sort(upper.begin(), upper.end());
        }
        steps.insert(steps.end(), upper.begin(), upper.end());
      }
    }
    if (steps.empty()) return {};
    Borders borders = {k0};
    for (int32_t step : steps) borders.push_back(borders.back() + step);
    return borders;
  }

  // The borders of the patches and, when the last one is too narrow to count, the end of
  // the high band behind them; empty for more than five patches, or patches without end.
  static Borders Patches(const Borders& master, int32_t kx, double rate) {
    const int32_t k0 = master.front();
    const auto goal = static_cast<int32_t>(std::floor(2.048e6 / rate + 0.5));
    auto k = std::min(std::lower_bound(master.begin(), master.end(), goal), master.end() - 1);
    Borders borders = {kx};
    int32_t msb = k0;
    for (int32_t turn = 0; borders.back() != master.back(); ++turn) {
      if (turn == 100) return {};
      auto top = k;
      while (*top > k0 - 1 + msb - (*top + k0) % 2) --top;
      msb = *top > borders.back() ? *top : kx;
      if (*top > borders.back()) borders.push_back(*top);
      if (*k - *top < 3) k = master.end() - 1;
    }
    const size_t patches = borders.size() - 1;
    const bool narrow = patches > 1 && borders[patches] - borders[patches - 1] < 3;
    return patches - (narrow ? 1 : 0) > 5 ? Borders() : borders;
  }

  static Borders Limiter(int32_t bandsPerOctave10, const Borders& low, const Borders& patches) {
    if (bandsPerOctave10 == 0) return {low.front(), low.back()};
    const auto isPatch = [&](int32_t b) {
      return std::find(patches.begin(), patches.end(), b) != patches.end();
    };
    Borders table = low;
    table.insert(table.end(), patches.begin() + 1, patches.end() - 1);
    std::sort(table.begin(), table.end());
    for (size_t k = 1; k < table.size();) {
      // NOLINTNEXTLINE(bugprone-branch-clone): the rules in their order
      if (Octaves(table[k - 1], table[k]) * bandsPerOctave10 / 10 >= 0.49) {
        ++k;
      } else if (table[k] == table[k - 1] || !isPatch(table[k])) {
        table.erase(table.begin() + static_cast<ptrdiff_t>(k));
      } else if (isPatch(table[k - 1])) {
        ++k;
      } else {
        table.erase(table.begin() + static_cast<ptrdiff_t>(k - 1));
      }
    }
    return table;
  }
};

Borders Of(const int32_t* table, int32_t bands) { return Borders(table, table + bands + 1); }

int32_t Octave10(int32_t bs_limiter_bands) {
  constexpr int32_t kPerOctave10[] = {0, 12, 20, 30};
  return kPerOctave10[bs_limiter_bands];
}

void CheckPatches(const SbrElement& e, const Borders& borders) {
  const auto patches = static_cast<int32_t>(borders.size()) - 1;
  const bool dropped = e.numPatches == patches - 1 && patches > 1 &&
                       borders[borders.size() - 1] - borders[borders.size() - 2] < 3;
  ASSERT_TRUE(e.numPatches == patches || dropped) << e.numPatches;
  for (int32_t p = 0; p < e.numPatches; ++p) {
    const int32_t target = borders[static_cast<size_t>(p)];
    const int32_t source = e.patchStartSubband[p];
    ASSERT_EQ(target + e.patchNumSubbands[p], borders[static_cast<size_t>(p) + 1]);
    ASSERT_GE(source, 1);
    ASSERT_LE(source + e.patchNumSubbands[p], e.k0);
    ASSERT_EQ((target - source) % 2, 0);  // so that the spectrum is not turned over
  }
}

void CheckDerived(const SbrElement& e, const Borders& master, int32_t k2) {
  const Borders high = Of(e.f_TableHigh, e.N_high);
  const Borders low = Of(e.f_TableLow, e.N_low);
  ASSERT_EQ(high, Borders(master.begin() + e.bs_xover_band, master.end()));
  ASSERT_EQ(e.kx, high.front());
  ASSERT_EQ(e.kx + e.M, high.back());
  // Two high bands make a low one; the odd one out is the first.
  Borders pairs;
  for (size_t i = high.size(); i >= 2; i -= 2) pairs.insert(pairs.begin(), high[i - 1]);
  if (pairs.front() != high.front() || pairs.size() * 2 <= high.size())
    pairs.insert(pairs.begin(), high.front());
  ASSERT_EQ(low, pairs);

  ASSERT_NEAR(e.N_Q, std::max(1.0, Octaves(e.kx, k2) * e.bs_noise_bands), 0.5 + 1e-6);
  ASSERT_EQ(e.f_TableNoise[0], e.kx);
  ASSERT_EQ(e.f_TableNoise[e.N_Q], e.kx + e.M);
  for (int32_t k = 0; k < e.N_Q; ++k) {
    const auto place = [&](int32_t border) {
      return std::find(low.begin(), low.end(), border) - low.begin();
    };
    if (std::adjacent_find(low.begin(), low.end()) != low.end()) continue;
    const auto bands = place(e.f_TableNoise[k + 1]) - place(e.f_TableNoise[k]);
    ASSERT_TRUE(bands == e.N_low / e.N_Q || bands == (e.N_low - 1) / e.N_Q + 1) << bands;
  }

  Borders patches = Model::Patches(master, e.kx, kRates[e.samplingIndex]);
  ASSERT_FALSE(patches.empty());
  ASSERT_NO_FATAL_FAILURE(CheckPatches(e, patches));
  if (e.numPatches + 1 < static_cast<int32_t>(patches.size())) patches.erase(patches.end() - 2);
  const Borders limiter = Of(e.f_TableLim, e.N_L);
  ASSERT_EQ(limiter, Model::Limiter(Octave10(e.bs_limiter_bands), low, patches));
  ASSERT_EQ(std::count(e.f_TableLim + e.N_L + 1, e.f_TableLim + kSbrTableSize, 0),
            kSbrTableSize - e.N_L - 1);
}

TEST(FrequencyTables, OfEveryHeader) {
  int32_t built = 0;
  int32_t unlike = 0;
  for (int32_t header = 0; header < 9 << 11; ++header) {
    SbrElement e;
    SbrElementInit(&e);
    e.samplingIndex = header >> 11;
    e.bs_start_freq = header >> 7 & 15;
    e.bs_stop_freq = header >> 3 & 15;
    e.bs_freq_scale = header >> 1 & 3;
    e.bs_alter_scale = header & 1;
    SCOPED_TRACE(testing::Message() << "index " << e.samplingIndex << " start " << e.bs_start_freq
                                    << " stop " << e.bs_stop_freq << " scale " << e.bs_freq_scale
                                    << " alter " << e.bs_alter_scale);
    SbrBuildTables(&e);
    const double rate = kRates[e.samplingIndex];
    const int32_t k2 = Model::StopBand(rate, e.bs_stop_freq, e.k0);
    const int32_t widest = rate >= 48000 ? 32 : (rate == 44100 ? 35 : (rate == 32000 ? 64 : 48));
    Model model;
    Borders master;
    if (k2 >= e.k0 && k2 - e.k0 <= widest)
      master = model.Master(e.k0, k2, e.bs_freq_scale, e.bs_alter_scale);
    for (int32_t rest = 0; rest < 8 << 2; ++rest) {
      e.bs_xover_band = rest >> 2;
      e.bs_noise_bands = rest & 3;
      e.bs_limiter_bands = 3 - (rest & 3);
      const int32_t status = SbrBuildTables(&e);
      const auto xover = static_cast<size_t>(e.bs_xover_band);
      const bool possible = xover + 1 < master.size() && master[xover] <= 32 &&
                            e.bs_noise_bands * Octaves(master[xover], k2) < 5.5 &&
                            !Model::Patches(master, master[xover], rate).empty();
      ASSERT_EQ(status, possible ? 0 : kSbrBadStream) << rest;
      if (status != 0) continue;
      ++built;
      const Borders mine = Of(e.f_Master, e.N_master);
      if (rest == 0 && mine != master) {
        ASSERT_TRUE(model.doubtful);
        ++unlike;
      }
      ASSERT_EQ(mine.front(), e.k0);
      ASSERT_EQ(mine.back(), k2);
      ASSERT_TRUE(std::is_sorted(mine.begin(), mine.end()));
      ASSERT_NO_FATAL_FAILURE(CheckDerived(e, mine, k2)) << rest;
    }
  }
  EXPECT_GT(built, 300000);
  EXPECT_LE(unlike, 1);  // where a border is a half but for the 13th bit behind the point
}

TEST(FrequencyTables, StartsRiseFromRowToRow) {
  constexpr int32_t kFirstAndLast[][2] = {{5, 31},  {5, 31},  {6, 30},  {7, 31}, {8, 32},
                                          {10, 32}, {11, 32}, {12, 30}, {16, 31}};
  for (int32_t index = 0; index < 9; ++index) {
    int32_t before = 0;
    for (int32_t start = 0; start < 16; ++start) {
      SbrElement e;
      SbrElementInit(&e);
      e.samplingIndex = index;
      e.bs_start_freq = start;
      SbrBuildTables(&e);
      if (start == 0) before = kFirstAndLast[index][0] - 1;
      EXPECT_TRUE(start == 0 ? e.k0 == before + 1 : e.k0 > before) << index << " " << start;
      before = e.k0;
    }
    EXPECT_EQ(before, kFirstAndLast[index][1]) << index;
  }
}

TEST(FrequencyTables, AreRefused) {
  for (int32_t index : {-1, 9, 10, 11, 12}) {
    SbrElement e;
    SbrElementInit(&e);
    e.samplingIndex = index;
    EXPECT_EQ(SbrBuildTables(&e), kSbrBadStream) << index;
  }
  int32_t borders[kSbrTableSize + 1] = {77};
  EXPECT_EQ(SbrGeometricBorders(0, 20, 10, borders), -1);
  EXPECT_EQ(borders[0], 77);
  int32_t N_master = 0;
  EXPECT_EQ(SbrMasterTableLog(20, 10, 1, 0, borders, &N_master), kSbrBadStream);
  // 72 bands, more than there is room for.
  EXPECT_EQ(SbrMasterTableLog(1, 64, 1, 0, borders, &N_master), kSbrBadStream);
}

}  // namespace
}  // namespace orbel
