// Lays down AAC bitstreams field by field (ISO/IEC 14496-3, subpart 4), without
// asking whether they make sense: tests say what stands in each field.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace orbel::aac_test {

class BitWriter {
 public:
  void Put(uint32_t value, int bits);
  void Align();
  void Append(const BitWriter& other);
  size_t Bits() const { return bits_; }
  const std::vector<uint8_t>& Bytes() const { return bytes_; }

 private:
  std::vector<uint8_t> bytes_;
  size_t bits_ = 0;
};

constexpr int kGroups = 8;
constexpr int kBands = 51;
constexpr int kLines = 1024;

struct TnsFilter {
  int length;  // in bands
  int direction;
  int compress;
  std::vector<int> coefs;  // signed; as many as the order
};
struct TnsWindow {
  int coefRes = 1;
  std::vector<TnsFilter> filters;
};
struct GainPoint {
  int level;
  int location;
};
struct Pulse {
  int offset;
  int amplitude;
};

// individual_channel_stream(), and ics_info() with it.
struct Channel {
  int sequence = 0;  // 0 long, 1 start, 2 short, 3 stop
  int shape = 0;
  int maxSfb = 0;
  std::vector<int> groups = {1};  // windows in each group; adds up to 8 for short windows
  int globalGain = 100;
  int book[kGroups][kBands] = {};
  int factor[kGroups][kBands] = {};  // scale factor, noise energy or intensity position
  int lines[kLines] = {};            // quantised, window behind window
  bool emptySections = false;  // a section of length 0 in front of a group's others, if it may be
  int pulseStart = 0;
  std::vector<Pulse> pulses;
  std::vector<TnsWindow> tns;  // one for each window, or none at all
  int gainBands = -1;          // max_band; -1: no gain control data
  std::vector<GainPoint> gain[3][8];
  bool predictorData = false;
  int resetGroup = -1;  // -1: predictor_reset 0
  bool predicted[kBands] = {};
  bool ltp = false;
  int ltpLag = 0;
  int ltpCoef = 0;
  bool ltpUsed[40] = {};

  int Windows() const { return sequence == 2 ? 8 : 1; }
};

struct Target {
  bool pair;
  int tag;
  int sides = 0;  // left flag times 2 plus right flag
};
struct GainList {
  bool common = true;
  int value = 0;
  int byBand[kGroups][kBands] = {};
};

enum ElementId { kSce, kCpe, kCce, kLfe, kDse, kPce, kFil, kEnd };

struct Element {
  int id = kSce;
  int tag = 0;
  bool commonWindow = false;
  int msMask = 0;
  bool msUsed[kGroups][kBands] = {};
  Channel channel[2];
  // coupling_channel_element()
  bool independent = false;
  std::vector<Target> targets;
  int domain = 0;
  int gainSign = 0;
  int gainScale = 0;
  std::vector<GainList> lists;  // from the second one on: the first has a gain of 1
  // Everything behind the id, of the other elements.
  BitWriter payload;
};
using Block = std::vector<Element>;

struct ProgramConfig {
  struct Entry {
    bool pair;
    int tag;
  };
  int tag = 0;
  int profile = 1;
  std::vector<Entry> front, side, back;
  std::vector<int> lfe;
  std::vector<uint8_t> comment;
};

struct Format {
  int objectType = 2;
  int samplingIndex = 4;
};

// Where the lines of a channel stand: entry i is the place in `lines` of the
// i-th value that the stream carries, zero bands counted.
std::vector<int> StreamOrder(const Format& format, const Channel& channel);
const int32_t* Offsets(const Format& format, const Channel& channel);

void WriteProgramConfig(BitWriter* out, const Format& format, const ProgramConfig& config);
void WriteElement(BitWriter* out, const Format& format, const Element& element);
// raw_data_block(), with the end element and the alignment.
std::vector<uint8_t> WriteBlock(const Format& format, const Block& block);

// AudioSpecificConfig. Configuration 0 needs a program config element.
std::vector<uint8_t> WriteConfig(const Format& format, int channelConfiguration,
                                 const ProgramConfig* program = nullptr);
// One ADTS frame around a raw data block; `crc`: none when negative.
std::vector<uint8_t> WriteAdts(const Format& format, int channelConfiguration,
                               const std::vector<uint8_t>& block, int crc = -1);
// An ADIF header; its bit stream is of variable rate.
std::vector<uint8_t> WriteAdif(const Format& format, const ProgramConfig& program);

}  // namespace orbel::aac_test
