#!/usr/bin/env bash
# Builds the libFuzzer targets (the fuzz preset, clang) and runs each one briefly, two at a time,
# starting from its committed corpus (fuzz/corpus/<target>/). New inputs go to a scratch folder,
# so the committed corpus is never changed. Fails when a target crashes, leaks, trips a sanitizer
# or times out on an input; the input is kept in build/fuzz/findings/.
#
#   scripts/fuzz-smoke.sh [SECONDS]      (default 30 per target)
#
# The seed is fixed (FUZZ_SEED, default 1) so that a run is reproducible: a slower machine only
# explores a prefix of what a faster one does. Long exploratory runs use other seeds.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-30}"

cmake --preset fuzz >/dev/null
cmake --build --preset fuzz

findings="build/fuzz/findings"
scratch="$(mktemp -d)"
trap 'rm -rf "$scratch"' EXIT
mkdir -p "$findings"

run() {
  local binary="$1" name
  name="$(basename "$binary")"
  local args=(-max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -seed="${FUZZ_SEED:-1}"
              -artifact_prefix="$findings/$name-" -print_final_stats=1)
  # A dictionary beside the target's source serves every target of that folder.
  local dict
  dict="$(ls "fuzz/$(basename "$(dirname "$binary")")"/*.dict 2>/dev/null | head -1 || true)"
  if [ -n "$dict" ]; then args+=(-dict="$dict"); fi
  mkdir -p "$scratch/$name"
  local seeds=()
  [ -d "fuzz/corpus/$name" ] && seeds+=("fuzz/corpus/$name")
  if "$binary" "${args[@]}" "$scratch/$name" "${seeds[@]}" >"$scratch/$name.log" 2>&1; then
    echo "$name: $(grep -E '^#[0-9]+.*DONE' "$scratch/$name.log" | tail -1 | sed 's/  */ /g')"
  else
    echo "$name: FAILED" >&2
    tail -40 "$scratch/$name.log" >&2
    return 1
  fi
}

passed=0
failed=0
pids=()
reap() {
  if wait "$1"; then passed=$((passed + 1)); else failed=$((failed + 1)); fi
}
for binary in build/fuzz/fuzz/*/*_fuzz; do
  run "$binary" &
  pids+=($!)
  if [ "${#pids[@]}" -ge 2 ]; then
    reap "${pids[0]}"
    pids=("${pids[@]:1}")
  fi
done
for pid in "${pids[@]}"; do
  reap "$pid"
done
echo "fuzz: $passed passed, $failed failed"
[ "$failed" -eq 0 ] && [ "$passed" -gt 0 ]
