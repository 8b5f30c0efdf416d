"""Feeds vorlent-why with logs, NVRAM and candidate files drawn from a seed. Nothing may raise, print what acts on
a terminal, or take longer than in proportion to its length.

Usage: fuzz_why.py FOLDER-OF-THE-TOOL [-max_total_time=SECONDS] [-artifact_prefix=PREFIX] CORPUS...
"""
import contextlib
import io
import pathlib
import random
import re
import sys
import tempfile
import time
import zlib

TOOL, CORPORA = sys.argv[1], [word for word in sys.argv[2:] if word[0] != "-"]
OPTIONS = dict(re.findall(r"-(\w+)=(.*)", "\n".join(sys.argv[2:])))  # as libFuzzer has them
sys.path.insert(0, TOOL)
main = __import__("runpy").run_path(TOOL + "/__main__.py")
ODD = [b"\x1b[31m", b"\0", b"\xff\xfe", b"\xc3\xa9", b"\r", b"[main][1]", b"\n", b"9" * 5000, b": " * 500, b"[" * 3000,
       b'{"candidates": [{"mac": null}]}', b'{"candidates": [{"mac": "\\u001b[31m\\ud800"}]}', b"bh_ssid=\x1b=", b"STA: "]
VALUES = ["02:a7:00:00:00:01", "1", "0", "1000", "1002", "6", "", "wl actframe 02:ba:5e:00:00:01 0409027e911002", ": " * 500, " " * 1000 + "."]


def draw(rng):
    forms = [(speaker, form) for speaker, forms in main["Log"].__init__.__globals__["MESSAGES"].items() for form in forms]
    few, many = rng.sample(forms, 8), rng.random() < 0.2
    log = b"".join(f"[{speaker}][{rng.randrange(999)}]{re.sub(r'%[^a-zA-Z]*l?[a-zA-Z]', lambda _: rng.choice(VALUES), form)}"
                   .encode() for speaker, form in rng.choices(forms + few * 20, k=rng.randrange(3 if many else 300)))
    for _ in range(rng.choice([0, 1, 9])):
        place = rng.randrange(len(log) + 1)
        log = log[:place] + rng.choice([*ODD, log[:place][-99:], rng.randbytes(9)]) + log[place + rng.randrange(9):]
    return log * (1 << 18 >> len(log).bit_length()) if many else log


def try_one(data, file):
    pathlib.Path(file).write_bytes(data)
    out, before = io.StringIO(), time.process_time()
    with contextlib.redirect_stdout(out), contextlib.redirect_stderr(out):
        for options in ([], ["--json"], ["--summary"], ["--nvram", file, "--candidates", file]):
            main["tell"](main["parse"]([file, *options]))
    took = time.process_time() - before
    assert took < 0.5 + len(data) / 2e6, f"{took:.2f} s for {len(data)} bytes"
    bad = {c for c in out.getvalue() if not c.isprintable() and c != "\n"}
    assert not bad, f"not printable: {bad}"


def run(data, name, file):
    try:
        try_one(data, file)
    except BaseException:
        pathlib.Path(OPTIONS.get("artifact_prefix", "failed-") + f"{zlib.crc32(data):x}").write_bytes(data)
        print(f"ERROR: {name} does not hold")
        raise


with tempfile.TemporaryDirectory() as folder:
    for kept in (kept for corpus in CORPORA for kept in pathlib.Path(corpus).iterdir()):
        run(kept.read_bytes(), kept, folder + "/a.log")
    rng, runs, end = random.Random(), 0, time.monotonic() + int(OPTIONS.get("max_total_time", 0))
    while time.monotonic() < end:
        run(draw(rng), "a drawn log", folder + "/a.log")
        runs += 1
print(f"executed_units: {runs}")
