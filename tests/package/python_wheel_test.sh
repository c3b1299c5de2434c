#!/usr/bin/env bash
# Builds the wheel, installs it into a clean virtual environment and refines the sample there, with nothing but what the
# wheel brings and needs; shows which library is taken where there are several. Needs what scripts/wheel needs and a C
# compiler; exits with 77, which counts as skipped, where no package index can be reached; not with CI=true.
# Usage: tests/package/python_wheel_test.sh BUILD_DIR   (a native build with the emulated board, to compare with)
set -euo pipefail
source=$(cd "$(dirname "$0")/../.." && pwd)
build=$(cd "$1" && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
# shellcheck source=tests/support/package_index.sh
. "$source/tests/support/package_index.sh"

"$source/scripts/wheel" >"$scratch/wheel.log" || { status=$?; cat "$scratch/wheel.log"; exit $status; }
wheel=$(tail -n 1 "$scratch/wheel.log")
environment=$build/python-wheel
python_environment "$environment" "$source/tests/package/wheel_requirements.txt" "the wheel has not what it needs"
"$environment/bin/python" -m pip --disable-pip-version-check install --quiet --no-index --no-deps --force-reinstall "$source/$wheel"

fail() { echo "python_wheel_test: $*" >&2; exit 1; }
brought=$("$environment/bin/python" -c 'import enhance_depth, os; print(os.path.dirname(enhance_depth.__file__))')/lib
# clean [NAME=VALUE...] ARGUMENT...: runs the command with no other environment and far from the sources.
cd "$scratch"
clean() { env -i PATH=/usr/bin:/bin "$@"; }
python=$environment/bin/python
refine=(refine --engine "$source/models/reference.engine.toml" --color "$source/samples/color.png"
  --depth "$source/samples/depth.png")
clean "$python" -m enhance_depth "${refine[@]}" --output bare.png --confidence bare.tiff
clean ENHANCE_DEPTH_LIBRARY="$build/src/libenhance_depth.so.0" LD_LIBRARY_PATH="$build/emulator" \
  "$python" -m enhance_depth "${refine[@]}" --output other.png --confidence other.tiff
cmp bare.png other.png
cmp bare.tiff other.tiff

# A user's own network, with the OpenVINO that the wheel was built with.
grep -qx "Requires-Dist: $(grep -o '^openvino==[0-9.]*' "$source/scripts/openvino.txt")" \
  "$brought"/../../enhance_depth-*.dist-info/METADATA || fail "the wheel needs another OpenVINO than it is built with"
python_environment "$build/onnx-parity" "$source/tests/emulator/requirements.txt" "the ONNX model cannot be made"
"$build/onnx-parity/bin/python" "$source/models/make_reference_onnx.py" model.onnx
clean "$python" -m enhance_depth "${refine[@]}" --engine model.onnx --output onnx.png
"$python" - <<'AGREE'
import numpy as np
from PIL import Image
own, onnx = (np.asarray(Image.open(name)).astype(int) for name in ("bare.png", "onnx.png"))
assert abs(own - onnx).max() <= 1, abs(own - onnx).max()
AGREE

# The first of: named, installed, brought by the wheel. A broken one is not skipped.
taken() { clean "$@" "$python" -m enhance_depth --version; }
first=$brought/libenhance_depth.so.0
if "$python" -c 'import ctypes; ctypes.CDLL("libenhance_depth.so.0")' 2>/dev/null; then
  first=libenhance_depth.so.0 # this machine has one
fi
[[ $(taken X=) == *"($first)" ]] || fail "not $first is taken but $(taken X=)"
installed=LD_LIBRARY_PATH=$build/src:$build/emulator
[[ $(taken "$installed") == *"(libenhance_depth.so.0)" ]] || fail "an installed library does not win"
[[ $(taken "$installed" ENHANCE_DEPTH_LIBRARY="$build/src/libenhance_depth.so") == *"($build/src/libenhance_depth.so)" ]] ||
  fail "ENHANCE_DEPTH_LIBRARY does not win"
mkdir broken
: >broken/libenhance_depth.so.0
if taken LD_LIBRARY_PATH="$scratch/broken" 2>broken.log; then fail "a broken installed library was passed over"; fi
grep -q "cannot load libenhance_depth.so.0" broken.log || fail "$(cat broken.log)"

# Beside the real CUDA, which frameworks load for everybody to see; here one whose every call fails.
functions=$(nm -D --defined-only "$build/emulator/libcudart.so.12" | sed -n 's/.* T \(cuda[A-Za-z]*\).*/\1/p')
[[ $functions == *cudaMalloc* ]] || fail "the emulated CUDA runtime has no cudaMalloc"
for function in $functions; do echo "int $function(void) { return 999; }"; done >cudart.c
echo "libcudart.so.12 { global: cuda*; };" >cudart.map
cc -shared -fPIC -Wl,-soname,libcudart.so.12 -Wl,--version-script=cudart.map -o libcudart.so.12 cudart.c
clean "$python" - "${refine[@]}" --output beside.png <<'BESIDE'
import ctypes, sys
ctypes.CDLL("./libcudart.so.12", mode=ctypes.RTLD_GLOBAL)
from enhance_depth.commands import main
sys.exit(main(sys.argv[1:]))
BESIDE
cmp bare.png beside.png

"$python" - <<'CHECK'
import importlib.metadata, importlib.resources, enhance_depth
assert importlib.resources.files("enhance_depth").joinpath("py.typed").is_file()
licences = [file for file in importlib.metadata.files("enhance_depth") if file.name == "LICENSE"]
assert licences and "Apache License" in licences[0].read_text(), licences
CHECK
echo "wheel: $(basename "$wheel"), $(stat -c %s "$source/$wheel") bytes, refines the sample in a clean environment"
