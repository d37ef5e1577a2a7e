#!/usr/bin/python3
"""Drives `kmwidget host` and its page in headless Chromium.

Usage: page_test.py KMWIDGET [SCREENSHOT_DIR] [TEST_NAME...]

Every host and browser binds and talks to 127.0.0.1 on a port picked free for the run; every
wait is bounded and every process is stopped by the test that started it.
"""

import io
import json
import os
import signal
import socket
import subprocess
import sys
import tempfile
import time
import traceback
import urllib.request

from PIL import Image
from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By

KMWIDGET = os.path.abspath(sys.argv[1])
SHOTS = sys.argv[2] if len(sys.argv) > 2 else None
ONLY = set(sys.argv[3:])

DAY = 802785600.0  # 2026-06-10T12:00:00Z as seconds since 2001-01-01


def record(energy, day=DAY, logged_in=True, carbs=100):
    return {
        "currentDayInt": 3, "currentDate": day, "isLoggedIn": logged_in,
        "energyCurrent": energy, "energyTotal": 2000, "fatCurrent": 30, "fatTotal": 70,
        "proteinCurrent": 40, "proteinTotal": 90, "carbsCurrent": carbs, "carbsTotal": 250,
        "energyDays": [1500, 1800, 2100, 1700, 1900, 2000, energy], "isKilojoules": False,
    }


def wait_until(what, condition, timeout=10.0, step=0.05):
    """Returns the condition's first true value; fails the test after `timeout` seconds."""
    end = time.monotonic() + timeout
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > end:
            raise AssertionError(f"timed out after {timeout} s waiting for {what}")
        time.sleep(step)


def free_port():
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


class Host:
    """One `kmwidget host` on a store of its own, with an opener script that logs URLs."""

    def __init__(self, folder, now="2026-06-10T10:00:00", speed=1.0, port=None):
        self.folder = folder
        self.store = os.path.join(folder, "store.sqlite")
        self.opened = os.path.join(folder, "opened.txt")
        self.opener = os.path.join(folder, "open.sh")
        with open(self.opener, "w") as f:
            f.write(f'#!/bin/sh\nprintf "%s\\n" "$1" >> "{self.opened}"\n')
        os.chmod(self.opener, 0o755)
        self.now, self.speed = now, speed
        self.port = port or free_port()
        self.process = None

    def tool(self, *args, **kw):
        return subprocess.run([KMWIDGET, "--store", self.store, "--tz", "UTC", *args],
                              capture_output=True, text=True, timeout=60, **kw)

    def set_record(self, rec, raw=False):
        path = os.path.join(self.folder, "record.json")
        with open(path, "w") as f:
            json.dump(rec, f)
        r = self.tool("store", "set-summary", path, *(["--raw"] if raw else []))
        assert r.returncode == 0, r.stderr

    def start(self):
        self.log = open(os.path.join(self.folder, "host.log"), "a")
        self.process = subprocess.Popen(
            [KMWIDGET, "--store", self.store, "--tz", "UTC", "--now", self.now, "host",
             "--port", str(self.port), "--speed", str(self.speed), "--open-with", self.opener],
            stdout=self.log, stderr=subprocess.STDOUT)
        wait_until("the host to serve", lambda: self._answers(), timeout=30)
        return self

    def _answers(self):
        assert self.process.poll() is None, "the host exited: " + self.log_text()
        try:
            return self.get("/api/state")
        except OSError:
            return None

    def log_text(self):
        with open(os.path.join(self.folder, "host.log")) as f:
            return f.read()

    def url(self, path="/"):
        return f"http://127.0.0.1:{self.port}{path}"

    def get(self, path):
        with urllib.request.urlopen(self.url(path), timeout=10) as r:
            body = r.read()
            return json.loads(body) if r.headers.get_content_type() == "application/json" else body

    def post(self, path, body):
        req = urllib.request.Request(self.url(path), data=json.dumps(body).encode(),
                                     headers={"Content-Type": "application/json"})
        with urllib.request.urlopen(req, timeout=10) as r:
            return json.loads(r.read())

    def stop(self):
        """SIGTERM; returns how long the host took to exit, workers included."""
        if not self.process or self.process.poll() is not None:
            return 0.0
        workers = subprocess.run(["pgrep", "-P", str(self.process.pid)], capture_output=True,
                                 text=True).stdout.split()
        start = time.monotonic()
        self.process.send_signal(signal.SIGTERM)
        try:
            self.process.wait(timeout=10)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
            raise AssertionError("the host did not stop within 10 s of SIGTERM")
        took = time.monotonic() - start
        self.log.close()
        for pid in workers:
            assert not os.path.exists(f"/proc/{pid}") or "zombie" in open(
                f"/proc/{pid}/status").read().lower(), f"worker {pid} outlived the host"
        return took

    def widgets(self):
        return self.get("/api/state")["widgets"]

    def render(self, kind, family, rec, now, mode=None):
        """`kmwidget render` of a record at a moment: the image a tile must equal."""
        out = tempfile.mkdtemp(dir=self.folder)
        path = os.path.join(out, "record.json")
        with open(path, "w") as f:
            json.dump(rec, f)
        args = ["--now", now, "render", "--record", path, "--kind", kind, "--family", family,
                "-o", out]
        if mode:
            args += ["--mode", mode]
        r = self.tool(*args)
        assert r.returncode == 0, r.stderr
        return Image.open(os.path.join(out, f"{kind}.{family}.png")).convert("RGBA")

    def tile_image(self, src):
        return Image.open(io.BytesIO(self.get(src))).convert("RGBA")


