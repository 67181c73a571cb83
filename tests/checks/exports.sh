#!/usr/bin/env bash
# Compares what a component library exports with a checked-in list.
#   exports.sh LIBRARY LIST
# A list holds one mangled name a line; a name behind '?' may be missing; '#' begins a comment. Exits 1 on a difference.
set -euo pipefail
export LC_ALL=C
library=$1
list=$2

names() { sed -E 's/#.*//; s/[[:space:]]//g; /^$/d' "$list"; }
exported=$(nm --dynamic --defined-only --portability --without-symbol-versions "$library" |
  awk '$2 != "A" { print $1 }' | sort -u)
required=$(names | grep -v '^?' | sort -u)
allowed=$(names | sed 's/^?//' | sort -u)

missing=$(comm -13 <(echo "$exported") <(echo "$required"))
surplus=$(comm -23 <(echo "$exported") <(echo "$allowed"))
if [ -n "$missing$surplus" ]; then
  for name in $missing; do echo "$library does not export $name  ($(c++filt "$name"))"; done
  for name in $(head -n 20 <<<"$surplus"); do echo "$library must not export $name  ($(c++filt "$name"))"; done
  [ "$(wc -l <<<"$surplus")" -le 20 ] || echo "… $(wc -l <<<"$surplus") symbols too many in all"
  exit 1
fi
echo "$library exports its $(wc -l <<<"$exported") symbols and nothing else."
