#!/usr/bin/env bash
# The totals of a program are the same whether native instructions are replaced in it or not.
#
#     counted_natives_test.sh SVERUN CLIENT PROGRAM
set -u
sverun=$1 client=$2 program=$3
source "$(dirname "$0")/checks.sh"

for option in '' --trap-every-time; do
    run "$sverun" --report $option --client "$client" "$program"
    expect_status 0
    expect err ".*, native instructions rewritten 0"
    expect err ".*: [1-9][0-9]* Non-SVE AArch64 instructions executed"
    totals=$(grep 'instructions executed$' err)
    output=$(cat out)

    run "$sverun" --report $option --client "$client" "$program" replaced
    expect_status 0
    expect_out "$output"
    expect err ".*, native instructions rewritten 6"
    checks=$((checks + 1))
    [[ $(grep 'instructions executed$' err) == "$totals" ]] || fail "the totals are not $totals"
done
finish
