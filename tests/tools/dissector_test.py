"""The Wireshark dissector on frames written here, cut at every length, garbled, and from the lab.

Usage: dissector_test.py [BUILD-FOLDER]
"""
import pathlib
import random
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
DISSECTOR = ROOT / "packaging/wireshark/vorlent.lua"
MESHLAB = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else "build") / "meshlab"
NEEDS_TSHARK = unittest.skipUnless(shutil.which("tshark"), "tshark is not installed")
UNIT, BASE = "02a700000001", "02ba5e000001"
IE_BASE, IE_UNIT = "dd0b027e910000000308010101", "dd0b027e910000000308020101"
PEM = "-----BEGIN PUBLIC KEY-----\nTUlJ\n-----END PUBLIC KEY-----\n".encode().hex()


def frame(kind, to, sender, body):
    return f"{kind}000000{to}{sender}{BASE}0000{body}"


def action(op, to, sender, data=None):
    tail = "" if data is None else f"{len(data) // 2:04x}{data}"
    return frame("d0", to, sender, f"0409027e91{op}{tail}")


BEACON = frame("80", "ff" * 6, BASE, "00" * 8 + "64001104" + "0004686f6d65" + IE_BASE)
PROBE = frame("40", "ff" * 6, UNIT, "0000" + IE_UNIT)
HELLO = action("1000", BASE, UNIT, IE_UNIT)
BASE_KEY = action("1001", UNIT, BASE, PEM)
UNIT_KEY = action("1002", BASE, UNIT, "a5" * 512)
CREDENTIALS = action("1003", UNIT, BASE, "5a" * 256)
WAIT = action("1004", UNIT, BASE)
GOOD = [BEACON, PROBE, HELLO, BASE_KEY, UNIT_KEY, CREDENTIALS, WAIT]


def write_capture(path, frames, link_type=105):
    """A capture of the frames, given in hexadecimal."""
    lines = ["0000 " + " ".join(f[i : i + 2] for i in range(0, len(f), 2)) for f in frames if f]
    subprocess.run(["text2pcap", "-q", "-l", str(link_type), "-", path], check=True,
                   input="\n".join(lines) + "\n", text=True, capture_output=True)


def tshark(capture, *arguments):
    run = subprocess.run(["tshark", "-r", capture, "-X", f"lua_script:{DISSECTOR}", *arguments],
                         check=True, text=True, capture_output=True)
    assert "Lua" not in run.stderr, run.stderr
    return run.stdout


def fields(capture, *names):
    """One list of texts for each frame; a field that a frame does not have is empty."""
    columns = [part for name in names for part in ("-e", f"vorlent.{name}")]
    out = tshark(capture, "-T", "fields", "-E", "separator=|", *columns)
    return [line.split("|") for line in out.splitlines()]


@NEEDS_TSHARK
class DissectorTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.capture = self.folder.name + "/frames.pcap"

    def faults(self, frames, link_type=105):
        write_capture(self.capture, frames, link_type)
        return [line[0] for line in fields(self.capture, "fault")]

    def test_names_what_each_good_frame_is(self):
        write_capture(self.capture, GOOD)
        unit, base = "02:a7:00:00:00:01", "02:ba:5e:00:00:01"
        self.assertEqual(fields(self.capture, "op", "name", "from", "unit", "base", "ie.prod_id",
                                "data_len", "blocks", "fault"), [
            ["", "", "", "", base, "1", "", "", ""],
            ["", "", "", unit, "", "2", "", "", ""],
            ["1000", "hello", "unit", unit, base, "2", "13", "", ""],
            ["1001", "base key", "base", unit, base, "", str(len(PEM) // 2), "", ""],
            ["1002", "unit key", "unit", unit, base, "", "512", "2", ""],
            ["1003", "credentials", "base", unit, base, "", "256", "1", ""],
            ["1004", "wait", "base", unit, base, "", "", "", ""]])
        keys = [line[0] for line in fields(self.capture, "key")]
        self.assertIn("BEGIN PUBLIC KEY", keys[3])
        sealed = [line[0][:8] for line in fields(self.capture, "encrypted_for")]
        self.assertEqual(sealed[4:6], ["the base", "the unit"])
        self.assertIn("vorlent 1002 unit key", tshark(self.capture, "-Y", "vorlent.op == 1002"))

    def test_says_what_is_wrong_with_a_broken_frame(self):
        texts = (ROOT / "tests/tools/broken-frames.txt").read_text().splitlines()
        broken = dict(line.rsplit(": ", 1) for line in texts if not line.startswith("#"))
        names = {"BEACON": BEACON, "PROBE": PROBE, "PEM": PEM, "IE_UNIT": IE_UNIT, "IE_BASE": IE_BASE,
                 "ACTION": frame("d0", BASE, UNIT, "0409027e91")}
        frames = ["".join(bytes.fromhex(names.get(name, name)).hex() * int(times or 1) for name, times in
                          re.findall(r"(\w+)(?:\*(\d+))?", body)) for body in broken.values()]
        for expected, fault in zip(broken, self.faults(frames), strict=True):
            self.assertIn(expected, fault)

    def test_leaves_alone_what_is_not_its_own(self):
        encrypted, fragment, no_management = ("d040" + HELLO[4:], "d004" + HELLO[4:], "0802" + HELLO[4:])
        write_capture(self.capture, [encrypted, fragment, no_management] + [
            other_vendor.replace("027e91", "506f9a") for other_vendor in (HELLO, BEACON)])
        self.assertEqual(tshark(self.capture, "-Y", "vorlent"), "")

    def test_finds_the_end_of_a_frame(self):
        with_check_sum = "00000c00060000001000" + "0000" + WAIT + "11223344"
        self.assertEqual(self.faults([with_check_sum], 127), [""])
        self.assertEqual(fields(self.capture, "op", "trailing"), [["1004", ""]])
        write_capture(self.capture, [UNIT_KEY])
        short = self.folder.name + "/short.pcap"
        subprocess.run(["editcap", "-s", "100", self.capture, short], check=True)
        self.assertEqual(fields(short, "op", "data_len", "fault"), [["1002", "512", ""]])
        self.assertIn("is not in the capture", tshark(short, "-V"))

    def test_reads_any_frame_without_an_error(self):
        chance = random.Random(1)
        hostile = [good[: 2 * n] for good in GOOD for n in range(1, min(len(good) // 2, 330))]
        for good in GOOD * 60:
            raw = bytearray.fromhex(good)
            for _ in range(chance.randint(1, 8)):
                raw[chance.randrange(len(raw) if chance.random() < 0.3 else min(len(raw), 60))] = (
                    chance.choice([0, 1, 0xFF, 0x7F, 0xDD, chance.randrange(256)]))
            hostile.append(raw.hex())
        write_capture(self.capture, hostile)
        out = tshark(self.capture, "-V", "-O", "vorlent")
        self.assertNotIn("Lua Error", out)
        self.assertGreater(out.count("vorlent onboarding"), 700)

    @unittest.skipUnless(MESHLAB.exists(), "the laboratory is not built")
    def test_reads_a_capture_of_the_laboratory(self):
        subprocess.run([MESHLAB, "run", "--json", "--out", self.folder.name, "onboard"], check=True,
                       capture_output=True)
        sent = [line for line in fields(self.folder.name + "/air.pcapng", "unit", "op", "fault") if line[1]]
        self.assertEqual({line[2] for line in sent}, {""})
        for number in "123":
            operations = [op for unit, op, _ in sent if unit == f"02:a7:00:00:00:0{number}"]
            self.assertEqual(operations, ["1000", "1001", "1002", "1004", "1003"])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
