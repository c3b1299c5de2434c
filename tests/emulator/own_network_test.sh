#!/bin/sh
# The program of docs/getting-started.md, "Your own network", as a reader runs it: it exports a network from PyTorch, which
# then runs through the tool and through the C example, the same program that runs engine descriptions. Its results are
# PyTorch's own. Without PyTorch (package python3-torch) it exits with 77, which counts as skipped; not with CI=true.
# Usage: tests/emulator/own_network_test.sh BUILD_DIR   (a native build with the emulated board, OpenVINO and the tool)
set -eu
source=$(cd "$(dirname "$0")/../.." && pwd)
build=$(cd "$1" && pwd)
python=$(command -v /usr/bin/python3 || command -v python3)
tool=$build/tools/enhance-depth/enhance-depth
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch"

fail() {
  echo "own_network_test: $*" >&2
  exit 1
}

if ! "$python" -c 'import torch' 2>/dev/null; then
  [ "${CI:-}" != true ] || fail "python3-torch is missing"
  echo "skipped: PyTorch is not installed (package python3-torch)"
  exit 77
fi

# shellcheck disable=SC2016 # the backquotes are those of the document
sed -n '/^## Your own network$/,/^## /p' "$source/docs/getting-started.md" | sed -n '/^```python$/,/^```$/p' | sed '/^```/d' \
  >depth_net.py
"$python" depth_net.py >log 2>&1 || { cat log >&2; fail "the program does not run"; }
"$tool" inspect depth_net.onnx >inspected || { cat inspected >&2; fail "inspect refuses the model"; }
"$tool" bench --engine depth_net.onnx --frames 3 >measured 2>log || { cat log >&2; fail "bench failed"; }
grep -q 'the network was run by OpenVINO' measured || { cat measured >&2; fail "bench does not name OpenVINO"; }
"$tool" bench --engine "$source/models/reference.engine.toml" --frames 1 2>log |
  grep -q "the network was run by the emulated board's own network" || fail "bench does not name the emulated board"

# One C program, unchanged, with either kind of engine; the second frame is of another, odd size.
cc -std=c11 -I"$source/include" -o refine "$source/examples/c/refine.c" "$source/examples/c/pnm.c" \
  -L"$build/src" -lenhance_depth -Wl,-rpath,"$build/src:$build/emulator" -Wl,-rpath-link,"$build/emulator"
pngtopnm "$source/samples/color.png" >color.ppm
pngtopnm "$source/samples/depth.png" >depth.pgm
pamcut -width 301 -height 203 color.ppm >small.ppm
pamcut -width 301 -height 203 depth.pgm >small.pgm
for engine in "$source/models/reference.engine.toml" depth_net.onnx; do
  ./refine "$engine" c color.ppm depth.pgm small.ppm small.pgm >printed 2>log || { cat log >&2; fail "the C program failed"; }
done
"$python" -W ignore - <<'COMPARE'
import numpy as np
import torch
from PIL import Image

exec(open("depth_net.py").read())
for number, name in enumerate(("", "small")):
    color = np.array(Image.open((name or "color") + ".ppm"))
    depth = np.array(Image.open((name or "depth") + ".pgm")).astype(np.float32)
    with torch.no_grad():
        pred, _ = network(torch.from_numpy(color.transpose(2, 0, 1)[None].copy()), torch.from_numpy(depth[None, None]))
    expected = np.clip(pred[0, 0].numpy(), 0, 65535).astype(np.uint16).astype(int)
    difference = np.abs(np.array(Image.open(f"c-{number}.pgm")).astype(int) - expected)
    print(f"agreement of PyTorch and the C program, {depth.shape[1]} x {depth.shape[0]}: at most {difference.max()} apart, "
          f"on {100 * np.mean(difference != 0):.3f} % of the pixels")
    assert difference.max() <= 1
COMPARE
