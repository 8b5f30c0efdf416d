#!/usr/bin/env bash
# Plays the maintainer scripts as dpkg calls them: what runs, and what is left.
# Usage, in the sandbox: maintainer_test.sh SOURCE-DIR BUILD-DIR
set -euo pipefail
fail() { echo "FAILED: $*: $(cat /tmp/done)" >&2; exit 1; }
export DPKG_MAINTSCRIPT_PACKAGE=played DPKG_ROOT=/tmp/root PATH=/tmp/bin:$PATH
units=$DPKG_ROOT/usr/lib/systemd/system
wanted=$DPKG_ROOT/etc/systemd/system/multi-user.target.wants
mkdir -p "$units" /tmp/bin
printf '#!/bin/sh\n[ "$1" != --system ] || shift\necho "$1" >>/tmp/done\n' | tee /tmp/bin/deb-systemd-invoke >/tmp/bin/systemctl
chmod +x /tmp/bin/*
cp "$1"/packaging/systemd/*.service "$units"

cp -r "$2/maintainer" /tmp
sed -i 's|/run/systemd/system|/tmp|; s|/var/lib/vorlent|/tmp/vorlent-state|' /tmp/maintainer/*/*

# What dpkg calls, then which actions have to come of it.
step() {  # ACTIONS SCRIPT ARGUMENT...
  : >/tmp/done
  /tmp/maintainer/linux/"${@:2}" || fail "${*:2}: status $?"
  [ "$(tr '\n' ' ' </tmp/done)" = "$1" ] || fail "${*:2}: wanted $1"
}
is() { test "$@" || fail "$*"; }
enabled=$wanted/vorlent-radio.service
mask=$DPKG_ROOT/etc/systemd/system/vorlent-radio.service

step 'daemon-reload start ' postinst configure ''
is -h "$enabled"
step '' prerm upgrade 2 && step '' postrm upgrade 2 && step 'daemon-reload restart ' postinst configure 1
step '' prerm failed-upgrade 1 && step 'daemon-reload restart ' postinst abort-upgrade 2
step 'stop ' prerm remove && step 'daemon-reload start ' postinst abort-remove
rm "$enabled" # by whoever does not want it
step 'daemon-reload restart ' postinst configure 1
is ! -e "$enabled"
step 'stop ' prerm remove && step 'daemon-reload ' postrm remove
is "$(readlink "$mask")" = /dev/null
step 'daemon-reload restart ' postinst configure 1
is ! -e "$mask"
step 'stop ' prerm remove && step 'daemon-reload ' postrm remove
touch /tmp/rsa_pri.pem /tmp/vorlent_dbg.log
mkdir /tmp/vorlent-state
step '' postrm purge
left=$(find "$DPKG_ROOT" \( -type f -o -type l \) ! -path "$units/*")
is -z "$left"
/tmp/maintainer/daemon/postrm purge
left=$(ls -d /tmp/{rsa,vorlent}* 2>/dev/null) || true
is -z "$left"
