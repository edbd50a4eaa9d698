#!/usr/bin/env python3
"""Sets the figures of the benchmarks side by side.

usage: report.py [--into FILE] FOLDER [NAME...]

Reads every FOLDER/*.json that Google Benchmark wrote. A benchmark is called group/task/size/who, where who
is "ours" or a peer; what stands behind that is how it was run. Prints the ratio of ours to each peer, with
the target from targets.txt beside it (of FOLDER/NAME.json alone where names are given), and writes FOLDER/table.md and FOLDER/GROUP-WORK.svg: cost against
size for all that was measured with more than one size. With --into, the table also replaces what stands
between the two "figures" marks of FILE.
"""

import argparse
import collections
import fnmatch
import json
import math
import pathlib
import re
import statistics
import sys
from xml.sax.saxutils import escape

OURS = "ours"
BEST = "best"
SECONDS = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}
SUFFIXES = {"B": 1, "KB": 1e3, "MB": 1e6, "GB": 1e9}

Target = collections.namedtuple("Target", "group work size peer limit")
Row = collections.namedtuple("Row", "group work size ours peer peer_time ratio spread limit")


# ---- reading -------------------------------------------------------------------------------------


def read_targets(path):
    targets = []
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        words = line.split("#", 1)[0].split()
        if not words:
            continue
        if len(words) != len(Target._fields):
            raise ValueError(f"{path}:{number}: not five columns")
        targets.append(Target(*words[:4], float(words[4])))
    return targets


def seconds(run):
    """Time of one repetition: processor time, or what the benchmark itself told."""
    time = run["real_time"] if "/manual_time" in run["name"] else run["cpu_time"]
    return time * SECONDS[run["time_unit"]]


def read_times(paths):
    """The times of all repetitions, by (group, work, size) and then by who."""
    times = {}
    for path in paths:
        for run in json.loads(path.read_text(encoding="utf-8"))["benchmarks"]:
            if run.get("run_type") == "aggregate":
                continue
            if run.get("error_occurred"):
                raise ValueError(f"{path}: {run['name']}: {run.get('error_message')}")
            parts = run["name"].split("/")
            if len(parts) < 4:
                raise ValueError(f"{path}: {run['name']} is not group/task/size/who")
            times.setdefault(tuple(parts[:3]), {}).setdefault(parts[3], []).append(seconds(run))
    return dict(sorted(times.items(), key=lambda item: place_of(*item[0])))


def amount(size):
    """The number in "10KB" or "100terms"; none for a size that is not a number."""
    match = re.fullmatch(r"(\d+)([A-Za-z]*)", size)
    return float(match[1]) * SUFFIXES.get(match[2], 1) if match else None


def unit(size):
    letters = size.lstrip("0123456789")
    return "bytes" if letters in SUFFIXES else letters or "size"


def place_of(group, work, size):
    """Bytes come first, smaller before larger."""
    return group, work, unit(size) != "bytes", amount(size) or math.inf, size


# ---- comparing -----------------------------------------------------------------------------------


def limit_for(targets, group, work, size, peer):
    for target in targets:
        if target.peer == peer and all(
            fnmatch.fnmatchcase(value, pattern) for value, pattern in zip((group, work, size), target)
        ):
            return target.limit
    return None


def spread(times):
    """Half the range of the middle half, in parts of the median."""
    if len(times) < 3:
        return 0.0
    quarters = statistics.quantiles(times, n=4)
    return (quarters[2] - quarters[0]) / 2 / statistics.median(times)


def compare(times, targets):
    rows = []
    for (group, work, size), by_who in times.items():
        medians = {who: statistics.median(values) for who, values in by_who.items()}
        if OURS not in medians:
            raise ValueError(f"{group}/{work}/{size}: ours was not measured")
        ours = medians.pop(OURS)
        if not medians:
            continue
        # A peer in brackets does less than is asked: it is shown, and no measure.
        fastest = min((peer for peer in medians if not peer.startswith("(")), key=medians.get, default=None)
        has_best = limit_for(targets, group, work, size, BEST) is not None
        for peer, time in sorted(medians.items()):
            limit = limit_for(targets, group, work, size, BEST if has_best and peer == fastest else peer)
            name = f"{peer} (the best)" if has_best and peer == fastest else peer
            noise = math.hypot(spread(by_who[OURS]), spread(by_who[peer]))
            rows.append(Row(group, work, size, ours, name, time, ours / time, noise, limit))
    return rows


