#!/bin/sh
# Installs a build into a scratch prefix, moves the prefix away and uses it from there as hosts do: by CMake and by
# pkg-config, run on the emulated board. Then uses the source tree as a subproject.
# Usage: tests/package/package_test.sh BUILD_DIR   (a native build with the emulated board)
set -eu
source=$(cd "$(dirname "$0")/../.." && pwd)
build=$(cd "$1" && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
engine=$source/models/reference.engine.toml

fail() {
  echo "package_test: $*" >&2
  exit 1
}
# quietly COMMAND...: shows what the command prints only if it fails.
quietly() {
  "$@" >"$scratch/log" 2>&1 || { cat "$scratch/log" >&2; fail "failed: $*"; }
}

quietly cmake --install "$build" --prefix "$scratch/first"
mv "$scratch/first" "$scratch/moved"
prefix=$scratch/moved
libdir=$(dirname "$(find "$prefix" -name libenhance_depth.so)")
cd "$prefix"

# The files that must be there, and those that must not.
for file in include/enhance_depth.h include/enhance_depth.hpp share/doc/enhance_depth/LICENSE \
  share/doc/enhance_depth/THIRD-PARTY; do
  [ -f "$file" ] || fail "$file is not installed"
done
if grep -q "ENHANCE_DEPTH_BUILD_TOOLS:BOOL=ON" "$build/CMakeCache.txt"; then
  for file in bin/enhance-depth share/man/man1/enhance-depth.1 share/bash-completion/completions/enhance-depth; do
    [ -f "$file" ] || fail "$file is not installed"
  done
fi
strangers=$(find . | grep -Ei 'nvinfer|cudart|cuda_|orbbec|emulat|gtest|gmock|platform|\.toml$' || true)
[ -z "$strangers" ] || fail "installed, but no part of the library: $strangers"
version=$(sed -n 's/^#define ENHANCE_DEPTH_VERSION_.* \([0-9]*\)$/\1/p' include/enhance_depth.h | paste -sd.)
[ "$(readlink "$libdir/libenhance_depth.so")" = "libenhance_depth.so.${version%%.*}" ] || fail "wrong development link"
[ "$(readlink "$libdir/libenhance_depth.so.${version%%.*}")" = "libenhance_depth.so.$version" ] || fail "wrong SONAME link"
for binary in "$libdir/libenhance_depth.so.$version" bin/*; do
  [ -f "$binary" ] || continue
  # The tool finds the library beside itself; nothing looks for libraries in a folder of the build.
  run_path=$(readelf -dW "$binary" | sed -n 's/.*(R.*PATH).*\[\(.*\)\]$/\1/p')
  case $binary in
    bin/enhance-depth) [ "$run_path" = "\$ORIGIN/../${libdir##*/moved/}" ] || fail "$binary has the run path \"$run_path\"" ;;
    *) [ -z "$run_path" ] || fail "$binary looks for libraries in $run_path" ;;
  esac
  strip -o "$scratch/stripped" "$binary" # debug information may name the build's folders
  if grep -qF -e "$scratch/first" -e "$source" "$scratch/stripped"; then fail "$binary names a folder of the build"; fi
done
leaks=$(grep -rlIF -e "$scratch/first" -e "$source" . || true)
[ -z "$leaks" ] || fail "names a folder of the build: $leaks"

# The moved tree, used by CMake and by pkg-config.
pngtopnm "$source/samples/color.png" >"$scratch/color.ppm"
pngtopnm "$source/samples/depth.png" >"$scratch/depth.pgm"
cd "$scratch"
quietly cmake -S "$source/examples" -B by_cmake -DCMAKE_PREFIX_PATH="$prefix"
quietly cmake --build by_cmake
export PKG_CONFIG_PATH="$libdir/pkgconfig"
[ "$(pkg-config --modversion enhance_depth)" = "$version" ] || fail "pkg-config tells another version"
# shellcheck disable=SC2046 # several arguments
quietly cc -o by_pkg_config "$source/examples/c/refine.c" "$source/examples/c/pnm.c" \
  $(pkg-config --cflags --libs enhance_depth)
