#!/usr/bin/env bash
# Builds and runs every test of the SDK on a Debian 12 machine:
#   0. clang's thread-safety analysis of the library, warnings as errors;
#   1. a warnings-as-errors build with all tests, benchmarks compiled;
#   2. AddressSanitizer + UndefinedBehaviorSanitizer build, all tests;
#   3. ThreadSanitizer build, the concurrency and end-to-end tests;
#   4. fuzz smoke runs (clang);
#   5. install check: a consumer found through find_package and pkg-config;
#   6. the Windows DLL cross-built and tested under wine (skip with
#      OSTREL_SKIP_WINDOWS=1).
# Ends with one line "tests: N passed, M failed" over every stage.
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
out="${OSTREL_BUILD_ROOT:-$root/build/test}"
jobs="$(nproc)"
passed=0
failed=0
started=$SECONDS

"$root/scripts/install-deps.sh"

stage() { echo; echo "=== $* ($((SECONDS - started)) s)"; }

configure_and_build() {
  local dir="$1"; shift
  mkdir -p "$dir"
  cmake -S "$root" -B "$dir" -DOSTREL_WERROR=ON "$@" >"$dir/configure.log" 2>&1 ||
    { cat "$dir/configure.log"; return 1; }
  cmake --build "$dir" -j "$jobs" >"$dir/build.log" 2>&1 ||
    { grep -E -B2 -A12 'error|Error' "$dir/build.log" | head -200; return 1; }
}

# Runs ctest and adds its counts to the totals.
run_ctest() {
  local dir="$1"; shift
  local log="$dir/ctest.log"
  local status=0
  ctest --test-dir "$dir" --output-on-failure "$@" 2>&1 | tee "$log" || status=$?
  local summary
  summary="$(grep -E '^[0-9]+% tests passed' "$log" | tail -1 || true)"
  if [[ $summary =~ ([0-9]+)\ tests\ failed\ out\ of\ ([0-9]+) ]]; then
    failed=$((failed + BASH_REMATCH[1]))
    passed=$((passed + BASH_REMATCH[2] - BASH_REMATCH[1]))
  elif [[ $status -ne 0 ]]; then
    failed=$((failed + 1))
  fi
}

# A stage that is one command: it counts as one test.
run_command() {
  if "$@"; then passed=$((passed + 1)); else failed=$((failed + 1)); fi
}

# clang checks the lock annotations of the library; a finding fails the build.
check_thread_safety() {
  CC=clang CXX=clang++ configure_and_build "$out/thread-safety" -DCMAKE_BUILD_TYPE=Debug \
    -DOSTREL_BUILD_TESTS=OFF -DOSTREL_BUILD_BENCHMARKS=OFF -DOSTREL_BUILD_TOOLS=OFF \
    -DOSTREL_BUILD_EXAMPLES=OFF -DOSTREL_BUILD_HOST_ADAPTERS=OFF
}

stage "thread-safety analysis (clang)"
run_command check_thread_safety

stage "build and test (warnings as errors)"
configure_and_build "$out/release" -DCMAKE_BUILD_TYPE=RelWithDebInfo
run_ctest "$out/release"

stage "AddressSanitizer + UndefinedBehaviorSanitizer"
configure_and_build "$out/asan" -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS=-O1 \
  -DOSTREL_SANITIZE=address,undefined -DOSTREL_BUILD_BENCHMARKS=OFF \
  -DOSTREL_BUILD_TOOLS=OFF -DOSTREL_BUILD_EXAMPLES=OFF
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1 \
  run_ctest "$out/asan"

stage "ThreadSanitizer (concurrency tests)"
configure_and_build "$out/tsan" -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS=-O1 \
  -DOSTREL_SANITIZE=thread -DOSTREL_BUILD_BENCHMARKS=OFF -DOSTREL_BUILD_TOOLS=OFF \
  -DOSTREL_BUILD_EXAMPLES=OFF -DOSTREL_BUILD_HOST_ADAPTERS=OFF
TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 run_ctest "$out/tsan" -L concurrency
# The engine's end-to-end suites run several library threads as well.
TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 run_ctest "$out/tsan" \
  -R '^ostrel_(integration|update)_tests$'


if [[ -x "$root/fuzz/run_smoke.sh" ]]; then
  stage "fuzz smoke runs"
  run_command env OSTREL_BUILD_ROOT="$out" "$root/fuzz/run_smoke.sh"
fi

stage "install and consume"
run_command "$root/scripts/check-install.sh" "$out/release" "$out/install-check"

if [[ -x "$root/scripts/test-windows.sh" && "${OSTREL_SKIP_WINDOWS:-0}" != 1 ]]; then
  stage "Windows DLL under wine"
  run_command env OSTREL_BUILD_ROOT="$out" "$root/scripts/test-windows.sh"
fi

stage "done"
echo "tests: $passed passed, $failed failed"
[[ $failed -eq 0 ]]
