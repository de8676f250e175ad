"""One camera behind the driver's exports: open and close, telegrams as named settings, images
into numpy arrays that are the caller buffers the driver fills.

Images: the memory of every caller buffer handed to ``Set_Image_Buffer`` becomes the numpy
array that is returned once the buffer's event is set, so the driver's one copy of an image
lands in that array; nothing is copied again. A returned array belongs to the caller: its memory
is not queued again while the array, or any view or buffer taken from it, still exists. Once the
last of them is gone the memory goes back to the acquisition, which queues it again instead of
new memory; until then the acquisition queues new memory.
"""

import collections
import ctypes
import datetime
import enum
import os
import select
import struct

import numpy as np

from ._driver import (
    BUFFER_CANCELLED,
    BUFFER_DONE,
    QUEUED_WITHOUT_PRODUCER_BUFFER,
    OpenStruct,
    Tq4Error,
    driver_version,
    library,
)
from .features import Features


class Command(enum.IntEnum):
    """The telegram codes this module sends (tq4_genicam.h has them all)."""

    GET_CAMERA_TYPE = 0x0110
    GET_TEMPERATURE = 0x0610
    GET_FIRMWARE_VERSIONS = 0x0810
    GET_CAMERA_NAME = 0x0910
    GET_CAMERA_SETUP = 0x1110
    SET_CAMERA_SETUP = 0x1210
    GET_CAMERA_DESCRIPTION = 0x0111
    GET_ROI = 0x0211
    SET_ROI = 0x0311
    GET_BINNING = 0x0411
    SET_BINNING = 0x0511
    GET_DELAY_EXPOSURE_TIME = 0x0112
    SET_DELAY_EXPOSURE_TIME = 0x0212
    GET_TRIGGER_MODE = 0x0312
    SET_TRIGGER_MODE = 0x0412
    FORCE_TRIGGER = 0x0512
    GET_TIMEBASE = 0x0C12
    GET_FRAMERATE = 0x1712
    SET_RECORDING_STATE = 0x0614
    ARM_CAMERA = 0x0A14
    GET_TIMESTAMP_MODE = 0x0C14
    SET_TIMESTAMP_MODE = 0x0D14
    GET_BIT_ALIGNMENT = 0x0915


RESPONSE_CAPACITY = 512  # the largest response buffer the driver takes
TRIGGER_MODES = ("auto", "software", "external", "width")
TIMESTAMP_MODES = ("none", "binary", "both", "readable")
# GET/SET_CAMERA_SETUP type 1: one flag bit per pixel format.
PIXEL_FORMATS = {
    "Mono16": 0x01,
    "Mono14": 0x02,
    "Mono12": 0x04,
    "Mono10": 0x08,
    "Mono8": 0x10,
    "Mono14p": 0x20,
    "Mono12p": 0x40,
    "Mono10p": 0x80,
}
_SETUP_PIXEL_FORMAT = 1
_TIMEBASE_MICROSECONDS = (1e-3, 1.0, 1e3)  # ns, us, ms

Region = collections.namedtuple("Region", "offset_x offset_y width height")
Binning = collections.namedtuple("Binning", "horizontal vertical")
Temperatures = collections.namedtuple("Temperatures", "sensor board power_unit")
Versions = collections.namedtuple("Versions", "driver hardware firmware")


def telegram(code, payload=b""):
    """A request telegram: code, size, payload and the checksum (sum of the bytes before it)."""
    head = struct.pack("<HH", code, 5 + len(payload)) + payload
    return head + bytes([sum(head) & 0xFF])


def _text(response, offset, width):
    return response[offset : offset + width].split(b"\0", 1)[0].decode("latin-1")


def _name_of(names, index):
    return names[index] if index < len(names) else str(index)


def _index_of(names, name):
    if name not in names:
        raise ValueError("%r is none of %s" % (name, ", ".join(names)))
    return names.index(name)


def _named_setting(names, get_code, set_code, doc):
    """A setting that a telegram carries as a u16 index into ``names``."""

    def get(camera):
        return _name_of(names, camera._u16(get_code))

    def set_(camera, name):
        camera.send(set_code, struct.pack("<H", _index_of(names, name)))

    return property(get, set_, doc=doc)


