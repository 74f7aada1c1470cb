#include "tools/options.h"

#include <algorithm>
#include <charconv>
#include <initializer_list>
#include <iterator>
#include <span>
#include <string_view>

#include "tools/failure.h"

namespace orbel::tool {
namespace {

struct CommandRow {
  std::string_view name;
  Command command;
};
constexpr CommandRow kCommands[] = {{"decode", Command::kDecode},
                                    {"encode", Command::kEncode},
                                    {"play", Command::kPlay},
                                    {"info", Command::kInfo}};

constexpr unsigned Bit(Command command) { return 1u << static_cast<unsigned>(command); }
// That decode.
constexpr unsigned kReaders = Bit(Command::kDecode) | Bit(Command::kPlay) | Bit(Command::kInfo);
constexpr unsigned kWriters = Bit(Command::kDecode) | Bit(Command::kEncode);

enum class Name {
  kOutput,
  kNull,
  kFormat,
  kConfig,
  kPlayer,
  kSbrMode,
  kDownsample,
  kPs,
  kSampleBytes,
  kVolume,
  kRaw,
  kLayer,
  kVad,
  kJson,
  kHelp
};

struct OptionRow {
  std::string_view name;
  Name which;
  const char* value;  // what it takes, or null
  unsigned commands;
};
constexpr OptionRow kOptions[] = {
    {"--output", Name::kOutput, "a file name", kWriters},
    {"-o", Name::kOutput, "a file name", kWriters},
    {"--null", Name::kNull, nullptr, Bit(Command::kDecode)},
    {"--format", Name::kFormat, "a format", kReaders | kWriters},
    {"--config", Name::kConfig, "a configuration in hexadecimal digits", kReaders},
    {"--player", Name::kPlayer, nullptr, kReaders},
    {"--sbr-mode", Name::kSbrMode, "18 or 28", kReaders},
    {"--downsample", Name::kDownsample, "0 or 1", kReaders},
    {"--ps", Name::kPs, "off, 111 or 411", kReaders},
    {"--sample-bytes", Name::kSampleBytes, "a number", kReaders},
    {"--volume", Name::kVolume, "a number from 0 to 65535", Bit(Command::kPlay)},
    {"--raw", Name::kRaw, nullptr, Bit(Command::kDecode)},
    {"--layer", Name::kLayer, "a number from -1 to 63", kReaders},
    {"--vad", Name::kVad, nullptr, Bit(Command::kEncode)},
    {"--json", Name::kJson, nullptr, kWriters | Bit(Command::kInfo)},
    {"--help", Name::kHelp, nullptr, kReaders | kWriters},
    {"-h", Name::kHelp, nullptr, kReaders | kWriters},
};

constexpr int32_t kMostSampleBytes = 1 << 23;

std::string Quoted(std::string_view text) { return "'" + std::string(text) + "'"; }

// Single insertions, removals and exchanges that turn one word into the other.
size_t Distance(std::string_view from, std::string_view to) {
  std::vector<size_t> row(to.size() + 1);
  for (size_t j = 0; j <= to.size(); ++j) row[j] = j;
  for (size_t i = 1; i <= from.size(); ++i) {
    size_t diagonal = row[0];
    row[0] = i;
    for (size_t j = 1; j <= to.size(); ++j) {
      const size_t exchanged = diagonal + (from[i - 1] == to[j - 1] ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({row[j] + 1, row[j - 1] + 1, exchanged});
    }
  }
  return row.back();
}

// ", did you mean 'x'?" where one of the words is near, else nothing.
template <class Rows, class NameOf>
std::string Hint(std::string_view word, const Rows& rows, NameOf nameOf) {
  std::string_view best;
  size_t least = 3;
  for (const auto& row : rows) {
    const size_t distance = Distance(word, nameOf(row));
    if (distance < least && word.size() > 3) {
      least = distance;
      best = nameOf(row);
    }
  }
  return best.empty() ? "" : "; did you mean " + Quoted(best) + "?";
}

std::string_view NameOf(Command command) {
  for (const CommandRow& row : kCommands)
    if (row.command == command) return row.name;
  return "";
}

int32_t Number(std::string_view option, std::string_view text, int32_t least, int32_t most) {
  int32_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || value < least || value > most)
    throw UsageFailure(std::string(option) + " takes a number from " + std::to_string(least) +
                       " to " + std::to_string(most) + ", not " + Quoted(text));
  return value;
}

std::vector<uint8_t> Hex(std::string_view option, std::string_view text) {
  std::vector<uint8_t> bytes(text.size() / 2);
  bool good = !text.empty() && text.size() % 2 == 0;
  for (size_t i = 0; good && i < bytes.size(); ++i) {
    const char* const end = text.data() + 2 * i + 2;
    const auto [stop, error] = std::from_chars(end - 2, end, bytes[i], 16);
    good = error == std::errc() && stop == end;
  }
  if (!good)
    throw UsageFailure(std::string(option) + " takes bytes of two hexadecimal digits each, not " +
                       Quoted(text));
  return bytes;
}

struct Choice {
  std::string_view word;
  int32_t value;
};

int32_t Choose(const OptionRow& row, std::string_view text, std::initializer_list<Choice> choices) {
  for (const Choice& choice : choices)
    if (choice.word == text) return choice.value;
  throw UsageFailure(std::string(row.name) + " takes " + row.value + ", not " + Quoted(text));
}

void Apply(const OptionRow& row, std::string_view value, Options* options) {
  switch (row.which) {
    case Name::kOutput:
      if (value.empty()) throw UsageFailure(std::string(row.name) + " needs a file name");
      options->output = value;
      break;
    case Name::kFormat:
      options->format = FindFormat(std::string(value));
      if (options->format == nullptr)
        throw UsageFailure(
            "unknown format " + Quoted(value) +
            Hint(value, AllFormats(), [](const Format& f) { return std::string_view(f.key); }) +
            " (there are: " + FormatKeys() + ")");
      break;
    case Name::kSbrMode:
      options->sbrMode = Choose(row, value, {{"18", 18}, {"28", 28}});
      break;
    case Name::kDownsample:
      options->sbrDownsample = Choose(row, value, {{"0", 0}, {"1", 1}});
      break;
    case Name::kPs:
      options->psLevel = Choose(row, value, {{"off", 0}, {"111", 111}, {"411", 411}});
      break;
    case Name::kSampleBytes:
      options->sampleBytes = Number(row.name, value, 1, kMostSampleBytes);
      break;
    case Name::kVolume:
      options->volume = Number(row.name, value, 0, 65535);
      break;
    case Name::kLayer:
      options->layers = Number(row.name, value, -1, 63);
      break;
    case Name::kVad:
      options->vad = true;
      break;
    case Name::kNull:
      options->null = true;
      break;
    case Name::kConfig:
      options->config = Hex(row.name, value);
      break;
    case Name::kPlayer:
      options->player = true;
      break;
    case Name::kRaw:
      options->raw = true;
      break;
    case Name::kJson:
      options->json = true;
      break;
    case Name::kHelp:
      options->help = true;
      break;
  }
}

const OptionRow& FindOption(std::string_view word, Command command) {
  const auto* row = std::find_if(std::begin(kOptions), std::end(kOptions),
                                 [&](const OptionRow& o) { return o.name == word; });
  const std::string see = " (see: orbel " + std::string(NameOf(command)) + " --help)";
  if (row == std::end(kOptions)) {
    const auto name = [](const OptionRow& o) { return o.name; };
    throw UsageFailure("unknown option " + Quoted(word) + Hint(word, kOptions, name) + see);
  }
  if ((row->commands & Bit(command)) == 0)
    throw UsageFailure(std::string(NameOf(command)) + " has no option " + Quoted(word) + see);
  return *row;
}

void CheckAacModes(const Options& options) {
  const char* const given = options.sbrMode         ? "--sbr-mode"
                            : options.sbrDownsample ? "--downsample"
                            : options.psLevel       ? "--ps"
                            : options.layers        ? "--layer"
                                                    : nullptr;
  if (given == nullptr) return;
  if (options.player)
    throw UsageFailure(std::string("a player has no ") + given +
                       ": with --player it sets these itself");
  if (options.format != nullptr && !options.format->IsAac())
    throw UsageFailure(std::string(given) + " is for AAC, not for " + options.format->key);
  if (options.psLevel.value_or(0) == 0) return;
  if (options.sbrMode == 28 || options.sbrDownsample == 1)
    throw UsageFailure(std::string("parametric stereo needs the complex filter bank at full rate: "
                                   "--ps contradicts ") +
                       (options.sbrMode == 28 ? "--sbr-mode 28" : "--downsample 1"));
}

void CheckEncode(const Options& options) {
  const Format* const format = options.format;
  if (format == nullptr || options.output.empty())
    throw UsageFailure(format == nullptr ? "encode needs --format" : "encode needs an output: -o");
  if (!format->IsG711() && !format->IsG726())
    throw UsageFailure("there is no encoder for " + std::string(format->key));
  if (options.vad && !format->IsG711())
    throw UsageFailure("--vad is for mulaw and alaw, not for " + std::string(format->key));
  if (options.output.ends_with(".wav") && (options.vad || !format->IsG711()))
    throw UsageFailure("a WAV file holds mulaw or alaw without --vad, no " +
                       std::string(options.vad ? "frames" : format->key));
}

// What only the whole line can tell.
void Check(const Options& options) {
  const std::string command(NameOf(options.command));
  if (options.inputs.empty())
    throw UsageFailure(command + " needs an input file (see: orbel " + command + " --help)");
  if (options.command != Command::kInfo && options.inputs.size() > 1)
    throw UsageFailure(command + " takes one input, and then there is " +
                       Quoted(options.inputs[1]));
  if (options.command == Command::kDecode && options.output.empty() != options.null)
    throw UsageFailure(options.null ? "-o and --null contradict each other"
                                    : "decode needs an output: -o FILE.wav, or -o - for a pipe");
  if (options.command == Command::kEncode) return CheckEncode(options);
  CheckAacModes(options);
  if (options.format != nullptr && options.format->IsBsac() && options.config.empty())
    throw UsageFailure("format bsac needs --config");
  if (options.player && options.format != nullptr && options.format->formatId == 0)
    throw UsageFailure("a player has no format " + std::string(options.format->key));
  const bool isAac = options.format != nullptr && options.format->IsAac();
  if (options.format != nullptr && !isAac && !options.config.empty())
    throw UsageFailure("--config is for AAC, not for " + std::string(options.format->key));
  if ((isAac || !options.config.empty()) && options.sampleBytes)
    throw UsageFailure("--sample-bytes is not for AAC");
  if (isAac) return;
  if (options.format == nullptr || (options.format->blockOverhead == 0 && !options.sampleBytes))
    return;
  const Format& format = *options.format;
  if (!options.sampleBytes)
    throw UsageFailure(std::string("format ") + format.key +
                       " needs --sample-bytes, the size of the stream's blocks");
  const auto least = static_cast<int32_t>(format.blockOverhead) + 1;
  if (*options.sampleBytes < least || *options.sampleBytes % format.grain != 0)
    throw UsageFailure(std::string("--sample-bytes of format ") + format.key + " must be " +
                       (format.grain > 1 ? "a multiple of " + std::to_string(format.grain)
                                         : std::to_string(least) + " or more") +
                       ", not " + std::to_string(*options.sampleBytes));
}

}  // namespace

Options ParseOptions(int count, const char* const* words) {
  Options options;
  if (count < 2) throw UsageFailure("what shall be done? Try: orbel --help");
  const std::string_view first = words[1];
  if (first == "--version") {
    options.version = true;
    return options;
  }
  if (first == "--help" || first == "-h") {
    options.help = true;
    return options;
  }
  const auto* command = std::find_if(std::begin(kCommands), std::end(kCommands),
                                     [&](const CommandRow& row) { return row.name == first; });
  if (command == std::end(kCommands)) {
    const auto name = [](const CommandRow& row) { return row.name; };
    throw UsageFailure((first.starts_with("-") ? "unknown option " : "unknown command ") +
                       Quoted(first) + Hint(first, kCommands, name) + " (see: orbel --help)");
  }
  options.command = command->command;

  bool onlyInputs = false;
  for (int i = 2; i < count; ++i) {
    std::string_view word = words[i];
    if (onlyInputs || word == "-" || !word.starts_with("-")) {
      options.inputs.emplace_back(word);
      continue;
    }
    if (word == "--") {
      onlyInputs = true;
      continue;
    }
    std::string_view value;
    const size_t equals = word.starts_with("--") ? word.find('=') : std::string_view::npos;
    const bool attached = equals != std::string_view::npos;
    if (attached) {
      value = word.substr(equals + 1);
      word = word.substr(0, equals);
    }
    const OptionRow& row = FindOption(word, options.command);
    if (row.value == nullptr && attached) throw UsageFailure(std::string(word) + " takes no value");
    if (row.value != nullptr && !attached) {
      if (++i == count) throw UsageFailure(std::string(word) + " needs " + row.value);
      value = words[i];
    }
    Apply(row, value, &options);
  }
  if (!options.help) Check(options);
  return options;
}

}  // namespace orbel::tool
