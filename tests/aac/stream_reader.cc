#include "aac/stream_reader.h"

#include <fstream>
#include <iterator>

#include "aac/aac_decoder.h"
#include "aac/aac_writer.h"
#include "aac/stream_headers.h"

namespace orbel::aac_test {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr size_t kRoomBytes = 10 * 2048 * sizeof(int16_t);

class Run {
 public:
  Run(Bytes* config, const Modes& modes) : room_(kRoomBytes / sizeof(int16_t)) {
    UMC::AACDecoderParams params;
    UMC::MediaData data;
    params.sbrMode = 18;
    params.sbrDownsample = modes.sbrDownsample;
    params.psSupportLevel = modes.psLevel;
    params.sbrSupportLevel = 777;
    params.layer = -1;
    if (config != nullptr) {
      data.SetBufferPointer(config->data(), config->size());
      data.SetDataSize(config->size());
      params.data = &data;
      params.inputStreamType = UMC::kStreamUnits;
    }
    decoder_.Init(&params);
  }

  // False when the input has no further frame.
  bool Frame(UMC::MediaData* in) {
    UMC::AudioData out;
    out.SetBufferPointer(reinterpret_cast<uint8_t*>(room_.data()), kRoomBytes);
    const uint64_t before = in->GetDataSize();
    const UMC::Status status = decoder_.GetFrame(in, &out);
    if (status != UMC::UMC_OK) {
      if (status == UMC::UMC_ERR_NOT_ENOUGH_DATA) return false;
      ++decoded_.bad;
      decoded_.lastBad = status;
      return in->GetDataSize() < before;
    }
    ++decoded_.frames;
    decoded_.rate = static_cast<uint32_t>(out.sampleFrequency);
    decoded_.channels = static_cast<size_t>(out.channels);
    decoded_.samples.insert(
        decoded_.samples.end(), room_.begin(),
        room_.begin() + static_cast<ptrdiff_t>(out.GetDataSize() / sizeof(int16_t)));
    return true;
  }

  Decoded Result() { return std::move(decoded_); }

 private:
  UMC::AACDecoder decoder_;
  std::vector<int16_t> room_;
  Decoded decoded_;
};

std::vector<ProgramConfig::Entry> Entries(int32_t count, const int32_t* pairs,
                                          const int32_t* tags) {
  std::vector<ProgramConfig::Entry> entries;
  for (int32_t i = 0; i < count; ++i) entries.push_back({pairs[i] != 0, tags[i]});
  return entries;
}

size_t AdtsHeadBytes(const uint8_t* head) { return (head[1] & 1) != 0 ? 7 : 9; }

}  // namespace

Bytes ReadBytes(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string StreamPath(const std::string& file) { return ORBEL_TEST_DATA "/aac/" + file; }

std::vector<Bytes> CutAdts(const Bytes& bytes) {
  std::vector<Bytes> blocks;
  for (size_t at = 0; at + 7 <= bytes.size();) {
    const uint8_t* const head = &bytes[at];
    const size_t length = (head[3] & 3u) << 11 | static_cast<size_t>(head[4]) << 3 | head[5] >> 5;
    if (length < 9 || at + length > bytes.size()) break;
    blocks.emplace_back(head + AdtsHeadBytes(head), head + length);
    at += length;
  }
  return blocks;
}

std::vector<Bytes> CutUnits(const Bytes& bytes) {
  std::vector<Bytes> units;
  for (size_t at = 0; at + 4 <= bytes.size();) {
    const size_t length = bytes[at] | static_cast<size_t>(bytes[at + 1]) << 8;
    units.emplace_back(&bytes[at] + 4, &bytes[at] + 4 + length);
    at += 4 + length;
  }
  return units;
}

Bytes ConfigOf(const Bytes& adts) {
  const Format format = {(adts[2] >> 6) + 1, adts[2] >> 2 & 15};
  const Bytes block = CutAdts(adts).at(0);
  BitReader reader;
  BitReaderInit(&reader, block.data(), block.size());
  GetBits(&reader, 3);
  ProgramConfigElement pce = {};
  ProgramConfigElementParse(&pce, &reader);
  ProgramConfig program;
  program.tag = pce.element_instance_tag;
  program.profile = pce.object_type;
  program.front = Entries(pce.num_front_channel_elements, pce.front_element_is_cpe,
                          pce.front_element_tag_select);
  program.side =
      Entries(pce.num_side_channel_elements, pce.side_element_is_cpe, pce.side_element_tag_select);
  program.back =
      Entries(pce.num_back_channel_elements, pce.back_element_is_cpe, pce.back_element_tag_select);
  program.lfe.assign(pce.lfe_element_tag_select,
                     pce.lfe_element_tag_select + pce.num_lfe_channel_elements);
  return WriteConfig(format, 0, &program);
}

Decoded DecodeWhole(Bytes bytes, const Modes& modes) {
  Run run(nullptr, modes);
  UMC::MediaData in;
  in.SetBufferPointer(bytes.data(), bytes.size());
  in.SetDataSize(bytes.size());
  while (in.GetDataSize() > 0 && run.Frame(&in)) {
  }
  return run.Result();
}

Decoded DecodeUnits(const std::vector<Bytes>& units, Bytes config, const Modes& modes) {
  Run run(&config, modes);
  for (Bytes unit : units) {
    UMC::MediaData in;
    in.SetBufferPointer(unit.data(), unit.size());
    in.SetDataSize(unit.size());
    run.Frame(&in);
  }
  return run.Result();
}

}  // namespace orbel::aac_test
