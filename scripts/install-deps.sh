#!/usr/bin/env bash
# Installs the Debian 12 packages libkestal needs to build, test and benchmark.
# Idempotent: packages already present are left alone.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config git
  clang-14 libclang-rt-14-dev clang-format
  libicu-dev libtbb-dev libboost-dev libgrpc++-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  libssl-dev # test and bench oracle for the SHA digests only; the library does not link it
  locales    # a locale with a decimal comma, below, for the number tests
)

SUDO=""
[ "$(id -u)" -eq 0 ] || SUDO="sudo"

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done

if ((${#missing[@]})); then
  export DEBIAN_FRONTEND=noninteractive
  $SUDO apt-get update -qq
  $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

# The number tests check that the fast paths step aside where the decimal point is a comma.
if ! locale -a 2>/dev/null | grep -qi '^de_DE\.utf-\?8$'; then
  $SUDO localedef -i de_DE -f UTF-8 de_DE.UTF-8
fi
