#include "als/als_run.h"

#include "als/als_state.h"

namespace orbel::als_test {
namespace {

constexpr size_t kMostRoom = size_t{1} << 26;

// Decodes what is in the input; what is not used is left there.
void Drain(UMC::AACDecoder* decoder, UMC::MediaData* in, size_t* room, Result* run) {
  for (;;) {
    Bytes pcm(*room);  // of just that size, for the sanitizers
    UMC::AudioData out;
    out.SetBufferPointer(pcm.data(), pcm.size());
    const uint64_t before = in->GetDataSize();
    const UMC::Status status = decoder->GetFrame(in, &out);
    if (status == UMC::UMC_ERR_NOT_ENOUGH_BUFFER && *room < kMostRoom) {
      *room *= 2;
      continue;
    }
    const bool moved = in->GetDataSize() < before;
    if (status == UMC::UMC_ERR_NOT_ENOUGH_DATA && moved && in->GetDataSize() > 0) continue;
    if (status == UMC::UMC_ERR_NOT_ENOUGH_DATA) return;
    if (status != UMC::UMC_OK && run->bad == 0) run->fault = status;
    run->frames += status == UMC::UMC_OK ? 1 : 0;
    run->bad += status == UMC::UMC_OK ? 0 : 1;
    run->bits = out.bitsPerSample;
    const uint8_t* data = out.GetDataPointer();
    run->pcm.insert(run->pcm.end(), data, data + out.GetDataSize());
    if (!moved || in->GetDataSize() == 0) return;
  }
}

}  // namespace

Result Decode(const std::vector<Bytes>& pieces, Bytes configuration,
              UMC::MemoryAllocator* allocator) {
  Result run;
  UMC::AACDecoderParams params;
  params.memoryAllocator = allocator;
  UMC::MediaData data;
  const bool units = !configuration.empty();
  if (units) {
    data.SetBufferPointer(configuration.data(), configuration.size());
    data.SetDataSize(configuration.size());
    params.data = &data;
    params.inputStreamType = UMC::kStreamUnits;
  }
  UMC::AACDecoder decoder;
  run.init = decoder.Init(&params);
  if (run.init != UMC::UMC_OK) return run;
  size_t room = 64;
  Bytes left;
  for (const Bytes& piece : pieces) {
    if (units) left.clear();
    Bytes now = left;
    now.insert(now.end(), piece.begin(), piece.end());
    now.shrink_to_fit();
    UMC::MediaData in;
    in.SetBufferPointer(now.data(), now.size());
    in.SetDataSize(now.size());
    Drain(&decoder, &in, &room, &run);
    left.assign(in.GetDataPointer(), in.GetDataPointer() + in.GetDataSize());
  }
  AlsInfo lossless = {};
  if (decoder.GetLosslessInfo(&lossless) == UMC::UMC_OK) run.checksum = lossless.checksum;
  decoder.GetInfo(&run.info);
  decoder.GetDuration(&run.seconds);
  return run;
}

}  // namespace orbel::als_test
