"""The simulated camera for the package's tests: its producer folder from TQ4_SIM_DIR (CTest sets
it; else build/release/sim of the source tree), and a private folder for the driver's files,
the producer's configuration and the current directory. Set before the driver library is
loaded, which reads its data folder once."""

import os
import pathlib
import tempfile

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]


def pytest_configure(config):
    folder = tempfile.mkdtemp(prefix="tq4_python_")
    config.tq4_folder = folder
    sim_config = os.path.join(folder, "sim.cfg")
    pathlib.Path(sim_config).write_text("")
    os.environ.update(
        {
            "GENICAM_GENTL64_PATH": os.environ.get("TQ4_SIM_DIR", str(ROOT / "build" / "release" / "sim")),
            "ZEVO_SIM_CONFIG": sim_config,
            "TQ4_COMMON_APPDATA": folder,
            "TQ4_QUESTION_ANSWER": "no",
            "TQ4_SHM_SUFFIX": "_python%d" % os.getpid(),
        }
    )
    # The producer search looks into the current directory too.
    os.chdir(folder)


@pytest.fixture
def camera():
    import tq4_genicam

    with tq4_genicam.Camera(0) as opened:
        yield opened


class _Recording:
    """The driver library with every caller buffer handed to Set_Image_Buffer written down."""

    def __init__(self, library):
        self.library = library
        self.buffers = []  # (address, bytes) in queueing order

    def __getattr__(self, name):
        return getattr(self.library, name)

    def Set_Image_Buffer(self, *arguments):  # noqa: N802 (the export's name)
        self.buffers.append((arguments[6], arguments[7]))
        return self.library.Set_Image_Buffer(*arguments)


@pytest.fixture
def queued(camera, monkeypatch):
    """The caller buffers the camera hands to the driver, as (address, bytes)."""
    recording = _Recording(camera._lib)
    monkeypatch.setattr(camera, "_lib", recording)
    return recording.buffers
