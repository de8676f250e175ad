/* GenTL.h - the GenICam transport layer (GenTL 1.6) C interface.
 *
 * One header for both sides: the driver resolves the producer's entry points by name and calls
 * them through the P<Function> pointer typedefs; the simulated producer (sim/) implements the
 * same declarations and exports them undecorated.
 *
 * Under C++ every name lives in namespace GenTL inside extern "C", so the namespace does not
 * change the exported symbol names ("GCInitLib", "TLOpen", ...).
 *
 * Switches:
 *   GC_USER_DEFINED_TYPES              skip the fixed-width type block (bool8_t)
 *   GC_GENTL_DONT_USE_TYPE_DEFINITIONS skip the transport layer type strings
 *   GC_GENTL_DONT_USE_MODULE_NAMES     skip the module name strings
 *   GCTLI_NO_DECLSPEC_STATEMENTS       no import/export attribute on the prototypes
 */
#ifndef GC_TLI_CLIENT_H_
#define GC_TLI_CLIENT_H_
// The standard's own names, as every producer and consumer knows them.
// NOLINTBEGIN(readability-identifier-naming)

#ifndef GC_USER_DEFINED_TYPES
#include <stddef.h>
#include <stdint.h>
#endif

/* ---- Version of this header ------------------------------------------------------------- */
#ifndef GC_GENTL_HEADER_VERSION
#define GenTLMajorVersion                                    1
#define GenTLMinorVersion                                    6
#define GenTLSubMinorVersion                                 0
#define GC_GENTL_HEADER_VERSION_CODE(major, minor, subminor) (((major) << 24) + ((minor) << 16) + (subminor))
#define GC_GENTL_HEADER_VERSION                              GC_GENTL_HEADER_VERSION_CODE(GenTLMajorVersion, GenTLMinorVersion, GenTLSubMinorVersion)
#endif

/* ---- Calling convention and export attribute --------------------------------------------- */
#if defined(_WIN32)
#if defined(_M_IX86) || defined(__i386__)
#define GC_CALLTYPE __stdcall
#else
#define GC_CALLTYPE
#endif
#ifdef GCTLI_NO_DECLSPEC_STATEMENTS
#define GC_IMPORT_EXPORT
#elif defined(GCTLIDLL)
#define GC_IMPORT_EXPORT __declspec(dllexport)
#else
#define GC_IMPORT_EXPORT __declspec(dllimport)
#endif
#elif defined(__GNUC__) && (__GNUC__ >= 4) && (defined(__linux__) || defined(__APPLE__))
#if defined(__i386__)
#define GC_CALLTYPE __attribute__((stdcall))
#else
#define GC_CALLTYPE
#endif
#ifdef GCTLI_NO_DECLSPEC_STATEMENTS
#define GC_IMPORT_EXPORT
#else
#define GC_IMPORT_EXPORT __attribute__((visibility("default")))
#endif
#else
#error "GenTL.h: unknown platform"
#endif

#ifdef __cplusplus
#define GENTL_EXTERN_C extern "C"
#define GENTL_BEGIN_DECLS \
    extern "C" {          \
    namespace GenTL {
#define GENTL_END_DECLS \
    }                   \
    }
#else
#define GENTL_EXTERN_C
#define GENTL_BEGIN_DECLS
#define GENTL_END_DECLS
#endif

/* Return type plus attributes in front of every function name. */
#define GC_API             GC_IMPORT_EXPORT GC_ERROR GC_CALLTYPE
/* Function-pointer typedef: GC_API_P(PGCInitLib)(void); */
/* NOLINTNEXTLINE(bugprone-macro-parentheses): the argument is the name the typedef declares */
#define GC_API_P(function) typedef GC_ERROR(GC_CALLTYPE* function)

GENTL_BEGIN_DECLS

/* ---- Basic types ------------------------------------------------------------------------- */
#ifndef GC_USER_DEFINED_TYPES
#ifdef __cplusplus
typedef bool bool8_t;
#else
typedef uint8_t bool8_t;
#endif
#endif

typedef int32_t GC_ERROR;

typedef void* TL_HANDLE;
typedef void* IF_HANDLE;
typedef void* DEV_HANDLE;
typedef void* DS_HANDLE;
typedef void* PORT_HANDLE;
typedef void* BUFFER_HANDLE;
typedef void* EVENTSRC_HANDLE;
typedef void* EVENT_HANDLE;

#define GENTL_INVALID_HANDLE NULL
#define GENTL_INFINITE       0xFFFFFFFFFFFFFFFFULL

