#!/usr/bin/env python3
"""Makes the table of targets and results from what script/bench has measured.

Usage: table.py RESULTS MODE LOAD-BEFORE LOAD-AFTER PRIORITY
A row says what is measured, what it must reach, what came out, and how. Rows that a busy machine
distorts are not judged in a brief run.
"""
import datetime
import json
import os
import platform
import re
import statistics
import sys

FOLDER, MODE, LOAD_BEFORE, LOAD_AFTER, PRIORITY = sys.argv[1:]
BRIEF = MODE == "--brief"
MICROSECOND = {"ns": 1e-3, "us": 1, "ms": 1e3}
rows = []
missed = []


def lines_of(name, column=1):
    """The lines of a load as a dictionary; in a comparison column 1 is the daemon, 2 the bare loop."""
    with open(f"{FOLDER}/{name}.txt", encoding="utf-8") as file:
        words = [line.split() for line in file if not line.startswith("#")]
    return {line[0]: float(line[column]) for line in words}


def steps_of(name):
    """Benchmark to its result: the median where there were repetitions."""
    with open(f"{FOLDER}/{name}.json", encoding="utf-8") as file:
        runs = json.load(file)["benchmarks"]
    wanted = [run for run in runs if run.get("aggregate_name", "median") == "median"]
    medians = [run for run in wanted if run["run_type"] == "aggregate"] or wanted
    for run in medians:
        if run.get("error_occurred"):
            sys.exit(f"table.py: {run['name']}: {run['error_message']}")
    return {re.sub("/iterations:[0-9]+|/manual_time|/real_time", "", run["run_name"]): run
            for run in medians}


def cpu_us(run):
    return run["cpu_time"] * MICROSECOND[run["time_unit"]]


def timed_us(run):
    """The time that the benchmark has taken itself, which is of CPU as well."""
    return run["real_time"] * MICROSECOND[run["time_unit"]]


def row(what, target, measured, met, how, robust=False):
    judged = target != "-" and (robust or not BRIEF)
    rows.append((what, target, measured, ("met" if met else "**missed**") if judged else "-", how))
    if judged and not met:
        missed.append(what)


def floods():
    dropped = lines_of("dropped")
    row("events dropped without a log line, whole daemon", "≥ 50,000/s, ≥ 0.25 of a bare loop",
        f"{1e6 / dropped['cpu_us_per_event']:,.0f}/s of a core, {dropped['ratio_to_bare_loop']:.2f} "
        f"({dropped['events_per_second']:,.0f}/s taken)",
        1e6 / dropped["cpu_us_per_event"] >= 50e3 and dropped["ratio_to_bare_loop"] >= 0.25,
        "an installed satellite, flooded, and a bare select, recv, epoll_wait(0) loop in turns, "
        "a second each, medians; the rate is judged by the daemon's CPU per event", robust=True)
    for name, stations in (("known", "one known station"), ("known15", "one of 15 known")):
        flood = lines_of(name)
        row(f"probe requests of {stations}, with their log lines", "≥ 20,000/s",
            f"{1e6 / flood['cpu_us_per_event']:,.0f}/s of a core "
            f"({flood['cpu_us_per_event']:.1f} µs; {flood['events_per_second']:,.0f}/s taken)",
            1e6 / flood["cpu_us_per_event"] >= 20e3,
            "a base, flooded in the same way; judged by the daemon's CPU per event")


def burst():
    burst = lines_of("burst")
    what = f"{burst['runs']:.0f} bursts of 1,000 datagrams of 300 bytes"
    row(what, "0 lost", f"{burst['lost']:.0f} lost", burst["lost"] == 0,
        "a searching unit, every second time stopped meanwhile", True)
    row(f"{what}: how late", "handled within 100 ms, no timer over 1 s late",
        f"p50 {burst['handled_ms_p50']:.0f} ms, worst {burst['handled_ms_worst']:.0f} ms, timer "
        f"{burst['timer_late_s_worst']:.3f} s late",
        burst["handled_ms_worst"] <= 100 and burst["timer_late_s_worst"] <= 1,
        "the same; the timer is its search")


