#!/usr/bin/env python3
"""Checks the extension's bundle: strings tables, colour sets and image sets.

Usage: check_bundle.py BUNDLE_DIR. Prints every problem found and exits 1 if there was any.
Standard library only, so it runs wherever CTest runs.
"""

import json
import os
import re
import sys
import xml.etree.ElementTree as ET

TABLE = "KMLocalizable.strings"
BASE_LANGUAGE = "en"
# Folder names are the codes the app stores as the chosen language; the lookup opens
# "<code>.lproj", so a misspelt folder silently falls back to the main bundle.
LANGUAGES = [
    "en", "ar", "pt", "es", "de", "ru", "nl", "fr", "zh", "da", "fi", "id", "it", "ja", "ko",
    "nb", "pl", "sv", "tr", "uk", "pt-PT", "zh-TW",
]
REQUIRED_KEYS = [
    "ios_widgets_1", "ios_widgets_2", "ios_widgets_3", "ios_widgets_4", "ios_widgets_5",
    "ios_widgets_6", "ios_widgets_7", "ios_widgets_8", "ios_widgets_9", "ios_widgets_10",
    "ios_widget_goal", "shared_gram", "FatShort", "ProteinShort", "CarbohydrateShort",
    "EnergyMeasurementCalories", "EnergyMeasurementKilojoules", "CaloriesShort",
    "CaloriesShort_2", "KilojouleShort",
]
# The buttons' tap-area label is drawn in clear; it must stay the same everywhere.
INVISIBLE_LABEL = " " * 18 + "\n\n."

# A value equal to English usually means a forgotten translation. These are the cases where
# the same text is right: unit symbols most languages write the Latin way, and words that
# really are spelled the same.
SAME_AS_ENGLISH_ANY = {"shared_gram", "CaloriesShort", "CaloriesShort_2", "KilojouleShort",
                       INVISIBLE_LABEL}
SAME_AS_ENGLISH = {
    "ProteinShort": {"da", "nb", "sv", "tr", "id"},
    "EnergyMeasurementCalories": {"fr"},
    "EnergyMeasurementKilojoules": {"fr", "nl"},
    "ios_widgets_10": {"da", "nb"},
}

COLOURS = [
    "widget-text-primary", "widget-text-secondary", "widget-background-primary",
    "widget-background-secondary", "widget-background-tertiary", "widget-background-light",
    "widget-primary-full", "widget-primary-faded", "widget-shadow",
]
# (text, background, minimum contrast ratio) that must hold in both appearances.
CONTRAST_RULES = [
    ("widget-text-primary", "widget-background-primary", 4.5),
    ("widget-text-primary", "widget-background-secondary", 4.5),
    ("widget-text-secondary", "widget-background-primary", 3.0),
    ("widget-text-secondary", "widget-background-secondary", 3.0),
]
IMAGES = {
    "ic_add_meal_24px": "0 0 24 24",
    "ic_add_exercise_24px": "0 0 24 24",
    "ic_barcode_24px": "0 0 24 24",
    "ic_weight_24px": "0 0 24 24",
    "ic_km_keyhole_16px": "0 0 16 16",
}
SVG_NS = "{http://www.w3.org/2000/svg}"
# Template images are drawn as a mask; any paint other than black (or none) would shade it.
TEMPLATE_PAINTS = {"none", "#000", "#000000", "black", "currentcolor"}


class StringsError(ValueError):
    pass


def parse_strings(text):
    """Parses an Apple .strings table strictly; returns the (key, value) pairs in file order.

    Accepts /* */ and // comments, "key" = "value"; entries and the escapes \\" \\\\ \\n \\t \\r
    \\' and \\Uxxxx. Anything else (a bare word, a missing semicolon, a duplicate key, an
    unterminated string) raises StringsError with the line number, because the platform's
    parser gives up on the whole table at the first such error.
    """
    pos = 0
    n = len(text)
    entries = []
    seen = set()

    def line():
        return text.count("\n", 0, pos) + 1

    def skip():
        nonlocal pos
        while pos < n:
            if text[pos].isspace():
                pos += 1
            elif text.startswith("/*", pos):
                end = text.find("*/", pos + 2)
                if end < 0:
                    raise StringsError("line %d: unterminated comment" % line())
                pos = end + 2
            elif text.startswith("//", pos):
                end = text.find("\n", pos)
                pos = n if end < 0 else end + 1
            else:
                return

    def quoted():
        nonlocal pos
        if pos >= n or text[pos] != '"':
            raise StringsError("line %d: expected a quoted string" % line())
        pos += 1
        out = []
        while True:
            if pos >= n:
                raise StringsError("line %d: unterminated string" % line())
            c = text[pos]
            if c == '"':
                pos += 1
                return "".join(out)
            if c == "\\":
                if pos + 1 >= n:
                    raise StringsError("line %d: dangling backslash" % line())
                e = text[pos + 1]
                simple = {'"': '"', "\\": "\\", "n": "\n", "t": "\t", "r": "\r", "'": "'"}
                if e in simple:
                    out.append(simple[e])
                    pos += 2
                elif e == "U":
                    digits = text[pos + 2:pos + 6]
                    if not re.fullmatch(r"[0-9A-Fa-f]{4}", digits):
                        raise StringsError("line %d: bad \\U escape" % line())
                    out.append(chr(int(digits, 16)))
                    pos += 6
                else:
                    raise StringsError("line %d: unknown escape \\%s" % (line(), e))
            else:
                out.append(c)
                pos += 1

    def expect(ch):
        nonlocal pos
        skip()
        if pos >= n or text[pos] != ch:
            raise StringsError("line %d: expected '%s'" % (line(), ch))
        pos += 1

    while True:
        skip()
        if pos >= n:
            return entries
        key = quoted()
        expect("=")
        skip()
        value = quoted()
        expect(";")
        if key in seen:
            raise StringsError("line %d: duplicate key %r" % (line(), key))
        seen.add(key)
        entries.append((key, value))


