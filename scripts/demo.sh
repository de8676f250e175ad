#!/usr/bin/env bash
# Installs what is missing, builds the release preset and runs the main job against the
# simulated camera (ZEVO.cti): a real acquisition of 100 images into frames/ (PNG previews with
# the camera's frame stamp), with its statistics. Extra arguments go to tq4cam instead
# (e.g. "info", "list", "features Exposure").
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
cmake --preset release >/dev/null
cmake --build --preset release
# The simulated producer is found through the GenTL search path, as a real one would be.
export GENICAM_GENTL64_PATH="$PWD/build/release/sim${GENICAM_GENTL64_PATH:+:$GENICAM_GENTL64_PATH}"
if [ "$#" -gt 0 ]; then
  exec build/release/tools/tq4cam "$@"
fi
build/release/tools/tq4cam grab -n 100 -o frames --format png --timestamp both --overwrite
echo "The images are in $PWD/frames/ (frame-000000.png ... frame-000099.png)."
