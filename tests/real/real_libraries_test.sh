#!/usr/bin/env bash
# Runs the library on NVIDIA's own CUDA and TensorRT libraries, as far as a machine without a GPU goes: every symbol is
# bound, with its version, and a missing driver or device ends with the right code and NVIDIA's own words. The libraries
# come from the Python package index, pinned by hash, and are kept below the build folder for the next time; nothing of
# them is shipped. Where no index can be reached it says so and exits with 77, which counts as skipped; not with CI=true.
#
#   real_libraries_test.sh RELEASE_BUILD AARCH64_BUILD WORK_FOLDER
#
# The builds have the library and the emulated board. Needs python3-venv, and for AArch64 the cross compiler and qemu-user.
set -euo pipefail
tests=$(cd "$(dirname "$0")" && pwd)
source=$(cd "$tests/../.." && pwd)
declare -A build=([x86_64]=$(cd "$1" && pwd) [aarch64]=$(cd "$2" && pwd))
mkdir -p "$3"
work=$(cd "$3" && pwd)
interface=$source/platform/include
engine=$source/models/reference.engine.toml
# shellcheck source=tests/support/package_index.sh
. "$source/tests/support/package_index.sh"

if [[ $(uname -m) != x86_64 ]]; then
  echo "skipped: NVIDIA's TensorRT runtime is pinned for x86-64 alone, and this is $(uname -m)"
  exit 77
fi

fail() {
  echo "real_libraries_test: $*" >&2
  exit 1
}
# expect WHAT PATTERN FILE: a line of the file matches.
expect() {
  grep -qE -- "$2" "$3" || { cat "$3" >&2; fail "$1: nothing matches \"$2\""; }
  echo "real: $1: $(grep -E -m 1 -- "$2" "$3" | sed 's/^\s*//')"
}

# --- The libraries, laid out as installed SDKs: ARCHITECTURE/{tensorrt,cuda,camera}/{include,lib} ---

