#!/bin/sh
# The scale run: generates models of N, 4N and 16N blocks (N = 250) with
# bench/gen_model.py and runs Scale_bench on each, one process per model.
#
#   bench/Scale.sh [BIN_DIR] [REPEATS]
#
# BIN_DIR holds Scale_bench and libOrvServer.so (default build/bench/bin,
# made by: cmake --preset bench && cmake --build --preset bench -j2 --target Scale_bench OrvServer).
# SCALE_SIZES="250 1000" limits the sizes; SCALE_NO_DIAGRAM=1 skips the
# diagram requests (the first generation of the big diagram takes minutes
# while the plug-in's annotation is quadratic).
set -eu
here=$(cd "$(dirname "$0")" && pwd)
bin=${1:-$here/../build/bench/bin}
repeats=${2:-5}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
for blocks in ${SCALE_SIZES:-250 1000 4000}; do
  python3 "$here/gen_model.py" "$blocks" "$work/scale-$blocks.json"
  echo "== $blocks blocks: $(wc -c < "$work/scale-$blocks.json") bytes"
  if [ -n "${SCALE_NO_DIAGRAM:-}" ]; then
    "$bin/Scale_bench" "$work/scale-$blocks.json" "$repeats" --no-diagram
  else
    "$bin/Scale_bench" "$work/scale-$blocks.json" "$repeats"
  fi
done
