#!/usr/bin/env bash
# Builds the benchmarks optimised and runs them; each binary ends with a table of ratios of
# libkestal's time to its peers' (below 1: libkestal is faster). Extra arguments go to every
# binary, e.g. --benchmark_filter=Copy.
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/install-deps.sh
cmake --preset release -DKESTAL_BUILD_TESTS=OFF -DKESTAL_BUILD_BENCH=ON
cmake --build --preset release
for bench in build/release/bench/*Bench; do
  echo "== $bench"
  "$bench" "$@"
done
