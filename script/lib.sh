# Shared by the scripts of this folder; sourced, never run.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
jobs=$(nproc)

say() { printf '%s\n' "$*"; }
die() { printf '%s: %s\n' "${0##*/}" "$*" >&2; exit 1; }

# Installs the Debian packages named that are not there yet; asks for nothing when none is missing.
need_packages() {
  local missing=() package
  for package in "$@"; do
    [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] ||
      missing+=("$package")
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  newly_installed=1
  say "Installing from Debian: ${missing[*]}"
  local as_root=()
  [ "$(id -u)" = 0 ] || as_root=(sudo)
  "${as_root[@]}" apt-get update -qq
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq \
    --no-install-recommends "${missing[@]}" >/dev/null
}

build_packages=(g++ cmake ninja-build pkg-config libssl-dev libcjson-dev libcli11-dev
  libgtest-dev libgmock-dev bubblewrap)

# Configures (once, or anew where a package has come) and builds the folder $1 with the CMake options that follow.
build_in() {
  local folder=$1
  shift
  [ -e "$folder/build.ninja" ] && [ -z "${newly_installed:-}" ] || cmake -S "$root" -B "$folder" -G Ninja "$@" >/dev/null
  cmake --build "$folder" -j "$jobs" | tail -n 1
}
