#!/bin/bash
# Clients of a former commit at the present service, and the other way round, with programs built from both: they work
# together, or the refusal names both versions of the frames.
#   run.sh [COMMIT]    a commit whose frames have the present version when absent
# The programs of the present are those of build/release. Where the history is not there, nothing can be compared.
set -euo pipefail
# shellcheck source=scripts/environment
source "$(dirname "$0")/../../scripts/environment"
cd "$root"
commit="${1:-d6a0ff7c1c3969a9}"

if ! git cat-file -e "$commit^{commit}" 2> /dev/null; then
    echo "this clone does not hold the commit $commit: former programs are not compared"
    exit 0
fi
commit="$(git rev-parse --short=12 "$commit")"
build="$root/build/former/$commit"
if [[ ! -f $build/source/CMakeLists.txt ]]; then
    mkdir -p "$build/source"
    git archive "$commit" | tar -x -C "$build/source"
fi
cmake -S "$build/source" -B "$build/build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DAPPCONFIG_BUILD_TESTS=OFF > /dev/null
cmake --build "$build/build" -j "$jobs" --target appconfigd appcfg > "$build/build.log" || {
    tail -20 "$build/build.log"
    die "the former commit does not build"
}
former="$build/build"
present="$root/build/release"
[[ -x $present/service/appconfigd ]] || die "build/release is not built"

work="$(mktemp -d /tmp/appconfig-former-XXXXXX)"
export XDG_RUNTIME_DIR="$work"
children=()
finish() {
    local status=$? child
    for child in "${children[@]}"; do kill -TERM "$child" 2> /dev/null || true; done
    for child in "${children[@]}"; do wait "$child" 2> /dev/null || true; done
    rm -rf "$work"
    exit "$status"
}
trap finish EXIT

# await FILE TEXT: until the program that was started last has printed the text.
await() {
    local attempt
    for ((attempt = 0; attempt < 400; ++attempt)); do
        grep -qF -- "$2" "$1" && return
        kill -0 "${children[-1]}" 2> /dev/null || break
        sleep 0.05
    done
    cat "$1" >&2
    die "'$2' was not printed"
}

start_service() {  # TREE
    : > "$work/service.log"
    "$1/service/appconfigd" --definitions "$root/examples/demo.textproto" --state "$work/state.db" > "$work/service.log" 2>&1 &
    children+=($!)
    await "$work/service.log" "ready: "
}
stop_last() {
    kill -TERM "${children[-1]}"
    wait "${children[-1]}" || true
    unset 'children[-1]'
}

expect() {  # TEXT COMMAND...
    local text="$1" output
    shift
    output="$("$@" 2>&1)" || true
    [[ $output == *"$text"* ]] || die "'$*' did not print '$text' but: $output"
}

speak() {  # SERVICE CLIENT VALUE: both trees, and a value that nobody has set yet
    local service="$1" client="$2" value="$3" refusal
    start_service "$service"
    refusal="$("$client/tools/appcfg/appcfg" get display.brightness 2>&1)" || true
    if [[ $refusal == *"version "* ]]; then
        [[ $refusal =~ version\ [0-9]+\ .*version\ [0-9]+ ]] || die "the refusal does not name both versions: $refusal"
        echo "refused: $refusal"
        stop_last
        return
    fi
    : > "$work/watch.log"
    "$client/tools/appcfg/appcfg" watch display > "$work/watch.log" 2>&1 &
    children+=($!)
    await "$work/watch.log" "watching"
    expect "$value" "$client/tools/appcfg/appcfg" set display.brightness "$value"
    await "$work/watch.log" "display.brightness  $value"
    expect "$value" "$service/tools/appcfg/appcfg" get display.brightness
    expect "100" "$client/tools/appcfg/appcfg" set display.brightness 101
    expect "display.mode" "$client/tools/appcfg/appcfg" list
    stop_last
    stop_last
    echo "they work together, up to a change to $value"
}

echo "== a client of $commit at the present service"
speak "$present" "$former" 41
rm -f "$work"/state.db*
echo "== a client of the present at the service of $commit"
speak "$former" "$present" 42
echo "== the present service on the state of $commit"
start_service "$former"
expect "43" "$former/tools/appcfg/appcfg" set display.brightness 43
stop_last
start_service "$present"
expect "43" "$present/tools/appcfg/appcfg" get display.brightness
echo "it holds what was set there"
