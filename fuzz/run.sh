#!/usr/bin/env bash
# Builds the fuzz targets with clang (build dir $1, default build-fuzz) and runs each for
# $2 seconds (default 60), one after another, each in a single process (no -jobs/-workers:
# that default is one process on one core, which the shared CI and dev machines need). Each
# starts from fuzz/corpus/<target>: hand-written seeds and, for the Touchstone readers, the
# minimised corpus of longer runs (libFuzzer's -merge=1), so that a short run begins where
# those ended. New inputs go to <build>/corpus/<target>, findings to <build>/findings/.
# Fails when any target finds one.
set -euo pipefail
cd "$(dirname "$0")/.."
build="${1:-build-fuzz}"
seconds="${2:-60}"

CXX=clang++ cmake -S fuzz -B "$build" >/dev/null
cmake --build "$build" -j 2

targets=(fuzz_line_reader fuzz_map_file fuzz_whole_arm_files fuzz_two_sparam_files fuzz_job fuzz_touchstone2)
declare -A dictionary=(
  [fuzz_line_reader]=touchstone.dict [fuzz_map_file]=map.dict [fuzz_whole_arm_files]=touchstone.dict
  [fuzz_two_sparam_files]=touchstone.dict [fuzz_job]=map.dict [fuzz_touchstone2]=touchstone2.dict
)
mkdir -p "$build/findings"
status=0
for t in "${targets[@]}"; do
  mkdir -p "$build/corpus/$t"
  echo "fuzz: $t for ${seconds}s"
  # -rss_limit_mb also bounds every single allocation: a reader that asks for memory
  # its input does not justify is a finding.
  if ! "$build/$t" "$build/corpus/$t" "fuzz/corpus/$t" \
      -dict="fuzz/${dictionary[$t]}" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
      -max_len=8192 -print_final_stats=1 \
      -artifact_prefix="$build/findings/$t-" >"$build/$t.log" 2>&1; then
    echo "fuzz: $t found a problem, see $build/$t.log and $build/findings/"
    status=1
  fi
  grep -E '^stat::number_of_executed_units|^stat::average_exec_per_sec' "$build/$t.log" | sed "s/^/fuzz: $t /" || true
done
exit $status
