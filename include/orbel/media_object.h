/* orbel.audio.mpeg: the media objects, for a host with a graph of its own.
 *
 * A host gets an object's class factory from DllGetClassObject, makes the
 * object, sets its input type and then its output type, and runs it with
 * ProcessInput and ProcessOutput in turn: one buffer in, at most one out.
 *
 * Interfaces are tables of functions in a fixed order, callable from C++ (as
 * virtual functions) and from C (through lpVtbl). Objects count references:
 * AddRef and Release, the last Release frees. An interface pointer that a
 * function hands out carries a reference of its own for the caller. */
#ifndef ORBEL_MEDIA_OBJECT_H
#define ORBEL_MEDIA_OBJECT_H

#include "orbel/player.h"

/* ---- results ---------------------------------------------------------- */

typedef int32_t HRESULT; /* 0 and above: success; below 0: failure */

#ifdef __cplusplus
#define ORBEL_HRESULT(code) (static_cast<HRESULT>(code##u))
#else
#define ORBEL_HRESULT(code) ((HRESULT)code##u)
#endif

#define S_OK ORBEL_HRESULT(0)
#define S_FALSE ORBEL_HRESULT(1)
#define E_NOTIMPL ORBEL_HRESULT(0x80004001)
#define E_NOINTERFACE ORBEL_HRESULT(0x80004002)
#define E_POINTER ORBEL_HRESULT(0x80004003)
#define E_FAIL ORBEL_HRESULT(0x80004005)
#define E_UNEXPECTED ORBEL_HRESULT(0x8000FFFF)
#define E_OUTOFMEMORY ORBEL_HRESULT(0x8007000E)
#define E_INVALIDARG ORBEL_HRESULT(0x80070057)
#define CLASS_E_NOAGGREGATION ORBEL_HRESULT(0x80040110)
#define CLASS_E_CLASSNOTAVAILABLE ORBEL_HRESULT(0x80040111)
#define REGDB_E_CLASSNOTREG ORBEL_HRESULT(0x80040154)
#define CO_E_NOTINITIALIZED ORBEL_HRESULT(0x800401F0)
#define RPC_E_CHANGED_MODE ORBEL_HRESULT(0x80010106)
#define DISP_E_MEMBERNOTFOUND ORBEL_HRESULT(0x80020003)
#define DISP_E_UNKNOWNNAME ORBEL_HRESULT(0x80020006)
#define DISP_E_BADINDEX ORBEL_HRESULT(0x8002000B)

#define DMO_E_INVALIDSTREAMINDEX ORBEL_HRESULT(0x80040201) /* stream is not 0 */
#define DMO_E_INVALIDTYPE ORBEL_HRESULT(0x80040202)        /* type refused */
#define DMO_E_TYPE_NOT_SET ORBEL_HRESULT(0x80040203)       /* a type is missing */
#define DMO_E_NOTACCEPTING ORBEL_HRESULT(0x80040204)       /* an input is held */
#define DMO_E_TYPE_NOT_ACCEPTED ORBEL_HRESULT(0x80040205)
#define DMO_E_NO_MORE_ITEMS ORBEL_HRESULT(0x80040206) /* type index past the end */

/* ---- identifiers ------------------------------------------------------ */

typedef struct GUID {
  uint32_t data1;
  uint16_t data2;
  uint16_t data3;
  uint8_t data4[8];
} GUID;

#ifdef __cplusplus
constexpr bool operator==(const GUID& a, const GUID& b) noexcept {
  if (a.data1 != b.data1 || a.data2 != b.data2 || a.data3 != b.data3) return false;
  for (int i = 0; i < 8; ++i)
    if (a.data4[i] != b.data4[i]) return false;
  return true;
}
constexpr bool operator!=(const GUID& a, const GUID& b) noexcept { return !(a == b); }
#define ORBEL_GUID(name, a, b, c, ...) inline constexpr GUID name = {a, b, c, {__VA_ARGS__}}
#define ORBEL_REFGUID const GUID&
#define ORBEL_SLOT(result, name, ...) virtual result name(__VA_ARGS__) noexcept = 0
#define ORBEL_SLOT0(result, name) virtual result name() noexcept = 0
#else
#define ORBEL_GUID(name, a, b, c, ...) static const GUID name = {a, b, c, {__VA_ARGS__}}
#define ORBEL_REFGUID const GUID*
#endif

