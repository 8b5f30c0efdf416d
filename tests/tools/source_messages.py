"""Every message that the daemon's sources can print, as pairs of function and format."""
import pathlib
import re

ROOT = pathlib.Path(__file__).resolve().parents[2]
SAYERS = r"\b(onboard_log|ONBOARD_LOG|onboard_log_bare|printf|puts|shared_debug_log_do_write_log)\("
DEFINITION = re.compile(r"^[A-Za-z][\w:<>*&, ]* \**(\w+)\([^;]*?\) (?:const )?\{$", re.M | re.S)
TOKEN = re.compile(r'"(?:\\.|[^"\\])*"|[(){},]|[^"(){},]+', re.S)


def arguments(text, position):
    """The arguments of a call whose bracket opens just before `position`, as source texts."""
    found, depth, current = [], 0, ""
    for token in TOKEN.finditer(text, position):
        word = token.group()
        if depth == 0 and word in ",)":
            found.append(current.strip())
            current = ""
            if word == ")":
                return found
            continue
        depth += {"(": 1, "{": 1, ")": -1, "}": -1}.get(word, 0)
        current += word
    raise AssertionError(f"a call without an end: {text[position:position + 60]}")


def literal(source):
    """The text of a string literal, pieces joined, or None for anything else."""
    pieces = re.findall(r'"((?:\\.|[^"\\])*)"', source)
    if not pieces or re.sub(r'"(?:\\.|[^"\\])*"|\s', "", source):
        return None
    return "".join(pieces).encode().decode("unicode_escape")


def messages_of(path):
    text = re.sub(r"(?<!:)//.*", "", path.read_text())
    for call in re.finditer(SAYERS, text):
        before = text[: call.start()]
        where = [m.group(1) for m in DEFINITION.finditer(before)]
        args, sayer = arguments(text, call.end()), call.group(1)
        if not where or before.endswith("void "):
            continue  # a declaration
        body = before[before.rfind(f" {where[-1]}(") :]
        self_name = re.search(r'\bself = "(\w+)"', body)
        if sayer in ("printf", "puts"):
            func, form = "", literal(args[0])
            form = form + "\n" if form is not None and sayer == "puts" else form
        elif sayer == "onboard_log_bare":
            func, form = "", "{bare}" + (literal(args[1]) if len(args) > 1 else "")
        elif sayer == "shared_debug_log_do_write_log":
            func, form = "", literal(args[2])
        elif sayer == "ONBOARD_LOG":
            func, form = where[-1], literal(args[0])
        else:
            func = self_name.group(1) if args[0] == "self" else literal(args[0]) or "*"
            form = literal(args[2])
        assert form is not None, f"{path}: the format of a message is no literal: {args}"
        yield func, form


def all_messages():
    """{(function, format)}; the function is "" for bare text and "*" where it is a parameter."""
    paths = [*(ROOT / "src").rglob("*.cpp"), ROOT / "platform/standin/onboarding.cpp"]
    return {pair for path in paths if path.name != "log.cpp" for pair in messages_of(path)}
