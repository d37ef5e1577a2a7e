#!/usr/bin/env bash
# Wall time, CPU time and peak resident memory of the whole default `kmwidget render` (every
# widget of the bundle in every family, PNG at scale 3, contact sheet and gallery page) as a
# fresh process, from an empty store. With a number of copies, the bundle's kinds are asked for
# that many times over (11 copies: 99 widgets), which shows what each further widget costs.
# With a record file, the store holds that record (stored before the timed runs) and the widgets
# are drawn at its day: bench/widgets/over_goal_record.json is the record the in-process
# benchmark draws, so the two draw the same pictures.
# Usage: bench/widgets/gallery_bench.sh [path/to/kmwidget] [runs] [copies] [record.json]
set -euo pipefail
kmwidget="${1:-build/release/tools/kmwidget/kmwidget}"
runs="${2:-10}"
copies="${3:-0}"
record="${4:-}"
exec python3 - "$kmwidget" "$runs" "$copies" "$record" <<'PY'
import os, re, statistics, subprocess, sys, tempfile, time

kmwidget, runs, copies, record = sys.argv[1], int(sys.argv[2]), int(sys.argv[3]), sys.argv[4]
kinds = []
for _ in range(copies):
    for kind in ("small_energy", "medium_history", "medium_pie_macros", "medium_buttons",
                 "lockscreen_button"):
        kinds += ["--kind", kind]
wall, cpu, rss, drawn = [], [], [], None
with tempfile.TemporaryDirectory() as work:
    store = os.path.join(work, "store.sqlite")
    moment = []
    if record:
        subprocess.run([kmwidget, "--store", store, "store", "set-summary", record], check=True,
                       stdout=subprocess.DEVNULL)
        moment = ["--now", "2026-11-23T12:00:00Z"]  # the record's day (its currentDate)
    for _ in range(runs):
        # Wall time around the process; its CPU time and peak resident set size from wait4,
        # in microseconds and kilobytes (a loaded machine disturbs CPU time less than wall time).
        start = time.perf_counter()
        child = subprocess.Popen(
            [kmwidget, *moment, "render", "--store", store, *kinds,
             "-o", os.path.join(work, "out")], stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
        err = child.stderr.read().decode()
        _, status, usage = os.wait4(child.pid, 0)
        wall.append((time.perf_counter() - start) * 1000)
        if status != 0:
            sys.exit(f"kmwidget failed: {err}")
        cpu.append((usage.ru_utime + usage.ru_stime) * 1000)
        rss.append(usage.ru_maxrss / 1024)
        found = re.search(r"wrote (\d+) widgets", err)
        drawn = found.group(1) if found else "?"
print(f"runs {runs}, {drawn} widgets: wall min {min(wall):.1f} ms, median "
      f"{statistics.median(wall):.1f} ms, max {max(wall):.1f} ms; CPU (user + system) min "
      f"{min(cpu):.1f} ms, median {statistics.median(cpu):.1f} ms; peak RSS median "
      f"{statistics.median(rss):.1f} MiB, max {max(rss):.1f} MiB; load average "
      f"{os.getloadavg()[0]:.1f}")
PY
