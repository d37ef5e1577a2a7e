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
  # GNU time for the peak resident set size in kilobytes and the CPU seconds, which a loaded
  # machine disturbs less than the wall time.
  start=$(date +%s%N)
  /usr/bin/time -f "%M %U %S" -o "$work/rss" \
    "$kmwidget" render --store "$work/empty.sqlite" -o "$work/out" 2>/dev/null
  end=$(date +%s%N)
  echo "$(( (end - start) / 1000 )) $(cat "$work/rss")" >>"$work/runs"
done
# Each column sorted on its own: minimum and median of the wall and CPU times, maximum RSS.
stat() { awk "{ print \$$1 }" "$work/runs" | sort -n | awk '{ v[NR] = $1 } END { print v[1], v[int((NR + 1) / 2)], v[NR] }'; }
read -r wall_min wall_med wall_max < <(stat 1)
read -r _ _ rss_max < <(stat 2)
read -r user_min user_med _ < <(stat 3)
read -r sys_min sys_med _ < <(stat 4)
awk -v runs="$runs" -v wmin="$wall_min" -v wmed="$wall_med" -v wmax="$wall_max" \
    -v rss="$rss_max" -v umin="$user_min" -v umed="$user_med" -v smin="$sys_min" -v smed="$sys_med" \
    'BEGIN { printf "runs %d: wall min %.1f ms, median %.1f ms, max %.1f ms; user CPU min %.0f ms," \
             " median %.0f ms; system CPU min %.0f ms, median %.0f ms; peak RSS %.1f MB\n",
             runs, wmin / 1000, wmed / 1000, wmax / 1000, umin * 1000, umed * 1000, smin * 1000,
             smed * 1000, rss / 1024 }'
echo "widgets written: $(ls "$work/out"/*.png | grep -vc gallery.png)"
