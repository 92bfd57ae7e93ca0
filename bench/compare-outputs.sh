#!/usr/bin/env bash
# Runs two engine binaries on the same generated jobs and compares their output files and
# run logs byte for byte (the logs with the process id and the command line's binary path
# taken out). Used to show that a speed change leaves every output byte as it was; a binary
# may be a script (e.g. one running the engine on a single processor with taskset).
#
#   bench/compare-outputs.sh OLD_VORA NEW_VORA JOBGEN TWOPORT_GEN [WORK_DIR]
set -euo pipefail

old=$(realpath "$1")
new=$(realpath "$2")
jobgen=$(realpath "$3")
twoport=$(realpath "$4")
work=${5:-$(mktemp -d)}
mkdir -p "$work"
work=$(realpath "$work")

failures=0
check() {  # name, then the engine arguments after the binary, with @DIR@ for the job
    local name=$1 dir=$work/$1 which
    shift
    for which in old new; do
        rm -f "$dir"/vora_*.log "$dir/out.$which"
        local bin=$old
        [ "$which" = new ] && bin=$new
        local status=0
        "$bin" "${@//@DIR@/$dir}" >"$dir/console.$which" 2>&1 || status=$?
        echo "$status" >>"$dir/console.$which"
        [ -f "$dir/out" ] && mv "$dir/out" "$dir/out.$which"
        sed -e "s|Command Line: [^ ]*|Command Line: VORA|" "$dir"/vora_*.log >"$dir/log.$which"
        rm -f "$dir"/vora_*.log
    done
    local same=1 f
    for f in out console log; do
        if [ -f "$dir/$f.old" ] || [ -f "$dir/$f.new" ]; then
            cmp -s "$dir/$f.old" "$dir/$f.new" || { same=0; echo "DIFFERENT $name: $f"; }
        fi
    done
    [ "$same" = 1 ] && echo "same      $name ($(wc -c <"$dir/out.old" 2>/dev/null || echo 0) output bytes)"
    [ "$same" = 1 ] || failures=$((failures + 1))
}

cal() {  # name, jobgen arguments
    local name=$1
    shift
    [ -d "$work/$name" ] || "$jobgen" "$@" "$work/$name" >/dev/null
    check "$name" -filepath "@DIR@/" -in job.map -out out
}

cal default
cal p4-2g-1001 --ports 4 --group 1,2 --group 3,4 --points 1001
cal p16-4g --ports 16 --group 1-4 --group 5-8 --group 9-12 --group 13-16 --points 301
cal p64-8g --ports 64 --group 1-8 --group 9-16 --group 17-24 --group 25-32 --group 33-40 --group 41-48 \
    --group 49-56 --group 57-64 --points 101
cal p8-es --ports 8 --group 1-4:ES --group 5-8:ES --points 201
cal p4-ed --ports 4 --group 1,2:ED --group 3,4:ED
cal p2-plain-ep --ports 2 --group 1:plain-EP --group 2:plain-EP
cal p2-plain-ed --ports 2 --group 1:plain-ED --group 2:plain-ED
cal p4-fine --ports 4 --arm-grid fine:4 --points 301
cal p4-offset --ports 4 --arm-grid offset --points 301
cal p4-mhz-hz --ports 4 --unit MHz --fstart 1k --fstop 3G --points 501
cal p6-beyond-fd --ports 6 --group 1-3 --group 4-6 --fstop 8G --points 401
cal p7-wrap-ungrouped --ports 7 --group 1-3 --group 4-6 --points 51
cal p4-series --ports 4 --device series --series-shunt --points 201
cal p4-through --ports 4 --device through --points 11

# Failing jobs: a zero open record in the first or the second half of the sweep (a singular
# matrix in the arm derivation; the halves are de-embedded by two processes) and a short
# file ending before the sweep does (coverage).
broken() {  # name, file, awk program run over the file
    local name=$1 file=$2 program=$3
    if [ ! -d "$work/$name" ]; then
        "$jobgen" --ports 4 --points 101 "$work/$name" >/dev/null
        awk "$program" "$work/$name/$file" >"$work/$name/$file.new"
        mv "$work/$name/$file.new" "$work/$name/$file"
    fi
    check "$name" -filepath "@DIR@/" -in job.map -out out
}
broken fail-singular-arm arm1_open.s2p \
    '/^[!#]/ { print; next } { if (++n == 50) { $0 = $1; for (i = 0; i < 8; i++) $0 = $0 " 0" } print }'
broken fail-singular-arm-late arm1_open.s2p \
    '/^[!#]/ { print; next } { if (++n == 90) { $0 = $1; for (i = 0; i < 8; i++) $0 = $0 " 0" } print }'
broken fail-coverage arm2_short.s2p '/^[!#]/ { print; next } { if (++n < 101) print }'

# Generalized mode.
mkdir -p "$work/gsparam"
[ -f "$work/gsparam/a.s2p" ] || "$twoport" 20000 "$work/gsparam/a.s2p" "$work/gsparam/b.s2p"
check gsparam GENERALIZEDSPARAM -filepath "@DIR@/" -inputsfile1 "@DIR@/a.s2p" -inputsfile2 "@DIR@/b.s2p" -out out

# Generalized mode failing at a zero S21 in the second half, after more than the output
# buffer (1 MiB) of lines: what reached the file before the failure must be the same.
mkdir -p "$work/gsparam-fail"
if [ ! -f "$work/gsparam-fail/a.s2p" ]; then
    "$twoport" 60000 "$work/gsparam-fail/a.s2p" "$work/gsparam-fail/b.s2p"
    awk '/^[!#]/ { print; next } { if (++n == 45000) { $4 = 0; $5 = 0; $6 = 0; $7 = 0 } print }' \
        "$work/gsparam-fail/a.s2p" >"$work/gsparam-fail/a.new"
    mv "$work/gsparam-fail/a.new" "$work/gsparam-fail/a.s2p"
fi
check gsparam-fail GENERALIZEDSPARAM -filepath "@DIR@/" -inputsfile1 "@DIR@/a.s2p" -inputsfile2 "@DIR@/b.s2p" -out out

echo "$failures job(s) differ"
[ "$failures" = 0 ]
