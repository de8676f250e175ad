#!/usr/bin/env bash
# Builds the fuzz targets with clang (libFuzzer + AddressSanitizer) in build/fuzz and runs each
# for a bounded time: Control_Command with the image exports against the simulated camera, and
# the loading of camera descriptions.
#   bash fuzz/run.sh [seconds]      per target, default 60
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-60}"
build=build/fuzz
# fuzz/CMakeLists.txt instruments the driver's libraries; the producer stays plain.
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
  -DTQ4_BUILD_FUZZ=ON -DTQ4_BUILD_TESTS=OFF -DTQ4_BUILD_BENCH=OFF >/dev/null
cmake --build "$build" --target control_command_fuzz description_fuzz -j2

# Seeds: one well-formed request per command code (a telegram record: size_out 512, size_in as
# long as the request, the payload zero) at the length its handler needs, a region of interest,
# and image sequences.
corpus="$build/corpus"
mkdir -p "$corpus"
seed_request() {  # code (hex, 4 digits) size
  local code=$((16#$1)) size=$2 sum i bytes
  bytes=(0 0 2 0 $((size + 1)) $((code & 255)) $((code >> 8)) $((size & 255)) $((size >> 8)))
  for ((i = 5; i < size; ++i)); do bytes+=(0); done
  sum=0
  for ((i = 5; i < ${#bytes[@]}; ++i)); do sum=$(((sum + bytes[i]) & 255)); done
  bytes+=($sum)
  for i in "${bytes[@]}"; do printf "\\x$(printf %02x "$i")"; done >"$corpus/code_$1"
}
while read -r code size; do seed_request "$code" "$size"; done <<'CODES'
0110 5
0210 5
0610 5
0710 5
0810 5
0910 5
0A10 9
1110 23
1210 23
0111 5
0211 5
0311 13
0411 5
0511 9
0611 5
1011 5
1111 7
1411 5
1511 7
2511 5
2611 7
0112 5
0212 13
0312 5
0412 7
0512 5
0612 5
0912 5
0C12 5
0D12 9
1012 5
1712 5
1912 7
1A12 17
0514 5
0614 7
0714 5
0814 7
0A14 5
0B14 13
0C14 5
0D14 7
1614 5
1714 27
0915 5
0A15 7
0E15 5
0F15 5
CODES
printf '\x00\x00\x02\x00\x0d\x11\x03\x0d\x00\x01\x00\x01\x00\x10\x05\x08\x04\x44' >"$corpus/set_roi"
# Arm, recording on, two buffers (a whole Mono16 image, a small one), pending, cancel, one
# image with a time-out, parameters.
arm='\x00\x00\x02\x00\x05\x14\x0a\x05\x00\x23'
record='\x00\x00\x02\x00\x07\x14\x06\x07\x00\x01\x00\x22'
printf "$arm$record"'\x01\x00\xd1\x28\x00\x00\x00\x01\x00\x10\x00\x00\x00\x00\x03\x02' >"$corpus/images"
printf "$arm$record"'\x05\x10\x00\xd1\x28\x04\x10\x10\x05\x00\x00\x08\x04\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00' \
  >"$corpus/image_queued"

export ASAN_OPTIONS="detect_leaks=1:abort_on_error=0"
# use_tls=0 as in the asan preset: the leak check at exit must not walk the dynamic TLS of the
# producers the driver has unloaded.
export LSAN_OPTIONS="suppressions=$PWD/tests/lsan.supp:print_suppressions=0:use_tls=0"
# Streaming inputs start and end the acquisition thread: libFuzzer's leak check after an input
# stops the world while threads come and go and fails itself. Leaks are the asan suite's subject.
"$build/fuzz/control_command_fuzz" -max_total_time="$seconds" -timeout=20 -detect_leaks=0 -print_final_stats=1 \
  "$corpus"

# Descriptions: the simulated camera's, plain and zipped, and two URLs.
descriptions="$build/corpus_description"
mkdir -p "$descriptions"
{ printf '\x01'; cat sim/zevo_camera.xml; } >"$descriptions/plain"
zipdir=$(mktemp -d)
cp sim/zevo_camera.xml "$zipdir/ZEVO_quillon13SWIR.xml"
(cd "$zipdir" && cmake -E tar cf camera.zip --format=zip ZEVO_quillon13SWIR.xml)
{ printf '\x02'; cat "$zipdir/camera.zip"; } >"$descriptions/zipped"
rm -rf "$zipdir"
printf '\x00local:///ZEVO_quillon13SWIR.zip;100000;1f2a?SchemaVersion=1.1.0\x00file:///C|/a%%20b/cam.xml\x00' \
  >"$descriptions/urls"
"$build/fuzz/description_fuzz" -max_total_time="$seconds" -timeout=20 -max_len=262144 -print_final_stats=1 \
  "$descriptions"
