#!/usr/bin/env python3
"""Measures what emulation costs, in turns, and writes the figures as CSV files and the page of them.

    suite.py [--setting full|quick|smoke] [--only PART] STAGE AARCH64_BUILD OUTPUT

STAGE is where everything is installed, AARCH64_BUILD the build of the AArch64 programs. `page.py OUTPUT` draws
the page again. With --only, one CSV file is written anew beside the others that OUTPUT has.
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
from dataclasses import dataclass
from pathlib import Path

import page
from page import EMULATED, UNCOUNTED, TRAPPING, SVE, WITHOUT

ON_AARCH64 = platform.machine() == "aarch64"
SYSROOT = [] if ON_AARCH64 else ["-L", os.environ.get("QEMU_LD_PREFIX") or "/usr/aarch64-linux-gnu"]
PROCESSOR = [] if ON_AARCH64 else ["qemu-aarch64", "-cpu", "neoverse-n1", *SYSROOT]  # without SVE, as sverun's
MODES = [EMULATED, UNCOUNTED, TRAPPING, SVE]  # WITHOUT for a few programs
LETTERS_TEXT = Path(__file__).parent.parent / "examples/letters.c"

# Short, middle, long runs: some 20 thousand emulated instructions, some 150 thousand, and one or two million.
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
SITES, THREADS = [1, 10, 100, 1000, 10000], [1, 2, 4, 8]
# Functions, how often all of them are called, and mappings that the process has beside its own.
ONCE = [(4000, 1, 20), (4000, 2, 20), (4000, 10, 20), (400, 1000, 20), (4000, 1, 2000)]


@dataclass
class Setting:
    rounds: int
    short_rounds: int  # of what takes no time, and is soonest disturbed
    sizes: int  # how many of the three
    milliseconds: int  # of a single instruction's loop, at least
    executions: int  # of an instruction, for scaling
    functions: float  # of those that run once, the part that is called


SETTINGS = {
    "full": Setting(rounds=3, short_rounds=9, sizes=3, milliseconds=10, executions=400000, functions=1),
    "quick": Setting(rounds=3, short_rounds=5, sizes=2, milliseconds=3, executions=100000, functions=1),
    "smoke": Setting(rounds=1, short_rounds=1, sizes=1, milliseconds=1, executions=2000, functions=0.01),
}


class Suite:
    def __init__(self, setting, parts, stage, build, output):
        self.name, self.setting, self.build, self.output = setting, SETTINGS[setting], build, output
        self.rows = {part: [] for part in parts}  # of its CSV file
        sverun = str(stage / "bin/sverun")
        version = subprocess.run([sverun, "--version"], check=True, capture_output=True, text=True).stdout
        self.bits = int(re.search(r"(\d+)-bit", version)[1])
        cpu = f"max,sve{self.bits}=on,sve-default-vector-length={self.bits // 8}"
        self.prefixes = {
            EMULATED: [sverun],
            UNCOUNTED: [sverun, "--no-stats"],
            TRAPPING: [sverun, "--trap-every-time"],
            SVE: ["qemu-aarch64", "-cpu", cpu, *SYSROOT],
            WITHOUT: PROCESSOR,
        }

    def run(self, mode, program, *arguments):
        """What the program prints, the seconds of processor time that it takes, and its errors."""
        command = [*self.prefixes[mode], str(self.build / program), *map(str, arguments)]
        before = processor_time_of_children()
        done = subprocess.run(command, capture_output=True)
        seconds = processor_time_of_children() - before
        if done.returncode:
            sys.exit(f"suite.py: status {done.returncode} of: {' '.join(command)}\n{done.stderr.decode()[-500:]}")
        return done.stdout, seconds, done.stderr

    def in_turns(self, function, keys, rounds=None):
        """The results of function(key), called once for each key in each round; every other round goes backwards."""
        results = {key: [] for key in keys}
        for turn in range(rounds or self.setting.rounds):
            for key in keys if turn % 2 == 0 else reversed(keys):
                results[key].append(function(key))
        return results

    def record(self, part, what, mode, size, unit, values):
        figures = statistics.median(values), min(values), max(values)
        self.rows[part].append([what, mode, size, *(f"{value:.8g}" for value in figures), unit])

    def measure(self):
        """Writes the CSV files, and what they were measured on."""
        before = os.getloadavg()[0]
        for part in self.rows:
            getattr(self, part)()
        for part, rows in self.rows.items():
            with open(self.output / f"performance-{part}.csv", "w", newline="") as file:
                csv.writer(file, lineterminator="\n").writerows([page.COLUMNS, *rows])
        if len(self.rows) < len(page.PARTS):
            return
        emulator = subprocess.run(["qemu-aarch64", "--version"], check=True, capture_output=True, text=True).stdout
        measured = f"""Measured by `make bench{"" if self.name == "full" else f" BENCH={self.name}"}` on an
        {platform.machine()} machine with {os.cpu_count()} processors,
        {"SVE processors" if ON_AARCH64 else "all AArch64 programs"} on a user-mode emulator,
        {emulator.splitlines()[0]}. The load of the machine was {before:.1f} when it began and {os.getloadavg()[0]:.1f}
        when it ended. Vectors have {self.bits} bits. Everything was run {self.setting.rounds} times, in turns; a value
        is the median, the range is from the least to the greatest. Sites, threads and start-up were run
        {self.setting.short_rounds} times."""
        (self.output / "performance-measured.txt").write_text(
            page.filled(measured) + "\n" + ("" if ON_AARCH64 else CAUTION))

    def program_run(self, mode, name, size):
        where = "examples" if name in ("letters", "primes") else "tests/programs"
        program = f"bench/{name}_without_sve" if mode == WITHOUT else f"{where}/{name}"
        argument = self.output / f"letters-{size}.txt" if name == "letters" else size
        return self.run(mode, program, argument)

    def programs(self):
        source = LETTERS_TEXT.read_bytes()
        for size in SIZES["letters"]:
            (self.output / f"letters-{size}.txt").write_bytes((source * (size // len(source) + 1))[:size])
        for name, size in [(name, size) for name in SIZES for size in SIZES[name][:self.setting.sizes]]:
            modes = [*MODES, WITHOUT] if name in WITH_TWIN else MODES
            runs = self.in_turns(lambda mode: self.program_run(mode, name, size), modes)
            must_agree(runs, f"{name} {size}")
            seconds = {mode: [one[1] for one in runs[mode]] for mode in modes}
            for mode in modes:
                ratios = [a / b for a, b in zip(seconds[mode], seconds[EMULATED])]
                self.record("programs", name, mode, size, "s", seconds[mode])
                self.record("programs", name, mode, size, page.RATIO, ratios)

    def instruction_costs(self, mode):
        output, *_ = self.run(mode, "bench/instruction_cost", self.setting.milliseconds)
        lines = [line.split("\t") for line in output.decode().splitlines()]
        return {f"{family} {tier}: {text}": float(cost) for family, tier, text, cost in lines}

    def instructions(self):
        for mode, rounds in self.in_turns(self.instruction_costs, MODES).items():
            first, *_ = rounds[0]
            for what in rounds[0]:
                self.record("instructions", what, mode, "", "ns", [costs[what] for costs in rounds])
                self.record("instructions", what, mode, "", "of the first one's time",
                            [costs[what] / costs[first] for costs in rounds])

    def scaling_run(self, mode, what, count):
        executions = self.setting.executions * (4 if what == "threads" else 1)
        return [float(word) for word in self.run(mode, "bench/scaling", what, count, executions)[0].split()]

    def scaling(self):
        rounds, modes = self.setting.short_rounds, [EMULATED, UNCOUNTED]
        sites, threads = (
            self.in_turns(lambda key: self.scaling_run(key[1], what, key[0]),
                          [(count, mode) for count in counts for mode in modes], rounds)
            for what, counts in (("sites", SITES), ("threads", THREADS)))
        for (count, mode), runs in sites.items():
            self.record("scaling", page.FIRST, mode, count, "ns", [first for first, _, _ in runs])
            self.record("scaling", page.LATER, mode, count, "ns", [later for _, later, _ in runs])
        for mode in modes:
            self.record("scaling", "memory of a site", mode, "", "bytes",
                        [(many[2] - few[2]) / 9990 for many, few in zip(sites[10000, mode], sites[10, mode])])
        for (count, mode), runs in threads.items():
            throughput = [one / many for (one,), (many,) in zip(threads[1, mode], runs)]
            self.record("scaling", "threads", mode, count, page.THROUGHPUT, throughput)
        self.record("scaling", "processors", "", "", "", [os.cpu_count()])

    def once_run(self, mode, functions, calls, mappings):
        output, seconds, errors = self.run(mode, "bench/once", int(functions * self.setting.functions), calls, mappings)
        times = re.search(r"once: (\S+) us of processor time and (\S+) us", errors.decode())
        return output, {"µs": float(times[1]), "µs by the clock": float(times[2]), "s": seconds}

    def once(self):
        for functions, calls, mappings in ONCE:
            runs = self.in_turns(lambda mode: self.once_run(mode, functions, calls, mappings), MODES)
            must_agree(runs, f"once {functions} {calls} {mappings}")
            for mode in MODES:
                what, figures = f"{mappings} mappings", [figures for _, figures in runs[mode]]
                for unit in figures[0]:
                    self.record("once", what, mode, calls, unit, [one[unit] for one in figures])
                ratios = [one["µs"] / sverun["µs"] for one, (_, sverun) in zip(figures, runs[EMULATED])]
                self.record("once", what, mode, calls, page.RATIO, ratios)
        start = self.in_turns(lambda mode: 1000 * self.run(mode, "bench/nothing")[1], [EMULATED, UNCOUNTED, WITHOUT],
                              self.setting.short_rounds)
        for mode, milliseconds in start.items():
            self.record("once", "start-up", mode, "", "ms", milliseconds)


def must_agree(runs, what):
    """Of what prints something: {mode: [(output, …) of each round]}. Without SVE, sums may be others."""
    if len({output for mode in MODES for output, *_ in runs[mode]}) > 1:
        sys.exit(f"suite.py: {what} does not print the same in all modes")


def processor_time_of_children():
    """Other than the time on a clock, it does not tell how busy the machine is."""
    usage = resource.getrusage(resource.RUSAGE_CHILDREN)
    return usage.ru_utime + usage.ru_stime


CAUTION = """
A processor emulator translates all that runs here, so the times are its own, and a processor's ratios will
be others. Above all, many addresses are dear on it: as many AArch64 instructions are executed for one emulated
instruction at 10,000 addresses as at one.
"""


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--setting", choices=SETTINGS, default="full")
    parser.add_argument("--only", choices=page.PARTS, help="what to measure again, instead of everything")
    for name in ("stage", "build", "output"):
        parser.add_argument(name, type=lambda text: Path(text).resolve())
    options = parser.parse_args()
    if not shutil.which("qemu-aarch64"):
        sys.exit("suite.py: there is no qemu-aarch64, the SVE processor to compare with: install qemu-user")
    options.output.mkdir(parents=True, exist_ok=True)
    parts = [options.only] if options.only else page.PARTS
    for part in page.PARTS:
        if part not in parts and not (options.output / f"performance-{part}.csv").exists():
            sys.exit(f"suite.py: there is no performance-{part}.csv in {options.output}: measure all, without --only")
    Suite(options.setting, parts, options.stage, options.build, options.output).measure()
    print(page.write(options.output))


if __name__ == "__main__":
    main()
