#!/usr/bin/env python3
"""A life of the daemon full of trouble, drawn from a seed.

In a sandbox with a small /tmp of its own the daemon gets random driver events, settings and signals in
all modes, while the disk fills up, locks are held, files are planted, commands hang and descriptors run
out. It must be alive at the end and serve a unit, with its memory and descriptors flat, its trouble told
and not repeated, no planted file's target touched, and no setting lost. Then come floods of events, each in
one life without trouble: what is kept of each event shows there, be it a leak to the sanitizers or not.

Usage: soak.py VORLENT NVRAM FOLDER MINUTES SEED    (run by script/soak, inside the sandbox)
"""
import collections
import ctypes
import errno
import fcntl
import os
import pathlib
import random
import re
import resource
import shutil
import signal
import socket
import struct
import subprocess
import sys
import time

PORT = ("127.0.0.1", 55688)
FIXED_NAMES = ["vorlent_dbg.log", "vexo_onborading.json", "rsa_pri.pem", "rsa_pub.pem", "escanresults_log"]
TOLD = re.compile(r"\[onboarding\].*(no timer:|no scan:|cannot be|not written|took \d+ s)")
TOLD_MOST = 12  # lines of one kind of trouble in one period of it
ELEMENT = bytes.fromhex("dd0b027e910000000308020101")
BASE_ELEMENT = bytes.fromhex("dd0b027e910000000308010101")
UNIT, BASE = bytes.fromhex("02a700000001"), bytes.fromhex("02ba5e000001")


def event(kind, station, data, status=0):
    name = b"wl0".ljust(16, b"\0")
    message = struct.pack(">HHIIIII6s16sBB", 2, 0, kind, status, 0, 0, len(data), station, name, 0, 0)
    head = name + bytes(12) + struct.pack(">HHHB3sH", 0x886C, 0x8001, 82, 0, b"\0\x10\x18", 1)
    return head + message + data.ljust(2, b"\0")


def probe(station, element=ELEMENT):
    return event(44, station, bytes(40) + element)


def action(station, operation, data):
    return event(59, station, bytes.fromhex("0409027e91") + struct.pack(">HH", operation, len(data)) + data)


def scan_result(station, element=BASE_ELEMENT):
    record = bytearray(128)
    struct.pack_into("<I6s", record, 4, 128 + len(element), station)
    struct.pack_into("<H", record, 72, 0x1006)
    struct.pack_into("<H2xI", record, 116, 128, len(element))
    return event(69, station, bytes(12) + bytes(record) + element, 8)


SEARCHING = {"blank_state": "1", "onboarding_role": "0", "wan_status": "down", "map_agent_configured": "0"}
BEGINNINGS = [SEARCHING, SEARCHING, SEARCHING, SEARCHING | {"onboarding_role": "2"}, SEARCHING | {"onboarding_role": "3"},
              SEARCHING | {"onboarding_role": "4"}, {"blank_state": "0", "multiap_mode": "3", "enable_mesh_mode": "1"},
              {"blank_state": "0", "multiap_mode": "2", "enable_mesh_mode": "2", "mesh_role": "satallite"}]
LOADED = 16384  # KiB of a sanitized base that has used its keys
FLOODS = {"searching unit": SEARCHING, "base": BEGINNINGS[6]}
FLOOD = 10000  # events, after as many for the heap to get its size
KEPT_MOST = 100  # bytes of each, which the sanitizers' heap grows by at the most where nothing is kept


class Wrong(Exception):
    """What the daemon did and must not."""


