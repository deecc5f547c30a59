#!/bin/bash
# What the device build of the library may need, hold and weigh.
#   check.sh needed|undefined|forbidden|constructors|size <output directory of build.sh> <compiler> [COMPILER FLAG...]
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
what="$1"
library="$2/library/src/libappconfig.so"
compiler="$3"
shift 3
flags=("$@")
prefix="${compiler%g++*}"
prefix="${prefix%c++*}"
[[ -x $(command -v "${prefix}readelf") ]] || prefix=
[[ -f $library ]] || { echo "there is no $library" >&2; exit 1; }

needed() { "${prefix}readelf" -d "$library" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p'; }
undefined() { "${prefix}nm" -D --undefined-only "$library" | awk '$1 != "w" && $1 != "v" {print $2}' | sed 's/@.*//' | sort -u; }
# The system's libraries that the library may use; the kit is none of them.
system='^(libprotobuf-lite\.so\.[0-9]+|libstdc\+\+\.so\.6|libm\.so\.6|libgcc_s\.so\.1|libc\.so\.6|ld-linux.*)$'

refuse() {
    echo "$1" >&2
    exit 1
}

case "$what" in
needed)
    others="$(needed | grep -vE "$system" | grep -vx 'libplatformkit\.so' || true)"
    [[ -z $others ]] || refuse "libappconfig.so needs more than the kit, protobuf-lite and the C and C++ runtime: $others"
    echo "needs: $(needed | paste -sd' ')"
    ;;
undefined)
    # What no library of the system offers must come from the kit, and stand in the list.
    offered="$(mktemp)"
    trap 'rm -f "$offered"' EXIT
    while read -r name; do
        file="$("$compiler" "${flags[@]}" -print-file-name="$name")"
        [[ -f $file ]] || refuse "cannot find $name, which libappconfig.so needs"
        "${prefix}nm" -D --defined-only "$file" | awk '{print $NF}' | sed 's/@.*//'
    done < <(needed | grep -E "$system") | sort -u > "$offered"
    extra="$(comm -23 <(undefined) "$offered" | "${prefix}c++filt" | grep -vxFf <(grep -v '^#' "$here/platform-symbols.txt") || true)"
    [[ -z $extra ]] || refuse "libappconfig.so takes from the platform what platform-symbols.txt does not name:
$extra"
    echo "from the platform:"
    comm -23 <(undefined) "$offered" | "${prefix}c++filt" | sed 's/^/  /'
    ;;
forbidden)
    found="$(undefined | "${prefix}c++filt" | grep -Ef <(grep -v '^#' "$here/forbidden-symbols.txt") || true)"
    [[ -z $found ]] || refuse "libappconfig.so uses what a device lacks or an application's library must not use:
$found"
    ;;
constructors)
    # Generated code may run when the library is loaded. Its headers include <iostream>, so a file that uses them also
    # makes sure that the standard streams stand; nothing else may happen there.
    own="$("${prefix}objdump" -dC --no-show-raw-insn "$library" | awk '
        /^[0-9a-f]+ <.*>:$/ { name = $0; sub(/^[^<]*</, "", name); sub(/>:$/, "", name); next }
        name !~ /^_GLOBAL__sub_I_/ || name ~ /\.pb\.cc$/ { next }
        $2 ~ /^(call|jmp|bl|blx|bx|b|b\.[nw])q?$/ {
            callee = $0
            sub(/^[^<]*</, "", callee)
            if (callee !~ /^(std::ios_base::Init::Init\(\)|__cxa_atexit|__aeabi_atexit|_GLOBAL__sub_I_)/)
                print substr(name, 16) ": " $0
        }')"
    [[ -z $own ]] || refuse "these files run code of ours when the library is loaded:
$own"
    ;;
size)
    # 256 KiB hold on the device; 64-bit code is larger.
    machine="$("${prefix}readelf" -h "$library" | sed -n 's/ *Class: *//p')"
    limit=$((256 * 1024))
    [[ $machine == ELF32 ]] || limit=$((384 * 1024))
    stripped="$(mktemp)"
    trap 'rm -f "$stripped"' EXIT
    "${prefix}strip" -o "$stripped" "$library"
    size="$(stat -c %s "$stripped")"
    echo "stripped: $size bytes of $limit"
    ((size <= limit)) || refuse "libappconfig.so has grown over its limit; scripts/size shows what takes the room"
    ;;
*) refuse "unknown check '$what'" ;;
esac
