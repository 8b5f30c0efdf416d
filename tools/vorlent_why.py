#!/usr/bin/env python3
"""Says in plain words what happened to each unit, and why it did not come into the mesh.

Reads the debug log of a base or of a unit (with the older part LOG.1 where it lies beside it), and
where given a capture of the air, the NVRAM file and the base's candidate file. The log has no time
stamps, and on the base it names a station only now and then: a story is told in the log's order, by
the lines that show it. Texts in the log that came from the air are not told from the daemon's own.
"""
import argparse
import collections
import itertools
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import textwrap

# Every message of the daemon: by the function that speaks, the format and the mark under which the
# readers below act on it, None where they need not. "" is text without a prefix, on standard output
# or behind a message; {bare} stands for the daemon's own bytes and documents, which have no format.
# MORE are those that are only recognised, whoever speaks them.
MESSAGES = {
    "main": {"err from daemonize.\n": "no_start"},
    "sig_handler": {"Got SIGUSR1 to push BH credential.\n": "push"},
    "open_eventfd": {
        "opened loopback socket %d\n": "start", "Unable to create loopback socket\n": "no_start",
        "Unable to setsockopt to loopback socket %d.\n": "no_start",
        "Unable to bind to loopback socket %d\n": "no_start"},
    "mevent_validate_wlpvt_message": {
        "%s: not vendor specifictype\n": None, "%s: subtype header version mismatch\n": None,
        "%s: subtype hdr length not even minimum\n": None,
        "%s: mevent_validate_wlpvt_message: not BRCM OUI\n": None},
    "load_cur_mode": {
        "Temp Satellite mode detected...\n": "is_temp_satellite",
        "Satellite detected...\n": "is_satellite"},
    "unconfigured_mode_cfg": {"%s": "search"},
    "unconfigured_act_handshake_mode_cfg": {"%s\n": None},
    "temp_router_mode_cfg": {"%s\n": None},
    "temp_sat_mode_cfg": {"%s\n": None},
    "nvram": {"NVRAM is not written: %s%s: %s\n": "nvram_lost"},
    "make_own_key_pair": {"the own key pair is not written: %s\n": "own_key_lost"},
    "dut_role_monitor": {"restore to Unconfigured mode.\n": "reset"},
    "role_bakery": {"target_role:cur_role >> (%d:%d)\n": "mode"},
    "router_start_onboarding": {
        "%s\n": None, "add timer: %d for candidate action frame handshake in 60 secs.\n": "window"},
    "router_stop_onboarding": {"%s\n": None},
    "vorlent_ie_scan": {"Searching Mesh onboarding ...\n\n": "scan"},
    "timer_cb_mesh_ie_scan_expired": {
        "Disable mesh scan after 30 minutes Wi-Fi search.\n": "search_over"},
    "dump_plon_ie": {
        "prod_type: %02x\n": "prod_type", "prod_id: %02x\n": "prod_id",
        "plon_vie_data: %02x\n": "vie_data"},
    "check_plon_ie": {
        "======== check Pelion IE ========\n": "check", "Match Pelion OUI.\n": "oui_matches"},
    "update_candidate_table": {
        "%s already exist in the candidate list.\n": "probe",
        "Over MAX support clients!!\n": "full"},
    "check_in_candidate_list": {
        "Found %s in support list.\n": "listed", "Cannot found %s in support list.\n": "unlisted"},
    "dump_current_support_list": {"STA: %s\nPUB_key(%d):%s\n\n": "row"},
    "uncfg_register": {"BSSID: %s chanspec: 0x%04x\n": "bss", "%s\n": None},
    "dump_target_bss_info": {"Target BSS:\nBSSID: %s\nchannel: %d\n": "target"},
    "parse_act_frame": {
        "Got action frame with attr_id:%X from STA: %s\n": "operation",
        "drop action frame of %d bytes from STA: %s: %s cut off or too large\n": "bad_frame"},
    "act_op_1000_sender": {"cmd: %s\n": "sent_1000"},
    "act_op_1000_handler": {
        "Cannot find the client (%s) from candidate list.\n": "refused",
        "Invalid ie.\n": "bad_1000"},
    "act_op_1001_sender": {"cmd: %s\n": "sent_1001"},
    "act_op_1001_handler": {
        "drop operation 1001 from STA: %s: key of %d bytes, at most %d\n": "bad_1001",
        "dump base pub key: \n%.*s\n": "base_key"},
    "act_op_1002_sender": {
        "own public key of %d bytes is too long\n": "own_key",
        "sat_key_encrypt_len:%d\n": "sealed_1002"},
    "act_op_1002_handler": {
        "drop operation 1002 from STA: %s: %d bytes of ciphertext, at most %d\n": "bad_1002",
        "drop operation 1002 from STA: %s: lengths outside its %d bytes\n": "bad_1002",
        "Invalid ie.\n": "bad_unit_key", "valid ie.\n": "good_1002", "pub_key(%d):%s": "unit_key"},
    "act_op_1003_sender": {
        "push refused: NVRAM %s is longer than a unit can hold\n": "push_refused",
        "%s \n": "push_row", " client_pub_key = NULL \r\n": "push_no_key",
        " mac not found \r\n": "push_unlisted", "cmd: %s\n": "sent_1003"},
    "act_op_1003_handler": {
        "decode(%d):\n%.*s\n": "credentials",
        "drop operation 1003 from STA: %s: %s%s\n": "bad_1003", "%s_len: %d\n": None,
        "%s: %.*s\n": None},
    "act_op_1004_sender": {"cmd: %s\n": "sent_1004"},
    "act_op_1004_handler": {"extend 15 minutes for waiting 1003...\n": "wait"},
    "generate_bh_credential_content": {
        "%s: %.*s\n": None, "the content does not hold %s\n": "push_refused"},
    "dump_bh_credential_content": {"%s: %.*s\n": None},
    "": dict.fromkeys([
        "{bare}", "{bare}]\n", "{bare}\n", "[platform] %s\n", "epoll create failed.\n",
        "cur_time: %ld sec %ld ns\n", "add timerfd: %d, timeout in %d secs, retry interval: %d \n",
        "update timerfd: %d, timeout in %d secs, retry interval: %d \n", "del timerfd: %d\n",
        "[%s][%d] %s timerfd: %d %s timer list\n",
        "reach retry limitation, remove the timer fd: %d\n",
        "Not enough buff len to store hex string...\n", "hex_string(%d): \n%.*s\n",
        "file:%s open failed.\n", "file:%s is longer than %d bytes, refused.\n",
        "file:%s holds no private key\n", "peer key of %d bytes is no public key\n",
        "memory key(%d): %.*s\n", "%s is not usable: %d bits instead of %d\n",
        "data size (%d) is over the bound (%d), refused\n",
        "data size (%d) is over toleration encypted size (%d)\n",
        "Will seperate the data into %d fragments\n", "RSA_check_key: %d\n", "rsa_len:%d\n",
        "orig data(%d): %.*s\n", "orig ciphertext(%d)\n", "frag#%d: %.*s\n", "frag#%d:\n",
        "ciphertext(%d)\n", "paintext(%d): %.*s\n", "%s failed: %s\n"]),
}
MORE = [
    "init failed, cleanup.\n", "oui: %02x %02x %02x\n", "Found Mesh onboarding!!\n",
    "[recved brcm event]: WLC_E_ACTION_FRAME on %s STA: %s\n",
    "============Got Pelion IE================\n",
    "Got SIGUSR2 to extend all candidate's timer...\n", "[Unknown signo] %d\n",
    "eventfd: close loopback socket %d\n",
    "fd is invalid.\n", "failed to recv data.\n", "select failed: %s\n", "Unknown mode: %d\n",
    "Unknown recved ether type %x\n", "Invalid length of message\n", "Invalid datalen of message\n",
    "refuse to run a command with shell syntax: %s\n", "no timer: %s: %s\n",
    "timerfd %d cannot be armed: %s\n", "Default un-configured mode.\n",
    "Temp Router mode detected...\n", "Base detected...\n", "Go to action frame handshake...\n",
    "Change to base mode manually.\n", "Unknown mode detected: %d\n",
    "Leave blank_state without full installation...\n", "Ethernet satellite detected...\n",
    "Temp satellite detected...\n", "Restore to un-configured mode.\n",
    "Apply Base configuration.\n", "Apply satellite configuration.\n",
    "Ethernet BH established!, go to apply zorv nvram. \n", "check alive timers.\n",
    "No alive timer: %d\n", "restore to Unconfigured mode.\n",
    "==========================================\n", "Internet disconnected... \n",
    "BH disconnected... \n", "============Dump Pelion IE================\n",
    "id: %02x\nlen: %02x\n", "reserved: %02x %02x %02x\n", "version: %02x\n", "ifname: %02x\n",
    "recv prod type: %02x\n", "target prod type: %02x\n", "Match prod type: %02x\n",
    "recv prod id: %02x\n", "target prod id: %02x\n", "Match prod id: %02x\n",
    "recv prod plon_vie_data: %02x\n", "target prod plon_vie_data: %02x\n",
    "Match prod plon_vie_data: %02x\n", "==================================\n",
    "The sta %s inexist.\n", "Find %s in the candidate list.\n",
    "Remove sta %s from candidate list.\n", "recved event type 0x%x on %s\n",
    "[Pelion OUI detect]\n", "Receive Mesh onboarding Probe Request!!.\n",
    "recved brcm event: WLC_E_ESCAN_RESULT on %s STA: %s\n", "ignore escanresult from: %s\n",
    "BSSID: %s, ignore it.\n", "pkt_len: %x ie length: %x ie_offset: %x \n\n",
    "======Dump Tartget BSS info==========\n", "base_pub_key: %s\nkey_len: %d\n",
    "bh_ssid: %s\nbh_password: %s\n", "bh_crypto: %s\nbh_akm: %s\n",
    "=====================================\n", "category(%02X) public_action(%02X)\n",
    "OUI[%02X %02X %02X]\n", "[Pelion action frame detected!!]\n",
    "Unsupport attr_id:%X from STA: %s\n", "===== dump act payload =====\n",
    "attr_id(%X) data_len(%X)(%d)\n", "data:[\n", "============================\n",
    "send: %d wait: %d \n", "tag: %02x\n", "len: %02x %02x\n", "\ntag:%02x\n", "pub key: %.*s\n",
    "cmd: %s\n", "decode(%d):\n%.*s\n", "tag#1: %02x\n", "tag#2: %02x\n", "tag_1:%x", "len:%d(%d)",
    "sat_key_encrypt_len:%d\n", "tag#%d: %02x\n", "Unexpected stage: %d\n", "tag:%02x\n",
    "tag_len:%02x %02x\n", "content len: %d\n", "tag_len:%d\n", "old timerfd detected: fd %d\n",
    "ie:", "no scan: %s cannot be made: %s\n", "cannot replace or remove %s: %s\n",
    "a command took %d seconds: %.*s\n",
]

