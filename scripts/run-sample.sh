#!/usr/bin/env bash
# Builds tallyd and the module, replays the sample day on the simulated device and shows what
# came out: the output lines, the stored keys, the applications reported active, and the session
# logs the module wrote.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake -S . -B build >/dev/null
cmake --build build -j "$(nproc)" --target tallyd tallyline_module
rm -rf build/sample
build/bin/tallyd replay examples/sample-day.jsonl --root build/sample/root \
  --db build/sample/stats.db --out build/sample/output.jsonl --notifications
echo "== output lines (build/sample/output.jsonl)"
cat build/sample/output.jsonl
echo "== stored keys"
build/bin/tallyd keys --db build/sample/stats.db
echo "== applications reported active"
build/bin/tallyd activated --db build/sample/stats.db
for log in build/sample/root/var/mobile/Library/Logs/Faultkeeper/*.session; do
  echo "== session log ${log#build/sample/root}"
  cat "$log"
done
