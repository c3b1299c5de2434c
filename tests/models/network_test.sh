#!/bin/sh
# Runs test_network.py with the system's PyTorch and ONNX, and with ONNX Runtime from the environment of
# tests/emulator/onnx_parity_test.sh, which it creates if there is none yet. Where PyTorch, ONNX (packages python3-torch
# and python3-onnx) or the package index is missing it says so and exits with 77, which counts as skipped; not with CI=true.
# Usage: tests/models/network_test.sh BUILD_DIR
set -eu
tests=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "$1" && pwd)
python=$(command -v /usr/bin/python3 || command -v python3)
# shellcheck source=tests/support/package_index.sh
. "$tests/support/package_index.sh"

if ! "$python" -c 'import torch, onnx' 2>/dev/null; then
  [ "${CI:-}" != true ] || { echo "network_test: python3-torch or python3-onnx is missing" >&2; exit 1; }
  echo "skipped: PyTorch or ONNX is not installed (packages python3-torch, python3-onnx)"
  exit 77
fi
python_environment "$build/onnx-parity" "$tests/emulator/requirements.txt" "ONNX Runtime is not to be had"

# The environment's folders come last: its NumPy is too new for the system's PyTorch, and its ONNX for the system's NumPy.
# Without a test that ran, pytest fails.
export PYTHONDONTWRITEBYTECODE=1 OPENBLAS_NUM_THREADS=1
"$python" -c 'import sys; import pytest; sys.path += sys.argv[1:2]; sys.exit(pytest.main(sys.argv[2:]))' \
  "$(echo "$build"/onnx-parity/lib/python3*/site-packages)" -q -p no:cacheprovider "$tests/models/test_network.py"
