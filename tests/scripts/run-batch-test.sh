#!/usr/bin/env bash
# run-batch-test.sh parallel|slurm <vora> <vora-jobgen> <work folder>
# Generated jobs with a known device and one job without its open arm file run through
# scripts/run-batch.sh with GNU parallel, or as a Slurm job array on a single-node Slurm that
# scripts/slurm-local.sh starts and stops (exit 77, a skip, where it cannot start). Every job
# must be reported, the broken one as failed with vora's reason, the others as de-embedding
# their device to the output's six digits.
set -uo pipefail
mode=$1 vora=$2 jobgen=$3 work=$4
root=$(cd "$(dirname "$0")/../.." && pwd)
fail() { echo "FAIL: $*" >&2; exit 1; }
skip() { echo "SKIP: $*"; exit 77; }
tokens() { grep -vE '^[[:space:]]*([!#]|$)' "$1" | tr -s ' \t' '\n\n' | grep -v '^$'; }

count=50
[ "$mode" = slurm ] && count=4
rm -rf "$work" && mkdir -p "$work/batch/not-a-job" || exit 1
kinds=(EP ES)
for i in $(seq "$count"); do
  job=$(printf job%02d "$i")
  "$jobgen" --points 5 --seed "$i" --ports $((2 + 2 * (i % 2))) --arm "${kinds[i % 2]}" \
    "$work/batch/$job" >/dev/null || fail "vora-jobgen $job"
done
cp -r "$work/batch/job02" "$work/batch/broken" && rm "$work/batch/broken"/arm1_open.*

if [ "$mode" = parallel ]; then
  "$root/scripts/run-batch.sh" -j 2 --vora "$vora" "$work/batch" >"$work/summary"
  status=$?
else
  slurm_dir=$(mktemp -d /tmp/vora-slurm.XXXXXX) || exit 1
  trap '"$root/scripts/slurm-local.sh" stop "$slurm_dir"; rm -rf "$slurm_dir"' EXIT
  conf=$("$root/scripts/slurm-local.sh" start "$slurm_dir" 2>"$work/slurm-start.err")
  case $? in
    0) export "${conf?}" ;;
    3) skip "$(cat "$work/slurm-start.err")" ;;
    *) fail "slurm-local.sh start: $(cat "$work/slurm-start.err")" ;;
  esac
  id=$(VORA=$vora VORA_ROOT=$root timeout 20 sbatch --parsable -c 1 -o "$work/task-%a.out" \
    --array=0-$count "$root/scripts/slurm-batch.sbatch" "$work/batch") || fail "sbatch"
  # Polled here: sbatch --wait backs off to half a minute between its own polls.
  for i in $(seq 120); do
    [ -z "$(timeout 5 squeue -h -j "$id" 2>&1)" ] && break
    [ "$i" -lt 120 ] || fail "the job array did not end within 120 s: $(tail -n 5 "$slurm_dir"/*.log)"
    sleep 1
  done
  "$root/scripts/run-batch.sh" --summary "$work/batch" >"$work/summary"
  status=$?
fi
cat "$work/summary"
[ "$status" -eq 1 ] || fail "exit status $status with a failed job"
grep -qx "vora batch: 1 of $((count + 1)) jobs failed ($work/batch)" "$work/summary" || fail "count line"
[ "$(grep -c . "$work/summary")" -eq $((count + 3)) ] || fail "not one line per job"
grep -qP "^255\tbroken\t$work/batch/broken/vora_\d+\.log\tVORA:: Could not find o-arm 1 file$" \
  "$work/summary" || fail "the broken job is not reported with its log and reason"
for dir in "$work"/batch/job*; do
  IFS=$'\t' read -r status job log < <(grep -P "\t${dir##*/}\t" "$work/summary")
  [ "$status" = 0 ] && [ -f "$log" ] || fail "$job: status $status, log $log"
  out=$(ls "$dir"/deembedded.s*p) && dev=${out/deembedded/device}
  paste <(tokens "$out") <(tokens "$dev") | awk '{ d = $1 - $2; if (d < 0) d = -d; if (d > m) m = d }
    END { if (NR < 40 || m > 1e-5) { print NR " values, largest difference " m; exit 1 } }' ||
    fail "$job does not give its device back"
done
echo "PASS: $mode"