def same_pixels(a, b):
    return a.size == b.size and a.tobytes() == b.tobytes()


def browser(width=1500, height=1100):
    options = webdriver.ChromeOptions()
    options.binary_location = "/usr/bin/chromium"
    profile = tempfile.mkdtemp(prefix="km-chromium-")
    for flag in ["--headless=new", "--no-sandbox", "--disable-gpu", "--disable-quic",
                 "--no-first-run", "--disable-background-networking", "--disable-component-update",
                 "--disable-sync", "--disable-dev-shm-usage", f"--user-data-dir={profile}",
                 f"--window-size={width},{height}", "--force-color-profile=srgb",
                 "--force-device-scale-factor=1"]:
        options.add_argument(flag)
    driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
    driver.set_page_load_timeout(20)
    driver.set_script_timeout(20)
    return driver


def page_state(driver):
    return driver.execute_script("return typeof state === 'undefined' ? null : state")


def shot(driver, name):
    if SHOTS:
        os.makedirs(SHOTS, exist_ok=True)
        driver.save_screenshot(os.path.join(SHOTS, name + ".png"))


def tile_of(state, kind, family):
    return next(w for w in state["widgets"] if w["kind"] == kind and w["family"] == family)


def drawn(driver):
    """True once every placed widget's tile shows a loaded image of a timeline entry."""
    state = page_state(driver)
    if not state or not state["widgets"]:
        return False
    for w in state["widgets"]:
        if w["phase"] != "timeline" or w["timeline"]["shown"] is None or not w["tile"]:
            return False
    return driver.execute_script(
        "return [...document.querySelectorAll('.tile')].every(t => t.classList.contains('failed')"
        " || (t.querySelector('img').complete && t.querySelector('img').naturalWidth > 0))")


# --- the tests --------------------------------------------------------------------------------


def test_every_widget_shown(folder, driver):
    host = Host(folder).start()
    try:
        driver.get(host.url())
        wait_until("every tile drawn", lambda: drawn(driver), timeout=30)
        state = page_state(driver)
        placed = [(w["kind"], w["family"]) for w in state["widgets"]]
        # A fresh host: every widget on the home screen, every lock-screen family on the lock screen.
        assert ("small_energy", "systemSmall") in placed and ("lockscreen_button",
                                                              "accessoryCircular") in placed
        assert len(placed) == 9, placed
        shot(driver, "fresh-host")
        on_page = driver.find_elements(By.CSS_SELECTOR, ".tile")
        assert len(on_page) == len(placed)
        home = driver.find_elements(By.CSS_SELECTOR, "#home .tile")
        assert sorted(e.get_attribute("data-family") for e in home) == [
            "systemMedium", "systemMedium", "systemMedium", "systemSmall"]
        assert driver.find_elements(By.CSS_SELECTOR, "#lock-inline .tile")[0].get_attribute(
            "data-family") == "accessoryInline"
        # The sheet: the bundle's five widgets, localised, with the families of platform 17.
        driver.find_element(By.ID, "add").click()
        wait_until("the sheet", lambda: len(driver.find_elements(
            By.CSS_SELECTOR, "#gallery .widget")) == 5, timeout=30)
        names = [e.text for e in driver.find_elements(By.CSS_SELECTOR, "#gallery h3")]
        assert names[0] == "Energy today" and names[1] == "Weekly overview", names
        families = [e.get_attribute("data-family") for e in driver.find_elements(
            By.CSS_SELECTOR, "#gallery .widget[data-kind='small_energy'] .family")]
        assert families == ["systemSmall", "accessoryInline", "accessoryCircular"], families
        wait_until("the previews", lambda: driver.execute_script(
            "return [...document.querySelectorAll('#gallery img')].every(i => i.complete &&"
            " i.naturalWidth > 0)"), timeout=20)
        shot(driver, "sheet")
    finally:
        host.stop()


