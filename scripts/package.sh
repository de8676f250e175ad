#!/usr/bin/env bash
# Builds the Debian package tq4-genicam with CPack in build/package (prefix /usr), checks it
# without installing it (dpkg-deb: files in their places, dependencies from the shared objects)
# and prints its path.
#   bash scripts/package.sh             build and check
#   bash scripts/package.sh --install   also install it (apt-get), run the installed tq4cam and
#                                       the installed Python package (a frame grabbed) against
#                                       the installed ZEVO.cti, purge it again and check
#                                       that none of its files is left and dpkg no longer knows
#                                       it (as root; changes /usr for that time)
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
build="$PWD/build/package"
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr -DTQ4_BUILD_TESTS=OFF \
  -DTQ4_BUILD_BENCH=OFF -DTQ4_WARNINGS_AS_ERRORS="${TQ4_WARNINGS_AS_ERRORS:-OFF}" >/dev/null
cmake --build "$build" -j2
rm -f "$build"/tq4-genicam_*.deb
(cd "$build" && cpack -G DEB >cpack.log 2>&1) || { cat "$build/cpack.log"; exit 1; }
deb=$(echo "$build"/tq4-genicam_*.deb)
fail() { echo "package: $*" >&2; exit 1; }

# Contents: every file below /usr, in its place.
multiarch=$(dpkg-architecture -qDEB_HOST_MULTIARCH)
lib="./usr/lib/$multiarch"
dpkg -c "$deb" >"$build/contents.txt"
awk '{print $6}' "$build/contents.txt" >"$build/paths.txt"
for path in "$lib/libtq4_genicam.so.1.9.0" "$lib/libtq4_genicam.so.1" "$lib/libtq4_genicam.so" \
  ./usr/include/tq4_genicam.h "$lib/tq4_genicam/gentl/ZEVO.cti" "$lib/tq4_genicam/gentl/tq4_aravis.cti" \
  ./usr/share/doc/tq4-genicam/aravis-producer/README.md ./usr/bin/tq4cam \
  "$lib/pkgconfig/tq4_genicam.pc" "$lib/cmake/tq4_genicam/tq4_genicamConfig.cmake" \
  "$lib/cmake/tq4_genicam/tq4_genicamTargets.cmake" ./usr/share/doc/tq4-genicam/README.md \
  ./usr/lib/python3/dist-packages/tq4_genicam/{__init__,_driver,camera,_location}.py; do
  grep -qxF "$path" "$build/paths.txt" || fail "$path is not in the package"
done
if grep -v '^\./usr/' "$build/paths.txt" | grep -qvxF './'; then fail "files outside /usr"; fi
grep -qF "$lib/libtq4_genicam.so.1 -> libtq4_genicam.so.1.9.0" "$build/contents.txt" || fail "libtq4_genicam.so.1 is no link"

# Control fields: name, version, and the libraries the shared objects need.
[ "$(dpkg-deb -f "$deb" Package)" = tq4-genicam ] || fail "package name"
[ "$(dpkg-deb -f "$deb" Version)" = 1.9.0 ] || fail "version $(dpkg-deb -f "$deb" Version)"
depends=$(dpkg-deb -f "$deb" Depends)
for needed in libaravis-0.8-0 libc6 libstdc++6 zlib1g; do
  [[ "$depends" == *"$needed"* ]] || fail "Depends lacks $needed: $depends"
done
shlibs=$(dpkg-deb -I "$deb" shlibs)
[[ "$shlibs" == "libtq4_genicam 1 tq4-genicam"* ]] || fail "no shlibs entry for libtq4_genicam.so.1"
echo "package: contents and dependencies checked (Depends: $depends)" >&2

if [ "${1:-}" = "--install" ]; then
  dpkg-query -W -f='${Status}' tq4-genicam 2>/dev/null | grep -q "install ok installed" &&
    fail "tq4-genicam is installed already: remove it first"
  DEBIAN_FRONTEND=noninteractive apt-get install -y "$deb" >"$build/install.log"
  dpkg -L tq4-genicam >"$build/installed.txt"
  work=$(mktemp -d)
  # The installed tool and Python package, with the producer folder the package installs and a
  # data folder of their own. Python writes its byte code beside the modules (prerm removes it).
  export GENICAM_GENTL64_PATH="/usr/lib/$multiarch/tq4_genicam/gentl" TQ4_COMMON_APPDATA="$work" \
    TQ4_SHM_SUFFIX="_package$$" TQ4_QUESTION_ANSWER=no
  /usr/bin/tq4cam info >&2 || status=$?
  (cd "$work" && /usr/bin/python3 -c 'import tq4_genicam
assert tq4_genicam.library_path().startswith("/usr/lib/"), tq4_genicam.library_path()
with tq4_genicam.Camera(0) as camera:
    frame = camera.grab(1)[0]
    assert frame.ok, frame
    print("python:", camera.model, frame)' >&2) || status=$?
  rm -rf "$work"
  DEBIAN_FRONTEND=noninteractive apt-get purge -y tq4-genicam >>"$build/install.log"
  [ "${status:-0}" -eq 0 ] || fail "the installed tq4cam or Python package failed"
  # Every file is gone, and every folder that no other package owns.
  left=()
  while read -r path; do
    [ -e "$path" ] || [ -L "$path" ] || continue
    [ -d "$path" ] && dpkg -S "$path" >/dev/null 2>&1 && continue
    left+=("$path")
  done <"$build/installed.txt"
  [ "${#left[@]}" -eq 0 ] || fail "left behind after removal: ${left[*]}"
  if dpkg-query -W tq4-genicam >/dev/null 2>&1; then fail "dpkg still lists tq4-genicam"; fi
  echo "package: installed, tq4cam and the Python package ran, purged without leftovers" >&2
fi
echo "$deb"
