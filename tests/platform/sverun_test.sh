#!/usr/bin/env bash
# The launcher from outside: what it starts, what it refuses, and what a program under it sees.
#
#     sverun_test.sh SVERUN PROGRAM STATIC_PROGRAM CLIENT
#
# PROGRAM is launched_program.c, in its build directory with its library.
set -u
sverun=$1 program=$2 static_program=$3 client=$4
for file in "$@"; do
    [[ -e $file ]] || { echo "$file is missing" && exit 1; }
done
# shellcheck source=checks.sh
source "$(dirname "$0")/checks.sh"

expect_err() {
    expect err "$1"
}
expect_totals() {
    expect_err "$1: $2 SVE instructions executed"
    expect_err "$1: $3 Non-SVE AArch64 instructions executed"
}

# ---- What the program has for its own

run "$sverun" "$program" pairs 1000
expect_status 0
expect_out 3000
expect_totals launched_program 2000 2
run "$sverun" --trap-every-time "$program" pairs 1000
expect_status 0
expect_out 3000
expect_totals launched_program 2000 2
run "$sverun" -- "$program"
expect_status 0
expect_totals launched_program 0 0
for number in 1 77 255; do
    run "$sverun" "$program" status $number
    expect_status $number
    expect_totals launched_program 2 2
done
for number in 9 15; do
    run "$sverun" "$program" signal $number
    expect_status $((128 + number))
done

head -c 200000 "$program" >binary
run "$sverun" "$program" copy <binary
cmp -s binary out || fail "the copy of standard input differs"
run "$sverun" "$program" words '' ' a  b ' '*' '$HOME' "q'\"" -- --help $'\n\t' 'a,b=c' '\'
expect_out "<$program><words><>< a  b ><*><\$HOME><q'\"><--><--help><"$'\n\t'"><a,b=c><\\>"
ln -s "$program" linked
PATH=$PWD:$PATH run "$sverun" linked words
expect_out "<linked><words>"
expect_status 0

SVERUN_CLIENT=x SVERUN_OTHER=z KEPT='a,b c' run "$sverun" --trap-every-time --client "$client" \
    --client-arg -- --client-arg y "$program" environment
expect_status 0
grep -qx 'KEPT=a,b c' out || fail "a variable is lost"
if [[ $(uname -m) == aarch64 ]]; then
    grep -qE '^LD_PRELOAD=' out || fail "programs that this one starts wouldn't be emulated"
else
    grep -E '^(LD_PRELOAD|SVERUN_[A-Z_]*)=' out && fail "variables of the launcher are left"
    # On an AArch64 machine the launcher asks for this.
    run qemu-aarch64 -cpu neoverse-n1 -L "${QEMU_LD_PREFIX:-/usr/aarch64-linux-gnu}" -E SVERUN_FOLLOW=1 \
        -E SVERUN_CLIENT_ARGS=--$'\n'foo$'\n' -E LD_PRELOAD="${sverun%/bin/*}/lib/sverun/libsve_platform.so" \
        "$program" environment
    expect_status 0
    grep -qx foo out && grep -qE '^LD_PRELOAD=.*libsve_platform' out || fail "a variable isn't left"
fi

# Totals without a reader: nobody waits for one, no file gets them, and the status is the program's.
run bash -c "$sverun $program status 7 2> >(exec true)"
expect_status 7
run bash -c "$sverun $program status 7 2>&-"
expect_status 7
run bash -c "$sverun $program file kept 2>&-"
expect_status 0
[[ $(cat kept) == 30 ]] || fail "the program's file holds something else"
run bash -c "$sverun ./missing 2>&-"
expect_status 127
run bash -c "$sverun $program status 7 2>/dev/full"
expect_status 7

# ---- SVE in a shared library