# Every outcome: what it means and what to do. The manual page documents the same list.
REASONS = {
    "never-heard-the-base": (
        "The unit searched, and no scan result carried a base's element.",
        "Open the base's window (NVRAM onboarding_soap_active=1) within the 30 minutes of the "
        "search, and bring the two into range."),
    "on-another-channel": (
        "The two were on the air, but not on the same channel.",
        "Compare the channel in the unit's log and its `wl csa` with the base's channel and width: "
        "the unit takes the low 8 bits of the chanspec for the channel."),
    "wrong-element": (
        "A vendor element came with our OUI but other values, and was refused.",
        "Compare prod_type 08, prod_id (01 base, 02 unit) and plon_vie_data 01 (02 in operation "
        "1002): the sender has another firmware, or is no unit of this mesh."),
    "gave-up-waiting-for-1001": (
        "The unit sent operation 1000 seven times, and the base's key did not come.",
        "Read the base's log: not a candidate, table full, or nothing heard at all."),
    "gave-up-waiting-for-1004": (
        "The unit sent its key seven times in operation 1002, and the base did not confirm it.",
        "Read the base's log: it dropped the unit's key, or has started anew since."),
    "gave-up-waiting-for-1003": (
        "The base had the unit's key, and no credentials came within 15 minutes.",
        "List the unit as a candidate satellite, and send SIGUSR1 to the base's daemon in time."),
    "key-not-usable": (
        "A public key was missing, too long or no RSA key of 2048 bits: nothing can be encrypted.",
        "Look at /tmp/rsa_pub.pem and /tmp/rsa_pri.pem of both; a full /tmp leaves them empty."),
    "own-key-not-written": (
        "The key pair of this side could not be written, so that nobody can encrypt for it.",
        "Make room in /tmp, or remove what stands at /tmp/rsa_pub.pem and /tmp/rsa_pri.pem; the "
        "next operation 1000 makes the pair again."),
    "nvram-not-written": (
        "NVRAM took no change, so that what the unit was told is lost with its restart.",
        "Make room where the NVRAM file lies and look at its .lock, .tmp and .saved; then bring the "
        "unit in again."),
    "sealed-for-another-key": (
        "The unit's key came encrypted for another key than the base's present one.",
        "Nothing where the base was restarted: the unit begins again. Otherwise look at the base's "
        "/tmp/rsa_pri.pem."),
    "malformed-frame": (
        "A frame with a length that is not possible was dropped.",
        "Look at it in a capture with the dissector: vorlent.fault says what is wrong."),
    "credentials-refused": (
        "Operation 1003 came, and its content could not be used.",
        "Compare the base's bh_ssid (31 characters at most), bh_wpa_psk (63), bh_crypto and bh_akm "
        "(15); a frame that is encrypted for another key is refused as well."),
    "credentials-empty": (
        "Operation 1003 came without content: a temporary satellite without credentials.",
        "Look at the unit's /tmp/rsa_pri.pem, and in the base's log for sat_key_encrypt_len:0."),
    "credentials-stored": (
        "The unit has its credentials or its backhaul, and restarts as a temporary satellite.",
        "Wait for the backhaul (map_agent_configured=1) and the end of the installation "
        "(blank_state=0)."),
    "ethernet-backhaul": ("The unit's backhaul came up over Ethernet; it needs no credentials.",
                          "Wait for the end of the installation (blank_state=0)."),
    "backhaul-down": (
        "A temporary satellite's backhaul was down for ten checks, and it went back to the search.",
        "Compare its wl1_ssid and wl1_wpa_psk with bh_ssid and bh_wpa_psk of the base; and the "
        "signal."),
    "installed": ("The unit is an installed satellite.", "Nothing."),
    "became-a-router": ("The unit's own WAN came up: it is a temporary router, not a satellite.",
                        "Unplug its WAN if it shall be a satellite, and restart it."),
    "became-a-base": ("The unit was installed as a base (blank_state=0 without a backhaul).",
                      "Reset it to factory settings if it shall be a satellite."),
    "reset-by-hand": ("Somebody asked for the un-configured mode (mesh_role_manual=uncfg).",
                      "Nothing."),
    "restarted": (
        "The daemon started anew in the middle: a power cut, a kill or a service restart.",
        "Nothing: the unit begins again. Where it comes back, find out who restarts the daemon."),
    "could-not-start": (
        "The daemon ended at once: its event port cannot be opened, or it cannot detach.",
        "Look for another daemon on UDP 127.0.0.1:55688, and at the limits of processes."),
    "in-progress": ("The log ends in the middle of the way in.", "Take the log again later."),
    "never-heard-the-unit": (
        "The capture shows the unit, and the base's log does not know it.",
        "Look whether the base is in range, in mode 2 or 5, and hears probe requests on wl0; or "
        "the unit joins another base."),
    "never-said-hello": (
        "The base heard the unit's probe request, and no operation 1000 after it.",
        "Read the unit's log: it did not hear the base's element, or joins another base."),
    "never-sent-its-key": (
        "The base sent its key in operation 1001, and the unit's operation 1002 did not come.",
        "Read the unit's log: it does not hear the base, or cannot use the key."),
    "awaiting-push": (
        "The unit is ready, and the base has not pushed the credentials yet.",
        "List the unit as a candidate satellite, and send SIGUSR1 to the base's daemon."),
    "refused-not-a-candidate": (
        "The unit spoke to a base that has no row for it: a push or a restart took the row, or its "
        "probe request was not heard.",
        "Mostly nothing: it gives up, probes again and gets a row."),
    "table-full": (
        "The base's table of 15 was full: the unit got no row, and no answer.",
        "Push (SIGUSR1): that empties the table, and the unit comes in with a later push."),
    "pushed-too-early": (
        "The push came before the unit had sent its key, and took its row.",
        "Mostly nothing: it tries again. Push again when the candidate file lists it."),
    "not-listed-by-the-platform": (
        "The push passed the unit over, since the platform does not list it, and took its row.",
        "List the unit as a candidate satellite, wait until it is ready, and push again."),
    "push-refused-settings": (
        "The push sent nothing: a backhaul setting is longer than a unit can hold.",
        "Shorten it (SSID 31 characters, pass phrase 63, cipher and key management 15) and push "
        "again: the units still wait."),
    "credentials-sent": (
        "The base sent operation 1003, and forgot the unit as it should.",
        "If the unit did not come in, read its own log: a lost 1003 is not sent again."),
}

