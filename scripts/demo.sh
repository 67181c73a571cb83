#!/usr/bin/env bash
# Shows the thumbnail cache at work.
#   scripts/demo.sh [FOLDER]      a folder of your own images; without one, a little lab of samples is made
# Installs what is missing, builds, makes the thumbnails, and writes a gallery to look at. Everything it writes lies in
# build/demo; images are only read.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

help_or_fail 1 "$@"
if [ $# -eq 1 ] && [ ! -d "$1" ]; then
  echo "demo.sh: $1 is not a folder" >&2
  exit 2
fi
images=${1:+$(cd "$1" && pwd)}

"$root/scripts/install_deps.sh" build
echo "Building (log: $log_folder/release-build.log) …"
watched release-build build_preset release
programs=$build_root/release/bin

demo=$build_root/demo
mkdir -p "$demo"
if [ -z "$images" ]; then
  images=$demo/samples
  if [ ! -e "$images/.complete" ]; then
    echo "Making sample images …"
    rm -rf "$images"
    "$programs/qvthumbs-samples" "$images"
    touch "$images/.complete"
  fi
fi

database=$demo/thumbnails.db
gallery=$demo/gallery.html

# Damaged files are part of the samples: they are named with their reasons, and the rest goes on.
status=0
"$programs/qvthumbs" make --recursive --db "$database" "$images" || status=$?
[ "$status" -le 1 ] || exit "$status"
"$programs/qvthumbs" gallery --recursive --db "$database" "$images" -o "$gallery" || [ $? -eq 1 ]
echo
"$programs/qvthumbs" stats --details --db "$database"

echo
echo "images      $images"
echo "thumbnails  $database"
echo "gallery     $gallery"
echo "program     $programs/qvthumbs   (--help says what else it does)"