/* The decoders: of MPEG-4 AAC, and of telephony audio. */
ORBEL_GUID(CLSID_aacdecoder, 0x9e1ab3ba, 0x0291, 0x4f10, 0x9a, 0x29, 0x91, 0xfd, 0xb8, 0xa1, 0x60,
           0x4f);
ORBEL_GUID(CLSID_audiodecoder, 0x12c0d256, 0x6387, 0x40fd, 0xbe, 0xe4, 0x9f, 0x02, 0x53, 0xfc, 0x7d,
           0xd0);

/* Interfaces. */
ORBEL_GUID(IID_IUnknown, 0x00000000, 0x0000, 0x0000, 0xc0, 0, 0, 0, 0, 0, 0, 0x46);
ORBEL_GUID(IID_IClassFactory, 0x00000001, 0x0000, 0x0000, 0xc0, 0, 0, 0, 0, 0, 0, 0x46);
ORBEL_GUID(IID_IDispatch, 0x00020400, 0x0000, 0x0000, 0xc0, 0, 0, 0, 0, 0, 0, 0x46);
ORBEL_GUID(IID_IMediaBuffer, 0x59eff8b9, 0x938c, 0x4a26, 0x82, 0xf2, 0x95, 0xcb, 0x84, 0xcd, 0xc8,
           0x37);
ORBEL_GUID(IID_IMediaObject, 0xd8ad0f58, 0x5494, 0x4102, 0x97, 0xc5, 0xec, 0x79, 0x8e, 0x59, 0xbc,
           0xf4);

/* Major types, subtypes and format types. A coded wave subtype is
 * MEDIASUBTYPE_WaveBase with the format id (ORBEL_FORMAT_...) in data1. */
ORBEL_GUID(MEDIATYPE_Audio, 0x73647561, 0x0000, 0x0010, 0x80, 0x00, 0x00, 0xaa, 0x00, 0x38, 0x9b,
           0x71);
ORBEL_GUID(MEDIASUBTYPE_WaveBase, 0x00000000, 0x0000, 0x0010, 0x80, 0x00, 0x00, 0xaa, 0x00, 0x38,
           0x9b, 0x71);
ORBEL_GUID(MEDIASUBTYPE_PCM, 0x00000001, 0x0000, 0x0010, 0x80, 0x00, 0x00, 0xaa, 0x00, 0x38, 0x9b,
           0x71);
ORBEL_GUID(FORMAT_WaveFormatEx, 0x05589f81, 0xc356, 0x11ce, 0xbf, 0x01, 0x00, 0xaa, 0x00, 0x55,
           0x59, 0x5a);
ORBEL_GUID(DMOCATEGORY_AUDIO_DECODER, 0x57f2db8b, 0xe6bb, 0x4513, 0x9d, 0x43, 0xdc, 0xd2, 0xa6,
           0x59, 0x31, 0x25);

/* ---- records ---------------------------------------------------------- */

typedef struct IUnknown IUnknown;
typedef struct IClassFactory IClassFactory;
typedef struct IMediaBuffer IMediaBuffer;
typedef struct IMediaObject IMediaObject;

/* What a stream carries. The format block is task memory (CoTaskMemAlloc)
 * that belongs to the record; for FORMAT_WaveFormatEx it is a WAVEFORMATEX. */
typedef struct DMO_MEDIA_TYPE {
  GUID majorType;
  GUID subtype;
  int32_t fixedSizeSamples;    /* 0 or 1 */
  int32_t temporalCompression; /* 0 or 1 */
  uint32_t sampleSize;         /* bytes of one sample, where the size is fixed */
  GUID formatType;
  IUnknown* unknown; /* null, or a reference that the record owns */
  uint32_t formatSize;
  uint8_t* format;
} DMO_MEDIA_TYPE;

