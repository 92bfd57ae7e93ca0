#!/usr/bin/env bash
# The include order of src/: a folder may include only from the folders below it.
#
#   numerics                       pure math; includes nothing of the project but itself
#   job        -> numerics         the plain data of one job
#   parallel   -> job, numerics    worker process, ordered lines
#   io         -> parallel, job, numerics
#   calibration, gsparam -> parallel, job, numerics   (not io, not each other)
#   driver     -> anything in src
#
# Every quoted include of every file in src/ is checked ("dir/File.h", or a path relative to
# the including file). A line "<file> <include>" of the exceptions file (default
# scripts/layer-exceptions.txt; blank lines and lines starting with # are skipped) lets that
# one include stand. Exit status 1 names every include against the order, one per line;
# exceptions that no longer match anything are told on stderr but do not fail the check.
#
#   scripts/check-layers.sh [ROOT [EXCEPTIONS]]      ROOT: the folder that holds src/
set -euo pipefail

root=${1:-$(cd "$(dirname "$0")/.." && pwd)}
exceptions=${2:-$root/scripts/layer-exceptions.txt}
[ -d "$root/src" ] || { echo "check-layers: no src/ in $root" >&2; exit 2; }
[ -f "$exceptions" ] || exceptions=/dev/null

cd "$root"
# "file<TAB>include" for every quoted include; the exceptions file is read first.
find src -type f \( -name '*.h' -o -name '*.hpp' -o -name '*.cpp' -o -name '*.cc' \) -print0 | sort -z |
    xargs -0 -r awk '
        match($0, /^[ \t]*#[ \t]*include[ \t]*"[^"]+"/) {
            text = substr($0, RSTART, RLENGTH)
            sub(/^[^"]*"/, "", text); sub(/"$/, "", text)
            print FILENAME "\t" text
        }' |
    awk -F '\t' -v exceptions="$exceptions" '
        BEGIN {
            # allowed[from, to]: folder "from" may include from folder "to".
            split("numerics job parallel io calibration gsparam driver", layers, " ")
            for (i in layers) { known[layers[i]] = 1; allowed[layers[i], layers[i]] = 1; allowed["driver", layers[i]] = 1 }
            allowed["job", "numerics"] = 1
            allowed["parallel", "numerics"] = 1; allowed["parallel", "job"] = 1
            allowed["io", "numerics"] = 1; allowed["io", "job"] = 1; allowed["io", "parallel"] = 1
            for (i = 0; i < 2; ++i) {
                c = i == 0 ? "calibration" : "gsparam"
                allowed[c, "numerics"] = 1; allowed[c, "job"] = 1; allowed[c, "parallel"] = 1
            }
            while ((getline line < exceptions) > 0) {
                if (line ~ /^[ \t]*(#|$)/) continue
                n = split(line, f, /[ \t]+/)
                if (f[1] == "") { f[1] = f[2]; f[2] = f[3] }
                excepted[f[1] " " f[2]] = line
            }
        }
        # The folder under src/ that an include names, or "" when it names none.
        function target(file, inc,    dir, parts, n, i, out, m, k) {
            if (inc !~ /\//) return ""                          # same folder
            if (inc !~ /^\.\.?\//) { split(inc, parts, "/"); return parts[1] }
            dir = file; sub(/\/[^\/]*$/, "", dir)               # resolve against the file
            n = split(dir "/" inc, parts, "/"); m = 0
            for (i = 1; i <= n; ++i) {
                if (parts[i] == "" || parts[i] == ".") continue
                if (parts[i] == "..") { if (m > 0) --m; continue }
                out[++m] = parts[i]
            }
            return (m >= 3 && out[1] == "src") ? out[2] : ""
        }
        {
            split($1, p, "/"); from = p[2]; to = target($1, $2)
            if (!(from in known) || to == "" || !(to in known) || allowed[from, to]) next
            if (($1 " " $2) in excepted) { used[$1 " " $2] = 1; next }
            print "check-layers: " $1 " includes " $2 " (" from " may not include " to ")"
            bad = 1
        }
        END {
            for (e in excepted)
                if (!(e in used)) print "check-layers: exception no longer needed: " e > "/dev/stderr"
            exit bad
        }'
