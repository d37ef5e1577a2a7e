#!/usr/bin/env python3
"""Mutation testing: does the test suite notice a small fault in the product code?

Makes one small fault at a time in the chosen source files (flip a comparison, off-by-one a
constant, swap + and - or * and /, swap && and ||, negate a condition, drop a statement, swap
two arguments, return early, flip a boolean literal), rebuilds only what that file feeds, runs
the test binaries that link it, and reports each mutant as killed, survived, timed out or not
compiled. The sample is drawn with a seed, so the same command on the same sources draws the
same mutants.

It never edits the working tree: the tracked and untracked (not ignored) files, or with --rev the
files of one commit, are copied into build/mutants/tree, built there in an unsanitised Debug folder (build/mutants/build), and each
mutated file is restored after its run, also when the run is interrupted; a mutant left behind
by a killed run is restored at the next start.

    scripts/mutants.py --sample 160 --seed 13 --files src/model src/resources ...
    scripts/mutants.py --list --files src/components/progress_ring.cpp   # candidates only
    scripts/mutants.py --rev 9f6e0ca --sample 160 --seed 13               # an earlier commit

Standard library only.
"""

from __future__ import annotations

import argparse
import fnmatch
import functools
import io
import json
import os
import random
import re
import shutil
import signal
import subprocess
import sys
import tarfile
import time
from dataclasses import asdict, dataclass
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
# The scratch folder; --work moves it (two runs at once need two).
WORK = ROOT / "build" / "mutants"
TREE = WORK / "tree"
BUILD = WORK / "build"
ACTIVE = WORK / "active.json"


def set_work(folder: Path) -> None:
    global WORK, TREE, BUILD, ACTIVE
    WORK = folder.resolve()
    TREE, BUILD, ACTIVE = WORK / "tree", WORK / "build", WORK / "active.json"

DEFAULT_FILES = [
    "src/model", "src/resources", "src/components", "src/widgets", "src/host",
    "src/platform/ui/layout", "src/platform/foundation", "src/analytics",
]


@dataclass
class Mutant:
    file: str  # relative to the repository root
    line: int  # 1-based
    op: str
    before: str  # the whole original line
    after: str  # the whole mutated line

    def key(self) -> tuple:
        return (self.file, self.line, self.op, self.after)


# ---------------------------------------------------------------------------------------------
# Finding mutants

def mask_line(line: str, in_block: bool) -> tuple[str, bool]:
    """The line with string/char literal contents and comments replaced by spaces, so that the
    operators below only ever match code. Keeps every column where it was."""
    out = []
    i, n = 0, len(line)
    while i < n:
        if in_block:
            end = line.find("*/", i)
            if end < 0:
                out.append(" " * (n - i))
                return "".join(out), True
            out.append(" " * (end + 2 - i))
            i, in_block = end + 2, False
            continue
        c = line[i]
        if line.startswith("//", i):
            out.append(" " * (n - i))
            break
        if line.startswith("/*", i):
            in_block = True
            continue
        if c == 'R' and line.startswith('R"', i):
            # Raw strings span lines in this code base only for data; mask the rest of the line.
            out.append(" " * (n - i))
            break
        if c in "\"'":
            j = i + 1
            while j < n and line[j] != c:
                j += 2 if line[j] == "\\" else 1
            j = min(j + 1, n)
            out.append(c + " " * max(0, j - i - 2) + (c if j - i >= 2 else ""))
            i = j
            continue
        out.append(c)
        i += 1
    return "".join(out), in_block


REL = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "=="}
ARITH = {"+": "-", "-": "+", "*": "/", "/": "*", "+=": "-=", "-=": "+="}
SKIP_STATEMENT = re.compile(
    r"^(return|break|continue|case|default|using|namespace|typedef|template|struct|class|enum|"
    r"static_assert|friend|public|private|protected|goto|throw)\b")
STATEMENT = re.compile(
    r"^[\w:.\->\[\]()*]+?(\(.*\)|\s*(=|\+=|-=|\*=|/=|\|=|&=)\s.+|\+\+|--)\s*;$")
CALL2 = re.compile(r"\b([A-Za-z_]\w*)\(\s*([\w.:>\-]+), ([\w.:>\-]+)\s*\)")
FUNC_HEAD = re.compile(r"^(static )?(inline )?(void|bool) [\w:~]+\(.*\)( const)?( noexcept)? \{$")


