#!/bin/bash
# Runs scripts/quickstart on programs that are built already, and on ones that are broken on purpose.
# usage: quickstart_test.sh whole|broken|killed REPOSITORY BUILD_DIRECTORY
set -euo pipefail
kind=$1 repository=$2 build=$3

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/tools" "$work/service"
ln -s "$build/examples" "$work/examples"
ln -s "$build/tools/appcfg" "$work/tools/appcfg"
ln -s "$build/service/appconfigd" "$work/service/appconfigd"

case $kind in
    whole)
        "$repository/scripts/quickstart" --built "$work"
        exit
        ;;
    broken)
        # A client that gets one default wrong.
        rm "$work/tools/appcfg"
        mkdir "$work/tools/appcfg"
        printf '#!/bin/sh\n"%s" "$@" | sed s/70/71/\n' "$build/tools/appcfg/appcfg" >"$work/tools/appcfg/appcfg"
        chmod +x "$work/tools/appcfg/appcfg"
        expected="did not print '70'"
        ;;
    killed)
        # A service that ends in the middle.
        rm "$work/service/appconfigd"
        printf '#!/bin/sh\nexec timeout -s KILL 0.3 "%s" "$@"\n' "$build/service/appconfigd" >"$work/service/appconfigd"
        chmod +x "$work/service/appconfigd"
        expected="quickstart: "
        ;;
esac

if output=$("$repository/scripts/quickstart" --built "$work" 2>&1); then
    echo "quickstart did not notice ($kind)" >&2
    exit 1
fi
[[ $output == *"$expected"* ]] || { printf 'quickstart did not say why (%s):\n%s\n' "$kind" "$output" >&2; exit 1; }
