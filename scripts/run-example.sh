#!/usr/bin/env bash
# De-embeds the bundled example job: copies it into the build folder (so the source tree
# stays clean), runs vora on it, prints a short summary and the run log, checks the result
# against the job's known device and draws raw, de-embedded and true |S| in one picture;
# the run's quality report (report.json) and its page (report.html) go beside it.
set -euo pipefail
build=${1:-build}
example=${2:-examples/coupled-lines}
root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "$build" && pwd)
job="$build/example-run/$(basename "$example")"

rm -rf "$job"
mkdir -p "$job"
cp "$root/$example"/*.map "$root/$example"/*.s*p "$job"/
rm -f "$job"/deembedded.*

map=$(basename "$(ls "$job"/*.map | head -n 1)")
ports=$(awk 'toupper(substr($1,1,2))=="NP"{print int($2); exit}' "$job/$map")
groups=$(awk 'toupper(substr($1,1,2))=="NC"{print int($2); exit}' "$job/$map")
output="deembedded.s${ports}p"

status=0
"$build/vora" -filepath "$job/" -in "$map" -out "$output" -report report.json || status=$?
log=$(ls -t "$job"/vora_*.log | head -n 1)
frequencies=$(grep -cvE '^[[:space:]]*([!#]|$)' "$job/$output" || true)

echo "== vora: de-embedded example job"
echo "job:         $job"
echo "ports:       $ports, calibration groups: $groups, frequencies: $frequencies"
echo "output:      $job/$output"
echo "log:         $log"
echo "exit status: $status"
echo "== run log"
cat "$log"
if [ "$status" -ne 0 ]; then
  exit "$status"
fi

# Largest difference between the de-embedded S values and the known device's, value by value
# (both files hold the same records; only their line breaks differ).
tokens() { grep -vE '^[[:space:]]*([!#]|$)' "$1" | tr -s ' \t' '\n\n' | grep -v '^$'; }
deviation=$(paste <(tokens "$job/$output") <(tokens "$job/device.s${ports}p") |
  awk -v n=$((2 * ports * ports + 1)) 'NR % n != 1 {d = $1 - $2; if (d < 0) d = -d; if (d > m) m = d} END {printf "%.3g", m}')
echo "largest difference from the known device: $deviation (the output keeps 6 significant digits)"

if [ -x "$build/tools/vora-plot" ]; then
  (cd "$job" && "$build/tools/vora-plot" --ports "$ports" --entries S11,S21,S33,S43 \
      --title "example: raw, de-embedded and true device" -o plot.svg \
      "whole.s${ports}p=whole structure" "$output=de-embedded" "device.s${ports}p=true device")
  echo "== picture: $job/plot.svg"
  if [ -f "$job/report.json" ]; then
    "$build/tools/vora-plot" --report "$job/report.json" -o "$job/report.html" >/dev/null
    echo "== quality report: $job/report.json, page: $job/report.html"
  fi
fi