def test_store_write_changes_tiles(folder, driver):
    host = Host(folder)
    host.set_record(record(500))
    host.start()
    try:
        driver.get(host.url())
        wait_until("every tile drawn", lambda: drawn(driver), timeout=30)
        before = page_state(driver)
        shot(driver, "before-write")
        written = record(1650, carbs=210)
        t0 = time.monotonic()
        host.set_record(written)
        compared = [("small_energy", "systemSmall"), ("medium_buttons", "systemMedium"),
                    ("medium_pie_macros", "accessoryRectangular")]
        def changed():
            s = page_state(driver)
            return s if all(tile_of(s, k, f)["tile"] != tile_of(before, k, f)["tile"]
                            for k, f in compared) else None
        after = wait_until("the tiles to change", changed, timeout=5)
        took = time.monotonic() - t0
        assert took < 2.0, f"the store write took {took:.2f} s to reach the page"
        shot(driver, "after-write")
        # Each tile is the image `kmwidget render` draws for the entry it shows.
        for kind, family in compared:
            w = tile_of(after, kind, family)
            entry = w["timeline"]["entries"][w["timeline"]["shown"]]["date"]
            want = host.render(kind, family, written, entry)
            src = driver.find_element(By.CSS_SELECTOR, f".tile[data-id='{w['id']}'] img")
            got = host.tile_image(src.get_attribute("src").split(str(host.port), 1)[1])
            assert same_pixels(got, want), f"{kind} {family} differs from kmwidget render"
            stale = host.render(kind, family, record(500), entry)
            assert not same_pixels(got, stale), f"{kind} {family} still shows the old record"
    finally:
        host.stop()


def test_entries_switch_and_timeline_renews(folder, driver):
    # An hour in four seconds. Started at 23:00, the first timeline (asked once the tiles have
    # their placeholders and snapshots) begins before midnight and its second entry is after,
    # unless the machine took more than four seconds to start (a sanitizer build under load).
    host = Host(folder, now="2026-06-10T23:00:00", speed=900)
    rec = record(1200)
    host.set_record(rec)
    host.start()
    try:
        driver.get(host.url())
        wait_until("every tile drawn", lambda: drawn(driver), timeout=30)
        first = tile_of(page_state(driver), "small_energy", "systemSmall")
        dates = [e["date"] for e in first["timeline"]["entries"]]
        assert len(dates) == 7 and dates[0] >= "2026-06-10T23", dates
        crosses_midnight = dates[0][:10] != dates[1][:10]
        if first["timeline"]["shown"] == 0:
            shot(driver, "before-midnight")
            assert same_pixels(host.tile_image(first["tile"]),
                               host.render("small_energy", "systemSmall", rec, dates[0]))
        moved = wait_until("the next entry", lambda: (lambda w: w if w["timeline"]["shown"] == 1
                           else None)(tile_of(page_state(driver), "small_energy", "systemSmall")),
                           timeout=10)
        shot(driver, "after-midnight")
        # The tile is the render at the new entry's date; after midnight the same record is
        # yesterday's, so the picture changes.
        got = host.tile_image(moved["tile"])
        assert same_pixels(got, host.render("small_energy", "systemSmall", rec, dates[1]))
        if crosses_midnight:
            assert not same_pixels(got, host.render("small_energy", "systemSmall", rec, dates[0]))
        renewed = wait_until("a new timeline", lambda: (lambda w: w if w["timeline"]["requests"]
                             >= 2 else None)(tile_of(page_state(driver), "small_energy",
                                                     "systemSmall")), timeout=40)
        new_first = renewed["timeline"]["entries"][0]["date"]
        assert new_first >= dates[-1], (new_first, dates[-1])
    finally:
        host.stop()


