#!/usr/bin/env python3
"""Draws performance.md and its charts from the CSV files that suite.py wrote into the same directory.

    page.py DIRECTORY
"""

import csv
import math
import statistics
import sys
import textwrap
from html import escape
from pathlib import Path

# What the CSV files say, in the columns of these names.
CHARTS = ["programs", "instructions", "scaling"]
PARTS = [*CHARTS, "once"]
COLUMNS = ["what", "mode", "size", "value", "least", "greatest", "unit"]
EMULATED, UNCOUNTED, TRAPPING, SVE, WITHOUT = (
    "sverun", "without statistics", "trapping each time", "SVE processor emulator", "built without SVE")
RATIO, THROUGHPUT, FIRST, LATER = (
    "of sverun's time", "of one thread's throughput", "first execution", "later executions")

# ---- SVG ------------------------------------------------------------------------------------------------

WIDTH = 800
STYLE = """text { font: 14px sans-serif; fill: #1f2933; } .head { font-weight: bold; font-size: 16px; }
.small { font-size: 12px; } .right { text-anchor: end; } .middle { text-anchor: middle; }
line { stroke: #e4e7eb; } .joint { stroke: #9aa5b1; }"""


class Drawing:
    """Has a ground of its own, for light pages and dark ones."""

    def __init__(self, title, height):
        self.parts = [
            f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {height}" width="{WIDTH}" '
            f'height="{height}" role="img">\n<title>{escape(title)}</title>\n<style>{STYLE}</style>\n'
            f'<rect width="{WIDTH}" height="{height}" rx="8" fill="#fff"/>']
        self.text(16, 28, title, "head")

    def text(self, x, y, text, style="", colour=None):
        paint = f' style="fill:{colour}"' if colour else ""
        self.parts.append(f'<text x="{x:.1f}" y="{y:.1f}" class="{style}"{paint}>{escape(text)}</text>')

    def line(self, x1, y1, x2, y2, style=""):
        self.parts.append(f'<line x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}" class="{style}"/>')

    def dot(self, x, y, colour):
        self.parts.append(f'<circle cx="{x:.1f}" cy="{y:.1f}" r="5" fill="{colour}"/>')

    def svg(self):
        return "\n".join([*self.parts, "</svg>\n"])


def number(value):
    """Three digits, without an exponent."""
    places = 2 - math.floor(math.log10(value))
    return f"{round(value, places):,.{max(places, 0)}f}"


def about(value):
    """Two digits at most, as few as will do."""
    return f"{float(f'{value:.2g}'):,.12g}"


def ticks(values):
    """1, 2, 5, 10… around the values; of many decades 1, 10, 100…"""
    factors = (1, 2, 5) if max(values) < 1000 * min(values) else (1,)
    steps = [factor * 10.0 ** exponent for exponent in range(-9, 12) for factor in factors]
    first = max(i for i, step in enumerate(steps) if step <= min(values))
    last = min(i for i, step in enumerate(steps) if step >= max(values))
    return steps[first:max(last, first + 1) + 1]


def scale(marks, start, end):
    """A logarithmic axis from the first mark to the last one."""
    return lambda value: start + math.log(value / marks[0]) / math.log(marks[-1] / marks[0]) * (end - start)


def dots(title, axis, series, rows):
    """series: (name, explanation, colour); rows: (label, [value of each series or None]). The greatest come last."""
    column, step, left = 64, 23, 178
    right, top = WIDTH - 30 - column * len(series), 66 + 20 * len(series)
    bottom = top + step * len(rows)
    drawing = Drawing(title, bottom + 54)
    marks = ticks([value for _, values in rows for value in values if value])
    x = scale(marks, left, right)
    for mark in marks:
        drawing.line(x(mark), top, x(mark), bottom)
        drawing.text(x(mark), bottom + 18, about(mark), "small middle")
    drawing.text((left + right) / 2, bottom + 40, axis, "middle")
    for i, (name, explanation, colour) in enumerate(series):
        drawing.dot(22, 49 + 20 * i, colour)
        drawing.text(33, 54 + 20 * i, f"{name}: {explanation}")
        drawing.text(right + column * (i + 1), top - 6, name, "small right")
    for i, (label, values) in enumerate(sorted(rows, key=lambda row: max(value or 0 for value in row[1]))):
        y = top + step * (i + 0.5)
        shown = [(value, j) for j, value in enumerate(values) if value]
        drawing.text(left - 12, y + 5, label, "right")
        drawing.line(left, y, right, y)
        drawing.line(x(min(shown)[0]), y, x(max(shown)[0]), y, "joint")
        for value, j in shown:
            drawing.dot(x(value), y, series[j][2])
            drawing.text(right + column * (j + 1), y + 5, number(value), "right")
    return drawing.svg()


