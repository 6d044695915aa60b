#!/usr/bin/env python3
"""Measures what emulation costs, in turns, and writes tables and charts.

    suite.py [--setting full|quick|smoke] STAGE AARCH64_BUILD OUTPUT

STAGE is where everything is installed, AARCH64_BUILD the build of the AArch64 programs. In OUTPUT: one CSV file
for each part, and performance.md with its charts, which is printed, too.
"""

import argparse
import csv
import os
import platform
import re
import resource
import shutil
import statistics
import subprocess
import sys
import textwrap
from dataclasses import dataclass
from pathlib import Path

import charts
from charts import number

ON_AARCH64 = platform.machine() == "aarch64"
SYSROOT = [] if ON_AARCH64 else ["-L", os.environ.get("QEMU_LD_PREFIX") or "/usr/aarch64-linux-gnu"]
PROCESSOR = [] if ON_AARCH64 else ["qemu-aarch64", "-cpu", "neoverse-n1", *SYSROOT]  # without SVE, as sverun's

EMULATED, UNCOUNTED, TRAPPING, SVE, WITHOUT = (
    "sverun", "without statistics", "trapping each time", "SVE processor emulator", "built without SVE")
MODES = [EMULATED, UNCOUNTED, TRAPPING, SVE, WITHOUT]
LETTERS_TEXT = Path(__file__).parent.parent / "examples/letters.c"

# Small, middle, large: some 20 thousand emulated instructions, some 150 thousand, and one or two million.
SIZES = {
    "matrix": (20, 48, 112),
    "fir": (1500, 12000, 80000),
    "nbody": (2, 20, 120),
    "complex_fast": (1500, 15000, 100000),
    "sum": (10000, 100000, 800000),
    "letters": (2000, 20000, 150000),
    "primes": (700, 4000, 20000),
    "sort": (500, 4000, 30000),
    "softmax": (2000, 20000, 120000),
    "sine": (2000, 20000, 120000),
    "histogram": (6000, 60000, 500000),
    "mandelbrot": (10, 80, 500),
}
WITH_TWIN = ["matrix", "fir", "nbody", "complex_fast", "sum", "letters"]  # the others are written with intrinsics
SIZE_NAMES = ["small", "middle", "large"]


@dataclass
class Setting:
    rounds: int
    short_rounds: int  # of what takes no time, and is soonest disturbed
    sizes: int  # how many of the three
    milliseconds: int  # of a single instruction's loop, at least
    executions: int  # of an instruction, for scaling


SETTINGS = {
    "full": Setting(rounds=3, short_rounds=9, sizes=3, milliseconds=10, executions=400000),
    "quick": Setting(rounds=3, short_rounds=5, sizes=2, milliseconds=3, executions=100000),
    "smoke": Setting(rounds=1, short_rounds=1, sizes=1, milliseconds=1, executions=2000),
}