def balanced_paren(text: str, open_at: int) -> int:
    depth = 0
    for j in range(open_at, len(text)):
        if text[j] == "(":
            depth += 1
        elif text[j] == ")":
            depth -= 1
            if depth == 0:
                return j
    return -1


def line_mutants(rel: str, lineno: int, line: str, code: str) -> list[Mutant]:
    """Every mutant of one line; `code` is the masked line (same columns as `line`)."""
    found: list[Mutant] = []
    stripped = code.strip()
    if not stripped or stripped.startswith("#"):
        return found

    def add(op: str, start: int, end: int, repl: str) -> None:
        found.append(Mutant(rel, lineno, op, line, line[:start] + repl + line[end:]))

    for m in re.finditer(r"(?<= )(<=|>=|==|!=|<|>)(?= )", code):
        add("relational", m.start(), m.end(), REL[m.group(1)])
    for m in re.finditer(r"(?<= )(\+=|-=|[+\-*/])(?= )", code):
        # Next to a string literal it is concatenation, and the swap would not compile.
        left, right = code[:m.start()].rstrip(), code[m.end():].lstrip()
        if left.endswith('"') or right.startswith('"'):
            continue
        add("arithmetic", m.start(), m.end(), ARITH[m.group(1)])
    for m in re.finditer(r"(?<= )(&&|\|\|)(?= )", code):
        add("logical", m.start(), m.end(), "||" if m.group(1) == "&&" else "&&")
    for m in re.finditer(r"(?<![\w.'])(\d+\.\d*|\d+)(?![\w.'])", code):
        text = m.group(1)
        if "." in text:
            repl = repr(float(text) + 1.0)
        else:
            repl = str(int(text) + 1)
        add("constant", m.start(), m.end(), repl)
    for m in re.finditer(r"\b(true|false)\b", code):
        add("boolean", m.start(), m.end(), "false" if m.group(1) == "true" else "true")
    for m in re.finditer(r"\b(if|while) \(", code):
        open_at = m.end() - 1
        close = balanced_paren(code, open_at)
        # An if with a declaration or an init-statement cannot be wrapped in !( ).
        if close > open_at + 1 and not re.match(r"\s*(auto|const)\b", code[open_at + 1:close]) \
                and ";" not in code[open_at + 1:close]:
            inner = line[open_at + 1:close]
            add("negate", open_at + 1, close, f"!({inner})")
    if (stripped.endswith(";") and not SKIP_STATEMENT.match(stripped)
            and STATEMENT.match(stripped)
            and ("(" not in stripped or balanced_paren(stripped, stripped.find("(")) != -1)):
        indent = line[:len(line) - len(line.lstrip())]
        found.append(Mutant(rel, lineno, "drop", line, indent + ";"))
    for m in CALL2.finditer(code):
        a, b = m.group(2), m.group(3)
        if a != b and m.group(1) not in {"if", "while", "for", "switch", "return", "sizeof"}:
            add("swap-args", m.start(2), m.end(3), f"{b}, {a}")
    head = FUNC_HEAD.match(code.rstrip())
    if head:
        early = " return;" if head.group(3) == "void" else " return false;"
        found.append(Mutant(rel, lineno, "return-early", line, line.rstrip() + early))
    return found


def file_mutants(rel: str, text: str) -> list[Mutant]:
    out: list[Mutant] = []
    in_block = False
    for i, line in enumerate(text.split("\n"), start=1):
        code, in_block = mask_line(line, in_block)
        if re.match(r"\s*(static_assert|assert)\b", code):
            continue
        out.extend(line_mutants(rel, i, line, code))
    return out


def source_files(patterns: list[str]) -> list[str]:
    listed = git_files()
    chosen = []
    for rel in listed:
        if not rel.endswith(".cpp"):
            continue
        for p in patterns:
            p = p.rstrip("/")
            if rel == p or rel.startswith(p + "/") or fnmatch.fnmatch(rel, p):
                chosen.append(rel)
                break
    return sorted(chosen)


# ---------------------------------------------------------------------------------------------
# The scratch tree and its build

# What the scratch tree is made from: the working tree (tracked and untracked, not ignored), or
# with --rev the files of one commit.
REV: str | None = None


