# The Wireshark dissector on frames written here, cut at every length, garbled, and from the lab.
# Usage: dissector_test.py [BUILD-FOLDER]
import random
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
DISSECTOR = ROOT / "packaging/wireshark/vorlent.lua"
LAB = Path(sys.argv[1] if len(sys.argv) > 1 else "build") / "tests/lab"  # results of its tests
NEEDS_TSHARK = unittest.skipUnless(shutil.which("tshark"), "tshark is not installed")
NEEDS_LAB = unittest.skipUnless((LAB / "onboard").exists(), "the laboratory's tests did not run")
UNIT, BASE, EVERYBODY = "02a700000001", "02ba5e000001", "ffffffffffff"
UNIT_TEXT, BASE_TEXT = (":".join(re.findall("..", mac)) for mac in (UNIT, BASE))
IE_BASE, IE_UNIT = "dd0b027e910000000308010101", "dd0b027e910000000308020101"
PEM = "-----BEGIN PUBLIC KEY-----\nTUlJ\n-----END PUBLIC KEY-----\n".encode().hex()


def frame(kind, to, sender, body):
    return f"{kind}000000{to}{sender}{BASE}0000{body}"


BEACON = frame("80", EVERYBODY, BASE, "00" * 8 + "64001104" + "0004686f6d65" + IE_BASE)
PROBE = frame("40", EVERYBODY, UNIT, "0000" + IE_UNIT)
HELLO = frame("d0", BASE, UNIT, "0409027e911000000d" + IE_UNIT)
BASE_KEY = frame("d0", UNIT, BASE, f"0409027e911001{len(PEM) // 2:04x}" + PEM)
UNIT_KEY = frame("d0", BASE, UNIT, "0409027e9110020200" + "a5" * 512)
CREDENTIALS = frame("d0", UNIT, BASE, "0409027e9110030100" + "5a" * 256)
WAIT = frame("d0", UNIT, BASE, "0409027e911004")
GOOD = [BEACON, PROBE, HELLO, HELLO, BASE_KEY, UNIT_KEY, WAIT, CREDENTIALS]


# A driver's event from the base, with a record as the driver makes it.
def event(kind, data, status=0, oui="001018"):
    name = "wl0".encode().hex().ljust(32, "0")
    return (f"{name}{UNIT * 2}886c8001003600{oui}000100020000{kind:08x}{status:08x}{'0' * 16}"
            f"{len(data) // 2:08x}{BASE}{name}0000{data}")


RECORD = "00" * 20 + BASE + "00" * 58 + "2cd0" + "00" * 42 + "80000000" + "0d000000" + "00" * 4 + IE_BASE
EVENTS = [event(69, RECORD, 8), event(44, "00" * 16 + PROBE), event(59, HELLO[48:]), event(69, "00" * 12, 4),
          event(59, HELLO, oui="506f9a"), event(69, RECORD[:-2], 8)]


# A capture of the frames, given in hexadecimal.
def write_capture(path, frames, *form):
    lines = ["0000 " + " ".join(f[i : i + 2] for i in range(0, len(f), 2)) for f in frames if f]
    subprocess.run(["text2pcap", "-q", *(form or ("-l", "105")), "-", path], check=True,
                   input="\n".join(lines) + "\n", text=True, capture_output=True)


def tshark(capture, *arguments):
    run = subprocess.run(["tshark", "-2", "-r", capture, "-X", f"lua_script:{DISSECTOR}", *arguments],
                         check=True, text=True, capture_output=True)
    assert "Lua" not in run.stdout + run.stderr, run.stderr
    return run.stdout


# One list of texts for each frame; a field that a frame does not have is empty.
def fields(capture, *names):
    columns = ["-e" + (name if name[0] == "_" else "vorlent." + name) for name in names]
    return [line.split("|") for line in tshark(capture, "-Tfields", "-Eseparator=|", *columns).splitlines()]


