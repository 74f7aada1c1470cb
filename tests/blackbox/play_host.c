#define _POSIX_C_SOURCE 200809L
/* Opens a player for playback on the sound library's `file` plug-in: what comes
 * out is the sound that was sent, at the volume that was set. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "orbel/player.h"

enum { kBlock = 160, kBlocks = 100, kSilence = 40 };

static int fail(const char* what) {
  printf("failed: %s\n", what);
  return 1;
}

static int play(const char* directory, int32_t volume, int16_t* played, size_t count) {
  char path[600], conf[700], text[800];
  snprintf(path, sizeof path, "%s/played-%d.raw", directory, (int)volume);
  snprintf(conf, sizeof conf, "%s/asound-%d.conf", directory, (int)volume);
  snprintf(text, sizeof text,
           "pcm.!default { type file file \"%s\" format raw slave.pcm { type null } }\n", path);
  FILE* file = fopen(conf, "w");
  if (file == NULL || fputs(text, file) < 0 || fclose(file) != 0) return fail("configuration");
  remove(path);
  setenv("ALSA_CONFIG_PATH", conf, 1);

  Player* player = CreatePlayer();
  if (PlayerOpen(player, ORBEL_FORMAT_MULAW, 0, kBlock, 0) != 0) return fail("open");
  if (PlayerSetVolume(player, volume) != 0) return fail("volume");
  if (PlayerSetVolume(player, -100000) >= 0) return fail("volume out of range");
  uint8_t block[kBlock];
  for (int b = 0; b < kBlocks; ++b) {
    for (int i = 0; i < kBlock; ++i) block[i] = (uint8_t)(b * kBlock + i);
    if (PlayerRenderMPEGAudioSample(player, block, kBlock, 0) != 0) return fail("render");
  }
  memset(block, 0xFF, sizeof block); /* silence pushes the rest out */
  for (int b = 0; b < kSilence; ++b) PlayerRenderMPEGAudioSample(player, block, kBlock, 0);
  PlayerReset(player);
  if (PlayerRenderMPEGAudioSample(player, block, kBlock, 0) != 0) return fail("after reset");
  PlayerClose(player);
  DisposePlayer(player);

  file = fopen(path, "rb");
  if (file == NULL) return fail("nothing played");
  const size_t got = fread(played, 2, count, file);
  fclose(file);
  return got == count ? 0 : fail("too little played");
}

int main(int argc, char** argv) {
  enum { kCount = kBlock * kBlocks };
  static int16_t full[kCount], half[kCount];
  if (argc != 2) return 2;
  CoInitializeEx(NULL, ORBEL_COINIT_MULTITHREADED);
  if (play(argv[1], 65535, full, kCount) != 0) return 1;
  /* 61598 of 65535 is -6.01 dB: half. */
  if (play(argv[1], 61590, half, kCount) != 0) return 1;
  CoUninitialize();
  for (int i = 0; i < kCount; ++i) {
    const int code = (i & 0xFF) ^ 0xFF; /* G.711 mu-law, by formula */
    int value = ((2 * (code & 15) + 33) << ((code >> 4 & 7) + 2)) - 132;
    if ((code & 0x80) != 0) value = -value;
    if (full[i] != value) return fail("sample");
    if (abs(half[i] - value / 2) > 40) return fail("sample at half volume");
  }
  printf("%d samples played as sent\n", (int)kCount);
  return 0;
}
