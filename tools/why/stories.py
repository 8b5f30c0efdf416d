"""What both sides of a story have in common: attempts with their steps, and who hears which message."""
import collections
import re

ELEMENT = ("prod_type", "prod_id", "plon_vie_data")  # the values that decide
STEPS_MOST = 40  # of one attempt; more tell nobody anything
LONGEST_CYCLE = 5
HEX = re.compile("[0-9a-f]{4}")
# What could not be written, and the reasons that it is the reason behind.
LOSSES = {
    "nvram-not-written": ("credentials-stored", "ethernet-backhaul", "in-progress", "restarted"),
    "own-key-not-written": ("key-not-usable", "gave-up-waiting-for-1004", "credentials-empty"),
}


def printable(text):
    """A log holds bytes from the air: nothing of it shall act on a terminal."""
    return text if text.isprintable() else "".join(c if c.isprintable() else "?" for c in text)


def shown(text):
    """The text of a log, of which each character is a byte."""
    if text.isascii():
        return text if text.isprintable() else printable(text)
    return printable(text.encode("latin-1", "replace").decode("utf-8", "replace"))


def place_of(place):
    return f"{place[0]}:{place[1]}"


class Attempt:
    """One way of a unit, as one side saw it, up to one outcome."""

    def __init__(self, side, reason="in-progress", base=None):
        self.side, self.reason, self.base = side, reason, base
        self.steps, self.more_steps, self.notes = [], 0, []
        self.facts = collections.Counter()
        self.air = None  # how often each operation stands in the capture

    def step(self, place, text):
        """Adds what happened; a step or a round of steps that comes again is counted."""
        text, steps = shown(text), self.steps
        if steps and steps[-1][1] == text:
            steps[-1][2] += 1
            return
        for size in range(2, min(LONGEST_CYCLE, (len(steps) + 1) // 2) + 1):
            if steps[-size][1] == text and self.is_round(size, text):
                del steps[len(steps) - size + 1:]
                for step in steps[-size:]:
                    step[2] += 1
                return
        if len(steps) < STEPS_MOST:
            steps.append([place_of(place), text, 1])
        else:
            self.more_steps += 1

    def is_round(self, size, text):
        """Whether the last steps and this text are the same as those before them."""
        last = [step[1] for step in self.steps[-2 * size + 1:]] + [text]
        return last[:size] == last[size:]


def says(speaker, form):
    """Has the method called with the values of each message of this operation and format."""
    def mark(method):
        method.hears = getattr(method, "hears", ()) + ((speaker, form),)
        return method
    return mark


class Side:
    """Turns messages into attempts. Each rule is one method: the message, the step, the reason."""

    def __init__(self, place):
        self.place = place  # in the log that is read
        self.element, self.lost, self.trouble = {}, {}, []

    def __init_subclass__(cls):
        methods = [(name, getattr(cls, name)) for name in dir(cls)]
        cls.HEARS = {message: name for name, method in methods for message in getattr(method, "hears", ())}

    def blame_losses(self, attempt):
        for loss, text in self.lost.items():
            if attempt.reason in LOSSES[loss]:
                attempt.reason = loss
                attempt.notes.append(shown(text))

    @says("nvram", "NVRAM is not written: %s%s: %s\n")
    def nvram_lost(self, what, why):
        self.lost["nvram-not-written"] = f"NVRAM is not written: {what}: {why}."

    @says("make_own_key_pair", "the own key pair is not written: %s\n")
    def own_key_lost(self, why):
        self.lost["own-key-not-written"] = f"The own key pair is not written: {why}."

    @says("run_command", "a command took %d seconds: %.*s\n")
    def command_took_long(self, seconds, command):
        self.note_trouble(f"a command took {seconds} s: {command[:60]}")

    @says("vorlent_ie_scan", "no scan: %s cannot be made: %s\n")
    def no_scan(self, path, why):
        self.note_trouble(f"no scan: {path} cannot be made: {why}")

    @says("write_candidate_json", "cannot replace or remove %s: %s\n")
    def no_candidate_file(self, path, why):
        self.note_trouble(f"cannot replace or remove {path}: {why}")

    @says("add_timer", "no timer: %s: %s\n")
    def no_timer(self, what, why):
        self.note_trouble(f"no timer: {what}: {why}")

    def note_trouble(self, text):
        """What the daemon as a whole met, whichever unit it was about."""
        if len(self.trouble) < 20:
            self.trouble.append(f"{place_of(self.place)}: {shown(text)}")

    @says("dump_plon_ie", "prod_type: %02x\n")
    def prod_type(self, value):
        self.element = {"prod_type": value}

    @says("dump_plon_ie", "prod_id: %02x\n")
    def prod_id(self, value):
        self.element["prod_id"] = value

    @says("dump_plon_ie", "plon_vie_data: %02x\n")
    def vie_data(self, value):
        self.element["plon_vie_data"] = value

    def element_text(self):
        return ", ".join(f"{key} {self.element.get(key, '?')}" for key in ELEMENT)


def command_of(command):
    """The station, the number of data bytes and the data of a command that sends a frame."""
    words = command.split(" ", 4)  # wl actframe STATION FRAME [CHANNEL]
    if len(words) < 4 or words[1] != "actframe" or not 1 <= len(words[2]) <= 17:
        return "?", 0, ""
    length, data = words[3][14:18], words[3][18:]
    return words[2], int(length, 16) if HEX.fullmatch(length) else 0, data


class Station:
    """A unit as the base knows it, or the unit whose log it is; its verdict is one of its attempts."""

    WEAK = ("refused-not-a-candidate", "malformed-frame", "never-said-hello", "sealed-for-another-key")

    def __init__(self, name, attempts):
        self.name, self.attempts = name, attempts
        self.asked_again = False  # the capture has it asking after its credentials

    def verdict(self):
        """Frames may come late, by way of a queue or by others' hand: what has only these behind
        its credentials has been sent them all the same."""
        for attempt in reversed(self.attempts):
            if self.asked_again or attempt.reason not in self.WEAK:
                return attempt if attempt.reason == "credentials-sent" else self.attempts[-1]
        return self.attempts[-1]

