#!/usr/bin/env bash
# Builds the fuzz targets of tests/fuzz with clang (ASan + UBSan) in BUILD and runs each one for
# SECONDS over a working copy of its corpus, with a fixed random start value so that a run can be
# repeated. Two targets run at a time (FUZZ_JOBS). Any finding (crash, sanitizer report, leak,
# time-out, memory limit) fails the run; the input is left in BUILD/findings/<target>/. Keep it as
# a regression case by copying it into tests/fuzz/regress/<target>/ (the test suite replays it).
#
#   scripts/fuzz.sh [BUILD] [SECONDS] [TARGET...]
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build-fuzz}
seconds=${2:-30}
shift $(( $# > 2 ? 2 : $# ))
jobs=${FUZZ_JOBS:-2}

cxx=$(command -v clang++ || command -v clang++-14 || true)
cc=$(command -v clang || command -v clang-14 || true)
if [ -z "$cxx" ] || [ -z "$cc" ]; then
  echo "fuzz: clang is not installed (scripts/install-deps.sh fuzz); the fuzz targets are skipped" >&2
  exit 0
fi

if [ ! -f "$build/build.ninja" ]; then
  CC=$cc CXX=$cxx cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQVL_FUZZ=ON \
    ${CMAKE_EXTRA:-} >/dev/null
fi
targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  for f in tests/fuzz/fuzz_*.cpp; do n=${f##*/fuzz_}; targets+=("${n%.cpp}"); done
fi
cmake --build "$build" -j "${JOBS:-2}" --target "${targets[@]/#/fuzz_}"

mkdir -p "$build/logs"
# A C allocation that cannot be made returns null, as it does outside the sanitizer (cfitsio asks
# for absurd sizes when a header is garbled, and handles the null); C++ allocations still throw,
# and libFuzzer still reports any allocation above -malloc_limit_mb.
export ASAN_OPTIONS="${ASAN_OPTIONS:-allocator_may_return_null=1}"
# casacore leaks what it had built of a table when a damaged descriptor makes it throw.
export LSAN_OPTIONS="${LSAN_OPTIONS:-suppressions=$PWD/tests/fuzz/lsan.supp}"
run_one() {
  local name=$1 build=$2 seconds=$3
  local work="$build/work/$name" found="$build/findings/$name" log="$build/logs/$name.log"
  rm -rf "$work" "$found"
  mkdir -p "$work" "$found"
  local dict=()
  [ -f "tests/fuzz/dict/$name.dict" ] && dict=(-dict="tests/fuzz/dict/$name.dict")
  # Options of one target (tests/fuzz/options/<target>.options) come after the common ones.
  local extra=()
  [ -f "tests/fuzz/options/$name.options" ] && read -ra extra < "tests/fuzz/options/$name.options"
  local inputs=()
  for d in "tests/fuzz/corpus/$name" "tests/fuzz/regress/$name"; do [ -d "$d" ] && inputs+=("$d"); done
  # New inputs go to the working folder; the corpus and the regression cases are only read.
  if "$build/bin/fuzz_$name" -seed=1 -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
       -malloc_limit_mb=1024 -print_final_stats=1 -artifact_prefix="$found/" "${dict[@]}" "${extra[@]}" \
       "$work" "${inputs[@]}" >"$log" 2>&1; then
    echo "fuzz $name: $(grep -m1 -o 'stat::number_of_executed_units: *[0-9]*' "$log" | grep -o '[0-9]*$') runs, no finding"
  else
    echo "fuzz $name: FINDING (log $log, input in $found/)"
    grep -E 'ERROR|SUMMARY|runtime error|Test unit written' "$log" | head -20 | sed 's/^/    /'
    return 1
  fi
}
export -f run_one
printf '%s\n' "${targets[@]}" | xargs -P "$jobs" -I{} bash -c 'run_one "$@"' _ {} "$build" "$seconds"
