#!/usr/bin/env bash
# Runs vora on the bundled example job. Until the example job exists this shows the
# program's usage and version.
set -euo pipefail
build=${1:-build}
example=${2:-examples/coupled-lines}
"$build/vora" || true
"$build/vora" -v || true
