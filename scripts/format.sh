#!/usr/bin/env bash
# clang-format every C++ file of the project; with --check, only report files that differ.
set -euo pipefail
cd "$(dirname "$0")/.."
mapfile -t files < <(git ls-files --cached --others --exclude-standard -- \
  'src/**.h' 'src/**.cpp' 'tests/**.h' 'tests/**.cpp' 'tools/**.h' 'tools/**.cpp' \
  'bench/**.h' 'bench/**.cpp' 'fuzz/**.cpp' | while read -r f; do [ -f "$f" ] && echo "$f"; done)
[ "${#files[@]}" -gt 0 ] || exit 0
if [ "${1:-}" = "--check" ]; then
  exec clang-format --dry-run -Werror "${files[@]}"
fi
exec clang-format -i "${files[@]}"
