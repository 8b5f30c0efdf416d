"""The attempts of an un-configured unit's log."""
from lines import CHANNEL_LINE
from stories import Attempt, Side, Station, command_of, shown, says

HAS_BACKHAUL = ("credentials-stored", "credentials-empty", "ethernet-backhaul")
TOO_LONG = "too long a value"
OWN_CIPHERS = 1000  # of one log
ATTEMPTS_TOLD = 200  # of one log, the latest


class Unit(Side):
    """Each search is an attempt, from its beginning to what ends it."""

    def __init__(self, place):
        super().__init__(place)
        self.now, self.closed, self.target_shown, self.forgotten = None, [], False, 0
        self.own_ciphers = set()  # by which a capture knows this unit

    def add(self, text, reason=None):
        self.now = self.now or Attempt("unit")
        self.now.step(self.place, text)
        self.now.reason = reason or self.now.reason

    def end(self, reason=None):
        if self.now:
            self.now.reason = reason or self.now.reason
            self.blame_losses(self.now)
            self.closed.append(self.now)
            if len(self.closed) > ATTEMPTS_TOLD:
                del self.closed[0]
                self.forgotten += 1
        self.now = None

    def outcome(self):
        """The reason that holds if nothing more happens."""
        facts, reason = self.now.facts, self.now.reason
        if reason != "in-progress" or facts["stage"]:
            return reason
        heard_nothing = "never-heard-the-base" if facts["scans"] > 2 else reason
        return "wrong-element" if facts["elements"] else heard_nothing

    def reach(self, stage):
        """What came before is no longer the reason."""
        self.now.facts["stage"], self.now.reason = stage, "in-progress"

    def arrives(self, text):
        """What is heard before the unit has sent its key was meant for the one before."""
        self.add(text)
        self.now.facts["early"] += not self.now.facts["sent 1002"]

    @says("open_eventfd", "opened loopback socket %d\n")
    def starts(self, _descriptor):
        if self.now and self.now.reason not in HAS_BACKHAUL:
            self.add("the daemon starts anew")
            reason = self.outcome()
            self.end("restarted" if self.now.facts["stage"] or reason == "in-progress" else reason)
        elif self.now and self.lost:
            self.end()
        self.lost = {}

    @says("main", "err from daemonize.\n")
    @says("open_eventfd", "Unable to create loopback socket\n")
    @says("open_eventfd", "Unable to setsockopt to loopback socket %d.\n")
    @says("open_eventfd", "Unable to bind to loopback socket %d\n")
    def cannot_start(self, *_):
        self.add("the daemon cannot start")
        self.end("could-not-start")

    @says("unconfigured_mode_cfg", "%s")
    def search(self, _command):
        if self.now and self.now.reason in HAS_BACKHAUL:  # it has lost them again
            self.add("the daemon starts anew, without credentials")
            self.end("restarted")
        self.add("the search begins")

    @says("vorlent_ie_scan", "Searching Mesh onboarding ...\n\n")
    def scan(self):
        self.add("scan")
        self.now.facts["scans"] += 1

    @says("timer_cb_mesh_ie_scan_expired", "Disable mesh scan after 30 minutes Wi-Fi search.\n")
    def search_over(self):
        self.add("the search ends after 30 minutes")

    @says("uncfg_register", "BSSID: %s chanspec: 0x%04x\n")
    def network(self, *_):
        if self.now:
            self.now.facts["networks"] += 1

    @says("dump_plon_ie", "plon_vie_data: %02x\n")
    def vie_data(self, value):
        super().vie_data(value)
        if self.now and list(self.element.values()) != ["08", "01", "01"]:
            self.now.facts["elements"] += 1
            self.add(f"an element with our OUI is no base's: {self.element_text()}")

    @says("dump_target_bss_info", "Target BSS:\nBSSID: %s\nchannel: %d\n")
    def target(self):
        self.target_shown = True

    @says(*CHANNEL_LINE)
    def channel(self, channel):
        if self.now and self.target_shown and not self.now.facts["channel"]:
            self.now.facts["channel"] = int(channel)
            self.add(f"base found on channel {channel}")
        self.target_shown = False

    @says("act_op_1000_sender", "cmd: %s\n")
    def sent_1000(self, command):
        self.add("operation 1000 sent")
        self.now.base = shown(command_of(command)[0]).lower()
        self.now.facts["sent 1000"] += 1
        self.now.facts["stage"] = max(self.now.facts["stage"], 1)

    @says("parse_act_frame", "drop action frame of %d bytes from STA: %s: %s cut off or too large\n")
    def bad_frame(self, _size, station, field):
        if self.now:
            self.add(f"a frame from {station} is dropped: {field} cut off or too large")

    @says("act_op_1001_handler", "drop operation 1001 from STA: %s: key of %d bytes, at most %d\n")
    def key_too_long(self, *_):
        self.add("operation 1001 dropped: its key is too long", "key-not-usable")

    @says("act_op_1001_handler", "dump base pub key: \n%.*s\n")
    def base_key(self):
        self.add("operation 1001 arrives, with the base's key")
        self.reach(3)

    @says("act_op_1002_sender", "own public key of %d bytes is too long\n")
    def own_key_too_long(self, _length):
        self.add("the unit's own key file is too long", "key-not-usable")

    @says("act_op_1002_sender", "cmd: %s\n")
    def sent_1002(self, command):
        _, length, cipher = command_of(command)
        self.add(f"operation 1002 sent, {length} bytes encrypted with the base's key",
                 "in-progress" if length else "key-not-usable")
        if len(self.own_ciphers) < OWN_CIPHERS:
            self.own_ciphers.add(hash(cipher))
        self.now.facts["sent 1002"] += 1

    @says("act_op_1004_handler", "extend 15 minutes for waiting 1003...\n")
    def wait(self):
        self.arrives("operation 1004 arrives: wait up to 15 minutes")
        self.reach(5)

    @says("act_op_1003_handler", "decode(%d):\n%.*s\n")
    def credentials(self, length):
        self.arrives(f"operation 1003 arrives, {length} bytes decrypted")
        self.now.facts["empty"] = int(length) == 0

    @says("act_op_1003_handler", "drop operation 1003 from STA: %s: %s%s\n")
    def refused_1003(self, _station, why):
        """With another key than the one it is for, a content mostly decrypts to some bytes or other."""
        self.add(f"operation 1003 dropped: {why}",
                 "credentials-refused" if why.startswith(TOO_LONG) else "sealed-for-another-key")

    @says("load_cur_mode", "Temp Satellite mode detected...\n")
    def is_temp_satellite(self):
        self.add("starts as a temporary satellite", "credentials-stored")

    @says("load_cur_mode", "Satellite detected...\n")
    def is_satellite(self):
        self.add("starts as an installed satellite")
        self.end("installed")

    @says("dut_role_monitor", "restore to Unconfigured mode.\n")
    def reset(self):
        self.add("reset to the un-configured mode by hand")
        self.end("reset-by-hand")

    @says("role_bakery", "target_role:cur_role >> (%d:%d)\n")
    def mode(self, target, current):
        if self.now is None or target == current:
            return
        self.add(f"mode {current} to {target}")
        if target == "0":
            self.back_to_search(current)
        elif target in ("3", "4"):
            empty = current == "1" and self.now.facts["empty"]
            stored = "credentials-empty" if empty else "credentials-stored"
            self.now.reason = stored if target == "3" else "ethernet-backhaul"
        elif target in ("2", "5", "6"):
            self.end({"2": "became-a-router", "5": "became-a-base", "6": "installed"}[target])

    def back_to_search(self, current):
        gave_up = {5: "gave-up-waiting-for-1003", 3: "gave-up-waiting-for-1004"}
        if current != "1":
            self.end("backhaul-down")
        elif self.now.reason == "in-progress":
            self.end(gave_up.get(self.now.facts["stage"], "gave-up-waiting-for-1001"))
        else:
            self.end()

    def told_stations(self, name="this unit"):
        if self.now:
            self.now.reason = self.outcome()
            self.blame_losses(self.now)
        attempts = self.closed + ([self.now] if self.now else [])
        for attempt in attempts:
            if attempt.reason == "never-heard-the-base":
                attempt.notes.append(f"{attempt.facts['scans']} scans brought "
                                     f"{attempt.facts['networks']} results of any network.")
        return [Station(name, attempts)] if attempts else []
