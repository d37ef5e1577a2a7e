// The host's page: draws the phone's screens from the host's state, which arrives as
// server-sent events; every picture is a tile the host rendered. The page computes no widget.
"use strict";

const $ = (selector) => document.querySelector(selector);
let state = null;
let editing = false;
const browserDark = window.matchMedia("(prefers-color-scheme: dark)");

async function api(path, body) {
  const response = await fetch(path, {
    method: "POST",
    headers: { "Content-Type": "application/json" },
    body: JSON.stringify(body || {}),
  });
  const answer = await response.json().catch(() => ({}));
  if (!response.ok) throw new Error(answer.error || response.statusText);
  return answer;
}

function familyLabel(family) {
  return {
    systemSmall: "Small",
    systemMedium: "Medium",
    accessoryCircular: "Circular",
    accessoryRectangular: "Rectangular",
    accessoryInline: "Inline",
  }[family] || family;
}

function timeText(iso) {
  // "2026-06-10T23:58:00+02:00" → "Jun 10 23:58"; the host's zone is in the string.
  const m = /^(\d{4})-(\d\d)-(\d\d)T(\d\d):(\d\d)(?::(\d\d))?/.exec(iso || "");
  if (!m) return iso || "—";
  const months = ["Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"];
  return `${months[+m[2] - 1]} ${+m[3]} ${m[4]}:${m[5]}`;
}

// The host's clock runs on between events: widget time = then + elapsed real time × speed.
function widgetNow() {
  if (!state) return null;
  const c = state.clock;
  return c.unixSeconds + ((Date.now() - c.receivedAt) / 1000) * c.speed;
}

function zonedParts(unixSeconds) {
  const offset = state.clock.utcOffsetSeconds || 0;
  const d = new Date((unixSeconds + offset) * 1000);
  return {
    hh: String(d.getUTCHours()).padStart(2, "0"),
    mm: String(d.getUTCMinutes()).padStart(2, "0"),
    ss: String(d.getUTCSeconds()).padStart(2, "0"),
    date: d.toLocaleDateString("en-GB", { weekday: "long", day: "numeric", month: "long", timeZone: "UTC" }),
    iso: d.toISOString().slice(0, 10),
  };
}

function tickClock() {
  const now = widgetNow();
  if (now === null) return;
  const p = zonedParts(now);
  $("#clock-time").textContent = `${p.iso} ${p.hh}:${p.mm}:${p.ss}`;
  $("#clock-speed").textContent = state.clock.speed !== 1 ? `×${state.clock.speed}` : "";
  for (const el of document.querySelectorAll(".status, .status-time")) el.textContent = `${p.hh}:${p.mm}`;
  $(".lock-time").textContent = `${p.hh}:${p.mm}`;
  const hasInline = state.widgets.some((w) => w.family === "accessoryInline");
  $(".lock-date").textContent = hasInline ? "" : p.date;
}

// Tiles are kept by widget id and only their image changes, so the browser fetches an image
// only when the host says its version changed.
const tiles = new Map();

function makeTile(w) {
  const el = document.createElement("div");
  el.className = "tile";
  el.dataset.id = w.id;
  const img = document.createElement("img");
  img.alt = `${w.kind} ${w.family}`;
  img.draggable = false;
  const mark = document.createElement("span");
  mark.className = "mark";
  mark.textContent = "!";
  const controls = document.createElement("div");
  controls.className = "controls";
  for (const [cls, label, title, action] of [
    ["remove", "−", "Remove", () => api("/api/remove", { id: w.id })],
    ["earlier", "‹", "Move earlier", () => api("/api/move", { id: w.id, index: Math.max(0, positionOf(w.id) - 1) })],
    ["later", "›", "Move later", () => api("/api/move", { id: w.id, index: positionOf(w.id) + 1 })],
  ]) {
    const b = document.createElement("button");
    b.type = "button";
    b.className = cls;
    b.textContent = label;
    b.title = title;
    b.addEventListener("click", (e) => { e.stopPropagation(); action().catch(showError); });
    controls.append(b);
  }
  el.append(img, mark, controls);
  img.addEventListener("click", (e) => {
    if (editing) return;
    // The click's place in the widget, in points: the image is shown at the widget's point size.
    const r = img.getBoundingClientRect();
    const x = ((e.clientX - r.left) * w.width) / r.width;
    const y = ((e.clientY - r.top) * w.height) / r.height;
    api("/api/tap", { id: Number(el.dataset.id), x, y }).catch(showError);
  });
  return el;
}

