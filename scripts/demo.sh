#!/usr/bin/env bash
# Shows the thumbnail cache at work.
#   scripts/demo.sh [FOLDER]      a folder of your own images; without one, a little lab of samples is made
# Installs what is missing, builds, makes the thumbnails, and writes a gallery to look at. Everything it writes lies in
# build/demo; images are only read. At the end it shows the same images live, under an address that it prints, until
# Ctrl-C; without a terminal it only looks whether the page comes, and ends.
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

serve=("$programs/qvthumbs" serve --db "$database" "$images")
echo
echo "The same live, with thumbnails made as they are looked at:  ${serve[*]}"
if [ -t 1 ]; then
  exec "${serve[@]}"
fi

# page_of ADDRESS: what the server answers, with nothing but bash.
page_of() {
  local path=${1#http://*/} host=${1#http://}
  host=${host%%/*}
  exec {connection}<>"/dev/tcp/${host%:*}/${host#*:}"
  printf 'GET /%s HTTP/1.1\r\nHost: %s\r\nConnection: close\r\n\r\n' "$path" "$host" >&"$connection"
  cat <&"$connection"
  exec {connection}>&-
}

coproc server { exec "${serve[@]}" 2>&1; }
server_process=$server_PID
trap 'kill "$server_process" 2>/dev/null || true; wait' EXIT
read -r -t 60 address <&"${server[0]}" || true
[[ $address == http://* ]] || { echo "demo.sh: the live gallery did not start: $address" >&2; exit 1; }
page=$(page_of "$address")
[[ $page == "HTTP/1.1 200"*"</html>"* ]] || { echo "demo.sh: no page comes from $address: ${page:0:200}" >&2; exit 1; }
echo "It was there at $address (${#page} characters), and is ended now: there is no terminal to end it from."