def lines(title, panels):
    """panels, side by side: (heading, x axis, {name: {x: y}}); the values of the first of two series stand above."""
    top, bottom, width = 120, 340, WIDTH / len(panels)
    drawing = Drawing(title, bottom + 72)
    for i, (heading, axis, series) in enumerate(panels):
        left, right = i * width + 60, (i + 1) * width - 20
        drawing.text(left - 44, 60, heading)
        marks = ticks([y for points in series.values() for y in points.values()])
        xs = sorted({x for points in series.values() for x in points})
        x, y = scale(xs, left + 30, right - 30), scale(marks, bottom, top)
        for mark in marks:
            drawing.line(left, y(mark), right, y(mark))
            drawing.text(left - 8, y(mark) + 4, about(mark), "small right")
        for mark in xs:
            drawing.text(x(mark), bottom + 36, about(mark), "small middle")
        drawing.text((left + right) / 2, bottom + 58, axis, "middle")
        for j, (name, points) in enumerate(series.items()):
            colour, beside = (("#c05621", -9), ("#1d4f91", 19))[j]
            places = [(x(at), y(points[at])) for at in sorted(points)]
            for begin, end in zip(places, places[1:]):
                drawing.line(*begin, *end, "joint")
            for place, at in zip(places, sorted(points)):
                drawing.dot(*place, colour)
                drawing.text(place[0], place[1] + beside, number(points[at]), "small middle", colour)
            drawing.dot(left - 38 + 160 * j, 77, colour)
            drawing.text(left - 28 + 160 * j, 82, name, "", colour)
    return drawing.svg()


# ---- The page -------------------------------------------------------------------------------------------

PAGE = """# Performance

{conclusions}

![Time of whole programs](performance-programs.svg)

![Time of an emulated instruction](performance-instructions.svg)

![One emulated instruction at many addresses, and in many threads](performance-scaling.svg)

## Code that runs once

{once}

## What was measured

{measured}
All figures:

- [performance-programs.csv](performance-programs.csv): the processor time of whole programs, their start included,
  also as a fraction of sverun's in the same round. "Trapping each time" is `sverun --trap-every-time`; "built without
  SVE" is the same source for a processor without it, where the compiler uses Advanced SIMD.
- [performance-instructions.csv](performance-instructions.csv): the time of one instruction of `bench/instructions.def`
  without the loop around it. The chart has the median of each family and tier.
- [performance-scaling.csv](performance-scaling.csv): one execution of `add z0.s, z1.s, z2.s` at many addresses that
  take turns, its part of the jump to them included, and the program's memory for each address; the throughput of
  threads that run the same loop.
- [performance-once.csv](performance-once.csv): an instruction of `bench/once.c`, its part of the function and of the
  call included, by processor time, also as a fraction of sverun's in the same round, and by the clock; the processor
  time of all of the program, and of one that does nothing.

To repeat it: `make bench`, which leaves this page, its charts and the CSV files in `build/bench`.
`bench/page.py DIRECTORY` draws the page again from the CSV files.
"""


def read(directory, part, mode, unit):
    """{what: {size: value}} of the rows with this mode and unit."""
    values = {}
    with open(directory / f"performance-{part}.csv", newline="") as file:
        for row in csv.DictReader(file):
            if row["mode"] == mode and row["unit"] == unit:
                values.setdefault(row["what"], {})[int(row["size"] or 0)] = float(row["value"])
    return values


def filled(text, bullet=""):
    return textwrap.fill(" ".join(text.split()), 118, initial_indent=bullet, subsequent_indent=" " * len(bullet),
                         break_on_hyphens=False, break_long_words=False)


def span(values):
    return f"{about(min(values))} to {about(max(values))}"


def programs(directory):
    """The chart, and what it says."""
    seconds = read(directory, "programs", EMULATED, "s")
    ratios = {mode: read(directory, "programs", mode, RATIO) for mode in (UNCOUNTED, TRAPPING, SVE, WITHOUT)}
    slower = {name: [1 / sizes[size] for size in sorted(sizes)] for name, sizes in ratios[SVE].items()}
    long = {mode: [sizes[max(sizes)] for sizes in ratios[mode].values()] for mode in ratios}
    in_order = [[sizes[size] for size in sorted(sizes)] for sizes in seconds.values()]
    lengths = [span(times) for times in zip(*in_order)]
    chart = dots("Whole programs under sverun: times as long as on an SVE processor emulator",
                 "times as long (processor time, start included)", [
        (name, f"runs of {length} s under sverun", colour) for name, length, colour in
        zip(("short", "middle", "long"), lengths, ("#9ec5ec", "#4a8cc9", "#163f73"))], slower.items())
    slowest = [values[-1] for values in slower.values()]
    return chart, [
        f"""Under sverun, programs take {span(slowest)} times as long as on an SVE processor emulator when they run for
        {lengths[-1]} s (median {about(statistics.median(slowest))}), and {span(next(zip(*slower.values())))} times
        when they run for {lengths[0]} s.""",
        f"""The long runs take {span(long[UNCOUNTED])} times as long with `--no-stats`, and {span(long[TRAPPING])} times
        with `--trap-every-time`. Sources without SVE intrinsics, built without SVE, are
        {span([1 / ratio for ratio in long[WITHOUT]])} times as fast."""]


