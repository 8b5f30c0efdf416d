"""Every message that the daemon's sources can print, as pairs of function and format."""
import pathlib
import re

ROOT = pathlib.Path(__file__).resolve().parents[2]
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
        said = re.compile(SAYERS[sayer] + (TEXT if sayer != "onboard_log_bare" else TEXT + "?")).match(
            text, call.end())
        assert said, f"{path}: the format of a message is no literal: {text[call.start():][:80]}"
        form = "".join(re.findall(r'"((?:\\.|[^"\\])*)"', said[said.re.groups] or ""))
        form = form.encode().decode("unicode_escape") + ("\n" if sayer == "puts" else "")
        func = DEFINITION.findall(before)[-1]
        if sayer == "ONBOARD_LOG_AS":
            func = said[1].removeprefix("AS_").lower()
        elif sayer != "ONBOARD_LOG":
            func, form = "", ("{bare}" if sayer == "onboard_log_bare" else "") + form
        yield "*" if func == "speaker" else func, form


def all_messages():
    """{(function, format)}; the function is "" for bare text and "*" where it is a parameter."""
    paths = [*(ROOT / "src").rglob("*.cpp"), ROOT / "platform/standin/onboarding.cpp"]
    return {pair for path in paths if path.name != "log.cpp" for pair in messages_of(path)}
