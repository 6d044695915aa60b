#!/usr/bin/env python3
"""The suite runs to its end, and what it writes is complete.

    suite_test.py STAGE AARCH64_BUILD
"""

import csv
import math
import subprocess
import sys
import tempfile
import xml.etree.ElementTree
from pathlib import Path

import suite

stage, build = sys.argv[1:]
here = Path(__file__).parent
failures = []


def check(condition, text):
    if not condition:
        failures.append(text)


def values(output, part):
    with open(output / f"{part}.csv", newline="") as file:
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

    modes = suite.Suite(suite.SETTINGS["smoke"], Path(stage), Path(build), output).modes
    expect("programs", values(output, "programs"),
           {(name, mode, str(sizes[0]), unit) for name, sizes in suite.SIZES.items() for mode in modes
            if mode != suite.WITHOUT or name in suite.WITH_TWIN for unit in ("s", "of sverun's time")})

    lines = [line.split('"') for line in (here / "instructions.def").read_text().splitlines()
             if line.startswith("INSTRUCTION")]
    names = {f"{family} {middle.split(',')[1].strip()}: {text}" for _, family, middle, text, _ in lines}
    check(len(names) == len(lines) > 50, "instructions.def has a line twice, or few")
    expect("instructions", values(output, "instructions"),
           {(name, mode, "", unit) for name in names for mode in modes if mode != suite.WITHOUT
            for unit in ("ns", "of the first one's time")})

    expected = {("start-up", mode, "", "ms") for mode in (suite.EMULATED, suite.UNCOUNTED, suite.WITHOUT)}
    for mode in (suite.EMULATED, suite.UNCOUNTED):
        expected |= {("sites", mode, str(count), "ns") for count in (1, 10, 100, 1000, 10000)}
        expected |= {("threads", mode, str(count), "of one thread's throughput") for count in (1, 2, 4, 8)}
        expected.add(("memory of a site", mode, "", "bytes"))
    expect("scaling", values(output, "scaling"), expected)

    report = (output / "performance.md").read_text()
    for part in ("programs", "instructions", "scaling"):
        chart = f"performance-{part}.svg"
        check(chart in report, f"performance.md does not show {chart}")
        xml.etree.ElementTree.parse(output / chart)

for failure in failures:
    print("FAILED:", failure)
sys.exit(bool(failures))
