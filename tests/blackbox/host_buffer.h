/* A C host's own IMediaBuffer, of 320 bytes; its owner outlives all references. */
#ifndef HOST_BUFFER_H
#define HOST_BUFFER_H

#include "orbel/media_object.h"

typedef struct Buffer {
  IMediaBuffer base;
  uint8_t bytes[320];
  uint32_t length;
} Buffer;

static HRESULT query(IMediaBuffer* self, const GUID* iid, void** object) {
  (void)iid;
  *object = self;
  return S_OK;
}
static uint32_t count(IMediaBuffer* self) {
  (void)self;
  return 1;
}
static HRESULT setLength(IMediaBuffer* self, uint32_t length) {
  ((Buffer*)(void*)self)->length = length;
  return S_OK;
}
static HRESULT getMaxLength(IMediaBuffer* self, uint32_t* length) {
  *length = sizeof((Buffer*)(void*)self)->bytes;
  return S_OK;
}
static HRESULT getBytes(IMediaBuffer* self, uint8_t** bytes, uint32_t* length) {
  *bytes = ((Buffer*)(void*)self)->bytes;
  *length = ((Buffer*)(void*)self)->length;
  return S_OK;
}
static const IMediaBufferVtbl kBufferTable = {query,     count,        count,
                                              setLength, getMaxLength, getBytes};

#endif