Message = collections.namedtuple("Message", "place mark values")
PREFIX = re.compile(r"\[([a-zA-Z_]\w*)\]\[\d+\]")  # on standard output behind "[onboarding]"
LONGEST = 65536  # of one message with the bare text behind it
ELEMENT = ("prod_type", "prod_id", "plon_vie_data")  # the values that decide


def pattern_of(form):
    """The regular expression for a printf format."""
    bare = {"{bare}": r"(?:[0-9a-f]{2} )+", "{bare}]\n": r"(?:[0-9A-F]{2} )*\]\n",
            "{bare}\n": r'\{\n\t"candidates":.*?\n\}\n'}
    if form in bare:
        return re.compile(bare[form], re.S)
    pieces = re.split(r"%(?:\.\*)?(?:0\d)?l?([sdxX])", form)
    values = {"s": "(.*?)", "d": r"(-?\d+)", "x": "([0-9a-f]+)", "X": "([0-9A-F]+)"}
    text = "".join(values[p] if i % 2 else re.escape(p) for i, p in enumerate(pieces))
    return re.compile(text, re.S)


PATTERNS = {func: [(pattern_of(form), mark) for form, mark in forms.items()]
            for func, forms in MESSAGES.items()}
OTHERS = [(pattern_of(form), None) for form in MORE]


