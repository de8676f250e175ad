#!/usr/bin/env bash
# Installs what is missing, builds the release preset and runs the main job against the
# simulated camera (ZEVO.cti). Extra arguments go to tq4cam (default: "info").
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
cmake --preset release >/dev/null
cmake --build --preset release
[ "$#" -gt 0 ] || set -- info
# The simulated producer is found through the GenTL search path, as a real one would be.
export GENICAM_GENTL64_PATH="$PWD/build/release/sim${GENICAM_GENTL64_PATH:+:$GENICAM_GENTL64_PATH}"
exec build/release/tools/tq4cam "$@"
