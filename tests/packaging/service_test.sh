#!/usr/bin/env bash
# Holds the service files to what they promise. Usage: service_test.sh SOURCE-DIR BUILD-DIR
set -euo pipefail
fail() { echo "FAILED: $*" >&2; exit 1; }
work=$2/service
unit=$1/packaging/systemd/vorlent.service
mkdir -p "$work/bin"
exposure=$(systemd-analyze security --offline=yes "$unit" | sed -n 's/.*exposure level.*: \([0-9.]*\) .*/\1/p')
awk -v e="$exposure" 'BEGIN { exit !(e != "" && e <= 2.5) }' || fail "exposure $exposure, wanted 2.5 at most"
sed "s|/usr/sbin/vorlent|$2/vorlent|" "$unit" >"$work/vorlent.service"
complaint=$(systemd-analyze verify --man=no "$work/vorlent.service" 2>&1) || fail "$complaint"
[ -z "$complaint" ] || fail "$complaint"

# procd, played: the shell that it is given starts the daemon, ends with it, and takes it along.
{
  echo 'procd_open_instance() { :; }; procd_close_instance() { :; }'
  echo 'procd_set_param() { [ "$1" != command ] || { shift; "$@"; echo "shell ended: $?"; }; }'
  sed "s|/usr/sbin/vorlent|$2/vorlent|" "$1/packaging/procd/vorlent.init"
  echo start_service
} >"$work/init"
printf '#!/bin/sh\n' | tee "$work/bin/wl" >"$work/bin/vexo_service"
chmod +x "$work"/bin/*
PATH=$work/bin:$2:$PATH "$1/tests/sandbox" "$1" "$2" bash -c '
  until_true() { for _ in {1..200}; do eval "$1" && return; sleep 0.05; done; echo "never: $1"; }
  for request in "nvram set mesh_role_manual=uncfg" "pkill -TERM -f ^/bin/sh.-c"; do
    nvram set blank_state=1
    sh "$1/init" >"$1/said" & 
    until_true "grep -qs onboarding_role=0 /tmp/vexo_nvram && pidof vorlent >/dev/null"
    eval "$request"
    until_true "grep -q \"shell ended: 0\" $1/said && ! pidof vorlent >/dev/null"
    nvram unset onboarding_role
  done' - "$work" >"$work/lives"
grep -q never "$work/lives" && fail "$(cat "$work/lives")"
exit 0
