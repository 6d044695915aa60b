#!/usr/bin/env bash
# What `sverun --profile` tells about programs whose counts are known, and how such programs end.
#
#     profile_test.sh SVERUN PROGRAM FIXED_PROGRAM STRIP CLIENT
#
# PROGRAM is profiled_program.cpp; FIXED_PROGRAM is the same, linked to a fixed address.
set -u
sverun=$1 program=$2 fixed_program=$3 strip=$4 client=$5
source_file=$(dirname "$0")/profiled_program.cpp
for file in "$sverun" "$program" "$fixed_program" "$client" "$source_file"; do
    [[ -e $file ]] || { echo "$file is missing" && exit 1; }
done
# shellcheck source=checks.sh
source "$(dirname "$0")/checks.sh"

line_of() { # FUNCTION
    echo $(($(grep -n "// mark of $1\$" "$source_file" | cut -d: -f1) + 1))
}
adds=profiled_program\\.cpp:$(line_of adds) counts=profiled_program\\.cpp:$(line_of counts)

# ---- The text

for kind in "$program" "$fixed_program"; do
    run "$sverun" --profile "$kind" functions 100
    expect_status 0
    expect err '1000 SVE instructions of [0-9]+-bit vectors at 3 addresses'
    expect err " +70\\.0% +700 +1 +counted::adds\\(.*\\) +$adds"
    expect err " +20\\.0% +200 +1 +void counted::counts<unsigned long>\\(unsigned long\\) +$counts"
    expect err ' +10\.0% +100 +1 +counted::prefetches_in_a.*\.\. +profiled_program\.cpp:[0-9]+'
    expect err " +70\\.0% +700 +0x[0-9a-f]+ +VecU32AddVIX +counted::adds\\(.*\\) +$adds"
    expect err " +20\\.0% +200 +0x[0-9a-f]+ +VecU8CountVLSI +void counted::counts.* +$counts"
    expect err ' +10\.0% +100 +0x[0-9a-f]+ +VecU8Prefetch1SI +counted::prefetches_in_a.*'
    expect err ' +70\.0% +700 +1 +integer arithmetic'
    expect err ' +20\.0% +200 +1 +element counts'
    expect err ' +10\.0% +100 +1 +gathers, scatters, prefetches'
    expect err ' +70\.0% +700 +1 +direct'
    expect err ' +20\.0% +200 +1 +reference'
    expect err ' +10\.0% +100 +1 +no-op'
    expect_no err '^.{101}'
    expect_no err Note:
    # The address is the one that disassemblers show.
    address=$(sed -nE 's/.* (0x[0-9a-f]+) +VecU32AddVIX .*/\1/p' err)
    segment=$((address & ~0xfff))
    checks=$((checks + 1))
    [[ $kind != "$fixed_program" || $segment -ge $((0x400000)) ]] || fail "$address is not the file's"
done
run "$sverun" --profile=text "$program" functions 100
expect_status 0
expect err 'profiled_program: 1000 SVE instructions executed'
expect_no err Profile
expect text 'Profile of .*/profiled_program functions 100'
expect text '1000 SVE instructions .*'

# A first-fault load is on the direct route though it has no reference function.
run "$sverun" --profile "$program" loads 99
expect err ' +99\.0% +99 +0x[0-9a-f]+ +VecU8CLoadFF1LSSZ .*'
expect err ' +99\.0% +99 +1 +first-fault and non-fault loads'
expect err ' +100\.0% +100 +2 +direct'
run "$sverun" --profile "$program" nothing
expect_status 0
expect err '0 SVE instructions .* at 0 addresses'

# ---- Where names are missing

cp "$program" stripped && "$strip" stripped
run "$sverun" --profile ./stripped functions 1
expect_status 0
expect err ' +100\.0% +10 +3 +\[stripped\]'
expect err ' +70\.0% +7 +0x[0-9a-f]+ +VecU32AddVIX +stripped\+0x[0-9a-f]+'
expect err 'Note: stripped has no symbols: .*'
mkdir path && for tool in qemu-aarch64; do
    found=$(command -v $tool) && ln -s "$found" path/
done
PATH=$PWD/path run "$sverun" --profile "$program" functions 1
expect_status 0
expect err ' +70\.0% +7 +0x[0-9a-f]+ +VecU32AddVIX +profiled_program\+0x[0-9a-f]+'
expect err 'Note: no functions of .*/profiled_program: .*addr2line is missing.*'
run "$sverun" --profile "$program" generated 50
expect err ' +50\.0% +50 +1 +\[generated code\]'
expect err " +50\\.0% +50 +1 +counted::adds\\(.*\\) +$adds"

# ---- For programs and browsers

