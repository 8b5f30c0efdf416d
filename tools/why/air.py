"""What a capture of the air knows better than a log: who was where, and what was sent and not heard.

The log has no time stamps and the capture has, so the two are laid side by side by what a device has
sent itself: its log and the capture have exactly the same frames of that, in the same order.
"""
import collections
import os
import sys

from stories import Attempt, Station

FIELDS = ("vorlent.unit", "vorlent.base", "vorlent.op", "vorlent.from", "wlan_radio.channel",
          "vorlent.data", "frame.time_relative")
ORDER = ("1000", "1001", "1002", "1004", "1003")
MAGICS = (b"\n\r\r\n", b"\xd4\xc3\xb2\xa1", b"\xa1\xb2\xc3\xd4", b"\x4d\x3c\xb2\xa1", b"\xa1\xb2\x3c\x4d")
Frame = collections.namedtuple("Frame", "time operation unit base sender digest")


class NoAir(Exception):
    """Why the capture cannot be read."""


def is_capture(path):
    try:
        with open(path, "rb") as file:
            return file.read(4) in MAGICS
    except OSError:
        return False


def dissector():
    beside = os.path.join(os.path.dirname(os.path.realpath(sys.argv[0])), "wireshark/vorlent.lua")
    return [f"-Xlua_script:{beside}"] if os.path.exists(beside) else []


class Air:
    """The operations of a capture, and the channels on which units and bases were heard."""

    def __init__(self, path):
        import shutil  # these three only here: most logs come without a capture, and they take long to load
        import subprocess
        import tempfile
        self.frames, self.units, self.bases, self.warning = [], {}, {}, None
        if not shutil.which("tshark"):
            raise NoAir("tshark, which reads captures, is not installed (package tshark)")
        command = ["tshark", "-r", path, *dissector(), "-Y", "vorlent && wlan", "-T", "fields", "-E",
                   "occurrence=f", *[part for name in FIELDS for part in ("-e", name)]]
        with tempfile.TemporaryFile("w+", errors="replace") as said:  # a pipe may fill up while nobody reads it
            with subprocess.Popen(command, stdout=subprocess.PIPE, stderr=said, text=True,
                                  errors="replace") as tshark:
                for line in tshark.stdout:
                    self.take(line.rstrip("\n").split("\t"))
            said.seek(0)
            if tshark.returncode:
                self.complain(said.read(), tshark.returncode)

    def complain(self, said, status):
        if "valid" in said and "vorlent" in said:
            raise NoAir("vorlent's dissector is not installed (package vorlent-dissector)")
        last = (said.strip().splitlines() or [f"tshark ended with {status}"])[-1]
        if not self.units and not self.bases:
            raise NoAir(last)
        self.warning = f"{last}; what came before is used"

    def take(self, fields):
        unit, base, operation, sender, channel, data, time = fields
        sender = sender or ("unit" if unit else "base")
        heard = (self.units if sender == "unit" else self.bases).setdefault(unit if sender == "unit" else base, set())
        heard.update([int(channel)] if channel.isdigit() else [])
        if operation:
            digest = hash(data.replace(":", "")) if data else None
            self.frames.append(Frame(float(time), operation, unit, base, sender, digest))

    def sender_of(self, digests, sender):
        """Whoever sent this very content."""
        found = {getattr(frame, sender) for frame in self.frames
                 if frame.sender == sender and frame.digest in digests}
        return found.pop() if len(found) == 1 else None


def counts_text(frames):
    counts = collections.Counter(frame.operation for frame in frames)
    return "/".join(ORDER), "/".join(str(counts[operation]) for operation in ORDER)


def channels_text(channels):
    return ", ".join(map(str, sorted(channels))) or "unknown"


def see(attempt, frames):
    """Notes what the capture has of an attempt."""
    counts = collections.Counter(frame.operation for frame in frames)
    attempt.air = {operation: counts[operation] for operation in ORDER}
    attempt.notes.append("In the capture, operations {} of this attempt: {}.".format(*counts_text(frames)))
    return counts


def compare_channels(attempt, base, unit):
    if base and unit and not base & unit:
        attempt.reason = "on-another-channel"
        attempt.notes.append(f"The capture has the base on channel {channels_text(base)}, the unit on "
                             f"channel {channels_text(unit)}.")


