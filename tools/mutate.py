#!/usr/bin/env python3
"""Makes one small fault after the other in the code, and looks whether a test fails.

The faults ("mutants") are drawn with a seed: first the kind, from the table KINDS, then the place. They are
made in a copy of the work tree, built there one at a time, and tried by the tests of the table TESTS until
one fails. What no test can tell from the code is named in tests/equivalent_mutants.txt and does not count.

Usage: mutate.py ROOT FOLDER SEED N    (run by script/mutate)
Exit status: 0 when at least 94 of 100 mutants are killed, 1 when fewer are. Of fewer than 100 chance decides
too much: as many may live as would in 99 of 100 draws from code of which 6 of 100 live.
"""
import collections
import math
import os
import pathlib
import random
import re
import resource
import subprocess
import sys
import time

LIVING = 0.06  # the share of mutants that may live
# What asks the kernel for its radio, and the loops around it, are tried by script/real-air alone.
SOURCES = ["src/**/*", "platform/own_file/*", "platform/standin/*", "platform/linux/wire/*", "platform/linux/wl/*",
           "platform/linux/network/[!ms]*", "platform/linux/radio/request_socket.*"]
EQUIVALENTS = "tests/equivalent_mutants.txt"

# What tries a mutant of the files below a path, each test with what it needs built; the first path that fits
# counts. Most unit tests take a tenth of their time with ready keys. The process tests take longest, and come
# where the others see nothing. What the sanitized tests would see of a wrong index, the library's assertions do.
OPTIONS = ["-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_CXX_FLAGS_DEBUG=-O1 -D_GLIBCXX_ASSERTIONS", "-DVORLENT_LAB=OFF",
           "-DVORLENT_JOIN=ON"]
Test = collections.namedtuple("Test", "targets command")
UNIT = [Test("vorlent_tests fixed_key_preload", "env LD_PRELOAD={build}/libfixed_key_preload.so "
             "{build}/tests/vorlent_tests --gtest_filter=-RsaHelpersTest.*"),
        Test("vorlent_tests", "{build}/tests/vorlent_tests --gtest_filter=RsaHelpersTest.*"),
        Test("fault_tests", "{build}/tests/fault_tests")]
STANDIN = [Test("standin_tests nvram", "{build}/tests/standin_tests")]
PROCESS = [Test("process_tests vorlent nvram", "ctest --test-dir {build} -R ^ProcessTest -j2 --stop-on-failure")]
LINUX = [Test("radio_tests", "{build}/tests/radio_tests"), Test("network_tests wl", "{build}/tests/network_tests")]
TESTS = {"src": UNIT + PROCESS, "platform/own_file": UNIT + STANDIN, "platform/standin/ether": UNIT + STANDIN,
         "platform/linux/wire": LINUX, "platform/linux": LINUX[1:], "platform": STANDIN}

Change = collections.namedtuple("Change", "start end text")  # what stands from `start` to `end` becomes `text`
Mutant = collections.namedtuple("Mutant", "file line kind old new text")


class Source:
    """A file's text, its code (what is no code blanked, character for character), and where its texts stand."""

    TOKEN = re.compile(r'//[^\n]*|/\*.*?\*/|^#[^\n]*|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])+\'', re.S | re.M)

    def __init__(self, text):
        self.text, self.texts = text, []
        self.code = self.TOKEN.sub(self.blank, text)

    def blank(self, match):
        if match[0][0] == '"':
            self.texts.append(match.span())
        return re.sub(r"[^\n]", "~" if match[0][0] in "\"'" else " ", match[0])

    def parts(self, opening):
        """The places of what commas part in the brackets at `opening`, and the place of the closing one."""
        depth, begin, found = 0, opening + 1, []
        for at in range(opening, len(self.code)):
            sign = self.code[at]
            depth += (sign in "([{") - (sign in ")]}")
            if depth == 0 or (depth == 1 and sign == ","):
                found.append((begin, at))
                begin = at + 1
            if depth == 0:
                return found, at
        return [], len(self.code)


def constants(source, rng):
    for m in re.finditer(r"(?<![\w.'~])(0[xX][\da-fA-F']+|\d[\d']*)([uUlL]*)(?![\w.'~])", source.code):
        value = int(m[1].replace("'", ""), 16 if m[1][:2] in ("0x", "0X") else 10)
        octal = len(m[1]) > 1 and m[1].isdigit() and m[1][0] == "0"
        if not octal:
            yield Change(*m.span(), str(value + 1 if value == 0 else value + rng.choice([1, -1])) + m[2])


