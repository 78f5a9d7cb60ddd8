#!/usr/bin/env bash
# A long fuzzing campaign measured in CPU time rather than wall time, so that a
# busy machine still gives every target its full share.
#   fuzz/campaign.sh TARGET CPU_SECONDS WORK_DIR
# Runs build/fuzz/bin/TARGET in rounds of at most 5 wall minutes, each round
# starting from WORK_DIR/queue and the committed seeds in fuzz/corpus/TARGET,
# until the rounds' user+system time adds up to CPU_SECONDS. Then merges the
# queue into a minimized corpus, WORK_DIR/minimized, and prints one line:
#   TARGET cpu_seconds=… executions=… coverage=… features=… corpus=…
# Exits non-zero, leaving the crash input in WORK_DIR, when a round finds one.
set -euo pipefail
cd "$(dirname "$0")/.."
target=$1 budget=$2 work=$3
binary=build/fuzz/bin/$target
seeds=fuzz/corpus/$target
mkdir -p "$work/queue" "$seeds"
spent=0 executions=0 round=0
while [ "$spent" -lt "$budget" ]; do
  round=$((round + 1))
  left=$((budget - spent))
  seconds=$((left < 300 ? left : 300))
  log=$work/round$round.log
  status=0
  /usr/bin/time -f 'cpu %U %S' -o "$work/time$round" \
    "$binary" -max_total_time="$seconds" -print_final_stats=1 -timeout=10 -rss_limit_mb=4096 \
    -artifact_prefix="$work/" "$work/queue" "$seeds" >"$log" 2>&1 || status=$?
  if [ "$status" != 0 ]; then
    tail -n 40 "$log"
    echo "$target: round $round found a problem (exit $status); input in $work/" >&2
    exit 1
  fi
  read -r _ user sys <"$work/time$round"
  spent=$((spent + ${user%.*} + ${sys%.*} + 1))
  units=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
  executions=$((executions + units))
done
mkdir -p "$work/minimized"
"$binary" -merge=1 "$work/minimized" "$work/queue" "$seeds" >"$work/merge.log" 2>&1
# The last status line of the last round: cov (edges) and ft (features).
last=$(grep -E '^#[0-9]+.*cov: ' "$work/round$round.log" | tail -n 1)
coverage=$(sed -n 's/.* cov: \([0-9]*\).*/\1/p' <<<"$last")
features=$(sed -n 's/.* ft: \([0-9]*\).*/\1/p' <<<"$last")
echo "$target cpu_seconds=$spent executions=$executions coverage=$coverage features=$features" \
     "corpus=$(ls "$work/minimized" | wc -l)"
