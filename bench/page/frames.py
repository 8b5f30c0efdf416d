#!/usr/bin/python3
"""What the page of a mesh costs a browser: frames a second, and milliseconds of processor for each.

Usage: bench/page/frames.py [BUILD-FOLDER [UNITS]]

A run with UNITS units (60) is watched in chromium while it lives, then its report is played. Frames a second
depend on what else the machine does; the processor's time for one does much less: of the page's own thread
(its script, styles, layout and painting), and of all processes of the browser, which draw without a graphics
card here. Needs the packages chromium, chromium-driver and python3-selenium.
"""
import pathlib
import re
import subprocess
import sys
import tempfile
import threading
import time

sys.path.append("/usr/lib/python3/dist-packages")  # where Debian keeps the bindings, whatever python3 comes first
from selenium import webdriver  # noqa: E402
from selenium.webdriver.support.ui import WebDriverWait  # noqa: E402

FLAGS = ("--headless --no-sandbox --disable-gpu --disable-quic --no-first-run --disable-background-networking "
         "--disable-component-update --disable-sync --window-size=1400,1000").split()
SECONDS = 15
TICK = 100  # of the kernel's counts of processor time, a second


def all_processes():
    """Parent and processor time, in ticks, of every process."""
    found = {}
    for stat in pathlib.Path("/proc").glob("[0-9]*/stat"):
        try:
            fields = stat.read_text().rpartition(")")[2].split()
        except OSError:
            continue
        found[int(stat.parent.name)] = (int(fields[1]), int(fields[11]) + int(fields[12]))
    return found


def time_of_family(root):
    processes, family, size = all_processes(), {root}, 0
    while size != len(family):
        size = len(family)
        family |= {pid for pid, (parent, _) in processes.items() if parent in family}
    return sum(processes[pid][1] for pid in family if pid in processes) / TICK


def readings(browser):
    metrics = {one["name"]: one["value"] for one in browser.execute_cdp_cmd("Performance.getMetrics", {})["metrics"]}
    frames, flights = browser.execute_script("return [mesh.frames, run.frames.length]")
    return {"wall": time.monotonic(), "frames": frames, "sent": flights, "page": metrics["TaskDuration"],
            "script": metrics["ScriptDuration"], "layout": metrics["LayoutDuration"] + metrics["RecalcStyleDuration"], "browser": time_of_family(browser.service.process.pid)}


def measure(browser, what):
    before = readings(browser)
    time.sleep(SECONDS)
    spent = {name: value - before[name] for name, value in readings(browser).items()}
    each = {name: 1000 * spent[name] / max(1, spent["frames"]) for name in ("page", "script", "browser")}
    load = pathlib.Path("/proc/loadavg").read_text().split()[0]
    print(f"{what:<28} {spent['frames'] / spent['wall']:6.1f} {each['page']:10.1f} {each['script']:10.1f} "
          f"{each['browser']:10.1f} {load:>8}", flush=True)


def play(browser, speed):
    browser.execute_script("by('speed').value = arguments[0]; unfollow(); goTo(0); setPlaying(true)", speed)


def main(build="build", units="60"):
    options = webdriver.ChromeOptions()
    for flag in FLAGS:
        options.add_argument(flag)
    browser = webdriver.Chrome(options=options)
    browser.execute_cdp_cmd("Performance.enable", {"timeDomain": "threadTicks"})
    print(f"{units + ' units':<28} {'frames/s':>6} {'page ms':>9} {'script ms':>10} {'all ms':>9} {'load':>8}")
    with tempfile.TemporaryDirectory() as out:
        run = subprocess.Popen([pathlib.Path(build, "meshlab"), "run", "crowd", "--units", units, "--steps", "--web",
                                "--out", out], stdout=subprocess.PIPE, text=True)
        try:
            browser.get(re.search(r"http\S+", run.stdout.readline())[0])
            # The steps have to be taken, or meshlab waits for it.
            threading.Thread(target=run.stdout.read, daemon=True).start()
            for second in (0, 1, 2):
                measure(browser, f"while it lives, from {second * SECONDS} s")
            run.terminate()
            run.wait(60)
            browser.get(pathlib.Path(out, "report.html").as_uri())
            WebDriverWait(browser, 60).until(lambda b: b.execute_script("return mesh.frames > 3"))
            measure(browser, "its report, standing still")
            for speed in ("1", "4", "20"):
                play(browser, speed)
                measure(browser, f"its report, at speed {speed}")
        finally:
            if run.poll() is None:
                run.terminate()
            browser.quit()


if __name__ == "__main__":
    main(*sys.argv[1:])
