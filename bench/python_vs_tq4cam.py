"""The Python package's acquisition loop against tq4cam grab, on the same simulated camera in the
same run: frames/s and process CPU time per frame, as ratios tq4cam / Python (above 1: Python
is the better). Run through bench/python_vs_tq4cam.sh, which builds and sets the paths.

Each program runs in a process of its own, with the simulated camera inside it (the producer is
a library), so CPU time covers the camera's fill, the driver's copy and the consumer alike.
Per-frame CPU is the difference between a long and a short run of the same program divided by
the difference in frames, which cancels loading and opening. Frames/s is each program's own,
from its first to its last frame. Rows alternate between the programs; medians of the
repetitions.

Rows:
  tq4cam grab        tq4cam grab --format pgm into a folder on tmpfs (it always writes files)
  python             for frame in camera: ... (each array dropped: its memory is queued again)
  python pgm         each frame written as PGM to tmpfs as tq4cam writes it (the same work)
  tq4src ! fakesink  gst-launch-1.0 with the GStreamer source (no time stamps burnt in; its
                     frames/s from the wall times of the long and the short run)

  python3 bench/python_vs_tq4cam.py BUILD [--frames N] [--repetitions R] [--region W,H]
  python3 bench/python_vs_tq4cam.py --loop MODE N FOLDER W H    (one Python run; internal)
"""

import argparse
import os
import re
import statistics
import struct
import subprocess
import sys
import tempfile
import time

EXPOSURE_US = 100  # short, so that read-out sets the camera's pace (delay 0: free run)


def python_loop(mode, count, folder, width, height):
    import tq4_genicam
    from tq4_genicam import Command, Region

    with tq4_genicam.Camera(0) as camera:
        camera.region = Region(0, 0, width, height)
        camera.timestamp = "both"
        camera.send(Command.SET_DELAY_EXPOSURE_TIME, struct.pack("<II", 0, EXPOSURE_US))
        first = last = None
        ids = []
        for frame in camera:
            last = time.perf_counter()
            first = first or last
            ids.append(frame.frame_id)
            if mode == "pgm":
                write_pgm(os.path.join(folder, "frame-%06d.pgm" % frame.index), frame.array)
            if len(ids) == count:
                break
    rate = (count - 1) / (last - first) if count > 1 and last > first else 0.0
    print("rate %.3f missing %d" % (rate, ids[-1] - ids[0] + 1 - len(ids)))


def write_pgm(path, array):
    part = path + ".part"
    with open(part, "wb") as out:
        out.write(b"P5\n%d %d\n%d\n" % (array.shape[1], array.shape[0], 65535 if array.itemsize == 2 else 255))
        # PGM keeps 16-bit samples most significant byte first.
        array.astype(">u2" if array.itemsize == 2 else "u1").tofile(out)
    os.replace(part, path)


