#!/usr/bin/env bash
# Builds and runs every test twice: plain on a Release build (what ships), then under
# AddressSanitizer and UndefinedBehaviorSanitizer on a RelWithDebInfo build; between the two, the
# system test (scripts/system-test.sh) installs the Debian packages on a booted Debian 12; then
# runs the three fuzz targets side by side for a minute. Warnings are errors in these builds.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh test

jobs=$(nproc)
run_suite() {
  local dir=$1 type=$2
  shift 2
  echo "== ${dir}: configure and build (${type})" >&2
  cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE="$type" -DTREVALO_WERROR=ON "$@" >/dev/null
  cmake --build "$dir" -j"$jobs"
  echo "== ${dir}: tests" >&2
  (cd "$dir" && ctest --output-on-failure -j"$jobs" --timeout 900)
}

run_suite build-release Release
# The Debian packages on a booted Debian 12 container (as root with systemd-nspawn; it says why
# when it skips).
scripts/system-test.sh build-release
ASAN_OPTIONS=detect_leaks=1:abort_on_error=0 UBSAN_OPTIONS=print_stacktrace=1 \
  run_suite build-asan RelWithDebInfo -DTREVALO_SANITIZE=ON -DTREVALO_BENCH=OFF

if [ -x scripts/fuzz.sh ]; then
  echo "== fuzzing the section parser, the request path and the transport-stream reader" >&2
  scripts/fuzz.sh "${TREVALO_FUZZ_SECONDS:-60}"
fi
echo "== all tests passed" >&2
