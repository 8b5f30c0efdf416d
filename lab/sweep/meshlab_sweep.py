#!/usr/bin/env python3
"""`meshlab sweep`: one scenario over many seeds and settings, and the table that comes of it.

Each point of the sweep is one run of meshlab; its result is one line of JSON in `runs.jsonl`, written
when the run has ended and never changed. So a sweep that was interrupted goes on where it stopped,
and sweeps of several machines are put together by reading all their lines.
"""
import argparse
import concurrent.futures
import contextlib
import itertools
import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import threading
import time

import sweep_page
import sweep_table

SETTINGS = ("units", "loss", "duplicate", "delay", "jitter", "time-lapse")
DEADLINE = 3600  # seconds that a run may take before it counts as hung


def numbers_of(text, what):
    """The numbers of "3", "1..200" or "10..50/10"."""
    found = re.fullmatch(r"(\d{1,9})(?:\.\.(\d{1,9})(?:/(\d{1,9}))?)?", text)
    low, high, step = (int(part) if part else None for part in found.groups()) if found else (1, 0, 0)
    high, step = low if high is None else high, 1 if step is None else step
    if high < low or step == 0:
        raise argparse.ArgumentTypeError(f'{what}: expected N, LOW..HIGH or LOW..HIGH/STEP, found "{text}"')
    if (high - low) // step >= 100000:
        raise argparse.ArgumentTypeError(f"{what}: more than 100000 numbers")
    return list(range(low, high + 1, step))


def setting_of(text):
    name, equals, values = text.partition("=")
    if not equals or name not in SETTINGS:
        raise argparse.ArgumentTypeError(f'expected NAME=VALUES with a name of {", ".join(SETTINGS)}, found "{text}"')
    return name, numbers_of(values, name)


def shard_of(text):
    found = re.fullmatch(r"(\d{1,6})/(\d{1,6})", text)
    if not found or not 1 <= int(found[1]) <= int(found[2]):
        raise argparse.ArgumentTypeError(f'expected I/N with I from 1 to N, found "{text}"')
    return int(found[1]), int(found[2])


def arguments(words):
    parser = argparse.ArgumentParser(
        prog="meshlab sweep", description=__doc__.split("\n\n")[0], allow_abbrev=False,
        epilog="example: meshlab sweep bad-air --seeds 1..200 --set loss=10..50/10 --out sweep")
    parser.add_argument("scenario", nargs="?", help="a scenario's name or file")
    parser.add_argument("--seeds", type=lambda text: numbers_of(text, "seeds"), default=[1],
                        metavar="A..B", help="one run for each seed (default: 1)")
    parser.add_argument("--set", type=setting_of, action="append", default=[], dest="settings",
                        metavar="NAME=LOW..HIGH/STEP", help=f"a setting to vary: {', '.join(SETTINGS)}")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), help="runs at once (default: a run a core)")
    parser.add_argument("--shard", type=shard_of, default=(1, 1), metavar="I/N", help="only every Nth run, from the Ith on")
    parser.add_argument("--deadline", type=int, default=DEADLINE, metavar="SECONDS",
                        help=f"a run that takes longer is ended and counted as hung (default: {DEADLINE})")
    parser.add_argument("--keys", metavar="DIR", help="a store of ready key pairs for all runs, made where it is not there")
    parser.add_argument("--out", default="sweep-results", help="folder for runs.jsonl, the table and the page")
    parser.add_argument("--merge", nargs="+", metavar="DIR", help="no runs: one table and page of these sweeps")
    parser.add_argument("--against", metavar="DIR", help="an earlier sweep to compare with")
    options = parser.parse_args(words)
    if bool(options.scenario) == bool(options.merge):
        parser.error("name a scenario to run, or sweeps to --merge")
    if options.jobs < 1 or options.deadline < 1:
        parser.error("--jobs and --deadline are 1 or more")
    return options


def plan(options):
    """Every point of this shard: its settings by name, and its seed."""
    names = [name for name, _ in options.settings]
    values = itertools.product(*(of for _, of in options.settings))
    points = [(dict(zip(names, chosen)), seed) for chosen in values for seed in options.seeds]
    first, count = options.shard
    return points[first - 1::count]


class WrongUse(Exception):
    """What meshlab said of a run that it did not begin: no other run would begin either."""


RUNNING = set()  # what an interruption has to end
STOPPING = threading.Event()
GRACE = 30  # seconds that meshlab may take to end with its sandboxes


def tell(process, number):
    with contextlib.suppress(ProcessLookupError):
        os.killpg(process.pid, number)


def end(process):
    """Ends a run that hangs; meshlab takes its sandboxes along."""
    tell(process, signal.SIGTERM)
    try:
        process.communicate(timeout=GRACE)
    except subprocess.TimeoutExpired:
        tell(process, signal.SIGKILL)
        process.communicate()


def end_all(waiting):
    """Ends all runs; the threads that started them collect them, and no other may."""
    STOPPING.set()
    for process in list(RUNNING):
        tell(process, signal.SIGTERM)
    concurrent.futures.wait([future for future in waiting if not future.cancelled()], GRACE)
    for process in list(RUNNING):
        tell(process, signal.SIGKILL)


