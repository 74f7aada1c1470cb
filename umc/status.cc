#include "umc/status.h"

namespace UMC {

Status StatusOfResult(int32_t result) {
  switch (result) {
    case 0:
      return UMC_OK;
    case 1:
      return UMC_ERR_NOT_ENOUGH_DATA;
    case 2:
    case 4:
      return UMC_ERR_INVALID_STREAM;
    case 3:
      return UMC_ERR_ALLOC;
    case 5:
      return UMC_ERR_NULL_PTR;
    case 6:
      return UMC_ERR_SYNC;
    default:
      return UMC_ERR_UNSUPPORTED;
  }
}

}  // namespace UMC