def read_messages(name, text):
    """The messages of one log file, and the places of those that the table does not know."""
    known, unknown, line, position = [], [], 1, 0
    heads = list(PREFIX.finditer(text))
    for head, following in itertools.zip_longest(heads, heads[1:]):
        line += text.count("\n", position, head.start())
        position = head.start()
        end = following.start() if following else len(text)
        piece = text[head.end() : min(end, head.end() + LONGEST)]
        for pattern, mark in PATTERNS.get(head.group(1), []) + OTHERS:
            found = pattern.match(piece)
            if found:
                known.append(Message(f"{name}:{line}", mark, found.groups()))
                break
        else:
            if not any(pattern.match(text, position) for pattern, _ in PATTERNS[""]):
                unknown.append(f"{name}:{line}")
    return known, unknown


def printable(text):
    """A log holds bytes from the air: nothing of it shall act on a terminal."""
    return "".join(char if char.isprintable() else "?" for char in text)


class Story:
    """One unit's way, as one side saw it, up to one outcome."""

    def __init__(self, side, station, reason="in-progress"):
        self.side, self.station, self.reason = side, printable(station), reason
        self.steps, self.notes, self.facts = [], [], collections.Counter()

    def step(self, place, text):
        """Adds what happened; the same thing again is counted."""
        text = printable(text)
        if self.steps and self.steps[-1][1] == text:
            self.steps[-1][2] += 1
        else:
            self.steps.append([place, text, 1])


