"""Says in plain words what happened to each unit, and why it did not come into the mesh.

Reads debug logs of bases and units (with the older part LOG.1 where it lies beside one), and where
given a capture of the air, the NVRAM file and the base's candidate file. A log has no time stamps, and
on the base it names a station only now and then: a story is told in the log's order, by the lines that
show it. Texts in the log that came from the air are not told from the daemon's own.
"""
import argparse
import collections
import json
import os
import re
import signal
import stat
import sys
import textwrap

import air
from base_side import Base
from lines import Log
from messages import VERSION
from reasons import REASONS
from stories import Attempt, Station, printable
from unit_side import Unit

SMALL_FILE = 1 << 20  # of NVRAM and candidates
EXAMPLES = 3  # of a reason, in the summary


class Unreadable(Exception):
    """Why a file cannot be told of."""


class Findings:
    """What one log, and what was given beside it, tells."""

    def __init__(self, name, log, sides, stations):
        self.name, self.stations = name, stations
        self.trouble = [text for side in sides for text in side.trouble][:20]
        self.remarks = list(log.damage)
        if log.unknown:
            self.remarks.append(f"{log.unknown} messages are of another version, the first at "
                                f"{log.first_unknown}")
        if log.no_text:
            self.remarks.append(f"{log.no_text} bytes of the log are no text")
        self.unknown = log.unknown


def name_of(path):
    return printable(os.fsencode(path).decode("utf-8", "replace"))


def read_small(path):
    try:
        with open(path, "rb") as file:
            return file.read(SMALL_FILE).decode("utf-8", "replace")
    except OSError as error:
        raise Unreadable(f"{name_of(path)}: {error.strerror}") from None


def remark_on_daemon(path):
    """Of which version the program in this file is, by the text that it holds for this."""
    try:
        with open(path, "rb") as file:
            text = re.search(rb"vorlent version ([\w.+~-]+)\0", file.read(SMALL_FILE * 64))
    except OSError as error:
        raise Unreadable(f"{name_of(path)}: {error.strerror}") from None
    if text is None:
        raise Unreadable(f"{name_of(path)}: this is no program of the daemon, or one of before 1.0.0")
    version = text[1].decode()
    return f"The daemon is of version {version}" + (
        "" if version == VERSION else f", and the messages known here are those of {VERSION}")


def judge_by_nvram(stations, nvram):
    listed = nvram.get("candidate_satellites", "").lower().split()
    for station in stations:
        attempt = station.attempts[-1]
        if attempt.reason in ("awaiting-push", "not-listed-by-the-platform"):
            lists = "lists" if station.name in listed else "does not list"
            attempt.notes.append(f"NVRAM {lists} it in candidate_satellites now.")
        elif attempt.reason == "push-refused-settings":
            attempt.notes += [f"NVRAM {key} has {len(nvram.get(key, ''))} characters." for key in
                              ("bh_ssid", "bh_wpa_psk", "bh_crypto", "bh_akm")]
        if attempt.side == "unit":
            role, blank = (printable(nvram.get(key, "not set")) for key in ("onboarding_role", "blank_state"))
            attempt.notes.append(f"NVRAM now: onboarding_role {role}, blank_state {blank}.")


def judge_by_candidates(stations, path):
    try:
        ready = {row["mac"].lower() for row in json.loads(read_small(path))["candidates"]}
    except (ValueError, LookupError, TypeError, AttributeError, RecursionError):
        raise Unreadable(f"{name_of(path)}: this is no candidate file") from None
    known = {station.name: station for station in stations if station.attempts[-1].side == "base"}
    for name in sorted(ready - set(known)):
        known[name] = Station(printable(name), [Attempt("base", "awaiting-push")])
        stations.append(known[name])
    for name, station in known.items():
        attempt = station.attempts[-1]
        if attempt.reason == "awaiting-push":
            attempt.notes.append(f"The candidate file {'lists' if name in ready else 'lacks'} it.")


