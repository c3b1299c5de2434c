#!/bin/sh
# Builds the examples against an installed library and runs them on the emulated board: all three languages have to
# make the same refined frame, and each has to survive and report what can go wrong with its input.
# Needs netpbm, python3-numpy, python3-pil and python3-matplotlib.
# Usage: tests/package/examples_test.sh BUILD_DIR   (a native build with the emulated board)
set -eu
source=$(cd "$(dirname "$0")/../.." && pwd)
build=$(cd "$1" && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
python=$(command -v /usr/bin/python3 || command -v python3)
engine=$source/models/reference.engine.toml

fail() {
  echo "examples_test: $*" >&2
  exit 1
}

# expect STATUS TEXT COMMAND...: the command exits with STATUS and prints TEXT, and no Python traceback.
expect() {
  status=$1 text=$2
  shift 2
  code=0
  "$@" >"$scratch/printed" 2>&1 || code=$?
  [ "$code" -eq "$status" ] || { cat "$scratch/printed" >&2; fail "$* exited with $code, expected $status"; }
  grep -qF -- "$text" "$scratch/printed" || { cat "$scratch/printed" >&2; fail "$* did not print: $text"; }
  if grep -q Traceback "$scratch/printed"; then cat "$scratch/printed" >&2; fail "$* left an exception to Python"; fi
}

cmake --install "$build" --prefix "$scratch/prefix" >"$scratch/install.log"
library=$(find "$scratch/prefix" -name libenhance_depth.so)
LD_LIBRARY_PATH="$(dirname "$library"):$build/emulator"
export LD_LIBRARY_PATH
cmake -S "$source/examples" -B "$scratch/build" -DCMAKE_PREFIX_PATH="$scratch/prefix" \
  -DCMAKE_C_FLAGS="-Wall -Wextra -Werror" -DCMAKE_CXX_FLAGS="-Wall -Wextra -Werror" >"$scratch/configure.log"
cmake --build "$scratch/build" >"$scratch/build.log" || { cat "$scratch/build.log" >&2; fail "the examples do not build"; }

cd "$scratch"
pngtopnm "$source/samples/color.png" >color.ppm
pngtopnm "$source/samples/depth.png" >depth.pgm
pamcut -width 320 -height 200 color.ppm >small.ppm
pamcut -width 320 -height 200 depth.pgm >small.pgm
head -c 5000 depth.pgm >cut.pgm

for language in c cpp; do
  program=build/refine_$language
  expect 0 "320 x 200" "$program" "$engine" "$language" color.ppm depth.pgm small.ppm small.pgm color.ppm depth.pgm
  cmp "$language-0.pgm" "$language-2.pgm" || fail "$language: the same frame gave another result after two resets"
  expect 2 "usage" "$program" "$engine" out color.ppm
  expect 1 "No such file or directory" "$program" no.engine out color.ppm depth.pgm
  expect 1 "(code 13)" "$program" color.ppm out color.ppm depth.pgm
  expect 1 "the file ends before the image does" "$program" "$engine" after color.ppm cut.pgm color.ppm depth.pgm
  cmp after-1.pgm "$language-0.pgm" || fail "$language: a bad frame spoilt the next one"
  rm after-1.pgm
  expect 1 "of one size" "$program" "$engine" out color.ppm small.pgm
  expect 1 "not a binary PNM file of kind P5" "$program" "$engine" out color.ppm color.ppm
  expect 1 "not a binary PNM file of kind P6" "$program" "$engine" out depth.pgm depth.pgm
  expect 1 "missing.pgm" "$program" "$engine" out color.ppm missing.pgm
  expect 1 "no/such/folder/out-0.pgm" "$program" "$engine" no/such/folder/out color.ppm depth.pgm
done
cmp c-0.pgm cpp-0.pgm || fail "C and C++ differ"
cmp c-1.pgm cpp-1.pgm || fail "C and C++ differ after a reset"

export PYTHONPATH="$source/python" PYTHONDONTWRITEBYTECODE=1
example=$source/examples/python/refine.py
color=$source/samples/color.png depth=$source/samples/depth.png
expect 0 "holes" "$python" "$example" "$engine" "$color" "$depth" refined.png --plot plot.png
pngtopnm refined.png | cmp - c-0.pgm || fail "Python and C differ"
pngtopnm plot.png >plot.ppm || fail "the plot is no picture"
expect 1 "no/such.engine" "$python" "$example" no/such.engine "$color" "$depth" out.png
expect 1 "is not a 16-bit grey image" "$python" "$example" "$engine" "$color" "$color" out.png
"$python" -c "from PIL import Image; Image.new('I', (640, 480), 70000).save('wide.tiff')"
expect 1 "wide.tiff holds values from 70000 to 70000" "$python" "$example" "$engine" "$color" wide.tiff out.png
expect 1 "cannot load no/such.so" env ENHANCE_DEPTH_LIBRARY=no/such.so "$python" "$example" "$engine" "$color" "$depth" out.png
mkdir without_matplotlib
echo 'raise ImportError("no matplotlib here")' >without_matplotlib/matplotlib.py
expect 1 "no matplotlib here" env PYTHONPATH="$PYTHONPATH:without_matplotlib" \
  "$python" "$example" "$engine" "$color" "$depth" out.png --plot out_plot.png
echo "examples_test: C, C++ and Python made the same refined frame"
