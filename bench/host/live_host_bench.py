#!/usr/bin/env python3
"""Measures a running `kmwidget host` from the outside, as the page and the app see it.

  latency  time from a store write (committed by another connection, as the app writes) to the
           page's event announcing the new tile, and to the tile's image fetched over HTTP
  idle     CPU used by the host and its render workers while nothing happens, with the default
           screens (the five widgets of the bundle and the lock-screen families) placed
  week     resident memory of the host and its workers over a simulated week (--speed), with a
           store write every real second so that tiles keep being redrawn

Everything runs on a fresh store in a temporary folder and on a loopback port chosen by the
host; the host is stopped at the end (SIGTERM) and the time it takes to go is reported.

  bench/host/live_host_bench.py build/release/tools/kmwidget/kmwidget [--writes 30]
      [--idle-seconds 30] [--week-seconds 60]
"""

import argparse
import http.client
import json
import os
import queue
import signal
import sqlite3
import statistics
import subprocess
import tempfile
import threading
import time

RECORD = {
    "currentDayInt": 1, "currentDate": 0, "isLoggedIn": True, "energyCurrent": 1200.0,
    "energyTotal": 2200.0, "fatCurrent": 40.0, "fatTotal": 70.0, "proteinCurrent": 80.0,
    "proteinTotal": 130.0, "carbsCurrent": 150.0, "carbsTotal": 250.0,
    "energyDays": [1800.0, 2100.0, 1950.0, 2300.0, 1700.0, 2000.0, 1200.0],
    "isKilojoules": False,
}
REFERENCE_DATE_1970 = 978307200.0
DATA_TAG = 1  # the store's type tag of a data blob


def write_record(store, energy, day_unix):
    """Writes the day's record as the app does: a JSON data blob, in one committed transaction."""
    record = dict(RECORD, energyCurrent=float(energy), currentDate=day_unix - REFERENCE_DATE_1970)
    db = sqlite3.connect(store, timeout=2)
    db.execute("INSERT INTO kv(key, type, value) VALUES(?, ?, ?) ON CONFLICT(key) DO UPDATE "
               "SET type = excluded.type, value = excluded.value",
               ("KMWidgetNutritionSummary", DATA_TAG, json.dumps(record).encode()))
    db.commit()
    committed = time.monotonic()
    db.close()
    return committed


class Host:
    def __init__(self, kmwidget, store, extra=(), host_args=()):
        self.store = store
        self.proc = subprocess.Popen([kmwidget, "--store", store, *extra, "host", "--port", "0",
                                      *host_args],
                                     stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                     start_new_session=True)
        deadline = time.monotonic() + 20
        self.port = None
        while time.monotonic() < deadline and self.port is None:
            try:
                with open(store + ".host.json") as f:
                    info = json.load(f)
                if info.get("pid") == self.proc.pid:
                    self.port = info["port"]
            except (OSError, ValueError):
                time.sleep(0.05)
        if self.port is None:
            raise SystemExit("the host did not start")
        self.events = queue.Queue()
        self.state = None  # the last state seen by settle()
        self.reader = threading.Thread(target=self._read_events, daemon=True)
        self.reader.start()

    def _read_events(self):
        conn = http.client.HTTPConnection("127.0.0.1", self.port, timeout=600)
        conn.request("GET", "/events")
        response = conn.getresponse()
        data = []
        while True:
            line = response.readline()
            if not line:
                return
            line = line.decode().rstrip("\n")
            if line.startswith("data: "):
                data.append(line[6:])
            elif line == "" and data:
                self.events.put((time.monotonic(), json.loads("\n".join(data))))
                data = []

    def get(self, path):
        conn = http.client.HTTPConnection("127.0.0.1", self.port, timeout=10)
        conn.request("GET", path)
        response = conn.getresponse()
        body = response.read()
        conn.close()
        return response.status, body

    def settle(self, quiet=2.0, limit=60):
        """Waits until every widget has a tile and no event came for `quiet` seconds."""
        deadline = time.monotonic() + limit
        while time.monotonic() < deadline:
            try:
                _, self.state = self.events.get(timeout=quiet)
            except queue.Empty:
                if self.state and all(w["tile"] for w in self.state["widgets"]):
                    return self.state
        raise SystemExit("the host did not settle")

    def pids(self):
        """The host and its render workers (its children)."""
        pids = [self.proc.pid]
        for entry in os.listdir("/proc"):
            if entry.isdigit():
                try:
                    with open(f"/proc/{entry}/stat") as f:
                        fields = f.read().rsplit(")", 1)[1].split()
                    if int(fields[1]) == self.proc.pid:
                        pids.append(int(entry))
                except OSError:
                    pass
        return pids

    def stop(self):
        start = time.monotonic()
        self.proc.send_signal(signal.SIGTERM)
        try:
            self.proc.wait(timeout=5)
        except subprocess.TimeoutExpired:
            self.proc.kill()
            self.proc.wait()
        return time.monotonic() - start


def cpu_seconds(pid):
    try:
        with open(f"/proc/{pid}/stat") as f:
            fields = f.read().rsplit(")", 1)[1].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")
    except OSError:
        return 0.0


def rss_kib(pid, field="VmRSS"):
    try:
        with open(f"/proc/{pid}/status") as f:
            for line in f:
                if line.startswith(field + ":"):
                    return int(line.split()[1])
    except OSError:
        pass
    return 0


def tiles(state):
    return {w["id"]: w["tile"] for w in state["widgets"]}


