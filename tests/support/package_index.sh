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

# python_environment FOLDER REQUIREMENTS WHAT: makes a virtual environment with exactly the packages of the file, unless it
# exists already, and none of the system's. Another test may be about to make the same one: the second waits for the first.
# Ends the test like skip_without_index if they cannot be downloaded.
python_environment() {
  mkdir -p "$(dirname "$1")"
  exec 9>"$1.lock"
  flock 9
  if ! cmp -s "$2" "$1/requirements.txt"; then
    rm -rf "$1"
    python3 -m venv "$1"
    "$1/bin/python" -m pip --disable-pip-version-check install --quiet --require-hashes -r "$2" >"$1.log" 2>&1 ||
      skip_without_index "$1.log" "$3"
    cp "$2" "$1/requirements.txt"
  fi
  exec 9>&-
}