def test_button_links_open(folder, driver):
    host = Host(folder)
    host.set_record(record(900))
    host.start()
    try:
        driver.get(host.url())
        wait_until("every tile drawn", lambda: drawn(driver), timeout=30)
        # The regions come from the widget's own display list, as `kmwidget render` lays it out.
        r = host.tool("render", "--kind", "medium_buttons", "--family", "systemMedium",
                      "--format", "json", "--now", "2026-06-10T10:00:00")
        assert r.returncode == 0, r.stderr
        links = [i for i in json.loads(r.stdout)["items"] if i["type"] == "link"]
        assert len(links) >= 3, links
        w = tile_of(page_state(driver), "medium_buttons", "systemMedium")
        img = driver.find_element(By.CSS_SELECTOR, f".tile[data-id='{w['id']}'] img")
        expected = []
        for link in links:
            x, y, width, height = link["frame"]
            # Selenium offsets are from the element's centre, in CSS pixels (= points here).
            ActionChains(driver).move_to_element_with_offset(
                img, int(x + width / 2 - w["width"] / 2), int(y + height / 2 - w["height"] / 2)
            ).click().perform()
            expected.append(link["url"])
        wait_until("every URL opened", lambda: os.path.exists(host.opened) and len(
            open(host.opened).read().split()) == len(expected), timeout=5)
        assert open(host.opened).read().split() == expected
        assert all(u.startswith("kalomate://") and u.endswith("-widget-medium_buttons")
                   for u in expected), expected
        wait_until("the taps listed", lambda: len(driver.find_elements(
            By.CSS_SELECTOR, "#taps li code")) == len(expected), timeout=5)
        shot(driver, "taps")
    finally:
        host.stop()


def test_fatal_widget_is_isolated(folder, driver):
    host = Host(folder)
    host.set_record(record(700))
    host.start()
    try:
        driver.get(host.url())
        wait_until("every tile drawn", lambda: drawn(driver), timeout=30)
        before = {w["id"]: w["tile"] for w in page_state(driver)["widgets"]}
        host.set_record(record(1e300), raw=True)  # too large for a 64-bit integer
        def split():
            s = page_state(driver)
            failed = [w for w in s["widgets"] if w["error"]]
            live = [w for w in s["widgets"] if not w["error"] and w["tile"] != before[w["id"]]]
            return (failed, live) if failed and live else None
        failed, live = wait_until("a failed tile beside live ones", split, timeout=15)
        shot(driver, "fatal")
        for w in failed:
            el = driver.find_element(By.CSS_SELECTOR, f".tile[data-id='{w['id']}']")
            assert "failed" in el.get_attribute("class")
            assert el.get_attribute("title").startswith("Fatal error: "), el.get_attribute("title")
        assert host.process.poll() is None
        # The others keep updating, and the failed ones are tried again at the next reload.
        host.set_record(record(1100))
        wait_until("every tile live again", lambda: all(
            not w["error"] for w in page_state(driver)["widgets"]) and drawn(driver), timeout=15)
    finally:
        host.stop()


def test_arrangement_survives_restart(folder, driver):
    host = Host(folder).start()
    try:
        driver.get(host.url())
        wait_until("every tile drawn", lambda: drawn(driver), timeout=30)
        widgets = page_state(driver)["widgets"]
        history = tile_of(page_state(driver), "medium_history", "systemMedium")
        host.post("/api/remove", {"id": history["id"]})
        added = host.post("/api/widgets", {"kind": "small_energy", "family": "systemSmall"})
        host.post("/api/move", {"id": added["id"], "index": 0})
        host.post("/api/settings", {"appearance": "dark"})
        arranged = [(w["kind"], w["family"]) for w in host.widgets()]
        assert arranged[0] == ("small_energy", "systemSmall") and len(arranged) == len(widgets)
        took = host.stop()
        assert took < 1.0, f"the host took {took:.2f} s to stop"
        host.start()
        driver.get(host.url())
        wait_until("every tile drawn", lambda: drawn(driver), timeout=30)
        state = page_state(driver)
        assert [(w["kind"], w["family"]) for w in state["widgets"]] == arranged
        assert state["settings"]["appearance"] == "dark"
        shot(driver, "restarted-dark")
    finally:
        host.stop()


TESTS = [test_every_widget_shown, test_store_write_changes_tiles,
         test_entries_switch_and_timeline_renews, test_button_links_open,
         test_fatal_widget_is_isolated, test_arrangement_survives_restart]


def main():
    failures = 0
    driver = browser()
    try:
        for test in TESTS:
            if ONLY and test.__name__ not in ONLY:
                continue
            start = time.monotonic()
            with tempfile.TemporaryDirectory(prefix="km-host-") as folder:
                try:
                    test(folder, driver)
                    print(f"ok   {test.__name__} ({time.monotonic() - start:.1f} s)", flush=True)
                except Exception:
                    failures += 1
                    print(f"FAIL {test.__name__}", flush=True)
                    traceback.print_exc()
                    log = os.path.join(folder, "host.log")
                    if os.path.exists(log):
                        print(open(log).read()[-3000:])
    finally:
        driver.quit()
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