# fetch REQUIREMENTS FOLDER PLATFORM: the wheel's files, unpacked.
fetch() {
  local folder=$2
  cmp -s "$1" "$folder/requirements.txt" && return
  rm -rf "$folder"
  mkdir -p "$folder"
  [[ -x $work/venv/bin/python ]] || python3 -m venv "$work/venv"
  if ! "$work/venv/bin/python" -m pip --disable-pip-version-check download --quiet --no-deps --require-hashes \
    --only-binary=:all: --platform "$3" --dest "$folder" -r "$1" >"$work/pip.log" 2>&1; then
    skip_without_index "$work/pip.log" "NVIDIA's libraries are not to be had"
  fi
  python3 -m zipfile -e "$folder"/*.whl "$folder"
  rm "$folder"/*.whl
  cp "$1" "$folder/requirements.txt"
}
fetch "$tests/cuda.txt" "$work/wheels/cuda-x86_64" manylinux2014_x86_64
fetch "$tests/cuda.txt" "$work/wheels/cuda-aarch64" manylinux2014_aarch64
fetch "$tests/tensorrt.txt" "$work/wheels/tensorrt-x86_64" manylinux_2_28_x86_64

# sdk ARCHITECTURE: links and headers; the libraries that NVIDIA does not provide here are generated.
sdk() {
  local root=$work/$1 compile=("$1-linux-gnu-gcc" -Wall -Wextra -Werror -shared -fPIC) name
  rm -rf "$root"
  mkdir -p "$root"/{tensorrt,cuda,camera,driver}/lib
  for name in tensorrt cuda camera; do cp -r "$interface/$name" "$root/$name/include"; done
  sed -i '1i #define CUDART_VERSION 12060' "$root/cuda/include/cuda_runtime_api.h"
  ln -s "$work/wheels/cuda-$1/nvidia/cuda_runtime/lib/libcudart.so.12" "$root/cuda/lib/"
  ln -s "${build[$1]}/emulator/libOrbbecSDK.so.2" "$root/camera/lib/"
  "${compile[@]}" -Wl,-soname,libcuda.so.1 -o "$root/driver/lib/libcuda.so.1" "$tests/no_device.c"
  if [[ $1 == x86_64 ]]; then
    # Under the name of the whole runtime, and for what is linked with it under its own.
    for name in libnvinfer libnvinfer_lean; do
      ln -s "$work/wheels/tensorrt-x86_64/tensorrt_lean_libs/libnvinfer_lean.so.10" "$root/tensorrt/lib/$name.so.10"
    done
  else
    "${compile[@]}" -Wl,-soname,libnvinfer.so.10 -o "$root/tensorrt/lib/libnvinfer.so.10" "$tests/no_tensorrt.c"
  fi
}
# host ARCHITECTURE: the program that creates a handle.
host() {
  "$1-linux-gnu-gcc" -Wall -Wextra -Werror -I"$source/include" -o "$work/$1/create_handle" "$tests/create_handle.c" \
    -L"${build[$1]}/src" -lenhance_depth -Wl,--allow-shlib-undefined
}
# run ARCHITECTURE VARIABLE=VALUE... PROGRAM [ARGUMENT]: the variables are the program's, not qemu's.
run() {
  local architecture=$1 command=(env)
  shift
  [[ $architecture == x86_64 ]] || command=(qemu-aarch64 -L /usr/aarch64-linux-gnu)
  while [[ $1 == *=* ]]; do
    [[ $architecture == x86_64 ]] || command+=(-E)
    command+=("$1")
    shift
  done
  "${command[@]}" "$@"
}

# --- What the library does on them ---

# check_library ARCHITECTURE NAME FOLDER: the library in FOLDER, called NAME in what is printed.
check_library() {
  local root=$work/$1 name="$2, $1" log=$work/output program=$work/$1/create_handle
  local real=$3:$root/tensorrt/lib:$root/cuda/lib:${build[$1]}/emulator

  # As ldd -r does, for either architecture.
  run "$1" LD_TRACE_LOADED_OBJECTS=1 LD_WARN=yes LD_BIND_NOW=1 LD_VERBOSE=1 LD_LIBRARY_PATH="$real" "$program" \
    >"$log" 2>&1 || true
  expect "$name: the runtime is NVIDIA's" "libcudart\.so\.12 => $root/cuda/lib/libcudart\.so\.12" "$log"
  expect "$name: its symbols have their version" "libcudart\.so\.12 \(libcudart\.so\.12\) => $root/cuda" "$log"
  if grep -E 'undefined symbol|not found|no version information|not defined' "$log"; then
    fail "$name: not everything is bound"
  fi

  if ldconfig -p | grep -q 'libcuda\.so\.1 '; then
    echo "real: $name, no driver: left out, as this machine has one"
  else
    run "$1" LD_BIND_NOW=1 LD_LIBRARY_PATH="$real" "$program" "$engine" >"$log" 2>&1
    expect "$name, no driver" '^code 20: .*CUDA driver version is insufficient for CUDA runtime version' "$log"
  fi
  run "$1" LD_BIND_NOW=1 LD_LIBRARY_PATH="$root/driver/lib:$real" "$program" "$engine" >"$log" 2>&1
  expect "$name, no device" '^code 20: .*no CUDA-capable device is detected' "$log"

  [[ $1 == x86_64 ]] || return 0
  # On the emulated CUDA the library comes as far as TensorRT, whose own copy of CUDA has no device.
  local mixed=$root/driver/lib:$3:$root/tensorrt/lib:${build[$1]}/emulator
  run "$1" LD_LIBRARY_PATH="$mixed" "$program" "$engine" >"$log" 2>"$log.camera" ||
    fail "$name: TensorRT gave no runtime, and the library ended with status $?"
  expect "$name, emulated CUDA" '^TRT: .*CUDA initialization failure with error: 100' "$log"
  expect "$name, emulated CUDA" '^code 12: Failed to create TensorRT runtime\.' "$log"
}

# check_texts: every text that the emulated CUDA has is NVIDIA's, and it has one for every status that it can answer with.
check_texts() {
  local program=$work/x86_64/error_texts statuses
  gcc -Wall -Wextra -Werror -I"$interface/cuda" -o "$program" "$tests/error_texts.c" "${build[x86_64]}/emulator/libcudart.so.12"
  LD_LIBRARY_PATH=$work/x86_64/cuda/lib "$program" >"$work/texts.real"
  LD_LIBRARY_PATH=${build[x86_64]}/emulator "$program" >"$work/texts.emulated"
  statuses=$(sed -nE 's/^ *cuda(Success|Error[A-Za-z]*) = ([0-9]+),?$/\2/p' "$interface/cuda/cuda_runtime_api.h" | xargs)
  [[ -n $statuses ]] || fail "no status found in cuda_runtime_api.h"
  paste "$work/texts.real" "$work/texts.emulated" | awk -F '\t' -v statuses="$statuses" '
    BEGIN { count = split(statuses, list, " "); for (i = 1; i <= count; ++i) known[list[i]] = 1 }
    $2 == $4 { ++same; delete known[$1]; next }
    $4 ~ /no text/ && $4 ~ "(^|[^0-9-])" $1 "([^0-9]|$)" { next }
    { print "status " $1 ": NVIDIA says \"" $2 "\", the emulated board \"" $4 "\""; wrong = 1 }
    END {
      for (status in known) { print "status " status " has no text in the emulated board"; wrong = 1 }
      if (!wrong) print "real: texts of statuses: " same " as NVIDIA has them, the others said to be missing"
      exit wrong
    }' || fail "the emulated board words CUDA statuses in its own way"
}

for architecture in x86_64 aarch64; do
  sdk "$architecture"
  host "$architecture"
  check_library "$architecture" "built for the emulated board" "${build[$architecture]}/src"
done
check_texts

system=$work/system
if ! { cmake -S "$source" -B "$system" -G Ninja -DCMAKE_BUILD_TYPE=Release -DENHANCE_DEPTH_PLATFORM=system \
  -DENHANCE_DEPTH_BUILD_TESTS=OFF -DENHANCE_DEPTH_BUILD_TOOLS=OFF -DENHANCE_DEPTH_WERROR=ON \
  -DTensorRT_ROOT="$work/x86_64/tensorrt" -DCUDAToolkit_ROOT="$work/x86_64/cuda" -DOrbbecSDK_ROOT="$work/x86_64/camera" \
  && cmake --build "$system"; } >"$system.log" 2>&1; then
  cat "$system.log" >&2
  fail "no build on these libraries"
fi
grep -q "libraries: the installed ones" "$system.log" || fail "the build did not take these libraries"
check_library x86_64 "built on NVIDIA's libraries" "$system/src"
