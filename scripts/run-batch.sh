#!/usr/bin/env bash
# Runs a folder of independent de-embedding jobs, one vora run per job, several at once with
# GNU parallel, and ends with a summary of every job's exit status and run log.
#
#   run-batch.sh [options] <batch folder>            run every job, then the summary
#   run-batch.sh [options] --task K <batch folder>   run only job K (0-based; a Slurm array task)
#   run-batch.sh [options] --count <batch folder>    print the number of jobs
#   run-batch.sh [options] --summary <batch folder>  the summary only, from the jobs' status files
#
# A job is a subfolder of the batch folder that holds its map file: the one given by -m, or
# else its only *.map file (a subfolder with none is not a job; one with several fails).
# Jobs are numbered in the C locale's name order. The output is deembedded.s<N>p in the job
# folder, N taken from the map's last NP line. Each run leaves in its job folder vora's run
# log vora_<pid>.log, what vora printed (vora-batch.out) and one line "<status><TAB><log>"
# (vora-batch.status), from which the summary is made, so it also collects Slurm tasks.
#
# Options: -j N    jobs at once (default: one per processor)
#          -m MAP  map file name in every job folder (default: the folder's only *.map)
#          --vora PATH  the vora binary (default: $VORA, else build/vora of this repository)
# Exit status: 0 when every job succeeded, 1 when any failed or did not run, 2 on bad use.
set -uo pipefail

self=$(cd "$(dirname "$0")" && pwd)/$(basename "$0")
vora=${VORA:-$(dirname "$self")/../build/vora}
jobs_at_once=
map=
mode=all
task=
usage() { sed -n '5,8p' "$self" | sed 's/^#  *//' >&2; exit 2; }

while [ $# -gt 1 ]; do
  case $1 in
    -j) jobs_at_once=$2; shift 2 ;;
    -m) map=$2; shift 2 ;;
    --vora) vora=$2; shift 2 ;;
    --task) mode=task; task=$2; shift 2 ;;
    --count|--summary) mode=${1#--}; shift ;;
    --run-one) mode=run-one; shift ;;   # one job folder, as GNU parallel calls this script
    *) usage ;;
  esac
done
[ $# -eq 1 ] && [ -d "$1" ] || usage
batch=$(cd "$1" && pwd)

# The job folders, in a fixed order, one per array element.
list_jobs() {
  local d
  while IFS= read -r -d '' d; do
    if [ -n "$map" ]; then
      [ -f "$d/$map" ] && printf '%s\0' "$d"
    else
      compgen -G "$d/*.map" >/dev/null && printf '%s\0' "$d"
    fi
  done < <(find "$batch" -mindepth 1 -maxdepth 1 -type d -print0 | LC_ALL=C sort -z)
}

# Runs vora on one job folder and records its status; returns vora's status.
run_one() {
  local dir=$1 job_map=$map ports status pid log=-
  rm -f "$dir/vora-batch.status"
  if [ -z "$job_map" ]; then
    local maps=("$dir"/*.map)
    if [ ${#maps[@]} -ne 1 ]; then
      echo "vora batch: ${#maps[@]} map files in $dir; choose one with -m" >"$dir/vora-batch.out"
      printf '2\t-\n' >"$dir/vora-batch.status"
      return 2
    fi
    job_map=$(basename "${maps[0]}")
  fi
  ports=$(awk 'toupper(substr($1, 1, 2)) == "NP" { n = int($2) } END { print n }' "$dir/$job_map")
  # Started in the background so that $! is vora's own process id, which names its log.
  "$vora" -filepath "$dir/" -in "$job_map" -out "deembedded.s${ports}p" >"$dir/vora-batch.out" 2>&1 &
  pid=$!
  wait "$pid"
  status=$?
  [ -f "$dir/vora_$pid.log" ] && log="$dir/vora_$pid.log"
  printf '%s\t%s\n' "$status" "$log" >"$dir/vora-batch.status"
  return "$status"
}

# One line per job: status, job folder, log, and for a failed job the reason vora gave.
summary() {
  local dir status log reason failed=0 count=0
  printf 'status\tjob\tlog\n'
  for dir in "$@"; do
    count=$((count + 1))
    if ! IFS=$'\t' read -r status log <"$dir/vora-batch.status" 2>/dev/null; then
      status="not run"
      log=-
    fi
    reason=
    if [ "$status" != 0 ]; then
      failed=$((failed + 1))
      [ -f "$log" ] && reason=$(grep -m 1 '^VORA:: ' "$log")
      [ -z "$reason" ] && [ -f "$dir/vora-batch.out" ] && reason=$(tail -n 1 "$dir/vora-batch.out")
    fi
    printf '%s\t%s\t%s%s\n' "$status" "${dir#"$batch"/}" "$log" "${reason:+	$reason}"
  done
  echo "vora batch: $failed of $count jobs failed ($batch)"
  [ "$failed" -eq 0 ]
}

[ "$mode" = run-one ] || mapfile -d '' job_dirs < <(list_jobs)
case $mode in
  count) echo "${#job_dirs[@]}" ;;
  summary) summary "${job_dirs[@]}" ;;
  run-one) run_one "$batch" ;;
  task)
    [[ $task =~ ^[0-9]+$ ]] && [ "$task" -lt ${#job_dirs[@]} ] ||
      { echo "vora batch: no job $task among the ${#job_dirs[@]} jobs in $batch" >&2; exit 2; }
    run_one "${job_dirs[10#$task]}" ;;
  all)
    command -v parallel >/dev/null ||
      { echo "vora batch: GNU parallel is missing (scripts/install-deps.sh installs it)" >&2; exit 2; }
    command -v "$vora" >/dev/null || { echo "vora batch: no vora binary at $vora" >&2; exit 2; }
    for dir in "${job_dirs[@]}"; do rm -f "$dir/vora-batch.status"; done
    # A failed job must not stop the others (--halt never); its status is in its folder.
    [ ${#job_dirs[@]} -eq 0 ] ||
      printf '%s\0' "${job_dirs[@]}" |
      parallel -0 -q --halt never ${jobs_at_once:+-j "$jobs_at_once"} \
        "$self" ${map:+-m "$map"} --vora "$vora" --run-one {}
    summary "${job_dirs[@]}" ;;
esac
