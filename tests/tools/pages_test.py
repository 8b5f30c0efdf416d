"""The manual pages: well formed, true to the programs, and their examples run.

Usage: pages_test.py [BUILD-FOLDER]
"""
import pathlib
import re
import shutil
import subprocess
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.append(str(ROOT / "tools"))
import why_messages  # noqa: E402

BUILD = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else "build").resolve()
VERSION = re.search(r"VERSION (\S+)", (ROOT / "CMakeLists.txt").read_text().partition("project(")[2])[1]
PAGES = {page.name[:-4]: page.read_text() for page in (ROOT / "docs/man").glob("*.scd")}

FOREIGN = "tests/packaging/foreign_test.sh"
ELSEWHERE = {  # commands that do not stand in .ci/run as they are documented
    "cmake -S . -B build-board": (FOREIGN, '-DVORLENT_PLATFORM="$1"'),
    "script/platform-check /opt": (FOREIGN, '"$source_dir/script/platform-check"'),
    "cmake --preset armhf": ("script/cross", 'cmake --preset "$1"'),
    "build/meshlab run onboard --web": ("tests/lab/web_test.py", "\"--web\""),
    "script/bench --record": (".ci/run", "script/bench"),
}
NAMING = ("src", "platform", "lab", "tools", "script", "packaging", "cmake", "bench", "CMakeLists.txt", "CMakePresets.json")
OTHERS = {"sysctl", "perf", "strace", "ctrl_interface", "nmcli", "systemd-analyze", "managed", "remain_on_channel", "journalctl"}  # what belongs to programs of others
DOCUMENTS = [page for folder in (".", "docs", "docs/man") for page in sorted((ROOT / folder).glob("*.*"))
             if page.suffix in (".md", ".scd")]
MARKED = {".md": r"`([^`\n]+)`", ".scd": r"\*([^*\n]+)\*|(?<![\w\\*])_([^\n]+?)_(?!\w)"}


def section(page, title):
    return re.search(rf"^# {title}\n(.*?)(?=^# |\Z)", PAGES[page], re.M | re.S)[1]


def examples(page, title="EXAMPLES"):
    return re.findall(r"^```\n(.*?)^```", section(page, title), re.M | re.S)