# Linked without the board's libraries, run with them.
export LD_LIBRARY_PATH="$build/emulator"
if [ -x "$prefix/bin/enhance-depth" ]; then quietly "$prefix/bin/enhance-depth" --version; fi # finds the library itself
quietly by_cmake/refine_cpp "$engine" by_cmake/out color.ppm depth.pgm
if grep -qE "nvinfer|cudart|Orbbec" "$libdir"/cmake/enhance_depth/*; then fail "the CMake package names board libraries"; fi
for wanted in 0.8 1.0; do
  mkdir -p "refused_$wanted"
  printf 'cmake_minimum_required(VERSION 3.22)\nproject(refused LANGUAGES C)\nfind_package(enhance_depth %s CONFIG REQUIRED)\n' \
    "$wanted" >"refused_$wanted/CMakeLists.txt"
  if cmake -S "refused_$wanted" -B "refused_$wanted/build" -DCMAKE_PREFIX_PATH="$prefix" >log 2>&1; then
    fail "a host that asks for version $wanted got $version"
  fi
  grep -q "not compatible\|compatible with requested version" log || fail "version $wanted was refused for another reason"
done

export LD_LIBRARY_PATH="$libdir:$LD_LIBRARY_PATH"
quietly ./by_pkg_config "$engine" out color.ppm depth.pgm
cmp out-0.pgm by_cmake/out-0.pgm || fail "the two hosts refined differently"

# Absolute folders stay what they are.
quietly cmake -S "$source" -B absolute -DCMAKE_INSTALL_PREFIX=/opt/prefix -DCMAKE_INSTALL_LIBDIR=/opt/lib \
  -DENHANCE_DEPTH_BUILD_TESTS=OFF -DENHANCE_DEPTH_BUILD_TOOLS=OFF
pkg_config_paths=$(PKG_CONFIG_PATH=absolute/packaging pkg-config --cflags --libs enhance_depth)
[ "$pkg_config_paths" = "-I/opt/prefix/include -L/opt/lib -lenhance_depth -Wl,--allow-shlib-undefined " ] ||
  fail "pkg-config with an absolute library folder: $pkg_config_paths"

# The source tree as a subproject: builds, and leaves its parent alone.
unset LD_LIBRARY_PATH PKG_CONFIG_PATH
launcher=
if command -v ccache >/dev/null; then launcher=-DCMAKE_CXX_COMPILER_LAUNCHER=ccache; fi
for way in add_subdirectory FetchContent; do
  mkdir "$way"
  {
    echo 'cmake_minimum_required(VERSION 3.22)'
    echo 'project(parent LANGUAGES C CXX)'
    echo 'enable_testing()'
    if [ "$way" = FetchContent ]; then
      echo 'include(FetchContent)'
      echo "FetchContent_Declare(enhance_depth SOURCE_DIR \"$source\")"
      echo 'FetchContent_MakeAvailable(enhance_depth)'
    else
      echo "add_subdirectory(\"$source\" enhance_depth)"
    fi
    echo "add_executable(host \"$source/examples/c/refine.c\" \"$source/examples/c/pnm.c\")"
    echo 'target_link_libraries(host PRIVATE enhance_depth::enhance_depth)'
    echo 'install(TARGETS host)'
  } >"$way/CMakeLists.txt"
  quietly cmake -S "$way" -B "$way/build" -DCMAKE_EXPORT_COMPILE_COMMANDS=ON -DCMAKE_UNITY_BUILD=ON $launcher
  if grep -A3 'examples/c/refine.c' "$way/build/compile_commands.json" | grep -E -- '-W|-fstack|-fcf|-std'; then
    fail "$way: the library's flags reach its parent"
  fi
  (cd "$way/build" && ctest -N) | grep -q "Total Tests: 0" || fail "$way: the library's tests reach its parent"
  grep -q '^CMAKE_BUILD_TYPE:STRING=$' "$way/build/CMakeCache.txt" || fail "$way: the library chose the build type"
done
quietly cmake --build FetchContent/build --target host --parallel 2
quietly FetchContent/build/host "$engine" sub color.ppm depth.pgm
# Nor is the tool installed unless asked for: installing it would fail here, as it is not built.
tools=$(sed -n 's/^ENHANCE_DEPTH_BUILD_TOOLS:BOOL=//p' "$build/CMakeCache.txt")
quietly cmake FetchContent/build -DENHANCE_DEPTH_BUILD_TOOLS="$tools"
quietly cmake --install FetchContent/build --prefix sub_prefix
[ "$(find sub_prefix -type f)" = sub_prefix/bin/host ] || fail "a parent installs files of the library unasked"
echo "package_test: moved prefix used by CMake and pkg-config, source tree used as a subproject"
