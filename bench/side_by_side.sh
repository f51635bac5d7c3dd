#!/usr/bin/env bash
# `qvlmodel model --no-fast` beside `wsclean -predict` on the same UV points and model maps.
#
#   bench/side_by_side.sh [BIN] [WORK]     BIN: build-bench/bin (make bench), WORK: a scratch folder
#
# 1. `qvlmodel configure bench/vlba_12h_22ghz.json`: 10 VLBA stations, 12 h at 10 s, 16 channels
#    at 22.2 GHz, RR and LL.
# 2. Model maps (side_by_side_tools maps): the core-jet example on 512 x 512 (sparse), and with a
#    halo setting every pixel on 256 x 256 and 1024 x 1024 (dense); 0.1 mas pixels.
# 3. Per map, the whole `qvlmodel model --no-fast` command: the engine it chooses (auto), and the
#    separable direct sum where it takes seconds rather than minutes (not on 1024 x 1024).
# 4. WSClean (when installed): the UVX file as a Measurement Set (`qvlmodel export -o X.ms` when it
#    exists, else UVFITS through casacore's importer), then `wsclean -predict` with the w-gridder
#    at 1e-6 without small inversion, and its default gridder, 2 threads.
# Times are medians of RUNS runs (default 3) of the whole command; errors are relative RMS against
# a double-precision sum over the pixel grid on 200 groups x 16 channels. With BIG=1 the peak
# memory of a 4096 x 4096 map is measured too.
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
BIN=$(cd "${1:-$here/../build-bench/bin}" && pwd)
WORK=${2:-${TMPDIR:-/tmp}/qvl_side_by_side}
RUNS=${RUNS:-3}
QVL=$BIN/qvlmodel
TOOLS=$BIN/side_by_side_tools
for exe in "$QVL" "$TOOLS"; do
  [ -x "$exe" ] || { echo "missing $exe: build with 'make bench' first" >&2; exit 1; }
done
mkdir -p "$WORK"
cd "$WORK"

# Median wall time of RUNS runs of a command, in seconds.
median() {
  local times=()
  for _ in $(seq "$RUNS"); do
    local t0 t1
    t0=$(date +%s.%N)
    "$@" >/dev/null 2>&1
    t1=$(date +%s.%N)
    times+=("$(echo "$t1 - $t0" | bc -l)")
  done
  printf '%s\n' "${times[@]}" | sort -g | awk '{a[NR]=$1} END {printf "%.2f", a[int((NR+1)/2)]}'
}

echo "== UV coverage"
"$QVL" configure "$here/vlba_12h_22ghz.json" -o vlba.uvx >/dev/null
"$QVL" info vlba.uvx | sed -n '3,4p'
echo "== maps (path, side, non-zero pixels)"
"$TOOLS" maps vlba.uvx . ${BIG:+--big}

maps=(sparse512 dense256 dense1024)
declare -A ours ours_err sep sep_err engine ws ws_err wsd wsd_err
for m in "${maps[@]}"; do
  engine[$m]=$("$QVL" model vlba.uvx --map "$m.fits" --no-fast -o "q_$m.uvx" --json 2>/dev/null | grep -m1 '"name"' | tr -d ' ",' | cut -d: -f2)
  ours[$m]=$(median "$QVL" model vlba.uvx --map "$m.fits" --no-fast -o "q_$m.uvx")
  ours_err[$m]=$("$TOOLS" error-uvx "q_$m.uvx" "$m.fits")
  if [ "$m" != dense1024 ]; then
    sep[$m]=$(median "$QVL" model vlba.uvx --map "$m.fits" --no-fast --engine separable -o "s_$m.uvx")
    sep_err[$m]=$("$TOOLS" error-uvx "s_$m.uvx" "$m.fits")
  else
    sep[$m]="-"; sep_err[$m]="-"
  fi
done

have_ws=0
if command -v wsclean >/dev/null 2>&1; then
  rm -rf vlba.ms
  if "$QVL" export vlba.uvx -o vlba.ms >/dev/null 2>&1 && [ -d vlba.ms ]; then
    have_ws=1
  elif rm -rf vlba.ms && "$QVL" export vlba.uvx -o vlba.uvfits >/dev/null && "$TOOLS" to-ms vlba.uvfits vlba.ms >/dev/null 2>&1; then
    have_ws=1
  else
    echo "(no Measurement Set: neither 'qvlmodel export -o X.ms' nor side_by_side_tools to-ms; WSClean skipped)"
  fi
else
  echo "(wsclean not installed: skipped)"
fi
if [ $have_ws = 1 ]; then
  for m in "${maps[@]}"; do
    n=${m//[a-z]/}
    cp "$m.fits" "$m-model.fits"
    ws[$m]=$(median wsclean -predict -name "$m" -size "$n" "$n" -scale 0.1masec -use-wgridder \
      -wgridder-accuracy 1e-6 -no-small-inversion -j 2 vlba.ms)
    ws_err[$m]=$("$TOOLS" error-ms vlba.ms "$m.fits")
    wsd[$m]=$(median wsclean -predict -name "$m" -size "$n" "$n" -scale 0.1masec -j 2 vlba.ms)
    wsd_err[$m]=$("$TOOLS" error-ms vlba.ms "$m.fits")
  done
fi

echo
echo "| map | qvlmodel model --no-fast (engine) | separable direct sum | wsclean -predict, w-gridder 1e-6 | wsclean default gridder |"
echo "|---|---|---|---|---|"
for m in "${maps[@]}"; do
  printf '| %s | %s s, error %s (%s) | %s s, error %s | %s s, error %s | %s s, error %s |\n' "$m" \
    "${ours[$m]}" "${ours_err[$m]}" "${engine[$m]}" "${sep[$m]}" "${sep_err[$m]}" \
    "${ws[$m]:--}" "${ws_err[$m]:--}" "${wsd[$m]:--}" "${wsd_err[$m]:--}"
done

if [ -n "${BIG:-}" ]; then
  echo
  echo "== peak memory, 4096 x 4096 dense map (qvlmodel model, fast mode)"
  /usr/bin/time -f "%M KB, %e s" "$QVL" model vlba.uvx --map dense4096.fits -o q_dense4096.uvx 2>&1 >/dev/null | tail -1
fi
