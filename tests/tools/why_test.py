"""vorlent-why: its table against the sources, each reason, the laboratory's logs, bad input."""
import json
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

import dissector_test as air
import source_messages

sys.path.insert(0, str(air.ROOT / "tools"))
import vorlent_why  # noqa: E402

LOGS = pathlib.Path(__file__).parent / "logs"
UNIT, BASE = "02:a7:00:00:00:01", "02:BA:5E:00:00:01"
FORMATS = {mark: (func, form) for func, forms in vorlent_why.MESSAGES.items()
           for form, mark in reversed(forms.items()) if mark}

ROW = f"window row={UNIT},0, "
HELLO = ROW + f"operation=1000,{UNIT} "
KEY_SENT = HELLO + "sent_1001=01c3 "
READY = KEY_SENT + f"operation=1002,{UNIT} good_1002 listed={UNIT} unit_key sent_1004 "
FOUND = f"search scan target={BASE},6 mode=1,0 sent_1000 "
GOT_KEY = FOUND + "base_key sealed_1002=512 "
STORED = GOT_KEY + "wait credentials=256 mode=3,1 "
ELEMENT = "prod_type=08 prod_id=02 vie_data=02 "
CASES = {  # a log, as the marks of its messages, for each reason that a log alone can give
    "never-heard-the-base": "search scan scan scan search_over",
    "wrong-element": "search scan " + ELEMENT + "scan",
    "gave-up-waiting-for-1001": FOUND + "sent_1000 mode=0,1",
    "gave-up-waiting-for-1004": GOT_KEY + "sealed_1002=512 mode=0,1",
    "gave-up-waiting-for-1003": GOT_KEY + "wait mode=0,1",
    "key-not-usable": FOUND + "base_key sealed_1002=0 mode=0,1",
    "credentials-refused": GOT_KEY + "wait bad_1003 mode=0,1",
    "credentials-empty": GOT_KEY + "wait credentials=0 mode=3,1 start",
    "credentials-stored": STORED + "start is_temp_satellite",
    "ethernet-backhaul": "search scan mode=4,0 start",
    "backhaul-down": STORED + "start is_temp_satellite mode=0,3",
    "installed": STORED + "start is_temp_satellite mode=6,3",
    "became-a-router": "search scan mode=2,0",
    "became-a-base": "search scan mode=5,0",
    "reset-by-hand": "search scan reset",
    "restarted": GOT_KEY + "start",
    "could-not-start": "no_start",
    "in-progress": GOT_KEY,
    "never-said-hello": ROW + f"probe={UNIT}",
    "never-sent-its-key": KEY_SENT,
    "sealed-for-another-key": KEY_SENT + f"operation=1002,{UNIT} {ELEMENT}check bad_unit_key",
    "malformed-frame": KEY_SENT + f"bad_frame=9,{UNIT},data",
    "awaiting-push": READY,
    "refused-not-a-candidate": f"window refused={UNIT}",
    "table-full": f"window full refused={UNIT}",
    "pushed-too-early": KEY_SENT + "push push_row push_no_key",
    "not-listed-by-the-platform": READY + "push push_row push_unlisted",
    "push-refused-settings": READY + "push push_refused=bh_ssid",
    "credentials-sent": READY + "push push_row sent_1003=0100",
}
BASE_SIDE = {  # the same reason from the other side
    "wrong-element": HELLO + ELEMENT + "bad_1000",
    "key-not-usable": READY + "push push_row sent_1003=0000",
    "restarted": READY + "start",
}


def log_of(marks):
    """The log that a daemon with these messages writes."""
    text = ""
    for mark, _, values in (word.partition("=") for word in marks.split()):
        func, form = FORMATS[mark]
        if form == "cmd: %s\n":
            values = f"wl actframe {UNIT} 0409027e91{mark[5:]}{values}"
        given = iter(values.split(",") if values else [])
        text += f"[{func}][7]" + re.sub(r"%[.*\d]*([sdxX])",
                                        lambda c: next(given, "1" if c[1] == "d" else "x"), form)
    return text


class WhyTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.log = self.folder / "vorlent_dbg.log"

    def run_why(self, *arguments):
        return subprocess.run([air.ROOT / "tools/vorlent_why.py", *arguments], text=True,
                              capture_output=True, check=False)

    def why(self, log, *options):
        run = self.run_why("--json", log, *options)
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        result = json.loads(run.stdout)
        self.assertEqual(result["unknown_messages"], [])
        return result["units"]

    def why_marks(self, marks, *options):
        self.log.write_text(log_of(marks))
        return self.why(self.log, *options)

    def test_table_and_sources_have_the_same_messages(self):
        said = source_messages.all_messages()
        table = {(func, form) for func, forms in vorlent_why.MESSAGES.items() for form in forms}
        more = set(vorlent_why.MORE)
        self.assertEqual({pair for pair in said - table if pair[1] not in more}, set(), "not in the table")
        self.assertEqual((table - said, more - {form for _, form in said}), (set(), set()), "in no source")

    def test_each_reason_has_a_log_that_gives_it(self):
        of_captures = {"on-another-channel", "never-heard-the-unit"}
        self.assertEqual(set(CASES) | of_captures, set(vorlent_why.REASONS))
        for reason, marks in [*CASES.items(), *BASE_SIDE.items()]:
            with self.subTest(reason):
                self.assertEqual(self.why_marks(marks)[-1]["reason"], reason)

    def test_a_capture_knows_the_channels_and_who_else_was_there(self):
        on_1, on_6 = ("00000c0008000000" + channel + "a000" for channel in ("6c09", "8509"))
        capture = self.folder / "air.pcap"
        air.write_capture(capture, [on_6 + air.BEACON, on_1 + air.PROBE, on_1 + air.HELLO], 127)
        self.assertEqual(self.why_marks("search scan scan scan", capture)[0]["reason"], "on-another-channel")
        self.assertEqual(self.why_marks(ROW, capture)[0]["reason"], "on-another-channel")
        air.write_capture(capture, [on_6 + air.BEACON, on_6 + air.PROBE], 127)
        self.assertEqual(self.why_marks("search scan scan scan", capture)[0]["reason"], "never-heard-the-base")
        unit = self.why_marks("window full", capture)[-1]
        self.assertEqual((unit["station"], unit["reason"]), (UNIT, "never-heard-the-unit"))

    def test_nvram_and_candidate_file_add_what_is_true_now(self):
        nvram, candidates = self.folder / "nvram", self.folder / "candidates.json"
        nvram.write_text(f"candidate_satellites={UNIT.upper()}\nno setting\n")
        candidates.write_text('{"candidates": [{"mac": "02:a7:00:00:00:09", "key": ""}]}')
        units = self.why_marks(READY, "--nvram", nvram, "--candidates", candidates)
        self.assertEqual(units[0]["notes"], ["NVRAM lists it in candidate_satellites now.",
                                             "The candidate file lacks it."])
        self.assertEqual((units[1]["station"], units[1]["reason"]), ("02:a7:00:00:00:09", "awaiting-push"))

    def test_reads_rotated_garbled_and_standard_output_logs(self):
        pathlib.Path(f"{self.log}.1").write_text(log_of(KEY_SENT))
        self.assertEqual(self.why_marks("push push_row push_no_key")[-1]["reason"], "pushed-too-early")
        pathlib.Path(f"{self.log}.1").unlink()
        text = log_of(GOT_KEY).replace("[unconfigured_mode_cfg]", "[onboarding][unconfigured_mode_cfg]")
        self.log.write_bytes(b"\xff\0\x1b[31m" + text.encode() + b"\0\xfe[main][" + text.encode())
        self.assertEqual(self.why(self.log)[-1]["reason"], "in-progress")
        self.log.write_text(log_of(f"window refused=\x1b[31m{UNIT}") + "[main][9]a new message\n")
        run = self.run_why(self.log)
        self.assertNotIn("\x1b", run.stdout)
        self.assertIn("1 messages are of another version, the first at vorlent_dbg.log:3.", run.stdout)

    def test_excerpts_of_the_laboratory(self):
        for log, reasons in {"onboard.unit-1": ["installed"],
                             "silent-base.unit-1": ["gave-up-waiting-for-1001"],
                             "base-reboot.unit-1": ["gave-up-waiting-for-1003"],
                             "base-reboot.base": ["restarted", "sealed-for-another-key"]}.items():
            units = self.why(LOGS / f"{log}.log")
            self.assertEqual([unit["reason"] for unit in units], reasons, log)

    @unittest.skipUnless(air.MESHLAB.exists(), "the laboratory is not built")
    def test_a_run_of_the_laboratory(self):
        subprocess.run([air.MESHLAB, "run", "--json", "--out", self.folder, "onboard"], check=True,
                       capture_output=True)
        for name in ("unit-1", "unit-2", "unit-3"):
            units = self.why(self.folder / f"{name}.log", self.folder / "air.pcapng", "--nvram",
                             self.folder / f"{name}.nvram")
            self.assertEqual([unit["reason"] for unit in units], ["installed"])
        units = self.why(self.folder / "base.log", self.folder / "air.pcapng")
        self.assertEqual([unit["reason"] for unit in units], ["credentials-sent"] * 3)

    def test_bad_input_gets_a_message_and_a_status(self):
        self.log.write_text(log_of("window"))
        for arguments, status, text in [
                ([], 2, "LOG"), (["--zork", self.log], 2, "--zork"), (["/missing"], 1, "No such file"),
                ([self.folder], 1, "Is a directory"), (["/dev/null"], 1, "no message of vorlent"),
                ([self.log, self.log], 1, "capture"), ([self.log, "/missing"], 1, "doesn't exist"),
                ([self.log, "--candidates", self.log], 1, "no candidate file"),
                ([self.log, "--nvram", "/missing"], 1, "No such file")]:
            run = self.run_why(*arguments)
            self.assertEqual(run.returncode, status, arguments)
            self.assertIn(text, run.stderr)
            self.assertNotIn("Traceback", run.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