run "$sverun" "$program" library
expect_status 132
expect_out ""
library=$(dirname "$program")/libsve_library.so
objdump=$(command -v aarch64-linux-gnu-objdump || echo objdump)
address=$("$objdump" -d "$library" | sed -nE 's/^ *([0-9a-f]+):\t04a10000.*/\1/p')
expect_err "sverun: SVE instruction 0x04a10000 at 0x$address in $library: sverun --libraries .*"
run "$sverun" "$program" library 1
expect_status 0
expect_out $'signal 4 1\n3 3'
expect_totals launched_program 2 2
run "$sverun" --libraries "$program" library
expect_status 0
expect_out '7 3'
expect_totals launched_program 3 3
run "$sverun" --libraries --trap-every-time "$program" library
expect_out '7 3'
# The names of files tell what belongs to the C library.
mkdir other
for name in libm-2.31.so libm.so.6 libm-own.so libmine-2.31.so libmvec.so.1; do
    cp "$(dirname "$program")/libsve_library.so" other/$name && ln -sf $name other/libsve_library.so
    LD_LIBRARY_PATH=$PWD/other run "$sverun" --libraries "$program" library
    case $name in
    libm-2* | libm.so*)
        expect_status 132
        expect_err "sverun: SVE instruction 0x04a10000 at .* in .*/$name, where SVE is not emulated"
        ;;
    *) expect_out '7 3' ;;
    esac
    rm other/$name # or the C library's own is not found
done

# ---- What a program hears of the processor

bytes=$("$sverun" --version | sed -E 's/.*\(([0-9]+)-bit.*/\1 \/ 8/') && bytes=$((bytes))
run "$sverun" "$program" asks
expect_out "1 $bytes, library 0 -1"
run "$sverun" --libraries "$program" asks
expect_out "1 $bytes, library 1 $bytes"
run "$sverun" --client "$client" "$program" asks
expect_out "1 $bytes, library 0 -1"
run "$sverun" "$program" flags
hex=$(printf %x $bytes) hex_and_flag=$(printf %x $((bytes | 1 << 17)))
expect_out "$hex 0 $hex,$hex 0 $hex,$hex 0 $hex,$hex_and_flag 0 $hex_and_flag,$hex_and_flag 0 $hex_and_flag,$(
    for _ in 1 2 3 4; do printf 'ffffffff 1 %s,' "$hex_and_flag"; done)"

# ---- Installed client libraries

