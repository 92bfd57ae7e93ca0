#!/usr/bin/env bash
# Installs what a fresh Debian 12 machine lacks to build, test, benchmark and fuzz vora.
# Idempotent: packages already present are not touched, and apt is not called at all
# when nothing is missing. Uses sudo only when not running as root.
set -euo pipefail

packages=(
  g++ cmake make
  libopenblas-serial-dev
  libgfortran-12-dev
  libgtest-dev libgmock-dev
  libbenchmark-dev
  parallel
  nlohmann-json3-dev
  python3-numpy python3-pytest python3-matplotlib python3-scikit-rf
  pybind11-dev python3-dev strace
  chromium
)
# The fuzz targets need clang with its sanitizer runtimes; only installed on request.
if [ "${VORA_WITH_FUZZ:-0}" = "1" ]; then
  packages+=(clang libclang-rt-14-dev)
fi
# The Slurm job-array test starts its own single-node Slurm from these; only on request,
# because on a systemd machine the packages also enable daemons of their own.
if [ "${VORA_WITH_SLURM:-0}" = "1" ]; then
  packages+=(slurm-wlm munge)
fi

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "install-deps: installing ${missing[*]}"
sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then
  sudo_cmd=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -qq
"${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
