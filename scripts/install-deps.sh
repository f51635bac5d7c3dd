#!/usr/bin/env bash
# Installs the Debian packages QVLModel builds with. Idempotent and quiet when all are present.
# `install-deps.sh fuzz` adds the compiler of the fuzz targets (make fuzz).
set -euo pipefail

packages=(
  cmake ninja-build g++ make pkg-config
  libgtest-dev libgmock-dev libbenchmark-dev
  liberfa-dev libtbb-dev libcfitsio-dev nlohmann-json3-dev libcli11-dev libfftw3-dev
  python3-astropy
  casacore-dev casacore-data-tai-utc wsclean
  qt6-base-dev libqcustomplot-dev
)
if [ "${1:-}" = fuzz ]; then
  # libFuzzer and the sanitizer runtimes come with Debian's clang.
  packages+=(clang-14 libclang-rt-14-dev)
fi

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing: ${missing[*]}"
SUDO=""
if [ "$(id -u)" -ne 0 ]; then
  if command -v sudo >/dev/null 2>&1; then SUDO="sudo"; else
    echo "error: missing packages (${missing[*]}) and not running as root" >&2; exit 1
  fi
fi
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