class Reader:
    """Turns messages into stories: STEPS says what a mark adds to the story that it belongs to, and
    the reason that holds from then on; on_<mark> does what is more than that."""

    STEPS = {}
    # What could not be written, and the reasons that it is the reason behind.
    LOSSES = {
        "nvram-not-written": ("credentials-stored", "ethernet-backhaul", "in-progress", "restarted"),
        "own-key-not-written": ("key-not-usable", "gave-up-waiting-for-1004", "credentials-empty"),
    }

    def __init__(self):
        self.closed, self.element, self.place, self.lost = [], {}, "", {}

    def take(self, message):
        self.place = message.place
        text, reason = self.STEPS.get(message.mark, ("", None))
        if text:
            self.add(text.format(*message.values), reason, *message.values)
        handler = getattr(self, f"on_{message.mark}", None)
        if handler:
            handler(*message.values)

    def close(self, story, reason=None):
        story.reason = reason or story.reason
        self.blame_losses(story)
        self.closed.append(story)

    def blame_losses(self, story):
        for loss, text in self.lost.items():
            if story.reason in self.LOSSES[loss]:
                story.reason = loss
                story.notes.append(printable(text))

    def on_nvram_lost(self, what, key, why):
        self.lost["nvram-not-written"] = f"NVRAM is not written: {what}{key}: {why}."

    def on_own_key_lost(self, why):
        self.lost["own-key-not-written"] = f"The own key pair is not written: {why}."

    def on_prod_type(self, value):
        self.element = {"prod_type": value}

    def on_prod_id(self, value):
        self.element["prod_id"] = value

    def on_vie_data(self, value):
        self.element["plon_vie_data"] = value

    def element_text(self):
        return ", ".join(f"{key} {self.element.get(key, '?')}" for key in ELEMENT)


def command_of(command):
    """The station and the number of data bytes of a command that sends a frame."""
    words = re.match(r"wl actframe (\S+) \w{14}([0-9a-f]{4})?", command)
    return (words[1], int(words[2] or "0", 16)) if words else ("?", 0)


class Base(Reader):
    """The stations of a base's log."""

    STEPS = {
        "unit_key": ("the unit's key is stored", "awaiting-push"),
        "probe": ("probe request again", None),
        "bad_1002": ("operation 1002 dropped: impossible lengths", "malformed-frame"),
        "bad_frame": ("a frame is dropped: {2} cut off or too large", "malformed-frame"),
    }

    def __init__(self):
        super().__init__()
        self.rows = {}  # the candidate table, in its order
        self.pushing, self.full, self.valid, self.ours, self.sender = [], False, False, False, "?"
        self.windows = 0

    def add(self, text, reason, *values):
        named = [value for value in values if value in self.rows]
        story = self.rows.get(named[0] if named else self.sender)
        if story:
            story.step(self.place, text)
            # A broken frame, which anybody may have sent, takes nothing from a ready unit.
            if reason != "malformed-frame" or story.reason != "awaiting-push":
                story.reason = reason or story.reason

    def without_row(self, station, reason, text):
        last = [story for story in self.closed if story.station == station][-1:]
        if not last or last[0].reason != reason:
            last = [Story("base", station)]
            self.close(last[0], reason)
        last[0].step(self.place, text)

    def leaves(self, reason, text):
        """The sender's row is gone, and its story with it."""
        if self.sender not in self.rows:
            self.without_row(self.sender, reason, text)
            return
        story = self.rows.pop(self.sender)
        story.step(self.place, text)
        self.close(story, reason)

    def on_start(self, *_):
        for self.sender in list(self.rows):
            self.leaves("restarted", "the daemon starts anew, with an empty table")
        self.full, self.lost = False, {}

    def on_window(self, *_):
        self.windows += 1

    def on_row(self, station, *_):
        if station not in self.rows:
            self.rows[station] = Story("base", station, "never-said-hello")
            self.add("probe request with the unit's element: it has a row", None, station)

    def on_full(self):
        self.full = True
        self.without_row("(not named)", "table-full", "a new station asks; no row is left")

    def on_operation(self, attr_id, station):
        self.sender = station
        self.add(f"operation {attr_id} arrives", None)

    def on_refused(self, station):
        self.without_row(station, "table-full" if self.full else "refused-not-a-candidate",
                         "operation 1000 arrives, and the station has no row")

    def on_check(self):
        self.ours = False

    def on_oui_matches(self):
        self.ours = True

    def on_bad_1000(self):
        self.add(f"its element is refused: {self.element_text()}", "wrong-element")

    def on_bad_unit_key(self):
        if self.ours:
            self.leaves("wrong-element", f"its element is refused: {self.element_text()}")
        else:
            self.leaves("sealed-for-another-key", "operation 1002 cannot be decrypted; row gone")

    def on_sent_1001(self, command):
        station, length = command_of(command)
        self.add(f"operation 1001 sent, with a key of {length} bytes",
                 "never-sent-its-key" if length else "key-not-usable", station)

    def on_good_1002(self):
        self.valid = True

    def on_listed(self, _station):
        self.valid = False

    def on_unlisted(self, station):
        if self.valid:
            self.without_row(station, "refused-not-a-candidate", "its key arrives; it has no row")
        self.valid = False

    def on_sent_1004(self, command):
        self.add("operation 1004 sent: wait up to 15 minutes", None, command_of(command)[0])

    def on_push(self):
        self.pushing = list(self.rows)

    def on_push_refused(self, setting):
        for story in self.rows.values():
            story.step(self.place, f"push refused: {setting} is too long")
            story.reason = "push-refused-settings"

    def on_push_row(self, _key):
        self.sender = self.pushing.pop(0) if self.pushing else "(not named)"
        self.full = False

    def on_push_no_key(self):
        self.leaves("pushed-too-early", "push: the unit's key is not there")

    def on_push_unlisted(self):
        self.leaves("not-listed-by-the-platform", "push: the platform does not list the unit")

    def on_sent_1003(self, command):
        self.sender, length = command_of(command)
        self.leaves("credentials-sent" if length else "key-not-usable",
                    f"push: operation 1003 sent, {length} bytes encrypted with the unit's key")

    def stories(self):
        for story in self.rows.values():
            self.blame_losses(story)
        return self.closed + list(self.rows.values())


