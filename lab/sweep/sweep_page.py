"""The sweep as one page that needs nothing from the network: a chart for each figure, and the table."""
import html

import sweep_table

STYLE = """
:root { color-scheme: light dark; --line: #0b62a8; --band: #0b62a833; --grid: #8886; }
@media (prefers-color-scheme: dark) { :root { --line: #7cc0f5; --band: #7cc0f533; } }
body { font: 15px/1.4 system-ui, sans-serif; margin: 1rem auto; max-width: 70rem; padding: 0 1rem; }
pre { overflow-x: auto; font-size: 13px; }
svg { width: 100%; max-width: 40rem; height: auto; }
svg text { fill: currentColor; font-size: 12px; }
.grid { stroke: var(--grid); } .line { stroke: var(--line); fill: none; stroke-width: 2; }
.dot { fill: var(--line); } .bar { stroke: var(--line); stroke-width: 1.5; }
"""
WIDTH, HEIGHT, LEFT, BOTTOM, TOP = 640, 260, 60, 40, 12


def chart(title, rows, figure, top, unit):
    """`figure` gives (value, low, high) of a row, or none; `top` is the scale's end."""
    points = [(row["point"], figure(row)) for row in rows]
    points = [(name, values) for name, values in points if values is not None]
    if not points:
        return ""
    step = (WIDTH - LEFT - 20) / len(points)

    def x(i):
        return LEFT + step * (i + 0.5)

    def y(value):
        return HEIGHT - BOTTOM - (HEIGHT - BOTTOM - TOP) * min(value, top) / top

    parts = [f'<h2>{html.escape(title)}</h2><svg viewBox="0 0 {WIDTH} {HEIGHT}" role="img" '
             f'aria-label="{html.escape(title)}">']
    for quarter in range(5):
        value = top * quarter / 4
        parts.append(f'<line class="grid" x1="{LEFT}" x2="{WIDTH - 10}" y1="{y(value):.1f}" y2="{y(value):.1f}"/>'
                     f'<text x="{LEFT - 6}" y="{y(value) + 4:.1f}" text-anchor="end">{value:.4g}{unit}</text>')
    every = max(1, len(points) // 8)
    for i, (name, (value, low, high)) in enumerate(points):
        label = f"{name}: {value:.1f}{unit} ({low:.1f} to {high:.1f})"
        parts.append(f'<g tabindex="0"><title>{html.escape(label)}</title>'
                     f'<line class="bar" x1="{x(i):.1f}" x2="{x(i):.1f}" y1="{y(low):.1f}" y2="{y(high):.1f}"/>'
                     f'<circle class="dot" r="4" cx="{x(i):.1f}" cy="{y(value):.1f}"/></g>')
        if i % every == 0:
            parts.append(f'<text x="{x(i):.1f}" y="{HEIGHT - 18}" text-anchor="middle">{html.escape(name)}</text>')
    path = " ".join(f"{x(i):.1f},{y(values[0]):.1f}" for i, (_, values) in enumerate(points))
    parts.append(f'<polyline class="line" points="{path}"/></svg>')
    return "".join(parts)


def share_figure(hits, tries):
    def figure(row):
        if not row[tries]:
            return None
        low, high = sweep_table.wilson(row[hits], row[tries])
        return 100 * row[hits] / row[tries], 100 * low, 100 * high
    return figure


def time_figure(key):
    return lambda row: None if row[key][0] is None else (row[key][0], row[key][0], row[key][2])


def count_figure(reason):
    return lambda row: (row["give_ups"].get(reason, 0),) * 3


def page(rows, text):
    body = ""
    for scenario in sorted({row["scenario"] for row in rows}):
        of = [row for row in rows if row["scenario"] == scenario]
        longest = max([row["all_in"][2] or 0 for row in of] + [1])
        late = max([row["credentials"][2] or 0 for row in of] + [1])
        most = max([row["gave_up"] for row in of] + [1])
        body += (f"<h1>{html.escape(scenario)}</h1>"
                 + chart("Units that came in, with the 95 % interval", of, share_figure("in", "units"), 100, " %")
                 + chart("First handshakes that got through, with the 95 % interval", of,
                         share_figure("first_completed", "firsts"), 100, " %")
                 + chart("Until all are in: median, and the longest run", of, time_figure("all_in"), longest, " s")
                 + chart("Until a unit holds its credentials: median, and the last", of, time_figure("credentials"), late, " s")
                 + chart("Give-ups", of, lambda row: (row["gave_up"],) * 3, most, "")
                 + "".join(chart(f"Give-ups: {reason}", of, count_figure(reason), most, "")
                           for reason in sorted({reason for row in of for reason in row["give_ups"]})))
    return (f'<!doctype html><html lang="en"><meta charset="utf-8"><meta name="viewport" '
            f'content="width=device-width"><title>Sweep</title><style>{STYLE}</style><body>{body}'
            f"<h1>Table</h1><pre>{html.escape(text)}</pre></body></html>\n")
