#!/usr/bin/env bash
# Makes the corpus of the fuzz targets, tests/fuzz/corpus/<target>/: small valid files written by
# the program of a build (and the shipped examples), from which libFuzzer starts mutating. Run it
# after a change of a file format and commit the result.
#
#   scripts/fuzz-corpus.sh [BIN]        BIN: folder of the qvlmodel program (default build/bin)
set -euo pipefail
cd "$(dirname "$0")/.."
bin=$(cd "${1:-build/bin}" && pwd)
q="$bin/qvlmodel"
c=tests/fuzz/corpus
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
for t in obs obs_json telescopes sources orbit model_file map_file fits_map uvx_info uvfits_import settings \
         errors_table sefd_table simap; do
  rm -rf "${c:?}/$t"
  mkdir -p "$c/$t"
done

# A tiny observation: two ground stations and an orbital telescope from its elements, three
# samples, two IFs of two channels, RR and LL.
cat >"$tmp/tiny.json" <<'JSON'
{
  "source": {"name": "3C273", "ra": "12:29:06.7", "dec": "+02:03:08.6"},
  "date": "2024-03-15",
  "frequency": {"reference_mhz": 4990, "channels": 2,
                "setups": [{"freq_id": 1, "ifs": [{"offset_mhz": 0, "channel_width_mhz": 4},
                                                  {"offset_mhz": 8, "channel_width_mhz": 4}]}]},
  "time_step_s": 30,
  "intervals": [{"start": "12:00:00", "stop": "12:01:00", "freq_id": 1}],
  "polarizations": ["RR", "LL"],
  "telescopes": [
    {"name": "VLBA_SC", "id": "SC", "kind": "ground", "x_m": 2607848.6, "y_m": 5488069.6, "z_m": 1932739.7,
     "diameter_m": 25, "az_min_deg": 0, "az_max_deg": 360, "zenith_min_deg": 0, "zenith_max_deg": 180},
    {"name": "VLBA_HN", "id": "HN", "kind": "ground", "x_m": 1446374.9, "y_m": 4447939.7, "z_m": 4322306.2,
     "diameter_m": 25, "az_min_deg": 0, "az_max_deg": 360, "zenith_min_deg": 0, "zenith_max_deg": 180},
    {"name": "SpaceHEO", "id": "SH", "kind": "orbital", "semimajor_axis_km": 20000, "eccentricity": 0.3,
     "inclination_deg": 51, "ascending_node_deg": 10, "perigee_argument_deg": 20, "epoch_jd": 2460384.5,
     "mean_anomaly_deg": 0}
  ],
  "output": "tiny.uvx"
}
JSON
"$q" obs convert "$tmp/tiny.json" "$tmp/tiny.obs" >/dev/null
"$q" obs convert "$tmp/tiny.obs" "$c/obs_json/tiny.json" >/dev/null
"$q" obs convert data/examples/ground_space_3c345.json "$c/obs_json/example_catalog_names.json" --catalog-names \
  --base data >/dev/null
cp "$tmp/tiny.obs" "$c/obs/tiny.obs"
cp data/examples/ground_space_3c345.obs "$c/obs/example.obs"

# Catalogues: the shipped ones, and one rewritten by `catalog add`.
mkdir -p "$tmp/base"
cp data/Telescopes.dat "$tmp/base/"
"$q" catalog --base "$tmp/base" add --name "New Dish" --id ND --kind orbital \
  --params 30000 0.2 28.5 40 90 2460000.5 10 0 >/dev/null
cp "$tmp/base/Telescopes.dat" "$c/telescopes/Telescopes.dat"
head -c 600 data/Sources.dat >"$c/sources/Sources.dat"

# An orbit file of three records (the layout of docs/coverage.md).
printf 'META_START\nOBJECT_NAME = TEST\nMETA_STOP\n\n%s\n%s\n%s\n' \
  '2024-03-15T12:00:00.000 20000.0 1000.0 300.0' '2024-03-15T12:00:30.000 20001.5 1100.0 310.0' \
  '2024-03-15T12:01:00.000 20003.0 1200.0 320.0' >"$c/orbit/tiny.org"

# Models and maps.
cp data/examples/core_jet.mdl "$c/model_file/core_jet.mdl"
printf 'QVLMODEL 1\n%s\n%s\n%s\n%s\n%s\n%s\n%s\nEND\n' '1 1 0 1 0 0 0 0.5' '2 0.5 0.001 0.5 30 45 0.002 0.5' \
  '3 0.2 0.002 1 0 90 0.001 0.5' '4 0.1 0.003 0.8 10 0 0 0.5' '5 0.1 0.002 1 0 0 0.004 0.5' \
  '6 0.3 0.001 0.5 20 180 0.001 0.5' '7 0.4 0.004 1 0 270 0.003 0.25' >"$c/model_file/all_types.mdl"
for ext in exm amap; do
  "$q" model --render data/examples/core_jet.mdl --fov 0.02 0.02 --size 8 -o "$c/map_file/core_jet.$ext" >/dev/null
done
"$q" model --render data/examples/core_jet.mdl --fov 0.02 0.02 --size 8 -o "$c/fits_map/core_jet.fits" >/dev/null
printf '# two rows (set-up 1: IF 1 and IF 2), four components\nSIMAP 2 4\n0, -0.7, -0.5, 0.25\n0 -0.8 -0.5 1e-3\n' \
  >"$c/simap/two_ifs.simap"

# UVX files of the four tasks, UVFITS both ways, and the tables of tasks 3 and 4.
"$q" configure "$tmp/tiny.json" -o "$tmp/tiny.uvx" >/dev/null
"$q" model "$tmp/tiny.uvx" -m data/examples/core_jet.mdl -o "$tmp/tiny_mdl.uvx" >/dev/null
"$q" errors --template "$tmp/tiny.uvx" >"$c/errors_table/template.tsv"
"$q" noise --template "$tmp/tiny.uvx" >"$c/sefd_table/template.tsv"
sed 's/\t0\t0\t0\t0\t0\t0\t0$/\t5\t0.5\t10\t1e-4\t2e-9\t0\t0/' "$c/errors_table/template.tsv" >"$tmp/errors.tsv"
sed 's/\t0\t0$/\t300\t250/' "$c/sefd_table/template.tsv" >"$tmp/sefd.tsv"
cp data/examples/errors.tsv "$c/errors_table/example.tsv"
cp data/examples/sefd.tsv "$c/sefd_table/example.tsv"
"$q" errors "$tmp/tiny_mdl.uvx" --table "$tmp/errors.tsv" --random-start 1 -o "$tmp/tiny_err.uvx" >/dev/null
"$q" noise "$tmp/tiny_err.uvx" --sefd "$tmp/sefd.tsv" --duration 30 --bandwidth 8e6 --random-start 1 \
  -o "$tmp/tiny_snt.uvx" >/dev/null
"$q" export "$tmp/tiny_snt.uvx" -o "$c/uvfits_import/tiny.uvfits" >/dev/null
"$q" export "$tmp/tiny_mdl.uvx" -o "$c/uvfits_import/tiny_date.uvfits" --frame date >/dev/null
"$q" import "$c/uvfits_import/tiny.uvfits" -o "$tmp/imported.uvx" >/dev/null
for f in tiny tiny_mdl tiny_snt imported; do cp "$tmp/$f.uvx" "$c/uvx_info/$f.uvx"; done

# Settings: the shipped example.
cp data/examples/QvlModel.ini "$c/settings/example.ini"

du -sh "$c"