#ifndef GC_GENTL_DONT_USE_TYPE_DEFINITIONS
#define TLTypeMixedName    "Mixed"
#define TLTypeCustomName   "Custom"
#define TLTypeGEVName      "GEV"
#define TLTypeCLName       "CL"
#define TLTypeIIDCName     "IIDC"
#define TLTypeUVCName      "UVC"
#define TLTypeCXPName      "CXP"
#define TLTypeCLHSName     "CLHS"
#define TLTypeU3VName      "U3V"
#define TLTypeETHERNETName "Ethernet"
#define TLTypePCIName      "PCI"
#endif

#ifndef GC_GENTL_DONT_USE_MODULE_NAMES
#define TLSystemModuleName     "TLSystem"
#define TLInterfaceModuleName  "TLInterface"
#define TLDeviceModuleName     "TLDevice"
#define TLDataStreamModuleName "TLDataStream"
#define TLBufferModuleName     "TLBuffer"
#define TLRemoteDevice         "Device"
#endif

/* ---- Error codes ------------------------------------------------------------------------- */
enum GC_ERROR_LIST {
    GC_ERR_SUCCESS = 0,
    GC_ERR_ERROR = -1001,
    GC_ERR_NOT_INITIALIZED = -1002,
    GC_ERR_NOT_IMPLEMENTED = -1003,
    GC_ERR_RESOURCE_IN_USE = -1004,
    GC_ERR_ACCESS_DENIED = -1005,
    GC_ERR_INVALID_HANDLE = -1006,
    GC_ERR_INVALID_ID = -1007,
    GC_ERR_NO_DATA = -1008,
    GC_ERR_INVALID_PARAMETER = -1009,
    GC_ERR_IO = -1010,
    GC_ERR_TIMEOUT = -1011,
    GC_ERR_ABORT = -1012,
    GC_ERR_INVALID_BUFFER = -1013,
    GC_ERR_NOT_AVAILABLE = -1014,
    GC_ERR_INVALID_ADDRESS = -1015,
    GC_ERR_BUFFER_TOO_SMALL = -1016,
    GC_ERR_INVALID_INDEX = -1017,
    GC_ERR_PARSING_CHUNK_DATA = -1018,
    GC_ERR_INVALID_VALUE = -1019,
    GC_ERR_RESOURCE_EXHAUSTED = -1020,
    GC_ERR_OUT_OF_MEMORY = -1021,
    GC_ERR_BUSY = -1022,
    GC_ERR_AMBIGUOUS = -1023,
    GC_ERR_CUSTOM_ID = -10000
};

/* ---- Enumerations ------------------------------------------------------------------------ */
enum INFO_DATATYPE_LIST {
    INFO_DATATYPE_UNKNOWN = 0,
    INFO_DATATYPE_STRING = 1,
    INFO_DATATYPE_STRINGLIST = 2,
    INFO_DATATYPE_INT16 = 3,
    INFO_DATATYPE_UINT16 = 4,
    INFO_DATATYPE_INT32 = 5,
    INFO_DATATYPE_UINT32 = 6,
    INFO_DATATYPE_INT64 = 7,
    INFO_DATATYPE_UINT64 = 8,
    INFO_DATATYPE_FLOAT64 = 9,
    INFO_DATATYPE_PTR = 10,
    INFO_DATATYPE_BOOL8 = 11,
    INFO_DATATYPE_SIZET = 12,
    INFO_DATATYPE_BUFFER = 13,
    INFO_DATATYPE_PTRDIFF = 14,
    INFO_DATATYPE_CUSTOM_ID = 1000
};
typedef int32_t INFO_DATATYPE;

enum TL_CHAR_ENCODING_LIST { TL_CHAR_ENCODING_ASCII = 0, TL_CHAR_ENCODING_UTF8 = 1 };
typedef int32_t TL_CHAR_ENCODING;

enum TL_INFO_CMD_LIST {
    TL_INFO_ID = 0,
    TL_INFO_VENDOR = 1,
    TL_INFO_MODEL = 2,
    TL_INFO_VERSION = 3,
    TL_INFO_TLTYPE = 4,
    TL_INFO_NAME = 5,
    TL_INFO_PATHNAME = 6,
    TL_INFO_DISPLAYNAME = 7,
    TL_INFO_CHAR_ENCODING = 8,
    TL_INFO_GENTL_VER_MAJOR = 9,
    TL_INFO_GENTL_VER_MINOR = 10,
    TL_INFO_CUSTOM_ID = 1000
};
typedef int32_t TL_INFO_CMD;

enum INTERFACE_INFO_CMD_LIST {
    INTERFACE_INFO_ID = 0,
    INTERFACE_INFO_DISPLAYNAME = 1,
    INTERFACE_INFO_TLTYPE = 2,
    INTERFACE_INFO_CUSTOM_ID = 1000
};
typedef int32_t INTERFACE_INFO_CMD;

