#!/usr/bin/env bash
# What is installed for embedders, used as they do: found by CMake and by pkg-config, from a tree that was
# moved after its installation. The program that the documentation shows prints what it says there.
#
#     test.sh CMAKE BUILD COMPILER
#
# BUILD is the build directory to install from.
set -euo pipefail
cmake=$1 build=$2 compiler=$3
here=$(cd "$(dirname "$0")" && pwd)
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
cd "$directory"

"$cmake" --install "$build" --prefix "$directory/installed" --component development >log
mv installed moved
if grep -rl -e "$build" -e "$directory/installed" moved --include='*.cmake' --include='*.pc'; then
    echo "these files name a directory of the build"
    exit 1
fi

documented() { # KIND: the block of it in the documentation
    sed -n "/^\`\`\`$1\$/,/^\`\`\`\$/{/^\`\`\`/!p}" "$here/../../docs/embedding.md"
}
mkdir documented
documented cpp >documented/lanes.cpp
documented cmake >documented/CMakeLists.txt
documented text >expected

echo "found by CMake:"
for source in "$here" documented; do
    "$cmake" -S "$source" -B by-cmake/"${source##*/}" -DCMAKE_PREFIX_PATH="$directory/moved" \
        -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_BUILD_TYPE=Debug >log || { cat log && exit 1; }
    "$cmake" --build by-cmake/"${source##*/}" >log || { cat log && exit 1; }
done
by-cmake/embedder/step
by-cmake/embedder/third
by-cmake/documented/lanes | diff expected -

echo "found by pkg-config:"
files=$(dirname "$(find moved -name sve-core.pc)")
export PKG_CONFIG_PATH=$directory/$files
# The flags are words.
# shellcheck disable=SC2046
"$compiler" -std=c++20 "$here/step.cpp" -o step $(pkg-config --cflags --libs sve-core)
# shellcheck disable=SC2046
"$compiler" -std=c++20 documented/lanes.cpp -o lanes $(pkg-config --cflags --libs sve-core)
# shellcheck disable=SC2046
"$compiler" -std=c++20 "$here/third.cpp" -o third $(pkg-config --cflags --libs sve-fplib)
./lanes | diff expected -
./step
./third
