#!/bin/bash
# scripts/check-layers on a small project that is configured for real, and on a copy of this tree.
#   layers_test.sh CASE CMAKE GENERATOR_PROGRAM COMPILER
set -euo pipefail
source="$(cd "$(dirname "$0")/../.." && pwd)"
cmake="$2" ninja="$3" compiler="$4"
scratch="$(mktemp -d)"
trap 'rm -rf "$scratch"' EXIT
said="$scratch/said"
mkdir "$scratch/tree"
cd "$scratch/tree"
# Within a hook of git they would lead to another tree.
unset GIT_DIR GIT_INDEX_FILE GIT_WORK_TREE
git init --quiet
: > "$said"

fail() {
    echo "$1; it said:" >&2
    cat "$said" >&2
    exit 1
}

# Three parts, one above the other, and one that nobody may know.
small_project() {
    mkdir -p scripts/layers low high app aside
    cp "$source/scripts/check-layers" scripts
    cp "$source"/scripts/layers/*.py scripts/layers
    cat > scripts/layers/parts.txt << 'EOF'
[low]
holds = low/
[high]
holds = high/
knows = low
[app]
holds = app/
knows = high
[aside]
holds = aside/
EOF
    cat > CMakeLists.txt << 'EOF'
cmake_minimum_required(VERSION 3.25)
project(Layers LANGUAGES CXX)
foreach(part low high aside)
  add_library(${part} STATIC)
  target_include_directories(${part} PUBLIC ${PROJECT_SOURCE_DIR})
endforeach()
target_sources(low PRIVATE low/Low.cpp)
target_sources(high PRIVATE high/High.cpp)
target_sources(aside PRIVATE aside/Aside.cpp)
target_link_libraries(high PUBLIC low)
add_executable(app app/main.cpp)
target_link_libraries(app PRIVATE high)
EOF
    echo 'int low();' | tee low/Low.h > aside/Aside.h
    printf '#include "low/Low.h"\n' | tee high/High.h > low/Low.cpp
    printf '#include "high/High.h"\n' | tee high/High.cpp > app/main.cpp
    printf '#include "aside/Aside.h"\n' > aside/Aside.cpp
}
configure() {
    # Nothing is compiled, so the compiler need not be tried.
    "$cmake" -S . -B build/release -G Ninja "-DCMAKE_MAKE_PROGRAM=$ninja" "-DCMAKE_CXX_COMPILER=$compiler" \
        -DCMAKE_CXX_COMPILER_FORCED=ON -DCMAKE_BUILD_TYPE=Release -DCMAKE_EXPORT_COMPILE_COMMANDS=ON > "$said" 2>&1 ||
        fail "the project could not be configured"
}
check() {
    git add --all -- ':!build'
    scripts/check-layers > "$said" 2>&1
}
passes() { check || fail "it complained"; }
complains() {
    ! check || fail "it did not fail"
    grep -qxF -- "$1" "$said" || fail "it did not say: $1"
    # One thing is wrong, so one sentence and the count are all, unless there is no build to speak of.
    [[ $(wc -l < "$said") == "${2:-2}" ]] || fail "it said more than that"
}

case "$1" in
passes)
    small_project
    configure
    passes
    grep -qF '7 files (7 as build/release compiles them), 5 includes, 3 links' "$said" || fail "the counts are wrong"
    ;;
wrong-include)
    small_project
    printf '#include "aside/Aside.h"\n' >> low/Low.cpp
    configure
    complains 'low/Low.cpp:2: includes "aside/Aside.h" (aside/Aside.h): low may not know aside'
    ;;
wrong-include-by-its-short-name)
    small_project
    printf '#include <Aside.h>\n' > low/Inner.h
    printf '#include "Inner.h"\n' >> low/Low.cpp
    # shellcheck disable=SC2016
    echo 'target_include_directories(low PRIVATE ${PROJECT_SOURCE_DIR}/aside)' >> CMakeLists.txt
    configure
    complains 'low/Inner.h:1: includes "Aside.h" (aside/Aside.h): low may not know aside'
    ;;
wrong-link)
    small_project
    echo 'target_link_libraries(low PUBLIC aside)' >> CMakeLists.txt
    configure
    # Those above link it as well, but only because low brings it along.
    complains "build/release/build.ninja:$(grep -n '^build liblow.a:' build/release/build.ninja | cut -d: -f1): \
low links aside: low may not know aside"
    ;;
cycle)
    small_project
    printf '#include "low/Other.h"\n' >> low/Low.h
    printf 'void other();\n' > low/Other.h
    printf '#include "low/Other.h"\n#include "low/Low.h"\n' > low/Other.cpp
    echo 'target_sources(low PRIVATE low/Other.cpp)' >> CMakeLists.txt
    configure
    complains 'low/Low.h:2: begins a cycle: low/Low.h:2 includes low/Other.h, low/Other.cpp:2 includes low/Low.h'
    sed -i '$a [cycles]\nstays = low/Other.h -> low/Low.h: they are meant to' scripts/layers/parts.txt
    passes
    ;;
ambiguous)
    small_project
    cp low/Low.h high/Low.h
    printf '#include "Low.h"\n' >> app/main.cpp
    echo 'target_include_directories(app PRIVATE low high)' >> CMakeLists.txt
    sed -i 's/^knows = high/knows = high low/' scripts/layers/parts.txt
    configure
    complains 'app/main.cpp:2: includes "Low.h", which is ambiguous: it may mean high/Low.h or low/Low.h'
    ;;
nowhere)
    small_project
    printf '#include "Gone.h"\n' >> app/main.cpp
    complains 'app/main.cpp:2: includes "Gone.h", which no include directory of the tree has' 3
    ;;
going)
    small_project
    printf '#include "aside/Aside.h"\n' >> low/Low.cpp
    sed -i '/^holds = low/a going = aside/Aside.h: until it is parted' scripts/layers/parts.txt
    configure
    passes
    sed -i '$d' low/Low.cpp
    complains "scripts/layers/parts.txt: nothing needs 'going = aside/Aside.h' of [low] any more; remove it"
    ;;
no-part)
    small_project
    mkdir elsewhere
    touch elsewhere/Other.h
    configure
    complains 'scripts/layers/parts.txt: elsewhere/Other.h belongs to no part'
    ;;
no-build)
    small_project
    passes
    grep -qF 'build/release has not been configured: the includes are checked, the link lines are not' "$said" ||
        fail "it did not say that there is no build"
    ;;
nothing)
    small_project
    rm -r low high app aside
    : > scripts/layers/parts.txt
    complains 'check-layers: 0 files with 0 includes and 0 links: there was nothing to look at'
    ;;
this-tree)
    git -C "$source" ls-files -z --cached --others --exclude-standard |
        tar --create --directory="$source" --null --files-from=- --ignore-failed-read | tar --extract
    passes
    sed -i '1i #include "UnixTransport.h"' src/model/ConfigVar.cpp
    complains 'src/model/ConfigVar.cpp:1: includes "UnixTransport.h" (platform/host/UnixTransport.h): '\
'model may not know platform/host' 3
    ;;
*) fail "unknown test '$1'" ;;
esac
