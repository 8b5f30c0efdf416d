"""From the bytes of a debug log to the messages that somebody wants to hear of.

A log is read in blocks and line by line. Most lines come again and again, so what a line says is
kept: a log costs as much as its different lines, and memory stays the same however long it is. Texts
from the air stand in it as they came, so no expression below may take longer than its line is long.
A byte is a character here, since nothing else is as quick; `shown` of the stories makes text of them.
"""
import itertools
import operator
import re

from messages import MESSAGES

HEAD = re.compile(r"\[([a-zA-Z_]\w*)\]\[\d{1,9}\]")  # on standard output behind "[onboarding]"
BLOCK = 1 << 18
LONGEST = 8192  # of one message; what is behind it is not looked at
KEPT_LINE, KEPT_LINES = 200, 20000
CHANNEL = re.compile(r"channel: (\d{1,10})$")
CHANNEL_LINE = ("", "channel: %d\n")  # the one second line of a message that somebody wants
NO_HEAD = ()  # what a line says that is a message's second or later one
MISSED = ("", "")  # the message of what no source says
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
        # Most first lines are always the same, and need no expression.
        self.same, self.others = {}, []
        for form in self.forms:
            first, line_feed, _ = form.partition("\n")
            if line_feed and "%" not in first:
                self.same.setdefault(first.rstrip(), form)
            else:
                self.others.append((first.partition("%")[0].rstrip(), form))
        self.expressions = {}

    def understand(self, text):
        """The format of the text and its values; None where this operation says no such thing."""
        if same := self.same.get(text.rstrip()):
            return same, ()
        for begin, form in self.others:
            if text.startswith(begin):
                if form not in self.expressions:
                    self.expressions[form] = re.compile(pattern_of(form), re.S)
                if found := self.expressions[form].match(text, 0, LONGEST):
                    return form, found.groups()
        return None, ()

    def is_cut(self, text):
        """Whether the text is the beginning of something that this operation says."""
        return any(len(text) < len(form) and form.split("%")[0].startswith(text) for form in self.forms)


class Log:
    """Reads one log after the other; `wanted` holds the (operation, format) that somebody wants."""

    def __init__(self, wanted):
        self.wanted, self.speakers, self.kept = wanted, {}, {}
        self.place = ["", 0]  # the part of the log, and the number of the line
        # A rule for what no source says any longer would be silent for ever.
        missing = [(speaker, form) for speaker, form in wanted if (speaker, form) != CHANNEL_LINE and
                   form not in MESSAGES.get(speaker, []) + MESSAGES["*"]]
        assert not missing, f"no source says {missing}"
        self.begin({})

    def begin(self, listeners):
        """Before the first part of a log; `listeners` are those of each message."""
        self.listeners = listeners | {MISSED: [self.miss]}
        self.known, self.unknown, self.no_text = False, 0, 0
        self.first_unknown, self.damage = None, []

    def read(self, name, file):
        """Calls the listeners with the values of each message; `place` is where it stands."""
        rest, is_first = "", not self.known
        self.place[:] = name, 0
        number = 1
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
            self.tell(lines, number)
            number += len(lines)
        if rest:
            self.tell([rest], number)
            if not self.may_end(rest):
                self.damage.append(f"{name} ends in the middle of a message")

    def tell(self, lines, number):
        """Looks at each different line once; those that say nothing to anybody cost next to nothing."""
        if len(self.kept) > KEPT_LINES:
            self.kept.clear()
        different, kept, place, listeners = set(lines), self.kept, self.place, self.listeners
        new = {line: self.look_at(line) if "[" in line or line.startswith("channel: ") else NO_HEAD
               for line in different.difference(kept)}
        kept.update(new)
        self.known = self.known or any(kept[line] is not NO_HEAD for line in different)
        for place[1], events in filter(operator.itemgetter(1), enumerate(map(kept.get, lines), number)):
            for message, values in events:
                for listener in listeners[message]:
                    listener(*values)
        for line in new:
            if len(line) > KEPT_LINE:
                del kept[line]

    def count_no_text(self, block, lines):
        self.no_text += block.count(0)
        if not block.isascii():
            for line in itertools.filterfalse(str.isascii, lines):
                self.no_text += line.encode("latin-1").decode("utf-8", "replace").count("\ufffd")

    def look_at_beginning(self, name, line):
        starts = HEAD.match(line.removeprefix("[onboarding]")) or line.startswith(("{", "[platform]"))
        if not starts and HEAD.search(line, 0, LONGEST) is None and line.strip("\0"):
            self.damage.append(f"{name} begins in the middle of a message")

    def look_at(self, line):
        parts = HEAD.split(line)
        if len(parts) == 1:
            found = CHANNEL.match(line)
            return [(CHANNEL_LINE, found.groups())] if found else NO_HEAD
        events = []
        for speaker, text in zip(parts[1::2], parts[2::2]):
            form, values = self.understand(speaker, text)
            if form is None:
                events.append((MISSED, (speaker, text)))
            elif (speaker, form) in self.wanted:
                events.append(((speaker, form), values))
        return events

    def may_end(self, line):
        """Whether a log can end with this line and no line feed: with a message that has none."""
        parts = HEAD.split(line)
        form = self.understand(*parts[-2:])[0] if len(parts) > 1 else None
        return form is not None and not form.endswith("\n")

    def understand(self, name, text):
        if name not in self.speakers:
            if name not in MESSAGES:
                return None, ()
            self.speakers[name] = Speaker(name)
        return self.speakers[name].understand(text)

    def miss(self, name, text):
        if name in self.speakers and self.speakers[name].is_cut(text):
            self.damage.append("{}:{}: a message is cut".format(*self.place))
            del self.damage[20:]
        else:
            self.unknown += 1
            self.first_unknown = self.first_unknown or "{}:{}".format(*self.place)