enum DEVICE_ACCESS_FLAGS_LIST {
    DEVICE_ACCESS_UNKNOWN = 0,
    DEVICE_ACCESS_NONE = 1,
    DEVICE_ACCESS_READONLY = 2,
    DEVICE_ACCESS_CONTROL = 3,
    DEVICE_ACCESS_EXCLUSIVE = 4,
    DEVICE_ACCESS_CUSTOM_ID = 1000
};
typedef int32_t DEVICE_ACCESS_FLAGS;

enum DEVICE_ACCESS_STATUS_LIST {
    DEVICE_ACCESS_STATUS_UNKNOWN = 0,
    DEVICE_ACCESS_STATUS_READWRITE = 1,
    DEVICE_ACCESS_STATUS_READONLY = 2,
    DEVICE_ACCESS_STATUS_NOACCESS = 3,
    DEVICE_ACCESS_STATUS_BUSY = 4,
    DEVICE_ACCESS_STATUS_OPEN_READWRITE = 5,
    DEVICE_ACCESS_STATUS_OPEN_READONLY = 6,
    DEVICE_ACCESS_STATUS_CUSTOM_ID = 1000
};
typedef int32_t DEVICE_ACCESS_STATUS;

enum DEVICE_INFO_CMD_LIST {
    DEVICE_INFO_ID = 0,
    DEVICE_INFO_VENDOR = 1,
    DEVICE_INFO_MODEL = 2,
    DEVICE_INFO_TLTYPE = 3,
    DEVICE_INFO_DISPLAYNAME = 4,
    DEVICE_INFO_ACCESS_STATUS = 5,
    DEVICE_INFO_USER_DEFINED_NAME = 6,
    DEVICE_INFO_SERIAL_NUMBER = 7,
    DEVICE_INFO_VERSION = 8,
    DEVICE_INFO_TIMESTAMP_FREQUENCY = 9,
    DEVICE_INFO_CUSTOM_ID = 1000
};
typedef int32_t DEVICE_INFO_CMD;

enum ACQ_STOP_FLAGS_LIST { ACQ_STOP_FLAGS_DEFAULT = 0, ACQ_STOP_FLAGS_KILL = 1, ACQ_STOP_FLAGS_CUSTOM_ID = 1000 };
typedef int32_t ACQ_STOP_FLAGS;

enum ACQ_START_FLAGS_LIST { ACQ_START_FLAGS_DEFAULT = 0, ACQ_START_FLAGS_CUSTOM_ID = 1000 };
typedef int32_t ACQ_START_FLAGS;

enum ACQ_QUEUE_TYPE_LIST {
    ACQ_QUEUE_INPUT_TO_OUTPUT = 0,
    ACQ_QUEUE_OUTPUT_DISCARD = 1,
    ACQ_QUEUE_ALL_TO_INPUT = 2,
    ACQ_QUEUE_UNQUEUED_TO_INPUT = 3,
    ACQ_QUEUE_ALL_DISCARD = 4,
    ACQ_QUEUE_CUSTOM_ID = 1000
};
typedef int32_t ACQ_QUEUE_TYPE;

enum STREAM_INFO_CMD_LIST {
    STREAM_INFO_ID = 0,
    STREAM_INFO_NUM_DELIVERED = 1,
    STREAM_INFO_NUM_UNDERRUN = 2,
    STREAM_INFO_NUM_ANNOUNCED = 3,
    STREAM_INFO_NUM_QUEUED = 4,
    STREAM_INFO_NUM_AWAIT_DELIVERY = 5,
    STREAM_INFO_NUM_STARTED = 6,
    STREAM_INFO_PAYLOAD_SIZE = 7,
    STREAM_INFO_IS_GRABBING = 8,
    STREAM_INFO_DEFINES_PAYLOADSIZE = 9,
    STREAM_INFO_TLTYPE = 10,
    STREAM_INFO_NUM_CHUNKS_MAX = 11,
    STREAM_INFO_BUF_ANNOUNCE_MIN = 12,
    STREAM_INFO_BUF_ALIGNMENT = 13,
    STREAM_INFO_FLOW_TABLE = 14,
    STREAM_INFO_GENDC_PREFETCH_DESCRIPTOR = 15,
    STREAM_INFO_CUSTOM_ID = 1000
};
typedef int32_t STREAM_INFO_CMD;

