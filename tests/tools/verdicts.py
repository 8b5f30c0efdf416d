"""Compares what vorlent-why says of a run of the laboratory with what has happened in it.

Usage: verdicts.py VORLENT-WHY RESULTS...
"""
import collections
import json
import pathlib
import re
import subprocess
import sys

IN = {"credentials-sent", "installed", "credentials-stored"}


def name_of(station):
    kind, number = re.sub(r"\W", "", station.lower())[:6], int(station[-2:], 16) if station[-1] != ")" else 0
    return f"unit-{number}" if kind == "02a700" else station


class Run:
    """One folder of results: who sent how many of which operation to whom, and how each unit ended."""

    def __init__(self, folder, why):
        self.folder, self.sent, self.mode, self.gave_up = folder, collections.Counter(), {}, collections.Counter()
        self.attempts = collections.defaultdict(list)  # counts of operations from each first 1000 on
        early = {}  # what a unit heard in a new attempt, meant for the one before: it says 1000 once its key is made
        for event in json.loads((folder / "timeline.json").read_text()):
            if event["what"] == "frame" and "operation" in event:
                self.sent[event["unit"], event["to"], str(event["operation"])] += 1
                if event["operation"] == 1000 and event["unit"] in early:
                    self.attempts[event["unit"]].append(early.pop(event["unit"]))
                for unit in {event["unit"], event["to"]} & set(self.attempts):
                    late = event["operation"] > 1002 and unit in early and unit in event.get("heard", ())
                    (early[unit] if late else self.attempts[unit][-1])[str(event["operation"])] += 1
            elif event["what"] == "mode":
                self.mode[event["unit"]] = event["mode"]
                self.gave_up[event["unit"]] += (event["before"], event["mode"]) == (1, 0)
                early.update({event["unit"]: collections.Counter()} if event["mode"] == 1 else {})
        self.forged = any(sender == "stranger" for sender, _, _ in self.sent)
        said = subprocess.run([why, "--json", folder, folder / "air.pcapng"], stdout=subprocess.PIPE, check=True)
        self.logs = [json.loads(line) for line in said.stdout.splitlines()]

    def wrong(self):
        for log in self.logs:
            writer = pathlib.Path(log["file"]).stem
            strange = [unit["station"] for unit in log["units"] if not name_of(unit["station"]).startswith("unit")]
            if log["unknown_messages"] or not log["units"] or len(strange) > 2:
                yield f"{writer}: {log['unknown_messages']} unknown messages, {len(log['units'])} units, {strange}"
            for unit in log["units"]:
                wrong = self.wrong_of_base if unit["side"] == "base" else self.wrong_of_unit
                for text in wrong(writer, name_of(unit["station"]), unit):
                    yield f"{self.folder.name}/{writer}: {unit['station']} {unit['reason']}: {text}"

    def wrong_of_base(self, base, unit, said):
        if unit not in self.mode:
            return  # many addresses, or a stranger's
        hello, pushed = self.sent[unit, base, "1000"], self.sent[base, unit, "1003"]
        elsewhere = sum(count for (sender, to, op), count in self.sent.items() if sender == unit and to != base)
        if (said["reason"] in IN) != (pushed > 0):
            yield f"{pushed} operations 1003, mode {self.mode[unit]}"
        if said["reason"] == "joined-another-base" and not (elsewhere and not hello):
            yield f"{hello} operations 1000 to this base, {elsewhere} frames to others"
        if (said["reason"] == "never-said-hello" and hello) or (said["reason"] == "base-did-not-answer" and not hello):
            yield f"{hello} operations 1000"
        counted = [attempt["air"] for attempt in said["attempts"]]
        if None not in counted and sum(attempt["1000"] for attempt in counted) != hello and not self.forged:
            yield f"{counted} counted, {hello} operations 1000 sent"

    def wrong_of_unit(self, unit, named, said):
        if named not in (unit, "this unit"):
            yield f"taken for {named}"
        if (said["reason"] == "installed") != (self.mode[unit] == 6):
            yield f"it ended in mode {self.mode[unit]}"
        gave_up = sum(attempt["reason"].startswith(("gave-up", "sealed", "key-")) for attempt in said["attempts"])
        if gave_up != self.gave_up[unit]:
            yield f"it gave up {self.gave_up[unit]} times, told {gave_up}"
        counted = [+collections.Counter(attempt["air"]) for attempt in said["attempts"] if attempt["air"]]
        sent = self.attempts[unit]
        if counted != sent and counted and not self.forged:
            yield f"{counted} counted, {sent} sent"


def main():
    runs = [Run(pathlib.Path(folder), sys.argv[1]) for folder in sys.argv[2:]]
    wrong = [text for run in runs for text in run.wrong()]
    verdicts = collections.Counter(unit["reason"] for run in runs for log in run.logs for unit in log["units"])
    attempts = [attempt for run in runs for log in run.logs for unit in log["units"] for attempt in unit["attempts"]]
    print(*wrong, sep="\n", end="\n" if wrong else "")
    print(f"{len(runs)} runs, {sum(verdicts.values())} verdicts, {len(wrong)} contradicted; {len(attempts)} attempts, of "
          f"{sum(attempt['reason'] == 'in-progress' for attempt in attempts)} it cannot tell the reason, of "
          f"{sum(attempt['air'] is None for attempt in attempts)} the frames")
    sys.exit(bool(wrong))


if __name__ == "__main__":
    main()
