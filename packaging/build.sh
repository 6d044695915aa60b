#!/usr/bin/env bash
# Makes the Debian packages of what has been built, for this machine and for AArch64.
#
#     build.sh BUILDS
#
# BUILDS holds the builds of the presets aarch64 and, unless this machine is one, host. The packages go into
# BUILDS/package.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
builds=$(cd "$1" && pwd)
work=$builds/package/work
rm -rf "$builds/package"
mkdir -p "$work"
cp -r "$here/debian" "$work"
cd "$work"

packaged=$(dpkg-parsechangelog -S Version)
built=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$builds/aarch64/CMakeCache.txt")
if [[ ${packaged%-*} != "$built" ]]; then
    echo "packaging/debian/changelog is about version ${packaged%-*}, but $built was built: add an entry for it." >&2
    exit 1
fi

# Debug data has a package of its own.
export SVE_BUILDS=$builds DEB_BUILD_OPTIONS=noautodbgsym
dpkg-buildpackage -us -uc -d -b
[[ $(dpkg --print-architecture) == arm64 ]] || dpkg-buildpackage -us -uc -d -B -aarm64
rm -r "$work"
