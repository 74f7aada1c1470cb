/* A C host with a graph of its own: class factory, media object, one block. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "host_buffer.h"

int main(void) {
  IClassFactory* factory = NULL;
  IMediaObject* object = NULL;
  if (DllGetClassObject(&CLSID_audiodecoder, &IID_IClassFactory, (void**)&factory) != S_OK)
    return puts("no factory"), 1;
  if (factory->lpVtbl->CreateInstance(factory, NULL, &IID_IMediaObject, (void**)&object) != S_OK)
    return puts("no object"), 1;
  factory->lpVtbl->Release(factory);

  WAVEFORMATEX wave = {.formatTag = ORBEL_FORMAT_ALAW, .channels = 1, .samplesPerSecond = 8000};
  DMO_MEDIA_TYPE input = {.majorType = MEDIATYPE_Audio,
                          .subtype = MEDIASUBTYPE_WaveBase,
                          .fixedSizeSamples = 1,
                          .sampleSize = 160,
                          .formatType = FORMAT_WaveFormatEx,
                          .formatSize = sizeof wave,
                          .format = (uint8_t*)&wave};
  input.subtype.data1 = ORBEL_FORMAT_ALAW;
  DMO_MEDIA_TYPE output;
  if (object->lpVtbl->SetInputType(object, 0, &input, 0) != S_OK ||
      object->lpVtbl->GetOutputType(object, 0, 0, &output) != S_OK ||
      object->lpVtbl->SetOutputType(object, 0, &output, 0) != S_OK)
    return puts("types"), 1;
  CoTaskMemFree(output.format);

  static Buffer in = {{&kBufferTable}, {0}, 160}, out = {{&kBufferTable}, {0}, 0};
  memset(in.bytes, 0xAA, 160);
  DMO_OUTPUT_DATA_BUFFER slot = {&out.base, 0, 0, 0};
  uint32_t status = 0;
  if (object->lpVtbl->ProcessInput(object, 0, &in.base, 0, 5, 1) != S_OK ||
      object->lpVtbl->ProcessOutput(object, 0, 1, &slot, &status) != S_OK)
    return puts("decoding"), 1;
  for (int i = 0; i < 160; ++i) {
    int16_t sample;
    memcpy(&sample, out.bytes + 2 * i, 2);
    if (sample != 32256) return puts("sample"), 1;
  }
  if (out.length != 320 || slot.status != 7 || slot.timestamp != 5) return puts("record"), 1;
  if (DllCanUnloadNow() != S_FALSE) return puts("unload"), 1;
  object->lpVtbl->Release(object);
  if (DllCanUnloadNow() != S_OK) return puts("still held"), 1;
  puts("one block through IMediaObject");
  return 0;
}
