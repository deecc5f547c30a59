#!/bin/bash
# Builds the library as for a device, against the stand-in kit, and a program on top of it.
#   build.sh <output directory> [CMAKE ARGUMENT...]
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
root="$(cd "$here/../.." && pwd)"
out="$1"
shift
arguments=(-G Ninja -DCMAKE_BUILD_TYPE=MinSizeRel "-DAPPCONFIG_SOURCE_DIR=$root" "$@")

cmake -S "$here/kit" -B "$out/kit" "${arguments[@]}"
cmake --build "$out/kit"
cmake -S "$root" -B "$out/library" "${arguments[@]}" -DAPPCONFIG_PLATFORM=device -DAPPCONFIG_PROTOBUF_LITE=ON \
    -DAPPCONFIG_WARNINGS_AS_ERRORS=ON "-DAPPCONFIG_PLATFORM_INCLUDE_DIR=$root/platform/include" \
    "-DAPPCONFIG_PLATFORM_LIBRARIES=$out/kit/libplatformkit.so" \
    "-DCMAKE_SHARED_LINKER_FLAGS=-Wl,-Map=$out/library.map"
cmake --build "$out/library" --target appconfig
cmake -S "$here/probe" -B "$out/probe" "${arguments[@]}" "-DAPPCONFIG_OUTPUT_DIR=$out"
cmake --build "$out/probe"
