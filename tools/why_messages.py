#!/usr/bin/env python3
"""What vorlent-why has to know of the daemon, made from the daemon's sources by the build.

Usage: why_messages.py messages VERSION > messages.py    all messages, by the operation that speaks
       why_messages.py page < PAGE                       the manual page with the list of reasons
"""
import collections
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[1]
DEFINITION = re.compile(r"^[A-Za-z][\w:<>*&, ]* \**(\w+)\([^;]*?\) (?:const )?\{$", re.M | re.S)
TEXT = r'((?:"(?:\\.|[^"\\])*"\s*)+)'
SAYERS = {  # what stands between the bracket and the format
    "ONBOARD_LOG": "", "printf": "", "puts": "",
    "ONBOARD_LOG_AS": r"(AS_\w+|speaker),\s*",
    "onboard_log_bare": r"text\.(?:get|data)\(\)(?:, )?",
    "shared_debug_log_do_write_log": r'"vorlent", "vorlent_dbg\.log", ',
}


def messages_of(path):
    text = re.sub(r"(?<!:)//.*", "", path.read_text())
    for call in re.finditer(rf"(?<!void )\b({'|'.join(SAYERS)})\(", text):
        sayer, before = call[1], text[: call.start()]
        optional = "?" if sayer == "onboard_log_bare" else ""
        said = re.compile(SAYERS[sayer] + TEXT + optional).match(text, call.end())
        if not said:
            sys.exit(f"{path}: the format of a message is no literal: {text[call.start():][:80]}")
        form = "".join(re.findall(r'"((?:\\.|[^"\\])*)"', said[said.re.groups] or ""))
        form = form.encode().decode("unicode_escape") + ("\n" if sayer == "puts" else "")
        speaker = DEFINITION.findall(before)[-1]
        if sayer == "ONBOARD_LOG_AS":
            speaker = "*" if said[1] == "speaker" else said[1].removeprefix("AS_").lower()
        elif sayer != "ONBOARD_LOG":
            speaker = ""
        yield speaker, form


def all_messages():
    """The formats by operation: "" says text without a head, "*" is whoever is given by a caller."""
    messages = collections.defaultdict(set, {"*": set(), "": set()})
    for path in [*(ROOT / "src").rglob("*.cpp"), ROOT / "platform/standin/onboarding.cpp"]:
        if path.name == "log.cpp":
            continue
        for speaker, form in messages_of(path):
            messages[speaker].add(form)
        # Who hands its name on may say anything that stands under "*".
        text = path.read_text()
        handed = [DEFINITION.findall(text[: use.start()])[-1] for use in re.finditer(r"\bSPEAKER\b", text)]
        for speaker in handed + re.findall(r'\bAS_\w+ = "(\w+)"', text):
            messages[speaker].update()
    return {speaker: sorted(forms) for speaker, forms in sorted(messages.items())}


def list_of_reasons():
    sys.path.insert(0, str(ROOT / "tools/why"))
    from reasons import REASONS
    titles = {"unit": "On the unit's side", "both": "On both sides", "base": "On the base's side"}
    for side, title in titles.items():
        yield f"{title}:\n"
        for name, reason in REASONS.items():
            if reason.side == side:
                yield f"*{name}*\n\t{reason.happened.replace('_', chr(92) + '_')}\n"


def main():
    if sys.argv[1:2] == ["messages"]:
        print('"""Made by the build: what the daemon says, by the operation that speaks."""')
        print(f"VERSION = {sys.argv[2]!r}")
        print("MESSAGES = {")
        for speaker, forms in all_messages().items():
            print(f"    {speaker!r}: {forms!r},")
        print("}")
    elif sys.argv[1:] == ["page"]:
        print(sys.stdin.read().replace("@REASONS@\n", "\n".join(list_of_reasons())), end="")
    else:
        sys.exit(__doc__)


if __name__ == "__main__":
    main()
