# Runs in the sandbox: settings of OpenWrt come into NVRAM whole, or not at all.
# Usage: openwrt_settings.sh SHIPPED-FILE SHELL SCRIPT
fail() { echo "$*: $(cat /tmp/said; nvram show)" >&2; exit 1; }
holds() { [ "$(nvram show)" = "$1" ] || fail "wanted $1"; }
shell=$2 script=$3
cp "$1" /tmp/vorlent
run() { : >/tmp/said; $shell "$script" >/dev/null 2>&1; }
until_true() { for _ in {1..100}; do eval "$1" && return; sleep 0.05; done; fail "never: $1"; }

# A first boot; what the daemon has changed since stays, and outlives another boot.
run
holds $'blank_state=1\nenable_mesh_mode=1\nmultiap_mode=2\nvorlent_dbg=0'
cmp /tmp/vexo_nvram /tmp/vexo_nvram.saved
nvram set multiap_mode=3
nvram commit
until_true 'cmp -s /tmp/vexo_nvram.saved /tmp/flash/nvram'
rm /tmp/vexo_nvram /tmp/vexo_nvram.saved
run
holds $'blank_state=1\nenable_mesh_mode=1\nmultiap_mode=3\nvorlent_dbg=0'
[ ! -e /tmp/vexo_nvram.saved ] || fail "saved, though nothing has changed"

# Any byte comes through: all that a value may have, 28 at a time.
for ((first = 1; first < 256; first += 28)); do
  value=$(for ((byte = first; byte < first + 28 && byte < 256; byte++)); do printf '\\%03o' "$byte"; done)
  { printf "config settings 'a b'\n\toption bh_ssid '"; printf "$value" | sed "s/'/'\\\\''/g"; echo "'"; } >/tmp/vorlent
  run
  nvram get bh_ssid | cmp - <(printf "$value\n") || fail "bytes from $first"
done

# What is wrong is named, without its value, and nothing else is set either.
cp /tmp/vexo_nvram /tmp/before
while IFS='|' read -r line complaint; do
  printf "config settings 'one'\n\toption wl0_ifname 'wlan7'\n%s\n" "$line" >/tmp/vorlent
  run
  grep -qF "/etc/config/vorlent: $complaint" /tmp/said || fail "$line"
  ! grep -q 'secret' /tmp/said || fail "a value is in the log"
  cmp /tmp/before /tmp/vexo_nvram || fail "$line: something was set"
done <<'WRONG'
	option zork 'secret'|one.zork: no such setting
	option multiap_mode '3'|one.multiap_mode: no such setting
	option mesh_role_manual 'base'|one.mesh_role_manual: no such setting
	list bh_ssid 'secret'|one.bh_ssid: a list
	option bh_ssid '12345678901234567890123456789012'|one.bh_ssid: not 1 to 31 bytes
	option bh_ssid ''|one.bh_ssid: not 1 to 31 bytes
	option bh_wpa_psk 'secret'|one.bh_wpa_psk: not 8 to 63 bytes
	option bh_akm 'secret'|one.bh_akm: not one of: psk2 psk
	option vorlent_dbg ''|one.vorlent_dbg: not one of: 0 1
	option wl0_country 'DEU'|one.wl0_country: not 2 to 2 bytes
config zork 'two'|two: no such type of section: zork
WRONG
: >/tmp/vorlent
run
grep -qF "/etc/config/vorlent: cannot be read" /tmp/said || fail "an empty file"
