#!/usr/bin/env bash
# Installs a build into a temporary prefix and uses it as a user would: the layout (SONAME and
# links, header, producer folder, tool, documentation, no path into the build tree), a C program
# built through pkg-config (run without LD_LIBRARY_PATH) and a C++ program through
# find_package(tq4_genicam), each opening the installed ZEVO.cti's camera and sending one
# telegram, tq4cam run from the installed bin/, and the Python package imported from the
# prefix's Python folder, grabbing a frame.
#
#   install_test.sh BUILD CC CXX FLAGS LDFLAGS PYTHON PYTHONDIR
#     FLAGS: the build's sanitizer flags, or empty; PYTHONDIR: the package's folder below the prefix
set -euo pipefail
build=$(realpath "$1") cc=$2 cxx=$3 flags=$4 ldflags=$5 python=$6 pythondir=$7
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "install_test: $*" >&2; exit 1; }

prefix="$work/prefix"
cmake --install "$build" --prefix "$prefix" >"$work/install.log"

pc=$(find "$prefix" -name tq4_genicam.pc)
[ -n "$pc" ] || fail "no tq4_genicam.pc installed"
export PKG_CONFIG_PATH
PKG_CONFIG_PATH=$(dirname "$pc")
libdir=$(realpath "$(pkg-config --variable=libdir tq4_genicam)")
gentl=$(realpath "$(pkg-config --variable=gentldir tq4_genicam)")
[ "$(pkg-config --modversion tq4_genicam)" = 1.9.0 ] || fail "pkg-config version $(pkg-config --modversion tq4_genicam)"

# Layout.
[ "$(readlink "$libdir/libtq4_genicam.so")" = libtq4_genicam.so.1 ] || fail "libtq4_genicam.so does not link to .so.1"
[ "$(readlink "$libdir/libtq4_genicam.so.1")" = libtq4_genicam.so.1.9.0 ] || fail "libtq4_genicam.so.1 does not link to .so.1.9.0"
readelf -d "$libdir/libtq4_genicam.so.1.9.0" | grep -q 'SONAME.*\[libtq4_genicam\.so\.1\]' || fail "SONAME is not libtq4_genicam.so.1"
for file in include/tq4_genicam.h bin/tq4cam share/doc/tq4-genicam/README.md \
  share/doc/tq4-genicam/aravis-producer/README.md "$pythondir"/tq4_genicam/{__init__,_driver,camera,_location}.py; do
  [ -f "$prefix/$file" ] || fail "$file not installed"
done
producers=$(find "$gentl" -mindepth 1 -printf '%f\n' | LC_ALL=C sort | paste -sd ' ')
[ "$producers" = "ZEVO.cti tq4_aravis.cti" ] ||
  fail "the producer folder $gentl holds $producers, not ZEVO.cti and tq4_aravis.cti"
for elf in "$libdir/libtq4_genicam.so.1.9.0" "$gentl/ZEVO.cti" "$gentl/tq4_aravis.cti" "$prefix/bin/tq4cam"; do
  if readelf -d "$elf" | grep -E 'R(UN)?PATH' | grep -qF "$build"; then fail "$elf keeps a path into the build tree"; fi
done
if grep -rqF "$prefix" "$prefix" --include='*.pc' --include='*.cmake'; then
  fail "the pkg-config file or the CMake package names the prefix instead of finding it"
fi

# The driver's folders, shared-memory names and answers of its own for this run; no desktop.
mkdir -p "$work/appdata"
export TQ4_COMMON_APPDATA="$work/appdata" TQ4_SHM_SUFFIX="_install$$" TQ4_QUESTION_ANSWER=no
unset DISPLAY WAYLAND_DISPLAY LD_LIBRARY_PATH

# C through pkg-config: its flags give the program the library's folder as RUNPATH.
read -ra cflags <<<"$flags"
read -ra lflags <<<"$ldflags"
# shellcheck disable=SC2046  # pkg-config prints separate words
"$cc" "${cflags[@]}" -std=c11 -Wall -Wextra -Werror -pedantic -o "$work/consumer_pc" "$here/consumer/consumer.c" \
  $(pkg-config --cflags --libs tq4_genicam) "${lflags[@]}"