def run(command, env):
    """Output, wall seconds and CPU seconds (user + system) of one process."""
    started = time.perf_counter()
    process = subprocess.Popen(command, env=env, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    output = process.stdout.read()
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        sys.exit("%s failed:\n%s" % (" ".join(command), output))
    return output, time.perf_counter() - started, usage.ru_utime + usage.ru_stime


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("build", nargs="?")
    parser.add_argument("--frames", type=int, default=600)
    parser.add_argument("--repetitions", type=int, default=3)
    parser.add_argument("--region", default="1296,1032")
    parser.add_argument("--loop", nargs=5)
    args = parser.parse_args()
    if args.loop:
        mode, count, folder, width, height = args.loop
        return python_loop(mode, int(count), folder, int(width), int(height))

    build = os.path.abspath(args.build)
    width, height = (int(v) for v in args.region.split(","))
    work = tempfile.mkdtemp(prefix="tq4_pybench_", dir="/dev/shm")
    env = dict(
        os.environ,
        GENICAM_GENTL64_PATH=os.path.join(build, "sim"),
        TQ4_GENICAM_LIBRARY=os.path.join(build, "driver", "libtq4_genicam.so"),
        TQ4_COMMON_APPDATA=work,
        TQ4_QUESTION_ANSWER="no",
        TQ4_SHM_SUFFIX="_pybench%d" % os.getpid(),
        PYTHONPATH=os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "python"),
        GST_PLUGIN_PATH=os.path.join(build, "gst"),
        GST_REGISTRY=os.path.join(work, "registry.bin"),
    )
    region = "1,1,%d,%d" % (width, height)

    def tq4cam(count):
        folder = tempfile.mkdtemp(dir=work)
        command = [os.path.join(build, "tools", "tq4cam"), "grab", "-n", str(count), "-o", folder, "--format", "pgm"]
        command += ["--roi", region, "--exposure", "%dus" % EXPOSURE_US, "--delay", "0", "--timestamp", "both"]
        output, wall, cpu = run(command, env)
        subprocess.run(["rm", "-rf", folder], check=True)
        rate = float(re.search(r"frame rate\s+mean ([\d.]+) Hz", output).group(1))
        found = re.search(r"(\d+) missing", output)
        return rate, cpu, int(found.group(1)) if found else -1

    def python(mode):
        def one(count):
            folder = tempfile.mkdtemp(dir=work)
            command = [sys.executable, os.path.abspath(__file__), "--loop", mode, str(count), folder]
            output, wall, cpu = run(command + [str(width), str(height)], env)
            subprocess.run(["rm", "-rf", folder], check=True)
            found = re.search(r"rate ([\d.]+) missing (-?\d+)", output)
            return float(found.group(1)), cpu, int(found.group(2))

        return one

    def gstreamer(count):
        command = ["gst-launch-1.0", "-q", "tq4src", "num-buffers=%d" % count, "region=" + region,
                   "exposure=%dus" % EXPOSURE_US, "delay=0", "!", "fakesink", "sync=false"]
        _, wall, cpu = run(command, env)
        return wall, cpu, -1

    def gstreamer_rate(count, short):
        """Frames/s between a long and a short run, which cancels start-up and stop."""
        wall_long, cpu_long, _ = gstreamer(count)
        wall_short, cpu_short, _ = gstreamer(short)
        return (count - short) / (wall_long - wall_short), cpu_long, cpu_short

    programs = {
        "tq4cam grab": tq4cam,
        "python": python("plain"),
        "python pgm": python("pgm"),
        "tq4src ! fakesink": None,
    }
    short = max(2, args.frames // 6)
    results = {name: {"fps": [], "cpu_us": [], "missing": []} for name in programs}
    for repetition in range(args.repetitions):
        for name, program in programs.items():
            if program is None:
                rate, cpu_long, cpu_short = gstreamer_rate(args.frames, short)
                missing = -1
            else:
                rate, cpu_long, missing = program(args.frames)
                _, cpu_short, _ = program(short)
            row = results[name]
            row["fps"].append(rate)
            row["cpu_us"].append((cpu_long - cpu_short) / (args.frames - short) * 1e6)
            row["missing"].append(missing)
            print("repetition %d %-16s %8.2f fps %8.0f us CPU/frame, %d missing" % (
                repetition + 1, name, rate, row["cpu_us"][-1], missing), flush=True)
    subprocess.run(["rm", "-rf", work], check=True)

    reference = results["tq4cam grab"]
    print("\n%d x %d, %d frames (short runs %d), medians of %d, load average %s" % (
        width, height, args.frames, short, args.repetitions, os.getloadavg()))
    print("| Program | frames/s | CPU us per frame | frames/s ratio to tq4cam | CPU ratio tq4cam / program |")
    print("|---|---|---|---|---|")
    for name, row in results.items():
        fps, cpu = statistics.median(row["fps"]), statistics.median(row["cpu_us"])
        ratio_fps = fps / statistics.median(reference["fps"])
        ratio_cpu = statistics.median(reference["cpu_us"]) / cpu
        print("| %s | %.1f | %.0f | %.2f | %.2f |" % (name, fps, cpu, ratio_fps, ratio_cpu))


if __name__ == "__main__":
    main()