enum BUFFER_INFO_CMD_LIST {
    BUFFER_INFO_BASE = 0,
    BUFFER_INFO_SIZE = 1,
    BUFFER_INFO_USER_PTR = 2,
    BUFFER_INFO_TIMESTAMP = 3,
    BUFFER_INFO_NEW_DATA = 4,
    BUFFER_INFO_IS_QUEUED = 5,
    BUFFER_INFO_IS_ACQUIRING = 6,
    BUFFER_INFO_IS_INCOMPLETE = 7,
    BUFFER_INFO_TLTYPE = 8,
    BUFFER_INFO_SIZE_FILLED = 9,
    BUFFER_INFO_WIDTH = 10,
    BUFFER_INFO_HEIGHT = 11,
    BUFFER_INFO_XOFFSET = 12,
    BUFFER_INFO_YOFFSET = 13,
    BUFFER_INFO_XPADDING = 14,
    BUFFER_INFO_YPADDING = 15,
    BUFFER_INFO_FRAMEID = 16,
    BUFFER_INFO_IMAGEPRESENT = 17,
    BUFFER_INFO_IMAGEOFFSET = 18,
    BUFFER_INFO_PAYLOADTYPE = 19,
    BUFFER_INFO_PIXELFORMAT = 20,
    BUFFER_INFO_PIXELFORMAT_NAMESPACE = 21,
    BUFFER_INFO_DELIVERED_IMAGEHEIGHT = 22,
    BUFFER_INFO_DELIVERED_CHUNKPAYLOADSIZE = 23,
    BUFFER_INFO_CHUNKLAYOUTID = 24,
    BUFFER_INFO_FILENAME = 25,
    BUFFER_INFO_PIXEL_ENDIANNESS = 26,
    BUFFER_INFO_DATA_SIZE = 27,
    BUFFER_INFO_TIMESTAMP_NS = 28,
    BUFFER_INFO_DATA_LARGER_THAN_BUFFER = 29,
    BUFFER_INFO_CONTAINS_CHUNKDATA = 30,
    BUFFER_INFO_IS_COMPOSITE = 31,
    BUFFER_INFO_CUSTOM_ID = 1000
};
typedef int32_t BUFFER_INFO_CMD;

enum BUFFER_PART_INFO_CMD_LIST {
    BUFFER_PART_INFO_BASE = 0,
    BUFFER_PART_INFO_DATA_SIZE = 1,
    BUFFER_PART_INFO_DATA_TYPE = 2,
    BUFFER_PART_INFO_DATA_FORMAT = 3,
    BUFFER_PART_INFO_DATA_FORMAT_NAMESPACE = 4,
    BUFFER_PART_INFO_WIDTH = 5,
    BUFFER_PART_INFO_HEIGHT = 6,
    BUFFER_PART_INFO_XOFFSET = 7,
    BUFFER_PART_INFO_YOFFSET = 8,
    BUFFER_PART_INFO_XPADDING = 9,
    BUFFER_PART_INFO_SOURCE_ID = 10,
    BUFFER_PART_INFO_DELIVERED_IMAGEHEIGHT = 11,
    BUFFER_PART_INFO_REGION_ID = 12,
    BUFFER_PART_INFO_DATA_PURPOSE_ID = 13,
    BUFFER_PART_INFO_CUSTOM_ID = 1000
};
typedef int32_t BUFFER_PART_INFO_CMD;

enum PAYLOADTYPE_INFO_IDS {
    PAYLOAD_TYPE_UNKNOWN = 0,
    PAYLOAD_TYPE_IMAGE = 1,
    PAYLOAD_TYPE_RAW_DATA = 2,
    PAYLOAD_TYPE_FILE = 3,
    PAYLOAD_TYPE_CHUNK_DATA = 4,
    PAYLOAD_TYPE_JPEG = 5,
    PAYLOAD_TYPE_JPEG2000 = 6,
    PAYLOAD_TYPE_H264 = 7,
    PAYLOAD_TYPE_CHUNK_ONLY = 8,
    PAYLOAD_TYPE_DEVICE_SPECIFIC = 9,
    PAYLOAD_TYPE_MULTI_PART = 10,
    PAYLOAD_TYPE_GENDC = 11,
    PAYLOAD_TYPE_CUSTOM_ID = 1000
};
typedef int32_t PAYLOADTYPE_INFO_ID;

enum PIXELFORMAT_NAMESPACE_IDS {
    PIXELFORMAT_NAMESPACE_UNKNOWN = 0,
    PIXELFORMAT_NAMESPACE_GEV = 1,
    PIXELFORMAT_NAMESPACE_IIDC = 2,
    PIXELFORMAT_NAMESPACE_PFNC_16BIT = 3,
    PIXELFORMAT_NAMESPACE_PFNC_32BIT = 4,
    PIXELFORMAT_NAMESPACE_CUSTOM_ID = 1000
};
typedef int32_t PIXELFORMAT_NAMESPACE_ID;

