/* orbel.audio.mpeg: decode and play the audio of one camera.
 *
 * A host creates a player, opens it for the format that the camera sends, and
 * hands it the compressed audio one sample (one block of coded bytes) at a
 * time. The library plays it, or gives 16-bit PCM back. It creates no thread:
 * all work happens inside the calls below, on the caller's thread.
 *
 * Threads. A thread calls CoInitializeEx once before its first PlayerOpen.
 * One player is used by one thread at a time; different players may be used
 * by different threads at the same time and share nothing that is written.
 *
 * This header is plain C and stands alone. */
#ifndef ORBEL_PLAYER_H
#define ORBEL_PLAYER_H

#include <stddef.h>
#include <stdint.h>

#if defined(_MSC_VER)
#error "orbel.audio.mpeg is a Linux x86-64 library"
#endif
#ifndef ORBEL_API
#define ORBEL_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#define ORBEL_NOEXCEPT noexcept
#else
#define ORBEL_NOEXCEPT
#endif

/* One stream: an opaque record made by CreatePlayer. */
typedef struct Player Player;

/* What the coded bytes are (formatId of PlayerOpen). */
enum {
  ORBEL_FORMAT_AAC = 255,      /* MPEG-4 AAC; rateIndex tells the rate. A sample
                                  is a byte n from 1 to 4, n bytes of
                                  AudioSpecificConfig and one access unit. The
                                  first sample's configuration counts; two
                                  channels are played as the left one         */
  ORBEL_FORMAT_MULAW = 495,    /* G.711 mu-law, 8000 Hz, 1 byte a sample      */
  ORBEL_FORMAT_ALAW = 496,     /* G.711 A-law, 8000 Hz, 1 byte a sample       */
  ORBEL_FORMAT_G726_32 = 751,  /* G.726 at 32 kbit/s, 8000 Hz, 2 samples a
                                  byte, first sample in the low bits          */
  ORBEL_FORMAT_G726_24 = 1007, /* G.726 at 24 kbit/s, 8000 Hz, 8 samples in
                                 3 bytes, first sample in the low bits       */
  ORBEL_FORMAT_IMA = 10005     /* IMA ADPCM blocks, 8000 Hz: 4 bytes of header,
                                  then 2 samples a byte, high nibble first    */
};

/* Results of PlayerOpen: the step that failed. */
enum {
  ORBEL_OPEN_OK = 0,
  ORBEL_OPEN_NO_GRAPH = -1,     /* no graph: the thread is not initialised
                                   (CoInitializeEx), no memory, or no player  */
  ORBEL_OPEN_NO_DECODER = -2,   /* there is no decoder, or no memory for it   */
  ORBEL_OPEN_NO_RENDERER = -3,  /* no sound library, no sound device, or no
                                   memory                                     */
  ORBEL_OPEN_NOT_ADDED = -4,    /* the renderer could not enter the graph     */
  ORBEL_OPEN_NOT_CONNECTED = -5 /* the decoder refuses the format, a buffer for
                                   this sampleSize can't be had, or the sound
                                   device can't play the rate                 */
};

/* Results of the two render functions. */
enum {
  ORBEL_RENDER_OK = 0,        /* taken; a damaged sample is taken too, and
                                 simply gives no sound                       */
  ORBEL_RENDER_REJECTED = -1, /* data is null, a telephony stream was opened
                                 without a sampleSize, or no buffer could be
                                 had                                         */
  ORBEL_RENDER_CLOSED = -2,   /* the player is null or not open              */
  ORBEL_RENDER_SIZE = -3      /* size is negative, differs from a sampleSize
                                 above 0, or is above 8191 without one       */
};

/* Makes a closed player. Returns null when memory is short. Free it with
 * DisposePlayer. */
ORBEL_API Player* CreatePlayer(void) ORBEL_NOEXCEPT;

/* Frees the record; null is ignored. It does not close: call PlayerClose
 * first, or the stream's graph stays alive and can no longer be reached. */
ORBEL_API void DisposePlayer(Player* player) ORBEL_NOEXCEPT;

