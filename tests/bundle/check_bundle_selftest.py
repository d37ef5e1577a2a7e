#!/usr/bin/env python3
"""Breaks a copy of the bundle in one way at a time and expects check_bundle.py to object.

Usage: check_bundle_selftest.py BUNDLE_DIR. A checker that passes a broken bundle is worse
than none, so each fault below must produce a message containing the expected words.
"""

import json
import os
import shutil
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
CHECKER = os.path.join(HERE, "check_bundle.py")
XC = "Assets.xcassets"


def table(lang):
    return os.path.join(lang + ".lproj", "KMLocalizable.strings")


def edit(rel, old, new):
    def apply(root):
        path = os.path.join(root, rel)
        with open(path, encoding="utf-8") as f:
            text = f.read()
        if old not in text:
            raise AssertionError("fixture text %r not in %s" % (old, rel))
        with open(path, "w", encoding="utf-8") as f:
            f.write(text.replace(old, new, 1))
    return apply


def edit_json(rel, change):
    def apply(root):
        path = os.path.join(root, rel)
        with open(path, encoding="utf-8") as f:
            doc = json.load(f)
        change(doc)
        with open(path, "w", encoding="utf-8") as f:
            json.dump(doc, f)
    return apply


def rename(rel, new_rel):
    return lambda root: os.rename(os.path.join(root, rel), os.path.join(root, new_rel))


def drop_dark(doc):
    doc["colors"] = [c for c in doc["colors"] if "appearances" not in c]


def set_light(component, value):
    def change(doc):
        doc["colors"][0]["color"]["components"][component] = value
    return change


def grey(doc):
    for c in doc["colors"]:
        c["color"]["components"].update(red="0.600", green="0.600", blue="0.600")


def no_template(doc):
    doc["properties"]["template-rendering-intent"] = "original"


COLORSET = os.path.join(XC, "%s.colorset", "Contents.json")
IMAGESET = os.path.join(XC, "%s.imageset")

# (what is broken, how, words the report must contain)
FAULTS = [
    ("missing semicolon", edit(table("de"), '"Ziel";', '"Ziel"'), "de.lproj"),
    ("unknown escape", edit(table("fr"), '"Objectif"', '"Obj\\qectif"'), "unknown escape"),
    ("unterminated string", edit(table("it"), '"Obiettivo";', '"Obiettivo;'), "it.lproj"),
    ("unquoted key", edit(table("es"), '"FatShort"', "FatShort"), "expected a quoted string"),
    ("duplicate key", edit(table("nl"), '"ios_widgets_2"', '"ios_widgets_1"'), "duplicate key"),
    ("missing key", edit(table("ru"), '"FatShort" = "Жиры";', ""), "missing keys"),
    ("keys reordered", edit(table("sv"), '"FatShort" = "Fett";\n"ProteinShort" = "Protein";',
                            '"ProteinShort" = "Protein";\n"FatShort" = "Fett";'), "order"),
    ("empty value", edit(table("ja"), '"目標"', '""'), "empty"),
    ("untranslated value", edit(table("pl"), '"Cel"', '"Goal"'), "still English"),
    ("untranslated gallery text", edit(table("ko"), '"빠른 기록"', '"Quick log"'),
     "still English"),
    ("tap label changed",
     edit(table("tr"), '= "' + " " * 18 + '\\n\\n.";', '= "\\n\\n.";'), "tap-area label"),
    ("not UTF-8", lambda root: open(os.path.join(root, table("uk")), "ab").write(b"\xff"),
     "not UTF-8"),
    ("language folder misnamed", rename("zh-TW.lproj", "zh_TW.lproj"), "zh-TW"),
    ("no dark variant", edit_json(COLORSET % "widget-text-primary", drop_dark), "no dark entry"),
    ("component out of range", edit_json(COLORSET % "widget-primary-full", set_light("red", "1.2")),
     "out of range"),
    ("component not a number", edit_json(COLORSET % "widget-shadow", set_light("blue", "blue")),
     "not a number"),
    ("unreadable text", edit_json(COLORSET % "widget-text-secondary", grey),
     "contrast"),
    ("opaque shadow", edit_json(COLORSET % "widget-shadow", set_light("alpha", "1.000")),
     "partial alpha"),
    ("colour set missing", rename(os.path.join(XC, "widget-background-light.colorset"),
                                  os.path.join(XC, "widget-background-lite.colorset")),
     "widget-background-light"),
    ("not a template", edit_json(os.path.join(IMAGESET % "ic_weight_24px", "Contents.json"),
                                 no_template), "not a template"),
    ("svg missing", lambda root: os.remove(
        os.path.join(root, IMAGESET % "ic_barcode_24px", "ic_barcode_24px.svg")),
     "ic_barcode_24px"),
    ("svg malformed", edit(os.path.join(IMAGESET % "ic_add_meal_24px", "ic_add_meal_24px.svg"),
                           "</g>", ""), "well-formed"),
    ("wrong viewBox", edit(os.path.join(IMAGESET % "ic_km_keyhole_16px",
                                        "ic_km_keyhole_16px.svg"), "0 0 16 16", "0 0 24 24"),
     "viewBox"),
    ("coloured stroke", edit(os.path.join(IMAGESET % "ic_add_exercise_24px",
                                          "ic_add_exercise_24px.svg"),
                             'stroke="#000"', 'stroke="#DE7300"'), "template"),
]


def run(bundle):
    return subprocess.run([sys.executable, CHECKER, bundle], capture_output=True, text=True)


def main(argv):
    if len(argv) != 2:
        print("usage: check_bundle_selftest.py BUNDLE_DIR", file=sys.stderr)
        return 2
    source = argv[1]
    failures = []
    with tempfile.TemporaryDirectory() as tmp:
        pristine = run(source)
        if pristine.returncode != 0:
            print(pristine.stdout, end="")
            print("selftest: the bundle itself does not pass; fix that first")
            return 1
        for name, break_it, expected in FAULTS:
            copy = os.path.join(tmp, "bundle")
            shutil.rmtree(copy, ignore_errors=True)
            shutil.copytree(source, copy)
            break_it(copy)
            result = run(copy)
            if result.returncode != 1 or expected not in result.stdout:
                failures.append("%s: exit %d, output %r" % (name, result.returncode,
                                                             result.stdout[-300:]))
    for f in failures:
        print("selftest: not caught: " + f)
    if failures:
        return 1
    print("selftest: all %d faults caught" % len(FAULTS))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