class Suite:
    def __init__(self, setting, stage, build, output):
        self.setting, self.build, self.output = setting, build, output
        self.sverun = str(stage / "bin/sverun")
        self.rows = {}  # part -> rows of its CSV file
        version = subprocess.run([self.sverun, "--version"], check=True, capture_output=True, text=True).stdout
        self.bits = int(re.search(r"(\d+)-bit", version)[1])
        self.prefixes = {
            EMULATED: [self.sverun],
            UNCOUNTED: [self.sverun, "--no-stats"],
            TRAPPING: [self.sverun, "--trap-every-time"],
            WITHOUT: PROCESSOR,
        }
        if shutil.which("qemu-aarch64"):
            cpu = f"max,sve{self.bits}=on,sve-default-vector-length={self.bits // 8}"
            self.prefixes[SVE] = ["qemu-aarch64", "-cpu", cpu, *SYSROOT]
        self.modes = [mode for mode in MODES if mode in self.prefixes]

    def run(self, mode, program, *arguments):
        """What the program prints, and the seconds of processor time that it takes."""
        command = [*self.prefixes[mode], str(self.build / program), *map(str, arguments)]
        before = processor_time_of_children()
        done = subprocess.run(command, capture_output=True)
        seconds = processor_time_of_children() - before
        if done.returncode:
            sys.exit(f"suite.py: status {done.returncode} of: {' '.join(command)}\n{done.stderr.decode()[-500:]}")
        return done.stdout, seconds

    def in_turns(self, jobs, rounds=None):
        """Calls each of a dictionary of functions once in each round; every other round goes backwards."""
        values = {key: [] for key in jobs}
        for turn in range(rounds or self.setting.rounds):
            for key in list(jobs) if turn % 2 == 0 else reversed(jobs):
                values[key].append(jobs[key]())
        return values

    def record(self, part, what, mode, size, unit, values):
        """A row of the CSV file: the median, the least and the greatest value. Returns these."""
        triple = statistics.median(values), min(values), max(values)
        self.rows.setdefault(part, []).append([what, mode, size, *(f"{value:.6g}" for value in triple), unit])
        return triple

    def write_csv(self):
        for part, rows in self.rows.items():
            with open(self.output / f"{part}.csv", "w", newline="") as file:
                writer = csv.writer(file)
                writer.writerow(["what", "mode", "size", "value", "least", "greatest", "unit"])
                writer.writerows(rows)

    def write_chart(self, part, svg):
        (self.output / f"performance-{part}.svg").write_text(svg)

    # ---- Whole programs -----------------------------------------------------------------------------

    def program_run(self, name, size, mode):
        where = "examples" if name in ("letters", "primes") else "tests/programs"
        program = f"bench/{name}_without_sve" if mode == WITHOUT else f"{where}/{name}"
        argument = self.output / f"letters-{size}.txt" if name == "letters" else size
        return self.run(mode, program, argument)

    def programs(self):
        source = LETTERS_TEXT.read_bytes()
        rows, chart = [], []
        for name, sizes in SIZES.items():
            for size in sizes[:self.setting.sizes]:
                if name == "letters":
                    text = (source * (size // len(source) + 1))[:size]
                    (self.output / f"letters-{size}.txt").write_bytes(text)
                modes = [mode for mode in self.modes if mode != WITHOUT or name in WITH_TWIN]
                runs = self.in_turns({mode: lambda mode=mode: self.program_run(name, size, mode) for mode in modes})
                if any(runs[mode][0][0] != runs[EMULATED][0][0] for mode in modes if mode != WITHOUT):
                    sys.exit(f"suite.py: {name} {size} does not print the same in all modes")
                seconds = {mode: [one[1] for one in runs[mode]] for mode in modes}
                ratios = {}
                for mode in modes:
                    self.record("programs", name, mode, size, "s", seconds[mode])
                    ratios[mode] = self.record("programs", name, mode, size, "of sverun's time",
                                               [a / b for a, b in zip(seconds[mode], seconds[EMULATED])])
                rows.append([name, size, f"{statistics.median(seconds[EMULATED]):.2f} s",
                             *(span(ratios.get(mode)) for mode in MODES[1:])])
            chart.append((name, [ratios.get(mode) for mode in MODES]))
        largest = SIZE_NAMES[self.setting.sizes - 1]
        shown = [i for i, mode in enumerate(MODES) if any(values[i] for _, values in chart)]
        self.write_chart("programs", charts.dots(
            f"Time of whole programs, {largest} sizes: sverun's is 1",
            "time relative to sverun (median, least to greatest)",
            [MODES[i] for i in shown], [(name, [values[i] for i in shown]) for name, values in chart]))
        return table(["program", "size", *MODES], rows)

    # ---- Single instructions ------------------------------------------------------------------------

    def instruction_costs(self, mode):
        output, _ = self.run(mode, "bench/instruction_cost", self.setting.milliseconds)
        lines = [line.split("\t") for line in output.decode().splitlines()]
        return {(family, route, text): float(cost) for family, route, text, cost in lines}

    def instructions(self):
        modes = [mode for mode in self.modes if mode != WITHOUT]
        runs = self.in_turns({mode: lambda mode=mode: self.instruction_costs(mode) for mode in modes})
        keys = list(runs[EMULATED][0])
        cost, ratio = {}, {}
        for mode in modes:
            for key in keys:
                what = "{} {}: {}".format(*key)
                cost[mode, key] = self.record("instructions", what, mode, "", "ns", [run[key] for run in runs[mode]])[0]
                ratio[mode, key] = self.record("instructions", what, mode, "", "of the first one's time",
                                               [run[key] / run[keys[0]] for run in runs[mode]])[0]

        def middle(of, mode, group):
            return statistics.median(of[mode, key] for key in group)
        rows, chart, routes = [], {}, ["direct", "reference"]
        for family, route in dict.fromkeys(key[:2] for key in keys):
            group = [key for key in keys if key[:2] == (family, route)]
            times = chart.setdefault(family, {})[route] = middle(ratio, EMULATED, group)
            rows.append([family, route, len(group), number(times),
                         *(f"{number(middle(cost, mode, group))} ns" if mode in modes else "–"
                           for mode in MODES[:4])])
        self.write_chart("instructions", charts.bars(
            "Time of an emulated instruction, by family and route", f"times that of {keys[0][2]}", routes,
            [(family, [times.get(route) for route in routes]) for family, times in chart.items()]))
        return keys[0][2], table(["family", "route", "instructions", "of the first", *MODES[:4]], rows)

    # ---- Sites, threads, start-up -------------------------------------------------------------------

    def scaling(self):
        modes, counts, threads = [EMULATED, UNCOUNTED], [1, 10, 100, 1000, 10000], [1, 2, 4, 8]

        def figures(mode, what, count):
            executions = self.setting.executions * (4 if what == "threads" else 1)
            return [float(word) for word in self.run(mode, "bench/scaling", what, count, executions)[0].split()]

        rounds = self.setting.short_rounds
        sites = self.in_turns({(mode, count): lambda mode=mode, count=count: figures(mode, "sites", count)
                               for count in counts for mode in modes}, rounds)
        cost, rows = {mode: [] for mode in modes}, []
        for mode in modes:
            for count in counts:
                values = [ns for ns, _ in sites[mode, count]]
                cost[mode].append(self.record("scaling", "sites", mode, count, "ns", values)[0])
        for i, count in enumerate(counts):
            rows.append([f"addresses: {count:,}", *(f"{number(cost[mode][i])} ns" for mode in modes)])
        memory = [self.record("scaling", "memory of a site", mode, "", "bytes",
                              [(many[1] - few[1]) / 9990 for many, few in zip(sites[mode, 10000], sites[mode, 10])])
                  for mode in modes]
        rows.append(["memory for each address", *(f"{number(triple[0])} bytes" for triple in memory)])

        work = self.in_turns({(mode, count): lambda mode=mode, count=count: figures(mode, "threads", count)[0]
                              for count in threads for mode in modes}, rounds)
        speed = {mode: [] for mode in modes}
        for mode in modes:
            for count in threads:
                values = [one / many for one, many in zip(work[mode, 1], work[mode, count])]
                triple = self.record("scaling", "threads", mode, count, "of one thread's throughput", values)
                speed[mode].append(triple[0])
        for i, count in enumerate(threads[1:], 1):
            rows.append([f"throughput of {count} threads, of one's", *(number(speed[mode][i]) for mode in modes)])

        modes_of_start = [*modes, WITHOUT]
        start = self.in_turns({mode: lambda mode=mode: 1000 * self.run(mode, "bench/nothing")[1]
                               for mode in modes_of_start}, rounds)
        triples = {mode: self.record("scaling", "start-up", mode, "", "ms", start[mode]) for mode in modes_of_start}
        rows.append(["program that does nothing", *(f"{number(triples[mode][0])} ms" for mode in modes)])
        rows.append(["the same run directly", f"{number(triples[WITHOUT][0])} ms", ""])
        self.write_chart("scaling", charts.lines(
            "One emulated instruction at many addresses, and in many threads", modes,
            [("nanoseconds of an execution", "addresses in the loop", counts, cost),
             ("throughput, of one thread's", f"threads ({os.cpu_count()} processors)", threads, speed)]))
        return table(["", *modes], rows)


def processor_time_of_children():
    """Other than the time on a clock, it does not tell how busy the machine is."""
    usage = resource.getrusage(resource.RUSAGE_CHILDREN)
    return usage.ru_utime + usage.ru_stime


def span(triple):
    return f"{number(triple[0])} ({number(triple[1])}–{number(triple[2])})" if triple else "–"


def table(head, rows):
    """A table of Markdown that is legible as it is; numbers to the right."""
    rows = [[str(cell) for cell in row] for row in rows]
    widths = [max(len(row[i]) for row in [head, *rows]) for i in range(len(head))]
    right = [any(re.match(r"\d", row[i]) for row in rows) for i in range(len(head))]

    def line(cells):
        return "| " + " | ".join(cell.rjust(width) if to_right else cell.ljust(width)
                                 for cell, width, to_right in zip(cells, widths, right)) + " |"
    rules = ["-" * (width + 1) + (":" if to_right else "-") for width, to_right in zip(widths, right)]
    return "\n".join([line(head), f"|{'|'.join(rules)}|", *map(line, rows)])


def machine():
    """What all this was measured on, in a sentence."""
    text = f"an {platform.machine()} machine with {os.cpu_count()} processors"
    if not shutil.which("qemu-aarch64"):
        return text + ", without an emulator of SVE processors"
    version = subprocess.run(["qemu-aarch64", "--version"], check=True, capture_output=True, text=True).stdout
    what = "SVE processors" if ON_AARCH64 else "all AArch64 programs"
    return f"{text}, {what} on a user-mode emulator, {version.splitlines()[0]}"


REPORT = """# Performance

{measured}

{caution}To repeat it: `make bench`, which leaves this page and its charts, and all values as CSV, in `build/bench`.

## Whole programs

![Time of whole programs](performance-programs.svg)

The processor time of the whole program, its start included, and that of the others as a multiple of sverun's in the
same round. "Trapping each time" is `sverun --trap-every-time`. "Built without SVE" is the same source for a processor
without it, where the compiler uses Advanced SIMD; a dash stands where the source has SVE intrinsics.

{programs}

## Single instructions

![Time of an emulated instruction](performance-instructions.svg)

The time of one instruction without the loop around it: the median of a few instructions of each family and route
(`bench/instructions.def`). "Of the first" is sverun's time as a multiple of that of `{first}`.

{instructions}

## Sites, memory, threads, start

![One emulated instruction at many addresses, and in many threads](performance-scaling.svg)

One execution of `add z0.s, z1.s, z2.s`, at many addresses that take turns, its part of the jump to them included;
the memory is the program's. Threads run the same loop of one instruction each.

{scaling}
"""
MEASURED = """Measured by `make bench{setting}` on {machine}. The load of the machine was {before:.1f} when it began
and {after:.1f} when it ended. Vectors have {bits} bits. Everything was run {rounds} times, in turns; a value is the
median, the range is from the least to the greatest. Sites, threads and start-up were run {short_rounds} times."""
CAUTION = """A processor emulator translates all that runs here, so the times are its own, and a processor's ratios will
be others. Above all, many addresses are dear on it: as many AArch64 instructions are executed for one emulated
instruction at 10,000 addresses as at one.

"""


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--setting", choices=SETTINGS, default="full")
    for name in ("stage", "build", "output"):
        parser.add_argument(name, type=lambda text: Path(text).resolve())
    options = parser.parse_args()
    options.output.mkdir(parents=True, exist_ok=True)
    suite = Suite(SETTINGS[options.setting], options.stage, options.build, options.output)
    before = os.getloadavg()[0]
    programs = suite.programs()
    first, instructions = suite.instructions()
    scaling = suite.scaling()
    suite.write_csv()
    measured = MEASURED.format(
        setting="" if options.setting == "full" else f" BENCH={options.setting}", machine=machine(), before=before,
        after=os.getloadavg()[0], bits=suite.bits, rounds=suite.setting.rounds,
        short_rounds=suite.setting.short_rounds)
    report = REPORT.format(measured=textwrap.fill(measured, 118, break_on_hyphens=False), caution="" if ON_AARCH64 else CAUTION,
                           programs=programs, first=first, instructions=instructions, scaling=scaling)
    (options.output / "performance.md").write_text(report)
    print(report)


if __name__ == "__main__":
    main()
