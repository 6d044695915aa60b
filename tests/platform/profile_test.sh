#!/usr/bin/env bash
# What `sverun --profile` tells about programs whose counts are known, and how such programs end.
#
#     profile_test.sh SVERUN PROGRAM FIXED_PROGRAM STRIP CLIENT LIBRARY
#
# PROGRAM is profiled_program.cpp; FIXED_PROGRAM is the same, linked to a fixed address. LIBRARY is sve_library.c.
set -u
sverun=$1 program=$2 fixed_program=$3 strip=$4 client=$5 library=$6
source_file=$(dirname "$0")/profiled_program.cpp
for file in "$sverun" "$program" "$fixed_program" "$client" "$library" "$source_file"; do
    [[ -e $file ]] || { echo "$file is missing" && exit 1; }
done
# shellcheck source=checks.sh
source "$(dirname "$0")/checks.sh"

line_of() { # FUNCTION
    echo $(($(grep -n "// mark of $1\$" "${2:-$source_file}" | cut -d: -f1) + 1))
}
adds=profiled_program\\.cpp:$(line_of adds) counts=profiled_program\\.cpp:$(line_of counts)

long='counted::prefetches_in_a_function_whose_name_is_much_too_long_for_a_line_of_a_terminal\(unsigned long\)'

# ---- The text

for kind in "$program" "$fixed_program"; do
    run "$sverun" --profile "$kind" functions 100
    expect_status 0
    expect err '1000 SVE instructions of [0-9]+-bit vectors at 3 addresses'
    expect err " +70\\.0% +700 +1 +$adds +counted::adds\\(unsigned long\\)"
    expect err " +20\\.0% +200 +1 +$counts +void counted::counts<unsigned long>\\(unsigned long\\)"
    expect err " +10\\.0% +100 +1 +profiled_program\\.cpp:[0-9]+ +$long"
    expect err " +70\\.0% +700 +0x[0-9a-f]+ +add z0\\.s, z0\\.s, #1 +VecU32AddVIX +$adds +counted::adds\\(.*\\)"
    expect err " +20\\.0% +200 +0x[0-9a-f]+ +cntb x9 +VecU8CountVLSI +$counts +void counted::counts.*"
    expect err " +10\\.0% +100 +0x[0-9a-f]+ +prfb .* +VecU8Prefetch1SI +.* $long"
    expect err ' +70\.0% +700 +1 +integer arithmetic'
    expect err ' +20\.0% +200 +1 +element counts'
    expect err ' +10\.0% +100 +1 +gathers, scatters, prefetches'
    expect err ' +70\.0% +700 +1 +direct'
    expect err ' +20\.0% +200 +1 +reference'
    expect err ' +10\.0% +100 +1 +no-op'
    expect_no err 'Note:|module|…'
    # The address is the one that disassemblers show.
    address=$(sed -nE 's/.* (0x[0-9a-f]+) .* VecU32AddVIX .*/\1/p' err)
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
expect err ' +99\.0% +99 +0x[0-9a-f]+ +ldff1b .* +VecU8CLoadFF1LSSZ .*'
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
expect err ' +70\.0% +7 +0x[0-9a-f]+ +add .* +VecU32AddVIX +stripped\+0x[0-9a-f]+'
expect err 'Note: stripped has no symbols: .*'
expect_no err ' -g'
mkdir path && for tool in qemu-aarch64; do
    found=$(command -v $tool) && ln -s "$found" path/
done
PATH=$PWD/path run "$sverun" --profile "$program" functions 1
expect_status 0
expect err ' +70\.0% +7 +0x[0-9a-f]+ +VecU32AddVIX +profiled_program\+0x[0-9a-f]+'
expect err 'Note: no functions, source lines and text .*addr2line and .*objdump are missing; install .* binutils.*'
run "$sverun" --profile "$program" generated 50
expect err ' +75\.0% +150 +2 +\[generated code\]'
expect err ' +50\.0% +100 .* add z0\.s, z0\.s, #2 .*\[generated code\]' # in the place of the other
expect err ' +25\.0% +50 .* add z0\.s, z0\.s, #1 .*\[generated code\]'
expect err " +25\\.0% +50 +1 +$adds +counted::adds\\(.*\\)"

# ---- Libraries: one that is loaded twice and unloaded, one without lines, one stripped, one that is gone at the end

