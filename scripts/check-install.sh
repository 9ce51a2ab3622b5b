#!/usr/bin/env bash
# Installs a built tree into a scratch prefix and builds a consumer against
# it twice: through find_package(OstrelSdk) and through pkg-config. The
# consumer uses the header-only C++ layer, ostrel/ostrel.hpp, so the check
# also proves that the installed headers compile on their own.
# Usage: check-install.sh <build dir> <scratch dir>
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="$1"
scratch="$2"
rm -rf "$scratch"
mkdir -p "$scratch"
cmake --install "$build" --prefix "$scratch/prefix" >/dev/null

consumer="$root/examples/consumer"
cmake -S "$consumer" -B "$scratch/cmake" -DCMAKE_PREFIX_PATH="$scratch/prefix" >/dev/null
cmake --build "$scratch/cmake" >/dev/null
LD_LIBRARY_PATH="$scratch/prefix/lib" "$scratch/cmake/ostrel_consumer"

flags="$(PKG_CONFIG_PATH="$scratch/prefix/lib/pkgconfig" pkg-config --define-prefix --cflags --libs ostrel-sdk)"
# shellcheck disable=SC2086
c++ -std=c++17 "$consumer/main.cpp" $flags -o "$scratch/pkgconfig-consumer"
LD_LIBRARY_PATH="$scratch/prefix/lib" "$scratch/pkgconfig-consumer"
if [[ -x "$build/tools/ostrel-server" ]]; then
  # The tools install as a component of their own, the signer apart.
  cmake --install "$build" --prefix "$scratch/tools" --component tools >/dev/null
  for file in bin/ostrel-server bin/ostrel-cli lib/ostrel/devsign/libKelsafeProxy.so; do
    [[ -e "$scratch/tools/$file" ]] || { echo "tools component lacks $file"; exit 1; }
  done
  [[ ! -e "$scratch/tools/lib/libOstrelSdk.so" ]] || { echo "tools component holds the SDK"; exit 1; }
  "$scratch/prefix/bin/ostrel-server" --help >/dev/null
fi
echo "install check passed"
