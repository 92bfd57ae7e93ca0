#!/usr/bin/env bash
# Wall times of two or more engine binaries on one of make bench's cached jobs, the binaries
# taking turns run after run, so that a slow spell of a shared machine falls on all alike.
# Prints, per binary, the minimum, quartiles and maximum in milliseconds.
#
#   bench/interleave.sh JOB RUNS BINARY...
#   bench/interleave.sh cal-4p-2g 101 /tmp/old/b/vora build-bench/vora
#
# JOB is a directory under build-bench/jobs (BENCH_JOBS overrides the parent directory):
# a calibration job (job.map) or a generalized one (a.s2p and b.s2p).
set -euo pipefail

if [ $# -lt 3 ]; then
    echo "usage: $0 JOB RUNS BINARY..." >&2
    exit 2
fi
job=$1
runs=$2
shift 2
dir=$(realpath "${BENCH_JOBS:-build-bench/jobs}/$job")
binaries=()
for b in "$@"; do binaries+=("$(realpath "$b")"); done

if [ -f "$dir/job.map" ]; then
    ports=$(sed -n 's/.*--ports \([0-9]*\).*/\1/p' "$dir/args")
    arguments=(-filepath "$dir/" -in job.map -out "deembedded.s${ports}p")
elif [ -f "$dir/a.s2p" ]; then
    arguments=(GENERALIZEDSPARAM -filepath "$dir/" -inputsfile1 "$dir/a.s2p" -inputsfile2 "$dir/b.s2p" -out g.txt)
else
    echo "$0: $dir is not a job of make bench" >&2
    exit 2
fi

tmp=$(mktemp -d)
trap 'rm -rf "$tmp"; rm -f "$dir"/vora_*.log' EXIT
for ((i = 0; i < runs; i++)); do
    for b in "${!binaries[@]}"; do
        t0=$(date +%s%N)
        "${binaries[$b]}" "${arguments[@]}" >/dev/null 2>&1 || true
        t1=$(date +%s%N)
        echo $(((t1 - t0) / 1000)) >>"$tmp/$b"
    done
done
for b in "${!binaries[@]}"; do
    sort -n "$tmp/$b" | awk -v name="$1" -v bin="${binaries[$b]}" '{ t[NR] = $1 } END {
        printf "%-40s min %8.2f  q1 %8.2f  median %8.2f  q3 %8.2f  max %8.2f ms\n", bin,
               t[1] / 1000, t[int((NR + 3) / 4)] / 1000, t[int((NR + 1) / 2)] / 1000,
               t[int((3 * NR + 1) / 4)] / 1000, t[NR] / 1000 }'
done
