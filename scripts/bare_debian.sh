# Sourced by the scripts that prove something in a bare Debian 12 (bash and apt, nothing else), behind common.sh. Needs root
# and debootstrap. DEBIAN_MIRROR names the mirror (else debootstrap's default), QV_FRESH_FOLDER the folder to work in (else
# one under TMPDIR), which is removed afterwards unless QV_FRESH_KEEP is set.

# make_bare_debian: sets `bare`, its folder.
make_bare_debian() {
  if [ "$(id -u)" -ne 0 ] || ! command -v debootstrap >/dev/null; then
    echo "$(basename "$0"): needs root and debootstrap" >&2
    return 1
  fi
  bare=${QV_FRESH_FOLDER:-$(mktemp -d)}
  [ -n "${QV_FRESH_KEEP:-}" ] || trap 'rm -rf --one-file-system "$bare"' EXIT
  mkdir -p "$bare"
  # The root folder of users there.
  chmod 755 "$bare"
  echo "== a bare Debian 12 in $bare"
  if ! debootstrap --variant=minbase bookworm "$bare" ${DEBIAN_MIRROR:+"$DEBIAN_MIRROR"} >"$bare.log" 2>&1; then
    tail "$bare.log" >&2
    return 1
  fi
  rm -f "$bare.log"
}

# inside FOLDER COMMAND...: runs it there, with an empty environment. The mounts live in a name space of their own and
# vanish with the command.
inside() {
  unshare --mount --propagation private bash -c 'mount -t proc proc "$0/proc" && exec chroot "$0" /usr/bin/env -i \
    HOME=/root PATH=/usr/sbin:/usr/bin:/sbin:/bin TERM=dumb bash -c "cd \"\$0\" && exec bash \"\$@\"" "$@"' \
    "$bare" "$@"
}