def source_snapshot() -> dict[str, bytes]:
    if REV is None:
        out = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
                             cwd=ROOT, check=True, capture_output=True).stdout
        names = sorted({f for f in out.decode().split("\0") if f and (ROOT / f).is_file()})
        return {f: (ROOT / f).read_bytes() for f in names}
    archive = subprocess.run(["git", "archive", "--format=tar", REV], cwd=ROOT, check=True,
                             capture_output=True).stdout
    files = {}
    with tarfile.open(fileobj=io.BytesIO(archive)) as tar:
        for member in tar:
            if member.isfile():
                files[member.name] = tar.extractfile(member).read()
    return files


def git_files() -> list[str]:
    return sorted(SNAPSHOT)


SNAPSHOT: dict[str, bytes] = {}


def restore_active() -> None:
    """A run killed mid-mutant leaves its mutated file in the scratch tree: put it back."""
    if ACTIVE.exists():
        info = json.loads(ACTIVE.read_text())
        (TREE / info["file"]).write_text(info["original"])
        ACTIVE.unlink()
        print(f"restored {info['file']} left mutated by an interrupted run", file=sys.stderr)


def sync_tree() -> None:
    """Copies the working tree into the scratch tree, touching only files that differ so that
    the scratch build stays incremental."""
    restore_active()
    files = git_files()
    wanted = set(files)
    for rel in files:
        dst = TREE / rel
        data = SNAPSHOT[rel]
        if dst.is_file() and dst.read_bytes() == data:
            continue
        dst.parent.mkdir(parents=True, exist_ok=True)
        dst.write_bytes(data)
        if rel.endswith((".sh", ".py")) or rel.startswith(".ci/"):
            dst.chmod(0o755)
    for dst in TREE.rglob("*"):
        if dst.is_file() and str(dst.relative_to(TREE)) not in wanted:
            dst.unlink()


def configure() -> None:
    if (BUILD / "build.ninja").exists():
        # The copied tree may add or remove test folders, which the top-level glob only sees
        # when CMake runs again.
        subprocess.run(["cmake", str(BUILD)], check=True, stdout=subprocess.DEVNULL)
        return
    launcher = ["-DCMAKE_CXX_COMPILER_LAUNCHER=ccache", "-DCMAKE_C_COMPILER_LAUNCHER=ccache"] \
        if shutil.which("ccache") else []
    linker = ["-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=lld"] if shutil.which("ld.lld") else []
    subprocess.run(["cmake", "-S", str(TREE), "-B", str(BUILD), "-G", "Ninja",
                    "-DCMAKE_BUILD_TYPE=Debug", "-DKM_SANITIZE=", "-DBUILD_TESTING=ON",
                    "-DKM_BUILD_BENCH=OFF",
                    # Listing the tests at build time would run every binary after each link.
                    "-DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST", *launcher, *linker],
                   check=True, stdout=subprocess.DEVNULL)


def ninja(targets: list[str], timeout: float, show_errors: bool = False) -> bool:
    try:
        r = subprocess.run(["ninja", "-C", str(BUILD), *targets], capture_output=True,
                           timeout=timeout)
    except subprocess.TimeoutExpired:
        return False
    if r.returncode != 0 and show_errors:
        sys.stderr.write(r.stdout.decode(errors="replace")[-3000:])
    return r.returncode == 0


def test_binaries() -> list[str]:
    """The GoogleTest executables, as ninja target paths (tests/<dir>/<name>_test)."""
    out = subprocess.run(["ninja", "-C", str(BUILD), "-t", "targets", "all"], check=True,
                         capture_output=True, text=True).stdout
    names = []
    for line in out.splitlines():
        target, _, rule = line.partition(": ")
        if rule.startswith("CXX_EXECUTABLE_LINKER") and target.startswith("tests/") \
                and target.endswith("_test"):
            names.append(target)
    return sorted(names)


def binaries_by_source(binaries: list[str]) -> dict[str, list[str]]:
    """Source file (relative path) -> test binaries whose link takes its object."""
    mapping: dict[str, list[str]] = {}
    tree_prefix = str(TREE) + "/"
    for b in binaries:
        out = subprocess.run(["ninja", "-C", str(BUILD), "-t", "inputs", b], check=True,
                             capture_output=True, text=True).stdout
        for inp in out.splitlines():
            if inp.startswith(tree_prefix) and inp.endswith(".cpp"):
                mapping.setdefault(inp[len(tree_prefix):], []).append(b)
    return mapping


