#!/usr/bin/env bash
# Builds the Debian packages: the program, its libraries, what other programs are built with, and the Python module when
# the build has it.
#   scripts/package.sh           writes build/release/packages/*.deb, has lintian look at them, and prints their paths
# scripts/prove_packages.sh tries them; docs/packages.md says what is in which.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

help_or_fail 0 "$@"
"$root/scripts/install_deps.sh" build package
watched release-build build_preset release
packages=$build_root/release/packages
rm -rf "$packages"
logged package cmake --build "$build_root/release" --target package
logged lintian lintian --allow-root --fail-on error,warning "$packages"/*.deb
ls "$packages"/*.deb
