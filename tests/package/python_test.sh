#!/bin/sh
# Builds the Python package's wheel, installs it into a virtual environment and runs its tests from there, so that what
# is tested is what a user gets. Needs python3-venv, python3-numpy, python3-pil, python3-pytest and python3-setuptools.
# Usage: tests/package/python_test.sh BUILD_DIR   (a native build with the emulated board)
set -eu
source=$(cd "$(dirname "$0")/../.." && pwd)
build=$(cd "$1" && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
python=$(command -v /usr/bin/python3 || command -v python3)

cp -rL "$source/python" "$scratch/python" # building a wheel writes into its source folder
"$python" -m venv --system-site-packages "$scratch/venv"
"$scratch/venv/bin/python" -m pip --disable-pip-version-check wheel --quiet --no-index --no-deps --no-build-isolation \
  --wheel-dir "$scratch/wheels" "$scratch/python"
"$scratch/venv/bin/python" -m pip --disable-pip-version-check install --quiet --no-index --no-deps "$scratch"/wheels/*.whl

export LD_LIBRARY_PATH="$build/emulator${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}"
export ENHANCE_DEPTH_LIBRARY="$build/src/libenhance_depth.so.0"
cd "$scratch"
"$scratch/venv/bin/python" - <<'CHECK'
import importlib.metadata, importlib.resources, enhance_depth
assert "site-packages" in enhance_depth.__file__, enhance_depth.__file__
assert importlib.resources.files("enhance_depth").joinpath("py.typed").is_file()
licences = [file for file in importlib.metadata.files("enhance_depth") if file.name == "LICENSE"]
assert licences and "Apache License" in licences[0].read_text(), licences
CHECK
"$scratch/venv/bin/python" -m pytest -q -p no:cacheprovider --rootdir "$source/python" "$source/python/tests" \
  --ignore "$source/python/tests/extras"