class UnitWitness:
    """The capture beside a unit's log."""

    def __init__(self, air, side):
        self.air = air
        self.unit = air.sender_of(side.own_ciphers, "unit")
        if self.unit is None and len(air.units) == 1:
            self.unit, = air.units

    def judge(self, station):
        attempts = station.attempts
        if self.unit:
            station.name = self.unit
            frames = [frame for frame in self.air.frames if frame.unit == self.unit]
            for attempt, part in zip(attempts, self.parts_of(frames, attempts)):
                if attempt.facts["sent 1000"]:
                    self.judge_silence(attempt, see(attempt, part))
        for attempt in attempts:
            self.judge_channel(attempt)

    @staticmethod
    def parts_of(frames, attempts):
        """Each attempt begins with its first operation 1000, or with what was meant for the one before
        and came late; what was heard after that operation is within the attempt already."""
        own = [i for i, frame in enumerate(frames) if frame.operation == "1000"]
        if len(own) != sum(attempt.facts["sent 1000"] for attempt in attempts):
            return []
        starts, done = [], 0
        own.append(len(frames))
        for attempt in attempts:
            start, early = own[done], attempt.facts["early"]
            done += attempt.facts["sent 1000"]
            operations = [frame.operation for frame in frames[start:own[done]]] + ["1002"]
            early -= sum(late in ("1003", "1004") for late in operations[:operations.index("1002")])
            while early > 0 and start and frames[start - 1].operation in ("1003", "1004"):
                start, early = start - 1, early - 1
            starts.append(start)
        starts[0] = 0
        return [frames[begin:end] for begin, end in zip(starts, starts[1:] + [len(frames)])]

    @staticmethod
    def judge_silence(attempt, counts):
        awaited = attempt.reason.removeprefix("gave-up-waiting-for-")
        if counts.get(awaited):
            attempt.notes.append(f"The base sent operation {awaited}, and the unit did not hear it.")
        elif awaited in ORDER:
            attempt.notes.append(f"No operation {awaited} to this unit was on the air.")

    def judge_channel(self, attempt):
        if not attempt.reason.startswith(("gave-up", "in-progress", "never-")):
            return
        if attempt.base and attempt.facts["channel"]:
            compare_channels(attempt, self.air.bases.get(attempt.base, set()), {attempt.facts["channel"]})
        else:
            mine = self.air.units.get(self.unit) or set().union(*self.air.units.values())
            compare_channels(attempt, set().union(*self.air.bases.values()), mine)


class BaseWitness:
    """The capture beside a base's log."""

    def __init__(self, air, side):
        self.air = air
        self.base = air.sender_of(side.own_keys, "base")
        if self.base is None:
            # One whose log has no operation 1001 is none that sent one.
            silent = set(air.bases) - {f.base for f in air.frames if f.sender == "base"}
            candidates = set(air.bases) if len(air.bases) == 1 else silent
            self.base = candidates.pop() if len(candidates) == 1 else None

        self.by_unit = collections.defaultdict(list)
        for frame in air.frames:
            self.by_unit[frame.unit].append(frame)

    def judge(self, station):
        if self.base is None:
            return
        spoken = self.by_unit.get(station.name.lower(), [])
        ours = [frame for frame in spoken if frame.base == self.base]
        others = [frame for frame in spoken if frame.base != self.base]
        attempts = station.attempts
        counted = [sum(attempt.facts[f"sent {op}"] for op in ("1001", "1004", "1003")) for attempt in attempts]
        parts = [ours] if len(attempts) == 1 else self.parts_of(ours, counted)
        for attempt, part in zip(attempts, parts):
            self.judge_attempt(attempt, see(attempt, part) if ours else {}, others, station.name)
        sent = [i for i, frame in enumerate(ours) if frame.operation == "1003"]
        if sent:
            station.asked_again = any(f.operation == "1000" for f in ours[sent[-1]:])

    @staticmethod
    def parts_of(ours, counted):
        """Each attempt begins with the unit's operation 1000 before the base's first answer in it;
        where the base sent no answer, behind its last one before that. No parts where log and capture
        do not fit, as when the capture began later."""
        own = [i for i, frame in enumerate(ours) if frame.sender == "base"]
        if len(own) != sum(counted):
            return []
        starts, done, behind = [], 0, 0
        for count in counted:
            start = behind
            if count:
                hellos = [i for i in range(behind, own[done]) if ours[i].operation == "1000"]
                start = hellos[-1] if hellos else behind
                done += count
                behind = own[done - 1] + 1
            starts.append(start)
        starts[0] = 0
        return [ours[begin:end] for begin, end in zip(starts, starts[1:] + [len(ours)])]

    def judge_attempt(self, attempt, counts, others, unit):
        waiting = {"never-said-hello": "1000", "never-sent-its-key": "1002"}.get(attempt.reason)
        if waiting is None:
            return
        if counts.get(waiting):
            attempt.reason = "base-did-not-answer"
            attempt.notes.append(f"{counts[waiting]} operations {waiting} in the unit's name stand in the capture.")
        elif waiting == "1000" and others:
            attempt.reason = "joined-another-base"
            bases = sorted({frame.base for frame in others if frame.base})
            attempt.notes.append("It spoke to " + ", ".join(bases) + ".")
        else:
            compare_channels(attempt, self.air.bases.get(self.base, set()), self.air.units.get(unit.lower(), set()))

    def unheard(self, known):
        """The units that only the capture knows."""
        for unit in sorted(set(self.air.units) - set(self.air.bases) - known):
            spoken = self.by_unit.get(unit, [])
            if self.base and spoken and all(frame.base != self.base for frame in spoken):
                attempt = Attempt("base", "joined-another-base")
            elif any(frame.sender == "unit" for frame in spoken):
                attempt = Attempt("base", "base-did-not-answer")
            else:
                attempt = Attempt("base", "never-heard-the-unit")
            see(attempt, [frame for frame in spoken if frame.base == self.base])
            if attempt.reason != "joined-another-base":
                compare_channels(attempt, self.air.bases.get(self.base, set()), self.air.units[unit])
            yield Station(unit, [attempt])
