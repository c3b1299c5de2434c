#!/bin/sh
# Runs onnx_parity_test.py in a virtual environment with the packages of requirements.txt, which it creates if there is
# none yet. Where no package index can be reached it says so and exits with 77, which counts as skipped; not with CI=true.
# Needs python3-venv with Python 3.11 or later.
# Usage: tests/emulator/onnx_parity_test.sh BUILD_DIR   (a native build with the emulated board and OpenVINO)
set -eu
tests=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "$1" && pwd)
environment=$build/onnx-parity
log=$build/onnx-parity.log
# shellcheck source=tests/support/package_index.sh
. "$tests/support/package_index.sh"

python_environment "$environment" "$tests/emulator/requirements.txt" "ONNX Runtime is not to be had"

# The board's log goes to standard error, line after line for every engine.
export LD_LIBRARY_PATH="$build/emulator${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}"
if ! "$environment/bin/python" "$tests/emulator/onnx_parity_test.py" "$build" 2>"$log"; then
  cat "$log"
  exit 1
fi
