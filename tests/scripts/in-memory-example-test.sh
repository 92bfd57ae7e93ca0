#!/usr/bin/env bash
# The bundled job de-embedded from files by vora and in memory by the example program must
# give the same numbers: both run the same computation on the same values, and both print
# with six significant digits, so every data token must be equal.
set -euo pipefail
vora=$1 example=$2 job=$3 work=$4
rm -rf "$work" && mkdir -p "$work"
cp "$job"/*.map "$job"/*.s*p "$work"/
"$vora" -filepath "$work/" -in job.map -out file-run.s5p >/dev/null
"$example" "$work" >"$work/in-memory.s5p" 2>"$work/in-memory.log"
data() { grep -vE '^[[:space:]]*([!#]|$)' "$1" | tr -s ' \t' '\n\n' | grep -v '^$'; }
data "$work/file-run.s5p" >"$work/file-run.tokens"
data "$work/in-memory.s5p" >"$work/in-memory.tokens"
count=$(wc -l <"$work/file-run.tokens")
# 301 frequencies of 1 + 2·25 numbers: a run that lost records is not a match.
[ "$count" -eq $((301 * 51)) ] || { echo "file run printed $count numbers"; exit 1; }
if ! diff -q "$work/file-run.tokens" "$work/in-memory.tokens" >/dev/null; then
    echo "in-memory result differs from the file run:"
    diff "$work/file-run.tokens" "$work/in-memory.tokens" | head -20
    exit 1
fi
grep -qx "VORA:  Program successfully completed." "$work/in-memory.log"
echo "in-memory example matches the file run: $count numbers"
