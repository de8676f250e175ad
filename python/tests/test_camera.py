"""The Python package against the simulated camera, through the driver library's exports."""

import ctypes
import pathlib
import re
import time

import numpy as np
import pytest

import tq4_genicam
from tq4_genicam import Camera, Command, Region, Tq4Error

HEADER = pathlib.Path(__file__).resolve().parents[2] / "include" / "tq4_genicam.h"


def test_codes_and_names_are_those_of_the_header():
    defined = {
        name: int(value, 16) for name, value in re.findall(r"#define\s+(\w+)\s+0x([0-9A-Fa-f]+)u", HEADER.read_text())
    }
    for code, name in tq4_genicam.RESULT_NAMES.items():
        assert defined[name] == code, name
    for command in Command:
        assert defined[command.name] == command.value, command.name


def test_context_manager_opens_and_closes_the_camera():
    with Camera(0) as camera:
        assert camera.is_open
        with pytest.raises(Tq4Error) as in_use:
            Camera(0)
        assert in_use.value.name == "ZEVO_ERROR_OPEN_INUSE"
    assert not camera.is_open
    # Closed for the driver too: the same number opens again.
    with Camera(0, producers=["ZEVO.cti"]) as again:
        assert again.serial == 3101


def test_refusals_raise_with_the_drivers_code_and_name(camera):
    with pytest.raises(Tq4Error) as missing:
        Camera(7)
    assert missing.value.code in (0x80362001, 0x80362006)
    assert missing.value.name in ("ZEVO_ERROR_OPEN_FAILED", "ZEVO_ERROR_DRIVER_NODRIVER")

    exposure = camera.exposure_time
    with pytest.raises(Tq4Error) as out_of_range:
        camera.exposure_time = 4e9
    error = out_of_range.value
    assert (error.code, error.name, error.call) == (0x8003101E, "ZEVO_ERROR_TELEGRAM_OUTOFRANGE", "SET_DELAY_EXPOSURE_TIME")
    assert "ZEVO_ERROR_TELEGRAM_OUTOFRANGE" in str(error)
    assert camera.exposure_time == exposure


def test_settings_round_trip_and_identity(camera):
    camera.exposure_time = 1234.0
    camera.region = Region(64, 32, 640, 480)
    camera.trigger = "software"
    camera.timestamp = "binary"
    camera.pixel_format = "Mono12"
    assert camera.exposure_time == 1234.0
    assert camera.region == Region(64, 32, 640, 480)
    assert camera.trigger == "software"
    assert camera.timestamp == "binary"
    assert camera.pixel_format == "Mono12"
    camera.binning = 2
    assert camera.binning == (2, 2)
    with pytest.raises(ValueError):
        camera.trigger = "sometimes"

    assert camera.serial == 3101
    assert "3101" in camera.model
    assert camera.versions == ("1.9.0.0", 3, "2.4.17")
    assert -60.0 < camera.temperature.sensor < 60.0


def test_features_by_name_meet_the_telegrams(camera):
    features = camera.features
    features["ExposureTime"] = 1500.0
    assert features["ExposureTime"] == 1500.0 and features.kind("ExposureTime") == "Float"
    assert camera.exposure_time == 1500.0  # the telegram sees what the feature holds
    camera.pixel_format = "Mono12"
    assert features["PixelFormat"] == "Mono12"
    features["AcquisitionFrameRateEnable"] = True
    assert features["AcquisitionFrameRateEnable"] is True
    assert isinstance(features["Width"], int) and "3101" in features["DeviceSerialNumber"]
    assert "Gain" not in features and "Width" in features

    for name, value, error in [
        ("NoSuchFeature", 1, "ZEVO_ERROR_FEATURE_NOTFOUND"),
        ("DeviceModelName", "other", "ZEVO_ERROR_FEATURE_ACCESS"),
        ("PixelFormat", "RGB8", "ZEVO_ERROR_FEATURE_VALUE"),
    ]:
        with pytest.raises(Tq4Error) as refused:
            features[name] = value
        assert refused.value.name == error, name
    with pytest.raises(ValueError):
        features.execute("Width")
    camera.trigger = "software"
    features.execute("TriggerSoftware")


@pytest.mark.parametrize("pixel_format, dtype", [("Mono8", np.uint8), ("Mono12", np.uint16)])
def test_grab_returns_the_buffers_the_driver_filled(camera, queued, pixel_format, dtype):
    camera.pixel_format = pixel_format
    camera.region = Region(0, 0, 320, 240)
    camera.timestamp = "binary"
    frames = camera.grab(6, buffers=3)

    assert [f.index for f in frames] == list(range(6))
    assert all(f.ok for f in frames)
    ids = [f.frame_id for f in frames]
    assert ids[0] >= 1 and ids == sorted(set(ids)), ids
    # The camera's time of each image, from its stamp: now, and rising with the frame number.
    times = [f.timestamp_ns for f in frames]
    assert abs(time.time_ns() - times[-1]) < 10 * 10**9, times
    assert times == sorted(set(times)), times
    for frame in frames:
        array = frame.array
        assert array.shape == (240, 320) and array.dtype == dtype
        assert array.flags.c_contiguous and array.flags.writeable
        # The array's memory is the caller buffer the driver wrote into: no copy in between.
        assert (array.ctypes.data, array.nbytes) in queued
    # Each buffer was queued once, for one image.
    assert len(queued) == 6 and len(set(queued)) == 6


def test_memory_is_filled_again_only_once_no_array_refers_to_it(camera, queued):
    camera.timestamp = "binary"
    camera.start(buffers=2)
    held = camera.fetch()
    view = camera.fetch().array[1:, ::2]  # the frame and its array dropped, a view kept
    kept = (held.array.copy(), view.copy())
    for _ in range(6):
        with camera.fetch() as frame:
            dropped = frame.array.ctypes.data
        assert frame.array is None
    camera.stop()
    assert np.array_equal(held.array, kept[0]) and np.array_equal(view, kept[1])
    addresses = [address for address, _ in queued]
    assert addresses.count(held.array.ctypes.data) == 1
    assert addresses.count(view.base.ctypes.data) == 1
    # Memory whose arrays were all gone was queued again instead of new memory.
    assert addresses.count(dropped) > 1


def test_iteration_stops_its_acquisition_when_the_loop_ends(camera):
    camera.region = Region(0, 0, 160, 120)
    for count, frame in enumerate(camera, 1):
        assert frame.ok and frame.array.shape == (120, 160)
        if count == 3:
            break
    assert camera._acquisition is None
    pending = ctypes.c_uint32(99)
    assert camera._lib.Get_Pending_Buffer(camera._handle, ctypes.byref(pending)) == 0
    assert pending.value == 0
    # Geometry may change again, and the next acquisition takes it.
    camera.region = Region(0, 0, 320, 240)
    assert camera.grab(1)[0].array.shape == (240, 320)
