#!/usr/bin/env bash
# Builds the node-map engine stack (libffi, pcre2, glib, libxml2, Aravis; zlib from Debian) for
# x86_64 Windows with mingw-w64, from the release tarballs in a folder (default ../shared/windows-deps),
# checked against its SHA256SUMS. The result goes to a prefix cached outside the clone, named by the
# hash of the tarball list and of this script, so that a second run finds it and only prints its path.
#   bash scripts/windows-engine.sh [tarball folder]     prints the prefix on its last line
# TQ4_WINDOWS_ENGINE_CACHE overrides the cache folder.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
deps="$(cd "${1:-$root/../shared/windows-deps}" && pwd)"
(cd "$deps" && sha256sum --quiet -c SHA256SUMS) || { echo "windows-engine: tarballs do not match SHA256SUMS" >&2; exit 1; }
hash="$(cat "$deps/SHA256SUMS" "$0" | sha256sum | cut -c1-16)"
cache="${TQ4_WINDOWS_ENGINE_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/tq4_genicam/windows-engine}"
prefix="$cache/$hash"
if [ -f "$prefix/.complete" ]; then
  echo "$prefix"
  exit 0
fi
bash "$root/scripts/setup.sh" windows >&2
host=x86_64-w64-mingw32
jobs="${TQ4_JOBS:-2}"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
rm -rf "$prefix"
mkdir -p "$prefix/lib/pkgconfig"
log() { echo "windows-engine: $*" >&2; }
unpack() {  # tarball stem -> folder under $work
  mkdir -p "$work/$1"
  tar -xJf "$deps/$1.tar.xz" -C "$work/$1" --strip-components=1
}
# zlib: Debian's mingw build, made visible to pkg-config in the prefix; its DLL beside the others.
mkdir -p "$prefix/bin"
cp /usr/$host/lib/pkgconfig/zlib.pc "$prefix/lib/pkgconfig/"
cp /usr/$host/lib/zlib1.dll "$prefix/bin/"

# CMake toolchain for the CMake-built parts (the driver's own toolchain file, C only here).
toolchain="$root/cmake/mingw-w64.cmake"
cmake_lib() {  # name, extra options...
  local name="$1"; shift
  cmake -S "$work/$name" -B "$work/$name/_build" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
    -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$prefix" -DCMAKE_PREFIX_PATH="$prefix" \
    -DBUILD_SHARED_LIBS=ON "$@" >&2
  cmake --build "$work/$name/_build" -j"$jobs" >&2
  cmake --install "$work/$name/_build" >&2
}
cross="$work/cross.ini"
cat >"$cross" <<INI
[binaries]
c = '$host-gcc-posix'
cpp = '$host-g++-posix'
ar = '$host-ar'
strip = '$host-strip'
windres = '$host-windres'
pkgconfig = 'pkg-config'
exe_wrapper = '/usr/lib/wine/wine64'

[properties]
pkg_config_libdir = '$prefix/lib/pkgconfig'

[host_machine]
system = 'windows'
cpu_family = 'x86_64'
cpu = 'x86_64'
endian = 'little'
INI
meson_lib() {  # name, options...
  local name="$1"; shift
  (cd "$work/$name" && meson setup _build --cross-file "$cross" --prefix "$prefix" --libdir lib \
    --buildtype release --wrap-mode=nodownload -Ddefault_library=shared "$@" >&2)
  ninja -C "$work/$name/_build" -j"$jobs" >&2
  ninja -C "$work/$name/_build" install >&2
}
export WINEPREFIX="${WINEPREFIX:-$work/wine}" WINEDEBUG=-all WINEPATH="$prefix/bin"
export PKG_CONFIG_LIBDIR="$prefix/lib/pkgconfig" PKG_CONFIG_PATH=""

log "libffi"
unpack libffi-3.4.6
(cd "$work/libffi-3.4.6" && ./autogen.sh >&2 &&
  ./configure --host=$host CC=$host-gcc-posix --prefix="$prefix" --disable-docs --disable-static >&2 &&
  make -j"$jobs" >&2 && make install >&2)

log "pcre2"
unpack pcre2-10.42
cmake_lib pcre2-10.42 -DPCRE2_BUILD_PCRE2GREP=OFF -DPCRE2_BUILD_TESTS=OFF -DPCRE2_SUPPORT_UNICODE=ON

log "glib"
unpack glib-2.74.6
mkdir -p "$work/glib-2.74.6/subprojects"
rm -rf "$work/glib-2.74.6/subprojects/gvdb" "$work/glib-2.74.6/subprojects/proxy-libintl"
mkdir -p "$work/glib-2.74.6/subprojects/gvdb" "$work/glib-2.74.6/subprojects/proxy-libintl"
tar -xJf "$deps/gvdb-0854af0fdb6d.tar.xz" -C "$work/glib-2.74.6/subprojects/gvdb" --strip-components=1
tar -xJf "$deps/proxy-libintl-33934de09af6.tar.xz" -C "$work/glib-2.74.6/subprojects/proxy-libintl" --strip-components=1
meson_lib glib-2.74.6 -Dtests=false -Dinstalled_tests=false -Dgtk_doc=false -Dman=false -Dxattr=false \
  -Dnls=disabled -Dlibmount=disabled -Dselinux=disabled -Dsysprof=disabled -Dglib_debug=disabled

log "libxml2"
unpack libxml2-2.11.9
cmake_lib libxml2-2.11.9 -DLIBXML2_WITH_PYTHON=OFF -DLIBXML2_WITH_ICONV=OFF -DLIBXML2_WITH_LZMA=OFF \
  -DLIBXML2_WITH_TESTS=OFF -DLIBXML2_WITH_PROGRAMS=OFF -DLIBXML2_WITH_ZLIB=ON \
  -DZLIB_LIBRARY=/usr/$host/lib/libz.dll.a -DZLIB_INCLUDE_DIR=/usr/$host/include

log "aravis"
unpack aravis-0.8.26
meson_lib aravis-0.8.26 -Dviewer=disabled -Dgst-plugin=disabled -Dusb=disabled -Dpacket-socket=disabled \
  -Dintrospection=disabled -Ddocumentation=disabled -Dtests=false

# The posix thread model's runtime beside the engine's DLLs.
cp /usr/lib/gcc/$host/*-posix/libstdc++-6.dll /usr/lib/gcc/$host/*-posix/libgcc_s_seh-1.dll \
  /usr/$host/lib/libwinpthread-1.dll "$prefix/bin/"
touch "$prefix/.complete"
log "done: $(du -sh "$prefix/bin" | cut -f1) in $prefix/bin"
echo "$prefix"
