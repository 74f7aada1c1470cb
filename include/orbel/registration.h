/* orbel.audio.mpeg: finding the media objects, for a host's own graph.
 *
 * The module registers its classes with the registry of this process: an empty
 * one at first, shared by all threads, gone with the library. A graph that
 * collects its decoders asks it for those of a category that take a type,
 * and makes them by class identifier. Nothing here is needed by a host that
 * uses the Player functions or DllGetClassObject.
 *
 * All functions may be called from any thread at any time. */
#ifndef ORBEL_REGISTRATION_H
#define ORBEL_REGISTRATION_H

#include "orbel/media_object.h"

ORBEL_GUID(GUID_NULL, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0);
ORBEL_GUID(IID_IEnumDMO, 0x2c3cd98a, 0x2bfa, 0x4a53, 0x9c, 0x27, 0x52, 0x49, 0xba, 0x64, 0xba,
           0x0f);

/* Where CoCreateInstance may make an object run: in this process only. */
enum { ORBEL_CLSCTX_INPROC_SERVER = 1 };

/* A type as far as it is known beforehand; GUID_NULL stands for any. */
typedef struct DMO_PARTIAL_MEDIATYPE {
  GUID type;
  GUID subtype;
} DMO_PARTIAL_MEDIATYPE;

/* flags of a registration, and of DMOEnum to see such objects too */
enum { DMO_REGISTERF_IS_KEYED = 1 };
enum { DMO_ENUMF_INCLUDE_KEYED = 1 };

/* What was registered when DMOEnum was called, within a category in the
 * order of registration. */
typedef struct IEnumDMO IEnumDMO;

#ifdef __cplusplus

struct IEnumDMO : IUnknown {
  /* Up to count class identifiers and, where names is not null, names in task
   * memory of the caller's (CoTaskMemFree). S_OK when there were as many, else
   * S_FALSE. fetched may be null when count is 1. E_POINTER, E_INVALIDARG,
   * E_OUTOFMEMORY; nothing is handed out then. */
  ORBEL_SLOT(HRESULT, Next, uint32_t count, GUID* classIds, char** names, uint32_t* fetched);
  /* S_FALSE when fewer were left. */
  ORBEL_SLOT(HRESULT, Skip, uint32_t count);
  ORBEL_SLOT0(HRESULT, Reset);
  /* Another one, at the same place. */
  ORBEL_SLOT(HRESULT, Clone, IEnumDMO** copy);

 protected:
  ~IEnumDMO() = default;
};

extern "C" {

#else

typedef struct IEnumDMOVtbl {
  HRESULT (*QueryInterface)(IEnumDMO* self, ORBEL_REFGUID iid, void** object);
  uint32_t (*AddRef)(IEnumDMO* self);
  uint32_t (*Release)(IEnumDMO* self);
  HRESULT (*Next)(IEnumDMO* self, uint32_t count, GUID* classIds, char** names, uint32_t* fetched);
  HRESULT (*Skip)(IEnumDMO* self, uint32_t count);
  HRESULT (*Reset)(IEnumDMO* self);
  HRESULT (*Clone)(IEnumDMO* self, IEnumDMO** copy);
} IEnumDMOVtbl;
struct IEnumDMO {
  const IEnumDMOVtbl* lpVtbl;
};

#endif

/* Enters both decoders with the registry, under DMOCATEGORY_AUDIO_DECODER.
 * Entering them again changes nothing. E_OUTOFMEMORY: neither is entered, nor
 * any longer if it was. */
ORBEL_API HRESULT DllRegisterServer(void) ORBEL_NOEXCEPT;

/* Takes them out again; S_OK too when they were not there. Objects that exist
 * live on. */
ORBEL_API HRESULT DllUnregisterServer(void) ORBEL_NOEXCEPT;

/* The registered objects of a category (GUID_NULL: of all) of which, where
 * types are given, one registered input type fits one of inputs, and one
 * registered output type one of outputs. E_POINTER, E_OUTOFMEMORY. */
ORBEL_API HRESULT DMOEnum(ORBEL_REFGUID category, uint32_t flags, uint32_t inputCount,
                          const DMO_PARTIAL_MEDIATYPE* inputs, uint32_t outputCount,
                          const DMO_PARTIAL_MEDIATYPE* outputs,
                          IEnumDMO** enumeration) ORBEL_NOEXCEPT;

/* The name of a registered object, cut to 79 bytes and a zero byte. E_FAIL for
 * one that is not registered, E_POINTER. */
ORBEL_API HRESULT DMOGetName(ORBEL_REFGUID classId, char name[80]) ORBEL_NOEXCEPT;

/* The registered types, as many as there is room for; *inputCount and
 * *outputCount receive how many were stored. S_FALSE when there are more.
 * E_FAIL for an object that is not registered, E_POINTER. */
ORBEL_API HRESULT DMOGetTypes(ORBEL_REFGUID classId, uint32_t inputRoom, uint32_t* inputCount,
                              DMO_PARTIAL_MEDIATYPE* inputs, uint32_t outputRoom,
                              uint32_t* outputCount, DMO_PARTIAL_MEDIATYPE* outputs) ORBEL_NOEXCEPT;

/* Makes an object of one of the library's classes, registered or not, and asks
 * it for an interface. S_OK and a reference in *object; CO_E_NOTINITIALIZED on
 * a thread without CoInitializeEx, REGDB_E_CLASSNOTREG for an unknown class
 * or a context without ORBEL_CLSCTX_INPROC_SERVER, CLASS_E_NOAGGREGATION for
 * an outer object, E_NOINTERFACE, E_POINTER, E_OUTOFMEMORY. *object is null
 * after a failure. */
ORBEL_API HRESULT CoCreateInstance(ORBEL_REFGUID classId, IUnknown* outer, uint32_t context,
                                   ORBEL_REFGUID iid, void** object) ORBEL_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