class Teller:
    """Reads logs one after the other, with what was given beside them."""

    def __init__(self, options):
        self.options, self.log = options, Log(set(Base.HEARS) | set(Unit.HEARS))
        self.air = air.Air(options.capture) if options.capture else None

    def hear(self, path, sides):
        parts = [path + ".1", path] if path != "-" and os.path.exists(path + ".1") else [path]
        self.log.begin({message: [getattr(side, side.HEARS[message]) for side in sides if message in side.HEARS]
                        for message in self.log.wanted})
        for part in parts:
            name = name_of(os.path.basename(part)) if part != "-" else "-"
            with open(part if part != "-" else 0, "rb", closefd=part != "-") as file:
                self.log.read(name, file)

    def findings(self, path):
        sides = base, unit = Base(self.log.place), Unit(self.log.place)
        try:
            self.hear(path, sides)
        except OSError as error:
            raise Unreadable(f"{name_of(path)}: {error.strerror}") from None
        if not self.log.known:
            raise Unreadable(f"{name_of(path)}: no message of vorlent in it; its debug log is vorlent_dbg.log")
        stations = base.told_stations()
        own = unit.told_stations()
        if self.air:
            self.judge_by_air(base, unit, stations, own)
        stations += own
        if self.options.nvram:
            lines = read_small(self.options.nvram).split("\n")
            judge_by_nvram(stations, dict(line.split("=", 1) for line in lines if "=" in line))
        if self.options.candidates:
            judge_by_candidates(stations, self.options.candidates)
        found = Findings(name_of(path), self.log, sides, stations)
        if self.options.daemon:
            found.remarks.append(remark_on_daemon(self.options.daemon))
        return found

    def judge_by_air(self, base, unit, stations, own):
        if base.is_seen:
            witness = air.BaseWitness(self.air, base)
            for station in stations:
                witness.judge(station)
            stations += witness.unheard({station.name for station in stations})
        for station in own:
            air.UnitWitness(self.air, unit).judge(station)


def fill(text, indent):
    print(textwrap.fill(text, 96, initial_indent=indent, subsequent_indent=indent + "  "))


def print_text(found, many):
    if many:
        print(f"== {found.name}\n")
    for station in found.stations:
        verdict = station.verdict()
        print(f"{station.name} (the {verdict.side}'s side): {verdict.reason}")
        fill(REASONS[verdict.reason].happened, "  ")
        fill("To do: " + REASONS[verdict.reason].todo, "  ")
        for number, attempt in enumerate(station.attempts, 1):
            if len(station.attempts) > 1:
                print(f"  Attempt {number} of {len(station.attempts)}: {attempt.reason}")
            for note in attempt.notes:
                fill(note, "    ")
            for place, text, times in attempt.steps:
                print(f"    {place}: {text}" + (f" ({times} times)" if times > 1 else ""))
            if attempt.more_steps:
                print(f"    and {attempt.more_steps} more steps")
        print()
    if not found.stations:
        print("No unit on its way: neither a search nor a station in this log.")
    for text in found.trouble:
        print(f"Trouble of the daemon at {text}")
    for remark in found.remarks:
        print(f"{remark}.")


def as_record(found):
    def outcome(attempt):
        return {"reason": attempt.reason, "base": attempt.base, "notes": attempt.notes, "air": attempt.air,
                "steps": [dict(zip(("place", "text", "times"), step)) for step in attempt.steps],
                "more_steps": attempt.more_steps}

    def told(station):
        verdict = station.verdict()
        reason = REASONS[verdict.reason]
        return {"side": verdict.side, "station": station.name, "reason": verdict.reason,
                "happened": reason.happened, "todo": reason.todo, "notes": verdict.notes,
                "attempts": [outcome(attempt) for attempt in station.attempts]}

    return {"file": found.name, "version": VERSION, "units": [told(station) for station in found.stations],
            "trouble": found.trouble, "unknown_messages": found.unknown, "remarks": found.remarks}


