#!/usr/bin/env bash
# Fuzzes for SECONDS (default 60) the three libFuzzer targets side by side: the section parser,
# the request path (framework message conversion, dispatcher, every handler) and the
# transport-stream reader of trevalo-cli. Builds them with clang in build-fuzz, seeds a working
# corpus per target there (captured PMT sections, requests of every method, the captured
# streams, every kept crash input), and runs them. Exits non-zero when the build fails or a
# fuzzer finds a crash, a leak, a timeout or undefined behaviour; the offending input is then in
# build-fuzz/<target>/crashes/ and belongs, once fixed, among the target's regression inputs.
set -euo pipefail

seconds="${1:-60}"
if ! [[ "$seconds" =~ ^[0-9]+$ ]] || [ "$seconds" -eq 0 ]; then
  echo "usage: $0 [SECONDS]" >&2
  exit 2
fi

root="$(cd "$(dirname "$0")/.." && pwd)"
build="$root/build-fuzz"
testdata="$root/tests/data/captures"
targets=(sectionparser request_path tsdemux)

log="$(mktemp)"
trap 'rm -f "$log"' EXIT
if ! { CC=clang CXX=clang++ cmake -S "$root/fuzz" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo &&
       cmake --build "$build" -j2 --target "${targets[@]/%/_fuzz}"; } >"$log" 2>&1; then
  cat "$log" >&2
  echo "fuzz: build failed" >&2
  exit 1
fi

# Seeds: the parser takes the sections as they are; the other two their own input layouts.
for folder in pmt ts; do
  [ -d "$testdata/$folder" ] || { echo "fuzz: the seeds' captures are missing: $testdata/$folder" >&2; exit 1; }
done
rm -rf "$build/seeds"
python3 "$root/fuzz/make_seeds.py" "$testdata" "$build/seeds/request_path" "$build/seeds/tsdemux"
mkdir -p "$build/seeds/sectionparser"
cp "$testdata"/pmt/*.sec "$build/seeds/sectionparser/"
shopt -s nullglob
for target in sectionparser request_path tsdemux; do
  for regression in "$root/fuzz/regressions/$target"/*; do cp "$regression" "$build/seeds/$target/"; done
done

declare -A options=(
  [sectionparser]="-max_len=2048 -dict=$root/fuzz/sectionparser.dict"
  [request_path]="-max_len=4096 -close_fd_mask=2"  # the service logs every request on stderr
  [tsdemux]="-max_len=4096"
)
pids=()
for target in "${targets[@]}"; do
  mkdir -p "$build/$target/corpus" "$build/$target/crashes"
  echo "fuzz: $target for ${seconds}s, corpus $build/$target/corpus" >&2
  # shellcheck disable=SC2086
  "$build/${target}_fuzz" "$build/$target/corpus" "$build/seeds/$target" \
    -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 ${options[$target]} \
    -artifact_prefix="$build/$target/crashes/" -print_final_stats=1 \
    >"$build/$target.log" 2>&1 &
  pids+=($!)
done

failed=0
for index in "${!targets[@]}"; do
  target="${targets[$index]}"
  if wait "${pids[$index]}"; then
    grep -E '^stat::number_of_executed_units|^Done' "$build/$target.log" | sed "s/^/fuzz: $target: /" >&2
  else
    tail -n 60 "$build/$target.log" >&2
    echo "fuzz: $target failed; its input is in $build/$target/crashes/" >&2
    failed=1
  fi
done
exit "$failed"
