#include "aac/bsac_frame.h"

#include <algorithm>
#include <cstring>

#include "aac/bsac_tables.h"
#include "aac/element_tools.h"
#include "aac/frame_decoder.h"
#include "aac/individual_channel_stream.h"
#include "aac/long_term_prediction.h"
#include "aac/noise.h"
#include "aac/state.h"
#include "aac/tns.h"
#include "dsp/primitives.h"

namespace orbel {
namespace {

// header_length counts from 7 bytes on. Some writers always put 0; and no header of more
// than 22 bytes can tell its length: both end where their fields do.
constexpr int32_t kHeaderLengthBias = 7;
constexpr int32_t kHeaderLengthUnknown = 0;
constexpr int32_t kHeaderLengthMost = 15;

// ms_mask_present
constexpr int32_t kMaskPerBand = 1;
constexpr int32_t kMaskAll = 2;
constexpr int32_t kStereoInfoPerBand = 3;

// stereo_info
constexpr int32_t kStereoMidSide = 1;
constexpr int32_t kStereoInPhase = 2;
constexpr int32_t kStereoOutOfPhase = 3;

// noise_mode: the second channel's noise is its own, the first one's, or that negated.
constexpr int32_t kNoiseIndependent = 0;
constexpr int32_t kNoiseOpposite = kMsOpposite;

// Noise energies are in quarters of powers of two, from 2^-10 on.
constexpr int32_t kNoiseEnergyOffset = 40;
constexpr int32_t kLoudestNoise = 300;

// Whatever the values, all lines of a band with this book are dequantised.
constexpr int32_t kSmallBook = 1;
constexpr int32_t kSmallPlanes = 13;  // as many has a magnitude of 8191

// One frame.
struct Parse {
  AACDecoderState* state;
  BsacState* bsac;
  int32_t channels;
  IndividualChannelStream* ics[kBsacMaxChannels];
  ChannelPairElement* pair;  // null with one channel
  int32_t stereoMode;        // ms_mask_present as coded
};

int32_t Read(BitReader* reader, int32_t count) {
  return static_cast<int32_t>(FastGetBits(reader, count));
}

void ParseBsacHeader(int32_t channels, BitReader* reader, BsacHeader* header) {
  header->frame_length = Read(reader, 11);
  header->header_length = Read(reader, 4);
  header->sba_mode = Read(reader, 1);
  header->top_layer = Read(reader, 6);
  header->base_snf_thr = Read(reader, 2);
  for (int32_t c = 0; c < channels; ++c) header->max_scalefactor[c] = Read(reader, 8);
  header->base_band = Read(reader, 5);
  for (int32_t c = 0; c < channels; ++c) {
    header->cband_si_type[c] = Read(reader, 5);
    header->base_scf_model[c] = Read(reader, 3);
    header->enh_scf_model[c] = Read(reader, 3);
    header->max_sfb_si_len[c] = Read(reader, 4);
  }
}

// Nothing of the last frame's channel stays.
void ClearStream(int32_t maxScalefactor, IndividualChannelStream* ics) {
  ics->global_gain = maxScalefactor;
  ics->pulse_data_present = 0;
  ics->gain_control_data_present = 0;
  ics->hasNoise = 0;
  ics->hasIntensity = 0;
  ics->wildScale = 0;
  std::memset(ics->sfb_cb, 0, sizeof ics->sfb_cb);
  std::memset(ics->scaleFactors, 0, sizeof ics->scaleFactors);
}

int32_t ParseGeneralHeader(Parse* frame, BitReader* reader) {
  BsacHeader* header = &frame->bsac->header;
  const BitReader windows = *reader;
  for (int32_t c = 0; c < frame->channels; ++c) {
    *reader = windows;  // the same for both channels
    if (IcsInfoParse(frame->ics[c], reader, kObjectBsac) != 0) return kFrameBad;
    ClearStream(header->max_scalefactor[c], frame->ics[c]);
  }
  header->pns_data_present = Read(reader, 1);
  header->pns_start_sfb = header->pns_data_present != 0 ? Read(reader, 6) : 0;
  if (frame->pair != nullptr) {
    frame->stereoMode = Read(reader, 2);
    std::memset(frame->pair->ms_used, 0, sizeof frame->pair->ms_used);
    frame->pair->ms_mask_present =
        frame->stereoMode == kStereoInfoPerBand ? kMaskPerBand : frame->stereoMode;
  }
  for (int32_t c = 0; c < frame->channels; ++c) {
    IndividualChannelStream* ics = frame->ics[c];
    ics->tns_data_present = Read(reader, 1);
    if (ics->tns_data_present != 0) TnsDataParse(ics, reader);
    ics->ltp_data_present = Read(reader, 1);
    if (ics->ltp_data_present != 0) LtpDataParse(ics, reader);
  }
  return kFrameGood;
}

// Fields of the frame up to its first layer.
int32_t ParseHeaders(Parse* frame, const uint8_t* data, int32_t size) {
  BsacHeader* header = &frame->bsac->header;
  BitReader reader;
  BitReaderInit(&reader, data, static_cast<size_t>(size));
  ParseBsacHeader(frame->channels, &reader, header);
  if (header->sba_mode != 0) return kFrameUnsupported;
  if (header->frame_length > size) return kFrameBad;
  const int32_t result = ParseGeneralHeader(frame, &reader);
  if (result != kFrameGood) return result;
  const auto parsed = static_cast<int32_t>((GetBitPosition(reader) + 7) / 8);
  const int32_t said = header->header_length + kHeaderLengthBias;
  const bool unknown =
      header->header_length == kHeaderLengthUnknown || header->header_length == kHeaderLengthMost;
  if (said < parsed && !unknown) return kFrameBad;
  header->headerBytes = std::max(said, parsed);
  return header->headerBytes < header->frame_length ? kFrameGood : kFrameBad;
}

int32_t Symbol(Parse* frame, const uint16_t* model) {
  int32_t symbol = 0;
  dspBsacSymbol(&frame->bsac->coder, model, &symbol);
  return symbol;
}

void ParseCodingBands(Parse* frame, const BsacLayer& layer) {
  DspBsacSpectrum* spectrum = &frame->bsac->spectrum;
  for (int32_t c = 0; c < frame->channels; ++c) {
    const int32_t common = kBsacCbandTypes[frame->bsac->header.cband_si_type[c]].model;
    for (int32_t band = layer.firstBand; band < layer.endBand; ++band) {
      const bool first = layer.startsGroup != 0 && band == layer.firstBand;
      const int32_t si = Symbol(frame, kBsacCbandModels[first ? kBsacFirstCbandModel : common]);
      spectrum->top[c][band] = static_cast<uint8_t>(si < 15 ? (si + 1) / 2 : si - 7);
      spectrum->model[c][band] = kBsacSpectralModel[si];
    }
    for (int32_t line = layer.firstLine; line < layer.endLine;) {
      const int32_t band = line / kDspBsacBandLines;
      const int32_t end = std::min((band + 1) * kDspBsacBandLines, layer.endLine);
      const uint8_t top = spectrum->top[c][band];
      std::fill(spectrum->plane[c] + line, spectrum->plane[c] + end, top);
      spectrum->waiting[c][top] |= 1U << band;
      spectrum->planes |= 1U << top;
      line = end;
    }
  }
}

bool HasNoiseFlags(const Parse& frame, int32_t sfb) {
  const BsacHeader& header = frame.bsac->header;
  return header.pns_data_present != 0 && sfb >= header.pns_start_sfb &&
         frame.stereoMode != kMaskAll;
}

void SetBook(IndividualChannelStream* ics, int32_t group, int32_t sfb, int32_t book) {
  ics->sfb_cb[group][sfb] = book;
  if (book == kNoiseBook)
    ics->hasNoise = 1;
  else if (book >= kIntensityBookOutOfPhase)
    ics->hasIntensity = 1;
}

// What a band is in both channels. False for a mode that there is not.
bool ParseStereoBand(Parse* frame, int32_t group, int32_t sfb) {
  int32_t info = 0;
  if (frame->stereoMode == kMaskPerBand) {
    info = Symbol(frame, kBsacMsUsedModel) != 0 ? kStereoMidSide : 0;
  } else if (frame->stereoMode == kStereoInfoPerBand) {
    info = Symbol(frame, kBsacStereoInfoModel);
  }
  bool noise[kBsacMaxChannels] = {};
  int32_t mode = kNoiseIndependent;
  if (HasNoiseFlags(*frame, sfb)) {
    for (bool& flag : noise) flag = Symbol(frame, kBsacNoiseFlagModel) != 0;
    if (info == kStereoOutOfPhase && noise[0] && noise[1])
      mode = Symbol(frame, kBsacNoiseModeModel);
  }
  int32_t right = kSmallBook;
  if (info == kStereoInPhase) right = kIntensityBook;
  if (info == kStereoOutOfPhase) right = kIntensityBookOutOfPhase;
  SetBook(frame->ics[0], group, sfb, noise[0] ? kNoiseBook : kSmallBook);
  SetBook(frame->ics[1], group, sfb, noise[1] ? kNoiseBook : right);
  frame->pair->ms_used[group][sfb] = mode != kNoiseIndependent ? mode : info == kStereoMidSide;
  return mode <= kNoiseOpposite;
}

void ParseScaleFactor(Parse* frame, int32_t channel, int32_t group, int32_t sfb, int32_t model) {
  IndividualChannelStream* ics = frame->ics[channel];
  const int32_t book = ics->sfb_cb[group][sfb];
  int32_t* most = &frame->bsac->noiseEnergy[channel];
  if (book == kNoiseBook && *most < 0) *most = Symbol(frame, kBsacNoiseEnergyModel.cumulative);
  const int32_t code = model == 0 ? 0 : Symbol(frame, kBsacScalefactorModels[model]);
  int32_t value = frame->bsac->header.max_scalefactor[channel] - code;
  if (book == kNoiseBook) {
    value = *most - code - kNoiseEnergyOffset;
    if (value > kLoudestNoise) ics->wildScale = 1;
  } else if (book >= kIntensityBookOutOfPhase) {
    value = code % 2 != 0 ? -(code + 1) / 2 : code / 2;
  }
  ics->scaleFactors[group][sfb] = static_cast<int16_t>(value);
}

bool ParseScaleFactors(Parse* frame, const BsacLayer& layer, bool base) {
  const BsacHeader& header = frame->bsac->header;
  for (int32_t c = 0; c < frame->channels; ++c) {
    const int32_t model = base ? header.base_scf_model[c] : header.enh_scf_model[c];
    for (int32_t sfb = layer.firstSfb; sfb < layer.endSfb; ++sfb) {
      if (frame->pair != nullptr) {
        if (c == 0 && !ParseStereoBand(frame, layer.group, sfb)) return false;
      } else {
        const bool noise = HasNoiseFlags(*frame, sfb) && Symbol(frame, kBsacNoiseFlagModel) != 0;
        SetBook(frame->ics[0], layer.group, sfb, noise ? kNoiseBook : kSmallBook);
      }
      ParseScaleFactor(frame, c, layer.group, sfb, model);
    }
  }
  return true;
}

int32_t ParseLayers(Parse* frame, const uint8_t* data) {
  BsacState* bsac = frame->bsac;
  const BsacHeader& header = bsac->header;
  const BsacLayers& layers = bsac->layers;
  const int32_t asked = frame->state->layer;
  const int32_t count =
      asked < 0 ? layers.count
                : std::min(layers.count, layers.base + std::min(asked, kBsacMaxEnhancementLayers));
  std::memset(&bsac->spectrum, 0, sizeof bsac->spectrum);
  std::fill_n(bsac->noiseEnergy, kBsacMaxChannels, -1);
  dspBsacInit(&bsac->coder, data + header.headerBytes, header.frame_length - header.headerBytes);
  for (int32_t l = 0; l < count; ++l) {
    const BsacLayer& layer = layers.layer[l];
    const bool base = l < layers.base;
    bsac->coder.budget += layers.firstBit[l + 1] - layers.firstBit[l];
    ParseCodingBands(frame, layer);
    if (!ParseScaleFactors(frame, layer, base)) return kFrameBad;
    // The layer's own lines, then what is left of all.
    dspBsacPass(&bsac->coder, &bsac->spectrum, frame->channels, layer.firstLine, layer.endLine,
                base ? header.base_snf_thr : 0);
    dspBsacPass(&bsac->coder, &bsac->spectrum, frame->channels, 0, kDspBsacLines, 0);
    if (bsac->coder.broken != 0) return kFrameBad;
  }
  return kFrameGood;
}

// Lines from coded order to that of the channel record, band by band and in each window
// by window; what lies above the highest band is dropped. Lines without a sign are 0.
void StoreLines(const DspBsacSpectrum& spectrum, int32_t channel, IndividualChannelStream* ics) {
  int16_t values[kFrameLength];
  for (int32_t line = 0; line < kFrameLength; ++line)
    values[line] =
        static_cast<int16_t>(spectrum.magnitude[channel][line] * spectrum.sign[channel][line]);
  const int32_t* offsets = BandOffsets(*ics);
  int16_t* to = ics->quantized;
  if (ics->window_sequence != kEightShort) {
    std::copy_n(values, offsets[ics->max_sfb], to);
    return;
  }
  const int16_t* group = values;
  for (int32_t g = 0; g < ics->num_window_groups; ++g) {
    const int32_t windows = ics->window_group_length[g];
    for (int32_t b = 0; b < ics->max_sfb; ++b)
      for (int32_t w = 0; w < windows; ++w)
        for (int32_t line = offsets[b]; line < offsets[b + 1]; line += 4)
          to = std::copy_n(group + windows * line + 4 * w, 4, to);
    group += kShortLength * windows;
  }
}

// Dequantising asks for the escape book where values may be large.
void StoreChannel(const DspBsacSpectrum& spectrum, int32_t channel, IndividualChannelStream* ics) {
  StoreLines(spectrum, channel, ics);
  const uint8_t* tops = spectrum.top[channel];
  if (*std::max_element(tops, tops + kDspBsacBands) <= kSmallPlanes) return;
  for (auto& books : ics->sfb_cb)
    for (int32_t& book : books)
      if (book == kSmallBook) book = kEscapeBook;
}

}  // namespace

void BsacStateInit(int32_t channels, int32_t numOfSubFrame, BsacState* bsac) {
  *bsac = BsacState{};
  bsac->channels = channels;
  bsac->subFrames = std::max(numOfSubFrame, 1);
}

int32_t BsacFrameDecode(const uint8_t* data, int32_t size, AACDecoderState* state,
                        int32_t* frameBytes) {
  BsacState* bsac = state->bsacState;
  if (bsac->channels < 1 || bsac->channels > kBsacMaxChannels) return kFrameUnsupported;
  if (state->samplingFrequency == 0) return kFrameBad;
  Parse frame = {state, bsac, bsac->channels, {}, nullptr, 0};
  if (frame.channels == 2) {
    frame.pair = &state->channelPair;
    frame.ics[0] = &frame.pair->stream[0];
    frame.ics[1] = &frame.pair->stream[1];
  } else {
    frame.ics[0] = &state->singleChannel.stream;
  }
  int32_t result = ParseHeaders(&frame, data, size);
  if (result != kFrameGood) return result;
  PlanBsacLayers(bsac->header, *frame.ics[0], state->samplingIndex, &bsac->layers);
  BudgetBsacLayers(bsac->header, frame.channels, state->samplingFrequency, &bsac->layers);
  result = ParseLayers(&frame, data);
  if (result != kFrameGood) return result;
  for (int32_t c = 0; c < frame.channels; ++c) StoreChannel(bsac->spectrum, c, frame.ics[c]);
  if (frame.pair != nullptr)
    ChannelPairTools(state, 0);
  else
    SingleChannelTools(state, 0);
  state->numChannels = frame.channels;
  *frameBytes = bsac->header.frame_length;
  return kFrameGood;
}

}  // namespace orbel
