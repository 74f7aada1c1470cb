#include "aac/aac_decoder.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>

#include "aac/crc.h"
#include "aac/frame_decoder.h"
#include "aac/sampling_tables.h"
#include "aac/state.h"
#include "aac/stream_headers.h"
#include "aac/tool_memory.h"
#include "als/als_decoder.h"

namespace UMC {

using namespace orbel;

namespace {

constexpr uint32_t kAlsMagic = 0x414C5300;   // "ALS" and a zero byte
constexpr uint32_t kAdifMagic = 0x41444946;  // "ADIF"
constexpr int32_t kNoInfoYet = 3;
constexpr int32_t kSuggestedInput = 7680;
constexpr int32_t kSuggestedOutput = 40960;
constexpr uint32_t kAllocFlags = 1;
constexpr int32_t kBlockAlignment = 16;
constexpr int32_t kStreamHeaderless = 1;
constexpr int32_t kStreamAdts = 2;
constexpr uint32_t kPatternMask = 0xFFFEFC;
constexpr uint64_t kAdtsLeastBytes = 9;
constexpr int32_t kBitsPerChannel = 768;  // bytes that a channel of a frame may take
constexpr int32_t kSubtypeSbr = 16;
constexpr int32_t kId3HeaderSize = 10;

// ADTS has two bits for the object type; the fourth value is LTP only where the ID
// bit says MPEG-4.
int32_t ObjectTypeOf(const AdtsFixedHeader& header) {
  if (header.profile != 3) return header.profile + 1;
  return header.id == 0 ? kObjectLtp : 0;
}

int32_t SubtypeOf(int32_t objectType) {
  switch (objectType) {
    case kObjectMain:
      return 4;
    case kObjectLc:
      return 1;
    case kObjectSsr:
      return 8;
    case kObjectLtp:
      return 2;
    case kObjectBsac:
      return 64;
    case kObjectAls:
      return 32;
    default:
      return 0;
  }
}

void MoveBy(MediaData* data, uint64_t bytes) {
  constexpr uint64_t kStep = std::numeric_limits<int32_t>::max();
  for (; bytes > kStep; bytes -= kStep) data->MoveDataPointer(static_cast<int32_t>(kStep));
  data->MoveDataPointer(static_cast<int32_t>(bytes));
}

// Bytes from the output's data pointer to the end of its buffer, as many as count.
int32_t RoomOf(MediaData* out) {
  const auto before = static_cast<uint64_t>(out->GetDataPointer() - out->GetBufferPointer());
  const uint64_t room = out->GetBufferSize() - before;
  return static_cast<int32_t>(std::min<uint64_t>(room, std::numeric_limits<int32_t>::max()));
}

// The length of an ID3 tag that begins here, or 0.
int32_t Id3Length(const uint8_t* data) {
  if (std::memcmp(data, "ID3", 3) != 0 || data[3] == 255 || data[4] == 255) return 0;
  int32_t length = 0;
  for (int i = 6; i < kId3HeaderSize; ++i) {
    if (data[i] >= 128) return 0;
    length = length << 7 | data[i];
  }
  const bool footer = (data[5] & 0x10) != 0;
  return length + (footer ? 2 : 1) * kId3HeaderSize;
}

// Whether so few bytes may become the start of a stream.
bool IsCutStart(const uint8_t* data, uint64_t size) {
  if (size >= 4) return false;
  if (size == 0) return true;
  if (size == 1 && data[0] == 0xFF) return true;
  return std::memcmp(data, "ADIF", size) == 0 || std::memcmp(data, "ALS", size) == 0;
}

// The first place where three bytes match the pattern, or `size`.
uint64_t FindPattern(const uint8_t* data, uint64_t size, uint32_t pattern) {
  for (uint64_t at = 0; at + 3 <= size; ++at) {
    const void* found = std::memchr(data + at, pattern >> 16, size - 2 - at);
    if (found == nullptr) return size;
    at = static_cast<uint64_t>(static_cast<const uint8_t*>(found) - data);
    const uint32_t value = static_cast<uint32_t>(data[at]) << 16 |
                           static_cast<uint32_t>(data[at + 1]) << 8 | data[at + 2];
    if ((value & kPatternMask) == (pattern & kPatternMask)) return at;
  }
  return size;
}

}  // namespace

const char* AACDecoderParams::Mark() { return "AACDecoderParams"; }

bool AACDecoderParams::IsClass(ClassIdentifier identifier) const {
  return identifier == &AACDecoderParams::Mark || AudioCodecParams::IsClass(identifier);
}

bool AACDecoderParams::IsClassByName(ClassIdentifier identifier) const {
  return SameClassName(identifier, Mark()) || AudioCodecParams::IsClassByName(identifier);
}

// One call of GetFrame.
struct AACDecoder::Frame {
  uint64_t headerBytes;
  uint64_t dataSize;
  int32_t crc;        // as the header has it
  int32_t result;     // of the frame decoder
  uint64_t consumed;  // header included
  int32_t samples;
  int32_t rate;
  int32_t channels;
  int32_t bitsPerSample;
  uint64_t bytes;  // of output
};

const char* AACDecoder::ClassName() { return "AACDecoder"; }

bool AACDecoder::IsClass(ClassIdentifier identifier) const {
  return identifier == &AACDecoder::ClassName || AudioCodec::IsClass(identifier);
}

bool AACDecoder::IsClassByName(ClassIdentifier identifier) const {
  return SameClassName(identifier, ClassName()) || AudioCodec::IsClassByName(identifier);
}

AACDecoder::~AACDecoder() { AACDecoder::Close(); }

// A block that has moved since it was set up would have stale pointers in it:
// blocks never move here, and a foreign allocator that moves one is refused.
Status AACDecoder::LockState() {
  if (memoryAllocator == nullptr || m_stateMid == 0) {
    m_state = nullptr;
    return UMC_OK;
  }
  void* state = memoryAllocator->Lock(m_stateMid);
  if (state == nullptr) return UMC_ERR_ALLOC;
  ++m_stateLocks;
  if (m_state != nullptr && m_state != state) return UMC_ERR_ALLOC;
  m_state = static_cast<AACDecoderState*>(state);
  m_state->tools = m_tools;
  if (m_toolMemory == nullptr) return UMC_OK;
  const void* tool = memoryAllocator->Lock(m_toolMid);
  if (tool == nullptr) return UMC_ERR_ALLOC;
  ++m_toolLocks;
  return tool == m_toolMemory ? UMC_OK : UMC_ERR_ALLOC;
}

Status AACDecoder::UnlockState() {
  Status status = UMC_OK;
  if (m_stateMid != 0) {
    if (memoryAllocator->Unlock(m_stateMid) == UMC_OK)
      --m_stateLocks;
    else
      status = UMC_ERR_ALLOC;
  }
  if (m_toolMid != 0) {
    if (memoryAllocator->Unlock(m_toolMid) == UMC_OK)
      --m_toolLocks;
    else
      status = UMC_ERR_ALLOC;
  }
  return status;
}

Status AACDecoder::UnlockAnd(Status status) {
  const Status unlocked = UnlockState();
  return unlocked != UMC_OK ? unlocked : status;
}

// Some calls leave their lock: it ends here at the latest, so that an allocator
// that others use gets its memory back.
void AACDecoder::ReleaseMemory() {
  ReleaseToolMemory();
  if (m_stateMid != 0) {
    for (; m_stateLocks > 0; --m_stateLocks) memoryAllocator->Unlock(m_stateMid);
    memoryAllocator->Free(m_stateMid);
  }
  m_stateMid = 0;
  m_state = nullptr;
}

void AACDecoder::ReleaseToolMemory() {
  if (m_toolMid != 0) {
    for (; m_toolLocks > 0; --m_toolLocks) memoryAllocator->Unlock(m_toolMid);
    memoryAllocator->Free(m_toolMid);
  }
  m_toolMid = 0;
  m_toolMemory = nullptr;
}

// The object type stands in the state only together with the memory for it.
Status AACDecoder::AllocateToolMemory(int32_t objectType, const AlsConfig& als) {
  ReleaseToolMemory();
  m_state->audioObjectType = 0;
  int32_t size = 0;
  const int32_t asked = QueryToolMemory(m_state, objectType, als, nullptr, &size);
  if (asked != 0) return StatusOfResult(asked);
  if (memoryAllocator->Alloc(&m_toolMid, static_cast<uint64_t>(size), kAllocFlags,
                             kBlockAlignment) != UMC_OK) {
    m_toolMid = 0;
    return UMC_ERR_ALLOC;
  }
  m_toolMemory = static_cast<uint8_t*>(memoryAllocator->Lock(m_toolMid));
  if (m_toolMemory != nullptr) ++m_toolLocks;
  if (m_toolMemory == nullptr ||
      QueryToolMemory(m_state, objectType, als, m_toolMemory, &size) != 0) {
    ReleaseToolMemory();
    return UMC_ERR_ALLOC;
  }
  m_state->audioObjectType = objectType;
  ClearObjectTypeState(m_state);
  return UMC_OK;
}

Status AACDecoder::Init(BaseCodecParams* params) {
  auto* audio = ClassCast<AudioCodecParams>(params);
  ReleaseMemory();
  if (BaseCodec::Init(params) != UMC_OK) return UMC_ERR_ALLOC;
  if (memoryAllocator->Alloc(&m_stateMid, StateBlockSize(), kAllocFlags, kBlockAlignment) !=
      UMC_OK) {
    m_stateMid = 0;
    return UMC_ERR_ALLOC;
  }
  void* block = memoryAllocator->Lock(m_stateMid);
  if (block == nullptr) {
    ReleaseMemory();
    return UMC_ERR_ALLOC;
  }
  ++m_stateLocks;
  m_state = static_cast<AACDecoderState*>(block);
  // The work arrays between these two are cleared at reset or written before they
  // are read; what lies behind the record is room that nothing reads.
  std::memset(block, 0, offsetof(AACDecoderState, overlap));
  std::memset(static_cast<uint8_t*>(block) + offsetof(AACDecoderState, outputChannels), 0,
              sizeof(AACDecoderState) - offsetof(AACDecoderState, outputChannels));
  PlaceSbrAreas(m_state);
  AACDecoderStateInit(m_state);
  m_state->tools = m_tools;
  m_sbrSeen = 0;
  m_frameCount = 0;
  m_objectType = 0;
  m_streamKind = 0;
  m_samplingIndex = 0;
  m_adtsPattern = 0;
  m_audioType = 0;
  m_configSize = 0;
  m_currentTime = 0.0;
  m_info.valid = 0;
  if (audio == nullptr) return UMC_OK;  // the state stays locked
  const Status set = SetParams(params);
  if (set != UMC_OK) return set;
  if (UnlockState() != UMC_OK) return UMC_ERR_ALLOC;
  m_audioType = audio->inputStreamType;
  if (audio->data != nullptr) m_configSize = audio->data->GetDataSize();
  if (audio->data == nullptr) return m_audioType == kStreamUnits ? UMC_ERR_INVALID_PARAMS : UMC_OK;
  if (m_audioType != kStreamUnits) return UMC_OK;
  const Status locked = LockState();
  if (locked != UMC_OK) return locked;
  if (m_state == nullptr) return UMC_ERR_NOT_INITIALIZED;
  return InitFromConfiguration(audio->data);
}

Status AACDecoder::InitFromConfiguration(MediaData* data) {
  if (data->GetDataPointer() == nullptr) return UnlockAnd(UMC_ERR_NULL_PTR);
  BitReader reader;
  BitReaderInit(&reader, data->GetDataPointer(), m_configSize);
  AudioSpecificConfig config;
  if (AudioSpecificConfigParse(&config, &reader) != 0) return UnlockAnd(UMC_ERR_INIT);
  if (config.extensionAudioObjectType == kObjectSbr)
    m_state->sbrDownsample =
        config.extensionSamplingFrequencyIndex == config.samplingFrequencyIndex ? 1 : 0;
  if (config.sbrPresent == 0) m_state->psSupportLevel = 0;
  PassPsLevel(m_state);
  m_objectType = config.audioObjectType;
  const Status allocated = AllocateToolMemory(m_objectType, config.alsConfig);
  if (allocated != UMC_OK) return UnlockAnd(allocated);
  if (m_objectType == kObjectBsac) {
    if (config.channelConfiguration == 0 || config.channelConfiguration > 7) return UMC_ERR_INIT;
    m_state->numChannels = config.channelConfiguration;
    BsacStateInit(config.channelConfiguration, config.gaSpecificConfig.numOfSubFrame,
                  m_state->bsacState);
  }
  m_streamKind = kStreamHeaderless;
  if (m_objectType == kObjectAls) {
    MoveBy(data, m_configSize);
    return UnlockState();
  }
  int32_t index = config.samplingFrequencyIndex;
  if (index == 15)
    index = config.channelConfiguration != 0 ? SamplingIndexOf(config.samplingFrequency)
                                             : config.gaSpecificConfig.pce.sampling_frequency_index;
  m_samplingIndex = index;
  if (config.channelConfiguration == 0) {
    m_state->pce = config.gaSpecificConfig.pce;
    m_state->pcePresent = 1;
  }
  if (index < kSamplingIndexCount) ConfigureSampling(m_state, index);
  MoveBy(data, m_configSize);
  return UnlockState();
}

Status AACDecoder::SkipId3(MediaData* in) {
  const uint64_t size = in->GetDataSize();
  if (size == 0 || in->GetDataPointer() == nullptr) return UMC_ERR_NOT_ENOUGH_DATA;
  if (m_state->id3Checked == 0) {
    if (size < kId3HeaderSize) return UMC_ERR_NOT_ENOUGH_DATA;
    m_state->id3Remaining = Id3Length(in->GetDataPointer());
    m_state->id3Checked = 1;
  }
  const auto remaining = static_cast<uint64_t>(m_state->id3Remaining);
  if (remaining == 0) return UMC_OK;
  const uint64_t step = std::min(remaining, size);
  m_state->id3Remaining -= static_cast<int32_t>(step);
  MoveBy(in, step);
  return step == size ? UMC_ERR_NOT_ENOUGH_DATA : UMC_OK;
}

// The stream's kind by its first bytes. Nothing is kept of a header that is not
// there as a whole.
Status AACDecoder::DetectStream(MediaData* in, MediaData* out, BitReader* reader) {
  const BitReader start = *reader;
  m_objectType = 0;
  m_state->psSupportLevel = 0;
  PassPsLevel(m_state);
  const uint32_t magic = GetBits(reader, 32);
  if (magic == kAlsMagic) return DetectAls(in, out, reader);
  if (magic == kAdifMagic) return DetectAdif(reader);
  if (IsCutStart(in->GetDataPointer(), in->GetDataSize())) return UMC_ERR_NOT_ENOUGH_DATA;
  *reader = start;
  AdtsFixedHeader header = {};
  if (AdtsFixedHeaderParse(&header, reader) != 0) return UMC_ERR_UNSUPPORTED;
  if (in->GetDataSize() < kAdtsLeastBytes) return UMC_ERR_NOT_ENOUGH_DATA;
  *reader = start;
  return DetectAdts(reader);
}

// The frames follow the configuration. A host whose buffers may be too small for
// them gets the chance to ask how large they have to be.
Status AACDecoder::DetectAls(MediaData* in, MediaData* out, BitReader* reader) {
  FillInfo();
  const int32_t suggested = m_info.suggestedInputSize;
  AlsConfig config;
  const int32_t parsed = AlsConfigParse(&config, reader);
  if (parsed == kAlsConfigCut) return UMC_ERR_NOT_ENOUGH_DATA;
  m_objectType = kObjectAls;
  ByteAlign(reader);
  const uint64_t bytes = GetBitPosition(*reader) / 8;
  if (parsed != 0) {
    MoveBy(in, std::min(bytes, in->GetDataSize()));
    return UMC_ERR_INIT;
  }
  const Status allocated = AllocateToolMemory(kObjectAls, config);
  if (allocated != UMC_OK) return allocated;
  m_streamKind = kStreamHeaderless;
  FillInfo();
  if (m_info.suggestedInputSize <= suggested) return UMC_OK;
  MoveBy(in, bytes);
  out->SetDataSize(0);
  return UMC_ERR_NOT_ENOUGH_DATA;
}

Status AACDecoder::DetectAdif(BitReader* reader) {
  AdifHeader header;
  AdifHeaderParse(&header, reader);
  if (GetBitPosition(*reader) > static_cast<uint32_t>(reader->sizeBytes) * 8)
    return UMC_ERR_NOT_ENOUGH_DATA;
  RefreshWord(reader);
  m_samplingIndex = header.pce[0].sampling_frequency_index;
  // Before the object type is known: such streams get the common limits.
  m_state->audioObjectType = 0;
  if (m_samplingIndex < kSamplingIndexCount) ConfigureSampling(m_state, m_samplingIndex);
  const Status allocated = AllocateToolMemory(header.pce[0].object_type + 1, AlsConfig{});
  if (allocated != UMC_OK) return allocated;
  m_objectType = m_state->audioObjectType;
  m_state->pce = header.pce[0];
  m_state->pcePresent = 1;
  m_streamKind = kStreamHeaderless;
  return UMC_OK;
}

Status AACDecoder::DetectAdts(BitReader* reader) {
  const BitReader start = *reader;
  AdtsFixedHeader header = {};
  AdtsFixedHeaderParse(&header, reader);
  *reader = start;
  m_samplingIndex = header.sampling_frequency_index;
  const Status allocated = AllocateToolMemory(ObjectTypeOf(header), AlsConfig{});
  if (allocated != UMC_OK) return allocated;
  m_objectType = ObjectTypeOf(header);
  m_streamKind = kStreamAdts;
  if (m_samplingIndex < kSamplingIndexCount) ConfigureSampling(m_state, m_samplingIndex);
  // The layer stands one bit lower here than in a header, so that streams of a layer
  // other than 0, which are not valid, do not find frames of their own.
  m_adtsPattern = 0xFFF000 + (header.id << 11) + (header.layer << 8) + (header.profile << 6) +
                  (header.sampling_frequency_index << 2);
  return UMC_OK;
}

// Moves the input to the next ADTS frame and reads its header.
Status AACDecoder::Synchronise(MediaData* in, BitReader* reader, int32_t* crc) {
  const uint64_t size = in->GetDataSize();
  if (size < kAdtsLeastBytes) return UMC_ERR_NOT_ENOUGH_DATA;
  const uint64_t at = FindPattern(in->GetDataPointer(), size, static_cast<uint32_t>(m_adtsPattern));
  if (at == size) {
    MoveBy(in, size - 2);
    return UMC_ERR_NOT_ENOUGH_DATA;
  }
  MoveBy(in, at);
  if (size - at < kAdtsLeastBytes) return UMC_ERR_NOT_ENOUGH_DATA;
  BitReaderInit(reader, in->GetDataPointer(), size - at);
  AdtsFixedHeader header = {};
  AdtsFixedHeaderParse(&header, reader);
  const int32_t frameLength = AdtsVariableHeaderParse(reader);
  if (header.protection_absent == 0) {
    const uint32_t bits = GetBitPosition(*reader);
    *crc = static_cast<int32_t>(GetBits(reader, 16));
    m_state->crcEnabled = 1;
    m_state->crcValue = static_cast<int32_t>(CrcOverBits(kCrcStart, *reader, 0, bits, bits));
  }
  m_state->channelConfiguration = header.channel_configuration;
  ByteAlign(reader);
  // Bytes are compared with bytes and bits, on purpose.
  const int32_t channels = header.channel_configuration == 7 ? 8 : header.channel_configuration;
  const auto headerBits = static_cast<int32_t>(GetBitPosition(*reader));
  if (frameLength > channels * kBitsPerChannel + headerBits) {
    MoveBy(in, 3);
    return UMC_ERR_INVALID_STREAM;
  }
  return size - at < static_cast<uint64_t>(frameLength) ? UMC_ERR_NOT_ENOUGH_DATA : UMC_OK;
}

Status AACDecoder::GetFrame(MediaData* in, MediaData* out) {
  if (in == nullptr || out == nullptr) return UMC_ERR_NULL_PTR;
  const Status locked = LockState();
  if (locked != UMC_OK) return locked;
  if (m_state == nullptr) return UMC_ERR_NOT_INITIALIZED;
  m_state->crcValue = static_cast<int32_t>(kCrcStart);
  m_state->crcEnabled = 0;
  if (m_audioType != kStreamUnits) {
    const Status skipped = SkipId3(in);
    if (skipped != UMC_OK) return UnlockAnd(skipped);
  }
  BitReader reader;
  BitReaderInit(&reader, in->GetDataPointer(), in->GetDataSize());
  m_subtype = 0;
  if (m_streamKind == 0) {
    const Status detected = DetectStream(in, out, &reader);
    if (detected != UMC_OK) return UnlockAnd(detected);
    if (UnlockState() != UMC_OK) return UMC_ERR_ALLOC;
    const Status again = LockState();
    if (again != UMC_OK) return again;
  }
  m_subtype = SubtypeOf(m_objectType);
  if (m_objectType == 0) return UnlockAnd(UMC_ERR_UNSUPPORTED);
  Frame frame{};
  if (m_streamKind == kStreamAdts) {
    const Status synchronised = Synchronise(in, &reader, &frame.crc);
    if (synchronised != UMC_OK) return UnlockAnd(synchronised);
  }
  ByteAlign(&reader);
  frame.headerBytes = GetBitPosition(reader) / 8;
  frame.dataSize = in->GetDataSize();
  return m_objectType == kObjectAls ? DecodeAls(in, out, &frame) : Decode(in, out, &frame);
}

Status AACDecoder::DecodeAls(MediaData* in, MediaData* out, Frame* frame) {
  AlsState& als = m_state->alsState;
  const bool units = m_audioType == kStreamUnits;
  const uint8_t* data = in->GetDataPointer();
  if (data != nullptr) data += frame->headerBytes;
  uint8_t* pcm = out->GetDataPointer();
  const auto room = static_cast<uint64_t>(pcm == nullptr ? 0 : RoomOf(out));
  AlsOutput output;
  frame->result =
      AlsDecode(&als, data, frame->dataSize - frame->headerBytes, units, pcm, room, &output);
  MoveBy(in, frame->headerBytes + output.consumed);
  if (frame->result == kAlsNoRoom) return UnlockAnd(UMC_ERR_NOT_ENOUGH_BUFFER);
  if (frame->result != kAlsGood && frame->result != kAlsBad)
    return UnlockAnd(StatusOfResult(frame->result));
  frame->samples = static_cast<int32_t>(output.samples);
  frame->rate = als.config.samplingFrequency;
  frame->channels = als.config.channels;
  frame->bitsPerSample = als.config.bitsPerSample;
  frame->bytes = output.bytes;
  Deliver(in, out, *frame);
  return UnlockAnd(StatusOfResult(frame->result));
}

Status AACDecoder::Decode(MediaData* in, MediaData* out, Frame* frame) {
  const bool units = m_audioType == kStreamUnits;
  const uint8_t* data = in->GetDataPointer();
  if (data != nullptr) data += frame->headerBytes;
  const auto size = static_cast<int32_t>(
      std::min<uint64_t>(frame->dataSize - frame->headerBytes, kMaxReaderBytes));
  auto* pcm = reinterpret_cast<int16_t*>(out->GetDataPointer());
  const int32_t room = pcm == nullptr ? 0 : RoomOf(out);
  int32_t consumed = 0;
  frame->result = DecodeRawDataBlock(data, &consumed, pcm, size, room, m_state);
  switch (frame->result) {
    case kFrameGood:
      if (m_state->crcEnabled != 0 && m_state->crcValue != frame->crc) frame->result = kFrameBad;
      break;
    case kFrameBad:
      break;
    case kFrameOutputTooSmall:
      return UnlockAnd(UMC_ERR_NOT_ENOUGH_BUFFER);
    default:
      // Calling again would not help.
      if (units) MoveBy(in, frame->dataSize);
      out->SetDataSize(0);
      return UnlockAnd(StatusOfResult(frame->result));
  }
  frame->consumed = frame->headerBytes + static_cast<uint64_t>(consumed);
  if (frame->consumed > frame->dataSize) {
    if (!units) return UMC_ERR_NOT_ENOUGH_DATA;  // the state stays locked
    frame->result = kFrameBad;
  }
  frame->samples = m_state->frameLength * m_state->upsamplingFactor * m_state->unitFrames;
  frame->rate = m_state->samplingFrequency * m_state->upsamplingFactor;
  frame->channels = m_state->numChannels;
  if (frame->result == kFrameBad && room < frame->channels * frame->samples * 2)
    return UnlockAnd(UMC_ERR_NOT_ENOUGH_BUFFER);
  if (m_sbrSeen == 0 && m_state->sbrPresent == 1) {
    m_sbrSeen = 1;
    m_subtype += kSubtypeSbr;
  }
  MoveBy(in, units ? frame->dataSize : frame->consumed);
  frame->bitsPerSample = 16;
  frame->bytes = static_cast<uint64_t>(frame->channels) * static_cast<uint64_t>(frame->samples) * 2;
  if (frame->result == kFrameBad && frame->bytes > 0) std::memset(pcm, 0, frame->bytes);
  Deliver(in, out, *frame);
  return UnlockAnd(StatusOfResult(frame->result));
}

// What the output says of itself, and the time.
void AACDecoder::Deliver(MediaData* in, MediaData* out, const Frame& frame) {
  out->SetDataSize(frame.bytes);
  const double inputTime = in->GetTime();
  const double start = inputTime < 0.0 ? m_currentTime : inputTime;
  const double end = start + static_cast<double>(frame.samples) / frame.rate;
  m_currentTime = end;
  in->SetTime(end, end);
  out->SetTime(start, end);
  ++m_frameCount;
  if (auto* audio = ClassCast<AudioData>(out)) {
    audio->channels = frame.channels;
    audio->sampleFrequency = frame.rate;
    audio->bitsPerSample = frame.bitsPerSample;
    audio->alignment = 0;
    audio->dataFormat = kStreamPcm;
    audio->channelMask = ChannelMask(frame.channels);
  }
}

void AACDecoder::FillInfo() {
  m_info = Info{};
  m_info.suggestedInputSize = kSuggestedInput;
  m_info.suggestedOutputSize = kSuggestedOutput;
  if (m_state->audioObjectType == kObjectAls) return FillLosslessInfo();
  if (m_state->audioObjectType == kObjectBsac)
    m_info.suggestedOutputSize =
        std::max(kSuggestedOutput, m_state->bsacState->subFrames * kFrameLength * 2 * 2);
  if (m_state->frameNumber == 0) return;
  m_info.input.channels = m_state->numChannels;
  m_info.input.sampleFrequency = m_state->samplingFrequency;
  m_info.output.channels = m_state->numChannels;
  m_info.output.sampleFrequency = m_state->samplingFrequency * m_state->upsamplingFactor;
  m_info.output.bitsPerSample = 16;
  m_info.output.bitRate = m_info.output.sampleFrequency * m_info.output.bitsPerSample;
  m_info.valid = 1;
}

void AACDecoder::FillLosslessInfo() {
  const AlsConfig& config = m_state->alsState.config;
  const uint64_t frame = static_cast<uint64_t>(config.bitsPerSample / 8) *
                         static_cast<uint64_t>(config.frameLength) *
                         static_cast<uint64_t>(config.channels);
  const uint64_t most = std::numeric_limits<int32_t>::max();
  const auto size =
      static_cast<int32_t>(std::min(most, frame + std::max(config.headerSize, config.trailerSize)));
  m_info.suggestedInputSize = size;
  m_info.suggestedOutputSize = size;
  if (m_state->alsState.frameNumber == 0) return;
  m_info.input.channels = config.channels;
  m_info.input.sampleFrequency = config.samplingFrequency;
  m_info.output = m_info.input;
  m_info.output.bitsPerSample = config.bitsPerSample;
  m_info.output.bitRate =
      static_cast<int32_t>(std::min(most, static_cast<uint64_t>(config.samplingFrequency) *
                                              static_cast<uint64_t>(config.bitsPerSample)));
  m_info.valid = 1;
}

Status AACDecoder::GetLosslessInfo(AlsInfo* info) {
  if (info == nullptr) return UMC_ERR_NULL_PTR;
  const Status locked = LockState();
  if (locked != UMC_OK) return locked;
  if (m_state == nullptr) return UMC_ERR_NOT_INITIALIZED;
  if (m_state->audioObjectType != kObjectAls) return UnlockAnd(UMC_ERR_UNSUPPORTED);
  const AlsState& als = m_state->alsState;
  *info = {als.config, als.frameNumber, als.samplesDone, als.checksum};
  return UnlockState();
}

Status AACDecoder::GetInfo(BaseCodecParams* params) {
  if (params == nullptr) return UMC_ERR_NULL_PTR;
  const Status locked = LockState();
  if (locked != UMC_OK) return locked;
  if (m_state == nullptr) return UMC_ERR_NOT_INITIALIZED;
  FillInfo();
  params->suggestedInputSize = m_info.suggestedInputSize;
  params->suggestedOutputSize = m_info.suggestedOutputSize;
  params->level = 0;
  auto* audio = ClassCast<AudioCodecParams>(params);
  if (audio == nullptr) return UMC_OK;  // the state stays locked
  if (m_info.valid == 0) return UnlockAnd(kNoInfoYet);
  audio->level = m_objectType + (m_state->sbrPresent != 0 ? 256 : 0);
  audio->input = m_info.input;
  audio->output = m_info.output;
  audio->inputStreamType = kStreamAac;
  audio->outputStreamType = kStreamPcm;
  audio->inputStreamSubtype = m_subtype;
  audio->frameCount = m_frameCount;
  audio->inputChannelMask = ChannelMask(m_info.input.channels);
  audio->outputChannelMask = audio->inputChannelMask;
  return UnlockState();
}

Status AACDecoder::SetParams(BaseCodecParams* params) {
  const auto* audio = ClassCast<AudioCodecParams>(params);
  if (audio == nullptr) return UMC_ERR_NULL_PTR;
  const Status locked = LockState();
  if (locked != UMC_OK) return locked;
  if (m_state == nullptr) return UMC_ERR_NOT_INITIALIZED;
  if (!params->IsClass(&AACDecoderParams::Mark) && !params->IsClassByName(&AACDecoderParams::Mark))
    return UnlockState();
  const auto* aac = static_cast<const AACDecoderParams*>(audio);
  m_state->layer = aac->layer;
  if ((aac->sbrMode == 18 || aac->sbrMode == 28) && aac->sbrDownsample < 2) {
    if (aac->sbrMode != m_state->sbrMode) ChangeSbrMode(m_state, aac->sbrMode);
    const int32_t downsample = m_state->sbrDownsample;
    m_state->sbrDownsample = aac->sbrDownsample;
    m_state->sbrSupportLevel = aac->sbrSupportLevel;
    const int32_t ps = aac->psSupportLevel;
    if (ps == 111 || ps == 411) {
      if (m_state->sbrMode != 18) ChangeSbrMode(m_state, 18);
      m_state->sbrDownsample = 0;
    }
    // The banks' histories belong to one of the two rates.
    if (m_state->sbrDownsample != downsample)
      std::memset(m_state->sbrChannelUsed, 0, sizeof m_state->sbrChannelUsed);
    m_state->psSupportLevel = ps == 111 || ps == 411 || ps < 2 ? ps : 0;
    PassPsLevel(m_state);
  }
  return UnlockState();
}

Status AACDecoder::Reset() {
  const Status locked = LockState();
  if (locked != UMC_OK) return locked;
  if (m_state == nullptr) return UMC_ERR_NOT_INITIALIZED;
  m_currentTime = 0.0;
  AACDecoderStateReset(m_state);
  return UnlockState();
}

Status AACDecoder::Close() {
  ReleaseMemory();
  return AudioCodec::Close();
}

Status AACDecoder::GetDuration(float* seconds) {
  if (seconds == nullptr) return UMC_ERR_NULL_PTR;
  const Status locked = LockState();
  if (locked != UMC_OK) return locked;
  if (m_state == nullptr) return UMC_ERR_NOT_INITIALIZED;
  int64_t samples = static_cast<int64_t>(m_state->frameNumber) * kFrameLength;
  int32_t rate = m_state->samplingFrequency;
  if (m_state->audioObjectType == kObjectAls) {
    const AlsState& als = m_state->alsState;
    const bool known = als.config.samples != kAlsSamplesUnknown;
    samples = static_cast<int64_t>(known ? als.config.samples : als.samplesDone);
    rate = als.config.samplingFrequency;
  }
  *seconds = rate == 0 ? 0.0F : static_cast<float>(samples) / static_cast<float>(rate);
  return UnlockState();
}

void AACDecoder::CountTools(FrameTools* tools) { m_tools = tools; }

}  // namespace UMC
