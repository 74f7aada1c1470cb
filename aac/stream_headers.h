// ADTS, AudioSpecificConfig and program config element: the headers of
// ISO/IEC 14496-3 and ISO/IEC 13818-7, as records and parsers. The parsers use
// GetBits alone and read zeros behind the end of the data.
#pragma once

#include <cstdint>

#include "aac/bit_reader.h"
#include "als/als_config.h"

namespace orbel {

struct AdtsFixedHeader {
  int32_t id;
  int32_t layer;
  int32_t protection_absent;
  int32_t profile;
  int32_t sampling_frequency_index;
  int32_t private_bit;
  int32_t channel_configuration;
  int32_t original_copy;
  int32_t home;
};

struct ProgramConfigElement {
  int32_t element_instance_tag;
  int32_t object_type;
  int32_t sampling_frequency_index;
  int32_t num_front_channel_elements;
  int32_t num_side_channel_elements;
  int32_t num_back_channel_elements;
  int32_t num_lfe_channel_elements;
  int32_t num_assoc_data_elements;
  int32_t num_valid_cc_elements;
  int32_t mono_mixdown_present;
  int32_t mono_mixdown_element_number;
  int32_t stereo_mixdown_present;
  int32_t stereo_mixdown_element_number;
  int32_t matrix_mixdown_idx_present;
  int32_t matrix_mixdown_idx;
  int32_t pseudo_surround_enable;
  int32_t front_element_is_cpe[16];
  int32_t front_element_tag_select[16];
  int32_t side_element_is_cpe[16];
  int32_t side_element_tag_select[16];
  int32_t back_element_is_cpe[16];
  int32_t back_element_tag_select[16];
  int32_t lfe_element_tag_select[16];
  int32_t assoc_data_element_tag_select[8];
  int32_t cc_element_is_ind_sw[16];
  int32_t valid_cc_element_tag_select[16];
  int32_t comment_field_bytes;
  uint8_t comment_field_data[256];
  int32_t num_front_channels;  // elements, plus one for each pair
  int32_t num_side_channels;
  int32_t num_back_channels;
  int32_t num_lfe_channels;
};

struct GASpecificConfig {
  int32_t frameLengthFlag;  // read and ignored: every frame has 1024 samples
  int32_t dependsOnCoreCoder;
  int32_t coreCoderDelay;
  int32_t extensionFlag;
  int32_t numOfSubFrame;
  int32_t layer_length;
  ProgramConfigElement pce;
};

struct AudioSpecificConfig {
  int32_t sbrPresent;  // -1 not signalled, 0 signalled absent, 1 present
  int32_t psPresent;   // -1 not signalled, else the bit
  int32_t audioObjectType;
  int32_t samplingFrequencyIndex;
  int32_t samplingFrequency;  // hertz, with index 15 only
  int32_t channelConfiguration;
  int32_t extensionAudioObjectType;
  int32_t extensionSamplingFrequencyIndex;
  int32_t extensionSamplingFrequency;
  int32_t epConfig;
  AlsConfig alsConfig;
  GASpecificConfig gaSpecificConfig;
};

struct AdifHeader {
  int32_t copyright_id_present;
  char copyright_id[10];
  int32_t original_copy;
  int32_t home;
  int32_t bitstream_type;
  int32_t bitrate;
  int32_t num_program_config_elements;  // as coded: one less than there are
  int32_t adif_buffer_fullness;
  ProgramConfigElement pce[16];
};

// 0, or 1 when the first 12 bits are no sync word; only these are read then.
int32_t AdtsFixedHeaderParse(AdtsFixedHeader* header, BitReader* reader);

// The rest of an ADTS header but its CRC. Returns frame_length, in bytes.
int32_t AdtsVariableHeaderParse(BitReader* reader);

// Everything behind the word "ADIF".
void AdifHeaderParse(AdifHeader* header, BitReader* reader);

// 0, or -1 for an object type without a decoder or a bad ALS configuration.
// Extensions are looked for as far as the reader's size tells.
int32_t AudioSpecificConfigParse(AudioSpecificConfig* config, BitReader* reader);

// Returns element_instance_tag; cannot fail.
int32_t ProgramConfigElementParse(ProgramConfigElement* pce, BitReader* reader);

}  // namespace orbel
