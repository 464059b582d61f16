#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the benchmarks need, when any is missing,
# and with npm the report's chart library and the fleet example's DuckDB, as web/ and fleet/
# package-lock.json pin them. With --browser, also Chromium, which the report's browser test drives
# headless.
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(g++ cmake make binutils googletest libgtest-dev libgmock-dev libbenchmark-dev
          libsqlite3-dev libssl-dev nlohmann-json3-dev libsimdjson-dev libhowardhinnant-date-dev
          tzdata valgrind ccache
          clang-format clang-tidy pkg-config libsystemd-dev
          # the Linux device's application side: Wayland window lists, key files, AppStream
          libwayland-dev wayland-protocols libglib2.0-dev libappstream-dev libxcb1-dev
          # the fuzz build: clang with libFuzzer and the sanitizers' runtimes
          clang libclang-rt-14-dev
          # the Linux daemon's tests: fake hardware and fake system services on private buses
          umockdev gir1.2-umockdev-1.0 python3-gi python3-dbus python3-dbusmock dbus
          # ... and a headless wlroots compositor and an X server whose windows the tests open
          sway xvfb)
# Real services the tests run, without what they recommend (KWin's would be all of Plasma).
lean=(kwin-wayland power-profiles-daemon libcap2-bin)
command -v npm >/dev/null || packages+=(npm)
[ "${1:-}" = "--browser" ] && packages+=(chromium)
missing() {
  for p in "$@"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || echo "$p"
  done
}
sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
mapfile -t needed < <(missing "${packages[@]}")
mapfile -t needed_lean < <(missing "${lean[@]}")
if ((${#needed[@]} + ${#needed_lean[@]})); then
  echo "installing: ${needed[*]} ${needed_lean[*]}"
  $sudo apt-get update -qq
  ((${#needed[@]})) && DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${needed[@]}"
  ((${#needed_lean[@]})) && DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq \
    --no-install-recommends "${needed_lean[@]}"
fi
# Debian's kwin_wayland carries a file capability (cap_sys_resource, to raise its own limits)
# that some containers refuse to execute ("Operation not permitted"); a copy elsewhere would not
# load KWin's own Qt platform plugin. Where it is refused, the capability goes: KWin runs as well
# without it.
if ! kwin_wayland --version >/dev/null 2>&1 && /usr/sbin/getcap /usr/bin/kwin_wayland | grep -q .; then
  echo "removing the file capability of /usr/bin/kwin_wayland, which this machine refuses"
  $sudo /usr/sbin/setcap -r /usr/bin/kwin_wayland
fi
# The chart library, exactly as the lock file pins it (its integrity hash is checked).
if [ ! -f web/node_modules/uplot/dist/uPlot.iife.min.js ]; then
  (cd web && npm ci --no-audit --no-fund --loglevel=error)
fi
# DuckDB for the fleet queries: its native library comes inside its platform package from the
# registry, so nothing is built and nothing is downloaded when it runs.
if [ ! -f fleet/node_modules/@duckdb/node-api/package.json ]; then
  (cd fleet && npm ci --no-audit --no-fund --loglevel=error)
fi
