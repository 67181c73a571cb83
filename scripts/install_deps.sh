#!/usr/bin/env bash
# Installs the Debian packages that building and testing need, and only those that are missing.
#   scripts/install_deps.sh [--list] [GROUP...]
#     groups: build optional python test format clang sanitizers sources coverage threads package cluster desktop browser
#     peers bench; default: build
# Needs bash and apt; works as root or through sudo. This is the only place that names packages.
set -euo pipefail

build_packages=(g++ cmake ninja-build pkg-config binutils
                libsqlite3-dev libsqlitecpp-dev libtiff-dev libjpeg-dev libpng-dev liblcms2-dev libexif-dev libpugixml-dev
                libgif-dev libopenjp2-7-dev libwebp-dev libcharls-dev
                libblosc-dev libzstd-dev liblz4-dev
                libopenslide-dev libdeflate-dev libseccomp-dev zlib1g-dev libbz2-dev
                libcli11-dev nlohmann-json3-dev libfmt-dev libcpp-httplib-dev)
# Formats that are read when these were there at build time.
optional_packages=(libheif-dev libde265-dev libjxl-dev)
# The Python module is made when these are there at build time.
python_packages=(pybind11-dev python3-dev python3-numpy)
test_packages=(libgtest-dev libgmock-dev libbenchmark-dev libspng-dev "${python_packages[@]}")
format_packages=(clang-format)
clang_packages=(clang)
# Of the fuzzers too; llvm turns the addresses in reports into lines.
sanitizers_packages=(clang libclang-rt-dev llvm)
coverage_packages=(gcovr)
# Valgrind, for its checks of threads.
threads_packages=(valgrind)
# Makes packages and checks them: what is in them, what they promise to programs, what a desktop reads.
package_packages=(dpkg-dev file lintian abigail-tools appstream desktop-file-utils)
# Sources of packages, fetched and unpacked.
sources_packages=(dpkg-dev)
# A browser, to try the pages with.
browser_packages=(chromium)
bench_packages=(libbenchmark-dev libspng-dev strace sqlite3 bc)
# A job scheduler, to prove the scripts for clusters with.
cluster_packages=(slurmctld slurmd slurm-client munge sqlite3)
# What file managers make thumbnails with, to prove ours with.
desktop_packages=(tumbler dbus-daemon libglib2.0-bin shared-mime-info bubblewrap)
# Other makers of thumbnails, to compare with.
peers_packages=(libvips-tools graphicsmagick imagemagick openslide-tools python3-zarr)

usage() { sed -n '2,6s/^# \{0,1\}//p' "$0"; }

list_only=false
groups=()
for argument in "$@"; do
  case $argument in
    build | optional | python | test | format | clang | sanitizers | sources | coverage | threads | package | cluster | desktop | browser | peers | bench) groups+=("$argument") ;;
    --list) list_only=true ;;
    -h | --help) usage; exit 0 ;;
    *) echo "install_deps.sh: unknown group '$argument'" >&2; usage >&2; exit 2 ;;
  esac
done
[ ${#groups[@]} -gt 0 ] || groups=(build)

wanted=()
for group in "${groups[@]}"; do
  declare -n packages_of_group="${group}_packages"
  wanted+=("${packages_of_group[@]}")
done

if $list_only; then
  printf '%s\n' "${wanted[@]}"
  exit 0
fi

if ! command -v apt-get >/dev/null || ! command -v dpkg-query >/dev/null; then
  echo "install_deps.sh: this is not a Debian system (no apt-get). Install these by other means:" >&2
  printf '  %s\n' "${wanted[@]}" >&2
  exit 1
fi

is_installed() {
  local status
  status=$(dpkg-query -W -f '${db:Status-Status}\n' "$1" 2>/dev/null) || return 1
  [[ $status == *installed* && $status != *not-installed* ]]
}

missing=()
for package in "${wanted[@]}"; do
  is_installed "$package" || missing+=("$package")
done
if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi
echo "Installing: ${missing[*]}"

as_root=()
if [ "$(id -u)" -ne 0 ]; then
  if ! command -v sudo >/dev/null; then
    echo "install_deps.sh: these packages are missing and need root to install, but sudo is not there." >&2
    echo "As root, run:  apt-get update && apt-get install --no-install-recommends ${missing[*]}" >&2
    exit 1
  fi
  as_root=(sudo)
fi

apt() {
  ${as_root[@]+"${as_root[@]}"} env DEBIAN_FRONTEND=noninteractive LC_ALL=C \
    apt-get -q -y -o Dpkg::Use-Pty=0 -o DPkg::Lock::Timeout=120 "$@" </dev/null
}

# The lists of a machine that was never updated know no package, and old ones name files that are gone from the mirror.
knows_all() {
  local policy package
  for package in "${missing[@]}"; do
    policy=$(apt-cache policy "$package" 2>/dev/null)
    [[ $policy == *Candidate:* && $policy != *"Candidate: (none)"* ]] || return 1
  done
}

log=$(mktemp)
trap 'rm -f "$log"' EXIT
run() {
  if ! "$@" >"$log" 2>&1; then
    cat "$log" >&2
    return 1
  fi
}
install_missing() { run apt install --no-install-recommends "${missing[@]}"; }

updated=false
update() {
  updated=true
  run apt update || echo "install_deps.sh: apt-get update failed; trying with the lists that are there." >&2
}

knows_all || update
if ! install_missing; then
  if $updated; then
    echo "install_deps.sh: could not install the packages." >&2
    exit 1
  fi
  echo "Trying again with fresh package lists."
  update
  install_missing || { echo "install_deps.sh: could not install the packages." >&2; exit 1; }
fi
