#!/usr/bin/env bash
# Checks the desktop's files with the desktop's own validators; 77, which skips the test, where they are missing.
#   desktop.sh FOLDER
set -euo pipefail
cd "$1"

for program in desktop-file-validate appstreamcli; do
  command -v $program >/dev/null || { echo "there is no $program (scripts/install_deps.sh package)"; exit 77; }
done
desktop-file-validate --warn-kde qvthumbs.desktop
appstreamcli validate --no-net ./*.metainfo.xml

# What the entries name is there.
grep -q "<launchable type=\"desktop-id\">qvthumbs.desktop<" ./*.metainfo.xml
[ -e "$(sed -n 's/^Icon=//p' qvthumbs.desktop).svg" ]