/* Builds and starts the stream.
 *
 * formatId      one of ORBEL_FORMAT_...
 * rateIndex     for ORBEL_FORMAT_AAC, 20 to 38: the rate and bit rate that
 *               README.md lists; not read for the others
 * sampleSize    bytes of every sample, the same for the whole stream. Above 0
 *               for the telephony formats (20 ms of G.711 are 160 bytes). 0
 *               with ORBEL_FORMAT_AAC: samples of 0 to 8191 bytes
 * callbackMode  0 plays through the system's default sound device; any other
 *               value decodes only, for PlayerRenderMPEGAudioSampleDec
 *
 * Returns ORBEL_OPEN_OK or the step that failed; after a failure the player
 * is closed and may be opened again. An open player must be closed before it
 * is opened again: otherwise the first stream's graph can never be freed, and
 * no later one is started until PlayerReset. */
ORBEL_API int32_t PlayerOpen(Player* player, int32_t formatId, int32_t rateIndex,
                             int32_t sampleSize, int32_t callbackMode) ORBEL_NOEXCEPT;

/* Stops the stream and frees all that PlayerOpen made. Sound that the device
 * has not played yet is dropped. Does nothing on a closed or null player. */
ORBEL_API void PlayerClose(Player* player) ORBEL_NOEXCEPT;

/* Stops the stream and drops sound not yet played; the next sample starts it
 * again. The decoder keeps its history. Does nothing when closed or null. */
ORBEL_API void PlayerReset(Player* player) ORBEL_NOEXCEPT;

/* Sets the loudness. volume runs from 0 (silent) to 65535 (unchanged), linear
 * in decibels: 32768 is -50 dB.
 *
 * Returns 0; 10000 on a closed or null player; a negative platform code when
 * the volume is below 0 (0x80070057; the least few values count as 0) or the
 * stream is not played but called back (0x80004001). Values from 65536 to
 * 214748 count as 65535. */
ORBEL_API int32_t PlayerSetVolume(Player* player, int32_t volume) ORBEL_NOEXCEPT;

/* Decodes one sample, and plays it where the player was opened to play.
 *
 * data, offset  the sample's bytes start at data + offset (offset may be
 *               negative); borrowed for the call, copied once
 * size          bytes, as PlayerOpen's sampleSize asks
 *
 * Returns an ORBEL_RENDER_... code. Restarts a stopped stream first, whatever
 * it returns. Allocates nothing after the first sample. When playing, blocks
 * only while the device's buffer is full. */
ORBEL_API int32_t PlayerRenderMPEGAudioSample(Player* player, const uint8_t* data, int32_t size,
                                              int32_t offset) ORBEL_NOEXCEPT;

/* The same, and hands back the decoded PCM of a player opened with
 * callbackMode set.
 *
 * reserved        not read
 * decodedOut      receives the address of the PCM: 16-bit samples, host byte
 *                 order. It belongs to the player and stays readable until
 *                 the next render, reset or close on it. May be null
 * decodedSizeOut  receives its size in bytes. May be null
 *
 * Both are written only when the result is 0 and there is PCM: clear them
 * before the call, and a sample that gave nothing leaves them clear. */
ORBEL_API int32_t PlayerRenderMPEGAudioSampleDec(Player* player, const uint8_t* data, int32_t size,
                                                 int32_t offset, int32_t reserved,
                                                 uint8_t** decodedOut,
                                                 int32_t* decodedSizeOut) ORBEL_NOEXCEPT;

/* Prepares the calling thread for PlayerOpen and for creating objects.
 *
 * reserved  null
 * model     ORBEL_COINIT_...; both work, the first call of a thread decides
 *
 * Returns 0 for the thread's first call, 1 for a repeated one (each needs a
 * CoUninitialize of its own), 0x80010106 for another model than the first
 * (not counted), 0x80070057 for a reserved that is not null. */
ORBEL_API int32_t CoInitializeEx(void* reserved, uint32_t model) ORBEL_NOEXCEPT;
enum { ORBEL_COINIT_MULTITHREADED = 0, ORBEL_COINIT_APARTMENTTHREADED = 2 };

/* Takes one CoInitializeEx of this thread back. Players that the thread has
 * opened may still be used and closed. */
ORBEL_API void CoUninitialize(void) ORBEL_NOEXCEPT;

/* Memory that passes between host and library in media types: whoever takes
 * it over frees it with CoTaskMemFree. CoTaskMemAlloc gives null when memory
 * is short; CoTaskMemFree ignores null. */
ORBEL_API void* CoTaskMemAlloc(size_t size) ORBEL_NOEXCEPT;
ORBEL_API void CoTaskMemFree(void* memory) ORBEL_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
