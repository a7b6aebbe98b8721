#!/usr/bin/env bash
# Installs every library Tavrin builds against, from Debian's packages, and the studio's browser
# test's tools: Debian's Chromium, and puppeteer-core from the npm registry at the version
# tests/studio/package-lock.json holds (npm ci; never a browser download).
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
  libcpp-httplib-dev
  chromium
  frei0r-plugins-dev ffmpeg melt
  pybind11-dev python3-pybind11 python3-dev python3-numpy python3-pytest python3-setuptools
  python3-pip python3-venv python3-wheel
)
# Node.js and npm for the browser test: the machine's own when it has them, else Debian's.
command -v node >/dev/null 2>&1 || packages+=(nodejs)
command -v npm >/dev/null 2>&1 || packages+=(npm)
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

if [ ${#missing[@]} -gt 0 ]; then
  echo "install-deps: installing ${missing[*]}"
  sudo_cmd=()
  if [ "$(id -u)" -ne 0 ]; then sudo_cmd=(sudo); fi
  export DEBIAN_FRONTEND=noninteractive
  "${sudo_cmd[@]}" apt-get update -qq
  "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

# The browser test's npm packages, again only when the lock file changed since the last install
# (so a machine that has them runs the tests offline).
studio_tests="$(dirname "$0")/../tests/studio"
stamp="$studio_tests/node_modules/.package-lock.json"
if [ ! -f "$stamp" ] || [ "$studio_tests/package-lock.json" -nt "$stamp" ]; then
  echo "install-deps: npm ci in tests/studio"
  (cd "$studio_tests" && npm ci --no-audit --no-fund --loglevel=error)
fi
