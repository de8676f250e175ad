#!/usr/bin/env bash
# The Windows build, here: the engine stack (cached, scripts/windows-engine.sh), then
# tq4_genicam.dll, ZEVO.cti, tq4cam.exe and the test suite cross-compiled with mingw-w64
# (preset win64), the suite run under Wine by CTest, and tq4cam.exe's images compared with the
# Linux build's (build/release, built here when missing) for the same settings.
#   bash scripts/test-windows.sh
# TQ4_WARNINGS_AS_ERRORS=ON (as CI sets it) turns compiler warnings into errors.
set -euo pipefail
cd "$(dirname "$0")/.."
root="$PWD"
bash scripts/setup.sh windows
engine="$(bash scripts/windows-engine.sh | tail -1)"
export WINEDEBUG=-all WINEPATH="$engine/bin" WINEPREFIX="${WINEPREFIX:-${XDG_CACHE_HOME:-$HOME/.cache}/tq4_genicam/wine}"
wine=/usr/lib/wine/wine64

cmake --preset win64 -DTQ4_WINDOWS_ENGINE="$engine" -DTQ4_WARNINGS_AS_ERRORS="${TQ4_WARNINGS_AS_ERRORS:-OFF}" >/dev/null
cmake --build --preset win64
# One Wine server and Wine's own services for the whole run, started here with their output
# going nowhere: started by the first test, they would hold that test's output pipe open and
# CTest would wait for it for ever. The server stays until the end of this script.
mkdir -p "$WINEPREFIX"
/usr/lib/wine/wineserver64 -k >/dev/null 2>&1 || true
/usr/lib/wine/wineserver64 -p >/dev/null 2>&1 </dev/null || true
"$wine" cmd /c exit >/dev/null 2>&1 </dev/null || true
trap '/usr/lib/wine/wineserver64 -k >/dev/null 2>&1 || true' EXIT
ctest --preset win64 --timeout 120 -j2

# tq4cam grab against the simulated camera, Windows under Wine and Linux natively: the same
# pixels (PGM files, the time stamp out of the image).
if [ ! -x build/release/tools/tq4cam ]; then
  cmake --preset release -DTQ4_WARNINGS_AS_ERRORS="${TQ4_WARNINGS_AS_ERRORS:-OFF}" >/dev/null
  cmake --build --preset release --target tq4cam tq4_genicam ZEVO
fi
work="$(mktemp -d)"
trap 'rm -rf "$work"; /usr/lib/wine/wineserver64 -k >/dev/null 2>&1 || true' EXIT
# The Windows deployment layout: the DLL (and the tool) beside the engine's "genicam" folder.
mkdir -p "$work/bin/genicam"
cp build/win64/driver/tq4_genicam.dll build/win64/tools/tq4cam.exe "$work/bin/"
cp "$engine"/bin/*.dll "$work/bin/genicam/"
grab=(grab -n 20 --format pgm --timestamp none --exposure 10ms -o)
TQ4_COMMON_APPDATA="$work/linux-appdata" GENICAM_GENTL64_PATH="$root/build/release/sim" TQ4_QUESTION_ANSWER=no \
  build/release/tools/tq4cam "${grab[@]}" "$work/linux" >"$work/linux.out"
TQ4_COMMON_APPDATA="$work/windows-appdata" GENICAM_GENTL64_PATH="$root/build/win64/sim" TQ4_QUESTION_ANSWER=no \
  "$wine" "$work/bin/tq4cam.exe" --lib "$work/bin/tq4_genicam.dll" "${grab[@]}" "$work/windows" \
  >"$work/windows.out"
count=$(ls "$work/linux" | wc -l)
if [ "$count" -ne 20 ] || ! diff -r "$work/linux" "$work/windows" >/dev/null; then
  echo "tq4cam: the Windows build's images differ from the Linux build's ($count Linux files)"
  cat "$work/linux.out" "$work/windows.out"
  exit 1
fi
echo "tq4cam grab -n 20: the Windows build's 20 images equal the Linux build's, byte for byte"
