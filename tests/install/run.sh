#!/usr/bin/env bash
# Installs libkestal into a scratch prefix and builds and runs a consumer project against it,
# through both the CMake package and kestal.pc.
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake -S "$root" -B "$work/build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DKESTAL_BUILD_TESTS=OFF \
  -DKESTAL_BUILD_EXAMPLES=OFF -DCMAKE_INSTALL_PREFIX="$work/prefix" > "$work/configure.log"
cmake --build "$work/build" -j2 > "$work/build.log"
cmake --install "$work/build" > "$work/install.log"

cmake -S "$root/tests/install" -B "$work/consumer" -G Ninja -DCMAKE_PREFIX_PATH="$work/prefix" > "$work/consumer.log"
cmake --build "$work/consumer" > "$work/consumer-build.log"
libdir=$(dirname "$(find "$work/prefix" -name 'libkestal.so*' | head -n 1)")
LD_LIBRARY_PATH="$libdir" "$work/consumer/consumer"

# The same program through pkg-config.
export PKG_CONFIG_PATH="$libdir/pkgconfig"
c++ -std=c++20 "$root/tests/install/consumer.cpp" $(pkg-config --cflags --libs kestal) -o "$work/consumer-pc"
LD_LIBRARY_PATH="$libdir" "$work/consumer-pc"
