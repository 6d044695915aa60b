#!/usr/bin/env python3
"""Runs the tests of whole programs under a Linux kernel, on an emulated AArch64 machine without SVE.

    test.py [--cpu MODEL] [--runs N] [--tests REGEX] [--count] BUILD STAGE

BUILD is the AArch64 build, STAGE what `make` has put together. The tests are those of ctest that compare a program
under sverun with the same on a processor with SVE. What it does there is recorded first, with the processor emulator
of one process; the machine then runs compare.sh with the record, and prints what a program tells of an instruction's
time. The kernel and what else the machine needs come from Debian's archive, by apt-get, into BUILD/kernel; nothing is
installed. Needs Debian's packages qemu-system-arm and cpio.
"""
import argparse
import glob
import json
import os
import re
import shlex
import shutil
import subprocess
import sys
from pathlib import Path

# The kernel, and static programs: the machine has no file system but the one in its memory.
PACKAGES = ["busybox-static", "bash-static"]
KERNEL_PACKAGE = "linux-image-arm64"
SYSROOT = "/usr/aarch64-linux-gnu"


def run(*command, **options):
    return subprocess.run(command, check=True, text=True, **options)


def download(directory):
    """Unpacks the packages, whose architecture may be another than this machine's, into directory/files."""
    files = directory / "files"
    if files.exists():
        return files
    packages = directory / "packages"
    for place in (packages, directory / "lists" / "partial", directory / "cache" / "archives" / "partial"):
        place.mkdir(parents=True, exist_ok=True)
    apt = ["-q", "-o", "APT::Architecture=arm64", "-o", "APT::Architectures=arm64",
           "-o", f"Dir::State::Lists={directory}/lists", "-o", "Dir::State::status=/dev/null",
           "-o", f"Dir::Cache={directory}/cache", "-o", "APT::Sandbox::User="]
    run("apt-get", *apt, "update", stdout=subprocess.DEVNULL)
    depends = run("apt-cache", *apt, "depends", KERNEL_PACKAGE, stdout=subprocess.PIPE).stdout
    kernel = re.search(r"Depends: (linux-image-\S+)", depends)[1]
    run("apt-get", *apt, "download", kernel, *PACKAGES, cwd=packages, stdout=subprocess.DEVNULL)
    for package in packages.iterdir():
        run("dpkg-deb", "-x", str(package), str(directory / "unpacked"))
    (directory / "unpacked").rename(files)
    return files


def tests(build, pattern):
    """For each test the words before compare.sh's options, the options, the SVE processor, and the program's words."""
    listed = run("ctest", "--test-dir", build, "--show-only=json-v1", stdout=subprocess.PIPE).stdout
    for test in json.loads(listed)["tests"]:
        command = test.get("command", [])
        if not re.search(pattern, test["name"]) or not command or not command[0].endswith("/compare.sh"):
            continue
        sverun = next(i for i, word in enumerate(command) if word.endswith("/sverun"))
        end = command.index("--")
        yield test["name"], command[0], command[1:sverun], command[sverun + 1:end], command[end + 1:]


class Root:
    """The machine's file system."""

    def __init__(self, path):
        self.path = path
        shutil.rmtree(path, ignore_errors=True)

    def add(self, source, place, strip=False):
        target = self.path / str(place).lstrip("/")
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy2(source, target)
        if strip:
            run("aarch64-linux-gnu-strip", "-g", str(target))

    def write(self, place, text):
        target = self.path / place.lstrip("/")
        target.parent.mkdir(parents=True, exist_ok=True)
        target.write_text(text)
        target.chmod(0o755)


