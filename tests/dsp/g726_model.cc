#include "dsp/g726_model.h"

#include <algorithm>
#include <cstdlib>

namespace orbel {
namespace {

struct Row {
  int last;  // of the difference's logarithm, for QUAN
  int dqln, wi, fi;
};

const std::vector<Row>& Rows(int bits) {
  constexpr int kEnd = 1 << 20;
  static const std::vector<Row> rows[] = {
      {{260, 116, -22, 0}, {kEnd, 365, 439, 7}},
      {{7, -2048, -4, 0}, {217, 135, 30, 1}, {330, 273, 137, 2}, {kEnd, 373, 582, 7}},
      {{-125, -2048, -12, 0},
       {79, 4, 18, 0},
       {177, 135, 41, 0},
       {245, 213, 64, 1},
       {299, 273, 112, 1},
       {348, 323, 198, 1},
       {399, 373, 355, 3},
       {kEnd, 425, 1122, 7}},
      {{-123, -2048, 14, 0},
       {-17, -66, 14, 0},
       {67, 28, 24, 0},
       {138, 104, 39, 0},
       {197, 169, 40, 0},
       {249, 224, 41, 1},
       {297, 274, 58, 1},
       {338, 318, 100, 1},
       {377, 358, 141, 1},
       {412, 395, 179, 1},
       {444, 429, 219, 2},
       {474, 459, 280, 3},
       {501, 488, 358, 4},
       {527, 514, 440, 5},
       {552, 539, 529, 6},
       {kEnd, 566, 696, 6}}};
  return rows[bits - 2];
}

int BitLength(int value) {
  int length = 0;
  for (; value > 0; value /= 2) ++length;
  return length;
}

int Signed16(int value) { return ((value + 32768) & 0xFFFF) - 32768; }

}  // namespace

G726Model::Float G726Model::ToFloat(int magnitude, bool negative) {
  const int exponent = BitLength(magnitude);
  return {negative, exponent, magnitude == 0 ? 32 : (magnitude << 6) >> exponent};
}

int G726Model::Product(int coefficient, const Float& value) {
  const int cut = coefficient >> 2;
  const Float c = ToFloat(cut >= 0 ? cut : -cut & 8191, coefficient < 0);
  const int exponent = value.exponent + c.exponent;
  const int mantissa = (value.mantissa * c.mantissa + 48) >> 4;
  const int size = exponent <= 26 ? (mantissa << 7) >> (26 - exponent)
                                  : (mantissa << 7 << (exponent - 26)) & 32767;
  return c.negative != value.negative ? -size : size;
}

void G726Model::Predict() {
  int sum = 0;
  for (int i = 0; i < 6; ++i) sum = Signed16(sum + Product(b_[i], dq_[i]));
  sez_ = sum >> 1;
  for (int i = 0; i < 2; ++i) sum = Signed16(sum + Product(a_[i], sr_[i]));
  se_ = sum >> 1;
  const int al = ap_ >= 256 ? 64 : ap_ >> 2;
  const int difference = yu_ - (yl_ >> 6);
  y_ = (yl_ >> 6) + difference * al / 64;
}

int G726Model::Magnitude(int code) const { return Negative(code) ? (1 << bits_) - 1 - code : code; }

int G726Model::CodeOf(int difference) const {
  const int size = std::abs(difference) & 32767;
  const int exponent = std::max(BitLength(size) - 1, 0);
  const int logarithm = 128 * exponent + ((size << 7 >> exponent) & 127) - (y_ >> 2);
  int magnitude = 0;
  while (logarithm > Rows(bits_)[magnitude].last) ++magnitude;
  const int ones = (1 << bits_) - 1;
  if (difference < 0) return ones - magnitude;
  return magnitude == 0 && bits_ != 2 ? ones : magnitude;
}

void G726Model::Adapt(int code) {
  const Row& row = Rows(bits_)[Magnitude(code)];
  const int dql = row.dqln + (y_ >> 2);
  const int dqSize = dql < 0 ? 0 : ((128 + dql % 128) << 7) >> (14 - dql / 128);
  const bool dqNegative = Negative(code);
  const int dq = dqNegative ? -dqSize : dqSize;

  const int whole = yl_ >> 15;
  const int threshold = whole > 9 ? 31744 : (32 + (yl_ >> 10) % 32) << whole;
  const bool reset = td_ && dqSize > (threshold + threshold / 2) / 2;

  reconstructed_ = Signed16(dq + se_);
  const int p = Signed16(dq + sez_);
  const bool pk0 = p < 0;

  const int yup = std::clamp(y_ + ((32 * row.wi - y_) >> 5), 544, 5120);
  yl_ += yup + (-yl_ >> 6);
  yu_ = yup;

  int f = 4 * std::clamp(a_[0], -8191, 8191);
  if (pk0 == pk1_) f = -f;
  const int gain2 = p == 0 ? 0 : ((pk0 == pk2_ ? 16384 : -16384) + f) >> 7;
  const int gain1 = p == 0 ? 0 : pk0 == pk1_ ? 192 : -192;
  const int a2 = std::clamp(a_[1] + gain2 - (a_[1] >> 7), -12288, 12288);
  const int a1 = std::clamp(a_[0] + gain1 - (a_[0] >> 8), -(15360 - a2), 15360 - a2);
  const bool tone = a2 < -11776;

  for (int i = 0; i < 6; ++i) {
    const int gain = dqSize == 0 ? 0 : dqNegative == dq_[i].negative ? 128 : -128;
    b_[i] = reset ? 0 : Signed16(b_[i] + gain - (b_[i] >> (bits_ == 5 ? 9 : 8)));
  }
  a_[0] = reset ? 0 : a1;
  a_[1] = reset ? 0 : a2;
  td_ = tone && !reset;

  for (int i = 5; i > 0; --i) dq_[i] = dq_[i - 1];
  dq_[0] = ToFloat(dqSize, dqNegative);
  sr_[1] = sr_[0];
  sr_[0] = ToFloat(std::abs(reconstructed_) & 32767, reconstructed_ < 0);
  pk2_ = pk1_;
  pk1_ = pk0;

  dms_ += (512 * row.fi - dms_) >> 5;
  dml_ += (2048 * row.fi - dml_) >> 7;
  const bool steady = y_ >= 1536 && std::abs(4 * dms_ - dml_) < dml_ >> 3 && !tone;
  ap_ = reset ? 256 : ap_ + (((steady ? 0 : 512) - ap_) >> 4);
}

int G726Model::Encode(int sample) {
  Predict();
  const int code = CodeOf(sample - se_);
  Adapt(code);
  return code;
}

int G726Model::Decode(int code) {
  Predict();
  Adapt(code);
  return std::clamp(reconstructed_, -8192, 8191);
}

int G726Model::DecodeToLaw(int code, bool aLaw) {
  Decode(code);
  const int size = std::abs(reconstructed_) & 32767;
  const bool negative = reconstructed_ < 0;
  int sp;
  if (aLaw) {
    const int v = std::min(negative ? std::max((size + 1) / 2 - 1, 0) : size / 2, 4095);
    const int segment = std::max(BitLength(v) - 5, 0);
    sp = (negative ? 0x55 : 0xD5) ^ (16 * segment + (v >> std::max(segment, 1)) % 16);
  } else {
    const int v = std::min(size + 33, 8191);
    const int segment = BitLength(v) - 6;
    sp = (negative ? 0x7F : 0xFF) ^ (16 * segment + (v >> (segment + 1)) % 16);
  }
  // The codes from the lowest level to the highest.
  std::vector<int> ladder;
  for (int i = 127; i >= 0; --i) ladder.push_back(i);
  for (int i = 128; i < 256; ++i) ladder.push_back(i);
  for (int& step : ladder) step ^= aLaw ? 0x55 : 0x7F;

  const int plain = aLaw ? sp ^ 0x55 : sp ^ 0xFF;
  const int segment = plain >> 4 & 7;
  const int inner = 2 * (plain & 15) + 33;
  const int level =
      aLaw ? (segment == 0 ? 4 * (plain & 15) + 2 : inner << segment) : (inner << segment) - 33;
  const bool below = aLaw == ((plain & 0x80) == 0);
  const int again = CodeOf((below ? -level : level) - se_);
  const auto place = std::find(ladder.begin(), ladder.end(), sp);
  if (Rank(again) < Rank(code) && place + 1 != ladder.end()) return place[1];
  if (Rank(again) > Rank(code) && sp == 0xFF && !aLaw) return 0x7E;  // skips the minus zero
  if (Rank(again) > Rank(code) && place != ladder.begin()) return place[-1];
  return sp;
}

}  // namespace orbel
