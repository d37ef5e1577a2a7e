#!/usr/bin/env bash
# Installs the Debian packages this project builds, tests and renders with.
# Idempotent: when every package is already present it only checks and exits.
set -euo pipefail

packages=(
  # toolchain
  build-essential cmake ninja-build pkg-config python3 clang clang-format libclang-rt-14-dev
  # foundation and analytics
  libsqlite3-dev libicu-dev libcurl4-openssl-dev nlohmann-json3-dev libcli11-dev
  # drawing and fonts
  libcairo2-dev libpango1.0-dev libfribidi-dev librsvg2-dev libfontconfig-dev libexpat1-dev
  zlib1g-dev libdeflate-dev
  fonts-inter fonts-noto-core fonts-noto-cjk
  # tests and benchmarks
  libgtest-dev libgmock-dev libbenchmark-dev libspng-dev
  # the live host's HTTP server, and the browser that tests its page
  libmicrohttpd-dev chromium chromium-driver python3-selenium python3-pil
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done

if [ "${#missing[@]}" -eq 0 ]; then
  exit 0
fi

echo "installing: ${missing[*]}" >&2
sudo_cmd=()
[ "$(id -u)" -eq 0 ] || sudo_cmd=(sudo)
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -qq
"${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