class PagesTest(unittest.TestCase):
    def run_here(self, folder, script, *wrapper):
        """Runs an example in `folder`, with this build's programs on PATH; returns its output."""
        run = subprocess.run([*wrapper, "bash", "-euc", script], cwd=folder, text=True, check=False,
                             stdin=subprocess.DEVNULL, capture_output=True, timeout=100,
                             env={"PATH": f"{BUILD}:/usr/bin:/bin", "HOME": str(folder)})
        self.assertEqual(run.returncode, 0, script + run.stdout + run.stderr)
        return run.stdout

    def setUp(self):
        self.work = BUILD / "pages-work"
        shutil.rmtree(self.work, ignore_errors=True)
        self.work.mkdir()
        self.sandbox = [ROOT / "tools/sandbox", ROOT, BUILD]

    @unittest.skipUnless(shutil.which("mandoc") and (BUILD / "man").exists(), "no mandoc or no scdoc")
    def test_pages_are_well_formed(self):
        for page in PAGES:
            lint = subprocess.run(["mandoc", "-T", "lint", "-W", "warning", BUILD / "man" / page],
                                  text=True, capture_output=True, check=False)
            self.assertEqual(lint.stdout + lint.stderr, "")

    def test_diagnostics_are_messages_of_the_daemon(self):
        def plain(text):
            return re.sub(r"(%[.*\d]*[sdxX])+", "%", text.strip())
        said = {plain(form) for forms in why_messages.all_messages().values() for form in forms}
        shown = re.findall(r"^([*_].*)\n\t", section("vorlent.8", "DIAGNOSTICS"), re.M)
        self.assertGreater(len(shown), 30)
        for message in shown:
            words = re.sub(r"(?<![a-z])_\w+_(?![a-z])", "%s", message).replace("*", "")
            self.assertIn(plain(words), said, message)

    def test_every_option_is_on_its_page(self):
        tools = {"meshlab.1": [BUILD / "meshlab", "run", "--help"], "nvram.1": [BUILD / "nvram", "--help"],
                 "wl.8": [BUILD / "linux/wl", "--help"], "vorlent-radio.8": [BUILD / "linux/vorlent-radio", "--help"],
                 "vorlent-network.8": [BUILD / "linux/vorlent-network", "--help"],
                 "vorlentctl.8": [BUILD / "vorlentctl", "approve", "--help"],
                 "vorlent-why.1": [BUILD / "vorlent-why", "--help"], "wl.8": [BUILD / "linux/wl", "--help"],
                 "vorlent-radio.8": [BUILD / "linux/vorlent-radio", "--help"]}
        for page, command in tools.items():
            if command[0].exists():
                said = subprocess.run([command[0], "--version"], text=True, capture_output=True, check=True).stdout
                self.assertEqual(said, f"{command[0].name} {VERSION}\n")
                text = subprocess.run(command, text=True, capture_output=True, check=True).stdout
                for option in set(re.findall(r"(?<![\w-])--[a-z-]+", text)) - {"--help"}:
                    self.assertIn(f"*{option}*", PAGES[page])

    @unittest.skipUnless((BUILD / "meshlab").exists(), "the laboratory is not built")
    def test_examples_of_the_laboratory_run(self):
        scenario, = examples("meshlab.1", "SCENARIOS")
        (self.work / "own.scenario").write_text(scenario)
        self.run_here(self.work, "meshlab run --json --out own ./own.scenario")
        for example in examples("meshlab.1"):
            self.assertIn("installed", self.run_here(self.work, example))
        for example in examples("vorlent-why.1"):
            said = self.run_here(self.work / "results", example)
            self.assertIn("02:a7:00:00:00:01 credentials-sent", said)
            self.assertIn("the unit's side): installed", said)
        said = self.run_here(self.work / "results", f"vorlent-why --daemon {BUILD}/vorlent unit-1.log")
        self.assertIn(f"The daemon is of version {VERSION}.", said)

    @unittest.skipUnless((BUILD / "nvram").exists(), "another platform's libraries")
    def test_examples_of_daemon_and_store_run(self):
        for page, expected in {"vorlent.8": "2\n", "nvram.1": "02:a7:00:00:00:01 02:a7:00:00:00:02\n"}.items():
            for example in examples(page):
                self.assertEqual(self.run_here(self.work, example, *self.sandbox), expected)
        log = self.work / "vorlent_dbg.log"
        self.assertIn("Got SIGUSR2 to extend all candidate's timer", log.read_text(errors="replace"))

    def test_every_command_of_the_documents_is_run(self):
        for page in DOCUMENTS:
            for command in re.findall(r"(?:^|`)((?:script/|cmake |build/meshlab )\w[^`\n#]*)", page.read_text(), re.M):
                file, text = next((place for start, place in ELSEWHERE.items() if command.startswith(start)),
                                  (".ci/run", re.sub(" [A-Z]+$", "", command.strip())))
                self.assertIn(text, (ROOT / file).read_text(), f"{page}: {command}")

    def test_documents_name_nothing_that_is_not_there(self):
        files = [file for part in NAMING for file in (ROOT / part, *(ROOT / part).rglob("*")) if file.is_file()]
        known = set(re.findall(r"[\w-]+", "".join(f"{file} {file.read_text(errors='replace')}" for file in files)))
        for page in DOCUMENTS:
            text = page.read_text()
            gone = {link for link in re.findall(r"\]\(([^)#:]+)", text) if not (page.parent / link).exists()}
            marked = "\n".join(map("".join, re.findall(MARKED[page.suffix], text))).replace("\\", "")
            for name in re.findall(r"(?<![\w$])-{0,2}[a-z][\w./-]+[a-z\d]\b(?!\*)", marked):
                top, _, below = name.partition("/")
                if not ((ROOT / name).exists() if below and top in (*NAMING, "docs", "tests", "fuzz")
                        else name.split("/")[-1].split(".")[0] in known | OTHERS):
                    gone.add(name)
            self.assertEqual(gone, set(), page)

    def test_buildroot_has_the_version_of_the_project(self):
        version = re.search(r"project\(vorlent VERSION ([\d.]+)", (ROOT / "CMakeLists.txt").read_text())[1]
        self.assertIn(f"VORLENT_VERSION = {version}\n", (ROOT / "packaging/buildroot/vorlent/vorlent.mk").read_text())

    def test_scripts_say_how_they_are_used(self):
        for script in sorted(set((ROOT / "script").iterdir()) - {ROOT / "script/lib.sh"}):
            for word, status in {"--zork": 2, "--help": 0}.items():
                run = subprocess.run([script, word], text=True, capture_output=True, check=False)
                said = (run.stderr, run.stdout)[word == "--help"]
                self.assertEqual(run.returncode, status, script)
                self.assertRegex(said, rf"(?m)^Usage: script/{script.name}\b" + (r"[^\0]*^Exit status: 0 .* 2 wrong use\.$" if not status else ""))
                self.assertTrue(status == 0 or said.startswith(f"{script.name}: --zork"), said)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
