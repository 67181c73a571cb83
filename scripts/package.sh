#!/usr/bin/env bash
# Builds the Debian package of the program, its libraries and documents.
#   scripts/package.sh           writes build/release/qvthumbs_*.deb and prints its path
# Members of the group qvdocuments share the all-users database: adduser NAME qvdocuments
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

help_or_fail 0 "$@"
"$root/scripts/install_deps.sh" build package
watched release-build build_preset release
rm -f "$build_root"/release/qvthumbs_*.deb
logged package cmake --build "$build_root/release" --target package
ls "$build_root"/release/qvthumbs_*.deb
