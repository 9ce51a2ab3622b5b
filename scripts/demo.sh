#!/usr/bin/env bash
# Builds the library and runs the example host against it.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
out="${OSTREL_BUILD_ROOT:-$root/build/demo}"
"$root/scripts/install-deps.sh"
cmake -S "$root" -B "$out" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DOSTREL_BUILD_TESTS=OFF \
  -DOSTREL_BUILD_BENCHMARKS=OFF >/dev/null
cmake --build "$out" -j "$(nproc)" --target ostrel_basic_host >/dev/null
"$out/examples/ostrel_basic_host"