echo "pkg-config build:"
GENICAM_GENTL64_PATH="$gentl" "$work/consumer_pc"

# C++ through the CMake package (the imported target's location is the program's RUNPATH).
CXXFLAGS="$flags" LDFLAGS="$ldflags" cmake -S "$here/consumer" -B "$work/cmake" -DCMAKE_CXX_COMPILER="$cxx" \
  -DCMAKE_PREFIX_PATH="$prefix" >"$work/cmake.log" || { cat "$work/cmake.log"; fail "find_package(tq4_genicam) failed"; }
cmake --build "$work/cmake" >>"$work/cmake.log" || { cat "$work/cmake.log"; fail "the CMake project did not build"; }
[ "$(realpath "$(cat "$work/cmake/gentl_dir.txt")")" = "$gentl" ] || fail "TQ4_GENICAM_GENTL_DIR is not $gentl"
echo "find_package build:"
GENICAM_GENTL64_PATH="$gentl" "$work/cmake/consumer"

# tq4cam finds the library of its own installation through its RUNPATH. Under a sanitizer the
# runtime's dlopen interceptor is the caller, whose search path has no RUNPATH of tq4cam: there
# the loader is told the folder.
echo "tq4cam:"
loader_path=()
[[ "$flags" != *-fsanitize* ]] || loader_path=(LD_LIBRARY_PATH="$libdir")
env "${loader_path[@]}" GENICAM_GENTL64_PATH="$gentl" LD_DEBUG=libs LD_DEBUG_OUTPUT="$work/ld" \
  "$prefix/bin/tq4cam" info
loaded=$(sed -n 's/.*calling init: \(.*libtq4_genicam\.so.*\)/\1/p' "$work"/ld.* | head -n 1)
[ -n "$loaded" ] && [ "$(realpath "$loaded")" = "$libdir/libtq4_genicam.so.1.9.0" ] ||
  fail "tq4cam loaded '$loaded', not the library in $libdir"
# The GStreamer source from the installed plugin folder, with the library beside it (GStreamer's
# programs carry no sanitizer runtime: plain builds only).
if [[ "$flags" != *-fsanitize* ]]; then
  echo "tq4src:"
  plugin_dir="$libdir/gstreamer-1.0"
  [ -f "$plugin_dir/libgsttq4.so" ] || fail "libgsttq4.so not in $plugin_dir"
  GST_PLUGIN_PATH="$plugin_dir" GST_REGISTRY="$work/registry.bin" GENICAM_GENTL64_PATH="$gentl" \
    gst-launch-1.0 -q tq4src num-buffers=3 ! fakesink || fail "the installed tq4src did not stream"
fi

# Python: the package from the prefix finds the installed library and producer folder by itself.
echo "python:"
preload=()
# Under AddressSanitizer its runtime comes first, with libstdc++ (python/CMakeLists.txt says why).
[[ "$flags" != *-fsanitize=*address* ]] ||
  preload=(LD_PRELOAD="$("$cc" -print-file-name=libasan.so):libstdc++.so.6" ASAN_OPTIONS=detect_leaks=0)
(cd "$work" && env "${preload[@]}" PYTHONPATH="$prefix/$pythondir" PYTHONDONTWRITEBYTECODE=1 \
  "$python" - "$prefix" "$libdir/libtq4_genicam.so.1.9.0" "$gentl" <<'EOF'
import os, sys
import tq4_genicam

prefix, library, gentl = sys.argv[1:]
assert tq4_genicam.__file__.startswith(prefix), tq4_genicam.__file__
assert os.path.realpath(tq4_genicam.library_path()) == library, tq4_genicam.library_path()
assert os.path.realpath(tq4_genicam.installed_producer_folder()) == gentl, tq4_genicam.installed_producer_folder()
os.environ["GENICAM_GENTL64_PATH"] = tq4_genicam.installed_producer_folder()
with tq4_genicam.Camera(0) as camera:
    frame = camera.grab(1)[0]
    print(camera.model, frame, frame.array.dtype)
    assert frame.ok and frame.array.size > 0
EOF
) || fail "the installed Python package did not grab a frame"
echo "install_test: all checks passed"
