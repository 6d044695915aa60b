#!/usr/bin/env bash
# Runs a program under the launcher, and by a command that has a processor with SVE. Fails unless it is
# emulated in the first run, both runs have the same standard output, and both end with status 0.
#
#     compare.sh [-n TIMES] [-s STATUS] [-t TOTAL] [-o OPTION] SVERUN SVE_PROCESSOR... -- PROGRAM ARGUMENTS...
#
# With -n the emulated run is repeated: what goes wrong by an accident of timing may do so rarely. In turns code is
# rewritten as usual, when it is met, so without translation, and never. -s is another status than 0 that the program is to end with. With -t
# the total of emulated instructions must be this one, or `none` printed. A program that a signal ends prints no
# totals. -o is an option of the launcher's.
set -u
times=1 status=0 total='[1-9][0-9]*'
[[ $1 == -n ]] && times=$2 && shift 2
[[ $1 == -s ]] && status=$2 && shift 2
[[ $1 == -t ]] && total=$2 && shift 2
options=()
[[ $1 == -o ]] && options=("$2") && shift 2
sverun=("$1" "${options[@]}")
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
: >"$directory/totals"
"${processor[@]}" "$@" >"$directory/real" 2>"$directory/real_errors" </dev/null
real_status=$?
fail() {
    echo "FAILED: $1"
    tail -n 5 "$directory/totals"
    exit 1
}
[[ $real_status == "$status" ]] ||
    { tail -n 5 "$directory/real_errors" && fail "status $real_status with SVE, and not $status"; }
[[ -s $directory/real ]] || { tail -n 5 "$directory/real_errors" && fail "the program prints nothing"; }

ways=("" --rewrite-after=1 "--rewrite-after=1 --no-translate" --trap-every-time)
for ((time = 1; time <= times; time++)); do
    SVERUN_OPTIONS=${ways[(time - 1) % 4]} "${sverun[@]}" "$@" >"$directory/emulated" 2>"$directory/totals" </dev/null
    emulated_status=$?
    [[ $emulated_status == "$status" ]] ||
        fail "run $time: status $emulated_status under sverun, $status with SVE"
    if [[ $total == none ]]; then
        ! grep -q "SVE instructions executed$" "$directory/totals" || fail "run $time: there are totals"
    elif ((status < 128)); then
        grep -qE ": $total SVE instructions executed$" "$directory/totals" ||
            fail "run $time: the total isn't $total"
    fi
    cmp "$directory/real" "$directory/emulated" ||
        { diff -a "$directory/real" "$directory/emulated" | head -n 20 && fail "run $time differs"; }
done
cat "$directory/totals"
echo "$(wc -c <"$directory/real") bytes of output are equal, $times times"