/* 18 bytes, little-endian, unaligned. */
#pragma pack(push, 1)
typedef struct WAVEFORMATEX {
  uint16_t formatTag; /* low 16 bits of the format id; 1 for PCM */
  uint16_t channels;
  uint32_t samplesPerSecond;
  uint32_t bytesPerSecond;
  uint16_t blockAlign;
  uint16_t bitsPerSample;
  uint16_t extraSize;
} WAVEFORMATEX;
#pragma pack(pop)

/* One output buffer of ProcessOutput. */
typedef struct DMO_OUTPUT_DATA_BUFFER {
  IMediaBuffer* buffer; /* the host's */
  uint32_t status;      /* DMO_OUTPUT_DATA_BUFFERF_... */
  int64_t timestamp;    /* 100 ns units */
  int64_t timeLength;   /* 100 ns units */
} DMO_OUTPUT_DATA_BUFFER;

/* status of an output buffer */
enum {
  DMO_OUTPUT_DATA_BUFFERF_SYNCPOINT = 1,
  DMO_OUTPUT_DATA_BUFFERF_TIME = 2,
  DMO_OUTPUT_DATA_BUFFERF_TIMELENGTH = 4,
  DMO_OUTPUT_DATA_BUFFERF_INCOMPLETE = 0x1000000 /* more output waits */
};
/* flags of ProcessInput */
enum {
  DMO_INPUT_DATA_BUFFERF_SYNCPOINT = 1,
  DMO_INPUT_DATA_BUFFERF_TIME = 2,
  DMO_INPUT_DATA_BUFFERF_TIMELENGTH = 4
};
enum { DMO_INPUT_STATUSF_ACCEPT_DATA = 1 };
/* flags of SetInputType and SetOutputType; clear wins */
enum { DMO_SET_TYPEF_TEST_ONLY = 1, DMO_SET_TYPEF_CLEAR = 2 };
enum { DMO_PROCESS_OUTPUT_DISCARD_WHEN_NO_BUFFER = 1 };
/* flags of GetInputStreamInfo and GetOutputStreamInfo */
enum {
  DMO_STREAMF_WHOLE_SAMPLES = 1,
  DMO_STREAMF_SINGLE_SAMPLE_PER_BUFFER = 2,
  DMO_STREAMF_FIXED_SAMPLE_SIZE = 4
};

/* ---- interfaces ------------------------------------------------------- */

#ifdef __cplusplus

struct IUnknown {
  /* S_OK and a reference in *object, or E_NOINTERFACE and null. */
  ORBEL_SLOT(HRESULT, QueryInterface, ORBEL_REFGUID iid, void** object);
  ORBEL_SLOT0(uint32_t, AddRef);
  ORBEL_SLOT0(uint32_t, Release);

 protected:
  ~IUnknown() = default; /* objects go by Release */
};

struct IClassFactory : IUnknown {
  /* outer must be null (CLASS_E_NOAGGREGATION). */
  ORBEL_SLOT(HRESULT, CreateInstance, IUnknown* outer, ORBEL_REFGUID iid, void** object);
  /* A lock keeps DllCanUnloadNow at S_FALSE. */
  ORBEL_SLOT(HRESULT, LockServer, int32_t lock);

 protected:
  ~IClassFactory() = default;
};

/* A buffer of the host's: bytes, how many are used, how many there is room
 * for. Implemented by the host, used by a media object on the thread that
 * calls the object. */
struct IMediaBuffer : IUnknown {
  ORBEL_SLOT(HRESULT, SetLength, uint32_t length);
  ORBEL_SLOT(HRESULT, GetMaxLength, uint32_t* maxLength);
  ORBEL_SLOT(HRESULT, GetBufferAndLength, uint8_t** buffer, uint32_t* length);

 protected:
  ~IMediaBuffer() = default;
};

/* A decoder with one input stream and one output stream, both of index 0.
 * Any thread may call; the object serialises its calls. Arguments that are
 * checked first, and so reported without waiting for the object: pointers,
 * stream indexes and flags. docs/media_objects.md lists every result. */