def swapped(*pairs):
    """The words or operators of each pair for each other. clang-format puts blanks around them, and none
    around the < > of templates."""
    other = {a: b for pair in pairs for a, b in (pair, pair[::-1])}
    pattern = re.compile(rf"(?<![^\s(])(?:{'|'.join(map(re.escape, other))})(?![^\s);,])")
    return lambda source, rng: (Change(*m.span(), other[m[0]]) for m in pattern.finditer(source.code))


def conditions(source, rng):
    for m in re.finditer(r"\b(if|while) \(", source.code):
        start, end = m.end(), source.parts(m.end() - 1)[1]
        choice = ["!(" + source.text[start:end] + ")", "false"] + (["true"] if m[1] == "if" else [])
        yield Change(start, end, rng.choice(choice))


def statements(source, rng):
    """Calls, assignments and jumps that stand by themselves."""
    for m in re.finditer(r"(?<=[;{}:)])[ ]*\n\s+((?:\(void\)|static_cast<void>\()?[\w:.>*[\]-]+(?:\(| \S?= )[^;]*;"
                         r"|(?:\+\+|--)[^;]*;|(?:break|continue|return);)(?=\s)", source.code):
        if not re.match(r"static_assert|return \w", m[1]) and not m[1].endswith("= delete;"):
            yield Change(*m.span(1), ";")


def arguments(source, rng):
    for m in re.finditer(r"(?<=\w)(?<!std::min)(?<!std::max)\(", source.code):
        places = source.parts(m.start())[0]
        values = [" ".join(source.text[a:b].split()) for a, b in places]
        at = rng.randrange(max(1, len(values) - 1))
        if len(values) > 1 and (values[at][0] == '"') != (values[at + 1][0] == '"'):
            continue  # a text for something else does not compile
        declared = any(re.fullmatch(r"(?:const )?[\w:<>, ]+[ &*]+\w*", value) for value in values)
        if len(values) > 1 and not declared and values[at] != values[at + 1]:
            yield Change(places[at][0], places[at + 1][1], f"{' ' * (at > 0)}{values[at + 1]}, {values[at]}")


def results(source, rng):
    other = {"0": "1", "-1": "0", "true": "false", "false": "true", "nullptr": None, "{}": None,
             "std::nullopt": None, "UniqueFd()": None}  # which {} stands for
    for m in re.finditer(r"\breturn ([^;]+);", source.code):
        value = other.get(source.text[m.start(1):m.end(1)], "{}")
        if value is not None:
            yield Change(*m.span(1), value)


def text_bytes(source, rng):
    for start, end in source.texts:
        letter = re.compile(r"(?:\\.|%[-+ #*.\d]*[hlz]*[a-zA-Z%])|(.)")
        places = [m.start() for m in letter.finditer(source.text, start + 1, end - 1) if m[1]]
        if places:
            at = rng.choice(places)
            yield Change(at, at + 1, "y" if source.text[at] == "x" else "x")


KINDS = {
    "constant": constants,
    "comparison": swapped(("<", "<="), (">", ">="), ("==", "!=")),
    "operator": swapped(("+", "-"), ("&&", "||"), ("<<", ">>"), ("&", "|"), ("+=", "-="), ("true", "false")),
    "condition": conditions,
    "statement": statements,
    "arguments": arguments,
    "result": results,
    "text": text_bytes,
}


def one_line(text):
    return " ".join(text.split())


def mutant_of(kind, file, text, change):
    """The mutant, with the lines that it changes for a person to read."""
    begin = text.rfind("\n", 0, change.start) + 1
    end = text.find("\n", change.end)
    new = text[begin:change.start] + change.text + text[change.end:end]
    return Mutant(file, text.count("\n", 0, change.start) + 1, kind, one_line(text[begin:end]), one_line(new),
                  text[:change.start] + change.text + text[change.end:])


def draw(root, seed, count):
    """`count` mutants, those of a file one after the other, since a file goes back when the next is built."""
    rng = random.Random(seed)
    drawn = {kind: [] for kind in KINDS}
    for file in sorted(str(path.relative_to(root)) for files in SOURCES for path in root.glob(files)):
        if file.endswith((".cpp", ".h", ".c")):
            source = Source((root / file).read_text())
            for kind, places in KINDS.items():
                drawn[kind] += [(file, source.text, change) for change in places(source, rng)]
    for places in drawn.values():
        rng.shuffle(places)
    kinds = [rng.choice(list(KINDS)) for _ in range(count)]
    return sorted(mutant_of(kind, *drawn[kind].pop()) for kind in kinds if drawn[kind])