def mix(steps):
    mix = lines_of("mix")
    free = lines_of("mix-any-core")
    bare, bare_free = (lines_of(name, column=2) for name in ("mix", "mix-any-core"))
    row("operation 1000 to its answer's command, in a mix of one event each 300 µs",
        "p50 ≤ 60 µs", f"p50 {mix['answer_us_p50']:.0f} µs, p99 {mix['answer_us_p99']:,.0f} µs, "
        f"the bare loop p50 {bare['answer_us_p50']:.0f} µs; on any core p50 "
        f"{free['answer_us_p50']:.0f} and {bare_free['answer_us_p50']:.0f} µs; "
        f"{cpu_us(steps['answer_operation_1000']):.0f} µs of CPU", mix["answer_us_p50"] <= 60,
        "from the sending of the event to the shell's start, sender and receiver on one core; CPU: "
        "the step alone; p99: see below")
    row("the same mix: what it costs", "0 lost",
        f"{mix['lost']:.0f} of {mix['offered']:,.0f} lost, {mix['cpu_us_per_event']:.1f} µs of CPU "
        f"an event, {mix['turns_per_second']:,.0f} turns/s, resident "
        f"{mix['resident_kib_before']:.0f} to {mix['resident_kib_after']:.0f} KiB",
        mix["lost"] == 0, "strangers' probe requests 60, scan results 20, forged frames 20 parts; "
        "20 operations 1000 and one 1002 a second", True)


def small_steps(steps):
    found = [steps[f"find_and_check_element/{count}"] for count in range(11, 21)]
    times = [1000 * cpu_us(run) for run in found]
    row("vendor element found in a beacon of 11 to 20 elements, fully checked",
        "≤ 25 ns, no allocation", f"{min(times):.0f} to {max(times):.0f} ns, "
        f"{sum(run['allocs'] for run in found):.0f} allocations",
        max(times) <= 25 and not any(run["allocs"] for run in found), "CPU, median of each")
    for way in ("encrypt", "decrypt"):
        for blocks in (1, 2):
            own = timed_us(steps[f"{way}/{blocks}"])
            raw = timed_us(steps[f"raw/{way}/{blocks}"])
            row(f"{way} {blocks} block{'s'[:blocks - 1]}", "≤ 1.1 × raw blocks",
                f"{own / raw:.2f} ({own:.0f} of {raw:.0f} µs)", own <= 1.1 * raw,
                "CPU, medians; reading and checking the key apart")
    digits = cpu_us(steps["hexadecimal"])
    row("hexadecimal of 1,024 bytes", "≤ 2 µs",
        f"{digits:.2f} µs, of which {cpu_us(steps['hexadecimal_print_alone']):.2f} print it "
        f"(by printf {cpu_us(steps['hexadecimal_by_printf']):.0f} µs)", digits <= 2, "CPU, median")
    command = steps["shell_command"]
    row("a shell command: own share above system()", "≤ 5 %",
        f"{command['own_share_percent']:.2f} % (a command {command['median_us'] / 1000:.2f} ms)",
        command["own_share_percent"] <= 5, "medians of the time outside and inside", True)


def key_pair(steps):
    key = steps_of("key_pair")["key_pair"]
    row("key pair made, stored and read back", "≤ 1.05 × libcrypto alone",
        f"{key['ratio']:.3f}; median {key['median_ms']:.0f} ms, worst {key['worst_ms']:.0f} ms; "
        f"{key['ratio_with_cat']:.3f} with the two `cat`",
        key["ratio"] <= 1.05, "CPU of 25 keys, both sides from the same random numbers", True)
    row("reading and checking the private key", "-",
        f"{cpu_us(steps['read_key_private_and_check']) / 1000:.1f} ms", True, "CPU, median; apart")


