# Sourced by tests that get packages from the Python package index.
# shellcheck shell=sh

# skip_without_index LOG WHAT: ends a test whose pip failed with the output LOG. Without a network that counts as skipped,
# status 77, but with CI=true as a failure, because there somebody relies on the test.
skip_without_index() {
  if [ "${CI:-}" != true ] &&
    grep -qE 'NewConnectionError|NameResolutionError|ConnectTimeoutError|ProxyError|SSLError|versions: none' "$1"; then
    echo "skipped: no package index can be reached, so $2 ($1)"
    exit 77
  fi
  cat "$1" >&2
  exit 1
}