class Unit(Reader):
    """The attempts of an un-configured unit's log."""

    STEPS = {
        "no_start": ("the daemon cannot start", None),
        "search": ("the search begins", None),
        "scan": ("scan", None),
        "search_over": ("the search ends after 30 minutes", None),
        "sent_1000": ("operation 1000 sent", None),
        "bad_1001": ("operation 1001 dropped: its key is too long", "key-not-usable"),
        "base_key": ("operation 1001 arrives, with the base's key", None),
        "own_key": ("the unit's own key file is too long", "key-not-usable"),
        "sealed_1002": ("operation 1002 sent, {0} bytes encrypted with the base's key", None),
        "wait": ("operation 1004 arrives: wait up to 15 minutes", None),
        "credentials": ("operation 1003 arrives, {0} bytes decrypted", None),
        "bad_1003": ("operation 1003 dropped: {1}{2}", "credentials-refused"),
        "is_temp_satellite": ("starts as a temporary satellite", "credentials-stored"),
        "is_satellite": ("starts as an installed satellite", None),
        "reset": ("reset to the un-configured mode by hand", None),
    }
    HAS_BACKHAUL = ("credentials-stored", "credentials-empty", "ethernet-backhaul")

    def __init__(self):
        super().__init__()
        self.now = None

    def add(self, text, reason, *_):
        self.now = self.now or Story("unit", "no base")
        self.now.step(self.place, text)
        self.now.reason = reason or self.now.reason

    def end(self, reason=None):
        if self.now:
            self.close(self.now, reason)
        self.now = None

    def outcome(self):
        """The reason that holds if nothing more happens."""
        facts, reason = self.now.facts, self.now.reason
        if reason != "in-progress" or facts["stage"]:
            return reason
        heard_nothing = "never-heard-the-base" if facts["scans"] > 2 else reason
        return "wrong-element" if facts["elements"] else heard_nothing

    def on_start(self, *_):
        if self.now and self.now.reason not in self.HAS_BACKHAUL:
            self.add("the daemon starts anew", None)
            reason = self.outcome()
            self.end("restarted" if self.now.facts["stage"] or reason == "in-progress" else reason)
        elif self.now and self.lost:
            self.end()
        self.lost = {}

    def on_no_start(self, *_):
        self.end("could-not-start")

    def on_scan(self):
        self.now.facts["scans"] += 1

    def on_bss(self, *_):
        if self.now:
            self.now.facts["networks"] += 1

    def on_bad_frame(self, _size, station, field):
        if self.now:
            self.add(f"a frame from {station} is dropped: {field} cut off or too large", None)

    def on_vie_data(self, value):
        super().on_vie_data(value)
        if self.now and [self.element.get(key) for key in ELEMENT] != ["08", "01", "01"]:
            self.now.facts["elements"] += 1
            self.add(f"an element with our OUI is no base's: {self.element_text()}", None)

    def on_target(self, bssid, channel):
        if self.now and self.now.station == "no base":
            self.now.station, self.now.facts["channel"] = bssid, int(channel)
            self.add(f"base found on channel {channel}", None)

    def on_sent_1000(self, _command):
        self.now.facts["stage"] = 1

    def on_base_key(self, _key):
        self.now.facts["stage"] = 3

    def on_sealed_1002(self, length):
        self.now.reason = "in-progress" if int(length) else "key-not-usable"

    def on_wait(self):
        self.now.facts["stage"] = 5

    def on_credentials(self, length, _text):
        self.now.facts["empty"] = int(length) == 0

    def on_mode(self, target, current):
        if self.now is None or target == current:
            return
        self.add(f"mode {current} to {target}", None)
        if target == "0":
            self.back_to_search(current)
        elif target in "34":
            empty = current == "1" and self.now.facts["empty"]
            stored = "credentials-empty" if empty else "credentials-stored"
            self.now.reason = stored if target == "3" else "ethernet-backhaul"
        elif target in "256":
            self.end({"2": "became-a-router", "5": "became-a-base", "6": "installed"}[target])

    def back_to_search(self, current):
        gave_up = {5: "gave-up-waiting-for-1003", 3: "gave-up-waiting-for-1004"}
        if current != "1":
            self.end("backhaul-down")
        elif self.now.reason == "in-progress":
            self.end(gave_up.get(self.now.facts["stage"], "gave-up-waiting-for-1001"))
        else:
            self.end()

    def on_is_satellite(self):
        self.end("installed")

    def on_reset(self):
        self.end("reset-by-hand")

    def stories(self):
        if self.now:
            self.now.reason = self.outcome()
            self.blame_losses(self.now)
        for story in self.closed + ([self.now] if self.now else []):
            if story.reason == "never-heard-the-base":
                story.notes.append(f"{story.facts['scans']} scans brought "
                                   f"{story.facts['networks']} results of any network.")
            yield story


