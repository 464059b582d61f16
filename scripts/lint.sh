#!/usr/bin/env bash
# Runs clang-tidy (.clang-tidy) over every source file of src/, in parallel, against the compile
# commands of a build directory; fails on any finding:  scripts/lint.sh [BUILD_DIR]
set -uo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
[ -f "$build/compile_commands.json" ] || cmake -S . -B "$build" >/dev/null
tidy=$(command -v clang-tidy || command -v clang-tidy-14)
output=$(find src -name '*.cc' -print0 |
         xargs -0 -n 4 -P "$(nproc)" "$tidy" -p "$build" --quiet 2>&1)
status=$?
printf '%s\n' "$output" |
  grep -v -E '^[0-9]+ warnings? (and [0-9]+ errors? )?generated\.$|^Suppressed |^Use -header-filter|^$' || true
exit $status
