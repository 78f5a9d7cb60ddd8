#!/usr/bin/env bash
# Installs what is missing, builds the plug-in and the command-line tool, and
# runs the agents on the bundled example model with readable output.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh demo
cmake --preset default >/dev/null
cmake --build --preset default -j "$(nproc)" --target orv-host OrvServer
host=build/default/bin/orv-host
model=examples/model.json

section() { printf '\n== %s\n' "$1"; }
run() { printf '$ orv-host %s\n' "$*"; "$host" "$@" || printf '(exit status %d)\n' "$?"; }

section "The example model's entities"
run --tree "$model"

section "Model explorer: the root node (GetModelViewChildNodes with an empty parent)"
run --print 3 "$model" GetModelViewChildNodes "" "" "" ""
printf '\n'
section "Model explorer: the root's children"
run --print 3 "$model" GetModelViewChildNodes PUMP-STATION "" "" ""
printf '\n'
section "Model explorer: the attribute node \"Alarms\" of the control panel, expanded"
run --print 3 "$model" GetModelViewChildNodes BLK-PANEL MM-ALARMS "" ""
printf '\n'
section "Model explorer: the whole tree, level by level"
run --explore "$model"