cp "$library" one.so && cp "$library" lineless.so && "$strip" -g lineless.so
cp "$library" exporting.so && "$strip" exporting.so && cp "$library" gone.so
add="sve_library\\.c:$(line_of library_add "$(dirname "$source_file")/sve_library.c")"
run "$sverun" --libraries --profile "$program" libraries 10 ./one.so ./lineless.so ./exporting.so ./one.so
expect_status 0
expect err '150 SVE instructions .* at 4 addresses'
expect err ' +46\.7% +70 +1 +one\.so'
expect err " +46\\.7% +70 +1 +$add +one\\.so +library_add"
expect err ' +20\.0% +30 +1 +lineless\.so +library_add'
expect err " +6\\.7% +10 +1 +$adds +profiled_program +counted::adds\\(.*\\)"
checks=$((checks + 1))
address=$(sed -nE 's/.* 70 +(0x[0-9a-f]+) +add .*/\1/p' err)
start=0x$("${strip%strip}nm" "$library" | sed -n 's/ T library_add$//p')
((address - start >= 0 && address - start < 16)) || fail "$address is not in library_add at $start"
expect err 'Note: lineless\.so has no source lines: build it with -g'
expect err 'Note: exporting\.so was stripped: .*'
expect_no err 'Note: (one|prof)|generated'
run "$sverun" --libraries --profile=json --profile-format=json "$program" libraries 10 ./gone.so
expect_status 0
expect json ' +\{"path": ".*/gone\.so( \(deleted\))?", .* "count": 20, "share": 0\.666666667, "sites": 1\},?'
expect json ' +"no functions and source lines of .*/gone\.so.*'

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
expect err " +100\\.0% +1000 +1 +$adds +counted::adds\\(.*\\)"
run "$sverun" --profile "$program" fork 10
expect_status 0
expect err " +100\\.0% +10 +1 +$adds +counted::adds\\(.*\\)"
expect err 'profiled_program: 1010 SVE instructions executed' # the child's
run bash -c "'$sverun' --profile '$program' orphan 10 \$PWD/over; touch over
    for ((i = 0; i < 300; i++)); do grep -q ' 1010 SVE' err && break; sleep 0.1; done"
expect err " +100\\.0% +10 +1 +$adds +counted::adds\\(.*\\)"
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
start_and_wait_for_ready() {
    : >out
    "$sverun" "$@" >out 2>err &
    for ((i = 0; i < 300; i++)); do
        grep -q ready out && break
        sleep 0.1
    done
}
for signal in TERM:15 INT:2 HUP:1 USR1:10; do
    what="signal $signal"
    start_and_wait_for_ready --profile "$program" wait 10
    kill -"${signal%:*}" $!
    wait $!
    status=$?
    expect_status 5
    expect out "signal ${signal#*:}"
    expect err 'Profile of .*'
done
# One from the terminal reaches the program without sverun.
if python3 -c '' 2>/dev/null; then
    # COLUMNS COMMAND...: on a terminal, with an interrupt when the program is ready.
    cat >on_terminal.py <<'END'
import fcntl, os, pty, struct, sys, termios
process, terminal = pty.fork()
if process == 0:
    fcntl.ioctl(1, termios.TIOCSWINSZ, struct.pack("4H", 24, int(sys.argv[1]), 0, 0))
    os.execv(sys.argv[2], sys.argv[2:])
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
END
    run python3 on_terminal.py 80 "$sverun" --profile "$program" wait 10
    expect_status 5
    expect out 'signal 2'
    expect out 'Profile of .*'
    for columns in 60 100; do
        run env -u COLUMNS LC_ALL=C.UTF-8 python3 on_terminal.py $columns "$sverun" --profile "$program" functions 100
        checks=$((checks + 1))
        widest=$(LC_ALL=C.UTF-8 wc -L <out)
        [[ $widest == "$columns" ]] || fail "the widest line has $widest columns"
        expect out ' +10\.0% +100 +1 +prof.* count.*….*\)'
    done
else
    skip "no python3 to open a terminal with"
fi

# ---- Where it goes

run "$sverun" --libraries --profile=- "$program" libraries 10 ./one.so
expect_status 0
expect out 'Profile of .*'
expect_no err Profile
head -n 1 out >first
expect first '0x.*' # the program's own
run bash -c "'$sverun' --profile=/dev/stdout '$program' functions 1 >>out; echo more >>out"
expect out '10 SVE instructions .*'
expect out more
# A file is replaced as a whole, if there is a profile.
mkdir files && echo former >files/kept && chmod 640 files/kept && ln -s files/kept link && ln -s files/new dangling
run "$sverun" --profile=link "$program" die 10
expect_status 143
expect files/kept former
exec 3<files/kept
run "$sverun" --profile=link "$program" functions 1
expect files/kept '10 SVE instructions .*'
run cat <&3
expect_out former
run "$sverun" --profile=dangling "$program" functions 1
expect files/new '10 SVE instructions .*'
start_and_wait_for_ready --profile=files/late "$program" wait 1
mkdir files/late
kill -INT $!
wait $!
status=$?
expect_status 5
expect err 'sverun: no profile: files/late: Is a directory'
run stat -c %a files/kept
expect_out 640
run find . -maxdepth 2 -name '*sverun-profile*'
expect_out ""
[[ -L link && -L dangling ]] || fail "a symbolic link was replaced"
# Others are written in place.
mkfifo fifo
cat fifo >from_fifo &
run "$sverun" --profile=fifo "$program" functions 1
wait $!
expect from_fifo '10 SVE instructions .*'
ln -s /dev/null null
run "$sverun" --profile=null "$program" functions 1
expect_status 0
[[ -p fifo && -c null ]] || fail "a device was replaced"

# ---- Refusals

refuses 126 './missing/file: No such file or directory' \
    "$sverun" --profile=./missing/file "$program" functions
refuses 126 '\.: Is a directory' "$sverun" --profile=. "$program" functions
refuses 126 'standard output: Bad file descriptor' bash -c "'$sverun' --profile=- '$program' functions >&-"
if [[ $(id -u) != 0 ]]; then
    mkdir -m 555 closed
    refuses 126 'closed/file: Permission denied' "$sverun" --profile=closed/file "$program" functions
fi
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
expect err "sverun: the profile can't be written to /missing/file: No such file or directory"

finish
