#!/usr/bin/env python3
"""Prints, for each unit of laboratory runs, the milliseconds from the base's element being heard to
the unit being told to wait for its credentials, and those of them that making its key took.

Usage: times.py TIMELINE...
Making the key is the time from the answer to `wl del_ie` to operation 1000 on the air, so it contains
the two `cat` commands that print the key and half of the command that sends the frame.
"""
import json
import sys


def entries_by_unit(path):
    with open(path, encoding="utf-8") as file:
        timeline = json.load(file)
    units = {}
    for entry in timeline if isinstance(timeline, list) else timeline["timeline"]:
        for unit in {entry.get("unit"), *entry.get("heard", [])}:
            units.setdefault(unit, []).append(entry)
    return {name: units[name] for name in units if name and name.startswith("unit-")}


def is_command(entry, unit, start):
    return entry["unit"] == unit and entry["what"] == "command" and entry["text"].startswith(start)


def times_of(unit, entries):
    seen = found = key_begun = key_made = None
    for entry in entries:
        if entry["what"] == "frame" and entry["kind"] in ("beacon", "probe response") and not found:
            seen = entry["t"]
        elif is_command(entry, unit, "wl csa"):
            found = seen
        elif is_command(entry, unit, "wl del_ie") and found and not key_begun:
            key_begun = entry["t"]
        elif entry["what"] == "frame" and entry.get("operation") == 1000 and not key_made:
            key_made = entry["t"]
        elif entry["what"] == "heard" and entry["operation"] == 1004 and entry["unit"] == unit:
            return 1000 * (entry["t"] - found), 1000 * (key_made - key_begun)
    sys.exit(f"times.py: {unit} was never told to wait")


for path in sys.argv[1:]:
    for unit, entries in entries_by_unit(path).items():
        print("%.1f %.1f" % times_of(unit, entries))
