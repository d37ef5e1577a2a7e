#!/usr/bin/env bash
# Sets up, builds (release) and starts the live widget host on the shared store; open
# http://127.0.0.1:8471/ in a browser. Extra arguments go to `kmwidget host` (e.g. --port 9000,
# --now 2026-06-10T23:58:00 --speed 60, --open-with CMD). Ctrl-C stops it.
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/install-deps.sh
cmake --preset release >/dev/null
cmake --build --preset release --target kmwidget
exec ./build/release/tools/kmwidget/kmwidget host "$@"
