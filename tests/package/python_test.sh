#!/bin/sh
# Runs the tests of the Python package that need no extras, with the system's Python: no network is needed. What a user
# installs, the wheel, is looked at by python_wheel_test.sh. Needs python3-numpy, python3-pil and python3-pytest.
# Usage: tests/package/python_test.sh BUILD_DIR   (a native build with the emulated board)
set -eu
source=$(cd "$(dirname "$0")/../.." && pwd)
build=$(cd "$1" && pwd)
python=$(command -v /usr/bin/python3 || command -v python3)

export PYTHONPATH="$source/python" PYTHONDONTWRITEBYTECODE=1
export LD_LIBRARY_PATH="$build/emulator${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}"
export ENHANCE_DEPTH_LIBRARY="$build/src/libenhance_depth.so.0"
exec "$python" -m pytest -q -p no:cacheprovider --rootdir "$source/python" "$source/python/tests" \
  --ignore "$source/python/tests/extras"
