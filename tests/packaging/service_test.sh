#!/usr/bin/env bash
# Holds the service files to what they promise. Usage: service_test.sh SOURCE-DIR BUILD-DIR
set -euo pipefail
fail() { echo "FAILED: $*" >&2; exit 1; }
work=$2/service
mkdir -p "$work/bin"
for unit in "$1"/packaging/systemd/*.service; do
  name=${unit##*/}
  exposure=$(systemd-analyze security --offline=yes "$unit" | sed -n 's/.*exposure level.*: \([0-9.]*\) .*/\1/p')
  awk -v e="$exposure" 'BEGIN { exit !(e != "" && e <= 2.5) }' || fail "$name: exposure $exposure, wanted 2.5 at most"
  sed "s|/usr/sbin/vorlent|$2/vorlent|; s|$2/vorlent-|$2/linux/vorlent-|" "$unit" >"$work/$name"
  complaint=$(systemd-analyze verify --man=no "$work/$name" 2>&1) || fail "$complaint"
  [ -z "$complaint" ] || fail "$complaint"
done

# procd, played: the shell that it is given starts the daemon, ends with it, and takes it along.
{
  echo 'procd_open_instance() { :; }; procd_close_instance() { :; }'
  echo 'procd_set_param() { [ "$1" != command ] || { shift; "$@"; echo "shell ended: $?"; }; }'
  sed "s|/usr/sbin/vorlent|$2/vorlent|; s|/var/run|/tmp|" "$1/packaging/procd/vorlent.init"
  echo start_service
} >"$work/init"
printf '#!/bin/sh\n' >"$work/bin/vexo_service"
printf '#!/bin/sh\n! rm /tmp/hang || sleep 77\necho "$*" >>/tmp/commands\n' >"$work/bin/wl"
chmod +x "$work"/bin/*
PATH=$work/bin:$2:$PATH "$1/tools/sandbox" "$1" "$2" bash -c '
  until_true() { for _ in {1..200}; do eval "$1" >/dev/null && return; sleep 0.05; done; echo "never: $1"; }
  lives() {  # LIFE STORE ROLE WHAT-ENDS-IT WHAT-IS-GONE-THEN
    rm -f /tmp/vexo_nvram
    sh "$1/init" >"$1/said" 2>&1 &
    sleep 0.3
    printf "$2" >/tmp/store
    mv /tmp/store /tmp/vexo_nvram  # until then it waits
    until_true "[ \"\$(nvram get onboarding_role)\" = $3 ]"
    eval "$4"
    until_true "grep -q \"shell ended: 0\" $1/said && ! pgrep -f \"$5\""
  }
  cp /bin/sleep /tmp/vorlent
  /tmp/vorlent 99 &
  same_name=$!
  lives "$1" "blank_state=1\n" 0 "nvram set mesh_role_manual=uncfg" "/build/v[o]rlent"
  lives "$1" "multiap_mode=3\nenable_mesh_mode=1\nonboarding_active_state=2\n" 5 "touch /tmp/hang
    nvram set onboarding_soap_active=1; until_true \"[ ! -e /tmp/hang ]\"; pkill -TERM -f ^/bin/sh.-c" "sleep 7[7]"
  until_true "[ \$(nvram get onboarding_active_state) = 0 ] && tail -n 1 /tmp/commands | grep -q del_ie.3"
  until_true "kill -0 $same_name"
' - "$work" >"$work/lives" 2>/dev/null
grep -q never "$work/lives" && fail "$(cat "$work/lives")"

# The services of a card, played: what procd is told to run takes the words that it is given.
{
  sed -n '/^procd_open/p' "$work/init"
  printf '%s\n' 'procd_set_param() { [ "$1" != command ] || { shift; "$@" --zork 2>&1 || :; }; }' 'mkdir() { :; }'
  sed "s|/usr/sbin|$2/linux|" "$1/packaging/procd/vorlent-linux.init"
  echo start_service
} >"$work/card"
[ ! -e "$2/linux/wl" ] || [ "$(sh -e "$work/card" | grep -c '^The following argument was not expected: --zork')" = 2 ] ||
  fail "the services of a card do not take the words that they are given"
exit 0
