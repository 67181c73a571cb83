#!/usr/bin/env bash
# Checks the rules of the house on the sources: which folder may include which, the size of files, the wording.
#   arrows.sh SOURCE_FOLDER
# Prints every breach as file:line: message and exits 1 when there is one.
set -uo pipefail
export LC_ALL=C
cd "$1" || exit 2

code_folders=(include gnr_thumbnailcache platform host python tools tests fuzz bench docs)
breaches=0
breach() {
  echo "$1"
  breaches=$((breaches + 1))
}

# Both set `room` (functions that print would cost a process each): the room of a file, which is the folder under
# include/ or platform/, else the top folder; and the room that an include names, empty for headers from outside.
room_of_file() {
  case $1 in
    include/*/* | platform/*/*) room=${1#*/}; room=${1%%/*}/${room%%/*} ;;
    *) room=${1%%/*} ;;
  esac
}
room_of_include() {  # INCLUDED INCLUDING_FILE
  if [ -e "include/$1" ]; then
    room=include/${1%%/*}
  elif [ -e "$1" ]; then
    room_of_file "$1"
  elif [ -e "${2%/*}/$1" ]; then
    room_of_file "$(realpath --relative-to=. "${2%/*}/$1")"
  else
    room=
  fi
}

# What a room may include beside itself. Libraries are layered, so there are no circles: system below picture and
# metadata, these below the image formats.
allowed_for() {  # sets `allowed`
  case $1 in
    include/system | platform/system) allowed="include/system" ;;
    include/picture | platform/picture) allowed="include/system include/picture" ;;
    include/metadata | platform/metadata) allowed="include/system include/metadata" ;;
    include/imageformats | platform/imageformats)
      allowed="include/system include/picture include/metadata include/imageformats" ;;
    # The module opens the service and reads files as the program does.
    python) allowed="include/system include/picture include/metadata include/imageformats include/thumbnailcache host" ;;
    *) allowed="include/system include/picture include/metadata include/imageformats include/thumbnailcache" ;;
  esac
}

check_includes() {
  local file line name from room allowed
  while IFS=: read -r file line name; do
    room_of_file "$file"
    from=$room
    room_of_include "$name" "$file"
    [ -n "$room" ] && [ "$room" != "$from" ] || continue
    allowed_for "$from"
    [[ " $allowed " == *" $room "* ]] || breach "$file:$line: $from must not include $name ($room)"
  done < <(grep -rnE --include='*.h' --include='*.cpp' --include='*.inc' '^[[:space:]]*#[[:space:]]*include' \
    include gnr_thumbnailcache platform host python tools |
    sed -E 's/^([^:]*:[0-9]+:)[[:space:]]*#[[:space:]]*include[[:space:]]*["<]([^">]*)[">].*/\1\2/')
}

# What the rooms of a house with several floors may include beside themselves: only what stands below them. A file lies
# in the longest of the folders that it is below.
component_rooms='base memory database textinfo stored experiments thumbnails service'
allowed_for_component_room() {  # sets `allowed`
  case $1 in
    memory | database) allowed="base" ;;
    textinfo | stored | experiments) allowed="base database" ;;
    thumbnails) allowed="base database memory textinfo" ;;
    service) allowed="base database memory textinfo stored experiments thumbnails" ;;
    *) allowed="" ;;
  esac
}

format_rooms='base render planes codec arrays jpeg/stream jpeg/block_means jpeg
  fits mrc nifti nrrd
  png
  bmp gif pnm jpeg2000 dicom webp heif jxl
  tiff/directory tiff/blocks tiff/rows tiff/ome
  tiff/dataset tiff/description tiff wsi
  zarr/store zarr/array zarr/ngff zarr
  process component decoder'
allowed_for_format_room() {  # sets `allowed`
  local decoders='base render codec jpeg/stream jpeg/block_means jpeg'
  case $1 in
    base) allowed="" ;;
    render) allowed="base" ;;
    planes) allowed="base render" ;;
    codec) allowed="base render" ;;
    arrays) allowed="base render planes codec" ;;
    fits | mrc | nifti | nrrd) allowed="base render planes codec arrays" ;;
    jpeg/stream) allowed="base" ;;
    jpeg/block_means) allowed="base render jpeg/stream" ;;
    jpeg) allowed="base render codec jpeg/stream jpeg/block_means" ;;
    png) allowed="base render codec" ;;
    bmp) allowed="base render codec" ;;
    gif) allowed="base render codec" ;;
    pnm) allowed="base render codec" ;;
    jpeg2000) allowed="base render codec" ;;
    webp) allowed="base render codec" ;;
    heif | jxl) allowed="base render codec" ;;
    dicom) allowed="base render codec jpeg jpeg2000" ;;
    tiff/directory) allowed="base render" ;;
    tiff/blocks) allowed="$decoders jpeg2000 tiff/directory" ;;
    tiff/rows) allowed="$decoders tiff/directory tiff/blocks" ;;
    tiff/ome) allowed="base" ;;
    tiff/dataset) allowed="base render planes tiff/directory tiff/ome" ;;
    tiff/description) allowed="base render codec tiff/directory tiff/ome tiff/dataset" ;;
    tiff)
      allowed="base render planes codec tiff/directory tiff/blocks tiff/rows tiff/ome tiff/dataset tiff/description" ;;
    wsi) allowed="base render codec tiff/directory" ;;
    zarr/store) allowed="base" ;;
    zarr/array) allowed="base render planes zarr/store" ;;
    zarr/ngff) allowed="base render planes zarr/store zarr/array" ;;
    zarr) allowed="base render planes codec zarr/store zarr/array zarr/ngff" ;;
    process) allowed="base codec" ;;
    component)
      allowed="base render planes codec arrays jpeg png tiff wsi process"
      allowed+=" fits mrc nifti nrrd"
      allowed+=" bmp gif pnm jpeg2000 dicom webp heif jxl"
      allowed+=" zarr"
      ;;
    decoder) allowed="base codec process component" ;;
    *) allowed="" ;;
  esac
}

