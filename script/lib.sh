# Shared by the scripts of this folder; sourced, never run.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
jobs=$(nproc)

say() { printf '%s\n' "$*"; }
die() { printf '%s: %s\n' "${0##*/}" "$*" >&2; exit 1; }

# The comment at the head of the script that runs is its help.
show_help() { sed -n '2,/^source /{/^#/s/^# \{0,1\}//p}' "$0"; }
wrong_use() {
  { printf '%s: %s\n' "${0##*/}" "$*"; show_help | grep '^Usage:'; } >&2
  exit 2
}
for word in "$@"; do
  case $word in
    --) break ;;
    -h | --help) show_help; exit 0 ;;
  esac
done

# Installs the Debian packages named that are not there yet; asks for nothing when none is missing.
need_packages() {
  local missing=() package
  for package in "$@"; do
    [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] ||
      missing+=("$package")
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  local as_root=()
  local by_hand="an administrator has to run:
apt-get install --no-install-recommends ${missing[*]}"
  [ "$(id -u)" = 0 ] || as_root=(sudo)
  [ "$(id -u)" = 0 ] || command -v sudo >/dev/null ||
    die "packages are missing, and there is no sudo; $by_hand"
  say "Installing from Debian: ${missing[*]}"
  # One script at a time.
  { flock 9 && "${as_root[@]}" apt-get update -qq && "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null; } 9<"$root/script/lib.sh" ||
    die "packages are missing, and they could not be installed, see above; $by_hand"
}

# Prints the address and the suite of the host's own Debian archive, without its update archives,
# which are now and then out of step.
debian_archive() {
  apt-get indextargets --format '$(REPO_URI) $(CODENAME)' 'Created-By: Packages' 'Component: main' |
    awk '!/-(updates|security)$/ && !n++ { print } END { exit !n }' ||
    die "apt knows no Debian archive with a component main; see /etc/apt/sources.list"
}

# What the daemon may be at most, for whatever processor: bytes of its stripped file, libraries needed.
most_bytes=150000 most_libraries=5

lab_packages=(g++ cmake ninja-build pkg-config libssl-dev libcjson-dev libcli11-dev libcpp-httplib-dev bubblewrap)
build_packages=("${lab_packages[@]}" libgtest-dev libgmock-dev libnl-genl-3-dev libpcap-dev libwpa-client-dev)

# On a terminal, one line of it at a time.
show_progress() {
  local line
  [ -t 1 ] || { cat >/dev/null; return; }
  while IFS= read -r line; do printf '\r\033[K%.79s' "$line"; done
  printf '\r\033[K'
}

# Builds the folder $1, and leaves the last line only; where it fails, all that the compiler said.
# More arguments are CMake's. Two scripts may want the same folder: one at a time.
build_quietly() {
  {
    flock 8
    cmake --build "$1" -j "$jobs" "${@:2}" 2>&1 8<&- | tee "$1/build.log" | show_progress ||
      { cat "$1/build.log" >&2; die "$1 does not build; see above"; }
    tail -n 1 "$1/build.log"
  } 8<"$1"
}

# Configures the folder $1 by the preset $2 and the CMake options that follow, also where it was
# configured with others.
configure_in() {
  local folder=$1 generator
  # A folder that somebody has configured keeps the generator it has.
  generator=$(sed -n 's/^CMAKE_GENERATOR:.*=//p' "$folder/CMakeCache.txt" 2>/dev/null) || true
  mkdir -p "$folder"
  flock "$folder" cmake -S "$root" --preset "$2" -B "$folder" -G "${generator:-Ninja}" "${@:3}" >/dev/null
}

# The same, and builds it.
build_in() {
  configure_in "$@"
  build_quietly "$1"
}
