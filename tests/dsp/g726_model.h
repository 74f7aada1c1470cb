// A plain model of ITU-T G.726, one block of the recommendation after the other, for
// judging the fast one. The delay lines hold the recommendation's 11-bit words.
#pragma once

#include <cstdint>
#include <vector>

namespace orbel {

class G726Model {
 public:
  explicit G726Model(int bits) : bits_(bits) {}

  int Encode(int sample);  // returns the code
  int Decode(int code);    // returns the sample, within 14 bits
  // The same as a code byte of a law, with the tandem adjustment.
  int DecodeToLaw(int code, bool aLaw);

 private:
  struct Float {
    bool negative = false;
    int exponent = 0;
    int mantissa = 32;
  };
  static Float ToFloat(int magnitude, bool negative);
  static int Product(int coefficient, const Float& value);

  void Predict();
  void Adapt(int code);
  int CodeOf(int difference) const;
  int Magnitude(int code) const;
  bool Negative(int code) const { return (code >> (bits_ - 1)) != 0; }
  int Rank(int code) const {
    return Negative(code) ? code - (1 << (bits_ - 1)) : code + (1 << (bits_ - 1));
  }

  int bits_;
  int yu_ = 544, yl_ = 34816, dms_ = 0, dml_ = 0, ap_ = 0;
  bool td_ = false, pk1_ = false, pk2_ = false;
  int a_[2] = {0, 0}, b_[6] = {0, 0, 0, 0, 0, 0};
  Float sr_[2], dq_[6];
  int y_ = 0, se_ = 0, sez_ = 0, reconstructed_ = 0;
};

}  // namespace orbel