inner_room_of() {  # HOUSE ROOMS FILE; sets `room`; `none` for a file outside all of them
  room=none
  local candidate
  for candidate in $2; do
    [[ $3 == "$1/$candidate/"* ]] || continue
    [ "$room" != none ] && [ ${#candidate} -lt ${#room} ] || room=$candidate
  done
}

check_rooms() {  # HOUSE ROOMS ALLOWED_FOR_ROOM
  local file line name from room allowed
  while IFS=: read -r file line name; do
    inner_room_of "$1" "$2" "$file"
    from=$room
    [ "$from" != none ] || breach "$file:1: no room of $1"
    inner_room_of "$1" "$2" "$name"
    [ "$room" != "$from" ] || continue
    "$3" "$from"
    [[ " $allowed " == *" $room "* ]] || breach "$file:$line: $from must not include $name ($room)"
  done < <(grep -rnoE --include='*.h' --include='*.cpp' --include='*.inc' \
    "^[[:space:]]*#[[:space:]]*include[[:space:]]*\"$1/[^\"]*" "$1" | sed -E 's/^([^:]*:[0-9]+:).*"/\1/')
}

# The links of the platform libraries follow the same layers as their includes.
check_links() {
  local file library
  for library in system picture metadata; do
    file=platform/$library/CMakeLists.txt
    [ -e "$file" ] || continue
    local forbidden='gnr_|qvpicture|qvmetadata'
    case $library in
      picture) forbidden='gnr_|qvmetadata' ;;
      metadata) forbidden='gnr_|qvpicture' ;;
    esac
    while IFS=: read -r line text; do
      breach "$file:$line: the $library library must not link this: $text"
    done < <(grep -nE "(PUBLIC|PRIVATE).*($forbidden)" "$file")
  done
  while IFS=: read -r line text; do
    breach "gnr_thumbnailcache/CMakeLists.txt:$line: the component reaches other components through the registry: $text"
  done < <(grep -nE '(PUBLIC|PRIVATE).*gnr_imageformats' gnr_thumbnailcache/CMakeLists.txt)
}

# What tests, benchmarks and fuzzers have in common is in tests/support, which stands on the interfaces alone.
check_test_includes() {
  local file line name own
  while IFS=: read -r file line name; do
    case $name in
      tests/support/*) continue ;;
      tests/*) own=${name#tests/}; own=tests/${own%%/*} ;;
      *) [[ $file == tests/support/* && ! -e include/$name ]] || continue; own= ;;
    esac
    [[ -n $own && $file == "$own"/* ]] || breach "$file:$line: this must not include $name"
  done < <(grep -rnoE --include='*.h' --include='*.cpp' '^[[:space:]]*#[[:space:]]*include[[:space:]]*"[^"]*' \
    tests bench fuzz | sed -E 's/^([^:]*:[0-9]+:).*"/\1/')
}

check_sizes() {
  local count file
  while read -r count file; do
    [ "$file" != total ] && [ "$count" -gt 600 ] && breach "$file:1: $count lines; no file has more than 600"
  done < <(find "${code_folders[@]}" scripts cmake packaging \
    \( -name '*.h' -o -name '*.cpp' -o -name '*.inc' -o -name '*.sh' -o -name '*.py' -o -name '*.cmake' -o -name CMakeLists.txt \) \
    -exec wc -l {} +)
}

# Every text stands on its own: nothing is left for later, no path is that of one person's machine, and a document that
# is named is there.
check_wording() {
  local texts=("${code_folders[@]}" scripts cmake packaging .ci ./*.md CMakeLists.txt CMakePresets.json)
  local file line text name
  while IFS=: read -r file line text; do
    breach "$file:$line: wording: $(cut -c1-160 <<<"$text")"
  done < <(
    grep -rnEI --exclude=arrows.sh '\b(TODO|FIXME|XXX)\b' "${texts[@]}"
    grep -rnEI --exclude=arrows.sh --exclude='*.md' '(^|[^A-Za-z0-9_.])/(home|Users)/[a-z]' "${texts[@]}"
  )
  while IFS=: read -r file line name; do
    [ -e "$name" ] || [ -e "${file%/*}/$name" ] || breach "$file:$line: there is no $name"
  done < <(grep -rnoEI --exclude=arrows.sh '[A-Za-z0-9_][A-Za-z0-9_/-]*[.]md\b' "${texts[@]}")
}

check_includes
check_rooms gnr_thumbnailcache "$component_rooms" allowed_for_component_room
check_rooms platform/imageformats "$format_rooms" allowed_for_format_room
check_links
check_sizes
check_wording
check_test_includes
[ "$breaches" -eq 0 ] || { echo "$breaches breaches"; exit 1; }
echo "Includes, links, sizes and wording keep the rules."
