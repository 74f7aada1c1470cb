#include "support/flac_reader.h"

#include <FLAC/stream_decoder.h>

namespace orbel {
namespace {

FLAC__StreamDecoderWriteStatus Write(const FLAC__StreamDecoder*, const FLAC__Frame* frame,
                                     const FLAC__int32* const channels[], void* pcm) {
  auto* const reference = static_cast<ReferencePcm*>(pcm);
  reference->rate = frame->header.sample_rate;
  reference->channels = frame->header.channels;
  for (uint32_t i = 0; i < frame->header.blocksize; ++i)
    for (uint32_t c = 0; c < frame->header.channels; ++c)
      reference->samples.push_back(static_cast<int16_t>(channels[c][i]));
  return FLAC__STREAM_DECODER_WRITE_STATUS_CONTINUE;
}

void Fail(const FLAC__StreamDecoder*, FLAC__StreamDecoderErrorStatus, void* pcm) {
  static_cast<ReferencePcm*>(pcm)->samples.clear();
}

}  // namespace

ReferencePcm ReadFlac(const std::string& path) {
  ReferencePcm pcm;
  FLAC__StreamDecoder* const decoder = FLAC__stream_decoder_new();
  if (decoder == nullptr) return pcm;
  const bool done = FLAC__stream_decoder_init_file(decoder, path.c_str(), Write, nullptr, Fail,
                                                   &pcm) == FLAC__STREAM_DECODER_INIT_STATUS_OK &&
                    FLAC__stream_decoder_process_until_end_of_stream(decoder) != 0;
  if (!done) pcm.samples.clear();
  FLAC__stream_decoder_delete(decoder);
  return pcm;
}

}  // namespace orbel
