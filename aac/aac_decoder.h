// The decoder of the AAC family: compressed input in a MediaData, interleaved PCM
// in an AudioData (ISO/IEC 14496-3): 16-bit, but for lossless streams.
#pragma once

#include <cstdint>

#include "aac/aac_decoder_params.h"
#include "umc/codec.h"

namespace orbel {
struct AACDecoderState;
struct AdtsFixedHeader;
struct AlsConfig;
struct AlsInfo;
struct BitReader;
struct FrameTools;
}  // namespace orbel

namespace UMC {

// Init, then GetFrame for every frame, with the other calls in between; Close or
// the destructor at the end. One thread at a time; two decoders share nothing
// that changes. GetFrame allocates nothing.
class AACDecoder : public AudioCodec {
 public:
  AACDecoder() = default;

  static const char* ClassName();
  bool IsClass(ClassIdentifier identifier) const override;
  bool IsClassByName(ClassIdentifier identifier) const override;
  ~AACDecoder() override;

  // Takes memory and defaults, and with stream type 2065 the AudioSpecificConfig
  // in `data`, whose bytes are consumed. Without it the stream tells its kind by
  // itself: ADTS, ADIF or ALS. A second Init starts over.
  Status Init(BaseCodecParams* params) override;

  // Decodes one frame. The input's data pointer moves behind it. A bad frame gives
  // UMC_ERR_INVALID_STREAM and a frame of silence. UMC_ERR_NOT_ENOUGH_DATA: call
  // again with more behind what is left. UMC_ERR_NOT_ENOUGH_BUFFER: call again with
  // the same input and more room behind the output's data pointer.
  //
  // A lossless stream (ALS) comes out in its own sample size: 1 to 4 bytes, the low
  // one first, 8 bits as value + 128, floats as their patterns. An access unit of it
  // holds several frames: all of them are decoded as far as the output has room, and
  // only then is the whole input taken; otherwise what is left stays in the input,
  // for the next call. A raw stream gives one frame a call. UMC_ERR_NOT_ENOUGH_DATA
  // may take its configuration from the input; after the last frame it stays at
  // that. A bad frame costs what follows it up to the next random-access frame: the
  // times count that, the silence ends where the output does.
  Status GetFrame(MediaData* in, MediaData* out) override;

  // Buffer sizes, and 3, or all that is known of the stream, and 0, once a frame
  // has been decoded.
  Status GetInfo(BaseCodecParams* params) override;
  Status Close() override;

  // Forgets the signal, not the stream: for a jump within it.
  Status Reset() override;
  Status SetParams(BaseCodecParams* params) override;

  // *seconds receives the length of the good frames since the start or the last Reset;
  // of a lossless stream the length of all of it, where it is known.
  virtual Status GetDuration(float* seconds);

  // What is known of a lossless stream, its checksum included; UMC_ERR_UNSUPPORTED
  // when there is none.
  Status GetLosslessInfo(orbel::AlsInfo* info);

  // From now on counts what frames use; null stops it. `tools` must live on.
  void CountTools(orbel::FrameTools* tools);

 private:
  struct Info {
    int32_t valid = 0;  // 0 until the first frame
    int32_t suggestedInputSize = 0;
    int32_t suggestedOutputSize = 0;
    AudioStreamDescription input;
    AudioStreamDescription output;
  };
  struct Frame;

  Status LockState();
  Status UnlockState();
  Status UnlockAnd(Status status);
  void ReleaseMemory();
  void ReleaseToolMemory();
  Status AllocateToolMemory(int32_t objectType, const orbel::AlsConfig& als);
  Status InitFromConfiguration(MediaData* data);
  Status SkipId3(MediaData* in);
  Status DetectStream(MediaData* in, MediaData* out, orbel::BitReader* reader);
  Status DetectAls(MediaData* in, MediaData* out, orbel::BitReader* reader);
  Status DetectAdif(orbel::BitReader* reader);
  Status DetectAdts(orbel::BitReader* reader);
  Status Synchronise(MediaData* in, orbel::BitReader* reader, int32_t* crc);
  Status Decode(MediaData* in, MediaData* out, Frame* frame);
  Status DecodeAls(MediaData* in, MediaData* out, Frame* frame);
  void Deliver(MediaData* in, MediaData* out, const Frame& frame);
  void FillInfo();
  void FillLosslessInfo();

  orbel::AACDecoderState* m_state = nullptr;  // good between a lock and an unlock
  Info m_info;
  double m_currentTime = 0.0;  // seconds
  int32_t m_sbrSeen = 0;
  int32_t m_adtsPattern = 0;
  int32_t m_stateMid = 0;
  int32_t m_toolMid = 0;
  uint8_t* m_toolMemory = nullptr;
  int32_t m_audioType = 0;
  uint64_t m_configSize = 0;
  int32_t m_streamKind = 0;  // 0 unknown, 1 without frame headers, 2 ADTS
  int32_t m_samplingIndex = 0;
  int32_t m_frameCount = 0;
  int32_t m_objectType = 0;
  int32_t m_subtype = 0;

  int32_t m_stateLocks = 0;  // of ours that have no unlock yet
  int32_t m_toolLocks = 0;
  orbel::FrameTools* m_tools = nullptr;
};

}  // namespace UMC
