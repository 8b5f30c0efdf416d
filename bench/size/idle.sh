#!/bin/bash
# Inside a sandbox: starts the daemon as a base, waits until it has made its key and stands idle, and
# prints the resident kB of it and of the program with one key, five of each: the median.
# Usage: idle.sh BUILD-DIR EMPTY-PROGRAM
set -euo pipefail
build=$1 one_key=$2

wait_for() {  # a command that comes true, within 20 s
  local turns=0
  until "$@"; do
    [ $((turns += 1)) -lt 400 ] || { echo "idle.sh: waited in vain for: $*" >&2; exit 1; }
    sleep 0.05
  done
}
# "rollup" counts the pages that are there now; VmRSS lags by up to 64 pages a thread.
resident() { awk '/^Rss:/ { print $2 }' "/proc/$1/smaps_rollup"; }
median() { sort -n | sed -n 3p; }
sleeps() { grep -q '^State:.S' "/proc/$1/status" && ! pgrep -P "$1" >/dev/null; }

mkdir -p /tmp/bin
printf '#!/bin/sh\n' | tee /tmp/bin/wl >/tmp/bin/vexo_service
chmod +x /tmp/bin/*
export PATH=/tmp/bin:$build:/usr/bin:/bin
nvram set multiap_mode=3
nvram set enable_mesh_mode=1

one_daemon() {
  rm -f /tmp/rsa_pub.pem
  "$build/stripped/vorlent" >/dev/null
  wait_for pgrep -x vorlent >/dev/null
  local pid
  pid=$(pgrep -x -o vorlent)
  wait_for grep -qs 'END PUBLIC KEY' /tmp/rsa_pub.pem
  wait_for sleeps "$pid"
  resident "$pid"
  kill "$pid"
  wait_for eval '! pgrep -x vorlent >/dev/null'
}
one_bare() {
  : >/tmp/ready
  "$one_key" >/tmp/ready &
  local pid=$!
  wait_for grep -qs ready /tmp/ready
  resident "$pid"
  kill "$pid"
  wait "$pid" || true
}
for _ in 1 2 3 4 5; do one_daemon; done | median
for _ in 1 2 3 4 5; do one_bare; done | median