lengths=$("$sverun" --version | sed -E 's/.*: (.*)\)/\1/')
[[ $lengths =~ ^[0-9]+(,\ [0-9]+)*$ ]] || { what=--version fail "installed lengths '$lengths'"; }
for length in ${lengths//,/}; do
    run "$sverun" --vl "$length" "$program" asks
    expect_out "1 $((length / 8)), library 0 -1"
    run "$sverun" --no-stats --vl "$length" "$program" pairs 10
    expect_status 0
    expect_out 30
    [[ ! -s err ]] || fail "totals, or another word on standard error"
done
run "$sverun" --no-stats "$program" asks
expect_out "1 $bytes, library 0 -1"
refuses 127 "--vl=384: no client library of that length is installed; there are: $lengths; .*VL=384.*" \
    "$sverun" --vl=384 "$program" pairs 1
for length in 0256 -128 100 2176 many '' ../../lib/sverun/libsve_stats_128; do
    refuses 2 "--vl=$length: a vector length is a multiple of 128 from 128 to 2048; .*" \
        "$sverun" --vl="$length" "$program" pairs 1
done
for option in --vl=256 --no-stats; do
    refuses 2 "--client names the client library itself; .*" "$sverun" $option --client "$client" "$program"
done

# ---- Clients

run "$sverun" --client "$client" "$program" pairs 3
expect_out 9
expect_totals launched_program 6 2
for words in 'foo' 'foo --' '--foo'; do
    # shellcheck disable=SC2086 # two words
    run "$sverun" $(printf -- '--client-arg %s ' $words) "$program" pairs 1
    [[ $status != 0 ]] || fail "status 0"
    expect_out ""
    expect_err "Usage error: Unknown option: ${words%% *}"
done
for word in maybe YES ''; do
    run "$sverun" --client-arg -clear_upper_bytes --client-arg "$word" "$program" pairs 1
    [[ $status != 0 ]] || fail "status 0"
    expect_out ""
    expect_err "Usage error: -clear_upper_bytes is yes or no, not '$word'"
done
run "$sverun" --client-arg -- --client-arg foo "$program" pairs 1
expect_status 0
expect_out 3

# ---- Totals in a file

mkdir files
cp "$program" "$(dirname "$program")/libsve_library.so" files/
run "$sverun" --stats=files/totals "$program" pairs 5
expect_status 0
expect_out 15
[[ ! -s err && $(cat files/totals) == "launched_program: 10 SVE instructions executed
launched_program: 2 Non-SVE AArch64 instructions executed" ]] || fail "the file has $(cat files/totals)"
ln -s files/totals link
mv files/launched_program 'files/"a\b"'
LD_LIBRARY_PATH=$PWD/files run "$sverun" --stats=link --stats-format=json 'files/"a\b"' fork
expect_out "3 3"
expect files/totals '  "program": "files/\\"a\\\\b\\"",'
expect files/totals "  \"vector_bits\": $((8 * bytes)),"
expect files/totals '  "sve_instructions": 2,'
[[ ! -s err && -L link ]] || fail "totals on standard error, or the link is gone"
[[ $(ls files/totals*) == files/totals ]] || fail "there is another file: $(ls files)"
run "$sverun" --stats=/dev/full "$program" pairs 1
expect_err "sverun: the totals can't be written to /dev/full: No space left on device"
expect_totals launched_program 2 2
refuses 126 '--stats=missing/file: No such file or directory' "$sverun" --stats=missing/file "$program"
refuses 126 '--stats=files: Is a directory' "$sverun" --stats=files "$program"
refuses 2 '--stats=err: that is where the program writes; .*' "$sverun" --stats=err "$program"
refuses 2 '--stats=-: .*' "$sverun" --stats=- "$program"
refuses 2 '--stats-format=json needs --stats=FILE; .*' "$sverun" --stats --stats-format=json "$program"
refuses 2 '--stats needs what --no-stats leaves out; .*' "$sverun" --stats=file --no-stats "$program"
refuses 2 '--stats and --profile need different files; .*' "$sverun" --stats=file --profile=file "$program"
refuses 2 '--stats=FILE needs an installed client .*' "$sverun" --stats=file --client "$client" "$program"

# A program without SVE is told why.
none='sverun: no SVE instruction ran: .*-march=armv8.2-a\+sve.*'
run "$sverun" --stats "$program" words
expect_err "$none --libraries\)"
run "$sverun" --stats --libraries "$program" words
expect_err "$none"
expect_no err --libraries
run "$sverun" --stats "$program" pairs 1
expect_no err "no SVE instruction"
run "$sverun" "$program" words
expect_no err "no SVE instruction"

# ---- Options in the environment

SVERUN_OPTIONS=" --stats='a file' --vl=$((8 * bytes)) --trap\\-every-time " run "$sverun" "$program" environment
expect_no out SVERUN_OPTIONS
[[ -s "a file" ]] || fail "the options in the environment have no effect"
SVERUN_OPTIONS='--no-stats --vl=2048' run "$sverun" --client "$client" --stats "$program" pairs 3
expect_totals launched_program 6 2
for wrong in "--wrong:unknown option --wrong" "word:'word' is no option" "'a:a quote is not closed: '" \
    "--vl=1:--vl=1: a vector length .*" "--version:.* belong on the command line" '\:a backslash .*'; do
    SVERUN_OPTIONS=${wrong%%:*} refuses 2 "SVERUN_OPTIONS: ${wrong#*:}; .*" "$sverun" "$program"
done
SVERUN_OPTIONS="--no-stats --profile" refuses 2 "with the options of SVERUN_OPTIONS: .*" "$sverun" "$program"
SVERUN_OPTIONS=--wrong run "$sverun" -h
expect_status 0

# ---- How often it traps

# expect_traps COUNT WORD...: the program that sverun starts with these words gets so many SIGILLs.
expect_traps() {
    if [[ $(uname -m) != aarch64 ]]; then
        QEMU_STRACE=1 run "$sverun" "${@:2}"
    elif command -v strace >/dev/null; then
        run strace -f -e trace=none "$sverun" "${@:2}"
    else
        skip "no strace to count the traps with: ${*:2}"
        return
    fi
    checks=$((checks + 1))
    local traps
    traps=$(grep -c -- '--- SIGILL' err)
    [[ $traps == "$1" ]] || fail "$traps traps, not $1"
}
expect_traps 1 --rewrite-after=1 "$program" pairs 1000000
expect_out 3000000
expect_traps 15 --rewrite-after=8 "$program" pairs 1000000 # a loop of two runs: the 8th trap of the first one rewrites both
expect_out 3000000
expect_traps 100 --trap-every-time "$program" pairs 50
expect_traps 0 "$program"

# ---- Refusals

copy_program() { cp "$program" "$1" && chmod "$2" "$1"; }
printf '#!/bin/sh\necho started\n' >script
chmod 755 script
: >empty
chmod 755 empty
for size in 3 30 60 100; do
    head -c $size "$program" >truncated$size
    chmod 755 truncated$size
done
copy_program set-uid 4755
copy_program not-executable 644
mkdir -p bin directory
cp "$sverun" bin/

refuses 127 './missing: No such file or directory' "$sverun" ./missing pairs 1
refuses 127 'missing-word: not found' "$sverun" missing-word
refuses 126 './directory: Is a directory' "$sverun" ./directory
refuses 126 './script: a script: .*' "$sverun" ./script
refuses 126 './empty: not an ELF file.*' "$sverun" ./empty
refuses 126 './truncated3: not an ELF file.*' "$sverun" ./truncated3
for size in 30 60 100; do
    refuses 126 "./truncated$size: (the file is truncated|.*malformed)" "$sverun" ./truncated$size
done
refuses 126 '.*: statically linked.*' "$sverun" "$static_program"
refuses 126 './set-uid: a set-uid .*' "$sverun" ./set-uid
refuses 126 './not-executable: Permission denied' "$sverun" ./not-executable
refuses 127 'library .*/lib/sverun/libsve_platform.so is missing or unreadable' bin/sverun "$program"
mkdir -p 'a b/bin' 'a b/lib/sverun'
cp "$sverun" 'a b/bin/' && cp "${sverun%/bin/*}/lib/sverun/libsve_platform.so" 'a b/lib/sverun/'
refuses 126 '.*/a b/lib/.* its path has a space, .*; install sverun in another .*' 'a b/bin/sverun' "$program"
refuses 127 'library /missing.so is missing or unreadable' "$sverun" --client /missing.so "$program"
refuses 2 "no program given; try 'sverun --help'" "$sverun"
refuses 2 "unknown option --wrong; .*" "$sverun" --wrong "$program"
refuses 2 "--client needs a value; .*" "$sverun" --client
refuses 127 'out.txt: not found; .*--profile=out.txt' "$sverun" --profile out.txt "$program"
refuses 126 './empty: .*; .*--stats=./empty' "$sverun" --stats ./empty "$program"
run "$sverun" --client "$(dirname "$program")/libsve_library.so" "$program" pairs 1
expect_status 127
expect_out ""
expect_err 'sverun: .*/libsve_library.so is no client library: .*'

# Files that end too early, or aren't what they should be.
head -c 60000 "$client" >truncated-client.so
printf 'no library' >text-client.so
head -c 60000 "$program" >truncated-program && chmod 755 truncated-program
refuses 126 '.*/truncated-client.so: the file is truncated' \
    "$sverun" --client truncated-client.so "$program" pairs 1
refuses 126 '.*/text-client.so: not an ELF file.*' "$sverun" --client text-client.so "$program" pairs 1
refuses 126 './truncated-program: the file is truncated' "$sverun" ./truncated-program pairs 1

# Program headers that make no sense.
corrupt() { # NAME OFFSET BYTES
    cp "$program" "$1" && chmod 755 "$1" && printf "$3" | dd of="$1" bs=1 seek="$2" conv=notrunc status=none
}
corrupt bad-offset 32 '\xff\xff\xff\xff\xff\xff\xff\x7f'
corrupt bad-size 54 '\x01'
corrupt bad-count 56 '\x00\x00'
corrupt bad-many 56 '\xfe\xff'
for name in offset size count many; do
    refuses 126 "./bad-$name: (the file is truncated|.*malformed|statically linked.*)" \
        "$sverun" ./bad-$name pairs 1
done

if [[ $(uname -m) == aarch64 ]]; then
    skip "no foreign program, processor emulator or other processor here"
else
    refuses 126 '/bin/true: built for .*, not for AArch64' "$sverun" /bin/true
    refuses 126 '.*/true: built for .*' "$sverun" --client /bin/true "$program" pairs 1
    refuses 127 ".*: its loader /missing/lib/.* is not found.*" "$sverun" --sysroot /missing "$program"
    refuses 127 '/missing: No such file or directory.*' "$sverun" --emulator /missing "$program"
    refuses 126 'this processor has SVE: run the program directly' \
        "$sverun" --cpu max "$program" pairs 1
fi

finish
