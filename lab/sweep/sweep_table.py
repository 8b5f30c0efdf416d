"""What many runs say together: shares with their intervals, times, and reasons, as rows and text."""
import collections
import json
import math

Z = 1.959964  # of the normal distribution, for an interval of 95 %


def wilson(hits, tries):
    """The 95 % interval of a share, by Wilson's score: also near 0 and 1, and for few tries."""
    if tries == 0:
        return 0.0, 1.0
    share, spread = hits / tries, Z * Z / tries
    middle = (share + spread / 2) / (1 + spread)
    half = Z / (1 + spread) * math.sqrt(share * (1 - share) / tries + spread / (4 * tries))
    return max(0.0, middle - half), min(1.0, middle + half)


def percentile(values, percent):
    """By nearest rank; none without values."""
    ordered = sorted(values)
    return ordered[max(0, math.ceil(percent / 100 * len(ordered)) - 1)] if ordered else None


def frames_by_operation(timeline):
    """How many frames of each operation were sent, from a run's timeline."""
    counts = collections.Counter()
    with open(timeline, encoding="utf-8") as lines:
        for entry in json.load(lines):
            if entry["what"] == "frame" and "operation" in entry:
                counts[str(entry["operation"])] += 1
    return dict(sorted(counts.items()))


def point_text(point):
    return " ".join(f"{name}={value}" for name, value in sorted(point.items())) or "as it is"


def row_of(name, runs):
    whole = [run for run in runs if "units" in run]
    units = [unit for run in whole for unit in run["units"] if unit["unit"].startswith("unit-")]
    firsts = [unit["first_handshake"] for unit in units if unit.get("first_handshake") in ("completed", "failed")]
    frames, give_ups = collections.Counter(), collections.Counter()
    for run in whole:
        frames.update(run.get("frames", {}))
    for unit in units:
        give_ups.update(unit.get("give_ups", {}))
    return {
        "point": name, "settings": runs[0]["point"], "scenario": runs[0]["scenario"], "runs": len(runs),
        "results": dict(collections.Counter(run["result"] for run in runs)),
        "units": len(units), "in": sum("installed" in unit for unit in units),
        "firsts": len(firsts), "first_completed": firsts.count("completed"),
        "reckoned": next((run["reckoned_first_handshakes"] for run in whole if "reckoned_first_handshakes" in run), None),
        "credentials": [percentile([u["credentials"] for u in units if "credentials" in u], p) for p in (50, 90, 100)],
        "all_in": [percentile([all_in(run) for run in whole if all_in(run) is not None], p) for p in (50, 90, 100)],
        "gave_up": sum(unit.get("gave_up", 0) for unit in units),
        "outcomes": dict(collections.Counter(unit["outcome"] for unit in units if "installed" not in unit)),
        "give_ups": dict(give_ups.most_common()), "frames": dict(frames),
    }


def all_in(run):
    """Seconds from the power of the units until the last was in; none where one stayed out."""
    units = [unit for unit in run["units"] if unit["unit"].startswith("unit-")]
    return max(unit["installed"] for unit in units) if units and all("installed" in unit for unit in units) else None


def rows_of(runs):
    groups = collections.defaultdict(list)
    for run in runs:
        ready = ", ready keys" if str(run.get("keys", "")).startswith("from ") else ""
        groups[(run["scenario"], json.dumps(run["point"], sort_keys=True), ready)].append(run)
    rows = [row_of(point_text(group[0]["point"]) + ready, group) for (_, _, ready), group in groups.items()]
    return sorted(rows, key=lambda row: (row["scenario"], sorted(row["settings"].items())))


def share_text(hits, tries):
    if tries == 0:
        return "none"
    low, high = wilson(hits, tries)
    return f"{100 * hits / tries:5.1f} % ({100 * low:.1f} to {100 * high:.1f})"


def firsts_text(row):
    """The share that was measured, beside the one by reckoning, and whether chance explains what is between them."""
    text = share_text(row["first_completed"], row["firsts"])
    if row["reckoned"] is None or not row["firsts"]:
        return text
    low, high = wilson(row["first_completed"], row["firsts"])
    word = "reckoned" if low <= row["reckoned"] <= high else "NOT AS RECKONED,"
    return f"{text}, {word} {100 * row['reckoned']:.1f}"


def times_text(times):
    return " ".join("-" if value is None else f"{value:.1f}" for value in times)


COLUMNS = ("scenario", "point", "runs", "units in, 95 %", "first handshakes, 95 %",
           "credentials p50 p90 max, s", "all in p50 p90 max, s", "give-ups")


def table(rows):
    lines = [COLUMNS]
    for row in rows:
        lines.append((row["scenario"], row["point"], str(row["runs"]), share_text(row["in"], row["units"]),
                      firsts_text(row), times_text(row["credentials"]),
                      times_text(row["all_in"]), str(row["gave_up"])))
    widths = [max(len(line[i]) for line in lines) for i in range(len(COLUMNS))]
    text = "".join("  ".join(cell.ljust(width) for cell, width in zip(line, widths)).rstrip() + "\n" for line in lines)
    for row in rows:
        for result, count in sorted(row["results"].items()):
            if result in ("hung", "failed"):
                text += f"{row['scenario']} {row['point']}: {count} of {row['runs']} runs {result}\n"
        for reason, count in row["give_ups"].items():
            text += f"{row['scenario']} {row['point']}: {count} give-ups: {reason}\n"
        for outcome, count in sorted(row["outcomes"].items()):
            text += f"{row['scenario']} {row['point']}: {count} not in: {outcome}\n"
    return text


def comparison(rows, earlier):
    """Where a share differs from that of an earlier sweep by more than chance explains, in words."""
    def same(row):
        return row["scenario"], json.dumps(row["settings"], sort_keys=True)

    before = {same(row): row for row in earlier}
    text = ""
    for row in rows:
        old = before.get(same(row))
        if earlier and old is None:
            text += f"{row['scenario']} {row['point']}: the earlier sweep has no such point\n"
        for what, hits, tries in (("units in", "in", "units"), ("first handshakes", "first_completed", "firsts")):
            if old is None or not row[tries] or not old[tries]:
                continue
            now, then = wilson(row[hits], row[tries]), wilson(old[hits], old[tries])
            if now[1] < then[0] or now[0] > then[1]:
                text += (f"{row['scenario']} {row['point']}: {what} {'fell' if now[1] < then[0] else 'rose'} from "
                         f"{share_text(old[hits], old[tries]).strip()} to {share_text(row[hits], row[tries]).strip()}\n")
    return text or ("No share differs from the earlier sweep by more than chance explains.\n" if earlier else "")
