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


def at_most(bound, floor, value):
    """A target in words, and whether the value meets it."""
    return f"≤ {bound} {floor}", value <= bound


def at_least(bound, floor, value):
    return f"≥ {bound} {floor}", value >= bound


def no(what, value):
    return f"no {what}", value == 0


def row(what, targets, measured, how, robust=False):
    verdict = "-"
    if targets and (robust or not BRIEF):
        verdict = "met" if all(met for _, met in targets) else "**missed**"
    if verdict == "**missed**":
        missed.append(what)
    rows.append((what, ", ".join(text for text, _ in targets) or "-", measured, verdict, how))


def floods():
    dropped = lines_of("dropped")
    ratio = dropped["ratio_to_bare_loop"]
    row("events dropped without a log line, whole daemon",
        [at_least(0.25, "× a bare loop's rate", ratio)],
        f"{ratio:.2f} ({dropped['events_per_second']:,.0f}/s)",
        "an installed satellite, flooded, and a bare select, recv, epoll_wait(0) loop in turns, "
        "a second each, medians", True)
    for name, stations in (("known", "one known station"), ("known15", "one of 15 known")):
        flood = lines_of(name)
        ratio = flood["cpu_ratio_to_bare_loop"]
        row(f"probe requests of {stations}, with their log lines", [at_most(2, "× a bare loop", ratio)],
            f"{ratio:.2f} ({flood['cpu_us_per_event']:.1f} µs an event; "
            f"{flood['events_per_second']:,.0f}/s taken)",
            "a base, flooded in the same way; CPU per event; the loop leaves the same "
            f"{flood['messages']:.0f} messages and the same file of candidates", True)


def burst():
    burst = lines_of("burst")
    what = f"{burst['runs']:.0f} bursts of 1,000 datagrams of 300 bytes"
    row(what, [no("loss", burst["lost"])], f"{burst['lost']:.0f} lost",
        "a searching unit, every second time stopped meanwhile", True)
    ratio = burst["handled_ms_p50"] / burst["bare_ms_p50"]
    row(f"{what}: how late",
        [at_most(4, "× a bare loop (p50)", ratio),
         at_most(1, "s late for a timer", burst["timer_late_s_worst"])],
        f"{ratio:.2f} ({burst['handled_ms_p50']:.1f} of {burst['bare_ms_p50']:.1f} ms), worst "
        f"{burst['handled_ms_worst']:.0f} ms; timer {burst['timer_late_s_worst']:.3f} s",
        "the same; the timer is its search")


def mix(steps):
    mix, free = lines_of("mix"), lines_of("mix-any-core")
    bare, bare_free = (lines_of(name, column=2) for name in ("mix", "mix-any-core"))
    ratio = mix["answer_us_p10"] / bare["answer_us_p10"]
    row("operation 1000 to its answer's command, in a mix of one event each 300 µs",
        [at_most(2.5, "× a bare loop (p10)", ratio)],
        f"{ratio:.2f} (p10 {mix['answer_us_p10']:.0f} of {bare['answer_us_p10']:.0f} µs, p50 "
        f"{mix['answer_us_p50']:.0f} of {bare['answer_us_p50']:.0f}, p99 {mix['answer_us_p99']:,.0f} "
        f"of {bare['answer_us_p99']:,.0f}; on any core p50 {free['answer_us_p50']:.0f} of "
        f"{bare_free['answer_us_p50']:.0f}; {cpu_us(steps['answer_operation_1000']):.0f} µs of CPU)",
        "from the sending of the event to the shell's start, sender and receiver on one core; the "
        "loop leaves the same messages; other work disturbs the fastest tenth least; CPU: the step "
        "alone; p99: see below")
    ratio = mix["cpu_us_per_event"] / bare["cpu_us_per_event"]
    row("the same mix: what it costs",
        [no("loss", mix["lost"]), at_most(3, "× a bare loop's CPU", ratio)],
        f"{mix['lost']:.0f} of {mix['offered']:,.0f} lost, {ratio:.2f} "
        f"({mix['cpu_us_per_event']:.1f} µs an event), {mix['turns_per_second']:,.0f} turns/s, resident "
        f"{mix['resident_kib_before']:.0f} to {mix['resident_kib_after']:.0f} KiB",
        "strangers' probe requests 60, scan results 20, forged frames 20 parts; "
        "20 operations 1000 and one 1002 a second", True)


def elements(steps):
    counts = range(11, 21)
    found = [steps[f"find_and_check_element/{count}"] for count in counts]
    times = [1000 * cpu_us(run) for run in found]
    ratios = [cpu_us(run) / cpu_us(steps[f"walk_elements/{count}"])
              for count, run in zip(counts, found)]
    allocations = sum(run["allocs"] for run in found)
    row("vendor element found in a beacon of 11 to 20 elements, fully checked",
        [at_most(4, "× a bare walk", statistics.median(ratios)), no("allocation", allocations)],
        f"{statistics.median(ratios):.2f} ({min(times):.0f} to {max(times):.0f} ns), "
        f"{allocations:.0f} allocations",
        "CPU, medians; the walk only looks for the element's number and OUI")


