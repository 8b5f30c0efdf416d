#!/usr/bin/env bash
# Makes the OpenWrt package as that system's build would, and plays its settings into NVRAM.
# Usage: openwrt_test.sh SOURCE-DIR BUILD-DIR
set -euo pipefail
fail() { echo "FAILED: $*" >&2; exit 1; }
here=$1/tests/packaging work=$2/openwrt
root=$work/root
rm -rf "$work"
mkdir -p "$work"/{bin,sources}
cp "$here/openwrt_rules.mk" "$work/rules.mk"
touch "$work"/{package,cmake}.mk
make_it() { make -s -C "$1/packaging/openwrt/vorlent" TOPDIR="$work" OUT="$work" "${@:2}"; }

# The sources that the package takes along are enough, and it gives CMake no option that is not there.
make_it "$1" prepare
mapfile -t options < <(make_it "$1" options)
cmake -S "$work/sources" -B "$work/build" "${options[@]}" >"$work/said" 2>&1 || fail "$(cat "$work/said")"
grep -q Warning "$work/said" && fail "$(cat "$work/said")"
find "$2" -maxdepth 1 -type f -perm -u+x -exec cp {} "$work/build" \;
DESTDIR=$work/installed cmake --install "$work/build" --prefix /usr >"$work/said"
make_it "$1" package

files=$(cd "$root" && find . -type f -printf '%m %P\n' | sort -k 2)
[ "$files" = "600 etc/config/vorlent
755 etc/init.d/vorlent
755 etc/init.d/vorlent-settings
644 lib/upgrade/keep.d/vorlent
755 usr/bin/nvram
755 usr/sbin/vorlent" ] || fail "the package holds $files"
{ read -r version; read -r depends; mapfile -t kept; } < <(make_it "$1" said)
grep -q "^project(vorlent VERSION $version " "$1/CMakeLists.txt" || fail "$version is not the project's version"
for file in "${kept[@]}"; do [ -e "$root$file" ] || fail "$file is to be kept, and not there"; done
for library in $(readelf -d "$root"/usr/*bin/* | sed -n 's/.*NEEDED.*\[\(.*\)\.so.*/\1/p' | sort -u); do
  case $library in
    libc | libm | libgcc_s | ld-*) continue ;;
    libcrypto) name=libopenssl ;;
    libcjson) name=cJSON ;;
    libstdc++) name=libstdcpp ;;
    *) name=$library ;;
  esac
  [[ " $depends " == *" +$name "* ]] || fail "$library is linked, and $name not depended upon"
done
cmp "$1/packaging/procd/vorlent.init" "$root/etc/init.d/vorlent"
shellcheck -s dash -e SC2016,SC2034,SC2174 "$root"/etc/init.d/* "$1/packaging/procd/vorlent-linux.init"

# What the init script finds on such a system, as much as it calls. A file of settings reads as shell.
cat >"$work/play" <<'STANDIN'
config() { config_cb "$@"; }
option() { option_cb "$@"; }
list() { list_cb "$@"; }
config_load() { [ -s "/tmp/$1" ] && . "/tmp/$1" && config_cb; }
procd_open_instance() { :; }
procd_close_instance() { :; }
procd_set_param() { [ "$1" != command ] || { shift; ! kill "$(cat /tmp/runs)"; "$@" & echo $! >/tmp/runs; }; }
procd_add_reload_trigger() { echo "follows $1"; }
STANDIN
sed 's|/etc/vorlent|/tmp/flash|; s|sleep 5|sleep 0.1|' "$root/etc/init.d/vorlent-settings" >>"$work/play"
echo start_service >>"$work/play"
printf '#!/bin/sh\necho "$*" >>/tmp/said\n' >"$work/bin/logger"
chmod +x "$work/bin/logger"
dash -n "$root/etc/init.d/vorlent" || fail "dash does not read the daemon's script"
PATH=$work/bin:$root/usr/bin:$PATH "$1/tools/sandbox" "$1" "$2" bash -eu "$here/openwrt_settings.sh" \
  "$root/etc/config/vorlent" dash "$work/play" || fail "under dash"
