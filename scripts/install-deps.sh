#!/usr/bin/env bash
# Installs every library Tavrin builds against, from Debian's packages.
# With --slurm, also a Slurm controller, node daemon, client and MUNGE, which the farm test
# (tests/integration/slurm-test.sh) starts as a one-node cluster. With --fuzz, also clang and
# its libFuzzer runtime for the fuzzing build (make fuzz).
# Idempotent: when everything is present it only checks and returns.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config
  libagg-dev libnanoflann-dev libqhull-dev libboost-dev
  libegl-dev libegl-mesa0 libgl1-mesa-dri libgl-dev libopengl-dev libglew-dev libglu1-mesa-dev
  libmeshoptimizer-dev libkissfft-dev libtbb-dev
  libopenimageio-dev openimageio-tools libpng-dev libopenexr-dev
  libfreetype-dev libharfbuzz-dev libfontconfig-dev fonts-dejavu-core libsndfile1-dev
  nlohmann-json3-dev libcli11-dev libfmt-dev libspdlog-dev libutfcpp-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  libtinyobjloader-dev
  libcairo2-dev
  librsvg2-bin
  clang-format
  frei0r-plugins-dev ffmpeg melt
  pybind11-dev python3-pybind11 python3-dev python3-numpy python3-pytest python3-setuptools
  python3-pip
)
for option in "$@"; do
  case $option in
    --slurm) packages+=(slurmctld slurmd slurm-client munge) ;;
    --fuzz) packages+=(clang libclang-rt-14-dev) ;;
    *) echo "install-deps: unknown option $option (--slurm, --fuzz)" >&2; exit 2 ;;
  esac
done

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

echo "install-deps: installing ${missing[*]}"
sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then sudo_cmd=(sudo); fi
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -qq
"${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
