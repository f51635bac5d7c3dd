#!/usr/bin/env bash
# The demo: the shipped example observation through all four tasks, into one output folder.
#   BIN  folder of the built executables (the shipped data/ is copied next to them)
#   OUT  output folder (default out/demo)
set -euo pipefail
BIN=${1:-build/bin}
OUT=${2:-out/demo}
EX="$BIN/examples"
Q="$BIN/qvlmodel"
mkdir -p "$OUT"
rm -f "$OUT"/*.uvx "$OUT"/*.uvfits "$OUT"/*.fits

step() { printf '\n== %s\n' "$*"; }

step "Task 1: UV coverage of $EX/ground_space_3c345.json"
"$Q" configure "$EX/ground_space_3c345.json" -o "$OUT/3c345.uvx" 2>/dev/null | sed -n '1,12p'
"$Q" info "$OUT/3c345.uvx" | sed -n '1,8p'

step "Task 2: source model $EX/core_jet.mdl onto the UV points"
"$Q" model "$OUT/3c345.uvx" -m "$EX/core_jet.mdl" -o "$OUT/3c345_mdl.uvx" 2>/dev/null
"$Q" model --render "$EX/core_jet.mdl" --fov 0.02 0.02 --size 256 -o "$OUT/core_jet.fits"

step "Task 3: telescope errors from $EX/errors.tsv (fixed start value)"
"$Q" errors "$OUT/3c345_mdl.uvx" --table "$EX/errors.tsv" --random-start 2026 -o "$OUT/3c345_err.uvx" 2>/dev/null

step "Task 4: thermal noise from $EX/sefd.tsv, 60 s scans, 8 MHz"
"$Q" noise "$OUT/3c345_err.uvx" --sefd "$EX/sefd.tsv" --duration 60 --bandwidth 8e6 --random-start 2026 \
  -o "$OUT/3c345_snt.uvx" 2>/dev/null
"$Q" info "$OUT/3c345_snt.uvx" | tail -n 3

step "UVFITS for AIPS, CASA, Difmap, WSClean"
"$Q" export "$OUT/3c345_snt.uvx" -o "$OUT/3c345_snt.uvfits" 2>/dev/null

step "The same chain from a settings file (QvlModel.ini) in $OUT/run"
mkdir -p "$OUT/run"
cp "$EX/QvlModel.ini" "$EX/ground_space_3c345.json" "$EX/core_jet.mdl" "$OUT/run/"
rm -f "$OUT"/run/*.uvx
"$Q" run --settings "$OUT/run/QvlModel.ini" 2>/dev/null

printf '\nFiles in %s:\n' "$OUT"
ls -lR "$OUT"
