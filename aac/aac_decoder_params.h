// What an AACDecoder is set up with.
#pragma once

#include <cstdint>

#include "umc/codec.h"

namespace UMC {

class AACDecoderParams : public AudioCodecParams {
 public:
  // To the class test these parameters are AudioCodecParams: there is no ClassName
  // of their own. This tells them apart where their own fields are read.
  static const char* Mark();
  bool IsClass(ClassIdentifier identifier) const override;
  bool IsClassByName(ClassIdentifier identifier) const override;

  int32_t sbrMode = 0;          // 18 complex, 28 real band replication; any other keeps what was
  int32_t sbrDownsample = 0;    // 0: output at twice the core rate; 1: at the core rate;
                                // 2 and above: this and the other three are not taken
  int32_t sbrSupportLevel = 0;  // 777: band replication payloads are looked at
  int32_t psSupportLevel = 0;   // 111 or 411: parametric stereo; 0 or 1: none
  int32_t layer = 0;            // enhancement layers of object type 22; -1: all
};

}  // namespace UMC
