// Registration of the two decoders with the platform, under the category of
// audio decoders.
#include "dmo/registration.h"

#include <dlfcn.h>
#include <limits.h>
#include <stdlib.h>

#include <iterator>

#include "platform/registrar.h"

namespace orbel {
namespace {

constexpr DMO_PARTIAL_MEDIATYPE Wave(uint32_t formatId) {
  GUID subtype = MEDIASUBTYPE_WaveBase;
  subtype.data1 = formatId;
  return {MEDIATYPE_Audio, subtype};
}

constexpr DMO_PARTIAL_MEDIATYPE kAacInputs[] = {Wave(ORBEL_FORMAT_AAC)};
constexpr DMO_PARTIAL_MEDIATYPE kTelephonyInputs[] = {
    Wave(ORBEL_FORMAT_MULAW), Wave(ORBEL_FORMAT_ALAW), Wave(ORBEL_FORMAT_G726_32),
    Wave(ORBEL_FORMAT_G726_24), Wave(ORBEL_FORMAT_IMA)};
constexpr DMO_PARTIAL_MEDIATYPE kOutputs[] = {{MEDIATYPE_Audio, MEDIASUBTYPE_PCM}};

struct Registration {
  const char* name;
  GUID classId;
  const std::string_view& script;
  uint32_t inputCount;
  const DMO_PARTIAL_MEDIATYPE* inputs;
};

const Registration kRegistrations[] = {
    {"orbel AAC decoder", CLSID_aacdecoder, kAacDecoderScript, std::size(kAacInputs), kAacInputs},
    {"orbel telephony audio decoder", CLSID_audiodecoder, kAudioDecoderScript,
     std::size(kTelephonyInputs), kTelephonyInputs},
};

// The file that this code was loaded from. `room` has PATH_MAX bytes.
std::string_view ModulePath(char* room) noexcept {
  Dl_info info = {};
  if (dladdr(kRegistrations, &info) == 0 || info.dli_fname == nullptr) return "";
  return realpath(info.dli_fname, room) != nullptr ? room : info.dli_fname;
}

HRESULT Enter(const Registration& each) noexcept {
  char path[PATH_MAX];
  const HRESULT entered =
      RegistrarEnter(Registry::OfProcess(), each.script, {"MODULE", ModulePath(path)});
  if (entered != S_OK) return entered;
  return DMORegister(each.name, each.classId, DMOCATEGORY_AUDIO_DECODER, 0, each.inputCount,
                     each.inputs, std::size(kOutputs), kOutputs);
}

}  // namespace
}  // namespace orbel

extern "C" {

HRESULT DllRegisterServer() noexcept {
  const orbel::RegistryLock lock(orbel::Registry::OfProcess());
  for (const auto& each : orbel::kRegistrations) {
    const HRESULT result = orbel::Enter(each);
    if (result == S_OK) continue;
    DllUnregisterServer();
    return result;
  }
  return S_OK;
}

HRESULT DllUnregisterServer() noexcept {
  orbel::Registry& registry = orbel::Registry::OfProcess();
  const orbel::RegistryLock lock(registry);
  for (const auto& each : orbel::kRegistrations) {
    orbel::DMOUnregister(each.classId, DMOCATEGORY_AUDIO_DECODER);
    orbel::RegistrarRemove(registry, each.script);
  }
  return S_OK;
}

}  // extern "C"
