#!/usr/bin/env bash
# Installs into unusual folders, at another prefix than configured: what is named there is there.
# Usage: install_test.sh SOURCE-DIR BUILD-DIR
set -euo pipefail
fail() { echo "FAILED: $*" >&2; exit 1; }
work=$2/install root=$2/install/root
rm -rf "$work"
cmake -S "$1" -B "$work" -DVORLENT_TESTS=OFF -DCMAKE_INSTALL_SBINDIR="/opt/s bin" -DVORLENT_UNIT_DIR=/lib/systemd \
  -DCMAKE_INSTALL_LIBEXECDIR=lib/multi/arch -DCMAKE_INSTALL_DATADIR=/else/data >"$work.log"
(cd "$2" && find . -maxdepth 2 -type f -perm -u+x ! -path "./install/*" ! -path "./openwrt/*" ! -path "./foreign-platform/*" -exec cp --parents {} "$work" \;)
DESTDIR=$root cmake --install "$work" --prefix /else >>"$work.log"
links=$(find "$root" -type l)
[ "$(wc -l <<<"$links")" = 5 ] || fail "not five links: $links"
while read -r link; do
  to=$(readlink "$link")
  [[ $to = /* ]] && to=$root$to || to=${link%/*}/$to
  [ -e "$to" ] || fail "$link dangles"
done <<<"$links"
[ -e "$root/else/data/vorlent/wireshark/vorlent.lua" ] || fail "the dissector is not there"
[ -e "$root/opt/s bin/vorlent" ] && grep -qx 'ExecStart="/opt/s bin/vorlent"' "$root/lib/systemd/vorlent.service" ||
  fail "the unit does not start the daemon"

# At a prefix that is relative, links lead there as well.
(cd "$work" && cmake --install "$2" --prefix here --component dissector >>"$work.log")
[ -e "$(echo "$work"/here/*/*/wireshark/plugins/vorlent)/vorlent.lua" ] || fail "a relative prefix"
