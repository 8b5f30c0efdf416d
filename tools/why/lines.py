"""From the bytes of a debug log to the messages that somebody wants to hear of.

A log is read in blocks and line by line. Most lines come again and again, so what a line says is
kept: a log costs as much as its different lines, and memory stays the same however long it is. Texts
from the air stand in it as they came, so no expression below may take longer than its line is long.
A byte is a character here, since nothing else is as quick; `shown` of the stories makes text of them.
"""
import itertools
import re

from messages import MESSAGES

HEAD = re.compile(r"\[([a-zA-Z_]\w*)\]\[\d{1,9}\]")  # on standard output behind "[onboarding]"
BLOCK = 1 << 20
LONGEST = 8192  # of one message; what is behind it is not looked at
KEPT_LINE, KEPT_LINES = 200, 20000
CHANNEL = re.compile(r"channel: (\d{1,10})$")
CHANNEL_LINE = ("", "channel: %d\n")  # the one second line of a message that somebody wants
NO_HEAD = ()  # what a line says that is a message's second or later one
CONVERSION = re.compile(r"((?:%(?:\.\*)?s)+)|%0?\d?l?([dxX])")
NUMBERS = {"d": r"(-?\d{1,10})", "x": "([0-9a-f]{1,8})", "X": "([0-9A-F]{1,8})"}


def pattern_of(form):
    """The expression for the first line of a message with this printf format."""
    first, line_feed, _ = form.partition("\n")
    first = first.rstrip()
    pattern, end = "", 0
    for place in CONVERSION.finditer(first):
        pattern += re.escape(first[end:place.start()])
        end = place.end()
        if place[2]:
            pattern += NUMBERS[place[2]]
        elif end == len(first):
            pattern += "(.*)"
        elif first[:place.start()].endswith("STA: "):
            pattern += r"(\S{0,17}?)"
        else:
            pattern += "(.{0,40}?)"
    return pattern + re.escape(first[end:]) + (r"\s*$" if line_feed else "")


class Speaker:
    """What one operation can say."""

    def __init__(self, name):
        # A text that may be anything comes last.
        self.forms = sorted(MESSAGES.get(name, []) + MESSAGES["*"], key=lambda form: form[0] == "%")
        named = [f"(?P<m{i}>{pattern_of(form)})" for i, form in enumerate(self.forms)]
        self.any = re.compile("|".join(named), re.S)

    def understand(self, text):
        """The format of the text and its values; None where this operation says no such thing."""
        found = self.any.match(text, 0, LONGEST)
        if not found:
            return None, ()
        group = self.any.groupindex[found.lastgroup]
        count = self.any.groups - group
        values = []
        for value in found.groups()[group:group + count]:
            if value is None:
                break
            values.append(value)
        return self.forms[int(found.lastgroup[1:])], tuple(values)

    def is_cut(self, text):
        """Whether the text is the beginning of something that this operation says."""
        return any(len(text) < len(form) and form.split("%")[0].startswith(text) for form in self.forms)


class Log:
    """Reads one log after the other; `wanted` holds the (operation, format) that somebody wants."""

    def __init__(self, wanted):
        self.wanted, self.speakers, self.kept, self.pieces = wanted, {}, {}, {}
        # A rule for what no source says any longer would be silent for ever.
        missing = [(speaker, form) for speaker, form in wanted if (speaker, form) != CHANNEL_LINE and
                   form not in MESSAGES.get(speaker, []) + MESSAGES["*"]]
        assert not missing, f"no source says {missing}"
        self.begin()

    def begin(self):
        """Before the first part of a log."""
        self.known, self.unknown, self.no_text = False, 0, 0
        self.first_unknown, self.damage, self.last_form = None, [], ""

    def read(self, name, file):
        """Yields (number, events) of each line that has some, an event being ((operation, format), values)."""
        number, rest, is_first = 0, "", not self.known
        while block := file.read(BLOCK):
            lines = (rest + block.decode("latin-1")).split("\n")
            rest = lines.pop()
            if len(rest) > BLOCK:
                lines.append(rest)
                rest = ""
            self.count_no_text(block, lines)
            if is_first and lines:
                self.look_at_beginning(name, lines[0])
                is_first = False
            for number, line, events in zip(itertools.count(number + 1), lines, map(self.kept.get, lines)):
                if events is None:
                    events = self.look_at(line, name, number)
                if events is not NO_HEAD:
                    self.known = True
                    if events:
                        yield number, events
        if rest:
            yield number + 1, self.look_at(rest, name, number + 1)
            if self.last_form is None or self.last_form.endswith("\n"):
                self.damage.append(f"{name} ends in the middle of a message")

    def count_no_text(self, block, lines):
        self.no_text += block.count(0)
        if not block.isascii():
            for line in itertools.filterfalse(str.isascii, lines):
                self.no_text += line.encode("latin-1").decode("utf-8", "replace").count("\ufffd")

    def look_at_beginning(self, name, line):
        starts = HEAD.match(line.removeprefix("[onboarding]")) or line.startswith(("{", "[platform]"))
        if not starts and HEAD.search(line, 0, LONGEST) is None and line.strip("\0"):
            self.damage.append(f"{name} begins in the middle of a message")

    def look_at(self, line, name, number):
        parts = HEAD.split(line) if "[" in line else [line]
        events, is_clean = [], True
        for speaker, text in zip(parts[1::2], parts[2::2]):
            form, values = self.understand(speaker, text)
            self.last_form = form
            if form is None:
                is_clean = False
                self.miss(speaker, text, f"{name}:{number}")
            else:
                self.known = True
                if (speaker, form) in self.wanted:
                    events.append(((speaker, form), values))
        if len(parts) == 1:
            self.last_form = ""
            found = CHANNEL.match(line)
            events = [(CHANNEL_LINE, found.groups())] if found else NO_HEAD
        if is_clean and len(line) < KEPT_LINE:
            if len(self.kept) > KEPT_LINES:
                self.kept.clear()
            self.kept[line] = events
        return events

    def understand(self, name, text):
        said = self.pieces.get((name, text))
        if said is None:
            speaker = self.speakers.get(name)
            if speaker is None:
                if name not in MESSAGES:
                    return None, ()
                speaker = self.speakers[name] = Speaker(name)
            said = speaker.understand(text)
            if len(text) < KEPT_LINE:
                if len(self.pieces) > KEPT_LINES:
                    self.pieces.clear()
                self.pieces[name, text] = said
        return said

    def miss(self, name, text, place):
        if name in self.speakers and self.speakers[name].is_cut(text):
            self.damage.append(f"{place}: a message is cut")
            del self.damage[20:]
        else:
            self.unknown += 1
            self.first_unknown = self.first_unknown or place