def fail(text):
    print(f"vorlent-why: {text}", file=sys.stderr)
    sys.exit(1)


def read_text(path):
    try:
        with open(path, "rb") as file:
            return file.read().decode("utf-8", "replace")
    except OSError as error:
        fail(f"{path}: {error.strerror}")


def read_air(path):
    """Who was heard on which channel in a capture, by station, and how often each operation."""
    if not shutil.which("tshark"):
        fail(f"{path}: tshark, which reads captures, is not installed (package tshark)")
    here = os.path.dirname(os.path.realpath(__file__))
    places = [here + "/../packaging/wireshark/vorlent.lua", here + "/../share/vorlent/vorlent.lua"]
    script = [f"-Xlua_script:{place}" for place in places if os.path.exists(place)][:1]
    names = ["vorlent.unit", "vorlent.base", "vorlent.op", "vorlent.from", "wlan_radio.channel"]
    run = subprocess.run(["tshark", "-r", path, *script, "-Y", "vorlent", "-T", "fields", "-E",
                          "occurrence=f", *[part for name in names for part in ("-e", name)]],
                         capture_output=True, text=True, errors="replace", check=False)
    if run.returncode:
        hint = "; install vorlent.lua as a plugin" if "valid" in run.stderr else ""
        said = run.stderr.strip().splitlines() or [f"tshark ended with {run.returncode}"]
        why = f"{path}: {said[-1]}{hint}"
        if not run.stdout:
            fail(why)
        print(f"vorlent-why: {why}; what came before is used", file=sys.stderr)
    air = {"base": {}, "unit": {}, "operations": collections.Counter()}
    for line in run.stdout.splitlines():
        unit, base, operation, sender, channel = line.split("\t")
        sender = sender or ("unit" if unit else "base")
        heard = air[sender].setdefault(unit if sender == "unit" else base, set())
        heard.update([int(channel)] if channel else [])
        if operation:
            air["operations"][base, operation] += 1
    return air


def channels_text(channels):
    return ", ".join(map(str, sorted(channels))) or "unknown"


def judge_by_air(stories, air, is_base):
    """Puts right what a capture knows better, and adds the stations that only it knows."""
    theirs = set().union(*air["base"].values())
    known = {story.station for story in stories}
    for station in sorted(set(air["unit"]) - set(air["base"]) - known if is_base else ()):
        stories.append(Story("base", station, "never-heard-the-unit"))
    for story in stories:
        station = story.station.lower()
        if story.side == "base":
            mine, base, doubtful = air["unit"].get(station, set()), theirs, ("never-",)
        elif story.facts["channel"]:
            mine, base = {story.facts["channel"]}, air["base"].get(station, set())
            doubtful = ("gave-up", "in-progress")
        else:
            mine, base = set().union(*air["unit"].values()), theirs
            doubtful = ("never-", "in-progress")
        if story.reason.startswith(doubtful):
            counts = [f", {count} of operation {operation}" for (to, operation), count
                      in sorted(air["operations"].items()) if to == station]
            story.notes.append(f"The capture has the base on channel {channels_text(base)}, the "
                               f"unit on channel {channels_text(mine)}{''.join(counts)}.")
            if mine and base and not mine & base:
                story.reason = "on-another-channel"