def small_steps(steps):
    for way in ("encrypt", "decrypt"):
        for blocks in (1, 2):
            own = timed_us(steps[f"{way}/{blocks}"])
            raw = timed_us(steps[f"raw/{way}/{blocks}"])
            row(f"{way} {blocks} block{'s'[:blocks - 1]}", [at_most(1.1, "× raw blocks", own / raw)],
                f"{own / raw:.2f} ({own:.0f} of {raw:.0f} µs)",
                "CPU, medians; reading and checking the key apart, printing without the system's part")
    printed = cpu_us(steps["hexadecimal_print_alone"])
    digits = cpu_us(steps["hexadecimal"]) - printed
    by_printf = cpu_us(steps["hexadecimal_by_printf"])
    row("hexadecimal of 1,024 bytes", [at_most(0.05, "× by printf", digits / by_printf)],
        f"{digits / by_printf:.3f} ({digits:.2f} of {by_printf:.0f} µs; printing it {printed:.2f})",
        "CPU, medians; printing it apart")
    command = steps["shell_command"]
    row("a shell command: own share above system()",
        [at_most(5, "%", command["own_share_percent"])],
        f"{command['own_share_percent']:.2f} % (a command {command['median_us'] / 1000:.2f} ms)",
        "medians of the time outside and inside", True)


def key_pair(steps):
    key = steps_of("key_pair")["key_pair"]
    row("key pair made, stored and read back", [at_most(1.05, "× libcrypto alone", key["ratio"])],
        f"{key['ratio']:.3f}; median {key['median_ms']:.0f} ms, worst {key['worst_ms']:.0f} ms; "
        f"{key['ratio_with_cat']:.3f} with the two `cat`",
        "CPU, median of 25 keys, both sides from the same random numbers", True)
    row("reading and checking the private key", [],
        f"{cpu_us(steps['read_key_private_and_check']) / 1000:.1f} ms", "CPU, median; apart")


def whole_daemon():
    push = lines_of("push")
    ratio = push["ratio_to_commands"]
    row("push to 15 waiting units, from SIGUSR1 to the last frame",
        [at_most(1.2, "× its 15 commands", ratio)],
        f"{ratio:.2f} (p50 {push['push_ms_p50']:.0f} ms, worst {push['push_ms_worst']:.0f} ms; a "
        f"command {push['shell_command_ms_p50']:.1f} ms)", "to the end of the 15th command", True)
    start = lines_of("start")
    row("exec to socket bound",
        [at_most(1.6, "× exec and exit of an empty program, same libraries", start["ratio"])],
        f"{start['ratio']:.2f} ({start['bound_ms_p50']:.1f} of {start['empty_ms_p50']:.1f} ms); "
        f"detached {start['detached_ratio']:.2f}",
        "in turns, medians; both with the shim that notes the bind", True)


def onboarding(steps):
    with open(f"{FOLDER}/onboard.txt", encoding="utf-8") as file:
        times = [[float(word) for word in line.split()] for line in file]
    rest = sorted(whole - key for whole, key in times)
    p99 = rest[min(len(rest) - 1, int(0.99 * len(rest)))]
    command = steps["shell_command"]["median_us"] / 1000
    check = cpu_us(steps["read_key_private_and_check"]) / 1000
    typical, slow = statistics.median(rest) / command, (p99 - check) / command
    row("element seen to told to wait, laboratory without air delay",
        [at_most(40, "shell commands besides the key (p50)", typical),
         at_most(40, "besides the base's check of its own (p99)", slow)],
        f"{typical:.0f} and {slow:.0f} "
        f"({statistics.median(rest):.0f} and {p99:.0f} ms, a check {check:.0f} ms); whole p50 "
        f"{statistics.median(whole for whole, _ in times):.0f} ms, of which the key "
        f"{statistics.median(key for _, key in times):.0f} ms",
        f"{len(rest)} units one by one; key time: from `wl del_ie` done to operation 1000 on the air")


def idle():
    for name in ("base", "satellite"):
        idle = lines_of(f"idle-{name}")
        ratio = idle["cpu_ms"] / idle["bare_cpu_ms"]
        row(f"idle {name}, 20 s", [at_most(4, "× a bare loop's CPU", ratio),
                                   at_most(42, "context switches", idle["context_switches"])],
            f"{ratio:.2f} ({idle['cpu_ms']:.1f} of {idle['bare_cpu_ms']:.1f} ms), "
            f"{idle['context_switches']:.0f} switches, {idle['resident_kib']:.0f} KiB resident",
            "after 2 s of rest; the loop waits a second at a time, and does nothing else")


def why():
    why = lines_of("why")
    worst, resident = max(why["base_ms"], why["unit_ms"]), why["resident_kib"] / 1024
    row("vorlent-why: a log of 1 MiB", [at_most(10, "ms", worst), at_most(100, "MiB resident", resident)],
        f"{why['base_ms']:.1f} ms of a base, {why['unit_ms']:.1f} of a unit ({why['base_ratio']:.0f} and "
        f"{why['unit_ratio']:.0f} × its lines alone), {resident:.0f} MiB; a start {why['start_ms']:.0f} ms",
        "user time for each of 60 logs in one call, its start included; no two have a key or an address in common")


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
    elements(steps)
    small_steps(steps)
    key_pair(steps)
    whole_daemon()
    if not BRIEF:
        onboarding(steps)
        idle()
        why()
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
