"""The sweep, over a meshlab that answers at once, hangs, crashes or refuses, as the seed says."""
import json
import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import time
import unittest

SWEEP = pathlib.Path(sys.argv.pop(1))
sys.path.insert(0, str(SWEEP))
import sweep_table  # noqa: E402

MESHLAB = """#!/bin/sh
[ "$1" != keys ] || exit 0
seed=$5 out=$7; mkdir -p "$out"; echo "$*" >> "$CALLS"
[ "$seed" != 7 ] || { trap 'for i in 1 2 3 4 5; do echo $i; echo $i >&2; done; exit 143' TERM; sleep 60 & wait; }
[ "$seed" != 8 ] || kill -SEGV $$
[ "$seed" != 9 ] || { echo "meshlab: no such scenario" >&2; exit 2; }
echo '[{"what":"frame","operation":1000},{"what":"mode"}]' > "$out/timeline.json"
printf '{"seed":%s,"units":[{"unit":"base"},{"unit":"unit-1","outcome":"in","first_handshake":"completed",' "$seed"
[ "$seed" = 3 ] && echo '"gave_up":1,"give_ups":{"1000 lost":1}}]}' || echo '"gave_up":0,"credentials":1.5,"installed":2.5}]}'
[ "$seed" != 3 ]
"""


class SweepTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        (self.folder / "meshlab").write_text(MESHLAB)
        (self.folder / "meshlab").chmod(0o755)

        self.environment = {**os.environ, "MESHLAB": str(self.folder / "meshlab"), "CALLS": str(self.folder / "calls")}

    def sweep(self, *words):
        return subprocess.run([sys.executable, "-B", SWEEP / "meshlab_sweep.py", *words], cwd=self.folder,
                              env=self.environment, capture_output=True, text=True)

    def test_goes_on_behind_a_torn_line_and_counts_what_hangs_or_crashes(self):
        words = ("air", "--seeds", "1..8", "--set", "loss=10..30/20", "--deadline", "1", "--out", "o")
        run = self.sweep(*words)
        self.assertEqual(run.returncode, 1, run.stderr)
        lines = (self.folder / "o/runs.jsonl").read_text().splitlines(keepends=True)
        self.assertEqual(len(lines), 16)
        results = sorted(json.loads(line)["result"] for line in lines)
        self.assertEqual([results.count(word) for word in ("as expected", "failed", "hung", "not as expected")], [10, 2, 2, 2])
        self.assertIn("air       loss=10  8     83.3 % (43.6 to 97.0)", run.stdout.replace("  83.3", " 83.3"))
        self.assertIn("air loss=30: 1 of 8 runs hung", run.stdout)
        self.assertIn("air loss=30: 1 give-ups: 1000 lost\n", run.stdout)
        self.assertRegex((self.folder / "o/sweep.html").read_text(), "Give-ups: 1000 lost</h2>.*<polyline")
        kept = [line for line in lines if '"hung"' not in line]
        (self.folder / "o/runs.jsonl").write_text("".join(kept)[:-9])
        (self.folder / "calls").unlink()
        self.sweep(*words)
        self.assertEqual(len((self.folder / "calls").read_text().splitlines()), 3)

    def test_shards_make_the_whole_and_a_regression_is_said(self):
        for shard in ("1/2", "2/2"):
            self.sweep("air", "--seeds", "1..6", "--shard", shard, "--out", shard[0])
        merged = self.sweep("--merge", "1", "2", "--out", "m")
        self.assertIn("83.3 %", merged.stdout)
        self.assertEqual(self.sweep("air", "--seeds", "3..3", "--keys", "k", "--out", "x").returncode, 0)
        self.assertIn("--keys k\n", (self.folder / "calls").read_text())
        record = json.loads((self.folder / "x/runs.jsonl").read_text())
        (self.folder / "x/runs.jsonl").write_text("".join(json.dumps(record | {"seed": i}) + "\n" for i in range(20)))
        self.assertEqual(record["keys"], f"from {self.folder.resolve()}/k")
        run = self.sweep("--merge", "x", "--against", "m", "--out", "y")
        self.assertIn("as it is, ready keys: units in fell from", run.stdout, run.stderr)
        other = self.sweep("air", "--set", "loss=5", "--against", "m", "--out", "z")
        self.assertTrue(other.stdout.endswith("air loss=5: the earlier sweep has no such point\n"), other.stdout)

    def test_wrong_use_is_one_line_and_runs_nothing_more(self):
        run = self.sweep("air", "--seeds", "7..99", "--jobs", "3", "--out", "o")
        self.assertEqual((run.returncode, run.stderr.splitlines()[-1]), (2, "meshlab: no such scenario"))
        self.assertLess(len((self.folder / "calls").read_text().splitlines()), 30)
        for words in (("air", "--seeds", "5..1"), ("air", "--shard", "3/2"), ("air", "--set", "x=1"), ()):
            self.assertEqual(self.sweep(*words).returncode, 2, words)

    def test_an_interruption_ends_the_runs_and_says_how_to_go_on(self):
        words = [sys.executable, "-B", SWEEP / "meshlab_sweep.py", "air", "--seeds", "7..99", "--jobs", "1", "--out", "o"]
        sweep = subprocess.Popen(words, cwd=self.folder, env=self.environment, stderr=subprocess.PIPE, text=True)
        while not (self.folder / "calls").exists():
            time.sleep(0.05)
        sweep.send_signal(signal.SIGINT)
        self.assertEqual(sweep.communicate(timeout=20)[1], "meshlab sweep: interrupted; the same command goes on from here\n")
        self.assertEqual((sweep.returncode, (self.folder / "o/runs.jsonl").read_text()), (130, ""))

    def test_intervals_and_percentiles(self):
        low, high = sweep_table.wilson(15, 15)  # by hand: 1 / (1 + 3.8415 / 15)
        self.assertAlmostEqual(low, 0.7961, 4)
        self.assertEqual(high, 1)
        self.assertEqual([sweep_table.percentile([3, 1, 2, 4], p) for p in (50, 90, 100)], [2, 4, 4])
        firsts = [sweep_table.firsts_text({"first_completed": n, "firsts": 15, "reckoned": 0.98}) for n in (15, 12)]
        self.assertEqual(firsts, ["100.0 % (79.6 to 100.0), reckoned 98.0", " 80.0 % (54.8 to 93.0), NOT AS RECKONED, 98.0"])
        self.assertIsNone(sweep_table.percentile([], 50))


if __name__ == "__main__":
    unittest.main()