class Frame:
    """One finished caller buffer: ``array`` (height x width, uint8 or uint16) is the memory the
    driver wrote, ``status`` its status word (0 done; ZEVO_BUFFER_FAILED: no image, zeros),
    ``frame_id`` and ``timestamp_ns`` the camera's frame number and the time of the image in
    nanoseconds since 1970 (microsecond resolution) when the images carry the binary stamp
    (timestamp "binary" or "both": the camera's own stamp, else the driver's from the producer's
    buffer time), else None, and ``index`` its place in the acquisition (from 0).

    The array is the caller's for as long as it (or a view of it) exists. ``release()``, or the
    end of ``with frame:``, drops the frame's own reference (``array`` is None from then on):
    the memory is filled again once no other reference to the array is left.
    """

    __slots__ = ("array", "status", "frame_id", "timestamp_ns", "index")

    def __init__(self, array, status, stamp, index):
        self.array = array
        self.status = status
        self.frame_id, self.timestamp_ns = stamp
        self.index = index

    @property
    def ok(self):
        return self.status == BUFFER_DONE

    def release(self):
        self.array = None

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.release()

    def __repr__(self):
        shape = None if self.array is None else self.array.shape
        return "Frame(index=%d, frame_id=%s, status=0x%08X, shape=%s)" % (self.index, self.frame_id, self.status, shape)


class _Pool:
    """Image memory blocks no array refers to any more, queued again before new ones are made."""

    def __init__(self, nbytes, capacity):
        self.nbytes = nbytes
        self.capacity = capacity
        self.blocks = []
        self.open = True

    def take(self):
        return self.blocks.pop() if self.blocks else np.empty(self.nbytes, np.uint8)

    def give_back(self, block):
        if self.open and len(self.blocks) < self.capacity:
            self.blocks.append(block)


class _Lease:
    """The owner of a returned array's memory (the array's ``base``). numpy keeps the array alive
    for each of its views and buffers, and the array keeps its lease, so the lease ends when the
    last of them is gone: then the block goes back to the pool."""

    __slots__ = ("block", "pool", "__array_interface__")

    def __init__(self, block, pool, shape, dtype):
        self.block = block
        self.pool = pool
        self.__array_interface__ = {
            "shape": shape,
            "typestr": dtype.str,
            "data": (block.ctypes.data, False),
            "version": 3,
        }

    def __del__(self):
        self.pool.give_back(self.block)


class _Slot:
    """A caller buffer's event (an eventfd), its status word and the memory queued with them."""

    __slots__ = ("event", "poller", "status", "block")

    def __init__(self):
        self.event = os.eventfd(0, os.EFD_CLOEXEC | os.EFD_NONBLOCK)
        self.poller = select.poll()
        self.poller.register(self.event, select.POLLIN)
        self.status = ctypes.c_uint32(0)
        self.block = None

    def is_set(self, timeout_ms=0):
        return bool(self.poller.poll(timeout_ms))

    def reset(self):
        try:
            os.eventfd_read(self.event)
        except BlockingIOError:
            pass


