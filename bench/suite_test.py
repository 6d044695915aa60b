#!/usr/bin/env python3
"""The suite runs to its end, and what it writes is complete; the page in docs is what its CSV files give.

    suite_test.py STAGE AARCH64_BUILD
"""

import csv
import math
import shutil
import subprocess
import sys
import tempfile
import xml.etree.ElementTree
from pathlib import Path

import page
import suite

stage, build = sys.argv[1:]
here = Path(__file__).parent
failures = []


def check(condition, text):
    if not condition:
        failures.append(text)


def values(output, part):
    with open(output / f"performance-{part}.csv", newline="") as file:
        rows = list(csv.DictReader(file))
    for row in rows:
        least, value, greatest = (float(row[key]) for key in ("least", "value", "greatest"))
        check(0 < least <= value <= greatest < math.inf, f"{part}: {row}")
    return {(row["what"], row["mode"], row["size"], row["unit"]) for row in rows}, len(rows)


def expect(part, found, expected):
    rows, count = found
    check(count == len(rows), f"{part}: rows twice")
    check(rows == expected, f"{part}: missing {expected - rows}, not expected {rows - expected}")


with tempfile.TemporaryDirectory() as directory:
    output = Path(directory)
    subprocess.run([sys.executable, here / "suite.py", "--setting", "smoke", stage, build, output], check=True,
                   stdout=subprocess.DEVNULL)

    expect("programs", values(output, "programs"),
           {(name, mode, str(sizes[0]), unit) for name, sizes in suite.SIZES.items() for unit in ("s", page.RATIO)
            for mode in suite.MODES + [page.WITHOUT] * (name in suite.WITH_TWIN)})

    lines = [line.split('"') for line in (here / "instructions.def").read_text().splitlines()
             if line.startswith("INSTRUCTION")]
    names = {f"{family} {middle.split(',')[1].strip()}: {text}" for _, family, middle, text, _ in lines}
    check(len(names) == len(lines) > 50, "instructions.def has a line twice, or few")
    expect("instructions", values(output, "instructions"),
           {(name, mode, "", unit) for name in names for mode in suite.MODES
            for unit in ("ns", "of the first one's time")})

    expected = {("processors", "", "", "")}
    for mode in (page.EMULATED, page.UNCOUNTED):
        expected |= {(what, mode, str(count), "ns") for what in (page.FIRST, page.LATER) for count in suite.SITES}
        expected |= {("threads", mode, str(count), page.THROUGHPUT) for count in suite.THREADS}
        expected.add(("memory of a site", mode, "", "bytes"))
    expect("scaling", values(output, "scaling"), expected)

    expect("once", values(output, "once"),
           {("start-up", mode, "", "ms") for mode in (page.EMULATED, page.UNCOUNTED, page.WITHOUT)} |
           {(f"{mappings} mappings", mode, str(calls), unit) for _, calls, mappings in suite.ONCE
            for mode in suite.MODES for unit in ("µs", "µs by the clock", "s", page.RATIO)})

    dots = {"programs": len(suite.SIZES) + 1, "instructions": len({name.split(":")[0] for name in names}) + 2,
            "scaling": 2 * len(suite.SITES) + 2 * len(suite.THREADS) + 4}  # those of the legends, too
    for part in page.CHARTS:
        chart = f"performance-{part}.svg"
        check(chart in (output / "performance.md").read_text(), f"performance.md does not show {chart}")
        drawn = [float(dot.get("cx")) for dot in xml.etree.ElementTree.parse(output / chart).iter() if dot.get("cx")]
        check(len(drawn) == dots[part], f"{chart} has {len(drawn)} dots")
        check(all(0 < x < page.WIDTH for x in drawn), f"{chart} has dots outside")

with tempfile.TemporaryDirectory() as directory:
    docs = here.parent / "docs"
    for file in docs.glob("performance*"):
        shutil.copy(file, directory)
    page.write(Path(directory))
    for file in docs.glob("performance*"):
        check(file.read_text() == (Path(directory) / file.name).read_text(),
              f"docs/{file.name} is not what page.py makes of the CSV files")

for failure in failures:
    print("FAILED:", failure)
sys.exit(bool(failures))
