#!/usr/bin/env bash
# Installs what is missing, then builds and runs every test in the default,
# sanitize, m32 and tsan builds, and gives every fuzz target a short smoke
# run.
#   FUZZ_SECONDS   seconds per fuzz target (default 30; 0 skips the fuzz runs)
#   JOBS           parallel build jobs (default: the number of cores)
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh all
jobs=${JOBS:-$(nproc)}
# The four builds compile the same sources; ccache, where it is installed,
# lets a second run reuse the first one's objects.
if command -v ccache >/dev/null; then
  export CMAKE_CXX_COMPILER_LAUNCHER=ccache CCACHE_BASEDIR=$PWD
fi
# The i386 build comes first: the default build's package test installs
# its i386 plug-in package beside the amd64 packages, and the documents'
# commands package it.
presets=(m32 default sanitize tsan)
log=$(mktemp)
trap 'rm -f "$log"' EXIT

for preset in "${presets[@]}"; do
  echo "=== $preset build"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j "$jobs"
  echo "=== $preset tests"
  ctest --preset "$preset" -j "$jobs" 2>&1 | tee -a "$log" || true
done

fuzz_seconds=${FUZZ_SECONDS:-30}
if [ "$fuzz_seconds" != 0 ] && ls fuzz/*_fuzz.cpp >/dev/null 2>&1; then
  echo "=== fuzz build"
  cmake --preset fuzz >/dev/null
  cmake --build --preset fuzz -j "$jobs"
  for source in fuzz/*_fuzz.cpp; do
    name=$(basename "$source" .cpp)
    echo "=== fuzz smoke run: $name (${fuzz_seconds}s)"
    work=$(mktemp -d)
    seeds=()
    [ -d "fuzz/corpus/$name" ] && seeds=("fuzz/corpus/$name")
    # New inputs go to the scratch folder; the committed seeds are only read.
    if ! "build/fuzz/bin/$name" -max_total_time="$fuzz_seconds" -print_final_stats=1 \
        "$work" "${seeds[@]}" >"$work.log" 2>&1; then
      tail -n 60 "$work.log"
      echo "fuzz target $name found a problem"
      echo "fuzz: 0 passed, 1 failed" >>"$log"
    else
      grep -E 'stat::number_of_executed_units' "$work.log" || true
      echo "fuzz: 1 passed, 0 failed" >>"$log"
    fi
    rm -rf "$work" "$work.log"
  done
fi

# One closing line over all builds: the sum of every test run above.
passed=0
failed=0
runs=0
while read -r line; do
  if [[ $line =~ ([0-9]+)\ tests\ failed\ out\ of\ ([0-9]+) ]]; then
    failed=$((failed + BASH_REMATCH[1]))
    passed=$((passed + BASH_REMATCH[2] - BASH_REMATCH[1]))
    runs=$((runs + 1))
  elif [[ $line =~ ^fuzz:\ ([0-9]+)\ passed,\ ([0-9]+)\ failed ]]; then
    passed=$((passed + BASH_REMATCH[1]))
    failed=$((failed + BASH_REMATCH[2]))
  fi
done <"$log"
# A ctest run that printed no summary (it crashed or found no tests) fails too.
[ "$runs" -eq ${#presets[@]} ] || failed=$((failed + 1))
echo "total: $passed passed, $failed failed"
[ "$failed" -eq 0 ]
