#!/usr/bin/env bash
# Builds the codec libraries with the fuzzers' instruments, so that a fuzzer sees into them: libtiff, libpng and libjpeg
# of the versions that this Debian has.
#   fuzz/instrumented_libraries.sh     prints the folder for PKG_CONFIG_PATH; builds only what is not there yet
# Sources come through apt, with a list of sources of its own; the machine's stay as they are.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/common.sh"

help_or_fail 0 "$@"
"$root/scripts/install_deps.sh" build sanitizers sources >&2

work=$build_root/fuzz-libraries
prefix=$work/installed
mkdir -p "$work/apt/lists/partial" "$work/apt/cache/archives/partial" "$work/source"

release=$(. /etc/os-release && echo "$VERSION_CODENAME")
mirror=$(apt-cache policy | sed -n "s|^ *[0-9]* \(http[^ ]*/debian\) $release/main .*|\1|p" | head -n 1)
echo "deb-src [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] ${mirror:-http://deb.debian.org/debian} $release main" \
  >"$work/apt/sources.list"
apt_here() {
  apt-get -q -o Dir::Etc::sourcelist="$work/apt/sources.list" -o Dir::Etc::sourceparts=- \
    -o Dir::State::lists="$work/apt/lists" -o Dir::Cache="$work/apt/cache" -o APT::Sandbox::User=root "$@" >&2
}

# A library that is asked for again is fetched and built anew only when its folder is gone.
fetch() {
  [ -d "$work/source/$1" ] && return
  [ -n "$(ls "$work/apt/lists"/*Sources* 2>/dev/null)" ] || apt_here update
  rm -rf "$work/source/.fetched"
  mkdir -p "$work/source/.fetched"
  (cd "$work/source/.fetched" && apt_here source --download-only "$1")
  (cd "$work/source/.fetched" && dpkg-source --no-check -x ./*.dsc tree >&2)
  mv "$work/source/.fetched/tree" "$work/source/$1"
}

flags="-O1 -g1 -fno-omit-frame-pointer -fsanitize=address,undefined,fuzzer-no-link -fno-sanitize=alignment,shift,function"
build() {
  local name=$1
  shift
  [ -e "$work/$name.built" ] && return
  fetch "$name"
  PKG_CONFIG_PATH=$prefix/lib/pkgconfig cmake -S "$work/source/$name" -B "$work/$name" -G Ninja -DCMAKE_BUILD_TYPE=None \
    -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_C_FLAGS="$flags" -DCMAKE_CXX_FLAGS="$flags" \
    -DCMAKE_INSTALL_PREFIX="$prefix" -DCMAKE_INSTALL_LIBDIR="$prefix/lib" -DCMAKE_PREFIX_PATH="$prefix" \
    -DCMAKE_POSITION_INDEPENDENT_CODE=ON "$@" >&2
  cmake --build "$work/$name" --parallel "$jobs" --target install >&2
  touch "$work/$name.built"
}

build libjpeg-turbo -DENABLE_STATIC=OFF -DWITH_SIMD=OFF -DWITH_TURBOJPEG=OFF -DWITH_JPEG8=OFF
build libpng1.6 -DPNG_STATIC=OFF -DPNG_TESTS=OFF -DPNG_EXECUTABLES=OFF
build tiff -DBUILD_SHARED_LIBS=ON -Dtiff-tools=OFF -Dtiff-tests=OFF -Dtiff-contrib=OFF -Dtiff-docs=OFF
echo "$prefix/lib/pkgconfig"
