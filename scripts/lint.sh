#!/usr/bin/env bash
# Runs clang-tidy (.clang-tidy) over every source file of src/, in parallel, against the compile
# commands of a build directory; fails on any finding:  scripts/lint.sh [BUILD_DIR]
# A file found clean is remembered outside the clone ($TALLYLINE_LINT_CACHE, by default
# ~/.cache/tallyline-lint) under the hash of what clang-tidy would read: the preprocessed file,
# its compile command, .clang-tidy and the tool's version. Only a file whose hash is new is
# analysed again, so an unchanged file costs a preprocessing instead of an analysis.
set -uo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
[ -f "$build/compile_commands.json" ] || cmake -S . -B "$build" >/dev/null
tidy=$(command -v clang-tidy || command -v clang-tidy-14)
cache=${TALLYLINE_LINT_CACHE:-$HOME/.cache/tallyline-lint}
mkdir -p "$cache"
export build tidy cache
config=$( (cat .clang-tidy; "$tidy" --version) | sha256sum | cut -c1-64)
export config

# Prints the file's name and its hash when it is to be analysed: no clean result is remembered
# for the hash. The hash leaves out where the clone is, so that another clone shares it.
stale() {
  local file=$1 command key
  command=$(python3 -c 'import json, os, sys
for entry in json.load(open(sys.argv[1])):
    if os.path.realpath(os.path.join(entry["directory"], entry["file"])) == os.path.realpath(sys.argv[2]):
        print(entry["command"])
        break' "$build/compile_commands.json" "$file")
  if [ -z "$command" ]; then echo "$file"; return; fi
  key=$( (echo "$config"; echo "${command//$PWD/.}";
          cd "$build" && eval "$(echo "$command" | sed 's/ -o [^ ]*/ -E -P -o -/')" 2>/dev/null) |
        sha256sum | cut -c1-64)
  [ -f "$cache/$key" ] || echo "$file $key"
}
export -f stale
mapfile -t todo < <(find src -name '*.cc' | sort | xargs -P "$(nproc)" -I{} bash -c 'stale {}')
echo "lint: ${#todo[@]} of $(find src -name '*.cc' | wc -l) files to analyse"
status=0
analyse() {
  local file=$1 key=$2 output
  output=$("$tidy" -p "$build" --quiet "$file" 2>&1)
  local result=$?
  output=$(printf '%s\n' "$output" |
    grep -v -E '^[0-9]+ warnings? (and [0-9]+ errors? )?generated\.$|^Suppressed |^Use -header-filter|^$')
  [ -n "$output" ] && printf '%s\n' "$output"
  if [ $result -eq 0 ] && [ -n "$key" ]; then touch "$cache/$key"; fi
  return $result
}
export -f analyse
if ((${#todo[@]})); then
  printf '%s\n' "${todo[@]}" | xargs -P "$(nproc)" -L 1 bash -c 'analyse "$0" "${1:-}"' || status=1
fi
exit $status
