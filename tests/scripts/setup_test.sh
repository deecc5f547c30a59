#!/bin/bash
# scripts/setup against stand-ins for dpkg-query, apt-get and sleep.
#   setup_test.sh nothing-missing|index-fails-twice|index-never-works|unknown-argument
set -euo pipefail
setup="$(cd "$(dirname "$0")/../.." && pwd)/scripts/setup"
stand_ins="$(mktemp -d)"
trap 'rm -rf "$stand_ins"' EXIT
export SETUP_TEST="$stand_ins"

cat > "$stand_ins/dpkg-query" << 'EOF'
#!/bin/bash
# Everything is installed but ninja-build, until apt-get has installed it.
[[ ${!#} == ninja-build && ! -f $SETUP_TEST/installed ]] && exit 1
printf installed
EOF
cat > "$stand_ins/apt-get" << 'EOF'
#!/bin/bash
echo "$*" >> "$SETUP_TEST/calls"
[[ " $* " == *" install "* ]] || exit 100
[[ $(grep -c ' install ' "$SETUP_TEST/calls") -ge $SETUP_TEST_WORKS_AT ]] || exit 100
touch "$SETUP_TEST/installed"
EOF
printf '#!/bin/sh\n' > "$stand_ins/sleep"
# As root no sudo is asked for; elsewhere it passes the command on.
printf '#!/bin/sh\nexec "$@"\n' > "$stand_ins/sudo"
chmod +x "$stand_ins"/*
export PATH="$stand_ins:$PATH"

fail() {
    echo "$1" >&2
    exit 1
}
installs() { grep -c ' install ' "$stand_ins/calls" || true; }

case "$1" in
nothing-missing)
    touch "$stand_ins/installed"
    "$setup" --ci || fail "it failed although nothing is missing"
    [[ ! -f $stand_ins/calls ]] || fail "it called apt-get although nothing is missing"
    ;;
index-fails-twice)
    SETUP_TEST_WORKS_AT=3 "$setup" || fail "it did not try often enough"
    [[ $(installs) == 3 ]] || fail "it installed $(installs) times instead of 3"
    grep -q -- '-y .*ninja-build' "$stand_ins/calls" || fail "it did not install what is missing"
    ! grep -q 'protobuf-compiler' "$stand_ins/calls" || fail "it installed what is there"
    ;;
index-never-works)
    ! SETUP_TEST_WORKS_AT=99 "$setup" 2> "$stand_ins/complaint" || fail "it did not fail"
    grep -q 'could not install: ninja-build' "$stand_ins/complaint" || fail "it did not say what is missing"
    ;;
unknown-argument)
    status=0
    "$setup" --everything 2> "$stand_ins/complaint" || status=$?
    [[ $status == 2 ]] || fail "its status is $status instead of 2"
    grep -q -- "unknown argument '--everything'" "$stand_ins/complaint" || fail "it did not name the argument"
    ;;
*) fail "unknown test '$1'" ;;
esac
