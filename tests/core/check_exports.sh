#!/usr/bin/env bash
# The module's dynamic symbol table holds exactly the names of its export list, and no C++ symbol.
set -euo pipefail
module=$1
map=$2
expected=$(sed -n '/global:/,/local:/p' "$map" | grep -oE '^[[:space:]]+[A-Za-z_][A-Za-z0-9_]*;' |
           tr -d ' ;' | sort)
actual=$(nm -D --defined-only "$module" | awk '{print $3}' | sort)
if [ "$expected" != "$actual" ]; then
  echo "exported symbols differ from the export list:"
  diff <(echo "$expected") <(echo "$actual") || true
  exit 1
fi
if grep -q '^_Z' <<<"$actual"; then
  echo "C++ symbols are exported"
  exit 1
fi
echo "exports: $(echo $actual)"
