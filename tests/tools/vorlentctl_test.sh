# A base, and a person at it: vorlentctl against the real daemon. Usage: vorlentctl_test.sh BUILD-DIR
set -euo pipefail
mkdir /tmp/bin
export PATH=/tmp/bin:$1:$PATH VORLENT_PID_FILE=/tmp/pid
printf '#!/bin/sh\necho "$*" >>/tmp/commands\n' >/tmp/bin/wl && chmod +x /tmp/bin/wl
says() { # STATUS TEXT COMMAND...: the command ends with the status and says the text
  local said status=0
  said=$("${@:3}" 2>&1) || status=$?
  [ "$status" = "$1" ] && [[ $said == *"$2"* ]] || { echo "${*:3}: $status, wanted $1 and '$2': $said"; exit 1; }
}
for setting in blank_state=0 multiap_mode=3 enable_mesh_mode=1 bh_ssid=x; do nvram set "$setting"; done
says 2 "vorlentctl: The following argument was not expected: zork" vorlentctl zork
says 3 "/tmp/pid: No such file" vorlentctl open
echo $$ >/tmp/pid
says 3 "process $$ of /tmp/pid is another program" vorlentctl wait
vorlent >/dev/null
until [ "$(nvram get onboarding_role)" = 5 ] && [ -s /tmp/rsa_pub.pem ]; do sleep 0.1; done
says 0 "window:    closed" vorlentctl status
says 0 "open, " vorlentctl open
says 1 "standard output: No space left" eval "vorlentctl status >/dev/full"
mkdir /tmp/vexo_onborading.json  # anybody may
says 0 "No unit is ready" vorlentctl candidates
rmdir /tmp/vexo_onborading.json
grep -q 'add_ie 3' /tmp/commands
jq -n --rawfile key /tmp/rsa_pub.pem '{candidates: [{mac: "02:00:00:00:00:01", $key}, {mac: "02:00:00:00:00:02", key: "none"}]}' \
  >/tmp/vexo_onborading.json
own=$(vorlentctl status --json | jq -r .fingerprint)
says 0 "02:00:00:00:00:01 $own false" jq -r '.[0] | "\(.address) \(.fingerprint) \(.approved)"' <<<"$(vorlentctl candidates --json)"
says 0 "the owner's approval of 2 units" vorlentctl status
says 1 "02:00:00:00:00:03: no unit" vorlentctl approve 02:00:00:00:00:01 02:00:00:00:00:03
mv /tmp/vexo_onborading.json /tmp/theirs
ln -s theirs /tmp/vexo_onborading.json
says 1 "no unit of that address is ready" vorlentctl approve 02:00:00:00:00:01
cp --remove-destination /tmp/theirs /tmp/vexo_onborading.json
says 0 "02:00:00:00:00:02  is not approved" vorlentctl approve 02:00:00:00:00:01 02:00:00:00:00:01
says 0 "02:00:00:00:00:01" nvram get candidate_satellites
cp /tmp/theirs /tmp/vexo_onborading.json
says 0 "[true,true]" jq -c 'map(.approved)' <<<"$(vorlentctl approve --all --json)"
says 0 "told to wait" vorlentctl wait
for signal in SIGUSR1 SIGUSR2; do
  until grep -qa "Got $signal" /tmp/vorlent_dbg.log; do sleep 0.1; done
done
kill -KILL "$(cat /tmp/pid)"
until vorlent >/dev/null 2>&1; do sleep 0.1; done
until [[ $(vorlentctl status 2>&1) == *"window:    closed"* ]]; do sleep 0.1; done
