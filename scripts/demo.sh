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
