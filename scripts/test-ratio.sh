#!/usr/bin/env bash
# Test code against product code: non-blank, non-comment lines of .cpp/.h files under tests/
# against src/ and tools/. Data files (fixtures, golden images, scenarios) and scripts are not
# counted on either side. Usage: scripts/test-ratio.sh [repository root]
set -euo pipefail
root="${1:-$(cd "$(dirname "$0")/.." && pwd)}"

# Lines that carry code: blank lines, // lines and the inside of /* */ blocks are skipped.
count() {
  find "$@" -type f \( -name '*.cpp' -o -name '*.h' \) -print0 2>/dev/null |
    xargs -0 -r awk '
      FNR == 1 { inblock = 0 }
      {
        line = $0
        sub(/^[ \t]+/, "", line)
        if (inblock) {
          if (index(line, "*/")) { inblock = 0; line = substr(line, index(line, "*/") + 2); sub(/^[ \t]+/, "", line) }
          else next
        }
        if (line == "" || substr(line, 1, 2) == "//") next
        if (substr(line, 1, 2) == "/*") {
          if (!index(substr(line, 3), "*/")) { inblock = 1; next }
          rest = substr(line, index(substr(line, 3), "*/") + 4); sub(/^[ \t]+/, "", rest)
          if (rest == "") next
        }
        n++
      }
      END { print n + 0 }' | awk '{ s += $1 } END { print s + 0 }'
}

tests=$(count "$root/tests")
code=$(count "$root/src" "$root/tools")
awk -v t="$tests" -v c="$code" 'BEGIN {
  printf "tests %d lines, code %d lines (src/ and tools/): %.1f %%\n", t, c, c ? 100 * t / c : 0 }'