run "$sverun" --profile=json --profile-format=json "$program" functions '100' 'a"b\' $'\t\xff'
expect_status 0
expect json '  "total": 1000,'
expect json '    "a\\"b\\\\",'
expect json '    "\?\?"'
expect json '    \{"name": "direct", "count": 700, "share": 0\.700000000, "sites": 1\},'
expect json '    \{"name": "integer arithmetic", "count": 700, .*'
expect json '    \{"name": "void counted::counts<unsigned long>\(unsigned long\)", "module": 0, "file": "/.*profiled_program\.cpp", "count": 200, .*'
expect json ".*\"count\": 700, .*\"line\": $(line_of adds), \"word\": \"0x25a0c020\", \"instruction\": \"add z0\\.s, z0\\.s, #1\", \"handler\": \"VecU32AddVIX\", \"family\": \"integer arithmetic\", \"route\": \"direct\"\\},?"
run "$sverun" --profile=html --profile-format=html "$program" functions 100
expect_status 0
expect html '.*<h1>profiled_program</h1>'
expect html '<tr>.*70\.0%.*700.*add z0\.s, z0\.s, #1.*VecU32AddVIX.*counted::adds.*</tr>'
expect_no html '<unsigned long>|https?:|src=|href=|url\(|@import|<script|<link'
if python3 -c '' 2>/dev/null; then
    run python3 -m json.tool json
    expect_status 0
    run python3 -c 'import sys, xml.dom.minidom as dom; dom.parse(sys.argv[1])' html
    expect_status 0
else
    echo "SKIPPED: no python3 to parse JSON and HTML with"
    skips=$((skips + 1))
fi

# ---- Threads, other processes, and the end

run "$sverun" --profile "$program" threads 250
expect err " +100\\.0% +1000 +1 +counted::adds\\(.*\\) +$adds"
run "$sverun" --profile "$program" fork 10
expect_status 0
expect err " +100\\.0% +10 +1 +counted::adds\\(.*\\) +$adds"
expect err 'profiled_program: 1010 SVE instructions executed' # the child's
run bash -c "'$sverun' --profile '$program' orphan 10 \$PWD/over; touch over
    for ((i = 0; i < 300; i++)); do grep -q ' 1010 SVE' err && break; sleep 0.1; done"
expect err " +100\\.0% +10 +1 +counted::adds\\(.*\\) +$adds"
expect_no err "can't be written"
expect err 'profiled_program: 1010 SVE instructions executed'
run "$sverun" --profile "$program" die 10
expect_status 143
expect err 'sverun: no profile: signal 15 .*'
expect_no err 'Profile of'
run "$sverun" --profile "$program" status 77
expect_status 77
expect err 'Profile of .*'
if [[ $(uname -m) != aarch64 ]]; then
    run "$sverun" --profile "$program" become 10 /bin/false
    expect_status 1
    expect err 'sverun: no profile: the program ended with status 1 .*became another program'
fi
run bash -c "'$sverun' --profile '$program' status 7 2> >(exec true)"
expect_status 7
run bash -c "trap '' CHLD; '$sverun' --profile '$program' status 7"
expect_status 7
# Signals that are sent to sverun are the program's.
for signal in TERM:15 INT:2 HUP:1 USR1:10; do
    what="signal $signal"
    : >out
    "$sverun" --profile "$program" wait 10 >out 2>err &
    for ((i = 0; i < 300; i++)); do
        grep -q ready out && break
        sleep 0.1
    done
    kill -"${signal%:*}" $!
    wait $!
    status=$?
    expect_status 5
    expect out "signal ${signal#*:}"
    expect err 'Profile of .*'
done
# One from the terminal reaches the program without sverun.
if python3 -c '' 2>/dev/null; then
    run python3 -c '
import os, pty, sys
process, terminal = pty.fork()
if process == 0:
    os.execv(sys.argv[1], sys.argv[1:])
seen = b""
while True:
    try:
        got = os.read(terminal, 4096)
    except OSError: # all have closed it
        break
    if b"ready" in got:
        os.write(terminal, b"\x03")
    seen += got
print(seen.replace(b"\r", b"").replace(b"^C", b"").decode())
sys.exit(os.waitstatus_to_exitcode(os.waitpid(process, 0)[1]))
' "$sverun" --profile "$program" wait 10
    expect_status 5
    expect out 'signal 2'
    expect out 'Profile of .*'
fi

# ---- Refusals

refuses 126 './missing/file: No such file or directory' \
    "$sverun" --profile=./missing/file "$program" functions
refuses 126 '\.: Is a directory' "$sverun" --profile=. "$program" functions
echo former >kept
refuses 127 './missing: .*' "$sverun" --profile=kept ./missing
expect kept former
refuses 2 "--profile= needs the name of a file; .*" "$sverun" --profile= "$program"
refuses 2 "--profile-format needs --profile; .*" "$sverun" --profile-format=text "$program"
refuses 2 "--profile-format is text, json or html, not 'xml'; .*" \
    "$sverun" --profile --profile-format=xml "$program"
refuses 2 "--profile-format=json needs --profile=FILE; .*" \
    "$sverun" --profile --profile-format json "$program"
refuses 2 "--profile needs a client library that counts, unlike .*" \
    "$sverun" --profile --client "$client" "$program"
cp "$client" renamed.so
run "$sverun" --profile --client renamed.so "$program" functions
expect err 'Usage error: Unknown option: -profile'
expect err 'sverun: no profile: .*'
run "$sverun" --client-arg -profile "$program" functions
expect_status 255
expect err 'Usage error: Value missing for option: -profile'
run "$sverun" --profile --client-arg foo "$program" functions
expect err 'Usage error: Unknown option: foo'
run "$sverun" --client-arg -profile --client-arg /missing/file "$program" functions
expect_status 0
expect err "The profile can't be written to /missing/file: No such file or directory"

finish
