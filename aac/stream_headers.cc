#include "aac/stream_headers.h"

namespace orbel {
namespace {

constexpr int32_t kExplicitRateIndex = 15;
constexpr int32_t kHighestObjectType = 36;
constexpr uint32_t kExtensionSync = 0x2B7;
constexpr uint32_t kPsSync = 0x548;
constexpr uint32_t kAlsMagic = 0x414C5300;  // "ALS" and a zero byte

int32_t Read(BitReader* reader, int32_t count) {
  return static_cast<int32_t>(GetBits(reader, count));
}

// Five further bits follow the escaped form and are dropped. They stand in for
// the fill bits that lossless configurations have behind their rate.
int32_t ReadObjectType(BitReader* reader) {
  const int32_t type = Read(reader, 5);
  if (type != 31) return type;
  const int32_t escaped = 32 + Read(reader, 6);
  Read(reader, 5);
  return escaped;
}

void ReadRate(BitReader* reader, int32_t* index, int32_t* frequency) {
  *index = Read(reader, 4);
  if (*index == kExplicitRateIndex) *frequency = Read(reader, 24);
}

void GaSpecificConfigParse(GASpecificConfig* ga, int32_t objectType, int32_t channelConfiguration,
                           BitReader* reader) {
  ga->frameLengthFlag = Read(reader, 1);
  ga->dependsOnCoreCoder = Read(reader, 1);
  if (ga->dependsOnCoreCoder != 0) ga->coreCoderDelay = Read(reader, 14);
  ga->extensionFlag = Read(reader, 1);
  if (channelConfiguration == 0) ProgramConfigElementParse(&ga->pce, reader);
  if (objectType == 22 && ga->extensionFlag != 0) {
    ga->numOfSubFrame = Read(reader, 5);
    ga->layer_length = Read(reader, 11);
  }
}

// The word in front of the lossless configuration is not compared: only when it
// is not the magic, and the magic stands 24 bits further on, as it does when the
// rate was explicit, does parsing go on behind that one.
int32_t AlsPartParse(AlsConfig* config, BitReader* reader) {
  const uint32_t magic = GetBits(reader, 32);
  if (magic != kAlsMagic) {
    BitReader ahead = *reader;
    // 24 bits further on than the word just read starts 8 bits before its end.
    SetBitPosition(&ahead, GetBitPosition(*reader) - 8);
    if (GetBits(&ahead, 32) == kAlsMagic) *reader = ahead;
  }
  return AlsConfigParse(config, reader) < 0 ? -1 : 0;
}

void ImplicitExtensionParse(AudioSpecificConfig* config, BitReader* reader) {
  const int64_t position = GetBitPosition(*reader);
  const int64_t remaining = static_cast<int64_t>(reader->sizeBytes) * 8 - position;
  if (remaining < 16) return;
  if (GetBits(reader, 11) != kExtensionSync) return;
  config->extensionAudioObjectType = Read(reader, 5);
  if (config->extensionAudioObjectType != 5) return;
  config->sbrPresent = Read(reader, 1);
  if (config->sbrPresent != 1) return;
  ReadRate(reader, &config->extensionSamplingFrequencyIndex, &config->extensionSamplingFrequency);
  // Counted from the start of the extension on purpose, the bits read since then
  // included.
  if (remaining < 12) return;
  if (GetBits(reader, 11) != kPsSync) return;
  config->psPresent = Read(reader, 1);
}

}  // namespace

int32_t AdtsFixedHeaderParse(AdtsFixedHeader* header, BitReader* reader) {
  if (GetBits(reader, 12) != 0xFFF) return 1;
  header->id = Read(reader, 1);
  header->layer = Read(reader, 2);
  header->protection_absent = Read(reader, 1);
  header->profile = Read(reader, 2);
  header->sampling_frequency_index = Read(reader, 4);
  header->private_bit = Read(reader, 1);
  header->channel_configuration = Read(reader, 3);
  header->original_copy = Read(reader, 1);
  header->home = Read(reader, 1);
  return 0;
}

int32_t AdtsVariableHeaderParse(BitReader* reader) {
  GetBits(reader, 2);  // copyright identification
  const int32_t frame_length = Read(reader, 13);
  GetBits(reader, 11);  // adts_buffer_fullness
  GetBits(reader, 2);   // further raw data blocks of the frame are not decoded
  return frame_length;
}

void AdifHeaderParse(AdifHeader* header, BitReader* reader) {
  *header = AdifHeader{};
  header->copyright_id_present = Read(reader, 1);
  if (header->copyright_id_present != 0)
    for (int i = 0; i < 9; ++i) header->copyright_id[i] = static_cast<char>(GetBits(reader, 8));
  header->original_copy = Read(reader, 1);
  header->home = Read(reader, 1);
  header->bitstream_type = Read(reader, 1);
  header->bitrate = Read(reader, 23);
  header->num_program_config_elements = Read(reader, 4);
  if (header->bitstream_type == 0) header->adif_buffer_fullness = Read(reader, 20);
  for (int32_t i = 0; i <= header->num_program_config_elements; ++i)
    ProgramConfigElementParse(&header->pce[i], reader);
}

int32_t AudioSpecificConfigParse(AudioSpecificConfig* config, BitReader* reader) {
  *config = AudioSpecificConfig{};
  config->audioObjectType = ReadObjectType(reader);
  ReadRate(reader, &config->samplingFrequencyIndex, &config->samplingFrequency);
  config->channelConfiguration = Read(reader, 4);
  config->sbrPresent = -1;
  config->psPresent = -1;
  if (config->audioObjectType == 5 || config->audioObjectType == 29) {
    config->extensionAudioObjectType = 5;
    config->sbrPresent = 1;
    if (config->audioObjectType == 29) config->psPresent = 1;
    ReadRate(reader, &config->extensionSamplingFrequencyIndex, &config->extensionSamplingFrequency);
    config->audioObjectType = ReadObjectType(reader);
  }
  const int32_t type = config->audioObjectType;
  if (type == 0 || type > kHighestObjectType) return -1;
  switch (type) {
    case 1:
    case 2:
    case 3:
    case 4:
    case 6:
    case 7:
    case 22:
      GaSpecificConfigParse(&config->gaSpecificConfig, type, config->channelConfiguration, reader);
      break;
    case 36:
      if (AlsPartParse(&config->alsConfig, reader) != 0) return -1;
      break;
    default:
      return -1;
  }
  if (type == 22) config->epConfig = Read(reader, 2);
  if (config->extensionAudioObjectType != 5) ImplicitExtensionParse(config, reader);
  return 0;
}

int32_t ProgramConfigElementParse(ProgramConfigElement* pce, BitReader* reader) {
  *pce = ProgramConfigElement{};
  pce->element_instance_tag = Read(reader, 4);
  pce->object_type = Read(reader, 2);
  pce->sampling_frequency_index = Read(reader, 4);
  pce->num_front_channel_elements = Read(reader, 4);
  pce->num_side_channel_elements = Read(reader, 4);
  pce->num_back_channel_elements = Read(reader, 4);
  pce->num_lfe_channel_elements = Read(reader, 2);
  pce->num_assoc_data_elements = Read(reader, 3);
  pce->num_valid_cc_elements = Read(reader, 4);
  pce->mono_mixdown_present = Read(reader, 1);
  if (pce->mono_mixdown_present != 0) pce->mono_mixdown_element_number = Read(reader, 4);
  pce->stereo_mixdown_present = Read(reader, 1);
  if (pce->stereo_mixdown_present != 0) pce->stereo_mixdown_element_number = Read(reader, 4);
  pce->matrix_mixdown_idx_present = Read(reader, 1);
  if (pce->matrix_mixdown_idx_present != 0) {
    pce->matrix_mixdown_idx = Read(reader, 2);
    pce->pseudo_surround_enable = Read(reader, 1);
  }
  // A list of channel elements; returns its number of channels.
  const auto readElements = [reader](int32_t count, int32_t* isCpe, int32_t* tags) {
    int32_t channels = count;
    for (int32_t i = 0; i < count; ++i) {
      isCpe[i] = Read(reader, 1);
      tags[i] = Read(reader, 4);
      channels += isCpe[i];
    }
    return channels;
  };
  pce->num_front_channels = readElements(pce->num_front_channel_elements, pce->front_element_is_cpe,
                                         pce->front_element_tag_select);
  pce->num_side_channels = readElements(pce->num_side_channel_elements, pce->side_element_is_cpe,
                                        pce->side_element_tag_select);
  pce->num_back_channels = readElements(pce->num_back_channel_elements, pce->back_element_is_cpe,
                                        pce->back_element_tag_select);
  for (int32_t i = 0; i < pce->num_lfe_channel_elements; ++i)
    pce->lfe_element_tag_select[i] = Read(reader, 4);
  pce->num_lfe_channels = pce->num_lfe_channel_elements;
  for (int32_t i = 0; i < pce->num_assoc_data_elements; ++i)
    pce->assoc_data_element_tag_select[i] = Read(reader, 4);
  readElements(pce->num_valid_cc_elements, pce->cc_element_is_ind_sw,
               pce->valid_cc_element_tag_select);
  ByteAlign(reader);
  pce->comment_field_bytes = Read(reader, 8);
  for (int32_t i = 0; i < pce->comment_field_bytes; ++i)
    pce->comment_field_data[i] = static_cast<uint8_t>(GetBits(reader, 8));
  return pce->element_instance_tag;
}

}  // namespace orbel
