"""vorlent-why: each reason, captures, the laboratory's runs, hostile and bad input."""
import json
import pathlib
import re
import resource
import string
import subprocess
import sys
import tempfile
import unittest

import dissector_test as air
import verdicts

BUILD = air.LAB.parents[1].resolve()
sys.path[:0] = [str(air.ROOT / "tools/why"), str(BUILD / "tools/why")]
from base_side import Base  # noqa: E402
from reasons import REASONS  # noqa: E402
from unit_side import Unit  # noqa: E402

NAMES = {"UNIT": "02:a7:00:00:00:01", "BASE": "02:BA:5E:00:00:01"}
CASES = []
for line in pathlib.Path(__file__).with_name("reasons.txt").read_text().splitlines():
    name, sort, text = re.match(r"([\w-]*)( =|:|)(.*)", line).groups()
    if sort == " =":
        NAMES[name] = string.Template(text).substitute(NAMES)
    elif sort == ":":
        CASES.append((name, string.Template(text).substitute(NAMES)))
FORMS = {rule: message for side in (Base, Unit) for message, rule in side.HEARS.items()}


def log_of(rules):
    """The log that a daemon writes of whose messages these rules hear."""
    text = ""
    for rule, _, values in (word.partition("=") for word in rules.split()):
        speaker, form = FORMS[rule]
        if form == "cmd: %s\n":
            to = NAMES["BASE" if rule in ("sent_1000", "sent_1002") else "UNIT"]
            values = f"wl actframe {to} 0409027e91{rule[5:]}{values}"
        given = iter(values.replace("_", " ").split(",") if values else [])
        text += f"[{speaker}][7]" + re.sub(r"%[.*\d]*([sdxX])", lambda c: next(given, "1" if c[1] == "d" else "x"), form)
    return text


class WhyTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.log = self.folder / "vorlent_dbg.log"

    def run_why(self, *arguments, **more):
        return subprocess.run([sys.executable, BUILD / "vorlent-why", *arguments], capture_output=True, check=False, **more)

    def why(self, log, *options):
        """What the tool tells of a log, given as rules or as bytes."""
        self.log.write_bytes(log if isinstance(log, bytes) else log_of(log).encode())
        run = self.run_why("--json", self.log, *options)
        self.assertEqual((run.returncode, run.stderr), (0, b""))
        return json.loads(run.stdout)

    def reasons(self, *arguments):
        return [unit["reason"] for unit in self.why(*arguments)["units"]]

    def test_each_reason_has_a_log_that_gives_it(self):
        of_captures = {"on-another-channel", "never-heard-the-unit", "joined-another-base", "base-did-not-answer"}
        of_the_laboratory = {"gave-up-waiting-for-1003", "forged-frames"}
        self.assertEqual({reason for reason, _ in CASES} | of_captures | of_the_laboratory, set(REASONS))
        for number, (_, rules) in enumerate(CASES):
            (self.folder / f"{number:02}.log").write_text(log_of(rules))
        said = map(json.loads, self.run_why("--json", self.folder).stdout.splitlines())
        for (reason, rules), log in zip(CASES, said, strict=True):
            with self.subTest(rules):
                self.assertEqual([unit["reason"] for unit in log["units"]], [reason])

    @air.NEEDS_TSHARK
    def test_a_capture_knows_the_channels_and_who_was_not_answered(self):
        on_1, on_6 = ("00000c0008000000" + channel + "a000" for channel in ("6c09", "8509"))
        other = air.HELLO.replace(air.BASE, "02ba5e000002")
        for frames, cases in [
                ([on_6 + air.BEACON, on_1 + air.PROBE, on_1 + air.HELLO],
                 {"search scan scan scan": "on-another-channel", NAMES["FOUND"].replace(",6", ",1"): "on-another-channel",
                  NAMES["ROW"]: "base-did-not-answer"}),
                ([on_6 + air.BEACON, on_1 + air.PROBE], {NAMES["ROW"]: "on-another-channel"}),
                ([on_6 + air.BEACON, on_6 + air.PROBE, on_6 + other],
                 {"search scan scan scan": "never-heard-the-base", NAMES["ROW"]: "joined-another-base"}),
                ([on_6 + air.BEACON, on_6 + air.PROBE], {"window table_is_full": "never-heard-the-unit"})]:
            air.write_capture(self.folder / "air.pcap", frames, "-l", "127")
            for rules, reason in cases.items():
                self.assertEqual(self.reasons(rules, self.folder / "air.pcap"), [reason])

    def test_nvram_and_candidate_file_add_what_is_true_now(self):
        nvram, candidates = self.folder / "nvram", self.folder / "candidates.json"
        nvram.write_text(f"candidate_satellites={NAMES['UNIT'].upper()}\nno setting\n")
        candidates.write_text('{"candidates": [{"mac": "02:a7:00:00:00:09", "key": ""}]}')
        ready, other = self.why(NAMES["READY"], "--nvram", nvram, "--candidates", candidates)["units"]
        self.assertEqual(ready["notes"], ["NVRAM lists it in candidate_satellites now.", "The candidate file lacks it."])
        self.assertEqual((other["station"], other["reason"]), ("02:a7:00:00:00:09", "awaiting-push"))

    @air.NEEDS_LAB
    @air.NEEDS_TSHARK
    def test_nothing_contradicts_the_laboratory(self):
        runs = [verdicts.Run(file.parent, BUILD / "vorlent-why") for file in air.LAB.glob("*/timeline.json")]
        self.assertEqual([text for run in runs for text in run.wrong()], [])
        said = {unit["reason"] for run in runs for log in run.logs for unit in log["units"]}
        self.assertLessEqual({"installed", "credentials-sent", "joined-another-base", "forged-frames"}, said)

    def test_says_which_log_is_not_whole_and_reads_many(self):
        printed = log_of(NAMES["GOT_KEY"]).replace("[unconf", "[onboarding][unconf").encode()
        self.assertEqual(self.why(b"x\n\xff\0\x1b[31m" + printed + b"[main][9]a new message\n[main][7]err fr")["remarks"], [
            "vorlent_dbg.log begins in the middle of a message", "vorlent_dbg.log:13: a message is cut",
            "vorlent_dbg.log ends in the middle of a message",
            "1 messages are of another version, the first at vorlent_dbg.log:12", "2 bytes of the log are no text"])
        cut = ["vorlent_dbg.log ends in the middle of a message"]
        for end, remarks in ("[act_op_1002_handler][1]pub_key(9):a key\n", []), ("[act_op_1002_handler][1]pub_key(9):a key", []), (
                "[dump_act_frame_payload][1]data:[\n2D 2D", cut):
            self.assertEqual(self.why((log_of(NAMES["ROW"]) + end).encode())["remarks"], remarks, end)
        self.log.with_suffix(".log.1").write_text(log_of(NAMES["KEY_SENT"]))
        self.assertEqual(self.reasons("push push_of_next push_without_key"), ["pushed-too-early"])
        run = self.run_why("--summary", self.folder, "-", input=printed)
        self.assertRegex(run.stdout, rb" 1  pushed-too-early .*\n +1  in-progress +- \(this unit\)")

    def test_hostile_logs_and_names_cost_little_and_reach_no_terminal(self):
        for line in ("[a][1]", "[main][" + "9" * 5000 + "]", "[nvram][1]NVRAM is not written: " + ": " * 90 + "\n",
                     log_of("operation=1002,x check") + "[act_op_1002_handler][1]Invalid ie.\n"):
            before = resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime
            self.log.write_text((log_of("window refused=\x1b[31m") + line * (1000000 // len(line))))
            run = self.run_why(self.log, "--nvram", "/missing\x1b[31m")
            self.assertLess(resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime - before, 2)
            self.assertIn(b"/missing?[31m: No such file", run.stderr)
        self.assertNotIn(b"\x1b", self.run_why(self.log).stdout + run.stderr)

    def test_bad_input_gets_a_message_and_a_status(self):
        self.log.write_text(log_of("window"))
        bad, capture = self.folder / "bad.json", self.folder / "air.pcapng"
        bad.write_text("[" * 100000)
        capture.write_bytes(b"\n\r\r\n")
        for arguments, status, text in [
                ([], 2, "LOG"), (["--zork\x1b", self.log], 2, "--zork?"), (["/missing"], 1, "No such file"),
                (["--json", "--summary", self.log], 2, "not allowed with"), (["/dev/null"], 1, "no message of vorlent"), ([self.log, self.log, "--nvram", bad], 2, "one log"),
                ([self.log, "--candidates", bad], 1, "no candidate file"),
                ([self.log, "--candidates", self.log], 1, "no candidate file"), ([self.log, capture], 1, "package tshark")]:
            run = self.run_why(*arguments, env={"PATH": ""})
            self.assertEqual((run.returncode, "Traceback" in run.stderr.decode()), (status, False), arguments)
            self.assertIn(text, run.stderr.decode())


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
