#!/bin/sh
# Compares the library's binary interface (SONAME, symbols with versions, function types, record layouts, result codes)
# with its baseline, tests/package/abi/interface.abi. Needs abidw and abidiff (package abigail-tools).
# Usage: tests/package/abi/abi_test.sh LIBRARY            compares
#        tests/package/abi/abi_test.sh --renew LIBRARY    writes the baseline, after an intended change
# LIBRARY has the library's interface and debug information: libenhance_depth_interface.so of a build.
set -eu
folder=$(dirname "$0")
baseline=$folder/interface.abi
include=$folder/../../../include
if [ "$1" = --renew ]; then
  abidw --exported-interfaces-only --headers-dir "$include" --drop-private-types --no-show-locs --no-corpus-path \
    --no-comp-dir-path --no-architecture --no-elf-needed --type-id-style hash --out-file "$baseline" "$2"
  echo "abi_test: wrote $baseline; commit it with the change that it records, and consider the SONAME"
elif ! abidiff --exported-interfaces-only --no-architecture --harmless "$baseline" "$1"; then
  cat >&2 <<'HELP'
abi_test: the binary interface is not that of the baseline.
If hosts that are already built must keep working, undo the change. If it is meant, write a new baseline with
  cmake --build BUILD --target renew_abi_baseline
and say in CHANGELOG.md what changed.
HELP
  exit 1
fi
