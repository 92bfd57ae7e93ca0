#!/usr/bin/env bash
# End-to-end benchmarks: generated jobs of several sizes, each run by the engine and by the
# I/O floor program in turns; prints median wall times, the median ratio engine/floor, peak
# memory against the job's modelled working set, and whether doubling the frequency count at
# most doubles the time (+10 %).
#
#   bench/run.sh [BUILD_DIR]          (make bench builds BUILD_DIR=build-bench first)
#   BENCH_RUNS=5 bench/run.sh ...     runs per measurement (default 3; the median is used)
set -euo pipefail

build=${1:-build-bench}
runs=${BENCH_RUNS:-3}
mkdir -p "$build/jobs"
jobs_dir=$(realpath "$build/jobs")
vora=$(realpath "$build/vora")
floor=$(realpath "$build/bench/vora-iofloor")
jobgen=$(realpath "$build/tools/vora-jobgen")
twoport=$(realpath "$build/bench/vora-twoport-gen")

tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

# One run of "$@": prints "wall-microseconds peak-kilobytes cpu-seconds" (cpu: user + system,
# which other load on a shared machine disturbs less than the wall time).
run_once() {
    local t0 t1
    t0=$(date +%s%N)
    if ! /usr/bin/time -f "%M %U %S" -o "$tmp/rss" "$@" >"$tmp/stdout" 2>&1; then
        echo "bench: failed: $*" >&2
        cat "$tmp/stdout" >&2
        exit 1
    fi
    t1=$(date +%s%N)
    echo "$(((t1 - t0) / 1000)) $(tail -n 1 "$tmp/rss" | awk '{ print $1, $2 + $3 }')"
}

# Median wall, max peak, median cpu of run_once lines on stdin: "seconds megabytes cpu".
summarize() {
    local lines mid wall cpu peak
    lines=$(cat)
    mid=$(((runs + 1) / 2))
    wall=$(echo "$lines" | awk '{ print $1 }' | sort -n | sed -n "${mid}p")
    cpu=$(echo "$lines" | awk '{ print $3 }' | sort -g | sed -n "${mid}p")
    peak=$(echo "$lines" | awk '{ print $2 }' | sort -n | tail -n 1)
    awk -v w="$wall" -v p="$peak" -v c="$cpu" 'BEGIN { printf "%.3f %.1f %.2f\n", w / 1e6, p / 1024, c }'
}

# $runs runs of "$@": prints "median-wall-seconds max-peak-megabytes median-cpu-seconds".
measure() {
    local i r results=()
    for ((i = 0; i < runs; i++)); do
        r=$(run_once "$@") || exit 1
        results+=("$r")
    done
    printf '%s\n' "${results[@]}" | summarize
}

# The engine command, "--", the floor command: $runs runs of each, taking turns, so that a
# slow spell of a shared machine falls on both alike. Prints the engine's and the floor's
# summaries and the median of the runs' wall-time ratios engine/floor.
measure_pair() {
    local engine=() floor=() i e f es=() fs=() ratios=()
    while [ "$1" != -- ]; do
        engine+=("$1")
        shift
    done
    shift
    floor=("$@")
    for ((i = 0; i < runs; i++)); do
        e=$(run_once "${engine[@]}") || exit 1
        f=$(run_once "${floor[@]}") || exit 1
        es+=("$e")
        fs+=("$f")
        ratios+=("$(awk -v a="${e%% *}" -v b="${f%% *}" 'BEGIN { printf "%.4f", a / b }')")
    done
    echo "$(printf '%s\n' "${es[@]}" | summarize) $(printf '%s\n' "${fs[@]}" | summarize)" \
        "$(printf '%s\n' "${ratios[@]}" | sort -g | sed -n "$(((runs + 1) / 2))p")"
}

# A calibration job from vora-jobgen, cached by its arguments.
make_cal_job() {  # dir, jobgen arguments...
    local dir=$1
    shift
    if [ ! -f "$dir/args" ] || [ "$(cat "$dir/args")" != "$*" ]; then
        rm -rf "$dir"
        "$jobgen" "$@" "$dir" >/dev/null
        echo "$*" >"$dir/args"
    fi
}

make_gs_job() {  # dir, points
    local dir=$1
    if [ ! -f "$dir/args" ] || [ "$(cat "$dir/args")" != "$2" ]; then
        rm -rf "$dir"
        mkdir -p "$dir"
        "$twoport" "$2" "$dir/a.s2p" "$dir/b.s2p"
        echo "$2" >"$dir/args"
    fi
}