enum PIXELENDIANNESS_IDS { PIXELENDIANNESS_UNKNOWN = 0, PIXELENDIANNESS_LITTLE = 1, PIXELENDIANNESS_BIG = 2 };
typedef int32_t PIXELENDIANNESS_ID;

enum PARTDATATYPE_IDS {
    PART_DATATYPE_UNKNOWN = 0,
    PART_DATATYPE_2D_IMAGE = 1,
    PART_DATATYPE_2D_PLANE_BIPLANAR = 2,
    PART_DATATYPE_2D_PLANE_TRIPLANAR = 3,
    PART_DATATYPE_2D_PLANE_QUADPLANAR = 4,
    PART_DATATYPE_3D_IMAGE = 5,
    PART_DATATYPE_3D_PLANE_BIPLANAR = 6,
    PART_DATATYPE_3D_PLANE_TRIPLANAR = 7,
    PART_DATATYPE_3D_PLANE_QUADPLANAR = 8,
    PART_DATATYPE_CONFIDENCE_MAP = 9,
    PART_DATATYPE_JPEG = 10,
    PART_DATATYPE_JPEG2000 = 11,
    PART_DATATYPE_CUSTOM_ID = 1000
};
typedef int32_t PARTDATATYPE_ID;

enum PORT_INFO_CMD_LIST {
    PORT_INFO_ID = 0,
    PORT_INFO_VENDOR = 1,
    PORT_INFO_MODEL = 2,
    PORT_INFO_TLTYPE = 3,
    PORT_INFO_MODULE = 4,
    PORT_INFO_LITTLE_ENDIAN = 5,
    PORT_INFO_BIG_ENDIAN = 6,
    PORT_INFO_ACCESS_READ = 7,
    PORT_INFO_ACCESS_WRITE = 8,
    PORT_INFO_ACCESS_NA = 9,
    PORT_INFO_ACCESS_NI = 10,
    PORT_INFO_VERSION = 11,
    PORT_INFO_PORTNAME = 12,
    PORT_INFO_CUSTOM_ID = 1000
};
typedef int32_t PORT_INFO_CMD;

enum URL_SCHEME_IDS { URL_SCHEME_LOCAL = 0, URL_SCHEME_HTTP = 1, URL_SCHEME_FILE = 2, URL_SCHEME_CUSTOM_ID = 1000 };
typedef int32_t URL_SCHEME_ID;

enum URL_INFO_CMD_LIST {
    URL_INFO_URL = 0,
    URL_INFO_SCHEMA_VER_MAJOR = 1,
    URL_INFO_SCHEMA_VER_MINOR = 2,
    URL_INFO_FILE_VER_MAJOR = 3,
    URL_INFO_FILE_VER_MINOR = 4,
    URL_INFO_FILE_VER_SUBMINOR = 5,
    URL_INFO_FILE_SHA1_HASH = 6,
    URL_INFO_FILE_REGISTER_ADDRESS = 7,
    URL_INFO_FILE_SIZE = 8,
    URL_INFO_SCHEME = 9,
    URL_INFO_FILENAME = 10,
    URL_INFO_CUSTOM_ID = 1000
};
typedef int32_t URL_INFO_CMD;

enum EVENT_TYPE_LIST {
    EVENT_ERROR = 0,
    EVENT_NEW_BUFFER = 1,
    EVENT_FEATURE_INVALIDATE = 2,
    EVENT_FEATURE_CHANGE = 3,
    EVENT_REMOTE_DEVICE = 4,
    EVENT_MODULE = 5,
    EVENT_CUSTOM_ID = 1000
};
typedef int32_t EVENT_TYPE;

enum EVENT_INFO_CMD_LIST {
    EVENT_EVENT_TYPE = 0,
    EVENT_NUM_IN_QUEUE = 1,
    EVENT_NUM_FIRED = 2,
    EVENT_SIZE_MAX = 3,
    EVENT_INFO_DATA_SIZE_MAX = 4,
    EVENT_INFO_CUSTOM_ID = 1000
};
typedef int32_t EVENT_INFO_CMD;

enum EVENT_DATA_INFO_CMD_LIST {
    EVENT_DATA_ID = 0,
    EVENT_DATA_VALUE = 1,
    EVENT_DATA_NUMID = 2,
    EVENT_DATA_CUSTOM_ID = 1000
};
typedef int32_t EVENT_DATA_INFO_CMD;

enum FLOW_INFO_CMD_LIST { FLOW_INFO_SIZE = 0, FLOW_INFO_CUSTOM_ID = 1000 };
typedef int32_t FLOW_INFO_CMD;

