"""The stations of a base's log."""
import collections

from stories import Attempt, Side, Station, command_of, shown, says

UNITS_OPERATIONS = ("1000", "1002")
FORGED = "a broken frame, or one that no unit sends, is dropped"
STRANGERS_KEPT = 2000  # one by one; a flood may name any number
OWN_KEYS = 100  # of one log
ROWS_MOST = 30  # the table has 15; a log with a part missing seems to have more
CROWD_SHOWN = 40
ODD_FRAMES = 20  # of one address; a unit whose base has started anew sends fewer
CROWD = 6  # addresses more than this, with nothing else to tell of them, are told as one


class Base(Side):
    """Each row of the candidate table is an attempt; what comes without a row is one as well."""

    def __init__(self, place):
        super().__init__(place)
        self.rows = {}  # the candidate table, in its order
        self.stations = {}  # attempts, by station
        self.pushing, self.full, self.valid, self.ours, self.sender = [], False, False, False, "?"
        self.is_seen, self.unnamed, self.uncounted = False, 0, 0
        self.own_keys = set()  # by which a capture knows this base

    def add(self, text, reason=None, station=None):
        attempt = self.rows.get(self.sender if station is None else station)
        if attempt:
            attempt.step(self.place, text)
            # A broken frame, which anybody may have sent, takes nothing from a ready unit.
            if reason and not (reason == "malformed-frame" and attempt.reason == "awaiting-push"):
                attempt.reason = reason
        return attempt

    def without_row(self, station, reason, text, is_odd=False):
        station = shown(station)
        if station not in self.stations and len(self.stations) >= STRANGERS_KEPT:
            self.uncounted += 1
            return
        attempts = self.stations.setdefault(station, [])
        if not attempts or not attempts[-1].facts["without row"]:
            attempts.append(Attempt("base"))
        attempts[-1].reason = reason
        attempts[-1].step(self.place, text)
        attempts[-1].facts.update({"without row": 1, "odd": is_odd})

    def leaves(self, reason, text, station=None):
        """The row is gone, and its story with it."""
        self.is_seen = True
        station = self.sender if station is None else station
        attempt = self.rows.pop(station, None)
        if attempt is None:
            self.without_row(station, reason, text, is_odd=True)
            return
        attempt.step(self.place, text)
        attempt.reason = reason
        self.blame_losses(attempt)

    @says("open_eventfd", "opened loopback socket %d\n")
    def starts(self, _descriptor):
        for station in list(self.rows):
            self.leaves("restarted", "the daemon starts anew, with an empty table", station)
        self.full, self.lost = False, {}

    @says("router_start_onboarding", "add timer: %d for candidate action frame handshake in 60 secs.\n")
    def window(self, _timer):
        self.is_seen = True

    @says("dump_current_support_list", "STA: %s\nPUB_key(%d):%s\n\n")
    def row(self, station):
        self.is_seen = True
        if station not in self.rows and len(self.rows) < ROWS_MOST:
            attempt = self.rows[station] = Attempt("base", "never-said-hello")
            self.stations.setdefault(shown(station), []).append(attempt)
            self.add("probe request with the unit's element: it has a row", station=station)

    @says("update_candidate_table", "%s already exist in the candidate list.\n")
    def probe_again(self, station):
        self.add("probe request again", station=station)

    @says("update_candidate_table", "Over MAX support clients!!\n")
    def table_is_full(self):
        self.full = self.is_seen = True
        self.unnamed += 1

    @says("parse_act_frame", "Got action frame with attr_id:%X from STA: %s\n")
    def operation(self, attr_id, station):
        self.sender = station
        attempt = self.add(f"operation {attr_id} arrives" if attr_id in UNITS_OPERATIONS else FORGED)
        if attempt:
            attempt.facts[f"got {attr_id}"] += 1

    @says("parse_act_frame", "drop action frame of %d bytes from STA: %s: %s cut off or too large\n")
    def bad_frame(self, _size, station, _field):
        if station in self.rows:
            self.add(FORGED, "malformed-frame", station).facts["odd"] += 1
        else:
            self.without_row(station, "malformed-frame", FORGED, is_odd=True)

    @says("act_op_1000_handler", "Cannot find the client (%s) from candidate list.\n")
    def refused(self, station):
        self.is_seen = True
        self.without_row(station, "table-full" if self.full else "refused-not-a-candidate",
                         "operation 1000 arrives, and the station has no row")

    @says("check_plon_ie", "======== check Pelion IE ========\n")
    def check(self):
        self.ours = False

    @says("check_plon_ie", "Match Pelion OUI.\n")
    def oui_matches(self):
        self.ours = True

    @says("act_op_1000_handler", "Invalid ie.\n")
    def element_of_1000_refused(self):
        self.add(f"its element is refused: {self.element_text()}", "wrong-element")

    @says("act_op_1001_sender", "cmd: %s\n")
    def sent_1001(self, command):
        station, length, key = command_of(command)
        self.is_seen = True
        if len(self.own_keys) < OWN_KEYS:
            self.own_keys.add(hash(key))
        attempt = self.add(f"operation 1001 sent, with a key of {length} bytes",
                           "never-sent-its-key" if length else "key-not-usable", station)
        if attempt:
            attempt.facts["sent 1001"] += 1

    @says("act_op_1002_handler", "drop operation 1002 from STA: %s: %d bytes of ciphertext, at most %d\n")
    def too_long_1002(self, station, _length, _most):
        self.bad_1002(station)

    @says("act_op_1002_handler", "drop operation 1002 from STA: %s: lengths outside its %d bytes\n")
    def bad_1002(self, station, _length=None):
        self.add("operation 1002 dropped: impossible lengths", "malformed-frame", station)

    @says("act_op_1002_handler", "Invalid ie.\n")
    def content_of_1002_refused(self):
        if self.ours:
            self.leaves("wrong-element", f"its element is refused: {self.element_text()}")
        else:
            self.leaves("sealed-for-another-key", "operation 1002 cannot be decrypted; row gone")

    @says("act_op_1002_handler", "valid ie.\n")
    def content_of_1002_accepted(self):
        self.valid = True

    @says("check_in_candidate_list", "Found %s in support list.\n")
    def listed(self, _station):
        self.valid = False

    @says("check_in_candidate_list", "Cannot found %s in support list.\n")
    def unlisted(self, station):
        if self.valid:
            self.without_row(station, "refused-not-a-candidate", "its key arrives; it has no row")
        self.valid = False

    @says("act_op_1002_handler", "pub_key(%d):%s")
    def key_stored(self, *_):
        self.add("the unit's key is stored", "awaiting-push")

    @says("act_op_1004_sender", "cmd: %s\n")
    def sent_1004(self, command):
        attempt = self.add("operation 1004 sent: wait up to 15 minutes", station=command_of(command)[0])
        if attempt:
            attempt.facts["sent 1004"] += 1

    @says("sig_handler", "Got SIGUSR1 to push BH credential.\n")
    def push(self):
        self.pushing = list(self.rows)

    @says("act_op_1003_sender", "push refused: NVRAM %s is longer than a unit can hold\n")
    @says("generate_bh_credential_content", "the content does not hold %s\n")
    def push_refused(self, setting):
        for attempt in self.rows.values():
            attempt.step(self.place, f"push refused: {setting} is too long")
            attempt.reason = "push-refused-settings"

    @says("act_op_1003_sender", "%s \n")
    def push_of_next(self, _key):
        self.sender = self.pushing.pop(0) if self.pushing else "(not named)"
        self.full = False

    @says("act_op_1003_sender", " client_pub_key = NULL \r\n")
    def push_without_key(self):
        attempt = self.rows.get(self.sender)
        if attempt and not attempt.facts["got 1000"]:
            self.leaves("never-said-hello", "push: the unit has not said hello yet; row gone")
        else:
            self.leaves("pushed-too-early", "push: the unit's key is not there")

    @says("act_op_1003_sender", " mac not found \r\n")
    def push_of_unlisted(self):
        self.leaves("not-listed-by-the-platform", "push: the platform does not list the unit")

    @says("act_op_1003_sender", "cmd: %s\n")
    def sent_1003(self, command):
        self.sender, length, _ = command_of(command)
        if self.sender in self.rows:
            self.rows[self.sender].facts["sent 1003"] += 1
        self.leaves("credentials-sent" if length else "key-not-usable",
                    f"push: operation 1003 sent, {length} bytes encrypted with the unit's key")

    def is_served(self, name):
        return any(attempt.facts["sent 1001"] or attempt.facts["sent 1003"] for attempt in self.stations[name])

    def told_stations(self):
        """What many addresses have in common, to which nothing was ever served, is told once."""
        if not self.is_seen:
            return []
        for attempt in self.rows.values():
            self.blame_losses(attempt)
        stations, groups = [], collections.defaultdict(list)
        for name, attempts in sorted(self.stations.items()):
            odd = sum(attempt.facts["odd"] for attempt in attempts)
            if self.is_served(name):
                stations.append(Station(name, attempts))
            else:
                groups["forged-frames" if odd else attempts[-1].reason].append(name)
        for reason, names in groups.items():
            strange = reason == "forged-frames" and (len(names) > 1 or self.frames_of(names[0]) > ODD_FRAMES)
            if strange or len(names) > CROWD:
                stations.append(self.crowd(reason, names))
            else:
                stations += [Station(name, self.stations[name]) for name in names]
        return sorted(stations, key=lambda station: station.name)

    def frames_of(self, name):
        return sum(step[2] for attempt in self.stations[name] for step in attempt.steps)

    def crowd(self, reason, names):
        attempt = Attempt("base", reason)
        for name in names[:CROWD_SHOWN]:
            first = self.stations[name][0]
            attempt.steps.append([first.steps[0][0], name, self.frames_of(name)])
        attempt.more_steps = len(names) - len(attempt.steps)
        return Station(f"({len(names) + self.uncounted * (reason == 'forged-frames')} addresses)", [attempt])
