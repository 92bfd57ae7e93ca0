#!/usr/bin/env bash
# scripts/check-layers.sh on small made-up trees: each case adds one include to a tree that
# passes, and the check must pass or fail as the layer order says, naming file and include.
#
#   tests/scripts/check-layers-test.sh CHECK_SCRIPT
set -uo pipefail
check=$1
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
failures=0

# file | include line | 0 (allowed) or 1 (against the order) | exceptions file text
cases=(
    'src/numerics/A.h|#include "job/J.h"|1|'
    'src/numerics/A.h|#include "parallel/P.h"|1|'
    'src/job/J.h|#include "io/I.h"|1|'
    'src/job/J.h|#include "numerics/A.h"|0|'
    'src/parallel/P.h|#include "io/I.h"|1|'
    'src/io/I.cpp|#include "parallel/P.h"|0|'
    'src/io/I.cpp|#include "calibration/C.h"|1|'
    'src/calibration/C.cpp|#include "io/I.h"|1|'
    'src/calibration/C.cpp|  #  include "../io/I.h"|1|'
    'src/calibration/C.cpp|#include "gsparam/G.h"|1|'
    'src/calibration/C.cpp|#include "parallel/P.h"|0|'
    'src/gsparam/G.cpp|#include "driver/D.h"|1|'
    'src/driver/D.cpp|#include "gsparam/G.h"|0|'
    'src/calibration/C.cpp|#include "io/I.h"|0|src/calibration/C.cpp io/I.h'
    'src/calibration/C.cpp|#include "io/I.h"|1|src/calibration/C.cpp io/Other.h'
)
for c in "${cases[@]}"; do
    IFS='|' read -r file include expected exception <<<"$c"
    root=$tmp/root
    rm -rf "$root"
    for d in numerics job parallel io calibration gsparam driver; do
        mkdir -p "$root/src/$d"
    done
    printf '#include "numerics/A.h"\n' >"$root/src/job/J.h"
    printf '#include "job/J.h"\n#include <parallel/algorithm>\n' >"$root/src/io/I.h"
    printf '%s\n' "$include" >>"$root/$file"
    printf '%s\n' "$exception" >"$tmp/exceptions"
    out=$(bash "$check" "$root" "$tmp/exceptions" 2>/dev/null)
    status=$?
    name=${include##*include }
    if [ "$status" != "$expected" ]; then
        echo "FAIL: $file with $include: status $status, expected $expected"
        failures=$((failures + 1))
    elif [ "$expected" = 1 ] && [[ "$out" != *"$file includes ${name//\"/}"* ]]; then
        echo "FAIL: $file with $include: the message does not name them: $out"
        failures=$((failures + 1))
    fi
done
echo "$failures of ${#cases[@]} cases failed"
[ "$failures" = 0 ]
