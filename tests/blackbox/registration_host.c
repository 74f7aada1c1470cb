/* A graph's way to the decoders: loads the library by name, lets it register,
 * asks for the audio decoders that take a type, makes both by class identifier
 * and runs one through IMediaObject alone; then all of it from many threads. */
#include <dlfcn.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "host_buffer.h"
#include "orbel/registration.h"

static int failures; /* written by several threads: any of them will do */
#define EXPECT(condition)                                            \
  do {                                                               \
    if (!(condition)) {                                              \
      printf("%s:%d: not so: %s\n", __FILE__, __LINE__, #condition); \
      __atomic_fetch_add(&failures, 1, __ATOMIC_RELAXED);            \
    }                                                                \
  } while (0)

static struct {
  HRESULT (*registerServer)(void);
  HRESULT (*unregisterServer)(void);
  HRESULT (*canUnload)(void);
  HRESULT (*getClassObject)(const GUID*, const GUID*, void**);
  HRESULT(*enumerate)
  (const GUID*, uint32_t, uint32_t, const DMO_PARTIAL_MEDIATYPE*, uint32_t,
   const DMO_PARTIAL_MEDIATYPE*, IEnumDMO**);
  HRESULT (*getName)(const GUID*, char*);
  HRESULT(*getTypes)
  (const GUID*, uint32_t, uint32_t*, DMO_PARTIAL_MEDIATYPE*, uint32_t, uint32_t*,
   DMO_PARTIAL_MEDIATYPE*);
  HRESULT (*create)(const GUID*, IUnknown*, uint32_t, const GUID*, void**);
  int32_t (*initialize)(void*, uint32_t);
  void (*uninitialize)(void);
  void (*freeMemory)(void*);
} lib;

static void load(const char* path) {
  void* library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  if (library == NULL) puts(dlerror()), exit(1);
  const struct {
    void* place;
    const char* name;
  } functions[] = {{&lib.registerServer, "DllRegisterServer"},
                   {&lib.unregisterServer, "DllUnregisterServer"},
                   {&lib.canUnload, "DllCanUnloadNow"},
                   {&lib.getClassObject, "DllGetClassObject"},
                   {&lib.enumerate, "DMOEnum"},
                   {&lib.getName, "DMOGetName"},
                   {&lib.getTypes, "DMOGetTypes"},
                   {&lib.create, "CoCreateInstance"},
                   {&lib.initialize, "CoInitializeEx"},
                   {&lib.uninitialize, "CoUninitialize"},
                   {&lib.freeMemory, "CoTaskMemFree"}};
  for (size_t i = 0; i < sizeof functions / sizeof *functions; ++i) {
    void* found = dlsym(library, functions[i].name);
    if (found == NULL) printf("no export %s\n", functions[i].name), exit(1);
    memcpy(functions[i].place, &found, sizeof found);
  }
}

static DMO_PARTIAL_MEDIATYPE wave(uint32_t format) {
  DMO_PARTIAL_MEDIATYPE type = {MEDIATYPE_Audio, MEDIASUBTYPE_WaveBase};
  type.subtype.data1 = format;
  return type;
}

static int same(const GUID* a, const GUID* b) { return memcmp(a, b, sizeof *a) == 0; }

/* How many audio decoders take the type; the first one's class. */
static uint32_t decodersOf(DMO_PARTIAL_MEDIATYPE input, GUID* first) {
  const DMO_PARTIAL_MEDIATYPE pcm = {MEDIATYPE_Audio, MEDIASUBTYPE_PCM};
  IEnumDMO* found = NULL;
  GUID classes[4];
  uint32_t count = 99;
  if (lib.enumerate(&DMOCATEGORY_AUDIO_DECODER, 0, 1, &input, 1, &pcm, &found) != S_OK)
    return count;
  EXPECT(found->lpVtbl->Next(found, 4, classes, NULL, &count) == S_FALSE);
  if (count > 0) *first = classes[0];
  found->lpVtbl->Release(found);
  return count;
}

static void walk(void) {
  const GUID other = {1, 2, 3, {4}};
  DMO_PARTIAL_MEDIATYPE types[8], video = {other, GUID_NULL};
  IEnumDMO *found = NULL, *copy = NULL;
  GUID id, ids[2];
  char *names[2], name[80];
  uint32_t count = 0, outputs = 0;

  EXPECT(decodersOf(wave(ORBEL_FORMAT_AAC), &id) == 1 && same(&id, &CLSID_aacdecoder));
  EXPECT(decodersOf(wave(ORBEL_FORMAT_IMA), &id) == 1 && same(&id, &CLSID_audiodecoder));
  EXPECT(decodersOf(wave(80), &id) == 0 && decodersOf(video, &id) == 0);
  EXPECT(lib.enumerate(&other, 0, 0, NULL, 0, NULL, &found) == S_OK);
  EXPECT(found->lpVtbl->Next(found, 1, &id, NULL, NULL) == S_FALSE);
  found->lpVtbl->Release(found);

  EXPECT(lib.enumerate(&GUID_NULL, 0, 0, NULL, 0, NULL, NULL) == E_POINTER);
  EXPECT(lib.enumerate(&GUID_NULL, 0, 1, NULL, 0, NULL, &found) == E_POINTER && found == NULL);
  EXPECT(lib.enumerate(&GUID_NULL, 0, 0, NULL, 0, NULL, &found) == S_OK);
  EXPECT(lib.canUnload() == S_FALSE);
  EXPECT(found->lpVtbl->Next(found, 2, ids, names, NULL) == E_INVALIDARG);
  EXPECT(found->lpVtbl->Skip(found, 1) == S_OK && found->lpVtbl->Clone(found, &copy) == S_OK);
  EXPECT(found->lpVtbl->Skip(found, 2) == S_FALSE && found->lpVtbl->Reset(found) == S_OK);
  EXPECT(found->lpVtbl->Next(found, 2, ids, names, &count) == S_OK && count == 2);
  EXPECT(copy->lpVtbl->Next(copy, 1, &id, NULL, NULL) == S_OK && same(&id, &ids[1]));
  EXPECT(copy->lpVtbl->QueryInterface(copy, &IID_IMediaObject, (void**)&id) == E_NOINTERFACE);
  for (uint32_t i = 0; i < 2; ++i) {
    EXPECT(lib.getName(&ids[i], name) == S_OK && strcmp(name, names[i]) == 0);
    lib.freeMemory(names[i]);
  }
  copy->lpVtbl->Release(copy);
  found->lpVtbl->Release(found);

  EXPECT(lib.getTypes(&CLSID_audiodecoder, 8, &count, types, 0, &outputs, NULL) == S_FALSE);
  EXPECT(count == 5 && outputs == 0 && types[0].subtype.data1 == ORBEL_FORMAT_MULAW);
  EXPECT(lib.getTypes(&other, 8, &count, types, 0, &outputs, NULL) == E_FAIL);
  EXPECT(lib.getName(&other, name) == E_FAIL);
}

/* One block of A-law through an object of the class that the registry names. */
static void decode(void) {
  GUID id = GUID_NULL;
  IMediaObject *object = NULL, *aac = NULL;
  if (decodersOf(wave(ORBEL_FORMAT_ALAW), &id) != 1) id = CLSID_audiodecoder;
  const HRESULT made =
      lib.create(&id, NULL, ORBEL_CLSCTX_INPROC_SERVER, &IID_IMediaObject, (void**)&object);
  EXPECT(made == S_OK);
  if (made != S_OK) return;
  EXPECT(lib.create(&CLSID_aacdecoder, NULL, ORBEL_CLSCTX_INPROC_SERVER, &IID_IMediaObject,
                    (void**)&aac) == S_OK);
  EXPECT(lib.canUnload() == S_FALSE);
  aac->lpVtbl->Release(aac);

  WAVEFORMATEX format = {.formatTag = ORBEL_FORMAT_ALAW, .channels = 1, .samplesPerSecond = 8000};
  DMO_MEDIA_TYPE input = {.majorType = MEDIATYPE_Audio,
                          .subtype = wave(ORBEL_FORMAT_ALAW).subtype,
                          .fixedSizeSamples = 1,
                          .sampleSize = 160,
                          .formatType = FORMAT_WaveFormatEx,
                          .formatSize = sizeof format,
                          .format = (uint8_t*)&format};
  DMO_MEDIA_TYPE output;
  EXPECT(object->lpVtbl->SetInputType(object, 0, &input, 0) == S_OK);
  EXPECT(object->lpVtbl->GetOutputType(object, 0, 0, &output) == S_OK);
  EXPECT(object->lpVtbl->SetOutputType(object, 0, &output, 0) == S_OK);
  lib.freeMemory(output.format);
  Buffer in = {{&kBufferTable}, {0}, 160}, out = {{&kBufferTable}, {0}, 0};
  memset(in.bytes, 0xAA, 160);
  DMO_OUTPUT_DATA_BUFFER slot = {&out.base, 0, 0, 0};
  uint32_t status = 0;
  EXPECT(object->lpVtbl->ProcessInput(object, 0, &in.base, 0, 5, 1) == S_OK);
  EXPECT(object->lpVtbl->ProcessOutput(object, 0, 1, &slot, &status) == S_OK);
  int16_t sample = 0;
  memcpy(&sample, out.bytes + 318, 2);
  EXPECT(out.length == 320 && sample == 32256);
  object->lpVtbl->Release(object);
}

static void* hammer(void* unused) {
  (void)unused;
  EXPECT(lib.initialize(NULL, ORBEL_COINIT_MULTITHREADED) == S_OK);
  IClassFactory* factory = NULL;
  EXPECT(lib.getClassObject(&CLSID_aacdecoder, &IID_IClassFactory, (void**)&factory) == S_OK);
  for (int i = 0; i < 200; ++i) {
    EXPECT(factory->lpVtbl->LockServer(factory, 1) == S_OK);
    EXPECT(lib.canUnload() == S_FALSE);
    if (i % 16 == 0) EXPECT(lib.unregisterServer() == S_OK);
    EXPECT(lib.registerServer() == S_OK);
    if (i % 8 == 0) decode();
    EXPECT(factory->lpVtbl->LockServer(factory, 0) == S_OK);
  }
  factory->lpVtbl->Release(factory);
  lib.uninitialize();
  return NULL;
}

/* Threads that a host leaves behind may call while the process ends. */
static void* linger(void* unused) {
  (void)unused;
  for (;;) {
    IEnumDMO* found = NULL;
    lib.registerServer();
    if (lib.enumerate(&GUID_NULL, 0, 0, NULL, 0, NULL, &found) == S_OK)
      found->lpVtbl->Release(found);
  }
  return NULL;
}

int main(int count, char** words) {
  if (count != 2) return puts("usage: registration_host LIBRARY"), 2;
  load(words[1]);
  GUID id;
  char name[80];
  EXPECT(lib.unregisterServer() == S_OK && decodersOf(wave(ORBEL_FORMAT_AAC), &id) == 0);
  EXPECT(lib.registerServer() == S_OK && lib.registerServer() == S_OK);
  EXPECT(lib.canUnload() == S_OK);
  walk();
  EXPECT(lib.initialize(NULL, ORBEL_COINIT_MULTITHREADED) == S_OK);
  decode();
  EXPECT(lib.canUnload() == S_OK);

  pthread_t threads[4];
  for (int i = 0; i < 4; ++i) pthread_create(&threads[i], NULL, hammer, NULL);
  for (int i = 0; i < 4; ++i) pthread_join(threads[i], NULL);
  EXPECT(lib.canUnload() == S_OK);
  EXPECT(lib.registerServer() == S_OK);
  walk();
  EXPECT(lib.unregisterServer() == S_OK && lib.unregisterServer() == S_OK);
  EXPECT(decodersOf(wave(ORBEL_FORMAT_AAC), &id) == 0 && lib.getName(&CLSID_aacdecoder, name) < 0);
  decode(); /* creation does not need it */
  lib.uninitialize();
  EXPECT(lib.canUnload() == S_OK);
  lib.registerServer();
  pthread_t lingering;
  pthread_create(&lingering, NULL, linger, NULL);
  pthread_detach(lingering);
  if (failures == 0) puts("registered, found, made, run, taken out");
  return failures != 0;
}
