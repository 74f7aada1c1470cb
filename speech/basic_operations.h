// The basic operations of ITU-T fixed-point speech coders (G.191, G.729): 16-bit
// and 32-bit values that are held at the limits of their type. Names here are the
// standard's with a capital: L_mac is LMac, shr_r is ShrR.
//
// Where `overflow` is given, it is set when a result had to be held; it is never
// cleared. Shift counts may be of any size and sign.
#pragma once

#include <bit>
#include <cstdint>

namespace orbel::fixed {

constexpr int16_t Hold16(int64_t v, bool* overflow = nullptr) {
  if (v >= INT16_MIN && v <= INT16_MAX) return static_cast<int16_t>(v);
  if (overflow != nullptr) *overflow = true;
  return v < 0 ? INT16_MIN : INT16_MAX;
}

constexpr int32_t Hold32(int64_t v, bool* overflow = nullptr) {
  if (v >= INT32_MIN && v <= INT32_MAX) return static_cast<int32_t>(v);
  if (overflow != nullptr) *overflow = true;
  return v < 0 ? INT32_MIN : INT32_MAX;
}

constexpr int16_t Add(int16_t a, int16_t b, bool* overflow = nullptr) {
  return Hold16(int64_t{a} + b, overflow);
}

constexpr int16_t Sub(int16_t a, int16_t b, bool* overflow = nullptr) {
  return Hold16(int64_t{a} - b, overflow);
}

// The lowest value gives the highest, which is not an overflow.
constexpr int16_t Negate(int16_t a) { return Hold16(-int64_t{a}); }
constexpr int16_t Abs(int16_t a) { return a < 0 ? Negate(a) : a; }
constexpr int32_t LNegate(int32_t a) { return Hold32(-int64_t{a}); }
constexpr int32_t LAbs(int32_t a) { return a < 0 ? LNegate(a) : a; }

// Fractions: a product of two Q15 in Q15.
constexpr int16_t Mult(int16_t a, int16_t b, bool* overflow = nullptr) {
  return Hold16((a * b) >> 15, overflow);
}

constexpr int16_t MultR(int16_t a, int16_t b, bool* overflow = nullptr) {
  return Hold16((a * b + 0x4000) >> 15, overflow);
}

// A product of two Q15 in Q31.
constexpr int32_t LMult(int16_t a, int16_t b, bool* overflow = nullptr) {
  return Hold32(int64_t{2} * a * b, overflow);
}

constexpr int32_t LAdd(int32_t a, int32_t b, bool* overflow = nullptr) {
  return Hold32(int64_t{a} + b, overflow);
}

constexpr int32_t LSub(int32_t a, int32_t b, bool* overflow = nullptr) {
  return Hold32(int64_t{a} - b, overflow);
}

// The product is held first, then the sum.
constexpr int32_t LMac(int32_t sum, int16_t a, int16_t b, bool* overflow = nullptr) {
  return LAdd(sum, LMult(a, b, overflow), overflow);
}

constexpr int32_t LMsu(int32_t sum, int16_t a, int16_t b, bool* overflow = nullptr) {
  return LSub(sum, LMult(a, b, overflow), overflow);
}

// Shifts: left ones hold, right ones round down; a negative count shifts the
// other way.
constexpr int16_t Shl(int16_t a, int32_t count, bool* overflow = nullptr) {
  if (count < 0) return static_cast<int16_t>(a >> (count < -15 ? 15 : -count));
  return Hold16(int64_t{a} * (int64_t{1} << (count > 16 ? 16 : count)), overflow);
}

constexpr int16_t Shr(int16_t a, int32_t count, bool* overflow = nullptr) {
  return Shl(a, count < -16 ? 16 : -(count > 16 ? 16 : count), overflow);
}

constexpr int32_t LShl(int32_t a, int32_t count, bool* overflow = nullptr) {
  if (count < 0) return a >> (count < -31 ? 31 : -count);
  return Hold32(int64_t{a} * (int64_t{1} << (count > 32 ? 32 : count)), overflow);
}

constexpr int32_t LShr(int32_t a, int32_t count, bool* overflow = nullptr) {
  return LShl(a, count < -32 ? 32 : -(count > 32 ? 32 : count), overflow);
}

// Right shifts that add the last bit shifted out; 0 when all bits go.
constexpr int16_t ShrR(int16_t a, int32_t count, bool* overflow = nullptr) {
  if (count <= 0) return Shr(a, count, overflow);
  if (count > 15) return 0;
  return static_cast<int16_t>((a >> count) + ((a >> (count - 1)) & 1));
}

constexpr int32_t LShrR(int32_t a, int32_t count, bool* overflow = nullptr) {
  if (count <= 0) return LShr(a, count, overflow);
  if (count > 31) return 0;
  return (a >> count) + ((a >> (count - 1)) & 1);
}

constexpr int16_t Hi(int32_t a) { return static_cast<int16_t>(a >> 16); }
constexpr int16_t Low(int32_t a) { return static_cast<int16_t>(a & 0xFFFF); }

// The upper half, rounded.
constexpr int16_t Round(int32_t a, bool* overflow = nullptr) {
  return Hi(LAdd(a, 0x8000, overflow));
}

// The left shift that brings a value, or the ones' complement of a negative one,
// to the highest bit below the sign. 0 for 0.
constexpr int16_t NormL(int32_t a) {
  if (a == 0) return 0;
  return static_cast<int16_t>(std::countl_zero(static_cast<uint32_t>(a < 0 ? ~a : a)) - 1);
}

constexpr int16_t NormS(int16_t a) {
  if (a == 0) return 0;
  return static_cast<int16_t>(std::countl_zero(static_cast<uint16_t>(a < 0 ? ~a : a)) - 1);
}

// n / d in Q15 for 0 <= n <= d and d above 0, 32767 when they are equal. Operands
// outside of that give 0 or 32767.
constexpr int16_t DivS(int16_t n, int16_t d) {
  if (n <= 0 || d <= 0) return 0;
  return n >= d ? INT16_MAX : static_cast<int16_t>((n << 15) / d);
}

// A chain of LMac(sum, x, x) from 0: its sums only grow, so that one hold at the end
// is the same.
constexpr int32_t LSquares(const int16_t* x, int32_t count, bool* overflow = nullptr) {
  int64_t sum = 0;
  for (int32_t i = 0; i < count; ++i) sum += x[i] * x[i];
  return Hold32(2 * sum, overflow);
}

}  // namespace orbel::fixed
