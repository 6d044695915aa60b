# Sourced by tests of the launcher: each check runs a command and looks at what came of it. They run in a directory
# of their own. `finish` ends the test.
ulimit -c 0
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
cd "$directory" || exit 1
failures=0 checks=0 skips=0

fail() {
    echo "FAILED: $what: $1"
    head -n 5 out | sed 's/^/    stdout: /'
    head -n 30 err | sed 's/^/    stderr: /'
    failures=$((failures + 1))
}
skip() {
    echo "SKIPPED: $1"
    skips=$((skips + 1))
}
# run COMMAND...: keeps its status, and its streams in the files out and err.
run() {
    what=$*
    "$@" >out 2>err
    status=$?
}
expect_status() {
    checks=$((checks + 1))
    [[ $status == "$1" ]] || fail "status $status, not $1"
}
expect_out() {
    checks=$((checks + 1))
    [[ $(cat out) == "$1" ]] || fail "standard output is not '$1'"
}
# expect FILE PATTERN: one line of the file matches the extended regular expression, whole.
expect() {
    checks=$((checks + 1))
    [[ $(grep -cxE -e "$2" "$1") == 1 ]] || fail "not one line of $1 is '$2'"
}
# expect_no FILE PATTERN: no part of a line matches.
expect_no() {
    checks=$((checks + 1))
    [[ -e $1 ]] && ! grep -qE -e "$2" "$1" || fail "$1 is missing or has '$2'"
}
# refuses STATUS PATTERN COMMAND...: one line says why, and nothing is started.
refuses() {
    run "${@:3}"
    expect_status "$1"
    expect_out ""
    expect err "sverun: $2"
    [[ $(wc -l <err) == 1 ]] || fail "more than one line of standard error"
}
finish() {
    echo "$checks checks, $failures failed, $skips skipped"
    [[ $failures == 0 ]]
}
