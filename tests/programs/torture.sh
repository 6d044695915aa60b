#!/usr/bin/env bash
# By hand: programs under timer signals at 1 and 2 kHz whose handlers emulate themselves. Every output must be
# that of the run without signals. Tells how many signals there were, how many had to wait, and how many detours
# were taken for them.
#
#     torture.sh SVERUN STORM_LIBRARY TIMES PROGRAM...
#
# A program may be a quoted command line.
set -u
sverun=$1 storm=$2 times=$3
shift 3
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
total_runs=0 wrong=0 handlers=0 delivered=0 put_off=0 detours=0

number() { # PATTERN: the number that it has in its group, in the last line of the run's errors that matches
    local found
    found=$(sed -nE "s/.*$1.*/\\1/p" "$directory/errors" | tail -n 1)
    echo "${found:-0}"
}
for program in "$@"; do
    read -ra words <<<"$program"
    "$sverun" "${words[@]}" >"$directory/quiet" 2>/dev/null </dev/null
    quiet_status=$?
    for ((run = 1; run <= times; run++)); do
        LD_PRELOAD=$storm "$sverun" --report "${words[@]}" >"$directory/stormy" 2>"$directory/errors" </dev/null
        status=$?
        total_runs=$((total_runs + 1))
        if [[ $status != "$quiet_status" ]] || ! cmp -s "$directory/quiet" "$directory/stormy"; then
            wrong=$((wrong + 1))
            echo "WRONG: $program, run $run: status $status, not $quiet_status"
            grep -v '^ERROR: ld.so' "$directory/errors" | tail -n 5
        fi
        delivered=$((delivered + $(number 'delivered ([0-9]+)')))
        put_off=$((put_off + $(number 'put off ([0-9]+)')))
        detours=$((detours + $(number 'detours ([0-9]+)')))
        handlers=$((handlers + $(number 'signal storm: ([0-9]+) handlers')))
    done
done
echo "$total_runs runs, $wrong wrong; $handlers handlers of the storm; signals delivered $delivered," \
    "put off $put_off, detours $detours"
[[ $wrong == 0 ]]
