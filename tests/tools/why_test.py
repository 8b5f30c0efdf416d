"""vorlent-why: its table against the sources, each reason, the logs of the laboratory's runs, bad input."""
import json
import pathlib
import re
import string
import subprocess
import sys
import tempfile
import unittest

import dissector_test as air
import source_messages

sys.path.insert(0, str(air.ROOT / "tools"))
import vorlent_why  # noqa: E402

HERE = pathlib.Path(__file__).parent
NAMES = {"UNIT": "02:a7:00:00:00:01", "BASE": "02:BA:5E:00:00:01"}
CASES = []  # a reason and the marks of a log that gives it
for line in (HERE / "reasons.txt").read_text().splitlines():
    name, sort, text = re.match(r"([\w-]*)( =|:|)(.*)", line).groups()
    if sort == " =":
        NAMES[name] = string.Template(text).substitute(NAMES)
    elif sort == ":":
        CASES.append((name, string.Template(text).substitute(NAMES)))
FORMATS = {mark: (func, form) for func, forms in vorlent_why.MESSAGES.items()
           for form, mark in reversed(forms.items()) if mark}


def log_of(marks):
    """The log that a daemon with these messages writes."""
    text = ""
    for mark, _, values in (word.partition("=") for word in marks.split()):
        func, form = FORMATS[mark]
        if form == "cmd: %s\n":
            values = f"wl actframe {NAMES['UNIT']} 0409027e91{mark[5:]}{values}"
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

    def why(self, marks, *options):
        """What the tool tells of a log, given by its marks, its text or its path."""
        if not isinstance(marks, pathlib.Path):
            self.log.write_bytes(marks if isinstance(marks, bytes) else log_of(marks).encode())
        run = self.run_why("--json", marks if isinstance(marks, pathlib.Path) else self.log, *options)
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        result = json.loads(run.stdout)
        self.assertEqual(result["unknown_messages"], [])
        return result["units"]

    def test_table_and_sources_have_the_same_messages(self):
        said = source_messages.all_messages()
        table = {(func, form) for func, forms in vorlent_why.MESSAGES.items() for form in forms}
        more = set(vorlent_why.MORE)
        self.assertEqual({pair for pair in said - table if pair[1] not in more}, set(), "not in the table")
        named = {pair for pair in table - said if ("*", pair[1]) not in said}
        self.assertEqual((named, more - {form for _, form in said}), (set(), set()), "in no source")

    def test_each_reason_has_a_log_that_gives_it(self):
        of_captures = {"on-another-channel", "never-heard-the-unit"}
        self.assertEqual({reason for reason, _ in CASES} | of_captures, set(vorlent_why.REASONS))
        for reason, marks in CASES:
            with self.subTest(marks):
                self.assertEqual(self.why(marks)[-1]["reason"], reason)

    @air.NEEDS_TSHARK
    def test_a_capture_knows_the_channels_and_who_else_was_there(self):
        on_1, on_6 = ("00000c0008000000" + channel + "a000" for channel in ("6c09", "8509"))
        capture = self.folder / "air.pcap"
        air.write_capture(capture, [on_6 + air.BEACON, on_1 + air.PROBE, on_1 + air.HELLO], 127)
        for marks in ("search scan scan scan", NAMES["ROW"], NAMES["FOUND"].replace(",6", ",1")):
            self.assertEqual(self.why(marks, capture)[0]["reason"], "on-another-channel")
        air.write_capture(capture, [on_6 + air.BEACON, on_6 + air.PROBE], 127)
        self.assertEqual(self.why("search scan scan scan", capture)[0]["reason"], "never-heard-the-base")
        unit = self.why("window full", capture)[-1]
        self.assertEqual((unit["station"], unit["reason"]), (NAMES["UNIT"], "never-heard-the-unit"))

    def test_nvram_and_candidate_file_add_what_is_true_now(self):
        nvram, candidates = self.folder / "nvram", self.folder / "candidates.json"
        nvram.write_text(f"candidate_satellites={NAMES['UNIT'].upper()}\nno setting\n")
        candidates.write_text('{"candidates": [{"mac": "02:a7:00:00:00:09", "key": ""}]}')
        units = self.why(NAMES["READY"], "--nvram", nvram, "--candidates", candidates)
        self.assertEqual(units[0]["notes"], ["NVRAM lists it in candidate_satellites now.",
                                             "The candidate file lacks it."])
        self.assertEqual((units[1]["station"], units[1]["reason"]), ("02:a7:00:00:00:09", "awaiting-push"))

    def test_reads_rotated_garbled_and_standard_output_logs(self):
        older = self.folder / "vorlent_dbg.log.1"
        older.write_text(log_of(NAMES["KEY_SENT"]))
        unit, = self.why("push push_row push_no_key")
        self.assertEqual((unit["station"], unit["reason"]), (NAMES["UNIT"], "pushed-too-early"))
        older.unlink()
        printed = log_of(NAMES["GOT_KEY"]).replace("[unconf", "[onboarding][unconf").encode()
        self.assertEqual(self.why(b"\xff\0\x1b[31m" + printed + b"\0\xfe[main][")[0]["reason"], "in-progress")
        self.log.write_text(log_of("window refused=\x1b[31m") + "[main][9]a new message\n")
        run = self.run_why(self.log)
        self.assertNotIn("\x1b", run.stdout)
        self.assertIn("1 messages are of another version, the first at vorlent_dbg.log:3.", run.stdout)

    @air.NEEDS_LAB
    def test_logs_of_the_laboratory(self):
        gave_up = [f"gave-up-waiting-for-{operation}" for operation in (1001, 1004, 1003)]
        for log, reasons in {"onboard/unit-1": ["installed"], "silent-base/unit-1": [gave_up[0], "installed"],
                             "base-reboot/unit-1": [*gave_up[1:], "installed"],
                             "base-reboot/base": ["restarted", "sealed-for-another-key", "restarted",
                                                  "credentials-sent"]}.items():
            units = self.why(air.LAB / f"{log}.log")
            self.assertEqual([unit["reason"] for unit in units], reasons, log)

    def test_bad_input_gets_a_message_and_a_status(self):
        self.log.write_text(log_of("window"))
        for arguments, status, text in [
                ([], 2, "LOG"), (["--zork", self.log], 2, "--zork"), (["/missing"], 1, "No such file"),
                ([self.folder], 1, "Is a directory"), (["/dev/null"], 1, "no message of vorlent"),
                ([self.log, self.log], 1, "capture"), ([self.log, "/missing"], 1, "/missing: "),
                ([self.log, "--candidates", self.log], 1, "no candidate file"),
                ([self.log, "--nvram", "/missing"], 1, "No such file")]:
            run = self.run_why(*arguments)
            self.assertEqual(run.returncode, status, arguments)
            self.assertIn(text, run.stderr)
            self.assertNotIn("Traceback", run.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
