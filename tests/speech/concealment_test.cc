#include "speech/concealment.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <vector>

#include "speech/pitch_search.h"

namespace orbel {
namespace {

using Signal = std::function<double(int)>;
using Frame = std::vector<int16_t>;

int16_t ToSample(double value) {
  return static_cast<int16_t>(std::lround(std::fmax(-32768.0, std::fmin(32767.0, value))));
}

Signal Sine(double period, double amplitude) {
  return [=](int n) { return amplitude * std::sin(2 * M_PI * n / period + 0.3); };
}

// A state that has heard `samples` of a signal, from -samples to -1.
struct Listener {
  std::unique_ptr<ConcealmentState> state = std::make_unique<ConcealmentState>();

  explicit Listener(const Signal& signal, int samples = 480) {
    ResetConcealment(state.get());
    for (int n = -samples; n < 0; n += kConcealFrame) Accept(signal, n);
  }
  Frame Accept(const Signal& signal, int from) {
    Frame frame(kConcealFrame);
    for (int i = 0; i < kConcealFrame; ++i)
      frame[static_cast<size_t>(i)] = ToSample(signal(from + i));
    AcceptFrame(state.get(), frame.data());
    return frame;
  }
  Frame Conceal() {
    Frame frame(kConcealFrame, 99);
    ConcealFrame(state.get(), frame.data());
    return frame;
  }
};

TEST(Concealment, FindsThePitchOfSines) {
  struct Case {
    double period;
    int32_t pitch;
  };
  // The best match wins, not the shortest: 57 is found doubled.
  for (const Case& c : {Case{57, 114}, {80, 80}, {100, 100}, {120, 120}, {40, 40}, {93, 93}}) {
    for (double amplitude : {1000.0, 8000.0, 32700.0}) {
      Listener listener(Sine(c.period, amplitude));
      listener.Conceal();
      EXPECT_EQ(listener.state->pitch, c.pitch) << c.period << " at " << amplitude;
      EXPECT_EQ(listener.state->overlap, c.pitch / 4);
    }
  }
}

TEST(Concealment, SilenceStaysSilence) {
  Listener listener([](int) { return 0.0; });
  EXPECT_EQ(listener.Conceal(), Frame(kConcealFrame, 0));
  EXPECT_EQ(listener.state->pitch, 40);
  EXPECT_EQ(listener.state->overlap, 10);
  EXPECT_EQ(listener.state->erasureCount, 1);
  // The same straight after a reset.
  ResetConcealment(listener.state.get());
  EXPECT_EQ(listener.Conceal(), Frame(kConcealFrame, 0));
  EXPECT_EQ(listener.state->pitch, 40);
}

// A periodic signal tells what every sample of a loss must be: the signal goes
// on, 30 samples late in the first frame, and falls along one straight line from
// the second frame to the sixth.
TEST(Concealment, ContinuesAPeriodicSignal) {
  for (int period : {40, 80, 97, 120}) {
    const Signal sine = Sine(period, 16000);
    Listener listener(sine);
    for (int lost = 1; lost <= 12; ++lost) {
      const Frame frame = listener.Conceal();
      for (int i = 0; i < kConcealFrame; ++i) {
        const int n = (lost - 1) * kConcealFrame + i;
        double want = 0;
        if (lost == 1) want = sine(n - 30);
        if (lost >= 2 && lost <= 6) want = sine(n) * (1 - 0.2 * (lost - 2) - 0.0025 * i);
        ASSERT_NEAR(frame[static_cast<size_t>(i)], want, lost <= 6 ? 6 : 0)
            << "period " << period << " lost " << lost << " sample " << i;
      }
      EXPECT_EQ(listener.state->erasureCount, lost);
    }
  }
}

TEST(Concealment, LossEndsInACrossFade) {
  const Signal sine = Sine(80, 16000);
  for (int losses : {1, 2, 3, 5, 6, 10, 100}) {
    Listener listener(sine);
    for (int i = 0; i < losses; ++i) listener.Conceal();
    const int length = std::min(20 + 32 * (losses - 1), 80);
    const double gain = std::fmax(1 - 0.2 * (losses - 1), 0);
    const Frame frame = listener.Accept([](int) { return 5000.0; }, 0);
    EXPECT_EQ(listener.state->erasureCount, 0);
    for (int i = 0; i < kConcealFrame; ++i) {
      const double right = i < length ? (i + 1.0) / length : 1;
      // What the old signal loses at each sample is cut to 14 bits.
      const double left = i < length ? 1 - (i + 1) * std::floor(16384.0 / length) / 16384 : 0;
      const double synthetic = sine(losses * kConcealFrame + i) * gain;
      ASSERT_NEAR(frame[static_cast<size_t>(i)], 5000 * right + synthetic * left, 5)
          << losses << " losses, sample " << i;
      if (i >= length) {
        ASSERT_EQ(frame[static_cast<size_t>(i)], 5000);
      }
      // Nothing is left of the old signal after six: a fade in from silence.
      if (gain == 0) {
        ASSERT_NEAR(frame[static_cast<size_t>(i)], 5000 * right, 1);
      }
    }
    // And the loss is over: good frames pass as they are.
    EXPECT_EQ(listener.Accept([](int) { return -77.0; }, 0), Frame(kConcealFrame, -77));
  }
}

// What a loss sounds like when nothing repeats by itself, in real numbers: the
// last one, two, three periods go round and round, the end of each buffer faded
// into what came one buffer before, and each new buffer faded in.
TEST(Concealment, JoinsAreFaded) {
  std::mt19937 random(21);
  for (int round = 0; round < 20; ++round) {
    double level = 0;
    Listener listener(
        [&](int) { return level += static_cast<double>(random() % 2001) - 1000 - level / 8; });
    const std::vector<double> heard(listener.state->history,
                                    listener.state->history + kConcealHistory);
    std::vector<double> out(heard.end() - 30, heard.end());  // the first frame is that late
    Frame got;
    int pitch = 0, overlap = 0, at = 0;
    std::vector<double> buffer;
    const auto next = [&] {
      const double sample = buffer[static_cast<size_t>(at)];
      at = (at + 1) % static_cast<int>(buffer.size());
      return sample;
    };
    const auto fade = [&](double from, double to, int i) {
      return from + (to - from) * (i + 1) / overlap;
    };
    for (int lost = 1; lost <= 6; ++lost) {
      const Frame frame = listener.Conceal();
      got.insert(got.end(), frame.begin(), frame.end());
      pitch = listener.state->pitch;
      overlap = pitch / 4;
      std::vector<double> tail;
      if (lost == 2 || lost == 3) {
        const int begin = at;
        for (int i = 0; i < overlap; ++i) tail.push_back(next());
        at = begin % pitch == 0 ? std::min(begin, pitch) : begin % pitch;
      }
      if (lost <= 3) {
        buffer.assign(heard.end() - lost * pitch, heard.end());
        for (int i = 0; i < overlap; ++i) {
          const double before = *(heard.end() - lost * pitch - overlap + i);
          double& end = buffer[buffer.size() - static_cast<size_t>(overlap - i)];
          end = fade(end, before, i);
          if (lost == 1) *(out.end() - overlap + i) = end;
        }
      }
      for (int i = 0; i < kConcealFrame; ++i) {
        double sample = next();
        if (i < static_cast<int>(tail.size()))
          sample = fade(tail[static_cast<size_t>(i)], sample, i);
        out.push_back(sample * (lost == 1 ? 1 : 1 - 0.2 * (lost - 2) - 0.0025 * i));
      }
      if (lost == 1) out.resize(kConcealFrame);  // its last 30 samples are never heard
    }
    for (size_t i = 0; i < got.size(); ++i)
      ASSERT_NEAR(got[i], out[i], 3) << "round " << round << " pitch " << pitch << " sample " << i;
  }
}

TEST(Concealment, AttenuationValues) {
  ConcealmentState state = {};
  struct Case {
    int32_t erasureCount;
    int16_t in, first, last;
  };
  // Gains 1, 0.8 .. 0.2, less 0.0025 a sample; cut towards minus infinity.
  for (const Case& c : {Case{1, 10000, 10000, 8024},
                        {1, -32768, -32768, -26296},
                        {2, 10000, 7999, 6024},
                        {5, 10000, 1999, 24},
                        {5, -10000, -2000, -25}}) {
    state.erasureCount = c.erasureCount;
    Frame frame(kConcealFrame, c.in);
    Attenuate(&state, frame.data());
    EXPECT_EQ(frame.front(), c.first) << c.erasureCount;
    EXPECT_EQ(frame.back(), c.last) << c.erasureCount;
  }
}

// How well a lag matches, by the definition, with nothing rounded.
double Score(const ConcealmentState& state, int32_t lag, int32_t step) {
  int64_t correlation = 0, energy = 0;
  for (int32_t i = 0; i < kPitchWindow; i += step) {
    const int64_t l = state.pitchBuffer[kConcealHistory - kPitchWindow + i];
    const int64_t r = state.pitchBuffer[kConcealHistory - kPitchWindow - 120 + lag + i];
    correlation += l * r;
    energy += r * r;
  }
  const auto c = static_cast<double>(correlation);
  return c * std::fabs(c) / std::fmax(static_cast<double>(energy), 250);
}

TEST(Concealment, PitchSearchFindsTheBestMatch) {
  std::mt19937 random(7);
  ConcealmentState state = {};
  for (int round = 0; round < 600; ++round) {
    const double period = 30 + random() % 120;
    const double amplitude = std::pow(2.0, 5 + round % 11);
    const double noise = (round % 5) * 0.5;
    const double burst = round % 3 == 0 ? 10 : 1;  // loud against quiet
    const Signal sine = Sine(period, amplitude);
    for (int i = 0; i < kConcealHistory; ++i)
      state.pitchBuffer[i] = ToSample(
          (i < 350 ? 1 : burst) *
          (sine(i) + noise * amplitude * (static_cast<double>(random() % 2001) / 1000 - 1)));
    const int32_t low = static_cast<int32_t>(random() % 30);
    const int32_t high = 80 - static_cast<int32_t>(random() % 30);
    for (int32_t step : {1, 2}) {
      const int32_t found = FindPitch(&state, low, high, step);
      ASSERT_TRUE(found >= low && found <= high && (found - low) % step == 0);
      double best = -INFINITY;
      for (int32_t lag = low; lag <= high; lag += step)
        best = std::fmax(best, Score(state, lag, step));
      // Mantissas of 15 bits and squares of 12 to 14 decide.
      if (best > 0) {
        ASSERT_GE(Score(state, found, step), best * (1 - 1.0 / 512)) << "round " << round;
      }
    }
  }
}

TEST(Concealment, PitchSearchRange) {
  Listener listener(Sine(70, 9000));
  listener.Conceal();
  EXPECT_EQ(FindPitch(listener.state.get(), -1, 1, 1), FindPitch(listener.state.get(), 0, 1, 1));
  EXPECT_EQ(FindPitch(listener.state.get(), 79, 95, 1), FindPitch(listener.state.get(), 79, 80, 1));
  EXPECT_EQ(FindPitch(listener.state.get(), 80, 81, 1), 80);
  EXPECT_EQ(FindPitch(listener.state.get(), 33, 34, 2), 33);
  // Ties move on, to the shorter period.
  ConcealmentState silent = {};
  EXPECT_EQ(FindPitch(&silent, 10, 20, 1), 20);
  EXPECT_EQ(FindPitch(&silent, 0, 80, 2), 80);
}

// Full scale everywhere, for the sanitizers and for the level: a loss never gets
// louder than what was heard.
TEST(Concealment, ExtremeInput) {
  std::mt19937 random(3);
  const Signal extremes[] = {
      [](int) { return -32768.0; },
      [](int) { return 32767.0; },
      [](int n) { return n & 1 ? -32768.0 : 32767.0; },
      [](int n) { return n & 2 ? -32768.0 : 32767.0; },
      [](int n) { return (n + 8000) / 57 & 1 ? -32768.0 : 32767.0; },
      [](int n) { return n >= -160 ? -32768.0 : 0.0; },
      [](int n) { return n >= -160 ? 0.0 : -32768.0; },
      [](int n) { return n == -1 ? -32768.0 : 0.0; },
      [](int n) { return n == -161 ? -32768.0 : 1.0; },
      [&](int) { return random() & 1 ? -32768.0 : 32767.0; },
  };
  for (const Signal& signal : extremes) {
    for (int losses = 1; losses < 9; ++losses) {
      Listener listener(signal);
      for (int32_t step : {1, 2}) {
        std::memcpy(listener.state->pitchBuffer, listener.state->history,
                    sizeof listener.state->history);
        const int32_t lag = FindPitch(listener.state.get(), 0, 80, step);
        ASSERT_TRUE(lag >= 0 && lag <= 80);
      }
      int loudest = 32768;
      for (int i = 0; i < losses; ++i) {
        int most = 0;
        for (int16_t sample : listener.Conceal()) most = std::max(most, std::abs(int{sample}));
        ASSERT_LE(most, loudest);
        loudest = most;
        ASSERT_TRUE(listener.state->pitch >= 40 && listener.state->pitch <= 120);
      }
      for (const Signal& next : extremes) listener.Accept(next, 0);
    }
  }
  // A constant at the limit stays there, but for the rounding of the blend.
  Listener listener(extremes[0]);
  for (int16_t sample : listener.Conceal()) ASSERT_LE(sample, -32760);
}

TEST(Concealment, CountOfLostFramesStopsAtTheTop) {
  Listener listener(Sine(80, 9000));
  for (int i = 0; i < 8; ++i) listener.Conceal();
  listener.state->erasureCount = INT_MAX - 1;
  for (int i = 0; i < 3; ++i) EXPECT_EQ(listener.Conceal(), Frame(kConcealFrame, 0));
  EXPECT_EQ(listener.state->erasureCount, INT_MAX);
  EXPECT_EQ(listener.Accept([](int) { return 8000.0; }, 0)[39], 4000);
}

}  // namespace
}  // namespace orbel
