#!/usr/bin/env python3
"""Measures what vorlent-why costs for logs of 1 MiB: user time for each, its start included, and memory.

Usage: why.py VORLENT-WHY RUN    RUN is a folder with the logs of a run of the laboratory
The logs are made of those of the base and of the units, 60 of each. No two pieces of them have an
address, a key or a cipher in common, so that a log never profits from the one before.
"""
import pathlib
import random
import re
import resource
import string
import subprocess
import sys
import tempfile
import time

LOGS, TURNS, SIZE = 60, 3, 1 << 20
BELONGS_TO_ONE = re.compile(r"02:a7:00:00:00:[0-9a-f]{2}|(?:[0-9A-F]{2} ){16,}|[0-9a-f]{64,}|[A-Za-z0-9+/]{64}")
rng = random.Random(1)


def made_anew(text):
    known = {}

    def other(found):
        old = found[0]
        if old not in known:
            random_bytes = rng.randbytes(len(old) // 2 + 1)
            if old[2] == ":":
                known[old] = "02:" + random_bytes[:5].hex(":")
            elif old[2] == " ":
                known[old] = random_bytes.hex(" ").upper()[: len(old)]
            elif set(old) <= set(string.hexdigits.lower()):
                known[old] = random_bytes.hex()[: len(old)]
            else:
                known[old] = "".join(rng.choices(string.ascii_letters + string.digits, k=len(old)))
        return known[old]
    return BELONGS_TO_ONE.sub(other, text)


def write_logs(sources, folder):
    for number in range(LOGS):
        text = ""
        while len(text) < SIZE:
            text += made_anew(sources[number % len(sources)])
        (folder / f"{number}.log").write_text(text[:SIZE])


def user_seconds(program, *arguments):
    before = resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime
    subprocess.run([program, *arguments], stdout=subprocess.DEVNULL, check=True)
    return resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime - before


def bare_seconds(logs):
    """What it takes only to have the lines, as a floor."""
    before = time.process_time()
    for log in logs:
        log.read_bytes().decode("latin-1").split("\n")
    return time.process_time() - before


program, run = sys.argv[1], pathlib.Path(sys.argv[2])
for what, pattern in ("base", "base*.log"), ("unit", "unit-*.log"):
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        write_logs([path.read_text(errors="replace") for path in sorted(run.glob(pattern))], folder)
        times = sorted(user_seconds(program, "--json", folder) for _ in range(TURNS))
        bare = sorted(bare_seconds(folder.glob("*.log")) for _ in range(TURNS))
        print(f"{what}_ms {1000 * times[TURNS // 2] / LOGS:.2f}")
        print(f"{what}_ratio {times[TURNS // 2] / bare[TURNS // 2]:.1f}")
print(f"start_ms {1000 * sorted(user_seconds(program, '--version') for _ in range(9))[4]:.0f}")
print(f"resident_kib {resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss}")