def fill(root, files, build, stage, chosen, runs):
    for directory in ("bin", "proc", "sys", "dev", "tmp"):
        (root.path / directory).mkdir(parents=True)
    for name in ("busybox", "bash-static"):
        root.add(next(files.glob(f"**/bin/{name}")), f"/bin/{name}")
    (root.path / "bin/bash").symlink_to("bash-static")
    for library in glob.glob(f"{SYSROOT}/lib/*.so*"):
        if not re.search(r"lib\w+san\.", library):
            root.add(library, f"/lib/{os.path.basename(library)}")
    root.add(build / "tools/sverun", "/usr/bin/sverun", strip=True)
    for library in glob.glob(f"{stage}/lib/sverun/*.so"):
        root.add(library, f"/usr/lib/sverun/{os.path.basename(library)}", strip=True)
    for library in build.glob("tests/**/*.so"):  # programs know them by their place
        root.add(library, library, strip=True)

    script = ["#!/bin/busybox sh", "/bin/busybox --install -s /bin", "mount -t proc proc /proc",
              "mount -t sysfs sys /sys", "mount -t devtmpfs dev /dev", "mkdir -p /dev/shm",
              "mount -t tmpfs shm /dev/shm", "export PATH=/bin:/usr/bin", "uname -srm"]
    for number, (name, compare, options, processor, program) in enumerate(chosen):
        recorded = subprocess.run([*processor, *program], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                  stderr=subprocess.DEVNULL)
        status = recorded.returncode if recorded.returncode >= 0 else 128 - recorded.returncode
        (root.path / f"record{number}.out").write_bytes(recorded.stdout)
        root.write(f"/record{number}", f"#!/bin/sh\ncat /record{number}.out\nexit {status}\n")
        root.add(compare, compare)
        for word in program:
            if os.path.isfile(word):
                root.add(word, word)
        if "-n" in options:
            options[options.index("-n") + 1] = str(runs)
        words = shlex.join(["timeout", "300", "bash", compare, *options, "sverun", f"/record{number}", "--", *program])
        script.append(f"if {words} >/tmp/said 2>&1; then echo 'right: {name}'; grep ' us an instruction' /tmp/said; "
                      f"else echo 'WRONG: {name}'; tail -n 20 /tmp/said; fi")
    root.write("/init", "\n".join([*script, "poweroff -f", ""]))


def boot(directory, files, root, cpu, count):
    """Yields the lines that the machine prints."""
    image = directory / "root.cpio.gz"
    run("sh", "-c", f"find . | cpio -o -H newc --quiet | gzip -1 > {shlex.quote(str(image))}", cwd=root.path)
    kernel = next(files.glob("boot/vmlinuz-*"))
    machine = subprocess.Popen(
        ["qemu-system-aarch64", "-M", "virt", "-cpu", cpu, "-smp", "2", "-m", "3G", "-nic", "none", "-nographic",
         "-no-reboot", "-kernel", str(kernel), "-initrd", str(image), "-append", "console=ttyAMA0 quiet panic=-1",
         *(["-icount", "shift=0"] if count else [])],
        stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True, errors="replace")
    yield from machine.stdout
    machine.wait()


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--cpu", default="neoverse-n1", help="processor of qemu-system-aarch64's, without SVE")
    parser.add_argument("--runs", type=int, default=3, help="of each test that runs its program repeatedly")
    parser.add_argument("--tests", default=".", help="part of their names")
    parser.add_argument("--count", action="store_true",
                        help="the machine's time is a nanosecond for each of its instructions, not the clock's")
    parser.add_argument("build", type=Path)
    parser.add_argument("stage", type=Path)
    options = parser.parse_args()
    for tool in ("qemu-system-aarch64", "cpio", "apt-get", "dpkg-deb"):
        if not shutil.which(tool):
            sys.exit(f"test.py: no {tool} here: this needs Debian with the packages qemu-system-arm and cpio")
    build = options.build.resolve()
    # What --cpu asks of the processor emulator has no meaning on a machine.
    chosen = [test for test in tests(build, options.tests) if not any("--cpu" in word for word in test[2])]
    directory = build / "kernel"
    files = download(directory)
    root = Root(directory / "root")
    fill(root, files, build, options.stage.resolve(), chosen, options.runs)
    right = 0
    for line in boot(directory, files, root, options.cpu, options.count):
        print(line, end="", flush=True)
        right += line.startswith("right: ")
    print(f"{right} of {len(chosen)} tests right")
    sys.exit(right != len(chosen) or not chosen)


main()
