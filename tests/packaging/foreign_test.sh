#!/usr/bin/env bash
# Builds the daemon against another maker's libraries and runs it for one turn.
# Usage: foreign_test.sh SOURCE-DIR BUILD-DIR
set -euo pipefail
source_dir=$1 here=$1/tests/packaging work=$2/foreign-platform
fail() { echo "FAILED: $*" >&2; exit 1; }
configure() {
  cmake -S "$source_dir" -B "$work/build" -G Ninja -DVORLENT_PLATFORM="$1" >"$work/said" 2>&1 ||
    { tr -s ' \n' ' ' <"$work/said"; return 1; }
}
rm -rf "$work"
mkdir -p "$work/lib" "$work/bin"
for kind in HALF WHOLE; do
  cc -shared -fPIC -D$kind -o "$work/lib/lib${kind,,}.so" "$here/foreign_platform.c"
done

missing=$(configure "$work/lib/libhalf.so") && fail "half a platform was accepted"
[[ $missing == *"do not give check_mac_in_candidate_satellite, disable_mesh_settings, reset_to_uncfg_mode, ether_etoa, shared_debug_log_init, shared_debug_log_do_write_log. Add the library"* ]] ||
  fail "what is missing is not named: $missing"
missing=$(configure "$work/lib/libnone.so") && fail "a file that is not there was accepted"
[[ $missing == *libnone.so:\ no\ such\ library\ file* ]] || fail "the file is not named: $missing"

configure "-L$work/lib;-lwhole" >/dev/null
cmake --build "$work/build" --target vorlent >/dev/null
ninja -C "$work/build" -t targets all | grep -qE '^(nvram|meshlab):' && fail "the stand-in is built too"
export LD_LIBRARY_PATH=$work/lib PATH=$work/bin:$PATH
printf '#!/bin/sh\necho "${0##*/} $*" >>/tmp/commands\n' | tee "$work/bin/wl" >"$work/bin/vexo_service"
chmod +x "$work"/bin/*
"$source_dir/tools/sandbox" "$source_dir" "$2" bash -c '
  mkdir /tmp/maker_flash
  printf 1 >/tmp/maker_flash/blank_state
  printf uncfg >/tmp/maker_flash/mesh_role_manual
  '"$work"'/build/vorlent >/dev/null
  for _ in {1..200}; do grep -qs cleanup /tmp/maker.log && break; sleep 0.05; done
  cat /tmp/commands /tmp/maker.log* && ls /tmp/maker_flash' >"$work/turn"
for text in "wl add_ie 16 11 02:7E:91 0000000308020101" "vexo_service restart" restart_all_processes \
            "init failed, cleanup." "Default un-configured mode."; do
  grep -qF "$text" "$work/turn" || fail "no \"$text\" in $work/turn"
done

check() {
  RUN="$source_dir/tools/sandbox $source_dir $2 env WRONG=$1" "$source_dir/script/platform-check" \
    "$work/lib/libwhole.so" -- --all --log /tmp/maker.log
}
check nothing "$2" >"$work/check" || fail "the check objects to a platform that behaves: $(cat "$work/check")"
while read -r wrong line; do
  check "$wrong" "$2" >"$work/check" && fail "the check accepts a platform that is wrong: $wrong"
  grep -q "^WRONG  $line" "$work/check" || fail "$wrong: $(cat "$work/check")"
done <<'END'
cut vexoNvramConfig_set (lengths to 64 KiB): a value of 21 bytes
slow time of a call: vexoNvramConfig_get takes 20
case vexoNvramConfig_match: 1 only
line shared_debug_log_do_write_log: the formatted text
exit reset_to_uncfg_mode: it ends the program
END
