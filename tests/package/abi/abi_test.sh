#!/bin/sh
# Compares the library's binary interface with its record, tests/package/abi/interface.txt: SONAME, exported symbols with their
# versions, function types, record layouts and result codes.
# Usage: tests/package/abi/abi_test.sh LIBRARY PROGRAM_FOLDER            compares
#        tests/package/abi/abi_test.sh --renew LIBRARY PROGRAM_FOLDER    writes the record, after a change that is meant
# LIBRARY is libenhance_depth.so of a build, PROGRAM_FOLDER where that build put the describe_* programs. RUN may name
# a command that runs the programs, such as an emulator of another processor.
set -eu
record=$(dirname "$0")/interface.txt
renew=
if [ "$1" = --renew ]; then
  renew=1
  shift
fi
library=$1
programs=$2
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# RUN is a command with arguments and is meant to be split.
run() { ${RUN:-} "$programs/$1"; }

run describe_records_c >"$scratch/records_c"
run describe_records_cpp >"$scratch/records_cpp"
if ! diff -u "$scratch/records_c" "$scratch/records_cpp"; then
  echo "abi_test: C (-) and C++ (+) see different records" >&2
  exit 1
fi
{
  readelf -d "$library" | sed -n 's/.*(SONAME).*\[\(.*\)\]/soname \1/p'
  readelf -W --dyn-syms "$library" | awk '$1 ~ /^[0-9]+:$/ && $4 != "SECTION" && $7 != "UND" { print "symbol " $8 " (" $4 ")" }' |
    LC_ALL=C sort
  run describe_functions
  cat "$scratch/records_c"
  # Every code states its value in the header.
  sed -n 's/^  \(ENHANCE_DEPTH_[A-Z0-9_]* = [0-9]*\).*/  \1/p' "$(dirname "$0")/../../../include/enhance_depth.h"
} >"$scratch/interface.txt"

if [ -n "$renew" ]; then
  cp "$scratch/interface.txt" "$record"
  echo "abi_test: wrote $record; commit it with the change that it records, and think of the SONAME"
elif ! diff -u "$record" "$scratch/interface.txt"; then
  cat >&2 <<'HELP'
abi_test: the binary interface is not the recorded one (- recorded, + built).
If hosts that are built already must keep working, undo the change. If it is meant, write the new record with
  cmake --build BUILD --target renew_abi_record
and say in CHANGELOG.md what changed.
HELP
  exit 1
fi
