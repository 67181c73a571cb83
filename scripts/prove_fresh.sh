#!/usr/bin/env bash
# Runs scripts in a bare Debian 12 (bash and apt, nothing else) to show that they need no more than that.
#   scripts/prove_fresh.sh [COMMAND...]       default: scripts/demo.sh and then scripts/test.sh all
# Needs root and debootstrap; scripts/bare_debian.sh says what else can be set.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
source "$root/scripts/bare_debian.sh"

case ${1:-} in
  -h | --help) usage; exit 0 ;;
esac
make_bare_debian
mkdir -p "$bare/checkout"
tar -C "$root" --exclude=./build --exclude=./.git -c . | tar -C "$bare/checkout" -x

if [ $# -gt 0 ]; then
  inside /checkout "$@"
else
  start=$SECONDS
  # On a terminal it would wait there to be ended.
  inside /checkout scripts/demo.sh | cat
  echo "== demo.sh: $((SECONDS - start)) s"
  start=$SECONDS
  inside /checkout scripts/test.sh all
  echo "== test.sh all: $((SECONDS - start)) s"
fi
