#!/usr/bin/env bash
# Builds the libFuzzer harnesses in the sanitized clang build (build-sanitize, shared with the
# sanitized tests) and runs each for SECONDS (default 60), two at a time. The seeds in
# fuzz/corpus are read, never written: each run grows a corpus of its own under
# build-sanitize/corpus, and a finding is kept in build-sanitize/findings and fails the run.
#   scripts/fuzz.sh [SECONDS] [HARNESS...]
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
seconds=${1:-60}
shift || true
harnesses=("$@")
((${#harnesses[@]})) || harnesses=(trace_line bundle_record event_record session_log power_supply
  sysfs_reading wake_reason proc_net package_database key_file flatpak_instance settings)
scripts/configure.sh build-sanitize
cmake --build build-sanitize -j "$(nproc)" --target fuzzers
mkdir -p build-sanitize/findings
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1

run() {
  local name=$1
  mkdir -p "build-sanitize/corpus/$name"
  if "build-sanitize/bin/${name}_fuzzer" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
    -print_final_stats=1 -artifact_prefix="build-sanitize/findings/$name-" \
    "build-sanitize/corpus/$name" "fuzz/corpus/$name" >"build-sanitize/$name.log" 2>&1; then
    echo "fuzz $name: $(grep -m1 -o 'stat::number_of_executed_units: [0-9]*' "build-sanitize/$name.log" |
      grep -o '[0-9]*$') executions in ${seconds}s, no finding"
  else
    echo "fuzz $name: FINDING (build-sanitize/$name.log)"
    tail -40 "build-sanitize/$name.log"
    return 1
  fi
}

status=0
jobs=$(nproc)
for ((i = 0; i < ${#harnesses[@]}; i += jobs)); do
  pids=()
  for name in "${harnesses[@]:i:jobs}"; do
    run "$name" &
    pids+=($!)
  done
  for pid in "${pids[@]}"; do wait "$pid" || status=1; done
done
exit $status
