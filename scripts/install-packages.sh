#!/usr/bin/env bash
# Installs the Debian or Ubuntu packages of the tools that are missing for building and running; with --tests (benchmarks
# are among them), --package or --kernel those that only these need, too. Does nothing where all tools are there, wherever
# they come from. Works as root or with sudo; otherwise, and on other systems, says what is missing.
set -euo pipefail

missing=()
need() { # PACKAGE TEST...: the package, unless the test succeeds
    "${@:2}" >/dev/null 2>&1 || missing+=("$1")
}
need_command() { # PACKAGE COMMAND
    need "$1" command -v "$2"
}
need_command cmake cmake
need_command ninja-build ninja
need_command g++ "${CXX:-g++}" # the environment may name another one, as for CMake
if [[ $(uname -m) != aarch64 ]]; then
    need_command qemu-user qemu-aarch64
    # The cross compiler, with the libraries that programs run with on the processor emulator. Clang uses its files.
    version=
    [[ ${CXX-} == *clang* ]] || version=$(grep -oE -- '-[0-9]+$' <<<"${CXX-}" || true)
    need_command "g++$version-aarch64-linux-gnu" "aarch64-linux-gnu-g++$version"
    need libc6-dev-arm64-cross test -e /usr/aarch64-linux-gnu/include/stdio.h
fi
for purpose; do
    case $purpose in
    --tests)
        need_command qemu-user qemu-aarch64 # also the SVE processor to compare with
        need_command python3 python3
        need_command pkg-config pkg-config
        need_command gdb-multiarch gdb-multiarch
        need googletest test -e "${SVE_GOOGLETEST_DIR:-/usr/src/googletest}/CMakeLists.txt"
        need libbenchmark-dev "${CXX:-g++}" -E -include benchmark/benchmark.h -x c++ /dev/null
        ;;
    --package)
        need_command debhelper dh
        ;;
    --kernel)
        need_command qemu-system-arm qemu-system-aarch64
        need_command cpio cpio
        ;;
    esac
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
