"""A run watched and handled in a real browser: it is looked at, paused, a unit loses its power and comes back,
and the page of the run's end tells the same story. Strangers are refused."""
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest
import urllib.error
import urllib.request

sys.path.append("/usr/lib/python3/dist-packages")  # where Debian keeps the bindings, whatever python3 comes first
from selenium import webdriver  # noqa: E402
from selenium.webdriver.common.by import By  # noqa: E402
from selenium.webdriver.common.keys import Keys  # noqa: E402
from selenium.webdriver.support.ui import WebDriverWait  # noqa: E402

MESHLAB = sys.argv.pop(1)
FLAGS = ("--headless --no-sandbox --disable-gpu --disable-quic --no-first-run --disable-background-networking "
         "--disable-component-update --disable-sync --window-size=1200,1000").split()


class WebTest(unittest.TestCase):
    def setUp(self):
        options = webdriver.ChromeOptions()
        for flag in FLAGS:
            options.add_argument(flag)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        self.browser = webdriver.Chrome(options=options)
        self.addCleanup(self.browser.quit)
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.out = pathlib.Path(folder.name, "out")

    def start(self, *words, by=MESHLAB):
        run = subprocess.Popen([by, "run", *words, "--steps", "--web", "--out", self.out],
                               stdout=subprocess.PIPE, text=True)
        self.addCleanup(run.stdout.close)
        self.addCleanup(run.wait)
        self.addCleanup(run.send_signal, signal.SIGTERM)
        return run, re.search(r"http\S+", run.stdout.readline())[0]

    def see(self, what, seconds=60):
        return WebDriverWait(self.browser, seconds, 0.1).until(lambda browser: what())

    def text(self, name):
        return self.browser.find_element(By.ID, name).text

    def press(self, text):
        self.browser.find_element(By.XPATH, f"//button[text()='{text}']").click()

    def status_of(self, url, **headers):
        try:
            return urllib.request.urlopen(urllib.request.Request(url, headers=headers), timeout=5).status
        except urllib.error.HTTPError as refused:
            return refused.code

    def test_a_unit_is_cut_off_and_comes_back(self):
        scenario = pathlib.Path(self.out.parent, "slow.scenario")
        scenario.write_text("units 2\nlimit 180s\nexpect units mode 6\nexpect unit-1 logged \"never said\"\n")
        run, url = self.start(str(scenario))
        self.assertEqual([self.status_of(url.split("?")[0]), self.status_of(url, Host="example.net:80"),
                          self.status_of(url, Host="127.0.0.1:1"), self.status_of(url[:-1] + "!")], [403] * 4)
        self.browser.get(url)
        self.see(lambda: "goes on" in self.text("title"))
        self.browser.find_elements(By.CSS_SELECTOR, ".node")[2].click()
        self.see(lambda: self.text("state") == "6 installed satellite" and self.text("channel") == "channel 6")
        self.see(lambda: "its own log: installed" in self.text("why"))
        self.press("power-cut")
        self.see(lambda: self.text("state") == "switched off" and self.text("channel") == "")
        self.browser.find_element(By.ID, "play").click()  # a pause
        paused = self.text("now").split(" of ")[0]
        self.press("power-on")
        time.sleep(1)
        self.assertEqual(self.text("now").split(" of ")[0], paused)
        self.assertEqual(self.text("state"), "switched off")
        self.press("Live")
        self.see(lambda: self.text("state") == "6 installed satellite")
        self.obeys_by_hand()
        self.assertEqual([entry["message"] for entry in self.browser.get_log("browser") if "/order" not in entry["message"]], [])
        run.send_signal(signal.SIGINT)
        self.assertEqual(run.wait(30), 130)
        self.see(lambda: "was interrupted" in self.text("title"))
        self.browser.get((self.out / "report.html").as_uri())
        self.see(lambda: "was interrupted" in self.text("title") and "not yet: unit-1 logs" in self.text("verdicts"))
        self.plays_again((self.out / "by-hand.scenario").read_text(), scenario)

    def obeys_by_hand(self):
        order = self.browser.find_element(By.CSS_SELECTOR, "#hands input[type=text]").send_keys
        for line, answer in {"unit-9 mute": "expected one of this mesh", "unit-4 arrive": "expected one of this mesh",
                             "unit-1 arrive # twice": "expected one line", "base hold": "base hold: done",
                             "loss 9% from unit-1 until 170s": "until 170s: done"}.items():
            order(Keys.CONTROL, "a")
            order(line, Keys.ENTER)
            self.see(lambda: answer in self.text("said"))
        self.press("add a unit")
        self.see(lambda: len(self.browser.find_elements(By.CSS_SELECTOR, ".node")) == 4)
        self.browser.find_elements(By.CSS_SELECTOR, ".node")[3].click()
        self.see(lambda: "waits for its credentials" in self.text("state"))
        self.press("base approve")
        self.see(lambda: "approve unit-3: done" in self.text("said"))
        order = self.browser.find_element(By.CSS_SELECTOR, "#hands input[type=text]").send_keys
        order("base push", Keys.ENTER)
        self.see(lambda: self.text("state") == "6 installed satellite")
        self.assertIn("arrives", self.text("story"))

    def plays_again(self, text, scenario):
        """What was done by hand is done at the same times by the scenario that was written."""
        self.assertRegex(text, r"(?s)units 3\ntime-lapse 1\n.*seed 1\nat [0-9.]+s: unit-2 power-cut\nat [0-9.]+s: unit-2 power-on\n"
                         r"at [0-9.]+s: base hold\nloss 9% from unit-1 at [0-9.]+s until 170s\nat [0-9.]+s: unit-3 arrive\n"
                         r"at [0-9.]+s: base approve unit-3\nat [0-9.]+s: base push\n$")
        # How far each is by then depends on the machine.
        scenario.write_text(re.sub("(?m)^expect .*\n", "", text) + "expect unit-3 sent 1000 at least 1\n")
        again = subprocess.run([MESHLAB, "run", "--json", "--out", self.out, scenario], stdout=subprocess.PIPE, check=False)
        self.assertEqual(again.returncode, 0, again.stdout)

    def test_the_report_is_the_same_page(self):
        run, url = self.start("silent-base")
        self.browser.get(url)
        self.see(lambda: "ended as it must" in self.text("title"))
        parts = ("title", "units", "verdicts", "story", "why")  # of unit-1, which is the worst
        self.see(lambda: "its own log: installed" in self.text("why") and "the log of base: " in self.text("why"))
        live = [self.text(name) for name in parts]
        self.assertRegex(live[1], "(?s)unit-1.*1: it gave up, no 1001 came: sent 1000 7 times, 7 not served: its daemon stands still.*base")
        marks = self.browser.find_element(By.ID, "modes")
        frames = self.browser.execute_script("return run.frames.length")
        told = [marks.send_keys(Keys.ARROW_LEFT) or self.text("tip") for _ in range(6)]
        self.assertRegex("\n".join(told), "(?s)base, .*approves 1 unit.*its daemon thaws.*base, .*its daemon is frozen")
        self.assertIn(b"base: NOT SERVED, its daemon stands still", (self.out / "air.pcapng").read_bytes())
        run.send_signal(signal.SIGTERM)
        self.assertEqual(run.wait(30), 0)
        self.browser.get((self.out / "report.html").as_uri())
        self.see(lambda: [self.text(name) for name in parts] == live)
        self.assertEqual(self.browser.execute_script("return run.frames.length"), frames)
        self.browser.find_element(By.CSS_SELECTOR, ".node").click()
        self.browser.execute_script("by('slider').value = 0; by('slider').dispatchEvent(new Event('input'))")
        self.see(lambda: self.text("story") == "")
        self.browser.find_element(By.ID, "forth").click()
        self.see(lambda: "is switched on" in self.text("story"))
        self.keeps_its_hint_and_focus()
        self.zooms_sorts_and_searches()
        self.browser.set_window_size(360, 800)
        self.assertLessEqual(self.browser.execute_script("return document.documentElement.scrollWidth"),
                             self.browser.execute_script("return innerWidth"))

    def keeps_its_hint_and_focus(self):
        """What is drawn anew with more in it still shows what the watcher chose."""
        self.browser.execute_script("show(number['unit-1']), goTo(run.frames[1].t)")
        story = self.browser.find_element(By.ID, "story")
        self.see(lambda: story.send_keys(Keys.ARROW_DOWN) or self.text("tip"))
        seen = "const one = document.querySelector('#story .seen'); return [one?.textContent, by('tip').textContent]"
        before, rows = self.browser.execute_script(seen), len(story.find_elements(By.TAG_NAME, "li"))
        self.browser.execute_script("goTo(run.frames[4].t)")
        self.see(lambda: len(story.find_elements(By.TAG_NAME, "li")) > rows)
        self.assertEqual(self.browser.execute_script(seen), before)
        self.browser.find_element(By.XPATH, "//td/button[text()='base']").send_keys(Keys.SHIFT)
        self.browser.execute_script("table.by = 0, drawTable()")
        self.assertEqual(self.browser.execute_script("return document.activeElement.textContent"), "base")
        self.browser.execute_script("table.by = -1, drawTable()")

    def zooms_sorts_and_searches(self):
        rows = self.browser.find_elements(By.CSS_SELECTOR, "#sequence .frames > div")
        self.browser.execute_script("goTo(run.frames[3].t)")
        self.browser.find_element(By.CSS_SELECTOR, "#near [value='10']").click()
        near = self.browser.find_elements(By.CSS_SELECTOR, "#sequence .frames > div")
        self.assertTrue(1 < len(near) < len(rows) and f" of {len(rows) - 1}" in self.text("part"), self.text("part"))
        wide = "return document.querySelector('#modes svg').getBoundingClientRect().width"
        before = self.browser.execute_script(wide)
        self.browser.find_element(By.CSS_SELECTOR, "#zoom [value='3']").click()
        self.assertGreater(self.browser.execute_script(wide), 2 * before)
        units = "return [...document.querySelectorAll('#units td:first-child')].map(cell => cell.textContent)"
        self.assertEqual(self.browser.execute_script(units), ["unit-1", "base"], "the worst first")
        self.press("unit")
        self.assertEqual(self.browser.execute_script(units), ["base", "unit-1"])
        self.browser.find_element(By.ID, "search").send_keys("stands still")
        self.assertEqual(self.browser.execute_script(units), ["unit-1"])
        self.assertEqual([name.text for name in self.browser.find_elements(By.CSS_SELECTOR, "#modes .name")], ["unit-1"])
        chart = self.browser.find_element(By.ID, "sequence")  # a redraw under the pointer may end a hint
        self.see(lambda: chart.send_keys(Keys.ARROW_DOWN) or re.search(r"Operation 100\d \w+( key)?, attr_id 0x100\d", self.text("tip")))
        hello = self.browser.execute_script("return decoded(run.frames.find(frame => frame.op === 1000).body)")
        self.assertIn("data_len 13\nid 0xdd, len 11, oui 02:7e:91, reserved 000000, version 3, prod_type 8, "
                      "prod_id 2 un-configured unit", hello)

    def test_a_page_without_the_verdicts_says_so(self):
        build, alone = pathlib.Path(MESHLAB).parent, self.out.parent / "alone"
        alone.mkdir()
        for file in ("meshlab", "nvram", "lab-agent", "liblab_timelapse.so"):
            shutil.copy(build / file, alone)
        run, url = self.start("--units", "1", "--daemon", build / "vorlent", build / "scenarios/onboard.scenario", by=alone / "meshlab")
        self.browser.get(url)
        self.see(lambda: "ended as it must" in self.text("title"))
        self.assertIn("vorlent-why is not there", self.text("why"))


if __name__ == "__main__":
    unittest.main()
