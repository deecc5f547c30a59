#!/bin/bash
# Installs into an empty prefix, moves the prefix, and builds and runs a separate project against it, with CMake and with
# pkg-config.
#   run.sh [BUILD_DIR]     without a directory the release preset is configured and built first
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
root="$(cd "$here/../.." && pwd)"
build="${1:-}"
if [[ -z $build ]]; then
    build="$root/build/release"
    (cd "$root" && cmake --preset release && cmake --build --preset release)
fi

work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
cmake --install "$build" --prefix "$work/first"
mv "$work/first" "$work/prefix"
prefix="$work/prefix"

echo "== what is there"
for file in include/AppConfig/AppConfig.h include/AppConfig/ProtobufMessageHelper.h \
    include/AppConfig/platform/UnixTransport.h include/AppConfig/messages/configservice.proto; do
    [[ -f $prefix/$file ]] || { echo "missing: $file" >&2; exit 1; }
done
library="$(find "$prefix" -name libappconfig.so)"
[[ -L $library ]] || { echo "libappconfig.so is not there or not versioned" >&2; exit 1; }
if grep -rlE "$root|$work/first" "$prefix" --include='*.cmake' --include='*.pc' --include='*.h'; then
    echo "these name a directory of the build" >&2
    exit 1
fi

compiler="$(sed -n 's/^CMAKE_CXX_COMPILER:[^=]*=//p' "$build/CMakeCache.txt")"
mkdir "$work/runtime"
chmod 700 "$work/runtime"

echo "== with CMake"
cmake -S "$here/consumer" -B "$work/cmake" -G Ninja -DCMAKE_BUILD_TYPE=Release "-DCMAKE_PREFIX_PATH=$prefix" \
    "-DCMAKE_CXX_COMPILER=$compiler" -DCMAKE_CXX_FLAGS='-Wall -Wextra -Wpedantic -Werror'
cmake --build "$work/cmake"
"$work/cmake/plain" "$work/runtime"
"$work/cmake/messages"

echo "== with pkg-config"
PKG_CONFIG_PATH="$(dirname "$(find "$prefix" -name appconfig.pc)")"
export PKG_CONFIG_PATH
# shellcheck disable=SC2046
"$compiler" -std=c++17 -Wall -Wextra -Wpedantic -Werror "$here/consumer/plain.cpp" -o "$work/plain" \
    $(pkg-config --cflags --libs appconfig) "-Wl,-rpath,$(dirname "$library")"
"$work/plain" "$work/runtime"

for program in "$prefix"/bin/*; do
    [[ -x $program ]] || continue
    echo "== $(basename "$program") from the prefix"
    "$program" --version
done
echo "installed, moved, found and used"
