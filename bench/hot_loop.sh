#!/usr/bin/env bash
# Time of one emulated instruction, rewritten and trapping every time, in turns so that the machine's
# drift meets both; and the traps that a long loop takes.
#
#     bench/hot_loop.sh SVERUN HOT_LOOP [ROUNDS]
set -euo pipefail
sverun=$1 program=$2 rounds=${3:-9}

rewritten=() trapping=()
for ((round = 0; round < rounds; round++)); do
    rewritten+=("$("$sverun" "$program" 1000000 2>/dev/null)")
    trapping+=("$("$sverun" --trap-every-time "$program" 100000 2>/dev/null)")
done
paste <(printf '%s\n' "${rewritten[@]}") <(printf '%s\n' "${trapping[@]}") |
    awk '{ a[NR] = $1; b[NR] = $2; r[NR] = $2 / $1 }
         function show(what, v, unit,   i, j, t) {
             for (i = 1; i <= NR; i++)
                 for (j = i + 1; j <= NR; j++)
                     if (v[j] < v[i]) { t = v[i]; v[i] = v[j]; v[j] = t }
             printf "%-28s min %8.1f  median %8.1f  max %8.1f %s\n", what, v[1], v[int((NR + 1) / 2)], v[NR], unit
         }
         END { show("rewritten", a, "ns"); show("trapping every time", b, "ns"); show("ratio of a round", r, "") }'

if [[ $(uname -m) != aarch64 ]]; then
    # The processor emulator's trace shows each signal.
    traps=$(QEMU_STRACE=1 "$sverun" "$program" 10000000 2>&1 | grep -c -- '--- SIGILL')
    printf 'traps in 10,000,100 executions of two sites: %s\n' "$traps"
fi
