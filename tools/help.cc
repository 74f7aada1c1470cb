// The texts of --help.
#include "tools/options.h"

namespace orbel::tool {
namespace {

constexpr const char* kTool = R"(orbel: decodes and plays the audio that network cameras send.

  orbel decode lobby.wav -o lobby-pcm.wav      a recording to a WAV file of PCM
  orbel decode cam.aac -o cam.wav              AAC, every channel
  orbel decode master.als -o master.wav        lossless, in the samples it was made of
  orbel play lobby.wav                         through the default sound device
  orbel info cam.aac                           what it is, how long, how loud

  orbel decode cam.g726 --format g726-32 -o cam.wav
  orbel decode cam.ima --format ima --sample-bytes 256 -o - | aplay
  orbel encode say.wav --format mulaw --vad -o say.orbv

Commands:
  decode IN -o OUT     writes PCM
  encode IN -o OUT     writes G.711 or G.726, with silence coding if asked to
  play IN              plays it
  info IN...           prints facts
  COMMAND --help       examples and options of one command
  --version

IN is told by its content: a WAV file that carries mu-law or A-law, AAC as ADTS
or ADIF, ALS, what encode --vad writes. Raw access units need --config, other raw
coded bytes --format. - is standard input.

Exit codes: 0 done, 1 failed, 2 wrong usage. A failure is one line on standard
error, with the file's name and, where there is one, the byte.
)";

#define ORBEL_INPUT_HELP                                                                  \
  "  --format FORMAT     what raw coded bytes are; other input tells it itself:\n"        \
  "                        mulaw    G.711 mu-law, 64 kbit/s\n"                            \
  "                        alaw     G.711 A-law, 64 kbit/s\n"                             \
  "                        g726-16, g726-24, g726-32, g726-40\n"                          \
  "                                 G.726, first sample in the low bits\n"                \
  "                        ima      IMA ADPCM in blocks with a 4-byte header\n"           \
  "                        aac      looks for ADTS frames further into the input\n"       \
  "                        bsac     ER BSAC frames one after the other; with --config\n"  \
  "  --sample-bytes N    bytes handed to the decoder at a time. For ima the size of\n"    \
  "                      the stream's blocks, which must be given; for the others\n"      \
  "                      any (G.726: a multiple of 2, 3, 4 or 5, as it has bits)\n"       \
  "  --config HEX        the AudioSpecificConfig of raw access units (AAC, BSAC, ALS),\n" \
  "                      which lie each behind its length in bytes: 32 bits, low\n"       \
  "                      byte first\n"                                                    \
  "  --layer N           enhancement layers of BSAC to decode; default: -1, all\n"        \
  "  --sbr-mode 18|28    band replication with the complex filter bank, which is the\n"   \
  "                      default, or the real one, which is faster\n"                     \
  "  --downsample 0|1    1: out at the rate of the core, with as much of the high\n"      \
  "                      band as fits; 0: at twice that. Default: 0, or what the\n"       \
  "                      configuration says\n"                                            \
  "  --ps off|111|411    parametric stereo: baseline or all of it for every mono\n"       \
  "                      stream. Default: all where a file's first 64 frames, or a\n"     \
  "                      pipe's first 12, or the configuration tell of it\n"              \
  "  --player            AAC on the road of a player's host: samples with the\n"          \
  "                      configuration in front, left channel only\n"

constexpr const char* kDecode =
    "orbel decode IN -o OUT: decodes to PCM of 16 bits; ALS to that of its original.\n"
    "\n"
    "  orbel decode lobby.wav -o lobby-pcm.wav\n"
    "  orbel decode cam.aac -o cam.wav\n"
    "  orbel decode units.au --config 1210 -o cam.wav\n"
    "  orbel decode cam.bsac --format bsac --config b209080000 --layer 8 -o cam.wav\n"
    "  orbel decode master.als -o master.wav\n"
    "  orbel decode cam.ul --format mulaw -o cam.wav\n"
    "  orbel decode cam.ima --format ima --sample-bytes 256 -o cam.wav\n"
    "  orbel decode cam.g726 --format g726-24 -o cam.pcm        no header\n"
    "  nc camera 5000 | orbel decode - --format alaw -o - | aplay\n"
    "\n"
    "Options:\n"
    "  -o, --output OUT    a WAV file; one ending in .pcm or .raw gets no header; -\n"
    "                      is standard output. What is there is replaced; after a\n"
    "                      failure there is no file\n"
    "  --null              in place of -o: decodes and throws the PCM away\n"
    "  --raw               no header, whatever the name\n"
    "  --json              prints what was done and how fast\n" ORBEL_INPUT_HELP
    "\n"
    "Exactly the coded samples come out, also of a last part block. A WAV header on\n"
    "a pipe holds the sizes if the input's size is known, otherwise 0xFFFFFFFF. When\n"
    "the pipe's reader stops early, that is no failure.\n"
    "\n"
    "AAC: channels come out in the order of WAV files, and more than two with the\n"
    "loudspeakers in the header, as far as the stream tells them. A damaged frame is\n"
    "silent; a last frame that is cut short is left out; both are reported. Where\n"
    "rate or channels change on the way, a file goes on in another, OUT-2.wav, and a\n"
    "pipe is a failure there. Band replication doubles the rate of each frame that\n"
    "has it.\n"
    "\n"
    "ALS: 8, 16, 24 or 32 bits or 32-bit float, as in the original; all channels in\n"
    "its order. What encode --vad wrote is 40 samples late, and stays so.\n";

constexpr const char* kEncode =
    "orbel encode IN.wav -o OUT --format FORMAT: codes 16-bit PCM, 8000 Hz, mono.\n"
    "\n"
    "  orbel encode say.wav -o say.ul --format mulaw\n"
    "  orbel encode say.wav -o say-alaw.wav --format alaw\n"
    "  orbel encode say.wav -o say.orbv --format mulaw --vad\n"
    "  sox music.wav -r 8000 -c 1 -b 16 -t wav - | orbel encode - -o - --format g726-32\n"
    "\n"
    "Options:\n"
    "  --format FORMAT     mulaw, alaw, g726-16, g726-24, g726-32 or g726-40\n"
    "  -o, --output OUT    raw code; a WAV file where it ends in .wav, for mulaw and\n"
    "                      alaw; - is standard output\n"
    "  --vad               mulaw and alaw: silence coding. Pauses are sent as a few\n"
    "                      descriptors of their noise; OUT holds frames of 10 ms, each\n"
    "                      with its type, and the sound in it is 40 samples late\n"
    "  --json              prints what was done, and with --vad the frames of each type\n"
    "                      and the bytes saved\n"
    "\n"
    "G.726 fills up its last block of 8 samples with zeros.\n";

constexpr const char* kPlay =
    "orbel play IN: plays through the system's default sound device.\n"
    "\n"
    "  orbel play lobby.wav\n"
    "  orbel play cam.aac\n"
    "  orbel play gate.al --format alaw --volume 40000\n"
    "  nc camera 5000 | orbel play - --format g726-32\n"
    "\n"
    "Options:\n"
    "  --volume N          0 (silent) to 65535 (unchanged), linear in decibels:\n"
    "                      32768 is -50 dB\n" ORBEL_INPUT_HELP
    "\n"
    "More than two channels are mixed to two. With --player every rate but\n"
    "8000, 16000, 32000 and 44100 Hz plays as if it were 48000 Hz.\n";

constexpr const char* kInfo =
    "orbel info IN...: tells format, length, rate and level; of AAC, too, what its\n"
    "frames use and how many are damaged; of ALS the fields of its configuration, and\n"
    "whether the checksum is good; of encode --vad the frames of each type.\n"
    "\n"
    "  orbel info lobby.wav gate.wav cam.aac\n"
    "  orbel info --json cam.g726 --format g726-32 | jq .seconds\n"
    "\n"
    "Options:\n"
    "  --json              one JSON object a line and input\n" ORBEL_INPUT_HELP
    "\n"
    "Peak and RMS are those of the decoded PCM; 0 dBFS is full scale. Windows\n"
    "and tools are counted once for each channel and frame, band tools in bands. Of\n"
    "band replication (SBR) the bands are those of the first element's last header.\n";

}  // namespace

const char* HelpText(Command command) {
  switch (command) {
    case Command::kDecode:
      return kDecode;
    case Command::kEncode:
      return kEncode;
    case Command::kPlay:
      return kPlay;
    case Command::kInfo:
      return kInfo;
    case Command::kNone:
      break;
  }
  return kTool;
}

}  // namespace orbel::tool
