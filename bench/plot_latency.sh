#!/usr/bin/env bash
# Draws the latency distributions of the channel-change scenario from bus_bench's samples file:
# left, every request; right, every whole channel change (the sum of its requests). One cumulative
# curve per target (the service, the sd-bus echo server, the GDBus echo server) on a logarithmic
# time axis.
#
#   bench/plot_latency.sh bus_bench_channel_change.tsv docs/channel_change_latency.png
#
# Needs gnuplot (Debian: gnuplot-nox).
set -euo pipefail

samples=${1:?usage: plot_latency.sh SAMPLES.tsv OUT.png}
output=${2:?usage: plot_latency.sh SAMPLES.tsv OUT.png}
command -v gnuplot >/dev/null || {
  echo "plot_latency: gnuplot is missing (apt-get install gnuplot-nox)" >&2
  exit 1
}

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# cdf FILE: sorted values -> "value fraction", and the p50/p99 of the values as a title.
cdf() {
  sort -g "$1" | awk -v out="$2" '{ v[NR] = $1 } END {
      for (i = 1; i <= NR; ++i) print v[i], i / NR > out
      p50 = v[int(0.50 * NR) + 1]; p99 = v[int(0.99 * NR) + 1]
      printf "p50 %.0f us, p99 %.0f us, n %d", p50, p99, NR }'
}

declare -A title
targets=(service sdbus-echo gdbus-echo)
for target in "${targets[@]}"; do
  awk -F'\t' -v t="$target" 'NR > 1 && $1 == t { print $4 }' "$samples" >"$work/$target.req"
  awk -F'\t' -v t="$target" 'NR > 1 && $1 == t { sum[$2] += $4 } END { for (b in sum) print sum[b] }' \
    "$samples" >"$work/$target.burst"
  [ -s "$work/$target.req" ] || { echo "plot_latency: no samples of $target in $samples" >&2; exit 1; }
  title[$target.req]=$(cdf "$work/$target.req" "$work/$target.req.cdf")
  title[$target.burst]=$(cdf "$work/$target.burst" "$work/$target.burst.cdf")
done

gnuplot <<EOF
set terminal pngcairo size 1200,500 font ",10" noenhanced
set output "$output"
set multiplot layout 1,2 title "Channel change: latency distributions, the service and two echo servers on the same bus"
set logscale x
set grid xtics mxtics ytics
set key bottom right
set ylabel "fraction of samples at or below"
set yrange [0:1]

set title "each request"
set xlabel "latency (us, log scale)"
plot "$work/service.req.cdf" using 1:2 with lines lw 2 lc rgb "#c0392b" title "service: ${title[service.req]}", \
     "$work/sdbus-echo.req.cdf" using 1:2 with lines lw 2 lc rgb "#1e8449" title "sd-bus echo: ${title[sdbus-echo.req]}", \
     "$work/gdbus-echo.req.cdf" using 1:2 with lines lw 2 lc rgb "#2471a3" title "GDBus echo: ${title[gdbus-echo.req]}"

set title "each channel change (sum of its requests)"
set xlabel "time per channel change (us, log scale)"
plot "$work/service.burst.cdf" using 1:2 with lines lw 2 lc rgb "#c0392b" title "service: ${title[service.burst]}", \
     "$work/sdbus-echo.burst.cdf" using 1:2 with lines lw 2 lc rgb "#1e8449" title "sd-bus echo: ${title[sdbus-echo.burst]}", \
     "$work/gdbus-echo.burst.cdf" using 1:2 with lines lw 2 lc rgb "#2471a3" title "GDBus echo: ${title[gdbus-echo.burst]}"
unset multiplot
EOF
echo "plot_latency: wrote $output" >&2
