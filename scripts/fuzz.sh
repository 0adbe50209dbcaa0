#!/usr/bin/env bash
# Fuzzes the section parser for SECONDS (default 60): builds the libFuzzer target with clang in
# build-fuzz, seeds a working corpus there with the captured PMT sections and every kept crash
# input, and runs it. Exits non-zero when the build fails or the fuzzer finds a crash, a leak, a
# timeout or undefined behaviour; the offending input is then in build-fuzz/crashes/ and belongs,
# once fixed, in tests/sectionparser/regressions/.
set -euo pipefail

seconds="${1:-60}"
if ! [[ "$seconds" =~ ^[0-9]+$ ]] || [ "$seconds" -eq 0 ]; then
  echo "usage: $0 [SECONDS]" >&2
  exit 2
fi

root="$(cd "$(dirname "$0")/.." && pwd)"
build="$root/build-fuzz"
seeds="$root/../shared/testdata/pmt"
regressions="$root/tests/sectionparser/regressions"
corpus="$build/corpus"
crashes="$build/crashes"

log="$(mktemp)"
trap 'rm -f "$log"' EXIT
if ! { CC=clang CXX=clang++ cmake -S "$root/fuzz" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo &&
       cmake --build "$build" --target sectionparser_fuzz -j2; } >"$log" 2>&1; then
  cat "$log" >&2
  echo "fuzz: build failed" >&2
  exit 1
fi

mkdir -p "$corpus" "$crashes"
shopt -s nullglob
seed_files=("$seeds"/*.sec "$regressions"/*.bin)
if [ ${#seed_files[@]} -eq 0 ]; then
  echo "fuzz: no seeds in $seeds" >&2
  exit 1
fi
cp "${seed_files[@]}" "$corpus/"

echo "fuzz: section parser for ${seconds}s, corpus $corpus (${#seed_files[@]} seeds)" >&2
"$build/sectionparser_fuzz" "$corpus" \
  -max_total_time="$seconds" \
  -max_len=2048 \
  -timeout=10 \
  -rss_limit_mb=2048 \
  -dict="$root/fuzz/sectionparser.dict" \
  -artifact_prefix="$crashes/" \
  -print_final_stats=1
