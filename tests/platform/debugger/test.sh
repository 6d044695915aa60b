#!/usr/bin/env bash
# Backtraces and steps in a debugger, with sverun-gdb.py; and the debug data of the libraries, which are installed
# without it.
#
#     test.sh SVERUN PROGRAM UNWINDERS SYSROOT CMAKE BUILD [--no-translate]
#
# BUILD is the build directory to install debug data from.
set -u
sverun=$1 program=$2 unwinders=$3 sysroot=$4 cmake=$5 build=$6 option=${7:-}
for tool in qemu-aarch64 gdb-multiarch; do
    command -v $tool >/dev/null || { echo "SKIPPED: no $tool here" && exit 77; }
done
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
printf '#!/bin/sh\nexec qemu-aarch64 -g %s "$@"\n' "$directory/socket" >"$directory/emulator"
chmod +x "$directory/emulator"
"$cmake" --install "$build" --component debug --prefix "$directory" >/dev/null || exit 1
timeout 240 "$sverun" --rewrite-after=1 $option --emulator "$directory/emulator" "$program" >"$directory/out" 2>&1 &
for ((i = 0; i < 100; i++)); do
    [[ -S $directory/socket ]] && break
    sleep 0.1
done
timeout 240 gdb-multiarch -nx -batch -iex 'set pagination off' -iex "set sysroot $sysroot" \
    -iex "set solib-search-path ${sverun%/bin/*}/lib/sverun" \
    -iex "set debug-file-directory $directory/lib/debug" -ex "file $program" \
    -ex "target remote $directory/socket" -ex "source $unwinders" \
    -ex "source $(dirname "$0")/stops.py" >"$directory/said" 2>"$directory/errors"
wait
expected='leaf: right
sve_platform_call: right
the emulator: right
trampoline: right
lines: right
next: leaf True'
# Of the leaf there is one instruction before the code that stands for the others, and one behind it.
[[ $option ]] || expected="leaf: 2 right of 2
trampoline: right
lines: none of the libraries'
next: leaf True"
if [[ $(grep -E '^[a-z_ ]+: [a-z0-9]' "$directory/said") == "$expected" ]]; then
    echo "$expected"
else
    echo "FAILED:"
    tail -n 20 "$directory/said" "$directory/errors" "$directory/out"
    exit 1
fi
