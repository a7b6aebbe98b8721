#!/usr/bin/env bash
# `pip install .` from the checkout, as docs/python.md tells it: a virtual environment made from
# Debian's Python, no network, the build tree reused. The installed module (not the build tree's)
# must then render a frame from outside the checkout, and the tree must still build after it.
#
#   bash tests/integration/pip-install-test.sh SOURCE BUILD
set -euo pipefail
source=$(realpath "$1")
build=$(realpath "$2")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

/usr/bin/python3 -m venv --system-site-packages "$work/env"
cd "$source"
TAVRIN_BUILD_DIR="$build" "$work/env/bin/python" -m pip install --no-build-isolation --no-index \
  --quiet --disable-pip-version-check .

cd "$work"
env -u PYTHONPATH "$work/env/bin/python" - "$source" "$work" <<'PY'
import pathlib
import sys

import tavrin

source, work = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
where = pathlib.Path(tavrin.__file__).resolve()
assert where.is_relative_to(work / "env"), f"imported {where}, not the installed module"
frame = tavrin.load(str(source / "examples" / "network.json")).render(0, scale=0.25)
assert frame.shape == (180, 320, 4), frame.shape
assert frame[..., 3].max() > 0.5, "the frame is empty"
print(f"pip-installed tavrin {tavrin.__version__} at {where} rendered {frame.shape}")
PY

# The environment is gone once this ends: the tree must not keep its Python.
grep -q "^PYTHON_EXECUTABLE:FILEPATH=/usr/bin/" "$build/CMakeCache.txt" ||
  { echo "the build tree now names another Python:" >&2; grep "^PYTHON_EXECUTABLE" "$build/CMakeCache.txt" >&2; exit 1; }