class Summary:
    """How often each reason, and where."""

    def __init__(self):
        self.count, self.examples = collections.Counter(), collections.defaultdict(list)

    def add(self, found):
        for station in found.stations:
            reason = station.verdict().reason
            self.count[reason] += 1
            if len(self.examples[reason]) < EXAMPLES:
                self.examples[reason].append(f"{found.name} ({station.name})")

    def print(self):
        for reason, count in self.count.most_common():
            print(f"{count:7}  {reason:26}  {', '.join(self.examples[reason])}")


def logs_below(folder):
    for root, folders, files in os.walk(folder):
        folders.sort()
        for file in sorted(files):
            path = os.path.join(root, file)
            if file.endswith(".log") and stat.S_ISREG(os.lstat(path).st_mode):
                yield path


def logs_of(paths):
    for path in paths:
        if os.path.isdir(path):
            found = False
            for found in logs_below(path):
                yield found
            if not found:
                complain(f"{name_of(path)}: no *.log in this folder")
        else:
            yield path


def complain(text):
    complain.count += 1
    print(f"vorlent-why: {printable(text)}", file=sys.stderr)


complain.count = 0


class Parser(argparse.ArgumentParser):
    def error(self, message):
        super().error(printable(message))


def parse(arguments):
    parser = Parser(prog="vorlent-why", description=__doc__.partition("\n")[0])
    parser.add_argument("paths", metavar="LOG", nargs="+", help="a debug log, a folder of logs (*.log), - for "
                        "standard input; one of them may be a capture of the air")
    parser.add_argument("--nvram", metavar="FILE", help="its NVRAM, as key=value lines")
    parser.add_argument("--candidates", metavar="FILE", help="the base's vexo_onborading.json")
    parser.add_argument("--daemon", metavar="FILE", help="the daemon's program: of which version it is")
    printed = parser.add_mutually_exclusive_group()
    printed.add_argument("--json", action="store_true", help="print a line of JSON for each log")
    printed.add_argument("--summary", action="store_true", help="print a table of reasons")
    parser.add_argument("--version", action="version", version=f"vorlent-why {VERSION}")
    options = parser.parse_args(arguments)
    captures = [path for path in options.paths if path != "-" and air.is_capture(path)]
    options.logs = [path for path in options.paths if path not in captures]
    if len(captures) > 1 or not options.logs:
        parser.error("at least one LOG, and at most one capture")
    if len(options.logs) > 1 and (options.nvram or options.candidates):
        parser.error("--nvram and --candidates belong to one log")
    options.capture = captures[0] if captures else None
    options.many = len(options.logs) > 1 or os.path.isdir(options.logs[0])
    return options


def tell(options):
    summary = Summary()
    try:
        teller = Teller(options)
    except (air.NoAir, OSError) as error:
        complain(f"{name_of(options.capture)}: {error}")
        return
    if teller.air and teller.air.warning:
        print(f"vorlent-why: {name_of(options.capture)}: {printable(teller.air.warning)}", file=sys.stderr)
    for path in logs_of(options.logs):
        try:
            found = teller.findings(path)
        except Unreadable as error:
            complain(str(error))
            if options.json:
                print(json.dumps({"file": name_of(path), "version": VERSION, "error": printable(str(error))}))
            continue
        if options.summary:
            summary.add(found)
        elif options.json:
            print(json.dumps(as_record(found)))
        else:
            print_text(found, options.many)
    summary.print()


def main():
    signal.signal(signal.SIGPIPE, signal.SIG_DFL)  # as any tool in front of `head`
    sys.stdout.reconfigure(errors="replace")
    sys.stderr.reconfigure(errors="replace")
    options = parse(sys.argv[1:])
    try:
        tell(options)
        sys.stdout.flush()
    except KeyboardInterrupt:
        sys.exit(130)
    except OSError as error:
        os.dup2(os.open(os.devnull, os.O_WRONLY), 1)  # what is still buffered has nowhere to go
        complain(f"standard output: {error.strerror}")
    sys.exit(1 if complain.count else 0)


if __name__ == "__main__":
    main()