def instructions(directory):
    """The chart, and what it says."""
    groups = {}
    for what, sizes in read(directory, "instructions", EMULATED, "ns").items():
        family, tier = what.split(":")[0].split()
        family = family.replace("/", ": ").replace("_", " ")
        groups.setdefault(family, {"direct": [], "reference": []})[tier].append(sizes[0])
    costs = {family: [statistics.median(values) if values else None for values in tiers.values()]
             for family, tiers in groups.items()}
    chart = dots("Single instructions under sverun: time of one execution", "nanoseconds", [
        ("direct", "forms with a fast routine of their own, the usual ones", "#1d4f91"),
        ("reference", "the other forms", "#c05621")], costs.items())
    direct, reference = ([cost for cost in tier if cost] for tier in zip(*costs.values()))
    dearest = sorted(((max(cost or 0 for cost in tiers), family) for family, tiers in costs.items()), reverse=True)
    return chart, [
        f"""An emulated instruction takes {span(direct)} ns where its form has a fast routine of its own (median
        {about(statistics.median(direct))}), elsewhere {span(reference)} ns (median
        {about(statistics.median(reference))}). The dearest kinds are
        {", ".join(f"{family} ({number(cost)} ns)" for cost, family in dearest[:3])}."""]


def scaling(directory):
    """The chart, and what it says."""
    times = read(directory, "scaling", EMULATED, "ns")
    threads = {name: read(directory, "scaling", mode, THROUGHPUT)["threads"]
               for name, mode in (("sverun --no-stats", UNCOUNTED), ("sverun", EMULATED))}
    processors = read(directory, "scaling", "", "")["processors"][0]
    chart = lines("One instruction at many addresses, and in many threads", [
        ("microseconds of an execution", "addresses that take turns",
         {what: {size: ns / 1000 for size, ns in sizes.items()} for what, sizes in times.items()}),
        (f"throughput on {processors:g} processors, times one thread's", "threads", threads)])
    memory = read(directory, "scaling", EMULATED, "bytes")["memory of a site"][0]
    later, most, many = times[LATER], max(times[LATER]), max(threads["sverun"])
    first = f"{number(times[FIRST][most] / 1000)} µs for its first execution and " if FIRST in times else ""
    return chart, [
        f"""A new address of an emulated instruction costs {first}{number(memory)} bytes of memory. One execution takes
        {number(later[1])} ns at one address and {number(later[most])} ns at each of {most:,} that take turns.""",
        f"""{many} threads on {processors:g} processors do {number(threads["sverun"][many])} times the work of one, with
        `--no-stats` {number(threads["sverun --no-stats"][many])} times."""]


def once(directory):
    """The table, and what it says."""
    modes = (EMULATED, UNCOUNTED, TRAPPING, SVE)
    times = {mode: read(directory, "once", mode, "µs") for mode in modes}
    ratios = read(directory, "once", SVE, RATIO)
    rows = [["calls", "mappings", *modes, "times as long"], ["--:"] * (3 + len(modes))]
    for what, sizes in times[EMULATED].items():
        mappings = int(what.split()[0])
        for calls in sizes:
            costs = [number(times[mode][what][calls]) for mode in modes]
            rows.append([f"{calls:,}", f"{mappings:,}", *costs, number(1 / ratios[what][calls])])
    table = "\n".join(f"| {' | '.join(row)} |" for row in rows)
    few, *_, many = times[EMULATED]
    start, alone = (read(directory, "once", mode, "ms")["start-up"][0] for mode in (EMULATED, WITHOUT))
    explanation = """Microseconds of processor time that an SVE instruction takes in 4,000 functions of five each, 400
        for 1,000 calls, all of which are called so often, in a process that has so many mappings beside its own; and
        how many times as long that is under sverun as on an SVE processor emulator."""
    return f"{filled(explanation)}\n\n{table}", [
        f"""An instruction that is executed once takes {number(times[EMULATED][few][1])} µs,
        {number(1 / ratios[few][1])} times as long as on an SVE processor emulator, and
        {number(times[EMULATED][many][1])} µs where the process has {int(many.split()[0]):,} mappings more. A program
        that does nothing takes {number(start)} ms, without sverun {number(alone)} ms."""]


def write(directory):
    """Returns the page."""
    measured = (directory / "performance-measured.txt").read_text()
    *charts, table = (part(directory) for part in (programs, instructions, scaling, once))
    for part, (chart, _) in zip(CHARTS, charts):
        (directory / f"performance-{part}.svg").write_text(chart)
    conclusions = "\n".join(filled(text, "- ") for _, texts in (*charts, table) for text in texts)
    text = PAGE.format(conclusions=conclusions, once=table[0], measured=measured)
    (directory / "performance.md").write_text(text)
    return text


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit("usage: page.py DIRECTORY")
    try:
        write(Path(sys.argv[1]))
    except OSError as error:
        sys.exit(f"page.py: {error}")
