#!/usr/bin/env bash
# Sets up, builds (release) and runs the main job: the widgets drawn from the shared store.
# Extra arguments go to `kmwidget`'s main command.
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/install-deps.sh
cmake --preset release >/dev/null
cmake --build --preset release --target kmwidget
exec ./build/release/tools/kmwidget/kmwidget timeline "$@"
