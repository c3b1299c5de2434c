#!/bin/bash
# Installs the Debian packages into a clean Debian and uses them there as a newcomer does: the C example with nothing but
# pkg-config, the examples by CMake, the Python example and the tool, all on the emulated board. Needs root, debootstrap
# and packages from scripts/package.
# Usage: tests/package/package_chroot_test.sh PACKAGES BUILD_DIR
#   PACKAGES   folder with the packages of this machine's architecture
#   BUILD_DIR  the native build that has the emulated board's libraries
set -euo pipefail
source=$(cd "$(dirname "$0")/../.." && pwd)
packages=$(cd "$1" && pwd)
build=$(cd "$2" && pwd)
release=${RELEASE:-$(sed -n 's/^VERSION_CODENAME=//p' /etc/os-release)}
architecture=$(dpkg --print-architecture)
base=$source/build/chroot-$release # kept: it holds Debian's packages alone
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT

if [[ ! -e $base/complete ]]; then
  rm -rf "$base"
  debootstrap --variant=minbase "$release" "$base" >"$base.log" 2>&1 || { tail -20 "$base.log" >&2; exit 1; }
  touch "$base/complete"
fi
cp -a "$base/." "$root"
cp /etc/resolv.conf "$root/etc/"

mkdir -p "$root/home/newcomer/packages" "$root/usr/local/lib/board"
cp "$packages"/*_"$architecture".deb "$root/home/newcomer/packages/"
cp -r "$source"/{examples,python,samples,models} "$root/home/newcomer/"
cp -a "$build"/emulator/lib*.so.* "$root/usr/local/lib/board/"

cat >"$root/home/newcomer/use.sh" <<'INSIDE'
set -eux
export DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8
cd /home/newcomer
apt-get update -qq
apt-get install -y -qq --no-install-recommends ./packages/*.deb >/dev/null
dpkg-query -W libenhance-depth0 libenhance-depth-dev enhance-depth-tools
apt-get install -y -qq --no-install-recommends gcc libc6-dev pkg-config netpbm >/dev/null
echo /usr/local/lib/board | tee /etc/ld.so.conf.d/emulated-board.conf && ldconfig
engine=models/reference.engine.toml
pngtopnm samples/color.png >color.ppm
pngtopnm samples/depth.png >depth.pgm

[ "$(pkg-config --cflags --libs enhance_depth | xargs)" = "-lenhance_depth -Wl,--allow-shlib-undefined" ] # nothing but the compiler's own folders
cc -o refine examples/c/refine.c examples/c/pnm.c $(pkg-config --cflags --libs enhance_depth)
./refine $engine from_c color.ppm depth.pgm

apt-get install -y -qq --no-install-recommends g++ cmake make >/dev/null
cmake -S examples -B build
cmake --build build
build/refine_cpp $engine from_cpp color.ppm depth.pgm
cmp from_c-0.pgm from_cpp-0.pgm

apt-get install -y -qq --no-install-recommends python3-numpy python3-pil >/dev/null
PYTHONPATH=python python3 examples/python/refine.py $engine samples/color.png samples/depth.png from_python.png
pngtopnm from_python.png | cmp - from_c-0.pgm

enhance-depth --version
enhance-depth refine --engine $engine --color samples/color.png --depth samples/depth.png --output from_tool.png
pngtopnm from_tool.png | cmp - from_c-0.pgm

apt-get purge -y -qq libenhance-depth0 libenhance-depth-dev enhance-depth-tools >/dev/null
left=$(find /usr -name '*enhance*depth*')
[ -z "$left" ] || { echo "left behind: $left" >&2; exit 1; }
INSIDE
chroot "$root" /bin/sh /home/newcomer/use.sh
echo "package_chroot_test: installed, used from C, C++, Python and the tool, and removed on a clean $release"