def whole_daemon():
    push = lines_of("push")
    row("push to 15 waiting units", "p50 ≤ 150 ms from SIGUSR1 to the last frame",
        f"p50 {push['push_ms_p50']:.0f} ms, worst {push['push_ms_worst']:.0f} ms (a command "
        f"{push['shell_command_ms_p50']:.1f} ms)", push["push_ms_p50"] <= 150,
        "to the end of the 15th command")
    start = lines_of("start")
    row("exec to socket bound", "≤ 1.6 × exec and exit of an empty program, same libraries",
        f"{start['ratio']:.2f} ({start['bound_ms_p50']:.1f} of {start['empty_ms_p50']:.1f} ms); "
        f"detached {start['detached_ratio']:.2f}", start["ratio"] <= 1.6,
        "in turns, medians; both with the shim that notes the bind", True)


def onboarding():
    with open(f"{FOLDER}/onboard.txt", encoding="utf-8") as file:
        times = [[float(word) for word in line.split()] for line in file]
    rest = sorted(whole - key for whole, key in times)
    p99 = rest[min(len(rest) - 1, int(0.99 * len(rest)))]
    row("element seen to told to wait, laboratory without air delay",
        "key time + 60 ms (p50), + 120 ms (p99)",
        f"key time + {statistics.median(rest):.0f} ms, + {p99:.0f} ms; whole p50 "
        f"{statistics.median(whole for whole, _ in times):.0f} ms, of which the key "
        f"{statistics.median(key for _, key in times):.0f} ms",
        statistics.median(rest) <= 60 and p99 <= 120,
        f"{len(rest)} units one by one; key time: from `wl del_ie` done to operation 1000 on the air")


def idle():
    for name in ("base", "satellite"):
        idle = lines_of(f"idle-{name}")
        row(f"idle {name}, 20 s", "< 10 ms of CPU (a tick), ≤ 42 context switches",
            f"{idle['cpu_ms']:.1f} ms of CPU, {idle['context_switches']:.0f} switches, "
            f"{idle['resident_kib']:.0f} KiB resident",
            idle["cpu_ms"] < 10 and idle["context_switches"] <= 42,
            "after 2 s of rest")


def number(microseconds):
    nanoseconds = 1000 * microseconds
    return f"{nanoseconds:.1f} ns" if nanoseconds < 1000 else f"{microseconds:,.1f} µs"


def step_lines(steps):
    quiet = steps_of("quiet")
    yield "| Step | CPU | with a platform that does nothing | allocations |"
    yield "|---|---|---|---|"
    for name, run in sorted(steps.items()):
        if name == "shell_command":
            continue  # what it costs is not CPU of ours; it has a row of its own
        timed = name.split("/")[0] in ("encrypt", "decrypt", "raw")
        own = number(cpu_us(quiet[name])) if name in quiet else ""
        allocations = f"{run['allocs']:.0f}" if "allocs" in run else ""
        yield f"| {name} | {number((timed_us if timed else cpu_us)(run))} | {own} | {allocations} |"


def machine():
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        model = re.search("model name\\s*: (.*)", file.read())
    return (f"{datetime.date.today()}, {os.cpu_count()} cores ({model[1] if model else '?'}), Linux "
            f"{platform.release()}, priority: {PRIORITY}; load average before {LOAD_BEFORE}, "
            f"after {LOAD_AFTER}")


def text():
    steps = steps_of("steps")
    floods()
    burst()
    mix(steps)
    small_steps(steps)
    key_pair(steps)
    whole_daemon()
    if not BRIEF:
        onboarding()
        idle()
    head = ["| What | Target | Measured | | How |", "|---|---|---|---|---|"]
    table = [f"| {' | '.join(one)} |" for one in rows]
    return "\n".join([machine() + ".", "", *head, *table, "", *step_lines(steps)])


def record(table):
    path = os.path.join(os.path.dirname(__file__), "../docs/performance.md")
    with open(path, encoding="utf-8") as file:
        before, _, rest = file.read().partition("<!-- begin of the table -->\n")
    with open(path, "w", encoding="utf-8") as file:
        after = rest.partition("<!-- end of the table -->")[2]
        file.write(f"{before}<!-- begin of the table -->\n{table}\n<!-- end of the table -->{after}")


result = text()
print(result)
if MODE == "--record":
    record(result)
if missed:
    sys.exit(f"script/bench: missed: {'; '.join(missed)}")
