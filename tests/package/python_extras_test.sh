#!/bin/sh
# Runs the tests of the Python package's extras with the packages that they need: bags (rosbags, mcap) and clusters (ray). The environment
# stays below the build folder. Needs python3-venv with Python 3.11 or later, and a package index the first time; where
# none can be reached it says so and exits with 77, which counts as skipped; not with CI=true.
# Usage: tests/package/python_extras_test.sh BUILD_DIR   (a native build with the emulated board and the tool)
set -eu
source=$(cd "$(dirname "$0")/../.." && pwd)
build=$(cd "$1" && pwd)
# shellcheck source=tests/support/package_index.sh
. "$source/tests/support/package_index.sh"

environment=$build/python-extras
python_environment "$environment" "$source/python/tests/extras/requirements.txt" "rosbags and Ray are not to be had"

export PYTHONPATH="$source/python" PYTHONDONTWRITEBYTECODE=1
export LD_LIBRARY_PATH="$build/emulator${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}"
export ENHANCE_DEPTH_LIBRARY="$build/src/libenhance_depth.so.0"
export ENHANCE_DEPTH_TOOL="$build/tools/enhance-depth/enhance-depth"
"$environment/bin/python" -m pytest -q -p no:cacheprovider --rootdir "$source/python" "$source/python/tests/extras"