def read_table(path, problems):
    try:
        with open(path, "rb") as f:
            raw = f.read()
    except OSError as e:
        problems.append("%s: cannot read (%s)" % (path, e.strerror))
        return None
    if raw.startswith(b"\xef\xbb\xbf"):
        problems.append("%s: has a byte-order mark; tables are plain UTF-8" % path)
        return None
    try:
        text = raw.decode("utf-8")
    except UnicodeDecodeError as e:
        problems.append("%s: not UTF-8 (%s)" % (path, e))
        return None
    try:
        return parse_strings(text)
    except StringsError as e:
        problems.append("%s: %s" % (path, e))
        return None


def check_strings(bundle, problems):
    tables = {}
    for lang in LANGUAGES:
        entries = read_table(os.path.join(bundle, lang + ".lproj", TABLE), problems)
        if entries is not None:
            tables[lang] = entries
    base = tables.get(BASE_LANGUAGE)
    if base is None:
        problems.append("no readable %s table; cannot compare the others" % BASE_LANGUAGE)
        return
    base_keys = [k for k, _ in base]
    for key in REQUIRED_KEYS:
        if key not in base_keys:
            problems.append("%s: key %r missing" % (BASE_LANGUAGE, key))
    english = dict(base)
    for lang, entries in tables.items():
        keys = [k for k, _ in entries]
        if keys != base_keys:
            missing = [k for k in base_keys if k not in keys]
            extra = [k for k in keys if k not in english]
            if missing or extra:
                problems.append("%s: missing keys %r, extra keys %r" % (lang, missing, extra))
            else:
                problems.append("%s: keys not in the English order" % lang)
        for key, value in entries:
            if not value.strip():
                problems.append("%s: %r is empty" % (lang, key))
            if key == INVISIBLE_LABEL and value != INVISIBLE_LABEL:
                problems.append("%s: the tap-area label must stay %r" % (lang, INVISIBLE_LABEL))
            if (lang != BASE_LANGUAGE and key in english and value == english[key]
                    and key not in SAME_AS_ENGLISH_ANY
                    and lang not in SAME_AS_ENGLISH.get(key, ())):
                problems.append("%s: %r is still English (%r)" % (lang, key, value))


def component(text, where, problems):
    """A colour component is a float string in 0...1 or an 8-bit "0xNN" value."""
    try:
        if isinstance(text, str) and text.lower().startswith("0x"):
            v = int(text, 16) / 255.0
        else:
            v = float(text)
    except (TypeError, ValueError):
        problems.append("%s: component %r is not a number" % (where, text))
        return None
    if not 0.0 <= v <= 1.0:
        problems.append("%s: component %r out of range" % (where, text))
        return None
    return v


def read_colour_set(path, name, problems):
    """Returns {"light": (r, g, b, a), "dark": (r, g, b, a)} or None."""
    try:
        with open(path, encoding="utf-8") as f:
            doc = json.load(f)
    except (OSError, ValueError) as e:
        problems.append("%s: unreadable (%s)" % (path, e))
        return None
    found = {}
    for entry in doc.get("colors", []):
        appearances = entry.get("appearances", [])
        if not appearances:
            variant = "light"
        elif appearances == [{"appearance": "luminosity", "value": "dark"}]:
            variant = "dark"
        else:
            problems.append("%s: unexpected appearances %r" % (name, appearances))
            continue
        if variant in found:
            problems.append("%s: two %s entries" % (name, variant))
        if entry.get("idiom") != "universal":
            problems.append("%s: %s entry is not universal" % (name, variant))
        colour = entry.get("color", {})
        if colour.get("color-space") != "srgb":
            problems.append("%s: %s entry is not sRGB" % (name, variant))
        comps = colour.get("components", {})
        values = [component(comps.get(c), "%s %s %s" % (name, variant, c), problems)
                  for c in ("red", "green", "blue", "alpha")]
        found[variant] = None if None in values else tuple(values)
    for variant in ("light", "dark"):
        if variant not in found:
            problems.append("%s: no %s entry" % (name, variant))
    if set(found) != {"light", "dark"} or None in found.values():
        return None
    return found


