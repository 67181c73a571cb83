#!/usr/bin/env bash
# Installs a build somewhere, and builds and runs the guide's example with nothing but what was installed.
#   installed.sh BUILD_FOLDER EXAMPLES COMPILER
set -euo pipefail
build=$1
examples=$2
compiler=$3
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

quietly() { "$@" >"$folder/log" 2>&1 || { cat "$folder/log"; echo "failed: $*"; exit 1; }; }

for component in libraries development; do
  quietly cmake --install "$build" --prefix "$folder/prefix" --component $component
done
mkdir "$folder/viewer"
cp "$examples"/viewer/CMakeLists.txt "$examples"/embed.cpp "$examples"/cells.jpg "$folder/viewer"
cd "$folder/viewer"
quietly cmake -S . -B build -DCMAKE_PREFIX_PATH="$folder/prefix" -DCMAKE_CXX_COMPILER="$compiler"
quietly cmake --build build
quietly build/viewer viewer.db cells.jpg
[ -s thumbnail0.ppm ] || { echo "the example made no thumbnail"; exit 1; }

flags=$(PKG_CONFIG_PATH=$folder/prefix/share/pkgconfig pkg-config --cflags --libs qvpicture)
for flag in include/qvthumbs lib/qvthumbs -lqvpicture -lqvsystem; do
  [[ $flags == *"$flag"* ]] || { echo "pkg-config says nothing of $flag: $flags"; exit 1; }
done
echo "What is installed is enough to build a program with."
