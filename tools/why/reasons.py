"""Every outcome: on whose side it is seen, what it means and what to do.

What ends with which is decided in unit_side and base_side, then with the capture in air and stories.
The manual page's list is made of these by the build.
"""
import collections

Reason = collections.namedtuple("Reason", "side happened todo")
REASONS = {
    "never-heard-the-base": Reason(
        "unit",
        "The unit searched, and no scan result carried a base's element.",
        "Open the base's window (vorlentctl open) within the 30 minutes of the "
        "search, and bring the two into range."),
    "gave-up-waiting-for-1001": Reason(
        "unit",
        "The unit sent operation 1000 seven times, and the base's key did not come.",
        "Read the base's log: not a candidate, table full, or nothing heard at all."),
    "gave-up-waiting-for-1004": Reason(
        "unit",
        "The unit sent its key seven times in operation 1002, and the base did not "
        "confirm it.",
        "Read the base's log: it dropped the unit's key, or has started anew since."),
    "gave-up-waiting-for-1003": Reason(
        "unit",
        "The base had the unit's key, and no credentials came within 15 minutes.",
        "List the unit as a candidate satellite and push in time: vorlentctl approve "
        "does both."),
    "credentials-refused": Reason(
        "unit",
        "Operation 1003 came, and its content could not be used.",
        "Compare the base's bh_ssid (31 characters at most), bh_wpa_psk (63), "
        "bh_crypto and bh_akm (15)."),
    "credentials-empty": Reason(
        "unit",
        "Operation 1003 came without content: a temporary satellite without "
        "credentials.",
        "Look at the unit's /tmp/rsa_pri.pem, and in the base's log for "
        "sat_key_encrypt_len:0."),
    "credentials-stored": Reason(
        "unit",
        "The unit has its credentials or its backhaul, and restarts as a temporary "
        "satellite.",
        "Wait for the backhaul (map_agent_configured=1) and the end of the "
        "installation (blank_state=0)."),
    "ethernet-backhaul": Reason(
        "unit",
        "The unit's backhaul came up over Ethernet; it needs no credentials.",
        "Wait for the end of the installation (blank_state=0)."),
    "backhaul-down": Reason(
        "unit",
        "A temporary satellite's backhaul was down for ten checks, and it went back "
        "to the search.",
        "Compare its wl1_ssid and wl1_wpa_psk with bh_ssid and bh_wpa_psk of the "
        "base; and the signal."),
    "installed": Reason(
        "unit",
        "The unit is an installed satellite.",
        "Nothing."),
    "became-a-router": Reason(
        "unit",
        "The unit's own WAN came up: it is a temporary router, not a satellite.",
        "Unplug its WAN if it shall be a satellite, and restart it."),
    "became-a-base": Reason(
        "unit",
        "The unit was installed as a base (blank_state=0 without a backhaul).",
        "Reset it to factory settings if it shall be a satellite."),
    "reset-by-hand": Reason(
        "unit",
        "Somebody asked for the un-configured mode (mesh_role_manual=uncfg).",
        "Nothing."),
    "could-not-start": Reason(
        "unit",
        "The daemon ended at once: its event port cannot be opened, or it cannot "
        "detach.",
        "Look for another daemon on UDP 127.0.0.1:55688, and at the limits of "
        "processes."),
    "in-progress": Reason(
        "unit",
        "The log ends in the middle of the way in.",
        "Take the log again later."),
    "on-another-channel": Reason(
        "both",
        "The two were on the air, but not on the same channel.",
        "Compare the channel in the unit's log and its `wl csa` with the base's "
        "channel and width: the unit takes the low 8 bits of the chanspec for the "
        "channel."),
    "wrong-element": Reason(
        "both",
        "A vendor element came with our OUI but other values, and was refused.",
        "Compare prod_type 08, prod_id (01 base, 02 unit) and plon_vie_data 01 (02 in"
        " operation 1002): the sender has another firmware, or is no unit of this "
        "mesh."),
    "key-not-usable": Reason(
        "both",
        "A public key was missing, too long or no RSA key of 2048 bits: nothing can "
        "be encrypted.",
        "Look at /tmp/rsa_pub.pem and /tmp/rsa_pri.pem of both; a full /tmp leaves "
        "them empty."),
    "own-key-not-written": Reason(
        "both",
        "The key pair of this side could not be written, so that nobody can encrypt "
        "for it.",
        "Make room in /tmp, or remove what stands at /tmp/rsa_pub.pem and "
        "/tmp/rsa_pri.pem; the next operation 1000 makes the pair again."),
    "nvram-not-written": Reason(
        "both",
        "NVRAM took no change, so that what the unit was told is lost with its "
        "restart.",
        "Make room where the NVRAM file lies and look at its .lock, .tmp and .saved; "
        "then bring the unit in again."),
    "sealed-for-another-key": Reason(
        "both",
        "What arrived was encrypted for another key than the receiver's present one.",
        "Nothing where one of the two was restarted in between: the unit begins "
        "again. Otherwise look at /tmp/rsa_pri.pem of the receiver."),
    "restarted": Reason(
        "both",
        "The daemon started anew in the middle: a power cut, a kill or a service "
        "restart.",
        "Nothing: the unit begins again. Where it comes back, find out who restarts "
        "the daemon."),
    "malformed-frame": Reason(
        "base",
        "A frame with a length that is not possible was dropped.",
        "Look at it in a capture with the dissector: vorlent.fault says what is "
        "wrong."),
    "never-heard-the-unit": Reason(
        "base",
        "The capture shows the unit, and the base's log does not know it.",
        "Look whether the base is in range, in mode 2 or 5, and hears probe requests "
        "on wl0; or the unit joins another base."),
    "never-said-hello": Reason(
        "base",
        "The base heard the unit's probe request, and no operation 1000 after it.",
        "Read the unit's log, or give a capture: it did not hear the base's element, "
        "joined another base, or the base did not hear it."),
    "base-did-not-answer": Reason(
        "base",
        "The capture has operations in the unit's name, and the base's log does not.",
        "Look whether the base's daemon runs and is not held by a command (its log "
        "tells), and whether its radio hears the unit."),
    "joined-another-base": Reason(
        "base",
        "The unit spoke to another base, and not to this one.",
        "Nothing, where it belongs there; otherwise close the other base's window."),
    "never-sent-its-key": Reason(
        "base",
        "The base sent its key in operation 1001, and the unit's operation 1002 did "
        "not come.",
        "Read the unit's log: it does not hear the base, or cannot use the key."),
    "awaiting-push": Reason(
        "base",
        "The unit is ready, and the base has not pushed the credentials yet.",
        "List the unit as a candidate satellite and push: vorlentctl approve does "
        "both."),
    "refused-not-a-candidate": Reason(
        "base",
        "The unit spoke to a base that has no row for it: a push or a restart took "
        "the row, or its probe request was not heard.",
        "Mostly nothing: it gives up, probes again and gets a row."),
    "forged-frames": Reason(
        "base",
        "Frames came from addresses that never asked for a row, each once or twice: "
        "no unit behaves so.",
        "Nothing: all were refused. A capture shows from where they come."),
    "table-full": Reason(
        "base",
        "The base's table of 15 was full: the unit got no row, and no answer.",
        "Push (vorlentctl approve): that empties the table, and the unit comes in "
        "with a later push."),
    "pushed-too-early": Reason(
        "base",
        "The push came before the unit had sent its key, and took its row.",
        "Mostly nothing: it tries again. Push again when the candidate file lists it."),
    "not-listed-by-the-platform": Reason(
        "base",
        "The push passed the unit over, since the platform does not list it, and took"
        " its row.",
        "List the unit as a candidate satellite, wait until it is ready, and push "
        "again."),
    "push-refused-settings": Reason(
        "base",
        "The push sent nothing: a backhaul setting is longer than a unit can hold.",
        "Shorten it (SSID 31 characters, pass phrase 63, cipher and key management "
        "15) and push again: the units still wait."),
    "credentials-sent": Reason(
        "base",
        "The base sent operation 1003, and forgot the unit as it should.",
        "If the unit did not come in, read its own log: a lost 1003 is not sent "
        "again."),
}
