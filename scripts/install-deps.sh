#!/usr/bin/env bash
# Installs the Debian packages premoov builds and tests with, those that are missing only.
set -euo pipefail

packages=(
  g++ cmake ninja-build pkg-config git
  libgtest-dev libgmock-dev libbenchmark-dev
  nlohmann-json3-dev libcli11-dev libplist-dev libicu-dev
  ffmpeg mediainfo python3 clang libclang-rt-14-dev
  gstreamer1.0-plugins-base gstreamer1.0-plugins-bad python3-gi python3-gst-1.0
  gir1.2-gst-plugins-base-1.0
)
[ "${1:-}" = "--build-only" ] && packages=(
  g++ cmake ninja-build pkg-config libgtest-dev libgmock-dev libbenchmark-dev
  nlohmann-json3-dev libcli11-dev libplist-dev libicu-dev)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
# Node.js and npm may come from Debian or from a newer distribution of Node.js: look for the
# commands rather than for Debian's packages.
if [ "${1:-}" != "--build-only" ] && ! { command -v node && command -v npm; } >/dev/null 2>&1; then
  missing+=(nodejs npm)
fi
if [ ${#missing[@]} -gt 0 ]; then
  sudo_cmd=""
  [ "$(id -u)" -ne 0 ] && sudo_cmd="sudo"
  # The package manager's own lines go to a log, shown only when something fails.
  log=$(mktemp /tmp/premoov-apt-XXXXXX.log)
  echo "Installing ${#missing[@]} Debian packages and what they need: ${missing[*]}"
  if ! { $sudo_cmd apt-get update -qq &&
         DEBIAN_FRONTEND=noninteractive $sudo_cmd apt-get install -y -qq \
           --no-install-recommends "${missing[@]}"; } > "$log" 2>&1; then
    tail -n 40 "$log"
    echo "apt-get failed; its whole output is in $log" >&2
    exit 1
  fi
  echo "Installed $(grep -c '^Setting up' "$log" || true) packages."
  rm -f "$log"
fi
