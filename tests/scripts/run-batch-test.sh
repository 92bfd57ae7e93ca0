#!/usr/bin/env bash
# run-batch-test.sh parallel|slurm <vora> <vora-jobgen> <work folder>
# Generated jobs with a known device and one job without its open arm file run through
# scripts/run-batch.sh with GNU parallel, or as a Slurm job array on a single-node Slurm this
# test starts and stops itself (exit 77, a skip, where it cannot start). Every job must be
# reported, the broken one as failed with vora's reason, the others as de-embedding their
# device to the output's six digits.
set -uo pipefail
mode=$1 vora=$2 jobgen=$3 work=$4
root=$(cd "$(dirname "$0")/../.." && pwd)
fail() { echo "FAIL: $*" >&2; exit 1; }
skip() { echo "SKIP: $*"; exit 77; }
tokens() { grep -vE '^[[:space:]]*([!#]|$)' "$1" | tr -s ' \t' '\n\n' | grep -v '^$'; }

stop_slurm() {
  kill "${daemons[@]}" 2>/dev/null
  for _ in $(seq 20); do kill -0 "${daemons[@]}" 2>/dev/null || break; sleep 0.5; done
  kill -KILL "${daemons[@]}" 2>/dev/null
  rm -rf "$slurm_dir"
}

# munged, slurmctld and slurmd of the distribution on this machine only, with their own key,
# ports and state in a temporary folder; all three are stopped when the test ends.
start_slurm() {
  local p
  for p in munged slurmctld slurmd sbatch sinfo squeue; do
    command -v $p >/dev/null || skip "$p not found (Debian packages slurm-wlm and munge)"
  done
  [ "$(id -u)" -eq 0 ] || skip "slurmd must run as root to start jobs"
  slurm_dir=$(mktemp -d /tmp/vora-slurm.XXXXXX) && chmod 700 "$slurm_dir" || exit 1
  trap stop_slurm EXIT
  p=$((20000 + RANDOM % 20000))   # two free ports, so other runs on this machine do not collide
  while (: </dev/tcp/127.0.0.1/$p || : </dev/tcp/127.0.0.1/$((p + 1))) 2>/dev/null; do p=$((p + 2)); done
  export SLURM_CONF=$slurm_dir/slurm.conf
  cat >"$SLURM_CONF" <<EOF
ClusterName=vora
SlurmctldHost=$(hostname -s)(127.0.0.1)
SlurmctldPort=$p
SlurmdPort=$((p + 1))
SlurmUser=root
AuthInfo=socket=$slurm_dir/munge.socket
StateSaveLocation=$slurm_dir
SlurmdSpoolDir=$slurm_dir
SlurmctldPidFile=$slurm_dir/slurmctld.pid
SlurmdPidFile=$slurm_dir/slurmd.pid
SlurmctldLogFile=$slurm_dir/slurmctld.log
SlurmdLogFile=$slurm_dir/slurmd.log
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
MpiDefault=none
ReturnToService=2
NodeName=vora-node NodeAddr=127.0.0.1 CPUs=$(nproc)
PartitionName=batch Nodes=ALL Default=YES MaxTime=INFINITE State=UP
EOF
  dd if=/dev/urandom of="$slurm_dir/munge.key" bs=1024 count=1 2>/dev/null && chmod 600 "$slurm_dir/munge.key"
  munged -F --force --socket="$slurm_dir/munge.socket" --key-file="$slurm_dir/munge.key" \
    --log-file="$slurm_dir/munged.log" --pid-file="$slurm_dir/munged.pid" \
    --seed-file="$slurm_dir/munged.seed" 2>/dev/null &
  daemons=($!)
  sleep 1
  slurmctld -D >/dev/null 2>&1 &
  daemons+=($!)
  slurmd -D -N vora-node >/dev/null 2>&1 &
  daemons+=($!)
  for p in $(seq 30); do
    [ "$(timeout 5 sinfo -h -o %t 2>/dev/null)" = idle ] && return 0
    sleep 1
  done
  skip "single-node Slurm not up within 30 s: $(tail -q -n 2 "$slurm_dir"/*.log | tr '\n' ' ')"
}
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
  start_slurm
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
