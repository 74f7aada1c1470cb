// Lossless streams: configuration and frames, as `.als` data in pieces or as access
// units of object type 36.
#include "aac_run.h"

namespace {

constexpr size_t kMostRoom = size_t{1} << 24;
constexpr size_t kMostOutput = size_t{1} << 26;

// True while the decoder may be given more.
bool Drain(UMC::AACDecoder& decoder, std::vector<uint8_t>& bytes, size_t* room, size_t* made) {
  UMC::MediaData in;
  in.SetBufferPointer(bytes.data(), bytes.size());
  in.SetDataSize(bytes.size());
  bool more = true;
  while (more && *made < kMostOutput) {
    const auto pcm = std::make_unique<uint8_t[]>(*room);
    UMC::AudioData out;
    out.SetBufferPointer(pcm.get(), *room);
    const uint64_t before = in.GetDataSize();
    const UMC::Status status = decoder.GetFrame(&in, &out);
    *made += 1024 + out.GetDataSize();
    if (status == UMC::UMC_ERR_NOT_ENOUGH_BUFFER) {
      if (*room >= kMostRoom) return false;
      *room *= 8;
      continue;
    }
    more = in.GetDataSize() > 0 && in.GetDataSize() < before;
  }
  bytes.erase(bytes.begin(), bytes.end() - static_cast<ptrdiff_t>(in.GetDataSize()));
  bytes.shrink_to_fit();
  return *made < kMostOutput;
}

}  // namespace

// The first byte: 1 units behind a configuration, each behind its length; 2 reset
// after each piece; the rest, times 32, is the length of a piece, 0 for all bytes.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  const auto flags = input.Take<uint8_t>();
  const bool units = (flags & 1) != 0;
  UMC::AACDecoderParams params;
  params.memoryAllocator = &SharedAllocator();
  std::vector<uint8_t> configuration;
  UMC::MediaData configurationData;
  if (units) {
    configuration = input.Bytes(std::min<size_t>(input.Take<uint16_t>(), input.Left()));
    configurationData.SetBufferPointer(configuration.data(), configuration.size());
    configurationData.SetDataSize(configuration.size());
    params.data = &configurationData;
    params.inputStreamType = UMC::kStreamUnits;
  }
  UMC::AACDecoder decoder;
  if (decoder.Init(&params) != UMC::UMC_OK) return 0;
  size_t room = 512, made = 0;
  const size_t piece = flags / 4 * size_t{32};
  std::vector<uint8_t> left;
  bool more = true;
  while (more && !input.Empty()) {
    if (units) left.clear();
    size_t count = piece == 0 ? input.Left() : piece;
    if (units) count = input.Take<uint16_t>();
    const std::vector<uint8_t> next = input.Bytes(std::min(count, input.Left()));
    left.insert(left.end(), next.begin(), next.end());
    left.shrink_to_fit();
    more = Drain(decoder, left, &room, &made);
    if ((flags & 2) != 0) decoder.Reset();
  }
  UMC::AudioCodecParams info;
  decoder.GetInfo(&info);
  float seconds = 0;
  decoder.GetDuration(&seconds);
  return 0;
}