# Modelled working set in MB: the values the engine must hold. De-embedding: the whole
# structure's records and the K output matrices (2·N² doubles each), every arm file's
# records (2·n² doubles), and the frequency lists. Generalized mode: both files' records
# (8 doubles) and the frequencies.
model_cal() {  # ports points groups group-ports
    awk -v N="$1" -v K="$2" -v G="$3" -v n="$4" \
        'BEGIN { printf "%.1f\n", (K * 2 * N * N * 8 * 2 + G * 2 * K * 2 * n * n * 8 + K * 8 * (1 + 2 * G)) / 1048576 }'
}
model_gs() {  # points
    awk -v K="$1" 'BEGIN { printf "%.1f\n", (2 * K * 8 * 8 + K * 8) / 1048576 }'
}

groups_arg() {  # ports groups -> --group a-b ...
    local N=$1 G=$2 n=$(($1 / $2)) g args=()
    for ((g = 0; g < G; g++)); do args+=(--group "$((g * n + 1))-$((g * n + n))"); done
    echo "${args[@]}"
}

declare -A engine_args
results=()

# One table row: name, points, measure_pair's line, model.
record() {
    local name=$1 K=$2 both=$3 model=$4
    # shellcheck disable=SC2086
    set -- $both
    results+=("$name $K $both $model")
}

bench_cal() {  # name ports groups points
    local name=$1 N=$2 G=$3 K=$4 dir
    dir=$jobs_dir/$name
    # shellcheck disable=SC2046
    make_cal_job "$dir" --ports "$N" $(groups_arg "$N" "$G") --points "$K"
    local both model
    engine_args[$name]=$(printf '%q ' "$vora" -filepath "$dir/" -in job.map -out "deembedded.s${N}p")
    both=$(measure_pair "$vora" -filepath "$dir/" -in job.map -out "deembedded.s${N}p" -- \
        "$floor" touchstone "$N" "$tmp/floor.out" "$dir/whole.s${N}p" "$dir"/arm*_short.s*p "$dir"/arm*_open.s*p) ||
        exit 1
    rm -f "$dir"/vora_*.log
    model=$(model_cal "$N" "$K" "$G" "$((N / G))")
    record "$name" "$K" "$both" "$model"
}

bench_gs() {  # name points
    local name=$1 K=$2 dir
    dir=$jobs_dir/$name
    make_gs_job "$dir" "$K"
    local both model
    engine_args[$name]=$(printf '%q ' "$vora" GENERALIZEDSPARAM -filepath "$dir/" -inputsfile1 "$dir/a.s2p" \
        -inputsfile2 "$dir/b.s2p" -out g.txt)
    both=$(measure_pair "$vora" GENERALIZEDSPARAM -filepath "$dir/" -inputsfile1 "$dir/a.s2p" \
        -inputsfile2 "$dir/b.s2p" -out g.txt -- "$floor" gsparam "$tmp/floor.out" "$dir/a.s2p" "$dir/b.s2p") || exit 1
    rm -f "$dir"/vora_*.log
    model=$(model_gs "$K")
    record "$name" "$K" "$both" "$model"
}

echo "bench: $runs runs per figure; jobs cached in $jobs_dir" >&2
bench_cal cal-4p-2g 4 2 1001
bench_cal cal-16p-4g 16 4 2001
bench_cal cal-64p-8g 64 8 1001
bench_gs gsparam-2x2p 200000
# The same jobs with twice the frequencies, for the scaling check.
bench_cal cal-4p-2g-x2 4 2 2002
bench_cal cal-16p-4g-x2 16 4 4002
bench_cal cal-64p-8g-x2 64 8 2002
bench_gs gsparam-2x2p-x2 400000

# The engine's memory floor: a 4-port job of 11 points.
make_cal_job "$jobs_dir/tiny" --ports 4 --points 11
base=$(measure "$vora" -filepath "$jobs_dir/tiny/" -in job.map -out deembedded.s4p) || exit 1
rm -f "$jobs_dir"/tiny/vora_*.log
base_mb=$(echo "$base" | awk '{ print $2 }')

echo
printf '%-16s %7s %9s %9s %6s %8s %8s %6s %8s %8s %6s %8s\n' job points engine_s floor_s ratio \
    eng_cpu flr_cpu ratio peak_MB model_MB mem mem-base
