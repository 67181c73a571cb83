#!/usr/bin/env bash
# Checks that every script explains itself when it is asked to, and does nothing else then.
#   scripts_help.sh TREE
set -uo pipefail

tree=$1
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
breaches=0

# Whatever installs, builds or submits leaves a note instead.
for program in apt-get sudo cmake ninja ctest debootstrap sbatch parallel valgrind; do
  printf '#!/bin/sh\necho "%s" >>"%s/called"\nexit 1\n' "$program" "$folder" >"$folder/$program"
  chmod +x "$folder/$program"
done

for script in "$tree"/scripts/*.sh "$tree"/scripts/cluster/*.sh "$tree"/bench/*.sh "$tree"/fuzz/*.sh; do
  case $(basename "$script") in common.sh | bare_debian.sh) continue ;; esac  # for others to source
  for option in --help -h; do
    rm -f "$folder/called"
    text=$(PATH=$folder:$PATH timeout 60 bash "$script" $option </dev/null 2>/dev/null)
    status=$?
    if [ $status -ne 0 ] || [ -z "$text" ] || [ -e "$folder/called" ]; then
      echo "$script $option: exit status $status, started: $(cat "$folder/called" 2>/dev/null || echo nothing)"
      breaches=$((breaches + 1))
    fi
  done
done

[ $breaches -eq 0 ] && echo "Every script explains itself."
[ $breaches -eq 0 ]
