#!/usr/bin/env bash
# Builds the Control_Command fuzz target with clang (libFuzzer + AddressSanitizer) in
# build/fuzz and runs it for a bounded time against the simulated camera.
#   bash fuzz/run.sh [seconds]      default 60
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-60}"
build=build/fuzz
# fuzz/CMakeLists.txt instruments the driver's libraries; the producer stays plain.
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
  -DTQ4_BUILD_FUZZ=ON -DTQ4_BUILD_TESTS=OFF -DTQ4_BUILD_BENCH=OFF >/dev/null
cmake --build "$build" --target control_command_fuzz -j2

# Seeds: a few well-formed requests (size_out 512, size_in as given).
corpus="$build/corpus"
mkdir -p "$corpus"
seed() { printf "$2" >"$corpus/$1"; }
seed camera_type   '\x00\x02\x00\x10\x01\x05\x00\x16'
seed temperature   '\x00\x02\x00\x10\x06\x05\x00\x1b'
seed info_string   '\x00\x02\x00\x10\x0a\x09\x00\x01\x00\x00\x00\x24'
seed set_roi       '\x00\x02\x00\x11\x03\x0d\x00\x01\x00\x01\x00\x10\x05\x08\x04\x44'
seed description   '\x00\x02\x00\x11\x01\x05\x00\x17'

export ASAN_OPTIONS="detect_leaks=1:abort_on_error=0"
export LSAN_OPTIONS="suppressions=$PWD/tests/lsan.supp:print_suppressions=0"
"$build/fuzz/control_command_fuzz" -max_total_time="$seconds" -timeout=20 -print_final_stats=1 "$corpus"