for r in "${results[@]}"; do
    # shellcheck disable=SC2086
    set -- $r
    awk -v name="$1" -v K="$2" -v et="$3" -v em="$4" -v ec="$5" -v ft="$6" -v fc="$8" -v ratio="$9" \
        -v model="${10}" -v base="$base_mb" 'BEGIN {
        cpuRatio = (fc >= 0.1 ? sprintf("%6.2f", ec / fc) : sprintf("%6s", "-"))
        printf "%-16s %7d %9.3f %9.3f %6.2f %8.2f %8.2f %s %8.1f %8.1f %6.2f %8.2f\n", name, K, et, ft, ratio,
               ec, fc, cpuRatio, em, model, em / model, (em - base) / model }'
done
echo "(ratio: median of the runs' engine/floor wall ratios, engine and floor taking turns)"
echo "(cpu: user + system seconds, counted in hundredths; no cpu ratio below a tenth of a second)"
echo "(mem = peak RSS / model; mem-base = (peak RSS - ${base_mb} MB, the engine's peak on an 11-point 4-port job) / model)"
echo
# The scaling check runs each job at K and at 2K in turns, like engine and floor above, so
# that a slow spell of the machine does not fall on one side only.
echo "scaling: engine time at 2K / at K, median of $runs runs taking turns, wall and cpu (target at most 2.2)"
for name in cal-4p-2g cal-16p-4g cal-64p-8g gsparam-2x2p; do
    pair=$(eval "measure_pair ${engine_args[$name-x2]} -- ${engine_args[$name]}") || exit 1
    rm -f "$jobs_dir/$name"/vora_*.log "$jobs_dir/$name-x2"/vora_*.log
    # shellcheck disable=SC2086
    set -- $pair
    awk -v name="$name" -v b="$1" -v cb="$3" -v a="$4" -v ca="$6" -v r="$7" 'BEGIN {
        rc = (ca > 0 ? cb / ca : 0)
        verdict = (ca < 0.1 ? "(too short to count)" : (rc <= 2.2 ? "ok" : "OVER"))
        printf "%-16s wall %7.3f %7.3f %5.2f %-4s   cpu %6.2f %6.2f %5.2f %s\n", name, a, b, r,
               (r <= 2.2 ? "ok" : "OVER"), ca, cb, rc, verdict }'
done

# The largest job again with its files in MA form and as Touchstone 2: reading either may
# cost at most 1.1 times the RI job's time (each pair runs in turns, like the others).
echo
echo "forms: the cal-64p-8g-x2 job in other Touchstone forms / in RI, median of $runs runs taking turns (target at most 1.1)"
for form in "--format MA" "--version 2"; do
    name=cal-64p-8g-x2-$(echo "$form" | tr -d ' -')
    dir=$jobs_dir/$name
    # shellcheck disable=SC2046,SC2086
    make_cal_job "$dir" --ports 64 $(groups_arg 64 8) --points 2002 $form
    pair=$(eval "measure_pair $(printf '%q ' "$vora" -filepath "$dir/" -in job.map -out deembedded.s64p) -- \
        ${engine_args[cal-64p-8g-x2]}") || exit 1
    rm -f "$dir"/vora_*.log "$jobs_dir/cal-64p-8g-x2"/vora_*.log
    # shellcheck disable=SC2086
    set -- $pair
    awk -v name="$form" -v b="$1" -v cb="$3" -v a="$4" -v ca="$6" -v r="$7" 'BEGIN {
        printf "%-16s wall %7.3f %7.3f %5.2f %-4s   cpu %6.2f %6.2f %5.2f\n", name, b, a, r, (r <= 1.1 ? "ok" : "OVER"),
               cb, ca, (ca > 0 ? cb / ca : 0) }'
done

# import vora on a 16-port 1,001-point job in memory against the executable on its files
# (target: at most 1.2 times the executable's time).
if [ -f "$build/python/vora/__init__.py" ] && ls "$build"/python/vora/_vora*.so >/dev/null 2>&1; then
    echo
    echo "python: vora.deembed in memory / the executable on the files, median of $runs runs taking turns (target at most 1.2)"
    dir=$jobs_dir/cal-16p-1001
    # shellcheck disable=SC2046
    make_cal_job "$dir" --ports 16 $(groups_arg 16 4) --points 1001
    /usr/bin/python3 "$(dirname "$0")/python_vs_executable.py" "$(realpath "$build")" "$dir" "$runs"
    rm -f "$dir"/vora_*.log
fi

