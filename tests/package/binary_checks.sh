#!/usr/bin/env bash
# Checks the installed library's symbols, dependencies and hardening. Works on the
# library of any processor.
#
#   binary_checks.sh BUILD_FOLDER [OBJDUMP [COMPILER]]
set -uo pipefail

directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
cmake --install "$1" --component runtime --prefix "$directory" >/dev/null || exit 1
library=$(find "$directory" -name 'libenhance_depth.so.*.*' -type f)
[[ -f $library ]] || { echo "binary_checks: $1 installs no library" >&2; exit 1; }

objdump=${2:-objdump}
compiler=${3:-c++}
failures=0
fail() {
  echo "FAILED: $*"
  failures=$((failures + 1))
}
# Compares two lists, one item per line.
expect_list() {
  local difference
  difference=$(diff <(sort -u <<<"$2") <(sort -u <<<"$3")) || fail "$1 (< expected, > found)"$'\n'"$difference"
}

machine=$(readelf -hW "$library" | sed -n 's/ *Machine: *//p')
dynamic=$(readelf -dW "$library")
segments=$(readelf -lW "$library")
symbols=$(readelf --dyn-syms -W "$library" | awk '$1 ~ /^[0-9]+:$/ && NF >= 8 && $4 != "SECTION"')
exported=$(awk '$7 != "UND" && $4 != "OBJECT" {sub(/@.*/, "", $8); print $8}' <<<"$symbols")
other_exports=$(awk '$7 != "UND" && $4 == "OBJECT" {sub(/@.*/, "", $8); print $8}' <<<"$symbols")
imported=$(awk '$7 == "UND" {sub(/@.*/, "", $8); print $8}' <<<"$symbols")

# The functions that the version script names; the baseline of the interface decides whether those are the right ones.
expect_list "exported functions" \
  "$(sed -n 's/^ *\(enhance_[A-Za-z_]*\);$/\1/p' "$(dirname "$0")/../../src/enhance_depth.map")" "$exported"
expect_list "exported objects" "ENHANCE_DEPTH_0" "$other_exports"

expect_list "SONAME" libenhance_depth.so.0 "$(sed -n 's/.*SONAME.*\[\(.*\)\]/\1/p' <<<"$dynamic")"
expect_list "needed libraries" "libnvinfer.so.10
libcudart.so.12
libOrbbecSDK.so.2
libstdc++.so.6
libgcc_s.so.1
libc.so.6" "$(sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' <<<"$dynamic" | grep -v '^ld-linux')"

# The failure sweep knows these functions of the board; one that it does not know would go untested.
expect_list "functions of the board" "createInferRuntime_INTERNAL
cudaEventCreate
cudaEventDestroy
cudaEventElapsedTime
cudaEventRecord
cudaEventSynchronize
cudaFree
cudaGetErrorString
cudaMalloc
cudaMemcpyAsync
cudaMemset
cudaStreamCreate
cudaStreamDestroy
cudaStreamSynchronize
ob_delete_error
ob_log_external_message" "$(grep -E '^(cuda|cu[A-Z]|ob_|create.*_INTERNAL|nv)' <<<"$imported")"

grep -q GNU_RELRO <<<"$segments" || fail "no RELRO segment"
grep -Eq 'BIND_NOW|FLAGS_1.*NOW' <<<"$dynamic" || fail "not bound at load time (BIND_NOW)"
grep GNU_STACK <<<"$segments" | grep -q 'RW ' || fail "no stack segment, or an executable one"
grep -Eq ' RWE ' <<<"$segments" && fail "a segment is writable and executable"
grep -q TEXTREL <<<"$dynamic" && fail "text relocations"
grep -Eq 'RPATH|RUNPATH' <<<"$dynamic" && fail "a search path in the library"
grep -qx __stack_chk_fail <<<"$imported" || fail "no stack protector"
grep -v __stack_chk_fail <<<"$imported" | grep -q '^__.*_chk$' || fail "no fortified function (_FORTIFY_SOURCE)"
# Control-flow protection: indirect calls land on a marked instruction, and the file says so in a note that the linker
# writes if every object has it. A distribution's start files may be without it; then the note is asked of our objects.
case $machine in
  *AArch64*) landing='paciasp|bti' note='BTI, PAC' ;;
  *X86-64*) landing='endbr64' note='IBT, SHSTK' ;;
  *) landing='' note='' ;;
esac
has_note() { readelf -nW "$1" 2>/dev/null | grep -q "feature: .*$note"; }
unmarked_start_files=
for name in crti.o crtbeginS.o crtendS.o crtn.o; do
  has_note "$("$compiler" -print-file-name="$name")" || unmarked_start_files+=" $name"
done
if [[ -z $unmarked_start_files ]]; then
  has_note "$library" || fail "no note of control-flow protection ($note)"
else
  echo "binary_checks: no note of control-flow protection ($note): the start files of this system lack it:$unmarked_start_files"
fi
objects=$(find "$1/src" -path '*enhance_depth_objects.dir*' -name '*.o')
[[ -n $objects ]] || fail "no objects of the library in $1/src"
for object in $objects; do
  has_note "$object" || fail "no note of control-flow protection ($note) in $object"
done
for function in $exported; do
  first=$("$objdump" -d --no-show-raw-insn --disassemble="$function" "$library" | grep -A 1 "<$function.*>:" | tail -n 1)
  grep -Eq "$landing" <<<"$first" || fail "$function starts with \"$first\": no branch protection"
done

# No environment, no other program, no library at run time, no thread, no memory but operator new's.
forbidden=$(grep -Ex '(secure_)?getenv|setenv|putenv|system|popen|exec.*|posix_spawn.*|v?fork|dlopen|dlsym|pthread_create|malloc|calloc|realloc|aligned_alloc|posix_memalign|mmap' \
  <<<"$imported") && fail "calls that the library must not make: ${forbidden//$'\n'/ }"

echo "binary_checks: $machine, $(wc -l <<<"$exported") exported functions, $failures failed checks"
[[ $failures -eq 0 ]]
