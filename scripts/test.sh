#!/usr/bin/env bash
# Checks formatting, builds and runs every test, then runs clang-tidy. With --sanitize, the tests
# run under AddressSanitizer and UndefinedBehaviorSanitizer in a build directory of its own; with
# --threads, the Linux device's tests run under ThreadSanitizer; with --fuzz, each libFuzzer
# harness runs for a minute (scripts/fuzz.sh).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh --browser
build=build
flags=()
if [ "${1:-}" = "--sanitize" ]; then
  build=build-sanitize
  flags=(-DTALLYLINE_SANITIZE=ON -DTALLYLINE_BENCH=OFF -DCMAKE_BUILD_TYPE=Debug)
  # The daemon's tests preload umockdev, which would otherwise come before the ASan runtime.
  export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:verify_asan_link_order=0
  export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
fi
if [ "${1:-}" = "--fuzz" ]; then
  exec scripts/fuzz.sh 60
fi
if [ "${1:-}" = "--threads" ]; then
  cmake -S . -B build-tsan -DTALLYLINE_TSAN=ON -DTALLYLINE_BENCH=OFF -DCMAKE_BUILD_TYPE=Debug \
    >/dev/null
  cmake --build build-tsan -j "$(nproc)" --target linux_tests
  TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 build-tsan/bin/linux_tests
  exit 0
fi
cmake -S . -B "$build" "${flags[@]}" >/dev/null
# Unformatted files fail the run before anything is built.
[ "$build" = build ] && cmake --build "$build" --target check-format
cmake --build "$build" -j "$(nproc)"
ctest --test-dir "$build" -j "$(nproc)" --output-on-failure
# clang-tidy's checks of real faults, once, on the ordinary build.
[ "$build" = build ] && cmake --build "$build" --target lint
exit 0
