#!/usr/bin/env bash
# Sets up everything, builds the library optimised and runs the example program.
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/install-deps.sh
cmake --preset release -DKESTAL_BUILD_TESTS=OFF -DKESTAL_BUILD_BENCH=OFF
cmake --build --preset release --target kestal_tour
./build/release/examples/kestal_tour
