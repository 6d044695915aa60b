#!/usr/bin/env bash
# What the two libraries give to others and want from them.
#
#     exports_test.sh NM READELF CLIENT_LIBRARY PLATFORM_LIBRARY SONAME_OF_CLIENT
#
# client_exports.txt lists the client's exports: names, and beginnings of names, which end with a star.
set -u
nm=$1 readelf=$2 client=$3 platform=$4 soname=$5
allowed_file=$(dirname "$0")/client_exports.txt
failures=0 checks=0

# check TEXT COMMAND...: the command succeeds, or the text says what is wrong.
check() {
    checks=$((checks + 1))
    "${@:2}" || { echo "FAILED: $1" && failures=$((failures + 1)); }
}
# The names of dynamic symbols, in the C++ form: "address type name".
exports() { "$nm" -D --defined-only -C "$1" | sed -E 's/^[0-9a-f]* [A-Za-z] //'; }
matches() { # NAME ALLOWED...
    local name=$1 allowed
    shift
    for allowed in "$@"; do
        if [[ $name == "$allowed" || ($allowed == *'*' && $name == "${allowed%'*'}"*) ]]; then return; fi
    done
    return 1
}

mapfile -t allowed <"$allowed_file"
mapfile -t client_names < <(exports "$client")
mapfile -t platform_names < <(exports "$platform")
for name in "${client_names[@]}"; do
    check "the client exports $name" matches "$name" "${allowed[@]}"
done
for name in "${allowed[@]}"; do
    [[ $name == *'*' ]] || check "the client doesn't export $name" matches "$name" "${client_names[@]}"
done
check "the client exports no direct routine" grep -q '^sve_add_zzz(cpu_state' <(exports "$client")

# Of the C library, which the platform stands in front of.
library_functions=(
    _Exit __getauxval __ppoll_chk __sigaction __sigpause __sigsuspend __sysv_signal __xpg_sigpause _exit
    bsd_signal dlclose epoll_pwait epoll_pwait2 getauxval mmap mmap64 mprotect mq_notify mremap munmap pkey_mprotect ppoll prctl pselect pthread_attr_setsigmask_np
    pthread_sigmask sigaction sigblock sighold sigignore siginterrupt signal sigprocmask sigrelse
    sigset sigsetmask sigsuspend ssignal sysv_signal timer_create
)
for name in "${platform_names[@]}"; do
    check "the platform exports $name" matches "$name" 'dr_*' 'drmgr_*' 'drreg_*' 'instr_*' \
        'instrlist_*' 'opnd_*' our_stderr "${library_functions[@]}"
done
for name in "${library_functions[@]}"; do
    check "the platform doesn't export $name" matches "$name" "${platform_names[@]}"
done

# Nothing comes from the application or the shared C++ library: only from the C library, with a version,
# and from the platform.
for library in "$client" "$platform"; do
    while read -r name; do
        check "$library wants $name" matches "${name/*@GLIBC_*/libc}" libc "${platform_names[@]}"
    done < <("$nm" -D --undefined-only "$library" | sed -nE 's/^ *U //p')
    while read -r needed; do
        check "$library needs $needed" matches "$needed" libc.so.6 'ld-linux-aarch64.so*' \
            libsve_platform.so
    done < <("$readelf" -d "$library" | sed -nE 's/.*\(NEEDED\).*\[(.*)\]/\1/p')
    check "$library is bound late" grep -q BIND_NOW <("$readelf" -d "$library")
done
check "the client's soname isn't $soname" grep -qF "soname: [$soname]" <("$readelf" -d "$client")

echo "$checks checks, $failures failed"
[[ $failures == 0 ]]