# ---- the table -----------------------------------------------------------------------------------


def duration(value):
    for name in ("s", "ms", "us"):
        if value >= SECONDS[name]:
            return f"{value / SECONDS[name]:.3g} {name}"
    return f"{value / SECONDS['ns']:.3g} ns"


def verdict(row):
    if row.limit is None:
        return ""
    return "met" if row.ratio <= row.limit else "missed"


HEADINGS = ("work", "size", "peer", "ours", "peer's", "ratio", "+-", "target", "")


def cells(row):
    return (
        f"{row.group}/{row.work}",
        row.size,
        row.peer,
        duration(row.ours),
        duration(row.peer_time),
        f"{row.ratio:.2f}" if row.ratio < 0.995 or row.ratio >= 1.1 else f"{row.ratio:.3f}",
        f"{row.spread:.0%}",
        "" if row.limit is None else f"{row.limit:g}",
        verdict(row),
    )


def aligned(table):
    widths = [max(len(line[column]) for line in table) for column in range(len(HEADINGS))]
    return [[cell.ljust(width) for cell, width in zip(line, widths)] for line in table]


def as_text(rows):
    return "".join("  ".join(line).rstrip() + "\n" for line in aligned([HEADINGS] + [cells(row) for row in rows]))


def as_markdown(rows):
    lines = ["| " + " | ".join(line) + " |" for line in aligned([HEADINGS] + [cells(row) for row in rows])]
    lines.insert(1, "|" + "---|" * len(HEADINGS))
    return "\n".join(lines) + "\n"


def summary(rows):
    verdicts = collections.Counter(verdict(row) for row in rows)
    return f"{verdicts['met']} targets met, {verdicts['missed']} missed"


def put_into(path, table):
    begin, end = "<!-- figures -->\n", "<!-- end of figures -->\n"
    text = path.read_text(encoding="utf-8")
    pattern = re.escape(begin) + ".*?" + re.escape(end)
    if len(re.findall(pattern, text, flags=re.DOTALL)) != 1:
        raise ValueError(f"{path} has no place for the figures")
    replaced = re.sub(pattern, lambda _: begin + "\n" + table + "\n" + end, text, flags=re.DOTALL)
    path.write_text(replaced, encoding="utf-8")


# ---- plots ---------------------------------------------------------------------------------------

COLOURS = ("#d55e00", "#0072b2", "#009e73", "#cc79a7", "#56b4e9", "#e69f00", "#000000")
WIDTH, HEIGHT = 720, 440
LEFT, RIGHT, TOP, BOTTOM = 80, 170, 50, 60


class Axis:
    """Places values on a logarithmic axis from `begin` to `end`."""

    def __init__(self, values, begin, end):
        self.low = math.floor(math.log10(min(values)))
        self.high = max(math.ceil(math.log10(max(values))), self.low + 1)
        self.begin, self.end = begin, end

    def place(self, value):
        part = (math.log10(value) - self.low) / (self.high - self.low)
        return self.begin + part * (self.end - self.begin)

    def ticks(self):
        return [10.0**power for power in range(self.low, self.high + 1)]


def text_at(x, y, text, more=""):
    return f'<text x="{x:.1f}" y="{y:.1f}" {more}>{escape(text)}</text>'


def line_from(x1, y1, x2, y2):
    return f'<line x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}" stroke="#ddd"/>'


def curve(points, colour, is_ours):
    path = " ".join(f"{x:.1f},{y:.1f}" for x, y in points)
    width = 3 if is_ours else 1.5
    dots = "".join(f'<circle cx="{x:.1f}" cy="{y:.1f}" r="{width + 1}" fill="{colour}"/>' for x, y in points)
    return f'<polyline points="{path}" fill="none" stroke="{colour}" stroke-width="{width}"/>{dots}'


