"""tq4_genicam for Python: cameras through the driver library libtq4_genicam.so, as the camera
SDK drives them (open and close, telegrams, caller buffers with events), images as numpy arrays.

    with tq4_genicam.Camera(0) as camera:
        camera.exposure_time = 2000.0          # microseconds
        for frame in camera.grab(10):
            print(frame.frame_id, frame.array.shape, frame.array.mean())
"""

from ._driver import (
    LIBRARY_VARIABLE,
    RESULT_NAMES,
    Tq4Error,
    driver_version,
    installed_producer_folder,
    library_path,
    result_name,
)
from .camera import (
    PIXEL_FORMATS,
    TIMESTAMP_MODES,
    TRIGGER_MODES,
    Binning,
    Camera,
    Command,
    Frame,
    Region,
    Temperatures,
    Versions,
    telegram,
)
from .features import Features

__all__ = [
    "LIBRARY_VARIABLE",
    "PIXEL_FORMATS",
    "RESULT_NAMES",
    "TIMESTAMP_MODES",
    "TRIGGER_MODES",
    "Binning",
    "Camera",
    "Command",
    "Features",
    "Frame",
    "Region",
    "Temperatures",
    "Tq4Error",
    "Versions",
    "driver_version",
    "installed_producer_folder",
    "library_path",
    "result_name",
    "telegram",
]