def measure_latency(host, writes):
    state = host.settle()
    before = tiles(state)
    first, last, fetched, counts = [], [], [], []
    day = time.time()
    for i in range(writes):
        committed = write_record(host.store, 1300 + i, day)
        changed_at = []
        changed = 0
        # Every tile whose drawing depends on the energy changes; collect until quiet. The first
        # tile to change is fetched at once, as the page does when the event arrives.
        while True:
            try:
                at, state = host.events.get(timeout=1.0)
            except queue.Empty:
                break
            now = tiles(state)
            urls = [u for k, u in now.items() if u != before.get(k)]
            before = now
            if not urls:
                continue
            changed_at.append(at)
            changed += len(urls)
            if len(changed_at) == 1:
                status, body = host.get(urls[0])
                if status != 200 or not body.startswith(b"\x89PNG"):
                    raise SystemExit(f"write {i}: tile {urls[0]} answered {status}")
                fetched.append((time.monotonic() - committed) * 1000)
        if not changed_at:
            raise SystemExit(f"write {i}: no tile changed")
        first.append((changed_at[0] - committed) * 1000)
        last.append((changed_at[-1] - committed) * 1000)
        counts.append((changed, len(changed_at)))
    return first, last, fetched, counts


def summary(name, values):
    values = sorted(values)
    p90 = values[min(len(values) - 1, int(round(0.9 * (len(values) - 1))))]
    print(f"  {name}: median {statistics.median(values):.1f} ms, p90 {p90:.1f} ms, "
          f"max {values[-1]:.1f} ms (n={len(values)})")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("kmwidget")
    parser.add_argument("--writes", type=int, default=30)
    parser.add_argument("--idle-seconds", type=float, default=30)
    parser.add_argument("--week-seconds", type=float, default=60)
    args = parser.parse_args()
    print(f"load average at start: {os.getloadavg()}")

    with tempfile.TemporaryDirectory(prefix="km-host-bench-") as folder:
        store = os.path.join(folder, "store.sqlite")
        record_file = os.path.join(folder, "record.json")
        with open(record_file, "w") as f:
            json.dump(dict(RECORD, currentDate=time.time() - REFERENCE_DATE_1970), f)
        subprocess.run([args.kmwidget, "--store", store, "store", "set-summary", record_file],
                       check=True, stdout=subprocess.DEVNULL)

        host = Host(args.kmwidget, store, [])
        try:
            state = host.settle()
            print(f"host pid {host.proc.pid}, port {host.port}, {len(state['widgets'])} widgets "
                  f"placed: " + ", ".join(f"{w['kind']}/{w['family']}" for w in state["widgets"]))
            if args.writes:
                first, last, fetched, counts = measure_latency(host, args.writes)
                print("store write committed -> the page's event with the new tile:")
                summary("first tile to change", first)
                summary("first tile's image fetched", fetched)
                summary("last tile to change", last)
                print("  tiles changed / events per write: " +
                      ", ".join(sorted({f"{c} / {e}" for c, e in counts})))
            if args.idle_seconds:
                host.settle()
                pids = host.pids()
                cpu0 = sum(cpu_seconds(p) for p in pids)
                t0 = time.monotonic()
                events = 0
                while time.monotonic() - t0 < args.idle_seconds:
                    try:
                        host.events.get(timeout=args.idle_seconds - (time.monotonic() - t0))
                        events += 1
                    except queue.Empty:
                        break
                elapsed = time.monotonic() - t0
                cpu = sum(cpu_seconds(p) for p in pids) - cpu0
                print(f"idle: {cpu:.3f} s CPU in {elapsed:.1f} s ({100 * cpu / elapsed:.3f} % of "
                      f"one core) over {len(pids)} processes (host + workers); {events} page "
                      f"events meanwhile")
        finally:
            print(f"stop (SIGTERM): host gone after {host.stop() * 1000:.0f} ms")

        if args.week_seconds:
            speed = 7 * 86400 / args.week_seconds
            week = Host(args.kmwidget, store, ["--now", "2026-06-08T00:00:00", "--tz",
                                               "Europe/Berlin"], ["--speed", f"{speed:g}"])
            samples = []
            day = time.time()
            t0 = time.monotonic()
            try:
                for i in range(int(args.week_seconds)):
                    time.sleep(max(0.0, t0 + i + 1 - time.monotonic()))
                    write_record(store, 1000 + i, day)
                    pids = week.pids()
                    samples.append((time.monotonic() - t0, rss_kib(pids[0]),
                                    sum(rss_kib(p) for p in pids[1:]), len(pids) - 1))
                peak = rss_kib(week.proc.pid, "VmHWM")
                _, last_state = week.events.get(timeout=5)
                while not week.events.empty():
                    _, last_state = week.events.get()
            finally:
                stopped = week.stop()
            print(f"simulated week at --speed {speed:g} ({args.week_seconds:g} s real, a store "
                  f"write each second; widget time at the end {last_state['clock']['now']}): "
                  f"resident memory, host / workers (KiB):")
            step = max(1, len(samples) // 8)
            for t, host_rss, worker_rss, workers in samples[::step] + samples[-1:]:
                print(f"  t={t:5.1f} s (day {1 + t / args.week_seconds * 7:.1f}): host {host_rss}, "
                      f"{workers} workers {worker_rss}")
            print(f"  host peak (VmHWM) {peak} KiB; stop (SIGTERM) took {stopped * 1000:.0f} ms")


if __name__ == "__main__":
    main()