class _Acquisition:
    """A ring of caller buffers kept queued on a recording camera, filled in queueing order."""

    def __init__(self, camera, buffers, limit):
        if buffers < 1:
            raise ValueError("buffers takes at least 1")
        self._camera = camera
        self._limit = limit
        self._queued = 0  # buffers handed to the driver so far
        self._delivered = 0
        self._in_flight = collections.deque()
        self._slots = []
        self._buffers = buffers
        camera.send(Command.SET_RECORDING_STATE, struct.pack("<H", 0))
        camera.send(Command.ARM_CAMERA)
        try:
            camera.send(Command.SET_RECORDING_STATE, struct.pack("<H", 1))
            self._read_geometry()
            for _ in range(buffers):
                self._slots.append(_Slot())
            for slot in self._slots:
                if not self._wanted():
                    break
                self._queue(slot)
                if self._queued == 1:
                    self._check_started(slot)
        except BaseException:
            self.stop()
            raise

    def _read_geometry(self):
        camera = self._camera
        record = ctypes.create_string_buffer(48)
        code = camera._lib.Get_Image_Transfer_Mode(camera._handle, record, 48)
        if code:
            raise Tq4Error(code, "Get_Image_Transfer_Mode")
        width, height = struct.unpack_from("<HH", record.raw, 4)
        bits = struct.unpack_from("<H", camera.send(Command.GET_CAMERA_DESCRIPTION), 16)[0]
        if not (width and height and 1 <= bits <= 16):
            raise RuntimeError("the camera reports an image of %d x %d with %d bits" % (width, height, bits))
        msb_aligned = struct.unpack_from("<H", camera.send(Command.GET_BIT_ALIGNMENT), 4)[0] == 0
        stamped = struct.unpack_from("<H", camera.send(Command.GET_TIMESTAMP_MODE), 4)[0] in (1, 2)
        self.shape = (height, width)
        self.dtype = np.dtype(np.uint8 if bits <= 8 else "<u2")
        self._pool = _Pool(width * height * self.dtype.itemsize, self._buffers)
        # The binary stamp's BCD bytes sit in the top 8 of the data bits.
        self._stamp_shift = None if not stamped else 0 if bits <= 8 else 8 if msb_aligned else bits - 8

    def _wanted(self):
        return self._limit is None or self._queued < self._limit

    def _queue(self, slot):
        block = self._pool.take()
        camera = self._camera
        code = camera._lib.Set_Image_Buffer(
            camera._handle,
            slot.event,
            0,
            0,
            0,
            0,
            block.ctypes.data,
            block.nbytes,
            ctypes.byref(slot.status),
        )
        if code not in (0, QUEUED_WITHOUT_PRODUCER_BUFFER):
            raise Tq4Error(code, "Set_Image_Buffer")
        slot.block = block
        self._in_flight.append(slot)
        self._queued += 1

    def _check_started(self, slot):
        # A buffer that is neither pending nor finished was not queued: the stream did not start.
        camera = self._camera
        pending = ctypes.c_uint32(0)
        camera._lib.Get_Pending_Buffer(camera._handle, ctypes.byref(pending))
        if pending.value == 0 and not slot.is_set():
            raise RuntimeError("the driver's stream did not start (see the driver's log)")

    def _stamp(self, array):
        """(frame id, nanoseconds since 1970) from the binary stamp: 14 BCD bytes, the frame
        number (4), the local date and time (7: century, year, month, day, hour, minute, second)
        and the microseconds (3); (None, None) where the image holds none."""
        if self._stamp_shift is None or array.size < 14:
            return None, None
        pairs = []
        for value in array.reshape(-1)[:14]:
            bcd = (int(value) >> self._stamp_shift) & 0xFF
            if bcd >> 4 > 9 or bcd & 0xF > 9:
                return None, None
            pairs.append((bcd >> 4) * 10 + (bcd & 0xF))
        frame_id = ((pairs[0] * 100 + pairs[1]) * 100 + pairs[2]) * 100 + pairs[3]
        try:
            local = datetime.datetime(pairs[4] * 100 + pairs[5], *pairs[6:11])
        except ValueError:
            return frame_id, None
        microseconds = (pairs[11] * 100 + pairs[12]) * 100 + pairs[13]
        return frame_id, int(local.timestamp()) * 1000000000 + microseconds * 1000

    def fetch(self, timeout):
        if not self._in_flight:
            raise RuntimeError("no buffer is queued: the acquisition is over")
        slot = self._in_flight[0]
        if not slot.is_set(None if timeout is None else max(0, int(timeout * 1000))):
            raise TimeoutError("no image within %s s" % timeout)
        self._in_flight.popleft()
        slot.reset()
        status = slot.status.value
        block, slot.block = slot.block, None
        if status == BUFFER_CANCELLED:
            self.stop()
            raise Tq4Error(status, "Set_Image_Buffer")
        array = np.asarray(_Lease(block, self._pool, self.shape, self.dtype))
        frame = Frame(array, status, self._stamp(array), self._delivered)
        self._delivered += 1
        if self._wanted():
            self._queue(slot)
        return frame

    def stop(self):
        """Every buffer back: once Cancel_Images returns the driver touches none of them."""
        camera = self._camera
        if camera._handle:
            camera._lib.Cancel_Images(camera._handle)
        self._in_flight.clear()
        for slot in self._slots:
            slot.block = None
            os.close(slot.event)
        self._slots = []
        if hasattr(self, "_pool"):
            self._pool.open = False
            self._pool.blocks = []
        if camera._handle:
            camera.send(Command.SET_RECORDING_STATE, struct.pack("<H", 0), check=False)


