#!/usr/bin/env bash
# Sets up everything and runs every test (debug build, all warnings on).
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/install-deps.sh
cmake --preset dev
cmake --build --preset dev
ctest --preset dev