def run_point(options, point, seed):
    """Runs meshlab once. Returns the result's line as a record."""
    work = pathlib.Path(options.out, "running", "-".join([*(f"{k}{v}" for k, v in point.items()), f"seed{seed}"]))
    words = [options.meshlab, "run", options.scenario, "--json", "--seed", str(seed), "--out", str(work)]
    for name, value in point.items():
        words += [f"--{name}", str(value)]
    words += ["--keys", options.keys] if options.keys else []
    began = time.monotonic()
    record = {"scenario": options.scenario, "point": point, "seed": seed, "keys": options.keys_text}
    process = subprocess.Popen(words, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                               stderr=subprocess.PIPE, text=True, errors="replace", start_new_session=True)
    RUNNING.add(process)
    if STOPPING.is_set():
        tell(process, signal.SIGTERM)
    try:
        said, wrong = process.communicate(timeout=options.deadline)
    except subprocess.TimeoutExpired:
        end(process)
        return record | {"result": "hung", "took": round(time.monotonic() - began, 2)}
    finally:
        RUNNING.discard(process)
    record["took"] = round(time.monotonic() - began, 2)
    if process.returncode == 2:
        raise WrongUse(wrong.strip() or "meshlab cannot work here")
    try:
        if process.returncode not in (0, 1):
            raise ValueError
        record |= json.loads(said) | {"scenario": options.scenario, "keys": options.keys_text}
        record["result"] = "as expected" if process.returncode == 0 else "not as expected"
        record["frames"] = sweep_table.frames_by_operation(work / "timeline.json")
    except (ValueError, OSError):
        return record | {"result": "failed", "status": process.returncode, "said": wrong[-500:]}
    shutil.rmtree(work, ignore_errors=True)
    return record


def key_of(record):
    return json.dumps([record["scenario"], record["point"], record["seed"], record["keys"]], sort_keys=True)


def read_runs(folder):
    """The records of a sweep's folder; a line that was cut by an interruption is passed over."""
    runs = []
    with open(pathlib.Path(folder, "runs.jsonl"), encoding="utf-8", errors="replace") as lines:
        for line in lines:
            try:
                record = json.loads(line)
                key_of(record), record["result"]
            except (ValueError, KeyError, TypeError):
                continue
            runs.append(record)
    return runs


def begin_file(path):
    """Opens the results for appending, behind a whole line."""
    results = open(path, "a+b")
    size = results.seek(0, os.SEEK_END)
    if size:
        results.seek(size - 1)
        if results.read(1) != b"\n":
            results.write(b"\n")
    return results


def tell_progress(done, todo, began):
    left = (time.monotonic() - began) / done * (todo - done)
    sys.stderr.write(f"{done} of {todo} runs, {int(left // 60)} min {int(left % 60)} s left\n")


def fill_store(options):
    """Makes the key pairs once, before any run wants one."""
    made = subprocess.run([options.meshlab, "keys", options.keys], stdin=subprocess.DEVNULL, capture_output=True, text=True)
    if made.returncode != 0:
        raise WrongUse(made.stderr.strip() or f"{options.keys}: cannot be filled")


def run_all(options):
    if options.keys:
        fill_store(options)
    out = pathlib.Path(options.out)
    out.mkdir(parents=True, exist_ok=True)
    path = out / "runs.jsonl"
    there = {key_of(record) for record in read_runs(out)} if path.exists() else set()
    todo = [(point, seed) for point, seed in plan(options)
            if key_of({"scenario": options.scenario, "point": point, "seed": seed, "keys": options.keys_text}) not in there]
    if len(there):
        sys.stderr.write(f"{len(there)} runs are there already, {len(todo)} to go\n")
    began = time.monotonic()
    with begin_file(path) as results, concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
        waiting = [pool.submit(run_point, options, point, seed) for point, seed in todo]
        try:
            for done, future in enumerate(concurrent.futures.as_completed(waiting), 1):
                results.write(json.dumps(future.result()).encode() + b"\n")
                results.flush()
                tell_progress(done, len(todo), began)
        except BaseException:
            pool.shutdown(wait=False, cancel_futures=True)
            end_all(waiting)
            raise


def main(words):
    options = arguments(words)
    options.meshlab = os.environ.get("MESHLAB", "meshlab")
    options.keys_text = f"from {os.path.abspath(options.keys)}" if options.keys else "made in each run"
    if not options.merge:
        run_all(options)
    runs = [record for folder in options.merge or [options.out] for record in read_runs(folder)]
    runs = list({key_of(record): record for record in runs}.values())
    earlier = read_runs(options.against) if options.against else []
    rows = sweep_table.rows_of(runs)
    text = sweep_table.table(rows) + sweep_table.comparison(rows, sweep_table.rows_of(earlier))
    out = pathlib.Path(options.out)
    out.mkdir(parents=True, exist_ok=True)
    if options.merge:
        (out / "runs.jsonl").write_text("".join(json.dumps(run) + "\n" for run in runs), encoding="utf-8")
    (out / "table.txt").write_text(text, encoding="utf-8")
    (out / "sweep.html").write_text(sweep_page.page(rows, text), encoding="utf-8")
    sys.stdout.write(text)
    return 0 if all(record["result"] in ("as expected", "not as expected") for record in runs) else 1


if __name__ == "__main__":
    signal.signal(signal.SIGTERM, signal.default_int_handler)
    try:
        sys.exit(main(sys.argv[1:]))
    except KeyboardInterrupt:
        sys.stderr.write("meshlab sweep: interrupted; the same command goes on from here\n")
        sys.exit(130)
    except WrongUse as wrong:
        sys.stderr.write(f"{wrong}\n")
        sys.exit(2)
    except OSError as wrong:
        sys.stderr.write(f"meshlab sweep: {wrong.filename or 'results'}: {wrong.strerror}\n")
        sys.exit(2)