function positionOf(id) {
  const w = state.widgets.find((v) => v.id === id);
  const same = state.widgets.filter((v) => v.lock === w.lock);
  return same.findIndex((v) => v.id === id);
}

function updateTile(el, w) {
  const img = el.querySelector("img");
  if (w.tile && img.getAttribute("src") !== w.tile) img.setAttribute("src", w.tile);
  el.classList.toggle("failed", !!w.error);
  el.classList.toggle("loading", w.phase === "placeholder");
  el.dataset.kind = w.kind;
  el.dataset.family = w.family;
  el.dataset.phase = w.phase;
  el.title = w.error ? `Fatal error: ${w.error}` : `${w.name} · ${familyLabel(w.family)}`;
  el.style.width = `${w.width}px`;
  el.style.height = `${w.height}px`;
}

// The home screen's grid: small widgets take half a row, medium ones a whole row, in order,
// as the phone fills its pages.
function layoutHome(widgets, screen) {
  const medium = state.sizes.systemMedium;
  const small = state.sizes.systemSmall;
  const left = Math.round((screen.width - medium.width) / 2);
  const gap = medium.width - 2 * small.width;
  const rowPitch = small.height + gap + 6;
  let row = 0;
  let column = 0;
  const places = [];
  for (const w of widgets) {
    const span = w.family === "systemMedium" ? 2 : 1;
    if (column + span > 2) { row += 1; column = 0; }
    places.push({ x: left + column * (small.width + gap), y: 64 + row * rowPitch });
    column += span;
    if (column >= 2) { row += 1; column = 0; }
  }
  return places;
}

function render() {
  const screen = state.screen;
  for (const phone of [$("#home"), $("#lock")]) {
    phone.style.width = `${screen.width}px`;
    phone.style.height = `${screen.height}px`;
  }
  const seen = new Set();
  const home = state.widgets.filter((w) => !w.lock);
  const lock = state.widgets.filter((w) => w.lock);
  const places = layoutHome(home, screen);
  home.forEach((w, i) => {
    let el = tiles.get(w.id) || makeTile(w);
    tiles.set(w.id, el);
    el.className = el.className.replace(/\b(home|lock)-tile\b/g, "").trim() + " home-tile";
    updateTile(el, w);
    el.style.left = `${places[i].x}px`;
    el.style.top = `${places[i].y}px`;
    if (el.parentElement !== $("#home")) $("#home").append(el);
    $("#home").append(el); // keeps the DOM in the screen's order
    seen.add(w.id);
  });
  for (const w of lock) {
    let el = tiles.get(w.id) || makeTile(w);
    tiles.set(w.id, el);
    el.className = el.className.replace(/\b(home|lock)-tile\b/g, "").trim() + " lock-tile";
    updateTile(el, w);
    el.style.left = el.style.top = "";
    (w.family === "accessoryInline" ? $("#lock-inline") : $("#lock-row")).append(el);
    seen.add(w.id);
  }
  for (const [id, el] of tiles) {
    if (!seen.has(id)) { el.remove(); tiles.delete(id); }
  }
  renderSettings();
  renderTaps();
  renderTimelines();
  tickClock();
}

function renderSettings() {
  const form = $("#settings");
  const s = state.settings;
  const language = form.elements.language;
  if (language.options.length !== state.languages.length) {
    language.replaceChildren(...state.languages.map((code) => new Option(code, code)));
  }
  for (const name of ["appearance", "lockMode", "language", "os", "device"]) {
    const el = form.elements[name];
    if (document.activeElement !== el) el.value = String(s[name]);
  }
  document.body.classList.toggle("dark", s.effectiveAppearance === "dark");
  document.body.classList.toggle("lock-vibrant", s.lockMode === "vibrant");
}

function renderTaps() {
  const list = $("#taps");
  if (!state.taps.length) return;
  list.replaceChildren(...state.taps.slice().reverse().map((t) => {
    const li = document.createElement("li");
    li.innerHTML = `<time></time> · <b></b> <span></span><br><code></code>`;
    li.querySelector("time").textContent = t.time;
    li.querySelector("b").textContent = t.kind;
    li.querySelector("span").textContent = familyLabel(t.family);
    li.querySelector("code").textContent = t.url || "(nothing: no link here)";
    return li;
  }));
}