@NEEDS_TSHARK
class DissectorTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.folder)
        self.capture = self.folder + "/frames.pcap"

    def test_names_what_each_good_frame_is(self):
        write_capture(self.capture, GOOD)
        unit, base = UNIT_TEXT, BASE_TEXT
        self.assertEqual(fields(self.capture, "op", "name", "from", "unit", "base", "ie.prod_id",
                                "data_len", "blocks", "fault", "answer_to", "answered_in", "resent"), [
            ["", "", "", "", base, "1", "", "", "", "", "", ""],
            ["", "", "", unit, "", "2", "", "", "", "", "", ""],
            ["1000", "hello", "unit", unit, base, "2", "13", "", "", "", "", ""],
            ["1000", "hello", "unit", unit, base, "2", "13", "", "", "", "5", "3"],
            ["1001", "base key", "base", unit, base, "", str(len(PEM) // 2), "", "", "4", "6", ""],
            ["1002", "unit key", "unit", unit, base, "", "512", "2", "", "5", "7", ""],
            ["1004", "wait", "base", unit, base, "", "", "", "", "6", "8", ""],
            ["1003", "credentials", "base", unit, base, "", "256", "1", "", "7", "", ""]])

    def test_names_what_the_driver_tells(self):
        write_capture(self.capture, EVENTS, "-u", "49152,55688")
        self.assertEqual(fields(self.capture, "event.interface", "event.type", "event.status", "event.address",
                                "event.record.channel", "op", "ie.prod_id", "event.fault", "fault"), [
            ["wl0", "69", "8", BASE_TEXT, "44", "", "1", "", ""], ["wl0", "44", "0", BASE_TEXT, "", "", "2", "", ""],
            ["wl0", "59", "0", BASE_TEXT, "", "1000", "2", "", ""], ["wl0", "69", "4", BASE_TEXT, "", "", "", "", ""],
            ["", "", "", "", "", "", "", "oui is not 0x1018", ""],
            ["wl0", "69", "8", BASE_TEXT, "44", "", "", "its elements end 1 bytes behind", "The element is cut off: the receiver drops the frame"]])

    def test_says_what_is_wrong_with_a_broken_frame(self):
        texts = (ROOT / "tests/tools/broken-frames.txt").read_text().splitlines()
        broken = dict(line.rsplit(": ", 1) for line in texts if not line.startswith("#"))
        names = {**globals(), "ACTION": frame("d0", BASE, UNIT, "0409027e91")}
        frames = ["".join(names.get(name, name) * int(times or 1) for name, times in
                          re.findall(r"(\w+)(?:\*(\d+))?", body)) for body in broken.values()]
        write_capture(self.capture, frames)
        for expected, faults in zip(broken, fields(self.capture, "fault"), strict=True):
            self.assertIn(expected, faults[0])

    def test_leaves_alone_what_is_not_its_own(self):
        of_others = [good.replace("027e91", "506f9a") for good in GOOD]
        # Encrypted, a fragment, and no management frame.
        write_capture(self.capture, of_others + [kind + HELLO[4:] for kind in ("d040", "d004", "0802")])
        self.assertEqual(tshark(self.capture, "-Y", "vorlent"), "")

    def test_finds_the_end_of_a_frame(self):
        # With radiotap before it and a check sum behind.
        write_capture(self.capture, ["00000c000600000010000000" + WAIT + "11223344"], "-l", "127")
        self.assertEqual(fields(self.capture, "op", "trailing", "fault"), [["1004", "", ""]])
        self.assertIn("misreads it", tshark(self.capture))
        write_capture(self.capture, [UNIT_KEY])
        short = self.capture + ".short"
        subprocess.run(["editcap", "-s", "100", self.capture, short], check=True)
        self.assertEqual(fields(short, "op", "data_len", "fault"), [["1002", "512", ""]])
        self.assertIn("does not hold the whole frame", tshark(short, "-V"))

    def test_reads_any_frame_without_an_error(self):
        chance = random.Random(1)
        hostile = [good[: 2 * n] for good in GOOD for n in range(1, min(len(good) // 2, 330))]
        for good in GOOD * 60:
            raw = bytearray.fromhex(good)
            for _ in range(chance.randint(1, 8)):
                raw[int(len(raw) * chance.random() ** 3)] = chance.choice(b"\0\1\xff\xdd2d")
            hostile.append(raw.hex())
        write_capture(self.capture, hostile)
        self.assertGreater(tshark(self.capture, "-O", "vorlent").count("vorlent onboarding"), 700)
        garbled = [told[: 2 * n] for told in EVENTS for n in range(1, len(told) // 2)]
        for told in EVENTS * 60:
            raw = bytearray.fromhex(told)
            raw[int(len(raw) * chance.random())] ^= 1 << chance.randint(0, 7)
            garbled.append(raw.hex())
        write_capture(self.capture, garbled, "-u", "49152,55688")
        self.assertGreater(tshark(self.capture, "-O", "vorlent").count("vorlent driver event"), 700)

    @NEEDS_LAB
    def test_reads_a_capture_of_the_laboratory(self):
        lines = fields(LAB / "onboard/air.pcapng", "unit", "op", "event.type", "fault", "_ws.malformed")
        for number in "123":
            seen = [op + "".join(more) for unit, op, *more in lines if op and unit.endswith(number)]
            self.assertEqual(seen, [op + heard for op in "1000 1001 1002 1004 1003".split() for heard in ("", "59")])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
