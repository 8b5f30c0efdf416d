#!/usr/bin/env bash
# Installs into unusual folders, at another prefix than configured: what is named there is there.
# Usage: install_test.sh SOURCE-DIR BUILD-DIR
set -euo pipefail
fail() { echo "FAILED: $*" >&2; exit 1; }
work=$2/install root=$2/install/root
rm -rf "$work"
cmake -S "$1" -B "$work" -DVORLENT_TESTS=OFF -DCMAKE_INSTALL_SBINDIR=/opt/sbin -DVORLENT_UNIT_DIR=/lib/systemd \
  -DCMAKE_INSTALL_LIBEXECDIR=lib/multi/arch -DCMAKE_INSTALL_DATADIR=/else/data >"$work.log"
(cd "$2" && find . -maxdepth 2 -type f -perm -u+x ! -path "./install/*" -exec cp --parents {} "$work" \;)
DESTDIR=$root cmake --install "$work" --prefix /else >>"$work.log"
links=$(find "$root" -type l)
[ "$(wc -l <<<"$links")" = 5 ] || fail "not five links: $links"
for link in $links; do
  to=$(readlink "$link")
  [[ $to = /* ]] && to=$root$to || to=${link%/*}/$to
  [ -e "$to" ] || fail "$link dangles"
done
for file in $(sed -n 's/^ExecStart=//p' "$root/lib/systemd/vorlent.service") /else/data/vorlent/wireshark/vorlent.lua; do
  [ -e "$root$file" ] || fail "$file is not there"
done
