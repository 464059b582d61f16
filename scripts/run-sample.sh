#!/usr/bin/env bash
# Builds tallyd and the module, replays the sample day on the simulated device, prints a short
# summary and writes the report: build/sample/report.html (open it in a browser), with the output
# lines in build/sample/output.jsonl and the store in build/sample/stats.db.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake -S . -B build >/dev/null
cmake --build build -j "$(nproc)" --target tallyd tallyline_module
rm -rf build/sample
build/bin/tallyd replay examples/sample-day.jsonl --root build/sample/root \
  --db build/sample/stats.db --out build/sample/output.jsonl --notifications
build/bin/tallyd report --db build/sample/stats.db --format text | sed -n '/^== Days/,/^$/p'
build/bin/tallyd report --db build/sample/stats.db -o build/sample/report.html
echo "report: build/sample/report.html (tallyd report --db build/sample/stats.db --format text"
echo "for all of it in the terminal); output lines: build/sample/output.jsonl"
