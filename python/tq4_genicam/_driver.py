"""The driver library libtq4_genicam.so, loaded with ctypes, its exports, result names and errors.

Where the library is found, first hit wins:

1. the file named by the environment variable ``TQ4_GENICAM_LIBRARY``;
2. the library of the installation this package belongs to (``cmake --install`` and the Debian
   package write its place, relative to the package, into ``_location.py``);
3. ``build/release/driver/libtq4_genicam.so`` of the source tree, when the package is imported
   from the tree's ``python/`` folder;
4. ``libtq4_genicam.so.1`` through the dynamic linker's own search (``LD_LIBRARY_PATH``, the
   system's library folders).

The library is loaded once per process and never unloaded: the camera SDK's host process keeps
it too, and unloading it would leave the node-map engine's GLib types pointing into nothing.
"""

import ctypes
import os
import threading

LIBRARY_VARIABLE = "TQ4_GENICAM_LIBRARY"
LIBRARY_SONAME = "libtq4_genicam.so.1"

_PACKAGE_DIR = os.path.dirname(os.path.abspath(__file__))

# Result codes of the exports and the telegrams, and the status words of caller buffers, as
# include/tq4_genicam.h names them. ZEVO_NOERROR and ZEVO_BUFFER_DONE share 0.
RESULT_NAMES = {
    0x00000000: "ZEVO_NOERROR",
    0xA0360001: "ZEVO_ERROR_DRIVER_WRONGVALUE",
    0xA0360002: "ZEVO_ERROR_DRIVER_NULLHANDLE",
    0xA0360006: "ZEVO_ERROR_DRIVER_WRONGSIZE",
    0xA0002001: "ZEVO_ERROR_DRIVER_NOBUFFER",
    0x80362006: "ZEVO_ERROR_DRIVER_NODRIVER",
    0x80362009: "ZEVO_ERROR_DRIVER_NOACCESS",
    0x80362020: "ZEVO_ERROR_DRIVER_CREATEEVENT",
    0x80362032: "ZEVO_ERROR_DRIVER_STREAMING",
    0xA0320002: "ZEVO_ERROR_OPEN_NULLHANDLEPTR",
    0xA0322001: "ZEVO_ERROR_OPEN_WRONGNUM",
    0x80322006: "ZEVO_ERROR_OPEN_NOGENICAM",
    0x80322001: "ZEVO_ERROR_OPEN_INUSE",
    0x80362001: "ZEVO_ERROR_OPEN_FAILED",
    0x80031020: "ZEVO_ERROR_TELEGRAM_NOTSUPPORTED",
    0x8003101E: "ZEVO_ERROR_TELEGRAM_OUTOFRANGE",
    0x8000101E: "ZEVO_ERROR_TELEGRAM_VALUEFAILED",
    0x80001021: "ZEVO_ERROR_TELEGRAM_NOTARMED",
    0x80001022: "ZEVO_ERROR_TELEGRAM_RECORDINGON",
    0xA0000001: "ZEVO_ERROR_TELEGRAM_INVALIDFORMAT",
    0x80362041: "ZEVO_ERROR_FEATURE_NOTFOUND",
    0x80362042: "ZEVO_ERROR_FEATURE_ACCESS",
    0x80362043: "ZEVO_ERROR_FEATURE_VALUE",
    0x80362033: "ZEVO_BUFFER_QUEUED",
    0x80362018: "ZEVO_BUFFER_FAILED",
    0x80362010: "ZEVO_BUFFER_CANCELLED",
}

BUFFER_DONE = 0x00000000
BUFFER_QUEUED = 0x80362033
BUFFER_FAILED = 0x80362018
BUFFER_CANCELLED = 0x80362010
# Set_Image_Buffer: the producer took no further acquisition buffer; the caller's is queued.
QUEUED_WITHOUT_PRODUCER_BUFFER = 0x00360000


def result_name(code):
    """The header's name of a result code or buffer status, or its hexadecimal text."""
    return RESULT_NAMES.get(code, "0x%08X" % code)