enum SEGMENT_INFO_CMD_LIST {
    SEGMENT_INFO_BASE = 0,
    SEGMENT_INFO_SIZE = 1,
    SEGMENT_INFO_IS_INCOMPLETE = 2,
    SEGMENT_INFO_SIZE_FILLED = 3,
    SEGMENT_INFO_DATA_SIZE = 4,
    SEGMENT_INFO_CUSTOM_ID = 1000
};
typedef int32_t SEGMENT_INFO_CMD;

/* ---- Structures (byte aligned) ----------------------------------------------------------- */
#pragma pack(push, 1)

typedef struct S_EVENT_NEW_BUFFER {
    BUFFER_HANDLE BufferHandle; /* buffer that holds the new data */
    void* pUserPointer;         /* pPrivate given when the buffer was announced */
} EVENT_NEW_BUFFER_DATA;

typedef struct S_PORT_REGISTER_STACK_ENTRY {
    uint64_t Address; /* register address */
    void* pBuffer;    /* data to write, or receives the data read */
    size_t Size;      /* bytes */
} PORT_REGISTER_STACK_ENTRY;

typedef struct S_SINGLE_CHUNK_DATA {
    uint64_t ChunkID;
    ptrdiff_t ChunkOffset; /* bytes from the start of the buffer */
    size_t ChunkLength;
} SINGLE_CHUNK_DATA;

typedef struct S_DS_BUFFER_INFO_STACKED {
    BUFFER_INFO_CMD iInfoCmd; /* in */
    INFO_DATATYPE iType;      /* out */
    void* pBuffer;            /* in, out */
    size_t iSize;             /* in, out */
    GC_ERROR iResult;         /* out */
} DS_BUFFER_INFO_STACKED;

typedef struct S_DS_BUFFER_PART_INFO_STACKED {
    uint32_t iPartIndex;           /* in */
    BUFFER_PART_INFO_CMD iInfoCmd; /* in */
    GC_ERROR iResult;              /* out */
    INFO_DATATYPE iType;           /* out */
    void* pBuffer;                 /* in, out */
    size_t iSize;                  /* in, out */
} DS_BUFFER_PART_INFO_STACKED;

#pragma pack(pop)

/* ---- Functions --------------------------------------------------------------------------- */
/* GENTL_FUNCTION(Name, (parameters)) declares the exported function Name and the pointer typedef
 * PName with the same parameter list, so the two can never disagree. */