def judge_by_nvram(stories, nvram):
    listed = nvram.get("candidate_satellites", "").lower().split()
    for story in stories:
        if story.side == "base" and story.reason in ("awaiting-push", "not-listed-by-the-platform"):
            lists = "lists" if story.station in listed else "does not list"
            story.notes.append(f"NVRAM {lists} it in candidate_satellites now.")
        elif story.reason == "push-refused-settings":
            story.notes += [f"NVRAM {key} has {len(nvram.get(key, ''))} characters." for key in
                            ("bh_ssid", "bh_wpa_psk", "bh_crypto", "bh_akm")]
    role = nvram.get("onboarding_role", "not set")
    if stories and stories[-1].side == "unit":
        stories[-1].notes.append(f"NVRAM now: onboarding_role {role}, "
                                 f"blank_state {nvram.get('blank_state', 'not set')}.")


def judge_by_candidates(stories, path):
    try:
        ready = {row["mac"] for row in json.loads(read_text(path))["candidates"]}
    except (ValueError, KeyError, TypeError) as error:
        fail(f"{path}: this is no candidate file: {error}")
    last = {story.station: story for story in stories if story.side == "base"}
    for station in sorted(ready - set(last)):
        stories.append(Story("base", station, "awaiting-push"))
        last[station] = stories[-1]
    for station, story in last.items():
        if story.reason == "awaiting-push":
            story.notes.append(f"The candidate file {'lists' if station in ready else 'lacks'} it.")


def read_log(path):
    """The messages of a log and of the older part beside it, and the places of unknown ones."""
    older = [path + ".1"] if os.path.exists(path + ".1") else []
    messages, unknown = [], []
    for name in older + [path]:
        known, strange = read_messages(os.path.basename(name), read_text(name))
        messages += known
        unknown += strange
    if not messages:
        fail(f"{path}: no message of vorlent in it; its debug log is vorlent_dbg.log")
    return messages, unknown


def print_text(stories, unknown):
    total, number = collections.Counter(s.station for s in stories), collections.Counter()
    for story in stories:
        happened, todo = REASONS[story.reason]
        number[story.station] += 1
        print(f"{story.station} ({story.side}'s side, outcome {number[story.station]} of "
              f"{total[story.station]}): {story.reason}")
        for text in [happened, "To do: " + todo, *story.notes]:
            print(textwrap.fill(text, 92, initial_indent="  ", subsequent_indent="    "))
        for place, text, times in story.steps:
            print(f"  {place}: {text}" + (f" ({times} times)" if times > 1 else ""))
        print()
    if not stories:
        print("No unit on its way: neither a search nor a station in this log.")
    if unknown:
        print(f"{len(unknown)} messages are of another version, the first at {unknown[0]}.")


def print_json(stories, unknown):
    units = [{"side": story.side, "station": story.station, "reason": story.reason,
              "happened": REASONS[story.reason][0], "todo": REASONS[story.reason][1],
              "notes": story.notes,
              "steps": [dict(zip(("place", "text", "times"), step)) for step in story.steps]}
             for story in stories]
    print(json.dumps({"units": units, "unknown_messages": unknown}, indent=1))


def main():
    parser = argparse.ArgumentParser(prog="vorlent-why", description=__doc__.splitlines()[0])
    parser.add_argument("log", metavar="LOG", help="the debug log of a base or a unit")
    parser.add_argument("capture", metavar="CAPTURE", nargs="?", help="a capture of the air")
    parser.add_argument("--nvram", metavar="FILE", help="its NVRAM, as key=value lines")
    parser.add_argument("--candidates", metavar="FILE", help="the base's vexo_onborading.json")
    parser.add_argument("--json", action="store_true", help="print JSON, for machines")
    options = parser.parse_args()
    messages, unknown = read_log(options.log)
    base, unit = Base(), Unit()
    for message in messages:
        base.take(message)
        unit.take(message)
    stories = base.stories() + list(unit.stories())
    if options.capture:
        is_base = bool(base.closed or base.rows or base.windows)
        judge_by_air(stories, read_air(options.capture), is_base)
    if options.nvram:
        lines = read_text(options.nvram).splitlines()
        judge_by_nvram(stories, dict(line.split("=", 1) for line in lines if "=" in line))
    if options.candidates:
        judge_by_candidates(stories, options.candidates)
    if stories and stories[-1].side == "base":
        stories.sort(key=lambda story: story.station)  # one station's outcomes keep their order
    try:
        (print_json if options.json else print_text)(stories, unknown)
        sys.stdout.flush()
    except OSError as error:
        os.dup2(os.open(os.devnull, os.O_WRONLY), 1)  # what is still buffered has nowhere to go
        fail(f"standard output: {error.strerror}")


if __name__ == "__main__":
    signal.signal(signal.SIGPIPE, signal.SIG_DFL)  # as any tool in front of `head`
    main()