class Tq4Error(Exception):
    """A call or telegram the driver refused.

    ``code`` is the driver's 32-bit result (or a buffer's status word), ``name`` its name from
    tq4_genicam.h (``ZEVO_ERROR_TELEGRAM_OUTOFRANGE``), ``call`` what was asked (an export or a
    telegram name) and ``response`` the answer telegram's bytes when one came back.
    """

    def __init__(self, code, call, response=None):
        self.code = code
        self.name = result_name(code)
        self.call = call
        self.response = response
        super().__init__("%s: 0x%08X %s" % (call, code, self.name))


class OpenStruct(ctypes.Structure):
    """TQ4_OpenStruct: only ``producer_list`` is read, a list such as b"A.cti:B.cti"."""

    _fields_ = [
        ("reserved0", ctypes.c_uint64),
        ("producer_list", ctypes.c_char_p),
        ("reserved", ctypes.c_uint64 * 6),
    ]


_HANDLE = ctypes.c_void_p
_U32 = ctypes.c_uint32
_PROTOTYPES = {
    "Open_Cam": [_U32, ctypes.POINTER(_HANDLE)],
    "Open_Cam_Ext": [_U32, ctypes.POINTER(_HANDLE), ctypes.POINTER(OpenStruct)],
    "Close_Cam": [ctypes.POINTER(_HANDLE)],
    "Control_Command": [_HANDLE, ctypes.c_void_p, ctypes.c_int32, ctypes.c_void_p, _U32],
    "Set_Image_Buffer": [_HANDLE, _HANDLE, _U32, _U32, _U32, _U32, ctypes.c_void_p, _U32, ctypes.POINTER(_U32)],
    "Cancel_Images": [_HANDLE],
    "Get_Pending_Buffer": [_HANDLE, ctypes.POINTER(_U32)],
    "Get_Image_Transfer_Mode": [_HANDLE, ctypes.c_void_p, ctypes.c_int32],
    "ZEVO_GetVersionTQ4_Genicam": [ctypes.POINTER(_U32)] * 4,
    "Get_Feature": [_HANDLE, ctypes.c_char_p, ctypes.c_char_p, ctypes.POINTER(_U32), ctypes.POINTER(_U32)],
    "Set_Feature": [_HANDLE, ctypes.c_char_p, ctypes.c_char_p],
}


def _installed_library():
    try:
        from . import _location
    except ImportError:
        return None
    return os.path.normpath(os.path.join(_PACKAGE_DIR, _location.LIBRARY))


def installed_producer_folder():
    """The folder of the simulated camera's ZEVO.cti installed with this package, or None."""
    try:
        from . import _location
    except ImportError:
        return None
    return os.path.normpath(os.path.join(_PACKAGE_DIR, _location.PRODUCER_FOLDER))


def library_path():
    """The driver library this process loads (see the module's description for the order)."""
    explicit = os.environ.get(LIBRARY_VARIABLE)
    if explicit:
        return explicit
    source_tree = os.path.join(_PACKAGE_DIR, "..", "..", "build", "release", "driver", "libtq4_genicam.so")
    for candidate in (_installed_library(), os.path.normpath(source_tree)):
        if candidate and os.path.exists(candidate):
            return candidate
    return LIBRARY_SONAME


_library = None
_library_lock = threading.Lock()


def library():
    """The loaded driver library with the prototypes of the exports this package calls."""
    global _library
    with _library_lock:
        if _library is None:
            loaded = ctypes.CDLL(library_path())
            for name, argtypes in _PROTOTYPES.items():
                function = getattr(loaded, name)
                function.argtypes = argtypes
                function.restype = _U32
            _library = loaded
        return _library


def driver_version():
    """The driver's version as ZEVO_GetVersionTQ4_Genicam reports it, e.g. "1.9.0.0"."""
    values = [_U32() for _ in range(4)]
    code = library().ZEVO_GetVersionTQ4_Genicam(*[ctypes.byref(v) for v in values])
    if code:
        raise Tq4Error(code, "ZEVO_GetVersionTQ4_Genicam")
    return ".".join(str(v.value) for v in values)
