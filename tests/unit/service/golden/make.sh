#!/bin/bash
# Makes a state file with the programs of a build, for the tests of every later version. To be run once, with the last
# build that writes a version of the schema; the file is kept beside this one.
#   tests/unit/service/golden/make.sh BUILD state-VERSION.db
set -euo pipefail
[[ $# -eq 2 ]] || { sed -n '2,4s/^# *//p' "$0"; exit 2; }
service="$1/service/appconfigd"
appcfg="$1/tools/appcfg/appcfg"
kept="$(cd "$(dirname "$0")" && pwd)/$2"

directory="$(mktemp -d)"
service_pid=
watcher_pid=
finish() {
    [[ -z $watcher_pid ]] || kill -KILL "$watcher_pid" 2> /dev/null || true
    [[ -z $service_pid ]] || kill "$service_pid" 2> /dev/null || true
    wait
    rm -rf "$directory"
}
trap finish EXIT

cat > "$directory/golden.textproto" << 'DEFINITIONS'
variable { node: "net.wifi" node_instance: 1 attribute: "ssid" attribute_instance: 2 type: TEXT read_level: 1 }
variable { node: "net.wifi" node_instance: 2 attribute: "ssid" type: TEXT default_value: "none" }
variable { node: "display" attribute: "mode" type: TEXT option: "day" option: "night" }
variable { node: "display" attribute: "brightness" type: INT default_value: "70" }
variable { node: "system" attribute: "servers" type: LIST default_value: "a" default_value: "b" }
DEFINITIONS

run=("$appcfg" --runtime-dir "$directory/run" --role 4)
"$service" --definitions "$directory/golden.textproto" --state "$directory/state.db" --runtime-dir "$directory/run" \
    --log-level off &
service_pid=$!
for ((i = 0; i < 100; ++i)); do
    "${run[@]}" list > /dev/null 2>&1 && break
    sleep 0.1
done

"${run[@]}" set 'net.wifi[1].ssid[2]' 'Häuschen'
"${run[@]}" set 'net.wifi[2].ssid' ''
"${run[@]}" set system.servers one '' "$(printf '%300s' | tr ' ' x)"
"${run[@]}" options display.mode --set dawn,day,dusk --default-index 2
"${run[@]}" access display.brightness --read 2 --write 3
# Killed, so that it does not say goodbye.
"${run[@]}" watch 'net.wifi[2].ssid' 'display.mode' > "$directory/watched" &
watcher_pid=$!
for ((i = 0; i < 100; ++i)); do
    [[ -s "$directory/watched" ]] && break
    "${run[@]}" set 'net.wifi[2].ssid' "try $i"
    sleep 0.1
done
"${run[@]}" set 'net.wifi[2].ssid' ''
kill -KILL "$watcher_pid"
watcher_pid=
kill "$service_pid"
wait "$service_pid" || true
service_pid=
cp "$directory/state.db" "$kept"