struct IMediaObject : IUnknown {
  ORBEL_SLOT(HRESULT, GetStreamCount, uint32_t* inputs, uint32_t* outputs);
  ORBEL_SLOT(HRESULT, GetInputStreamInfo, uint32_t stream, uint32_t* flags);
  ORBEL_SLOT(HRESULT, GetOutputStreamInfo, uint32_t stream, uint32_t* flags);
  ORBEL_SLOT(HRESULT, GetInputType, uint32_t stream, uint32_t typeIndex, DMO_MEDIA_TYPE* type);
  /* Fills *type with task memory of the caller's. */
  ORBEL_SLOT(HRESULT, GetOutputType, uint32_t stream, uint32_t typeIndex, DMO_MEDIA_TYPE* type);
  ORBEL_SLOT(HRESULT, SetInputType, uint32_t stream, const DMO_MEDIA_TYPE* type, uint32_t flags);
  ORBEL_SLOT(HRESULT, SetOutputType, uint32_t stream, const DMO_MEDIA_TYPE* type, uint32_t flags);
  ORBEL_SLOT(HRESULT, GetInputCurrentType, uint32_t stream, DMO_MEDIA_TYPE* type);
  ORBEL_SLOT(HRESULT, GetOutputCurrentType, uint32_t stream, DMO_MEDIA_TYPE* type);
  ORBEL_SLOT(HRESULT, GetInputSizeInfo, uint32_t stream, uint32_t* size, uint32_t* lookahead,
             uint32_t* alignment);
  ORBEL_SLOT(HRESULT, GetOutputSizeInfo, uint32_t stream, uint32_t* size, uint32_t* alignment);
  ORBEL_SLOT(HRESULT, GetInputMaxLatency, uint32_t stream, int64_t* latency);
  ORBEL_SLOT(HRESULT, SetInputMaxLatency, uint32_t stream, int64_t latency);
  ORBEL_SLOT0(HRESULT, Flush);
  ORBEL_SLOT(HRESULT, Discontinuity, uint32_t stream);
  ORBEL_SLOT0(HRESULT, AllocateStreamingResources);
  ORBEL_SLOT0(HRESULT, FreeStreamingResources);
  ORBEL_SLOT(HRESULT, GetInputStatus, uint32_t stream, uint32_t* flags);
  /* Keeps a reference on the buffer until its output is made. */
  ORBEL_SLOT(HRESULT, ProcessInput, uint32_t stream, IMediaBuffer* buffer, uint32_t flags,
             int64_t timestamp, int64_t timeLength);
  /* S_FALSE and an empty buffer when no input is held. */
  ORBEL_SLOT(HRESULT, ProcessOutput, uint32_t flags, uint32_t count,
             DMO_OUTPUT_DATA_BUFFER* buffers, uint32_t* status);
  /* Non-zero enters the object's lock, zero leaves it. */
  ORBEL_SLOT(HRESULT, Lock, int32_t lock);

 protected:
  ~IMediaObject() = default;
};

#else

typedef struct IUnknownVtbl {
  HRESULT (*QueryInterface)(IUnknown* self, ORBEL_REFGUID iid, void** object);
  uint32_t (*AddRef)(IUnknown* self);
  uint32_t (*Release)(IUnknown* self);
} IUnknownVtbl;
struct IUnknown {
  const IUnknownVtbl* lpVtbl;
};

typedef struct IClassFactoryVtbl {
  HRESULT (*QueryInterface)(IClassFactory* self, ORBEL_REFGUID iid, void** object);
  uint32_t (*AddRef)(IClassFactory* self);
  uint32_t (*Release)(IClassFactory* self);
  HRESULT (*CreateInstance)(IClassFactory* self, IUnknown* outer, ORBEL_REFGUID iid, void** object);
  HRESULT (*LockServer)(IClassFactory* self, int32_t lock);
} IClassFactoryVtbl;
struct IClassFactory {
  const IClassFactoryVtbl* lpVtbl;
};

typedef struct IMediaBufferVtbl {
  HRESULT (*QueryInterface)(IMediaBuffer* self, ORBEL_REFGUID iid, void** object);
  uint32_t (*AddRef)(IMediaBuffer* self);
  uint32_t (*Release)(IMediaBuffer* self);
  HRESULT (*SetLength)(IMediaBuffer* self, uint32_t length);
  HRESULT (*GetMaxLength)(IMediaBuffer* self, uint32_t* maxLength);
  HRESULT (*GetBufferAndLength)(IMediaBuffer* self, uint8_t** buffer, uint32_t* length);
} IMediaBufferVtbl;
struct IMediaBuffer {
  const IMediaBufferVtbl* lpVtbl;
};