class Soak:
    def __init__(self, vorlent, nvram, folder, chance):
        self.vorlent, self.nvram, self.folder, self.chance = vorlent, nvram, pathlib.Path(folder), chance
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.daemon = None
        self.lives = self.counter = 0
        self.memory, self.troubles = [], collections.Counter()
        self.output_at = 0

    # The daemon's life.
    def start(self):
        with open(self.folder / "stdout", "ab") as output:
            subprocess.run([self.vorlent], stdin=subprocess.DEVNULL, stdout=output, stderr=output, check=False)
        children = pathlib.Path(f"/proc/self/task/{os.getpid()}/children").read_text().split()
        self.daemon = next((int(child) for child in children if self.is_daemon(child)), None)
        self.lives += 1

    def is_daemon(self, pid):
        """A command that a killed daemon leaves behind is our child, too."""
        try:
            return os.readlink(f"/proc/{pid}/exe") == os.path.realpath(self.vorlent)
        except OSError:
            return False  # it is over

    def see_to(self):
        """Starts the daemon again where it ended as it may; anything else is wrong."""
        if self.daemon is None:
            self.start()
            return
        pid, status = os.waitpid(self.daemon, os.WNOHANG)
        if pid == 0:
            return
        if status != 0 and not (os.WIFSIGNALED(status) and os.WTERMSIG(status) == signal.SIGTERM):
            raise Wrong(f"the daemon ended with status {status:#x}")
        self.start()

    def set(self, key, value):
        return subprocess.run([self.nvram, "set", f"{key}={value}"], capture_output=True, check=False).returncode == 0

    def get(self, key):
        return subprocess.run([self.nvram, "get", key], capture_output=True, check=False).stdout.decode().rstrip("\n")

    def send(self, datagram):
        try:
            self.socket.sendto(datagram, PORT)
        except OSError:
            pass  # nobody listens just now

    # What happens to any daemon.
    def some_event(self, operations=(0x1001, 0x1002, 0x1003, 0x1004, 0x1005)):
        station = self.chance.choice([UNIT, BASE, self.chance.randbytes(6)])
        noise = self.chance.randbytes(self.chance.choice([0, 13, 256, 1024, 1800]))
        datagram = self.chance.choice([
            lambda: probe(station), lambda: scan_result(BASE), lambda: action(station, 0x1000, ELEMENT),
            lambda: action(station, self.chance.choice(operations), noise),
            lambda: self.chance.randbytes(self.chance.randrange(1, 1500)),
            lambda: probe(station, noise[:200])])()
        if self.chance.random() < 0.2:
            datagram = datagram[:self.chance.randrange(len(datagram))]
        self.send(datagram)

    def some_setting(self):
        key, values = self.chance.choice([
            ("blank_state", "01111"), ("multiap_mode", "23"), ("enable_mesh_mode", "12"), ("map_agent_configured", "0001"),
            ("mesh_role_manual", ["base", "uncfg"]), ("onboarding_soap_active", "1"), ("wan_status", ["up", "down", "down", "down"]),
            ("mesh_role", ["satallite", "base"]), ("candidate_satellites", ["02:a7:00:00:00:01", ""])])
        self.set(key, self.chance.choice(values))

    def some_signal(self):
        if self.daemon:
            os.kill(self.daemon, self.chance.choice([signal.SIGUSR1, signal.SIGUSR2]))

    def count_up(self):
        """A setting of our own, which nobody else writes: what was set is there, whoever writes too."""
        if self.set("soak_counter", self.counter + 1):
            self.counter += 1
        if self.get("soak_counter") not in (str(self.counter), ""):
            raise Wrong(f"soak_counter is {self.get('soak_counter')} instead of {self.counter}")

    # Trouble, and its end.
    def full_disk(self):
        with open("/tmp/filler", "wb", buffering=0) as filler:
            try:
                while True:
                    filler.write(bytes(4096))
            except OSError as full:
                if full.errno != errno.ENOSPC:
                    raise
        return lambda: os.unlink("/tmp/filler")

    def held_lock(self):
        lock = os.open("/tmp/vexo_nvram.lock", os.O_RDWR | os.O_CREAT | os.O_CLOEXEC, 0o600)
        try:
            fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            pass
        return lambda: os.close(lock)

    def planted_file(self):
        path, victim = pathlib.Path("/tmp", self.chance.choice(FIXED_NAMES)), self.folder / "victim"
        victim.write_text("not to be touched\n")
        path.unlink(missing_ok=True) if not path.is_dir() else shutil.rmtree(path)
        kind = self.chance.choice(["link", "pipe", "folder"])
        {"link": lambda: path.symlink_to(victim), "pipe": lambda: os.mkfifo(path),
         "folder": lambda: (path.mkdir(), (path / "full").touch())}[kind]()

        def end():
            if victim.read_text() != "not to be touched\n":
                raise Wrong(f"what a link at {path} led to was written to")
            if path.is_dir() and not path.is_symlink():
                shutil.rmtree(path)
        return end

    def hung_command(self):
        (self.folder / "hang").touch()
        return (self.folder / "hang").unlink

    def no_descriptors(self):
        pid = self.daemon
        if pid is None:
            return lambda: None
        old = resource.prlimit(pid, resource.RLIMIT_NOFILE, (5, resource.getrlimit(resource.RLIMIT_NOFILE)[1]))

        def end():
            try:
                resource.prlimit(pid, resource.RLIMIT_NOFILE, old)
            except ProcessLookupError:
                pass  # it ended for a restart meanwhile
        return end

    def sudden_end(self):
        """The next life begins in another mode."""
        for key, value in self.chance.choice(BEGINNINGS).items():
            self.set(key, value)
        if self.daemon:
            os.kill(self.daemon, signal.SIGTERM)
        return lambda: None

    def new_output(self):
        with open(self.folder / "stdout", "rb") as output:
            output.seek(self.output_at)
            text = output.read()
        self.output_at += len(text)
        return text.decode(errors="replace")

    def pass_trouble(self):
        trouble = self.chance.choice([self.full_disk, self.held_lock, self.planted_file, self.hung_command,
                                      self.no_descriptors, self.sudden_end])
        self.troubles[trouble.__name__] += 1
        self.new_output()
        end = trouble()
        try:
            self.live(self.chance.uniform(0.3, 4), counting=False)
        finally:
            end()
        told = collections.Counter(re.sub(r"\d+", "N", line) for line in self.new_output().splitlines() if TOLD.search(line))
        for line, times in told.items():
            if times > TOLD_MOST:
                raise Wrong(f"told {times} times within {trouble.__name__}: {line}")

    def live(self, duration, counting=True):
        until = time.monotonic() + duration
        while time.monotonic() < until:
            self.see_to()
            deeds = [self.some_event] * 20 + [self.some_setting] * 3 + [self.some_signal]
            self.chance.choice(deeds + [self.count_up] * counting)()
            time.sleep(self.chance.uniform(0, 0.03))

    def measure(self):
        """Memory in KiB and open descriptors of a daemon that has lived for a while."""
        try:
            pages = int(pathlib.Path(f"/proc/{self.daemon}/statm").read_text().split()[1])
            descriptors = len(os.listdir(f"/proc/{self.daemon}/fd"))
        except (OSError, ValueError):
            return
        if descriptors > 14:
            raise Wrong(f"{descriptors} descriptors are open")
        self.memory.append(pages * 4)

    def begin_in(self, beginning):
        for key, value in beginning.items():
            self.set(key, value)
        subprocess.run([self.nvram, "unset", "mesh_role_manual"], check=False)
        for _ in range(2):  # the first life may have been in any mode
            if self.daemon:
                os.kill(self.daemon, signal.SIGTERM)
                os.waitpid(self.daemon, 0)
            self.start()

    def flood(self, mode):
        """Events as fast as they are taken. Returns how many bytes of each the daemon keeps."""
        def send(count):
            for i in range(count):
                self.some_event((0x1001, 0x1002, 0x1004, 0x1005))  # 1003 may end a unit's life
                deadline = time.monotonic() + 30
                while i % 50 == 0 and re.search(r":D988 .*? [\dA-F]{8}:(?!0{8})", pathlib.Path("/proc/net/udp").read_text()):
                    if time.monotonic() > deadline:
                        raise Wrong("events are not taken")
                    time.sleep(0.002)

        def heap():
            status = pathlib.Path(f"/proc/{self.daemon}/status").read_text()
            return 1024 * int(re.search(r"RssAnon:\s+(\d+)", status)[1])
        self.begin_in(FLOODS[mode])
        send(FLOOD)
        before = heap()
        send(FLOOD)
        kept = (heap() - before) // FLOOD
        if kept > KEPT_MOST:
            raise Wrong(f"a {mode} keeps {kept} bytes of each event")
        return kept

    def serve_at_the_end(self):
        self.begin_in(FLOODS["base"])
        commands = self.folder / "commands"
        deadline = time.monotonic() + 30
        while time.monotonic() < deadline:
            commands.write_text("")
            self.see_to()
            self.send(probe(UNIT))
            self.send(action(UNIT, 0x1000, ELEMENT))
            time.sleep(1)
            if "actframe 02:a7:00:00:00:01 0409027e911001" in commands.read_text():
                return
        raise Wrong("a unit got no answer at the end")

    def run(self, minutes):
        self.set("vorlent_dbg", "1")
        self.set("blank_state", "1")
        until = time.monotonic() + 60 * minutes
        while time.monotonic() < until:
            self.live(self.chance.uniform(0.5, 3))
            self.measure()
            self.pass_trouble()
        self.serve_at_the_end()
        third = len(self.memory) // 3
        first, last = max(self.memory[:2 * third + 1]), max(self.memory[-third - 1:])
        if last > 1.25 * max(first, LOADED):  # a short run may have had no base before
            raise Wrong(f"memory grew from {first} to {last} KiB")
        kept = ", ".join(f"{self.flood(mode)} bytes of each event kept by a {mode}" for mode in FLOODS)
        if list(self.folder.glob("sanitizer*")):
            raise Wrong("the sanitizers have something to say: " + str(next(self.folder.glob("sanitizer*"))))
        troubles = ", ".join(f"{count} {name.replace('_', ' ')}" for name, count in sorted(self.troubles.items()))
        print(f"{self.lives} lives, {troubles}; {self.counter} settings counted; {first} to {last} KiB; {kept}. All is well.")


def main():
    vorlent, nvram, folder, minutes, seed = sys.argv[1:]
    ctypes.CDLL(None).prctl(36, 1, 0, 0, 0)  # PR_SET_CHILD_SUBREAPER: the detached daemon is ours to wait for
    soak = Soak(vorlent, nvram, folder, random.Random(int(seed)))
    try:
        soak.run(float(minutes))
    except Wrong as wrong:
        sys.exit(f"soak: {wrong} (seed {seed}; what it printed: {folder}/stdout)")


if __name__ == "__main__":
    main()
