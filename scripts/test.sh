#!/usr/bin/env bash
# Sets up, builds (Debug with AddressSanitizer and UndefinedBehaviorSanitizer) and runs every test;
# then the thread sanitizer's run of the analytics and store tests, and a short run of every
# fuzz target on its corpus.
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/install-deps.sh
cmake --preset dev >/dev/null
cmake --build --preset dev
ctest --preset dev

# Only the suites with threads of their own (the inspector's worker, the store's readers and
# writer) are built with ThreadSanitizer; the rest are single-threaded.
cmake --preset tsan >/dev/null
cmake --build --preset tsan --target analytics_test foundation_test model_test
ctest --preset tsan -L '^(analytics_test|foundation_test|model_test)$'

./scripts/fuzz-smoke.sh 30
