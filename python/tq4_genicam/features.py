"""The camera's features by name, through Get_Feature and Set_Feature: every feature of the
camera's description, read and written as ``tq4cam get`` and ``set`` show and take them."""

import ctypes

from ._driver import Tq4Error

# Get_Feature's kinds (ZEVO_FEATURE_* of tq4_genicam.h).
KINDS = {
    2: "Integer",
    3: "Boolean",
    4: "Command",
    5: "Float",
    6: "String",
    7: "Register",
    8: "Category",
    9: "Enumeration",
}
FEATURE_NOTFOUND = 0x80362041
_WRONGSIZE = 0xA0360006


def _from_text(kind, text):
    if kind == "Integer":
        try:
            return int(text)
        except ValueError:  # hex digits or an address, as the description shows it
            return text
    if kind == "Float":
        return float(text)
    if kind == "Boolean":
        return text == "1"
    return text


def _to_text(value):
    if isinstance(value, bool):
        return "true" if value else "false"
    if isinstance(value, float):
        return repr(value)
    return str(value)


class Features:
    """``features["ExposureTime"]`` reads a feature (int, float, bool or str by its kind; the
    current entry's name for an enumeration), ``features["ExposureTime"] = 2000.0`` writes it
    (the camera must then hold the value), ``features.execute("TriggerSoftware")`` runs a
    command, ``"Gain" in features`` asks whether the camera has it and ``features.kind(name)``
    names its kind. A standard feature is also found under an older name the camera gives it
    (ExposureTimeAbs for ExposureTime). Refusals raise Tq4Error: ZEVO_ERROR_FEATURE_NOTFOUND,
    ZEVO_ERROR_FEATURE_ACCESS (not readable or writable now) or ZEVO_ERROR_FEATURE_VALUE."""

    def __init__(self, camera):
        self._camera = camera

    def _read(self, name):
        lib, handle = self._camera._lib, self._camera._open_handle()
        kind = ctypes.c_uint32(0)
        size = ctypes.c_uint32(256)
        while True:
            text = ctypes.create_string_buffer(size.value)
            code = lib.Get_Feature(handle, name.encode(), text, ctypes.byref(size), ctypes.byref(kind))
            if code != _WRONGSIZE:
                break
        if code:
            raise Tq4Error(code, "Get_Feature %s" % name)
        return KINDS.get(kind.value, "Node"), text.value.decode(errors="replace")

    def __getitem__(self, name):
        kind, text = self._read(name)
        return _from_text(kind, text)

    def __setitem__(self, name, value):
        lib, handle = self._camera._lib, self._camera._open_handle()
        code = lib.Set_Feature(handle, name.encode(), _to_text(value).encode())
        if code:
            raise Tq4Error(code, "Set_Feature %s" % name)

    def _query(self, name):
        """Get_Feature's size query: (result, kind name)."""
        lib, handle = self._camera._lib, self._camera._open_handle()
        kind = ctypes.c_uint32(0)
        size = ctypes.c_uint32(0)
        code = lib.Get_Feature(handle, name.encode(), None, ctypes.byref(size), ctypes.byref(kind))
        return code, KINDS.get(kind.value, "Node")

    def __contains__(self, name):
        return self._query(name)[0] != FEATURE_NOTFOUND

    def kind(self, name):
        """"Integer", "Float", "Boolean", "String", "Enumeration", "Command", "Register" or
        "Category"."""
        code, kind = self._query(name)
        if code == FEATURE_NOTFOUND:
            raise Tq4Error(code, "Get_Feature %s" % name)
        return kind

    def execute(self, name):
        """Runs a command feature (TriggerSoftware, AcquisitionStart, ...)."""
        if self.kind(name) != "Command":
            raise ValueError("%s is not a command" % name)
        self.__setitem__(name, "")
