#!/usr/bin/env bash
# Checks the search for the board's SDKs on made-up installations: which headers and libraries are taken, how the
# version is read, and which message appears when something is missing.
#   platform_search_test.sh SOURCE_DIR
set -euo pipefail
source_dir=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# A realistic SDK: the interface headers and a library, where an installation has them.
sdk() {
  mkdir -p "$work/$1/lib"
  cp -r "$source_dir/platform/include/$1" "$work/$1/include"
  echo 'void stub(void); void stub(void) {}' | cc -shared -fPIC -x c -Wl,-soname,"$2.so.$3" -o "$work/$1/lib/$2.so.$3" -
  ln -s "$2.so.$3" "$work/$1/lib/$2.so"
}
sdk tensorrt libnvinfer 10
sdk cuda libcudart 12
sdk camera libOrbbecSDK 2
sed -i '1i #define CUDART_VERSION 12060' "$work/cuda/include/cuda_runtime_api.h"

cases=0
# expect NAME PATTERN ARGUMENTS...: configuring with the arguments prints a line that matches.
expect() {
  local name=$1 pattern=$2
  shift 2
  cases=$((cases + 1))
  cmake -S "$source_dir" -B "$work/build-$cases" -G Ninja -DENHANCE_DEPTH_BUILD_TESTS=OFF \
    -DENHANCE_DEPTH_BUILD_TOOLS=OFF "$@" >"$work/output" 2>&1 || true
  if ! tr '\n' ' ' <"$work/output" | grep -qE "$pattern"; then
    echo "FAILED: $name: no line matches \"$pattern\" in:" >&2
    cat "$work/output" >&2
    exit 1
  fi
}
all=(-DTensorRT_ROOT="$work/tensorrt" -DCUDAToolkit_ROOT="$work/cuda" -DOrbbecSDK_ROOT="$work/camera")

expect "everything installed" \
  "TensorRT 10\.3\.0: headers from $work/tensorrt/include .*CudaRuntime 12\.6: .*OrbbecSDK 2: .*libraries: the installed ones" \
  "${all[@]}"
if grep -q emulat "$work/build-1/build.ninja"; then
  echo "FAILED: with everything installed the emulated board is built all the same" >&2
  exit 1
fi
expect "one missing: its headers are ours, the libraries all emulated" \
  "not found: OrbbecSDK\. .*ENHANCE_DEPTH_PLATFORM=system.*TensorRT 10\.3\.0: headers from .*OrbbecSDK: this project's interface headers .*libraries: the emulated board" \
  -DTensorRT_ROOT="$work/tensorrt" -DCUDAToolkit_ROOT="$work/cuda"
expect "emulated ignores what is installed" "TensorRT: this project's interface headers" \
  "${all[@]}" -DENHANCE_DEPTH_PLATFORM=emulated
expect "system names what is missing" "not every SDK was found: .*OrbbecSDK: this project's" \
  -DTensorRT_ROOT="$work/tensorrt" -DCUDAToolkit_ROOT="$work/cuda" -DENHANCE_DEPTH_PLATFORM=system
expect "an unknown choice is refused" 'ENHANCE_DEPTH_PLATFORM is "none"' -DENHANCE_DEPTH_PLATFORM=none

if grep -q "isystem [^ ]*platform/include/tensorrt" "$work/build-2/build.ninja"; then
  echo "FAILED: this project's TensorRT headers come before the installed ones" >&2
  exit 1
fi

cat >"$work/tensorrt/include/NvInferVersion.h" <<'HEADER'
#define TRT_MAJOR_ENTERPRISE 10
#define TRT_MINOR_ENTERPRISE 16
#define TRT_PATCH_ENTERPRISE 1
#define NV_TENSORRT_MAJOR TRT_MAJOR_ENTERPRISE //!< TensorRT major version.
#define NV_TENSORRT_MINOR TRT_MINOR_ENTERPRISE //!< TensorRT minor version.
#define NV_TENSORRT_PATCH TRT_PATCH_ENTERPRISE //!< TensorRT patch version.
HEADER
expect "a version through the names of other macros" "TensorRT 10\.16\.1: headers from" "${all[@]}"
sed -i 's/ENTERPRISE 10$/ENTERPRISE 11/' "$work/tensorrt/include/NvInferVersion.h"
expect "another major version is not taken" "TensorRT: this project's interface headers" "${all[@]}"

echo "platform search: $cases configurations as expected"
