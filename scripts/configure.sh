#!/usr/bin/env bash
# Configures one of the project's build directories, the same way from every script, so that a
# directory shared by two steps is never reconfigured (and rebuilt) between them:
#   scripts/configure.sh build|build-sanitize|build-tsan
# build: the ordinary build (GCC, optimised). build-sanitize: clang with AddressSanitizer,
# UndefinedBehaviorSanitizer and libFuzzer's coverage, for the tests and the fuzz harnesses at
# once, with the thread-safety analysis as errors. build-tsan: ThreadSanitizer.
# Compiles go through ccache where it is installed; its cache lives outside the clone
# ($CCACHE_DIR, ~/.cache/ccache by default), so a fresh clone on the same machine reuses it.
set -euo pipefail
cd "$(dirname "$0")/.."
build=$1
flags=()
if command -v ccache >/dev/null; then
  # The same sources in two clones hash alike: paths are taken relative to the clone, and the
  # directory a compile runs in is left out of the hash (the debug information then names the
  # clone that first compiled it). The settings go with every compile, not only this script's.
  launcher="env;CCACHE_BASEDIR=$PWD;CCACHE_NOHASHDIR=1;ccache"
  flags+=("-DCMAKE_C_COMPILER_LAUNCHER=$launcher" "-DCMAKE_CXX_COMPILER_LAUNCHER=$launcher")
fi
case $build in
  build) ;;
  build-sanitize)
    export CC=clang CXX=clang++
    flags+=(-DTALLYLINE_SANITIZE=ON -DTALLYLINE_FUZZ=ON -DTALLYLINE_BENCH=OFF
            -DCMAKE_BUILD_TYPE=Debug "-DCMAKE_CXX_FLAGS_DEBUG=-O1 -g" "-DCMAKE_C_FLAGS_DEBUG=-O1 -g")
    ;;
  build-tsan)
    flags+=(-DTALLYLINE_TSAN=ON -DTALLYLINE_BENCH=OFF -DCMAKE_BUILD_TYPE=Debug) ;;
  *) echo "unknown build directory: $build" >&2; exit 64 ;;
esac
cmake -S . -B "$build" "${flags[@]}" >/dev/null
