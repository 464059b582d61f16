#!/usr/bin/env bash
# Instructions per call of FUNCTION (inclusive) while running a benchmark binary under callgrind:
#   scripts/count-instructions.sh BENCH_BINARY FUNCTION [BENCHMARK_FILTER]
# Instruction counts do not depend on what else the machine is doing.
set -euo pipefail
binary=$1
function=$2
filter=${3:-.}
out=$(mktemp)
trap 'rm -f "$out"' EXIT
valgrind --tool=callgrind --callgrind-out-file="$out" --toggle-collect="$function" \
  "$binary" --benchmark_filter="$filter" --benchmark_min_time=0.05 >/dev/null 2>&1
python3 - "$out" "$function" <<'PY'
import re, sys
path, wanted = sys.argv[1], sys.argv[2]
names, calls, current = {}, 0, None
for line in open(path):
    m = re.match(r'c?fn=\((\d+)\)(?: (.*))?', line)
    if m:
        if m.group(2):
            names[m.group(1)] = m.group(2).strip()
        if line.startswith('cfn='):
            current = names.get(m.group(1), '')
        continue
    m = re.match(r'calls=(\d+)', line)
    if m and current == wanted:
        calls += int(m.group(1))
total = 0
for line in open(path):
    if line.startswith('summary:') or line.startswith('totals:'):
        total = int(line.split()[1])
print(f"{wanted}: {total} instructions in {calls} calls = {total / max(calls, 1):.1f} per call")
PY