function renderTimelines() {
  const box = $("#timelines");
  box.replaceChildren(...state.widgets.map((w) => {
    const div = document.createElement("div");
    div.className = "timeline";
    div.dataset.id = w.id;
    const h = document.createElement("h3");
    h.textContent = `${w.name} · ${familyLabel(w.family)} (${w.kind})`;
    const meta = document.createElement("div");
    meta.className = "meta";
    const t = w.timeline;
    meta.textContent = `${w.phase} · ${t.requests} timeline request${t.requests === 1 ? "" : "s"}` +
      ` · policy ${t.policy || "—"} · next reload ${t.nextReload ? timeText(t.nextReload) : "—"}`;
    div.append(h, meta);
    if (w.error) {
      const e = document.createElement("div");
      e.className = "error";
      e.textContent = `Fatal error: ${w.error}`;
      div.append(e);
    }
    const ol = document.createElement("ol");
    ol.start = 0;
    t.entries.forEach((entry, i) => {
      const li = document.createElement("li");
      li.textContent = timeText(entry.date);
      if (i === t.shown) li.className = "shown";
      ol.append(li);
    });
    div.append(ol);
    return div;
  }));
}

async function openSheet() {
  $("#sheet").hidden = false;
  const gallery = $("#gallery");
  gallery.innerHTML = "<p>Loading…</p>";
  let catalogue;
  try {
    catalogue = await (await fetch("/api/catalogue")).json();
  } catch (e) {
    gallery.textContent = `Cannot load the widgets: ${e.message}`;
    return;
  }
  gallery.replaceChildren(...catalogue.widgets.map((c) => {
    const div = document.createElement("div");
    div.className = "widget";
    div.dataset.kind = c.kind;
    const h = document.createElement("h3");
    h.textContent = c.displayName;
    const p = document.createElement("p");
    p.textContent = c.description;
    const families = document.createElement("div");
    families.className = "families";
    if (!c.families.length) {
      families.innerHTML = `<span class="none">Not available on platform ${state.settings.os}.</span>`;
    }
    for (const f of c.families) {
      const fam = document.createElement("div");
      fam.className = `family ${f.lock ? "lock" : "home"}`;
      fam.dataset.family = f.family;
      const preview = document.createElement("div");
      preview.className = "preview";
      const img = document.createElement("img");
      img.src = f.preview;
      img.width = f.width;
      img.height = f.height;
      img.alt = `${c.displayName} ${familyLabel(f.family)}`;
      preview.append(img);
      const add = document.createElement("button");
      add.type = "button";
      add.className = "primary";
      add.textContent = `Add ${familyLabel(f.family)}`;
      add.addEventListener("click", () =>
        api("/api/widgets", { kind: c.kind, family: f.family }).then(closeSheet).catch(showError));
      fam.append(preview, add);
      families.append(fam);
    }
    div.append(h, p, families);
    return div;
  }));
}

function closeSheet() { $("#sheet").hidden = true; }

function showError(e) {
  $("#connection").textContent = e.message;
  $("#connection").classList.add("offline");
}

function connect() {
  const events = new EventSource("/events");
  events.addEventListener("state", (e) => {
    state = JSON.parse(e.data);
    state.clock.receivedAt = Date.now();
    $("#connection").textContent = "live";
    $("#connection").classList.remove("offline");
    render();
  });
  events.onerror = () => {
    $("#connection").textContent = "host not reachable — retrying";
    $("#connection").classList.add("offline");
  };
}

function tellAppearance() {
  api("/api/settings", { browserAppearance: browserDark.matches ? "dark" : "light" }).catch(showError);
}

$("#settings").addEventListener("change", (e) => {
  const value = e.target.name === "os" ? Number(e.target.value) : e.target.value;
  api("/api/settings", { [e.target.name]: value }).catch(showError);
});
$("#edit").addEventListener("click", () => {
  editing = !editing;
  document.body.classList.toggle("editing", editing);
  $("#edit").textContent = editing ? "Done" : "Edit";
});
$("#add").addEventListener("click", openSheet);
$("#sheet-close").addEventListener("click", closeSheet);
$("#sheet").addEventListener("click", (e) => { if (e.target === $("#sheet")) closeSheet(); });
$("#reload").addEventListener("click", () => api("/api/reload", {}).catch(showError));
browserDark.addEventListener("change", tellAppearance);
setInterval(tickClock, 250);
tellAppearance();
connect();
