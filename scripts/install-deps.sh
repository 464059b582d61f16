#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the benchmarks need, when any is missing,
# and the report's chart library with npm, as web/package-lock.json pins it. With --browser, also
# Chromium, which the report's browser test drives headless.
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(g++ cmake make binutils googletest libgtest-dev libgmock-dev libbenchmark-dev
          libsqlite3-dev libssl-dev nlohmann-json3-dev libsimdjson-dev libhowardhinnant-date-dev
          tzdata valgrind
          clang-format clang-tidy pkg-config libsystemd-dev
          # the Linux device's application side: Wayland window lists, key files, AppStream
          libwayland-dev wayland-protocols libglib2.0-dev libappstream-dev libxcb1-dev
          # the fuzz build: clang with libFuzzer and the sanitizers' runtimes
          clang libclang-rt-14-dev
          # the Linux daemon's tests: fake hardware and fake system services on private buses
          umockdev gir1.2-umockdev-1.0 python3-gi python3-dbus python3-dbusmock dbus
          # ... and a headless wlroots compositor and an X server whose windows the tests open
          sway xvfb)
command -v npm >/dev/null || packages+=(npm)
[ "${1:-}" = "--browser" ] && packages+=(chromium)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if ((${#missing[@]})); then
  echo "installing: ${missing[*]}"
  sudo=""
  [ "$(id -u)" -eq 0 ] || sudo="sudo"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}"
fi
# The chart library, exactly as the lock file pins it (its integrity hash is checked).
if [ ! -f web/node_modules/uplot/dist/uPlot.iife.min.js ]; then
  (cd web && npm ci --no-audit --no-fund --loglevel=error)
fi
