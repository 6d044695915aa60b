#!/usr/bin/env bash
# Runs a program under the launcher, and by a command that has a processor with SVE. Fails unless it is
# emulated in the first run and both runs have the same standard output and status.
#
#     compare.sh SVERUN SVE_PROCESSOR... -- PROGRAM ARGUMENTS...
set -u
sverun=$1
shift
processor=()
while [[ $1 != -- ]]; do
    processor+=("$1")
    shift
done
shift
if ! command -v "${processor[0]}" >/dev/null; then
    echo "SKIPPED: no ${processor[0]} here to have a processor with SVE"
    exit 77
fi

directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
"$sverun" "$@" >"$directory/emulated" 2>"$directory/totals" </dev/null
emulated_status=$?
"${processor[@]}" "$@" >"$directory/real" </dev/null
real_status=$?
cat "$directory/totals"

[[ $emulated_status == "$real_status" ]] ||
    { echo "FAILED: status $emulated_status under sverun, $real_status with SVE" && exit 1; }
[[ -s $directory/real ]] || { echo "FAILED: the program prints nothing" && exit 1; }
grep -qE ': [1-9][0-9]* SVE instructions executed$' "$directory/totals" ||
    { echo "FAILED: nothing was emulated" && exit 1; }
cmp "$directory/real" "$directory/emulated" || { diff -a "$directory/real" "$directory/emulated" | head -n 20; exit 1; }
echo "$(wc -c <"$directory/real") bytes of output are equal"
