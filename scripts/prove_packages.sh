#!/usr/bin/env bash
# Installs the packages that scripts/package.sh has made in a bare Debian 12, builds the example of docs/host-guide.md there
# with nothing else of this tree, and removes them again.
#   scripts/prove_packages.sh
# Needs root and debootstrap; scripts/bare_debian.sh says what can be set.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
source "$root/scripts/bare_debian.sh"

help_or_fail 0 "$@"
packages=("$build_root"/release/packages/*.deb)
[ -e "${packages[0]}" ] || { echo "prove_packages.sh: there are no packages; run scripts/package.sh first" >&2; exit 1; }
make_bare_debian
mkdir "$bare/packages"
cp "${packages[@]}" "$bare/packages"
cp "$root/packaging/debian/prove_installed.sh" "$bare/packages"
inside /packages prove_installed.sh