class Camera:
    """A camera opened through the driver, by number (``Open_Cam``) or with a producer list
    (``Open_Cam_Ext``; a list of .cti names or one "A.cti:B.cti" text). Use it as a context
    manager; the camera is closed at the end. Opening a camera that is not there raises
    Tq4Error.

    One thread at a time: the camera and its acquisition are not for sharing between threads.
    """

    def __init__(self, number=0, producers=None):
        self.number = number
        self._lib = library()
        self._handle = None
        self._acquisition = None
        handle = ctypes.c_void_p()
        if producers is None:
            code, call = self._lib.Open_Cam(number, ctypes.byref(handle)), "Open_Cam"
        else:
            text = producers if isinstance(producers, str) else ":".join(producers)
            self._open_struct = OpenStruct(producer_list=text.encode())
            code = self._lib.Open_Cam_Ext(number, ctypes.byref(handle), ctypes.byref(self._open_struct))
            call = "Open_Cam_Ext"
        if code or not handle.value:
            raise Tq4Error(code, call)
        self._handle = handle

    def close(self):
        if self._handle is None:
            return
        try:
            self.stop()
        finally:
            handle, self._handle = self._handle, None
            code = self._lib.Close_Cam(ctypes.byref(handle))
            if code:
                raise Tq4Error(code, "Close_Cam")

    @property
    def is_open(self):
        return self._handle is not None

    def _open_handle(self):
        if self._handle is None:
            raise RuntimeError("the camera is closed")
        return self._handle

    @property
    def features(self):
        """The camera's features by name (see Features)."""
        return Features(self)

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()

    # ---- telegrams ----------------------------------------------------------------------------

    def send(self, code, payload=b"", check=True):
        """Sends one telegram through Control_Command and returns the answer's bytes (empty when
        none came back). A result other than 0 raises Tq4Error unless ``check`` is False."""
        request = telegram(code, payload)
        response = ctypes.create_string_buffer(RESPONSE_CAPACITY)
        code_result = self._lib.Control_Command(self._open_handle(), request, len(request), response, RESPONSE_CAPACITY)
        raw = response.raw
        answer = raw[: min(struct.unpack_from("<H", raw, 2)[0], RESPONSE_CAPACITY)]
        if code_result and check:
            name = Command(code).name if code in Command.__members__.values() else "telegram 0x%04X" % code
            raise Tq4Error(code_result, name, answer or None)
        return answer

    def _u16(self, code, offset=4):
        return struct.unpack_from("<H", self.send(code), offset)[0]

    def _not_acquiring(self, what):
        if self._acquisition is not None:
            raise RuntimeError("%s changes the image: stop the acquisition first" % what)

    @property
    def model(self):
        return _text(self.send(Command.GET_CAMERA_NAME), 4, 40)

    @property
    def serial(self):
        return struct.unpack_from("<I", self.send(Command.GET_CAMERA_TYPE), 8)[0]

    @property
    def versions(self):
        """Driver version text, hardware version number, firmware version text."""
        hardware = struct.unpack_from("<I", self.send(Command.GET_CAMERA_TYPE), 12)[0]
        answer = self.send(Command.GET_FIRMWARE_VERSIONS)
        firmware = ""
        for entry in range(struct.unpack_from("<H", answer, 44)[0]):
            offset = 46 + 40 * entry
            if _text(answer, offset, 16) == "Application":
                firmware = _text(answer, offset + 16, 20)
        return Versions(driver_version(), hardware, firmware)

    @property
    def temperature(self):
        """Sensor, board and power-unit temperatures in degrees Celsius."""
        sensor, board, power = struct.unpack_from("<hhh", self.send(Command.GET_TEMPERATURE), 4)
        return Temperatures(sensor / 10.0, float(board), float(power))

    @property
    def exposure_time(self):
        """Exposure time in microseconds."""
        scale = _TIMEBASE_MICROSECONDS[self._u16(Command.GET_TIMEBASE, 6)]
        return struct.unpack_from("<I", self.send(Command.GET_DELAY_EXPOSURE_TIME), 8)[0] * scale

    @exposure_time.setter
    def exposure_time(self, microseconds):
        scale = _TIMEBASE_MICROSECONDS[self._u16(Command.GET_TIMEBASE, 6)]
        delay = struct.unpack_from("<I", self.send(Command.GET_DELAY_EXPOSURE_TIME), 4)[0]
        exposure = int(round(microseconds / scale))
        if not 0 <= exposure <= 0xFFFFFFFF:
            raise ValueError("exposure time out of the telegram's range: %s us" % microseconds)
        self.send(Command.SET_DELAY_EXPOSURE_TIME, struct.pack("<II", delay, exposure))

    @property
    def frame_rate(self):
        """The frame rate in Hz the camera runs at."""
        return struct.unpack_from("<I", self.send(Command.GET_FRAMERATE), 6)[0] / 1000.0

    @property
    def region(self):
        """Region of interest: offset_x, offset_y (from 0), width, height, in binned pixels."""
        x0, y0, x1, y1 = struct.unpack_from("<4H", self.send(Command.GET_ROI), 4)
        return Region(x0 - 1, y0 - 1, x1 - x0 + 1, y1 - y0 + 1)

    @region.setter
    def region(self, region):
        self._not_acquiring("the region")
        offset_x, offset_y, width, height = region
        corners = (offset_x + 1, offset_y + 1, offset_x + width, offset_y + height)
        self.send(Command.SET_ROI, struct.pack("<4H", *corners))

    @property
    def binning(self):
        vertical, horizontal = struct.unpack_from("<HH", self.send(Command.GET_BINNING), 4)
        return Binning(horizontal, vertical)

    @binning.setter
    def binning(self, factor):
        """One factor for both axes."""
        self._not_acquiring("the binning")
        self.send(Command.SET_BINNING, struct.pack("<H", factor))

    trigger = _named_setting(
        TRIGGER_MODES,
        Command.GET_TRIGGER_MODE,
        Command.SET_TRIGGER_MODE,
        '"auto" (free run), "software", "external" (Line0) or "width" (exposure by trigger width).',
    )

    def software_trigger(self):
        """Fires one software trigger; False when the camera has none."""
        return self._u16(Command.FORCE_TRIGGER) == 1

    timestamp = _named_setting(
        TIMESTAMP_MODES,
        Command.GET_TIMESTAMP_MODE,
        Command.SET_TIMESTAMP_MODE,
        '"none", "binary" (frame number and time as BCD in the first pixels), "both" or "readable".',
    )

    @property
    def pixel_format(self):
        request = struct.pack("<H4I", _SETUP_PIXEL_FORMAT, 0, 0, 0, 0)
        flag = struct.unpack_from("<I", self.send(Command.GET_CAMERA_SETUP, request), 6)[0]
        return next((name for name, bit in PIXEL_FORMATS.items() if bit == flag), "0x%X" % flag)

    @pixel_format.setter
    def pixel_format(self, name):
        self._not_acquiring("the pixel format")
        _index_of(tuple(PIXEL_FORMATS), name)
        self.send(Command.SET_CAMERA_SETUP, struct.pack("<H4I", _SETUP_PIXEL_FORMAT, PIXEL_FORMATS[name], 0, 0, 0))

    # ---- images -------------------------------------------------------------------------------

    def start(self, buffers=4):
        """Arms the camera, switches recording on and queues ``buffers`` caller buffers."""
        self._start(buffers, None)

    def _start(self, buffers, limit):
        if self._acquisition is not None:
            raise RuntimeError("an acquisition is running already")
        self._acquisition = _Acquisition(self, buffers, limit)

    def fetch(self, timeout=5.0):
        """The next finished buffer as a Frame; TimeoutError when none comes within ``timeout``
        seconds (None: wait for ever). Its slot is queued again with a fresh array at once."""
        if self._acquisition is None:
            raise RuntimeError("no acquisition: call start() first")
        return self._acquisition.fetch(timeout)

    def stop(self):
        """Cancels the buffers still queued and switches recording off."""
        acquisition, self._acquisition = self._acquisition, None
        if acquisition is not None:
            acquisition.stop()

    def grab(self, count, buffers=4, timeout=5.0):
        """``count`` frames, in a list; within a running acquisition taken from it, else from an
        acquisition of their own that queues no more than ``count`` buffers."""
        if self._acquisition is not None:
            return [self.fetch(timeout) for _ in range(count)]
        self._start(max(1, min(buffers, count)), count)
        try:
            return [self.fetch(timeout) for _ in range(count)]
        finally:
            self.stop()

    def __iter__(self):
        """Frames without end, from the running acquisition or from one of its own, stopped when
        the loop ends."""
        own = self._acquisition is None
        if own:
            self.start()
        try:
            while True:
                yield self.fetch()
        finally:
            if own:
                self.stop()
