#define _POSIX_C_SOURCE 200809L
/* Walks every open and render code through the library's exports, loaded with
 * dlopen. Functions of the host's own with the names of exports must stay
 * unused by the library. */
#include <dlfcn.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "orbel/player.h"

static int failures;
#define EXPECT(condition)                                            \
  do {                                                               \
    if (!(condition)) {                                              \
      printf("%s:%d: not so: %s\n", __FILE__, __LINE__, #condition); \
      ++failures;                                                    \
    }                                                                \
  } while (0)

/* The host's own, which the library must leave alone. */
static int hostCalls;
int32_t CoInitializeEx(void* reserved, uint32_t model) {
  (void)reserved, (void)model;
  return ++hostCalls;
}
void* CoTaskMemAlloc(size_t size) {
  (void)size;
  ++hostCalls;
  return NULL;
}
void CoTaskMemFree(void* memory) {
  (void)memory;
  ++hostCalls;
}

static struct {
  Player* (*create)(void);
  void (*dispose)(Player*);
  int32_t (*open)(Player*, int32_t, int32_t, int32_t, int32_t);
  void (*close)(Player*);
  void (*reset)(Player*);
  int32_t (*setVolume)(Player*, int32_t);
  int32_t (*render)(Player*, const uint8_t*, int32_t, int32_t);
  int32_t (*renderDec)(Player*, const uint8_t*, int32_t, int32_t, int32_t, uint8_t**, int32_t*);
  int32_t (*initialize)(void*, uint32_t);
  void (*uninitialize)(void);
  void* (*alloc)(size_t);
  void (*freeMemory)(void*);
  int32_t (*canUnload)(void);
} lib;

static void* find(void* library, const char* name) {
  void* found = dlsym(library, name);
  if (found == NULL) printf("no export %s\n", name), ++failures;
  return found;
}

static void load(void* library) {
  *(void**)&lib.create = find(library, "CreatePlayer");
  *(void**)&lib.dispose = find(library, "DisposePlayer");
  *(void**)&lib.open = find(library, "PlayerOpen");
  *(void**)&lib.close = find(library, "PlayerClose");
  *(void**)&lib.reset = find(library, "PlayerReset");
  *(void**)&lib.setVolume = find(library, "PlayerSetVolume");
  *(void**)&lib.render = find(library, "PlayerRenderMPEGAudioSample");
  *(void**)&lib.renderDec = find(library, "PlayerRenderMPEGAudioSampleDec");
  *(void**)&lib.initialize = find(library, "CoInitializeEx");
  *(void**)&lib.uninitialize = find(library, "CoUninitialize");
  *(void**)&lib.alloc = find(library, "CoTaskMemAlloc");
  *(void**)&lib.freeMemory = find(library, "CoTaskMemFree");
  *(void**)&lib.canUnload = find(library, "DllCanUnloadNow");
}

static int32_t dec(Player* player, const uint8_t* data, int32_t size, uint8_t** pcm,
                   int32_t* pcmSize) {
  *pcm = NULL;
  *pcmSize = -1;
  return lib.renderDec(player, data, size, 0, 0, pcm, pcmSize);
}

static void walkCodes(void) {
  static uint8_t bytes[16384];
  uint8_t* pcm;
  int32_t size;
  Player* player = lib.create();
  EXPECT(player != NULL);

  EXPECT(lib.open(player, ORBEL_FORMAT_MULAW, 0, 160, 1) == ORBEL_OPEN_NO_GRAPH);
  EXPECT(lib.initialize(NULL, ORBEL_COINIT_MULTITHREADED) == 0);
  EXPECT(lib.initialize(NULL, ORBEL_COINIT_MULTITHREADED) == 1);
  lib.uninitialize();

  EXPECT(dec(player, bytes, 160, &pcm, &size) == ORBEL_RENDER_CLOSED);
  EXPECT(lib.render(player, bytes, -1, 0) == ORBEL_RENDER_CLOSED);
  EXPECT(lib.setVolume(player, 0) == 10000);
  lib.reset(player);
  lib.close(player);

  /* No configuration of the sound library: no device. */
  setenv("ALSA_CONFIG_PATH", "/dev/null", 1);
  EXPECT(lib.open(player, ORBEL_FORMAT_MULAW, 0, 160, 0) == ORBEL_OPEN_NO_RENDERER);
  EXPECT(lib.open(player, 12345, 0, 160, 1) == ORBEL_OPEN_NOT_CONNECTED);
  EXPECT(lib.open(player, ORBEL_FORMAT_MULAW, 0, INT_MAX, 1) == ORBEL_OPEN_NOT_CONNECTED);

  EXPECT(lib.open(player, ORBEL_FORMAT_MULAW, 0, 160, 1) == ORBEL_OPEN_OK);
  memset(bytes, 0x80, sizeof bytes);
  EXPECT(dec(player, bytes, 160, &pcm, &size) == ORBEL_RENDER_OK);
  EXPECT(size == 320 && pcm != NULL && ((int16_t*)(void*)pcm)[159] == 32124);
  EXPECT(lib.render(player, bytes, 160, 0) == ORBEL_RENDER_OK);
  EXPECT(dec(player, bytes, 161, &pcm, &size) == ORBEL_RENDER_SIZE && pcm == NULL && size == -1);
  EXPECT(lib.render(player, bytes, -160, 0) == ORBEL_RENDER_SIZE);
  EXPECT(lib.render(player, bytes, INT_MAX, 0) == ORBEL_RENDER_SIZE);
  EXPECT(lib.render(player, NULL, 160, 0) == ORBEL_RENDER_REJECTED);
  EXPECT(lib.render(player, bytes + sizeof bytes, 160, -160) == ORBEL_RENDER_OK);
  EXPECT(lib.canUnload() == 1);
  EXPECT(lib.setVolume(player, 65535) == (int32_t)0x80004001);
  for (int i = 0; i < 100; ++i) lib.reset(player);
  EXPECT(dec(player, bytes, 160, &pcm, &size) == ORBEL_RENDER_OK && size == 320);
  lib.close(player);
  lib.close(player);
  EXPECT(lib.canUnload() == 0);
  EXPECT(lib.render(player, bytes, 160, 0) == ORBEL_RENDER_CLOSED);

  EXPECT(lib.open(player, ORBEL_FORMAT_ALAW, 0, 0, 1) == ORBEL_OPEN_OK);
  EXPECT(lib.render(player, bytes, 100, 0) == ORBEL_RENDER_REJECTED);
  EXPECT(lib.render(player, bytes, 9000, 0) == ORBEL_RENDER_SIZE);
  lib.close(player);
  lib.dispose(player);

  void* memory = lib.alloc(18);
  EXPECT(memory != NULL);
  lib.freeMemory(memory);
  lib.freeMemory(NULL);
  lib.uninitialize();
  EXPECT(hostCalls == 0);
}

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  for (int round = 0; round < 2; ++round) { /* loads, works, unloads, again */
    void* library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (library == NULL) return printf("%s\n", dlerror()), 1;
    load(library);
    if (failures == 0) walkCodes();
    dlclose(library);
  }
  if (failures == 0) printf("every code as documented\n");
  return failures == 0 ? 0 : 1;
}
