#!/usr/bin/env bash
# Sets up, builds (release) and runs the main job: the widgets drawn from the shared store, as
# PNG files with gallery.png and gallery.html in ./widgets/ of the repository.
# Extra arguments go to `kmwidget render` (e.g. --appearance dark, --language de, -o DIR).
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/install-deps.sh
cmake --preset release >/dev/null
cmake --build --preset release --target kmwidget
exec ./build/release/tools/kmwidget/kmwidget render "$@"
