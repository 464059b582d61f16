#!/usr/bin/env bash
# Checks formatting, builds and runs every test, then runs clang-tidy. With --sanitize, the tests
# run again in the sanitized clang build (AddressSanitizer, UndefinedBehaviorSanitizer, and the
# thread-safety analysis at compile time), whose objects the fuzz harnesses share; with
# --threads, the Linux device's tests run under ThreadSanitizer; with --fuzz, each libFuzzer
# harness runs for 40 seconds (scripts/fuzz.sh).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh --browser
if [ "${1:-}" = "--fuzz" ]; then
  exec scripts/fuzz.sh 40
fi
if [ "${1:-}" = "--threads" ]; then
  scripts/configure.sh build-tsan
  cmake --build build-tsan -j "$(nproc)" --target linux_tests
  TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 build-tsan/bin/linux_tests
  exit 0
fi
if [ "${1:-}" = "--sanitize" ]; then
  scripts/configure.sh build-sanitize
  # Everything, the fuzz harnesses included, so that scripts/fuzz.sh finds them built.
  cmake --build build-sanitize -j "$(nproc)"
  # The daemon's tests preload umockdev; clang links the sanitizers' runtimes statically, so
  # they come first whatever is preloaded.
  ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
    ctest --test-dir build-sanitize -j "$(nproc)" --output-on-failure
  exit 0
fi
scripts/configure.sh build
# Unformatted files fail the run before anything is built.
cmake --build build --target check-format
cmake --build build -j "$(nproc)"
# clang-tidy's checks of real faults, once, on the ordinary build, read while the tests run: the
# daemon's tests mostly wait on their services, and the analysis has the cores meanwhile.
nice -n 10 cmake --build build --target lint >build/lint.log 2>&1 &
lint=$!
tests=0
ctest --test-dir build -j "$(nproc)" --output-on-failure || tests=$?
linted=0
wait "$lint" || linted=$?
cat build/lint.log
exit $((tests != 0 ? tests : linted))
