#!/usr/bin/env bash
# Builds the libFuzzer targets (clang, ASan + UBSan, coverage in the library too) and runs each one
# for a while from its seed corpus in fuzz/corpus/<target>/. Usage: scripts/fuzz.sh [seconds per
# target, default 60]. New inputs go to a scratch directory, so the checked-in seeds stay small; a
# crash leaves its reproducer in the current directory and stops the script.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-60}"
./scripts/install-deps.sh
cmake --preset fuzz
cmake --build --preset fuzz
for fuzzer in build/fuzz/fuzz/*Fuzzer; do
  name="$(basename "$fuzzer")"
  scratch="$(mktemp -d)"
  echo "== $name for ${seconds}s"
  "$fuzzer" -max_total_time="$seconds" -print_final_stats=1 "$scratch" "fuzz/corpus/$name"
  rm -rf "$scratch"
done
