// The telephony decoder with types and buffers of any size.
#include "dmo/audio_decoder.h"
#include "input.h"
#include "platform/media_type.h"
#include "platform/object_system.h"
#include "support/media_buffer.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace orbel;
  FuzzInput input(data, size);
  Reference<IMediaObject> object;
  CreateAudioDecoder(IID_IMediaObject, object.ReceiveVoid());
  const uint16_t tags[] = {495, 496, 751, 1007, 10005, 255};
  while (!input.Empty()) {
    switch (input.Take<uint8_t>() % 8) {
      case 0:
      case 1: {
        MediaType type;
        const size_t formatSize = input.Take<uint8_t>() % 20;
        MoInitMediaType(type.Record(), static_cast<uint32_t>(formatSize));
        const uint16_t tag = tags[input.Take<uint8_t>() % 6];
        if (formatSize >= 2) std::memcpy(type.Record()->format, &tag, 2);
        type.Record()->majorType = MEDIATYPE_Audio;
        type.Record()->subtype = WaveSubtype(tags[input.Take<uint8_t>() % 6]);
        type.Record()->sampleSize = input.Take<uint16_t>() % 1000;
        object->SetInputType(0, type.Record(), input.Take<uint8_t>() % 5);
        break;
      }
      case 2: {
        MediaType type;
        if (object->GetOutputType(0, 0, type.Record()) != S_OK) break;
        if (input.Take<uint8_t>() % 2 != 0)
          type.Record()->sampleSize = input.Take<uint16_t>() % 5000;
        object->SetOutputType(0, type.Record(), input.Take<uint8_t>() % 5);
        break;
      }
      case 3:
        object->Flush();
        break;
      case 4:
        object->FreeStreamingResources();
        break;
      default: {
        const size_t count = input.Take<uint16_t>() % 1000;
        HostBuffer in(input.Bytes(count));
        uint32_t room = 0;
        uint32_t alignment = 0;
        if (object->GetOutputSizeInfo(0, &room, &alignment) != S_OK) room = 16;
        HostBuffer out(room < 8192 ? room : 8192);
        DMO_OUTPUT_DATA_BUFFER slot = {&out, 0, 0, 0};
        uint32_t status = 0;
        object->ProcessInput(0, &in, 0, 0, 0);
        object->ProcessOutput(0, 1, &slot, &status);
        object->Flush();
        if (in.references != 1) __builtin_trap();
        break;
      }
    }
  }
  return 0;
}
