#!/usr/bin/env bash
# Builds tallyd and the module and replays the two samples on the simulated device: the sample
# day (build/sample/day) and the sample week (build/sample/week), whose nights show every
# verdict. Prints the week's summary and writes each sample's report.html (open it in a
# browser), with its output lines in output.jsonl and its store in stats.db.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake -S . -B build >/dev/null
cmake --build build -j "$(nproc)" --target tallyd tallyline_module
rm -rf build/sample
for sample in day week; do
  dir=build/sample/$sample
  build/bin/tallyd replay "examples/sample-$sample.jsonl" --root "$dir/root" \
    --db "$dir/stats.db" --out "$dir/output.jsonl" --notifications
  build/bin/tallyd report --db "$dir/stats.db" -o "$dir/report.html"
done
build/bin/tallyd report --db build/sample/week/stats.db --format text | sed -n '/^== Summary/,/^$/p'
echo "reports: build/sample/day/report.html and build/sample/week/report.html"
echo "(tallyd report --db build/sample/week/stats.db --format text for all of it in the terminal)"