typedef struct IMediaObjectVtbl {
  HRESULT (*QueryInterface)(IMediaObject* self, ORBEL_REFGUID iid, void** object);
  uint32_t (*AddRef)(IMediaObject* self);
  uint32_t (*Release)(IMediaObject* self);
  HRESULT (*GetStreamCount)(IMediaObject* self, uint32_t* inputs, uint32_t* outputs);
  HRESULT (*GetInputStreamInfo)(IMediaObject* self, uint32_t stream, uint32_t* flags);
  HRESULT (*GetOutputStreamInfo)(IMediaObject* self, uint32_t stream, uint32_t* flags);
  HRESULT(*GetInputType)
  (IMediaObject* self, uint32_t stream, uint32_t typeIndex, DMO_MEDIA_TYPE* type);
  HRESULT(*GetOutputType)
  (IMediaObject* self, uint32_t stream, uint32_t typeIndex, DMO_MEDIA_TYPE* type);
  HRESULT(*SetInputType)
  (IMediaObject* self, uint32_t stream, const DMO_MEDIA_TYPE* type, uint32_t flags);
  HRESULT(*SetOutputType)
  (IMediaObject* self, uint32_t stream, const DMO_MEDIA_TYPE* type, uint32_t flags);
  HRESULT (*GetInputCurrentType)(IMediaObject* self, uint32_t stream, DMO_MEDIA_TYPE* type);
  HRESULT (*GetOutputCurrentType)(IMediaObject* self, uint32_t stream, DMO_MEDIA_TYPE* type);
  HRESULT(*GetInputSizeInfo)
  (IMediaObject* self, uint32_t stream, uint32_t* size, uint32_t* lookahead, uint32_t* alignment);
  HRESULT(*GetOutputSizeInfo)
  (IMediaObject* self, uint32_t stream, uint32_t* size, uint32_t* alignment);
  HRESULT (*GetInputMaxLatency)(IMediaObject* self, uint32_t stream, int64_t* latency);
  HRESULT (*SetInputMaxLatency)(IMediaObject* self, uint32_t stream, int64_t latency);
  HRESULT (*Flush)(IMediaObject* self);
  HRESULT (*Discontinuity)(IMediaObject* self, uint32_t stream);
  HRESULT (*AllocateStreamingResources)(IMediaObject* self);
  HRESULT (*FreeStreamingResources)(IMediaObject* self);
  HRESULT (*GetInputStatus)(IMediaObject* self, uint32_t stream, uint32_t* flags);
  HRESULT(*ProcessInput)
  (IMediaObject* self, uint32_t stream, IMediaBuffer* buffer, uint32_t flags, int64_t timestamp,
   int64_t timeLength);
  HRESULT(*ProcessOutput)
  (IMediaObject* self, uint32_t flags, uint32_t count, DMO_OUTPUT_DATA_BUFFER* buffers,
   uint32_t* status);
  HRESULT (*Lock)(IMediaObject* self, int32_t lock);
} IMediaObjectVtbl;
struct IMediaObject {
  const IMediaObjectVtbl* lpVtbl;
};

#endif

/* ---- server exports --------------------------------------------------- */

#ifdef __cplusplus
extern "C" {
#endif

/* The class factory (IClassFactory) of one of the two decoders. Needs no
 * initialised thread. CLASS_E_CLASSNOTAVAILABLE for another class,
 * E_POINTER, E_NOINTERFACE. */
ORBEL_API HRESULT DllGetClassObject(ORBEL_REFGUID classId, ORBEL_REFGUID iid,
                                    void** object) ORBEL_NOEXCEPT;

/* S_OK while no object of the library's (decoder, enumeration, graph or filter),
 * no factory reference and no server lock is alive, else S_FALSE. */
ORBEL_API HRESULT DllCanUnloadNow(void) ORBEL_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