def copy_tree(root, tree):
    """Makes `tree` what the work tree is. A file that is the same stays as it is, so that little is built."""
    listed = subprocess.run(["git", "-C", root, "ls-files", "-z", "-co", "--exclude-standard"], check=True,
                            stdout=subprocess.PIPE, text=True).stdout.split("\0")
    files = {name for name in listed if name and (root / name).is_file()}
    for name in files:
        content, copy = (root / name).read_bytes(), tree / name
        if not copy.is_file() or copy.read_bytes() != content:
            copy.parent.mkdir(parents=True, exist_ok=True)
            copy.write_bytes(content)
            copy.chmod((root / name).stat().st_mode)
    for path in list(tree.rglob("*")):
        if path.is_file() and str(path.relative_to(tree)) not in files:
            path.unlink()


class Trial:
    def __init__(self, tree, build):
        self.tree, self.build, self.seconds = tree, build, collections.defaultdict(lambda: 600)

    def builds(self, test):
        return subprocess.run(["ninja", "-C", self.build, *test.targets.split()], stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT).returncode == 0

    def passes(self, test):
        """Whether the test passes in the time that it may take; the cases of one program in two halves at once,
        each in a sandbox."""
        def bound_memory():  # for mutants that never end
            resource.setrlimit(resource.RLIMIT_AS, (1 << 32, 1 << 32))
        command, halves = test.command.format(build=self.build).split(), 1
        if command[0] != "ctest":
            command, halves = [self.tree / "tools/sandbox", self.tree, self.build] + command, 2
        deadline = time.monotonic() + self.seconds[test]
        running = [subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, preexec_fn=bound_memory,
                                    env={**os.environ, "GTEST_FAIL_FAST": "1", "GTEST_TOTAL_SHARDS": str(halves),
                                         "GTEST_SHARD_INDEX": str(half)}) for half in range(halves)]
        try:
            return all(half.wait(max(0, deadline - time.monotonic())) == 0 for half in running)
        except subprocess.TimeoutExpired:
            return False
        finally:
            for half in running:
                half.kill()
                half.wait()

    def measure(self):
        """How long each test takes without a mutant bounds how long it may take with one."""
        subprocess.run(["cmake", "-S", self.tree, "-B", self.build, "-G", "Ninja", *OPTIONS], check=True,
                       stdout=subprocess.DEVNULL)
        for test in {test for tests in TESTS.values() for test in tests}:
            built = self.builds(test)
            begin = time.monotonic()
            if not built or not self.passes(test):
                sys.exit(f"mutate: does not build or fails without a mutant: {test.command.format(build=self.build)}")
            self.seconds[test] = 10 + 5 * (time.monotonic() - begin)

    def outcome(self, mutant):
        tests = next(tests for path, tests in TESTS.items() if mutant.file.startswith(path))
        file = self.tree / mutant.file
        before = file.read_text()
        file.write_text(mutant.text)
        try:
            for test in tests:
                if not self.builds(test):
                    return "not compiled"
                if not self.passes(test):
                    return "killed"
            return "alive"
        finally:
            file.write_text(before)


def known_equivalents(root):
    """The file's lines "FILE: OLD LINE => NEW LINE ## REASON". The new line * stands for each change of the old."""
    return set(re.findall(r"^(\S+): (.+) => (.+) ## .", (root / EQUIVALENTS).read_text(), re.M))


def tolerated(count):
    """How many of `count` mutants may live."""
    allowed = math.floor(LIVING * count)
    def share(living):
        return sum(math.comb(count, n) * LIVING**n * (1 - LIVING)**(count - n) for n in range(living + 1))
    while count < 100 and share(allowed) < 0.99:
        allowed += 1
    return allowed


def main():
    root, folder = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
    seed, count = map(int, sys.argv[3:])
    trial = Trial(folder / "tree", folder / "build")
    copy_tree(root, trial.tree)
    equivalents = known_equivalents(root)
    outcomes = collections.Counter()
    trial.measure()
    for mutant in draw(root, seed, count):
        named = {(mutant.file, mutant.old, new) for new in (mutant.new, "*")} & equivalents
        outcome = "equivalent" if named else trial.outcome(mutant)
        outcomes[outcome] += 1
        print(f"{outcome:13}{mutant.kind:11}{mutant.file}:{mutant.line}: {mutant.old} => {mutant.new}", flush=True)
    tried = outcomes["killed"] + outcomes["alive"]
    print(f"seed {seed}: " + ", ".join(f"{outcomes[key]} {key}" for key in ("killed", "alive", "equivalent", "not compiled")))
    print(f"{tolerated(tried)} of {tried} may live" + ", which says little: fewer than 100" * (tried < 100))
    return 0 if outcomes["alive"] <= tolerated(tried) else 1


if __name__ == "__main__":
    os.nice(10)
    sys.exit(main())
