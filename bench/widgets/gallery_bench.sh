#!/usr/bin/env bash
# Wall time and peak resident memory of the whole default `kmwidget render` (every widget of the
# bundle in every family, PNG at scale 3, contact sheet and gallery page) as a fresh process,
# from an empty store. Usage: bench/widgets/gallery_bench.sh [path/to/kmwidget] [runs]
set -euo pipefail
kmwidget="${1:-build/release/tools/kmwidget/kmwidget}"
runs="${2:-10}"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
for i in $(seq "$runs"); do
  # Wall time in nanoseconds around the process (GNU time's own is in hundredths of a second);
  # GNU time for the peak resident set size in kilobytes.
  start=$(date +%s%N)
  /usr/bin/time -f "%M" -o "$work/rss" \
    "$kmwidget" render --store "$work/empty.sqlite" -o "$work/out" 2>/dev/null
  end=$(date +%s%N)
  echo "$(( (end - start) / 1000 )) $(cat "$work/rss")" >>"$work/runs"
done
sort -n "$work/runs" | awk -v runs="$runs" '
  { wall[NR] = $1; if ($2 > rss) rss = $2 }
  END {
    printf "runs %d: wall min %.1f ms, median %.1f ms, max %.1f ms; peak RSS %.1f MB\n",
           runs, wall[1] / 1000, wall[int((NR + 1) / 2)] / 1000, wall[NR] / 1000, rss / 1024
  }'
echo "widgets written: $(ls "$work/out"/*.png | grep -vc gallery.png)"