def run_binary(binary: str, timeout: float) -> tuple[str, float]:
    """'pass', 'fail' or 'timeout', and the seconds it took. The binary runs in a session of its
    own so that a time-out also ends the children it forked (death tests), whose open pipes
    would otherwise keep the wait going."""
    start = time.monotonic()
    env = dict(os.environ, GTEST_BRIEF="1")
    proc = subprocess.Popen([str(BUILD / binary), "--gtest_fail_fast"],
                            cwd=BUILD / Path(binary).parent, stdin=subprocess.DEVNULL,
                            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, env=env,
                            start_new_session=True)
    try:
        verdict = "pass" if proc.wait(timeout=timeout) == 0 else "fail"
    except subprocess.TimeoutExpired:
        verdict = "timeout"
    finally:
        try:
            os.killpg(proc.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        proc.wait()
    return verdict, time.monotonic() - start


def test_sources(binary: str) -> set[str]:
    """The files under tests/ (sources and the headers they include) a test binary is built
    from, from its inputs and the compiler's dependency log."""
    out = subprocess.run(["ninja", "-C", str(BUILD), "-t", "inputs", binary], check=True,
                         capture_output=True, text=True).stdout.splitlines()
    objects = [i for i in out if i.endswith(".o")]
    deps = subprocess.run(["ninja", "-C", str(BUILD), "-t", "deps", *objects], check=True,
                          capture_output=True, text=True).stdout.splitlines() if objects else []
    found = set()
    for line in out + [d.strip() for d in deps]:
        path = (BUILD / line).resolve() if not line.startswith("/") else Path(line)
        try:
            rel = str(path.relative_to(TREE))
        except ValueError:
            continue
        if rel.startswith("tests/"):
            found.add(rel)
    return found


@functools.lru_cache(maxsize=None)
def file_at(rev: str, rel: str) -> bytes | None:
    r = subprocess.run(["git", "show", f"{rev}:{rel}"], cwd=ROOT, capture_output=True)
    return r.stdout if r.returncode == 0 else None


@functools.lru_cache(maxsize=None)
def files_at(rev: str, folder: str) -> list[str]:
    return subprocess.run(["git", "ls-tree", "-r", "--name-only", rev, folder], cwd=ROOT,
                          check=True, capture_output=True, text=True).stdout.splitlines()


def carry_from(path: Path, sample: list, binaries: list[str]) -> tuple[dict, dict, set[str]]:
    """Verdicts of an earlier run that cannot change: the same mutant, the same product code,
    and a killing binary built from the same test sources kills it again. Also returns the
    earlier survivors and the binaries whose test sources are unchanged: such a binary passed
    on that survivor before and, the tests being deterministic, passes again, so only the
    changed binaries need to run on it."""
    earlier = json.loads(path.read_text())
    rev = earlier.get("rev")
    if not rev:
        print(f"{path} names no --rev; nothing carried over", file=sys.stderr)
        return {}, {}, set()
    old = subprocess.run(["git", "archive", "--format=tar", rev, "src", "tools"], cwd=ROOT,
                         check=True, capture_output=True).stdout
    product = {}
    with tarfile.open(fileobj=io.BytesIO(old)) as tar:
        for member in tar:
            if member.isfile():
                product[member.name] = tar.extractfile(member).read()
    now = {k: v for k, v in SNAPSHOT.items() if k.startswith(("src/", "tools/"))}
    if product != now:
        print("the product code differs from the earlier run; nothing carried over",
              file=sys.stderr)
        return {}, {}, set()
    same = set()
    for b in binaries:
        sources = test_sources(b)
        # Tests also read data at run time (case tables, scenarios, goldens): every file in the
        # folders of its sources and the shared fixture folders counts as one of its inputs.
        folders = {str(Path(f).parent) + "/" for f in sources} | {"tests/golden/", "tests/fixtures/"}
        data = {f for f in SNAPSHOT if f.startswith(tuple(folders))}
        data |= {f for f in files_at(rev, "tests") if f.startswith(tuple(folders))}
        sources |= data
        if sources and all(file_at(rev, f) == SNAPSHOT.get(f) for f in sources):
            same.add(Path(b).name)
    keys = {m.key() for m in sample}
    out, survived = {}, {}
    for r in earlier["results"]:
        k = (r["file"], r["line"], r["op"], r["after"])
        if k not in keys:
            continue
        if r["verdict"] in ("killed", "timed out", "not compiled") and \
                (r["verdict"] == "not compiled" or r["by"] in same):
            out[k] = {**r, "carried": True}
        elif r["verdict"] == "survived":
            survived[k] = r
    print("test binaries unchanged since " + rev + ": " + ", ".join(sorted(same)), flush=True)
    return out, survived, same


# ---------------------------------------------------------------------------------------------
# Running

def order_binaries(rel: str, binaries: list[str], durations: dict[str, float]) -> list[str]:
    """The test binary named after the source's folder first, then the quickest ones: most
    mutants die in the first binary, so the rest are rarely built or run."""
    parts = Path(rel).parts
    hints = {parts[-2]} if len(parts) > 1 else set()
    if parts[:2] in {("src", "widgets"), ("src", "components"), ("src", "host")}:
        hints |= {"widget"}

    def rank(b: str) -> tuple:
        name = Path(b).name
        return (0 if any(h in name for h in hints) else 1, durations.get(b, 0.0))
    return sorted(binaries, key=rank)


def run_mutant(m: Mutant, binaries: list[str], durations: dict[str, float],
               factor: float) -> tuple[str, str, float]:
    path = TREE / m.file
    original = path.read_text()
    lines = original.split("\n")
    assert lines[m.line - 1] == m.before, f"{m.file}:{m.line} changed since the sample was drawn"
    lines[m.line - 1] = m.after
    start = time.monotonic()
    ACTIVE.write_text(json.dumps({"file": m.file, "original": original}))
    try:
        path.write_text("\n".join(lines))
        compiled = False
        for b in binaries:
            if not ninja([b], timeout=600):
                if not compiled:
                    return "not compiled", "", time.monotonic() - start
                return "build error", b, time.monotonic() - start
            compiled = True
            verdict, _ = run_binary(b, timeout=factor * durations.get(b, 10.0) + 10.0)
            if verdict == "fail":
                return "killed", b, time.monotonic() - start
            if verdict == "timeout":
                return "timed out", b, time.monotonic() - start
        return "survived", "", time.monotonic() - start
    finally:
        path.write_text(original)
        ACTIVE.unlink(missing_ok=True)


def main() -> int:
    ap = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    ap.add_argument("--files", nargs="+", default=DEFAULT_FILES,
                    help="source files or folders (relative to the repository root)")
    ap.add_argument("--sample", type=int, default=0, help="mutants to draw (0: all)")
    ap.add_argument("--seed", type=int, default=1)
    ap.add_argument("--list", action="store_true", help="print the drawn mutants and stop")
    ap.add_argument("--timeout-factor", type=float, default=3.0,
                    help="a test binary may take this many times its clean run (plus 10 s)")
    ap.add_argument("--json", type=Path, help="write every result here")
    ap.add_argument("--rev", help="mutate and test this commit instead of the working tree")
    ap.add_argument("--survivors-of", type=Path, metavar="JSON",
                    help="run again only the mutants this earlier --json result lists as "
                         "survived and carry its other verdicts over (sound when tests were only "
                         "added since)")
    ap.add_argument("--carry-from", type=Path, metavar="JSON",
                    help="carry over this earlier run's killed and timed-out verdicts whose "
                         "killing test binary has byte-identical test sources and data now, "
                         "when the product code (src/, tools/) is identical too; on its "
                         "survivors run only the test binaries that changed")
    ap.add_argument("--work", type=Path, default=WORK,
                    help="scratch folder for the tree copy and its build (default build/mutants)")
    args = ap.parse_args()
    set_work(args.work)
    global REV, SNAPSHOT
    REV = args.rev
    SNAPSHOT = source_snapshot()

    files = source_files(args.files)
    if not files:
        print("no .cpp files match --files", file=sys.stderr)
        return 2
    candidates: list[Mutant] = []
    for rel in files:
        candidates.extend(file_mutants(rel, SNAPSHOT[rel].decode()))
    candidates.sort(key=Mutant.key)
    sample = candidates
    if args.sample and args.sample < len(candidates):
        sample = random.Random(args.seed).sample(candidates, args.sample)
    # Mutants of one file run together: its restored object is rebuilt once per file, not per
    # mutant.
    sample.sort(key=lambda m: (m.file, m.line, m.op, m.after))
    carried: dict[tuple, dict] = {}
    if args.survivors_of:
        earlier = json.loads(args.survivors_of.read_text())["results"]
        byKey = {(r["file"], r["line"], r["op"], r["after"]): r for r in earlier}
        if set(byKey) != {m.key() for m in sample}:
            print(f"{args.survivors_of} is not a run of this sample", file=sys.stderr)
            return 2
        carried = {k: r for k, r in byKey.items() if r["verdict"] != "survived"}
    print(f"{len(candidates)} candidate mutants in {len(files)} files; running "
          f"{len(sample) - len(carried)}"
          + (f" (the other {len(carried)} verdicts carried over)" if carried else ""), flush=True)
    if args.list:
        for m in sample:
            print(f"{m.file}:{m.line} {m.op}: {m.before.strip()}  =>  {m.after.strip()}")
        return 0

    # The machine is shared: builds and test runs of mutants yield to interactive work.
    os.nice(10)
    WORK.mkdir(parents=True, exist_ok=True)
    sync_tree()
    configure()
    binaries = test_binaries()
    print("building the clean tree ...", flush=True)
    if not ninja(binaries, timeout=3600, show_errors=True):
        print("the clean tree does not build", file=sys.stderr)
        return 2
    durations = {}
    for b in binaries:
        verdict, seconds = run_binary(b, timeout=900)
        if verdict != "pass":
            print(f"{b} fails on the clean tree; fix that first", file=sys.stderr)
            return 2
        durations[b] = seconds
    print("clean run: " + ", ".join(f"{Path(b).name} {s:.1f}s" for b, s in durations.items()),
          flush=True)
    covering = binaries_by_source(binaries)
    earlier_survivors, unchanged = {}, set()
    if args.carry_from:
        kept, earlier_survivors, unchanged = carry_from(args.carry_from, sample, binaries)
        carried.update(kept)
        print(f"carried over {len(carried)} verdicts from {args.carry_from}; "
              f"{len(earlier_survivors)} earlier survivors meet only changed binaries", flush=True)

    results = []
    counts = {k: 0 for k in ("killed", "timed out", "survived", "not compiled", "no tests",
                             "build error")}
    started = time.monotonic()
    try:
        for i, m in enumerate(sample, start=1):
            if m.key() in carried:
                counts[carried[m.key()]["verdict"]] += 1
                results.append(carried[m.key()])
                continue
            bins = order_binaries(m.file, covering.get(m.file, []), durations)
            if m.key() in earlier_survivors:
                bins = [b for b in bins if Path(b).name not in unchanged]
                if not bins:
                    counts["survived"] += 1
                    results.append({**earlier_survivors[m.key()], "carried": True})
                    continue
            if not bins:
                verdict, by, secs = "no tests", "", 0.0
            else:
                verdict, by, secs = run_mutant(m, bins, durations, args.timeout_factor)
            counts[verdict] += 1
            results.append({**asdict(m), "verdict": verdict, "by": Path(by).name if by else "",
                            "seconds": round(secs, 1)})
            print(f"[{i}/{len(sample)}] {m.file}:{m.line} {m.op}: {verdict}"
                  f"{' by ' + Path(by).name if by else ''} ({secs:.0f}s)", flush=True)
    finally:
        # Leave the scratch build matching the clean tree.
        ninja(binaries, timeout=3600)

    detected = counts["killed"] + counts["timed out"]
    considered = detected + counts["survived"]
    print()
    print(f"mutants: {len(results)} run in {(time.monotonic() - started) / 60:.1f} min; "
          + ", ".join(f"{k} {v}" for k, v in counts.items() if v))
    if considered:
        print(f"score: {detected}/{considered} = {100.0 * detected / considered:.1f} % "
              "(killed + timed out, of the mutants that compiled)")
    survivors = [r for r in results if r["verdict"] == "survived"]
    if survivors:
        print("\nsurvivors:")
        for r in survivors:
            print(f"  {r['file']}:{r['line']} {r['op']}: {r['before'].strip()}  =>  "
                  f"{r['after'].strip()}")
    if args.json:
        args.json.write_text(json.dumps({"rev": args.rev, "seed": args.seed, "sample": args.sample,
                                         "files": args.files, "counts": counts,
                                         "results": results}, indent=1))
    return 0


if __name__ == "__main__":
    sys.exit(main())
