#!/usr/bin/env bash
# The demo: the program's main job on shipped data. BIN is the folder of the built executables.
set -euo pipefail
BIN=${1:-build/bin}
echo "== qvlmodel time 2026-11-22 18:30:00"
"$BIN/qvlmodel" time 2026-11-22 18:30:00
echo "== qvlmodel time --jd 2451545.0 --json"
"$BIN/qvlmodel" time --jd 2451545.0 --json
