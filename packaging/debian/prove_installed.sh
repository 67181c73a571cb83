#!/usr/bin/env bash
# What scripts/prove_packages.sh runs where nothing is installed: the packages lie beside this file.
set -euo pipefail
export DEBIAN_FRONTEND=noninteractive LC_ALL=C
database=/var/lib/qvdocuments/OrbThumbCache.db

quietly() {
  "$@" >log 2>&1 || { tail -n 40 log >&2; echo "FAILED: $*" >&2; exit 1; }
}
step() { echo "== $*"; }

step "the packages are installed with what they need"
quietly apt-get -q update
quietly apt-get -q -y install --no-install-recommends ./*.deb
[ "$(stat -c '%a %G' /var/lib/qvdocuments $database)" = $'2770 qvdocuments\n660 qvdocuments' ]

step "purged before anything was kept, they leave nothing"
quietly apt-get -q -y purge libqvthumbs0
if [ -e /var/lib/qvdocuments ] || getent group qvdocuments; then exit 1; fi

step "a program is built with them alone, by CMake and by pkg-config"
quietly apt-get -q -y install --no-install-recommends ./*.deb g++ make cmake pkg-config
cp -r /usr/share/doc/libqvthumbs-dev/examples viewer
cd viewer
quietly cmake -S . -B build
quietly cmake --build build
quietly build/viewer cmake.db cells.jpg
cmp -n 2 thumbnail0.ppm - <<<P6
mv thumbnail0.ppm by-cmake.ppm
quietly sh -c 'g++ -std=c++20 embed.cpp -o viewer $(pkg-config --cflags --libs qvsystem)'
quietly ./viewer pkg-config.db cells.jpg
cmp thumbnail0.ppm by-cmake.ppm

step "the program works, for members of the group in the file of all users"
quietly useradd --create-home --groups qvdocuments anna
quietly runuser -u anna -- qvthumbs make --all-users /packages/viewer/cells.jpg
quietly qvthumbs stats --all-users
if dpkg --status python3-qvthumbs >/dev/null 2>&1; then
  step "the Python module makes a thumbnail"
  quietly python3 -c 'import qvthumbs
with qvthumbs.open("python.db") as database:
    assert database.thumbnail("cells.jpg").shape[2] == 3'
fi

step "purged now, they keep the books"
cd /packages
quietly apt-get -q -y purge libqvthumbs0
[ -s $database ]
echo "The packages hold what they promise."