#define GENTL_FUNCTION(name, params)                                                     \
    GC_API name params;                                                                  \
    /* NOLINTNEXTLINE(bugprone-macro-parentheses): the argument is the parameter list */ \
    GC_API_P(P##name) params;

/* Library and global functions */
GENTL_FUNCTION(GCGetInfo, (TL_INFO_CMD iInfoCmd, INFO_DATATYPE* piType, void* pBuffer, size_t* piSize))
GENTL_FUNCTION(GCGetLastError, (GC_ERROR * piErrorCode, char* sErrText, size_t* piSize))
GENTL_FUNCTION(GCInitLib, (void))
GENTL_FUNCTION(GCCloseLib, (void))
GENTL_FUNCTION(GCReadPort, (PORT_HANDLE hPort, uint64_t iAddress, void* pBuffer, size_t* piSize))
GENTL_FUNCTION(GCWritePort, (PORT_HANDLE hPort, uint64_t iAddress, const void* pBuffer, size_t* piSize))
GENTL_FUNCTION(GCGetPortURL, (PORT_HANDLE hPort, char* sURL, size_t* piSize))
GENTL_FUNCTION(GCGetPortInfo,
               (PORT_HANDLE hPort, PORT_INFO_CMD iInfoCmd, INFO_DATATYPE* piType, void* pBuffer, size_t* piSize))

/* Events */
GENTL_FUNCTION(GCRegisterEvent, (EVENTSRC_HANDLE hEventSrc, EVENT_TYPE iEventID, EVENT_HANDLE* phEvent))
GENTL_FUNCTION(GCUnregisterEvent, (EVENTSRC_HANDLE hEventSrc, EVENT_TYPE iEventID))
GENTL_FUNCTION(EventGetData, (EVENT_HANDLE hEvent, void* pBuffer, size_t* piSize, uint64_t iTimeout))
GENTL_FUNCTION(EventGetDataInfo,
               (EVENT_HANDLE hEvent, const void* pInBuffer, size_t iInSize, EVENT_DATA_INFO_CMD iInfoCmd,
                INFO_DATATYPE* piType, void* pOutBuffer, size_t* piOutSize))
GENTL_FUNCTION(EventGetInfo,
               (EVENT_HANDLE hEvent, EVENT_INFO_CMD iInfoCmd, INFO_DATATYPE* piType, void* pBuffer, size_t* piSize))
GENTL_FUNCTION(EventFlush, (EVENT_HANDLE hEvent))
GENTL_FUNCTION(EventKill, (EVENT_HANDLE hEvent))

/* System module */
GENTL_FUNCTION(TLOpen, (TL_HANDLE * phTL))
GENTL_FUNCTION(TLClose, (TL_HANDLE hTL))
GENTL_FUNCTION(TLGetInfo, (TL_HANDLE hTL, TL_INFO_CMD iInfoCmd, INFO_DATATYPE* piType, void* pBuffer, size_t* piSize))
GENTL_FUNCTION(TLGetNumInterfaces, (TL_HANDLE hTL, uint32_t* piNumIfaces))
GENTL_FUNCTION(TLGetInterfaceID, (TL_HANDLE hTL, uint32_t iIndex, char* sID, size_t* piSize))
GENTL_FUNCTION(TLGetInterfaceInfo, (TL_HANDLE hTL, const char* sIfaceID, INTERFACE_INFO_CMD iInfoCmd,
                                    INFO_DATATYPE* piType, void* pBuffer, size_t* piSize))
GENTL_FUNCTION(TLOpenInterface, (TL_HANDLE hTL, const char* sIfaceID, IF_HANDLE* phIface))
GENTL_FUNCTION(TLUpdateInterfaceList, (TL_HANDLE hTL, bool8_t* pbChanged, uint64_t iTimeout))

/* Interface module */
GENTL_FUNCTION(IFClose, (IF_HANDLE hIface))
GENTL_FUNCTION(IFGetInfo,
               (IF_HANDLE hIface, INTERFACE_INFO_CMD iInfoCmd, INFO_DATATYPE* piType, void* pBuffer, size_t* piSize))
GENTL_FUNCTION(IFGetNumDevices, (IF_HANDLE hIface, uint32_t* piNumDevices))
GENTL_FUNCTION(IFGetDeviceID, (IF_HANDLE hIface, uint32_t iIndex, char* sIDeviceID, size_t* piSize))
GENTL_FUNCTION(IFUpdateDeviceList, (IF_HANDLE hIface, bool8_t* pbChanged, uint64_t iTimeout))
GENTL_FUNCTION(IFGetDeviceInfo, (IF_HANDLE hIface, const char* sDeviceID, DEVICE_INFO_CMD iInfoCmd,
                                 INFO_DATATYPE* piType, void* pBuffer, size_t* piSize))
GENTL_FUNCTION(IFOpenDevice,
               (IF_HANDLE hIface, const char* sDeviceID, DEVICE_ACCESS_FLAGS iOpenFlag, DEV_HANDLE* phDevice))

/* Device module */
GENTL_FUNCTION(DevGetPort, (DEV_HANDLE hDevice, PORT_HANDLE* phRemoteDevice))
GENTL_FUNCTION(DevGetNumDataStreams, (DEV_HANDLE hDevice, uint32_t* piNumDataStreams))
GENTL_FUNCTION(DevGetDataStreamID, (DEV_HANDLE hDevice, uint32_t iIndex, char* sDataStreamID, size_t* piSize))
GENTL_FUNCTION(DevOpenDataStream, (DEV_HANDLE hDevice, const char* sDataStreamID, DS_HANDLE* phDataStream))
GENTL_FUNCTION(DevGetInfo,
               (DEV_HANDLE hDevice, DEVICE_INFO_CMD iInfoCmd, INFO_DATATYPE* piType, void* pBuffer, size_t* piSize))
GENTL_FUNCTION(DevClose, (DEV_HANDLE hDevice))

/* Data stream module */
GENTL_FUNCTION(DSAnnounceBuffer,
               (DS_HANDLE hDataStream, void* pBuffer, size_t iSize, void* pPrivate, BUFFER_HANDLE* phBuffer))
GENTL_FUNCTION(DSAllocAndAnnounceBuffer, (DS_HANDLE hDataStream, size_t iSize, void* pPrivate, BUFFER_HANDLE* phBuffer))
GENTL_FUNCTION(DSFlushQueue, (DS_HANDLE hDataStream, ACQ_QUEUE_TYPE iOperation))
GENTL_FUNCTION(DSStartAcquisition, (DS_HANDLE hDataStream, ACQ_START_FLAGS iStartFlags, uint64_t iNumToAcquire))
GENTL_FUNCTION(DSStopAcquisition, (DS_HANDLE hDataStream, ACQ_STOP_FLAGS iStopFlags))
GENTL_FUNCTION(DSGetInfo,
               (DS_HANDLE hDataStream, STREAM_INFO_CMD iInfoCmd, INFO_DATATYPE* piType, void* pBuffer, size_t* piSize))
GENTL_FUNCTION(DSGetBufferID, (DS_HANDLE hDataStream, uint32_t iIndex, BUFFER_HANDLE* phBuffer))
GENTL_FUNCTION(DSClose, (DS_HANDLE hDataStream))
GENTL_FUNCTION(DSRevokeBuffer, (DS_HANDLE hDataStream, BUFFER_HANDLE hBuffer, void** pBuffer, void** pPrivate))
GENTL_FUNCTION(DSQueueBuffer, (DS_HANDLE hDataStream, BUFFER_HANDLE hBuffer))
GENTL_FUNCTION(DSGetBufferInfo, (DS_HANDLE hDataStream, BUFFER_HANDLE hBuffer, BUFFER_INFO_CMD iInfoCmd,
                                 INFO_DATATYPE* piType, void* pBuffer, size_t* piSize))

/* GenTL 1.1 */
GENTL_FUNCTION(GCGetNumPortURLs, (PORT_HANDLE hPort, uint32_t* piNumURLs))
GENTL_FUNCTION(GCGetPortURLInfo, (PORT_HANDLE hPort, uint32_t iURLIndex, URL_INFO_CMD iInfoCmd, INFO_DATATYPE* piType,
                                  void* pBuffer, size_t* piSize))
GENTL_FUNCTION(GCReadPortStacked, (PORT_HANDLE hPort, PORT_REGISTER_STACK_ENTRY* pEntries, size_t* piNumEntries))
GENTL_FUNCTION(GCWritePortStacked, (PORT_HANDLE hPort, PORT_REGISTER_STACK_ENTRY* pEntries, size_t* piNumEntries))

/* GenTL 1.3 */
GENTL_FUNCTION(DSGetBufferChunkData,
               (DS_HANDLE hDataStream, BUFFER_HANDLE hBuffer, SINGLE_CHUNK_DATA* pChunkData, size_t* piNumChunks))

/* GenTL 1.4 */
GENTL_FUNCTION(IFGetParentTL, (IF_HANDLE hIface, TL_HANDLE* phSystem))
GENTL_FUNCTION(DevGetParentIF, (DEV_HANDLE hDevice, IF_HANDLE* phIface))
GENTL_FUNCTION(DSGetParentDev, (DS_HANDLE hDataStream, DEV_HANDLE* phDevice))

/* GenTL 1.5 */
GENTL_FUNCTION(DSGetNumBufferParts, (DS_HANDLE hDataStream, BUFFER_HANDLE hBuffer, uint32_t* piNumParts))
GENTL_FUNCTION(DSGetBufferPartInfo,
               (DS_HANDLE hDataStream, BUFFER_HANDLE hBuffer, uint32_t iPartIndex, BUFFER_PART_INFO_CMD iInfoCmd,
                INFO_DATATYPE* piType, void* pBuffer, size_t* piSize))

/* GenTL 1.6 */
GENTL_FUNCTION(DSAnnounceCompositeBuffer, (DS_HANDLE hDataStream, size_t iNumSegments, void** ppSegments,
                                           size_t* piSizes, void* pPrivate, BUFFER_HANDLE* phBuffer))
GENTL_FUNCTION(DSGetBufferInfoStacked,
               (DS_HANDLE hDataStream, BUFFER_HANDLE hBuffer, DS_BUFFER_INFO_STACKED* pInfoStacked, size_t iNumInfos))
GENTL_FUNCTION(DSGetBufferPartInfoStacked, (DS_HANDLE hDataStream, BUFFER_HANDLE hBuffer,
                                            DS_BUFFER_PART_INFO_STACKED* pInfoStacked, size_t iNumInfos))
GENTL_FUNCTION(DSGetNumFlows, (DS_HANDLE hDataStream, uint32_t* piNumFlows))
GENTL_FUNCTION(DSGetFlowInfo, (DS_HANDLE hDataStream, uint32_t iFlowIndex, FLOW_INFO_CMD iInfoCmd,
                               INFO_DATATYPE* piType, void* pBuffer, size_t* piSize))
GENTL_FUNCTION(DSGetNumBufferSegments, (DS_HANDLE hDataStream, BUFFER_HANDLE hBuffer, uint32_t* piNumSegments))
GENTL_FUNCTION(DSGetBufferSegmentInfo,
               (DS_HANDLE hDataStream, BUFFER_HANDLE hBuffer, uint32_t iSegmentIndex, SEGMENT_INFO_CMD iInfoCmd,
                INFO_DATATYPE* piType, void* pBuffer, size_t* piSize))

GENTL_END_DECLS

// NOLINTEND(readability-identifier-naming)
#endif /* GC_TLI_CLIENT_H_ */