def luminance(rgb):
    def lin(c):
        return c / 12.92 if c <= 0.04045 else ((c + 0.055) / 1.055) ** 2.4
    r, g, b = (lin(c) for c in rgb[:3])
    return 0.2126 * r + 0.7152 * g + 0.0722 * b


def contrast(a, b):
    hi, lo = sorted((luminance(a), luminance(b)), reverse=True)
    return (hi + 0.05) / (lo + 0.05)


def check_catalogue_info(path, problems):
    try:
        with open(path, encoding="utf-8") as f:
            doc = json.load(f)
    except (OSError, ValueError) as e:
        problems.append("%s: unreadable (%s)" % (path, e))
        return
    if doc.get("info") != {"author": "xcode", "version": 1}:
        problems.append("%s: info must be author xcode, version 1" % path)


def check_colours(catalogue, problems):
    check_catalogue_info(os.path.join(catalogue, "Contents.json"), problems)
    colours = {}
    for name in COLOURS:
        path = os.path.join(catalogue, name + ".colorset", "Contents.json")
        check_catalogue_info(path, problems)
        found = read_colour_set(path, name, problems)
        if found is not None:
            colours[name] = found
    for text, background, minimum in CONTRAST_RULES:
        if text not in colours or background not in colours:
            continue
        for variant in ("light", "dark"):
            fg, bg = colours[text][variant], colours[background][variant]
            if fg[3] != 1.0 or bg[3] != 1.0:
                problems.append("%s/%s: text and background colours must be opaque" %
                                (text, background))
                continue
            ratio = contrast(fg, bg)
            if ratio < minimum:
                problems.append("%s on %s (%s): contrast %.2f below %.1f" %
                                (text, background, variant, ratio, minimum))
    shadow = colours.get("widget-shadow")
    if shadow and any(shadow[v][3] in (0.0, 1.0) for v in ("light", "dark")):
        problems.append("widget-shadow: a shadow needs a partial alpha in both appearances")


def check_images(catalogue, problems):
    for name, view_box in IMAGES.items():
        folder = os.path.join(catalogue, name + ".imageset")
        path = os.path.join(folder, "Contents.json")
        try:
            with open(path, encoding="utf-8") as f:
                doc = json.load(f)
        except (OSError, ValueError) as e:
            problems.append("%s: unreadable (%s)" % (path, e))
            continue
        props = doc.get("properties", {})
        if props.get("template-rendering-intent") != "template":
            problems.append("%s: not a template image" % name)
        if props.get("preserves-vector-representation") is not True:
            problems.append("%s: does not preserve its vector form" % name)
        files = [i.get("filename") for i in doc.get("images", []) if i.get("filename")]
        if len(files) != 1 or not files[0].endswith(".svg"):
            problems.append("%s: must name exactly one SVG file, names %r" % (name, files))
            continue
        svg = os.path.join(folder, files[0])
        try:
            root = ET.parse(svg).getroot()
        except (OSError, ET.ParseError) as e:
            problems.append("%s: %s is not well-formed XML (%s)" % (name, files[0], e))
            continue
        if root.tag != SVG_NS + "svg":
            problems.append("%s: root element is %s, not svg" % (name, root.tag))
        if root.get("viewBox") != view_box:
            problems.append("%s: viewBox %r, expected %r" % (name, root.get("viewBox"), view_box))
        for el in root.iter():
            for attr in ("fill", "stroke"):
                paint = el.get(attr)
                if paint is not None and paint.lower() not in TEMPLATE_PAINTS:
                    problems.append("%s: %s=%r would tint a template image" % (name, attr, paint))


def main(argv):
    if len(argv) != 2:
        print("usage: check_bundle.py BUNDLE_DIR", file=sys.stderr)
        return 2
    bundle = argv[1]
    problems = []
    check_strings(bundle, problems)
    catalogue = os.path.join(bundle, "Assets.xcassets")
    check_colours(catalogue, problems)
    check_images(catalogue, problems)
    for p in problems:
        print("bundle: " + p)
    if problems:
        return 1
    print("bundle: %d tables, %d colour sets, %d image sets checked" %
          (len(LANGUAGES), len(COLOURS), len(IMAGES)))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
