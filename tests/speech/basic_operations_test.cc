// Every basic operation against plain wide integers, over extreme operands in
// all pairs and over random ones of every magnitude.
#include "speech/basic_operations.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "speech/two_word.h"

namespace orbel::fixed {
namespace {

using Wide = int64_t;

// What an operation gives: the value before it is held, and the range it is held to.
struct Want {
  Wide value;
  int bits;
  bool flags = true;  // whether holding counts as an overflow
};

Wide Held(const Want& want, bool* overflow) {
  const Wide limit = Wide{1} << (want.bits - 1);
  const Wide held = want.value < -limit ? -limit : want.value >= limit ? limit - 1 : want.value;
  *overflow = want.flags && held != want.value;
  return held;
}

// Floor division by 2^n; a left shift when n is negative.
Wide Shifted(Wide v, Wide n) {
  if (n < 0) return v * (Wide{1} << (n < -32 ? 32 : -n));
  const Wide unit = Wide{1} << (n > 40 ? 40 : n);
  return (v - ((v % unit + unit) % unit)) / unit;
}
Wide ShiftedRound(Wide v, Wide n, Wide width) {
  if (n <= 0) return Shifted(v, n);
  return n >= width ? 0 : Shifted(v + Shifted(1, 1 - n), n);
}
Wide Norm(Wide v, int bits) {
  Wide n = 0;
  if (v == 0) return 0;
  if (v < 0) v = -v - 1;
  while (v * 2 < (Wide{1} << (bits - 1)) && n < bits - 1) v *= 2, ++n;
  return n;
}

struct Operands {
  int16_t a, b;
  int32_t s, t;
  int32_t count;
};

struct Operation {
  const char* name;
  Wide (*run)(const Operands&, bool*);
  Want (*want)(const Operands&);
};

#define OPERATION(name, expression, ...)                                                  \
  {                                                                                       \
    name, [](const Operands& x, [[maybe_unused]] bool* o) -> Wide { return expression; }, \
        [](const Operands& x) -> Want { return __VA_ARGS__; }                             \
  }

const Operation kOperations[] = {
    OPERATION("add", Add(x.a, x.b, o), {Wide{x.a} + x.b, 16}),
    OPERATION("sub", Sub(x.a, x.b, o), {Wide{x.a} - x.b, 16}),
    OPERATION("negate", Negate(x.a), {-Wide{x.a}, 16, false}),
    OPERATION("abs", Abs(x.a), {x.a < 0 ? -Wide{x.a} : x.a, 16, false}),
    OPERATION("mult", Mult(x.a, x.b, o), {Shifted(Wide{x.a} * x.b, 15), 16}),
    OPERATION("mult_r", MultR(x.a, x.b, o), {Shifted(Wide{x.a} * x.b + 16384, 15), 16}),
    OPERATION("shl", Shl(x.a, x.count, o), {Shifted(x.a, -Wide{x.count}), 16}),
    OPERATION("shr", Shr(x.a, x.count, o), {Shifted(x.a, x.count), 16}),
    OPERATION("shr_r", ShrR(x.a, x.count, o), {ShiftedRound(x.a, x.count, 16), 16}),
    OPERATION("norm_s", NormS(x.a), {Norm(x.a, 16), 16}),
    OPERATION("L_mult", LMult(x.a, x.b, o), {Wide{2} * x.a * x.b, 32}),
    OPERATION("L_add", LAdd(x.s, x.t, o), {Wide{x.s} + x.t, 32}),
    OPERATION("L_sub", LSub(x.s, x.t, o), {Wide{x.s} - x.t, 32}),
    OPERATION("L_negate", LNegate(x.s), {-Wide{x.s}, 32, false}),
    OPERATION("L_abs", LAbs(x.s), {x.s < 0 ? -Wide{x.s} : x.s, 32, false}),
    OPERATION("L_shl", LShl(x.s, x.count, o), {Shifted(x.s, -Wide{x.count}), 32}),
    OPERATION("L_shr", LShr(x.s, x.count, o), {Shifted(x.s, x.count), 32}),
    OPERATION("L_shr_r", LShrR(x.s, x.count, o), {ShiftedRound(x.s, x.count, 32), 32}),
    OPERATION("norm_l", NormL(x.s), {Norm(x.s, 32), 16}),
    OPERATION("hi", Hi(x.s), {Shifted(x.s, 16), 16}),
    OPERATION("low", Low(x.s), {x.s - Shifted(Wide{x.s} + 32768, 16) * 65536, 16}),
};

void Check(const Operands& x) {
  for (const Operation& operation : kOperations) {
    bool overflow = false, wantOverflow = false;
    const Wide got = operation.run(x, &overflow);
    const auto want = Held(operation.want(x), &wantOverflow);
    ASSERT_TRUE(got == want && overflow == wantOverflow)
        << operation.name << " of " << x.a << ", " << x.b << "; " << x.s << ", " << x.t
        << "; count " << x.count << ": " << got << ", not " << want;
  }
  // Those that hold twice: the product first, or the sum before it is cut.
  bool overflow = false, product = false, sum = false;
  const Wide p = Held({Wide{2} * x.a * x.b, 32}, &product);
  ASSERT_EQ(LMac(x.s, x.a, x.b, &overflow), Held({x.s + p, 32}, &sum));
  ASSERT_EQ(overflow, product || sum);
  overflow = false;
  ASSERT_EQ(LMsu(x.s, x.a, x.b, &overflow), Held({x.s - p, 32}, &sum));
  ASSERT_EQ(overflow, product || sum);
  overflow = false;
  const Wide rounded = Shifted(Held({Wide{x.s} + 32768, 32}, &sum), 16);
  ASSERT_EQ(Round(x.s, &overflow), rounded);
  ASSERT_EQ(overflow, sum);
  // A flag once set stays.
  overflow = true;
  Add(0, 0, &overflow);
  LMac(0, 0, 0, &overflow);
  ASSERT_TRUE(overflow);
}

template <typename T>
T AnyOf(std::mt19937& random) {
  return static_cast<T>(static_cast<int32_t>(random()) >> random() % 32);
}

TEST(BasicOperations, AgreeWithWideIntegers) {
  const int16_t shorts[] = {-32768, -32767, -16385, -16384, -16383, -256,  -2,    -1,
                            0,      1,      2,      255,    16383,  16384, 32766, 32767};
  const int32_t longs[] = {INT32_MIN,  INT32_MIN + 1, -0x40000001, -0x40000000, -0x10000,
                           -0x8001,    -0x8000,       -1,          0,           1,
                           0x7FFF,     0x8000,        0x3FFFFFFF,  0x40000000,  0x7FFF7FFF,
                           0x7FFF8000, INT32_MAX};
  for (int16_t a : shorts)
    for (int16_t b : shorts)
      for (int32_t s : longs)
        for (int32_t count : {-7, 0, 16})
          ASSERT_NO_FATAL_FAILURE(Check({a, b, s, b * 65536, count}));
  const int32_t counts[] = {-32768, -100, 100, 32767};
  for (int32_t s : longs)
    for (int32_t t : longs)
      for (int32_t i = -37; i < 41; ++i)
        ASSERT_NO_FATAL_FAILURE(Check({Hi(s), Low(s), s, t, i > 36 ? counts[i - 37] : i}));
  std::mt19937 random(20);
  for (int i = 0; i < 200000; ++i)
    ASSERT_NO_FATAL_FAILURE(
        Check({AnyOf<int16_t>(random), AnyOf<int16_t>(random), AnyOf<int32_t>(random),
               AnyOf<int32_t>(random), static_cast<int32_t>(random() % 80) - 40}));
}

TEST(TwoWordArithmetic, AgreesWithWideIntegers) {
  std::mt19937 random(21);
  for (int i = 0; i < 300000; ++i) {
    const auto x = i % 50 == 0 ? INT32_MIN : AnyOf<int32_t>(random);
    const auto y = i % 70 == 0 ? INT32_MIN : AnyOf<int32_t>(random);
    const auto n = i % 30 == 0 ? int16_t{-32768} : AnyOf<int16_t>(random);
    const TwoWord a = Split(x), b = Split(y);
    ASSERT_EQ(a.h, Shifted(x, 16));
    ASSERT_TRUE(a.l >= 0 && Wide{a.h} * 65536 + 2 * a.l == x - (x & 1)) << x;
    ASSERT_EQ(Join(a), x & ~1);
    bool flag = false;
    Wide want = Held({Wide{2} * a.h * b.h, 32}, &flag);
    want = Held({want + 2 * Shifted(Wide{a.h} * b.l, 15), 32}, &flag);
    want = Held({want + 2 * Shifted(Wide{a.l} * b.h, 15), 32}, &flag);
    ASSERT_EQ(Mpy32(a, b), want) << x << " " << y;
    want = Held({Held({Wide{2} * a.h * n, 32}, &flag) + 2 * Shifted(Wide{a.l} * n, 15), 32}, &flag);
    ASSERT_EQ(Mpy32_16(a, n), want) << x << " " << n;
  }
}

// The approximations, against real numbers. One Newton step and tables of 16 bits
// come to 2.8e-8, 2.0e-4, 3.4e-4 and 7.9e-5 at worst.
TEST(TwoWordArithmetic, StaysNearRealNumbers) {
  std::mt19937 random(22);
  for (int i = 0; i < 300000; ++i) {
    const int32_t d = 0x40000000 | static_cast<int32_t>(random() >> 2);
    const int32_t n = static_cast<int32_t>(random() % static_cast<uint32_t>(d & ~1));
    ASSERT_NEAR(Div32(n, Split(d)) / 2147483648.0, double{1} * n / d, 3e-8) << n << " / " << d;

    const int32_t v = static_cast<int32_t>(random() >> 1 >> random() % 31);
    const Logarithm log = Log2(v);
    const double exact = v > 0 ? std::log2(v) : 0;
    ASSERT_NEAR(log.exponent + log.fraction / 32768.0, exact, 2.2e-4) << v;
    if (v > 0) {
      ASSERT_NEAR(InvSqrt(v) / 1073741824.0 * std::sqrt(v), 1, 3.6e-4) << v;
    }
    // The greatest even number whose square is not above v / 2.
    const Wide root = Root14(v);
    ASSERT_EQ(root % 2, 0);
    ASSERT_LE(2 * root * root, v);
    ASSERT_TRUE(root == 32766 || 2 * (root + 2) * (root + 2) > v) << v;

    const auto low = static_cast<int16_t>(random() % 32767 + 1);
    const auto part = static_cast<int16_t>(random() % static_cast<uint32_t>(low + 1));
    ASSERT_EQ(DivS(part, low), part == low ? 32767 : 32768 * Wide{part} / low);
  }
}

TEST(TwoWordArithmetic, KnownValues) {
  EXPECT_EQ(Log2(3).exponent, 1);
  EXPECT_EQ(Log2(3).fraction, 19167);
  EXPECT_EQ(Log2(1000000).exponent, 19);
  EXPECT_EQ(Log2(1000000).fraction, 30524);
  EXPECT_EQ(InvSqrt(2), 759234560);
  EXPECT_EQ(Root14(20000), 100);
  EXPECT_EQ(DivS(1, 3), 10922);
  EXPECT_EQ(Div32(1 << 28, Split(0x60000000)), 357913936);
  for (int32_t v : {0, -1, INT32_MIN}) {
    EXPECT_EQ(InvSqrt(v), 0x3FFFFFFF);
    EXPECT_EQ(Log2(v).exponent, 0);
    EXPECT_EQ(Log2(v).fraction, 0);
    EXPECT_EQ(Root14(v), 0);
  }
}

}  // namespace
}  // namespace orbel::fixed
