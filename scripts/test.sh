#!/usr/bin/env bash
# Sets up, builds (Debug with AddressSanitizer and UndefinedBehaviorSanitizer) and runs every test.
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/install-deps.sh
cmake --preset dev >/dev/null
cmake --build --preset dev
ctest --preset dev
