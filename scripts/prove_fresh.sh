#!/usr/bin/env bash
# Runs scripts in a bare Debian 12 (bash and apt, nothing else) to show that they need no more than that.
#   scripts/prove_fresh.sh [COMMAND...]       default: scripts/demo.sh and then scripts/test.sh all
# Needs root and debootstrap. DEBIAN_MIRROR names the mirror (else debootstrap's default), QV_FRESH_FOLDER the folder to
# work in (else one under TMPDIR); it is removed afterwards unless QV_FRESH_KEEP is set.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

case ${1:-} in
  -h | --help) usage; exit 0 ;;
esac
if [ "$(id -u)" -ne 0 ] || ! command -v debootstrap >/dev/null; then
  echo "prove_fresh.sh: needs root and debootstrap" >&2
  exit 1
fi

folder=${QV_FRESH_FOLDER:-$(mktemp -d)}
clean_up() {
  [ -n "${QV_FRESH_KEEP:-}" ] || rm -rf --one-file-system "$folder"
}
trap clean_up EXIT

mkdir -p "$folder"
echo "== a bare Debian 12 in $folder"
if ! debootstrap --variant=minbase bookworm "$folder" ${DEBIAN_MIRROR:+"$DEBIAN_MIRROR"} >"$folder.log" 2>&1; then
  tail "$folder.log" >&2
  exit 1
fi
rm -f "$folder.log"
mkdir -p "$folder/checkout"
tar -C "$root" --exclude=./build --exclude=./.git -c . | tar -C "$folder/checkout" -x

# The mounts live in a name space of their own and vanish with the command.
inside() {
  unshare --mount --propagation private bash -c 'mount -t proc proc "$0/proc" && exec chroot "$0" /usr/bin/env -i \
    HOME=/root PATH=/usr/sbin:/usr/bin:/sbin:/bin TERM=dumb bash -c "cd /checkout && exec bash \"\$@\"" bash "$@"' \
    "$folder" "$@"
}

if [ $# -gt 0 ]; then
  inside "$@"
else
  start=$SECONDS
  inside scripts/demo.sh
  echo "== demo.sh: $((SECONDS - start)) s"
  start=$SECONDS
  inside scripts/test.sh all
  echo "== test.sh all: $((SECONDS - start)) s"
fi
