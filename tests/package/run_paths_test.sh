#!/usr/bin/env bash
# Checks the run path of every program and library below the folders, and in every Debian package there: each element
# has to be an absolute folder or one beside the file ($ORIGIN). An empty or a relative one would be the current folder's,
# whosever that is. Python packages of others are left out.
#
#   run_paths_test.sh FOLDER...
set -euo pipefail
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

folders=("$@")
while read -r package; do
  folders+=("$scratch/$(basename "$package" .deb)")
  dpkg-deb --extract "$package" "${folders[-1]}"
done < <(find "$@" -name '*.deb' -type f)

count=0
failures=0
while read -r file; do
  dynamic=$(readelf -dW "$file" 2>/dev/null) || continue
  [[ $dynamic == *'(NEEDED)'* ]] || continue
  count=$((count + 1))
  while read -r path; do
    # With one more separator the last element is checked like the others.
    while IFS= read -r -d : element; do
      case $element in
        /* | "\$ORIGIN" | "\$ORIGIN/"*) ;;
        *)
          failures=$((failures + 1))
          echo "FAILED: $file: \"$element\" in the run path \"$path\""
          ;;
      esac
    done <<<"$path:"
  done < <(sed -n 's/.*(R.*PATH).*\[\(.*\)\]$/\1/p' <<<"$dynamic")
done < <(find "${folders[@]}" -name site-packages -prune -o \
  -type f ! -name '*.o' \( -perm /111 -o -name '*.so*' \) -print)

[[ $count -gt 0 ]] || { echo "FAILED: no program or library in $*"; exit 1; }
echo "run paths: $count programs and libraries, $failures failures"
[[ $failures -eq 0 ]]