def plot(title, size_unit, curves):
    """`curves`: for each name, (size, time) in ascending order."""
    points = [point for curve_points in curves.values() for point in curve_points]
    across = Axis([size for size, _ in points], LEFT, WIDTH - RIGHT)
    up = Axis([time for _, time in points], HEIGHT - BOTTOM, TOP)
    parts = [
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{HEIGHT}" '
        f'viewBox="0 0 {WIDTH} {HEIGHT}" font-family="sans-serif" font-size="13">',
        f'<rect width="{WIDTH}" height="{HEIGHT}" fill="white"/>',
        text_at(LEFT, 28, title, 'font-size="16"'),
    ]
    for tick in across.ticks():
        x = across.place(tick)
        parts.append(line_from(x, TOP, x, HEIGHT - BOTTOM))
        parts.append(text_at(x, HEIGHT - BOTTOM + 20, f"{tick:,.0f}", 'text-anchor="middle"'))
    for tick in up.ticks():
        y = up.place(tick)
        parts.append(line_from(LEFT, y, WIDTH - RIGHT, y))
        parts.append(text_at(LEFT - 8, y + 4, duration(tick), 'text-anchor="end"'))
    parts.append(text_at((LEFT + WIDTH - RIGHT) / 2, HEIGHT - 15, size_unit, 'text-anchor="middle"'))
    for number, (who, curve_points) in enumerate(curves.items()):
        colour = COLOURS[number % len(COLOURS)]
        parts.append(curve([(across.place(x), up.place(y)) for x, y in curve_points], colour, who == OURS))
        parts.append(text_at(WIDTH - RIGHT + 20, TOP + 14 + 20 * number, who, f'fill="{colour}"'))
    return "\n".join(parts + ["</svg>\n"])


def curves_of(by_size):
    curves = {}
    for size, by_who in sorted(by_size.items()):
        for who in sorted(by_who, key=lambda name: (name != OURS, name)):
            curves.setdefault(who, []).append((size, statistics.median(by_who[who])))
    return curves


def write_plots(folder, times):
    """Sizes in another unit than that of the first are on no common axis, and left out."""
    works = {}
    for (group, work, size), by_who in times.items():
        if amount(size) is not None:
            size_unit, by_size = works.setdefault((group, work), (unit(size), {}))
            if size_unit == unit(size):
                by_size[amount(size)] = by_who
    for (group, work), (size_unit, by_size) in works.items():
        if len(by_size) > 1:
            plotted = plot(f"{group}: {work.replace('_', ' ')}", size_unit, curves_of(by_size))
            (folder / f"{group}-{work}.svg").write_text(plotted, encoding="utf-8")


# ---- the program ---------------------------------------------------------------------------------


def main():
    parser = argparse.ArgumentParser(description="Sets the figures of the benchmarks side by side.")
    parser.add_argument("folder", type=pathlib.Path, help="where the JSON files are")
    parser.add_argument("names", nargs="*", metavar="NAME", help="print these alone")
    parser.add_argument("--into", type=pathlib.Path, metavar="FILE", help="put the table into this document")
    options = parser.parse_args()
    folder = options.folder
    try:
        targets = read_targets(pathlib.Path(__file__).with_name("targets.txt"))
        times = read_times(sorted(folder.glob("*.json")))
        rows = compare(times, targets)
        if not rows:
            raise ValueError(f"{folder} holds no figures")
        (folder / "table.md").write_text(as_markdown(rows), encoding="utf-8")
        write_plots(folder, times)
        if options.into:
            put_into(options.into, as_markdown(rows))
        if options.names:
            rows = compare(read_times([folder / f"{name}.json" for name in options.names]), targets)
    except (OSError, ValueError, KeyError) as error:
        sys.exit(f"report.py: {error}")
    print(as_text(rows))
    print(summary(rows))


if __name__ == "__main__":
    main()
