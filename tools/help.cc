// The texts of --help.
#include "tools/options.h"

namespace orbel::tool {
namespace {

constexpr const char* kTool = R"(orbel: decodes and plays the audio that network cameras send.

  orbel decode lobby.wav -o lobby-pcm.wav      a recording to a WAV file of PCM
  orbel decode cam.aac -o cam.wav              AAC, every channel
  orbel play lobby.wav                         through the default sound device
  orbel info cam.aac                           what it is, how long, how loud

  orbel decode cam.g726 --format g726-32 -o cam.wav
  orbel decode cam.ima --format ima --sample-bytes 256 -o - | aplay

Commands:
  decode IN -o OUT     writes 16-bit PCM
  play IN              plays it
  info IN...           prints facts
  COMMAND --help       examples and options of one command
  --version

IN is told by its content: a WAV file that carries mu-law or A-law, AAC as ADTS
or ADIF. Raw AAC access units need --config, other raw coded bytes --format
mulaw, alaw, g726-32, g726-24 or ima. - is standard input.

Exit codes: 0 done, 1 failed, 2 wrong usage. A failure is one line on standard
error, with the file's name and, where there is one, the byte.
)";

#define ORBEL_INPUT_HELP                                                                \
  "  --format FORMAT     what raw coded bytes are; WAV, ADTS and ADIF tell it\n"        \
  "                      themselves:\n"                                                 \
  "                        mulaw    G.711 mu-law, 64 kbit/s\n"                          \
  "                        alaw     G.711 A-law, 64 kbit/s\n"                           \
  "                        g726-32  G.726 at 32 kbit/s, first sample in the low bits\n" \
  "                        g726-24  G.726 at 24 kbit/s, first sample in the low bits\n" \
  "                        ima      IMA ADPCM in blocks with a 4-byte header\n"         \
  "                        aac      looks for ADTS frames further into the input\n"     \
  "  --sample-bytes N    bytes handed to the decoder at a time. For ima the size of\n"  \
  "                      the stream's blocks, which must be given; for the others\n"    \
  "                      any (g726-32: a multiple of 4, g726-24: of 3)\n"               \
  "  --config HEX        the AudioSpecificConfig of raw AAC access units, which lie\n"  \
  "                      each behind its length in bytes: 32 bits, low byte first\n"    \
  "  --sbr-mode 18|28    band replication with the complex filter bank, which is the\n" \
  "                      default, or the real one, which is faster\n"                   \
  "  --downsample 0|1    1: out at the rate of the core, with as much of the high\n"    \
  "                      band as fits; 0: at twice that. Default: 0, or what the\n"     \
  "                      configuration says\n"                                          \
  "  --ps off|111|411    parametric stereo: baseline or all of it for every mono\n"     \
  "                      stream. Default: all where a file's first 64 frames, or a\n"   \
  "                      pipe's first 12, or the configuration tell of it\n"            \
  "  --player            AAC on the road of a player's host: samples with the\n"        \
  "                      configuration in front, left channel only\n"

constexpr const char* kDecode =
    "orbel decode IN -o OUT: decodes to 16-bit PCM.\n"
    "\n"
    "  orbel decode lobby.wav -o lobby-pcm.wav\n"
    "  orbel decode cam.aac -o cam.wav\n"
    "  orbel decode units.au --config 1210 -o cam.wav\n"
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
    "has it.\n";

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
    "AAC of more than two channels is mixed to two. With --player every rate but\n"
    "8000, 16000, 32000 and 44100 Hz plays as if it were 48000 Hz.\n";

constexpr const char* kInfo =
    "orbel info IN...: tells format, length, rate and level; of AAC, too, what its\n"
    "frames use and how many are damaged.\n"
    "\n"
    "  orbel info lobby.wav gate.wav cam.aac\n"
    "  orbel info --json cam.g726 --format g726-32 | jq .seconds\n"
    "\n"
    "Options:\n"
    "  --json              one JSON object a line and input\n" ORBEL_INPUT_HELP
    "\n"
    "Peak and RMS are those of the decoded PCM; 0 dBFS is a sample of 32768. Windows\n"
    "and tools are counted once for each channel and frame, band tools in bands. Of\n"
    "band replication (SBR) the bands are those of the first element's last header.\n";

}  // namespace

const char* HelpText(Command command) {
  switch (command) {
    case Command::kDecode:
      return kDecode;
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
