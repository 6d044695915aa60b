#!/usr/bin/env bash
# Installs the Debian or Ubuntu packages that building and running need; with --tests, --package or
# --kernel, those that only `make test`, `make package` or `make kernel-test` needs, too. Does nothing where all are
# there. Works as root or with sudo; otherwise says what it would install.
set -euo pipefail

# qemu-user is also the SVE processor of the conformance tests.
packages=(cmake ninja-build g++ googletest libbenchmark-dev qemu-user pkg-config python3)
if [[ $(uname -m) != aarch64 ]]; then
    # The cross compiler, and the libraries that programs run with on the processor emulator.
    packages+=(g++-aarch64-linux-gnu libc6-dev-arm64-cross)
fi
[[ ${1-} != --tests ]] || packages+=(gdb-multiarch)
[[ ${1-} != --package ]] || packages+=(debhelper)
[[ ${1-} != --kernel ]] || packages+=(qemu-system-arm cpio)

missing=()
for package in "${packages[@]}"; do
    if ! dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'install ok installed'; then
        missing+=("$package")
    fi
done
[[ ${#missing[@]} -gt 0 ]] || exit 0

if ! command -v apt-get >/dev/null; then
    echo "Not a Debian or Ubuntu machine: install what corresponds to: ${missing[*]}" >&2
    exit 1
fi
if [[ $EUID -eq 0 ]]; then
    as_root=()
elif command -v sudo >/dev/null; then
    as_root=(sudo)
else
    echo "Missing packages; as root: apt-get install ${missing[*]}" >&2
    exit 1
fi
echo "Installing: ${missing[*]}"
"${as_root[@]}" apt-get update -q
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -q --no-install-recommends "${missing[@]}"
