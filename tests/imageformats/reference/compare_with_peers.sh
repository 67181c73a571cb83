#!/usr/bin/env bash
# Compares the thumbnails of real images with those that ImageMagick or libvips makes of them at the same size: the
# structural similarity must reach 0.97. Files in exclusions.tsv are left out, each for the reason that stands there.
#   compare_with_peers.sh THUMBNAIL_PPM SSIM [-v]     the two programs built from this folder; -v lists every file
# Needs ImageMagick and libvips (scripts/install_deps.sh peers) and the folder of real images that QV_SAMPLES names, or
# ../shared/samples beside the checkout. Exit status 77 when one of these is missing.
set -euo pipefail

thumbnail_ppm=$1 ssim=$2 verbose=${3:-}
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
samples=${QV_SAMPLES:-$here/../../../../shared/samples}
threshold=0.97

for program in convert vips; do
  command -v "$program" >/dev/null || { echo "skipped: $program is not installed"; exit 77; }
done
[ -d "$samples" ] || { echo "skipped: no folder of real images"; exit 77; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# scaled FILE OUT.ppm WIDTH HEIGHT: turned as EXIF and TIFF say, over white, in sRGB; enlarged by interpolation between
# the middles of pixels, reduced by averages of areas.
scaled() {
  local width resize
  width=$(identify -format '%w\n' "$1" 2>/dev/null | head -n 1) || return 1
  [ -n "$width" ] || return 1
  if [ "$3" -gt "$width" ]; then resize=(-filter Triangle -resize); else resize=(-scale); fi
  convert "$1" -auto-orient -background white -alpha remove -alpha off -colorspace sRGB -type TrueColor \
    "${resize[@]}" "$3x$4!" -strip -depth 8 ppm:"$2" 2>/dev/null || [ -s "$2" ]
}

by_imagemagick() { scaled "$1[0]" "${@:2}"; }

# Read and turned by libvips, resized as above.
by_libvips() {
  rm -f "$work/peer.png"
  vips autorot "$1" "$work/peer.png[strip]" 2>/dev/null && scaled "$work/peer.png" "${@:2}"
}

# Made by libvips altogether, with its own profiles and filters.
by_vipsthumbnail() {
  rm -f "$work/peer.png"
  vips thumbnail "$1" "$work/peer.png[strip]" "$3" --height "$4" --size force 2>/dev/null &&
    scaled "$work/peer.png" "${@:2}"
}

# best_similarity FILE: the best of them, as "0.9876 by_libvips"; "none" when none reads the file.
best_similarity() {
  local peer value best=none width height
  read -r _ width height _ <"$work/own.ppm" || true
  for peer in by_imagemagick by_libvips by_vipsthumbnail; do
    rm -f "$work/peer.ppm"
    "$peer" "$1" "$work/peer.ppm" "$width" "$height" || continue
    value=$("$ssim" "$work/own.ppm" "$work/peer.ppm" 2>/dev/null) || continue
    if [ "$best" = none ] || awk "BEGIN { exit !($value > ${best%% *}) }"; then best="$value $peer"; fi
    if awk "BEGIN { exit !($value >= $threshold) }"; then break; fi
  done
  echo "$best"
}

compared=0 failed=0
while IFS=$'\t' read -r file outcome _; do
  [ "$outcome" = made ] || continue
  if cut -f 1 "$here/exclusions.tsv" | grep -qxF -e "$file"; then continue; fi
  # A plain name: brackets and colons mean something to the programs.
  extension=${file##*.}
  cp "$samples/$file" "$work/image.${extension,,}"
  "$thumbnail_ppm" "$work/image.${extension,,}" "$work/own.ppm"
  result=$(best_similarity "$work/image.${extension,,}")
  rm -f "$work/image.${extension,,}"
  compared=$((compared + 1))
  [ -z "$verbose" ] || echo "$result  $file"
  if [ "$result" = none ] || awk "BEGIN { exit !(${result%% *} < $threshold) }"; then
    failed=$((failed + 1))
    echo "FAILED: $file: $result"
  fi
done <"$here/../../support/sample_outcomes.tsv"

echo "$compared compared, $failed below $threshold, $(($(wc -l <"$here/exclusions.tsv") - 1)) left out"
[ "$compared" -gt 0 ] && [ "$failed" -eq 0 ]
