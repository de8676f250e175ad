#!/usr/bin/env bash
# The Python package's acquisition loop and GStreamer's tq4src against tq4cam grab on the same simulated camera, in one
# run (bench/python_vs_tq4cam.py says what each row measures). Builds what it needs first.
#   bash bench/python_vs_tq4cam.sh [--frames N] [--repetitions R] [--region W,H]
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
cmake --preset release >/dev/null
cmake --build --preset release --target tq4_genicam ZEVO tq4cam gsttq4 >/dev/null
exec /usr/bin/python3 bench/python_vs_tq4cam.py build/release "$@"
