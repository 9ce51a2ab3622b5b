#!/usr/bin/env bash
# Builds the fuzz targets with clang (AddressSanitizer, UndefinedBehavior-
# Sanitizer, libFuzzer) in a build folder of their own and runs each for a
# short while from its seed corpus. Exits non-zero when a target finds a
# crash, a leak or a failed property; exits 0 with a "skipped" line when no
# clang with libFuzzer is installed.
#
# Environment: OSTREL_BUILD_ROOT (parent of the build folder "fuzz", default
# <repo>/build), OSTREL_FUZZ_SECONDS (per target, default 10), OSTREL_FUZZ_JOBS
# (build parallelism, default 2).
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${OSTREL_BUILD_ROOT:-$root/build}/fuzz"
seconds="${OSTREL_FUZZ_SECONDS:-10}"
jobs="${OSTREL_FUZZ_JOBS:-2}"
targets=(config_standard config_custom index namespace_text multi_analyze hash_compare
         version_compare)

cc="" cxx=""
for version in -14 ""; do
  if command -v "clang++$version" >/dev/null 2>&1 && command -v "clang$version" >/dev/null 2>&1; then
    cc="clang$version" cxx="clang++$version"
    break
  fi
done
if [[ -z $cxx ]]; then
  echo "fuzz smoke runs skipped: clang not found"
  exit 0
fi
probe="$(mktemp -d)"
trap 'rm -rf "$probe"' EXIT
echo 'extern "C" int LLVMFuzzerTestOneInput(const unsigned char*, unsigned long) { return 0; }' \
  >"$probe/probe.cpp"
if ! "$cxx" -fsanitize=fuzzer "$probe/probe.cpp" -o "$probe/probe" >/dev/null 2>&1; then
  echo "fuzz smoke runs skipped: $cxx cannot link libFuzzer (install libclang-rt-14-dev)"
  exit 0
fi

mkdir -p "$build"
echo "building fuzz targets with $cxx in $build"
cmake -S "$root" -B "$build" -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" \
  -DCMAKE_BUILD_TYPE=RelWithDebInfo -DOSTREL_BUILD_FUZZERS=ON -DOSTREL_WERROR=ON \
  -DOSTREL_BUILD_TESTS=OFF -DOSTREL_BUILD_BENCHMARKS=OFF -DOSTREL_BUILD_EXAMPLES=OFF \
  -DOSTREL_BUILD_TOOLS=OFF -DOSTREL_BUILD_HOST_ADAPTERS=OFF >"$build/configure.log" 2>&1 ||
  { cat "$build/configure.log"; exit 1; }
cmake --build "$build" -j "$jobs" --target "${targets[@]/#/ostrel_fuzz_}" >"$build/build.log" 2>&1 ||
  { grep -E -B2 -A12 'error|Error' "$build/build.log" | head -200; exit 1; }

# Undefined behaviour is a finding too, not a warning.
export UBSAN_OPTIONS="halt_on_error=1:print_stacktrace=1:suppressions=$root/fuzz/ubsan.supp"
export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1"
failures=()
for target in "${targets[@]}"; do
  seeds="$root/fuzz/corpus/$target"
  # New inputs go to a scratch corpus, never into the seeds of the repository.
  work="$build/corpus/$target"
  artifacts="$build/artifacts/$target/"
  mkdir -p "$work" "$artifacts"
  case "$target" in
    config_* | index | namespace_text) dict=(-dict="$root/fuzz/documents.dict") ;;
    multi_analyze) dict=(-dict="$root/fuzz/conditions.dict") ;;
    *) dict=() ;;
  esac
  echo "--- $target (${seconds} s)"
  if "$build/fuzz/ostrel_fuzz_$target" -max_total_time="$seconds" -timeout=10 \
      -rss_limit_mb=2048 -print_final_stats=1 -artifact_prefix="$artifacts" "${dict[@]}" \
      "$work" "$seeds" >"$build/$target.log" 2>&1; then
    grep -E '^stat::number_of_executed_units' "$build/$target.log" || true
  else
    tail -40 "$build/$target.log"
    failures+=("$target")
  fi
done

if [[ ${#failures[@]} -gt 0 ]]; then
  echo "fuzz smoke runs failed: ${failures[*]} (inputs in $build/artifacts)"
  exit 1
fi
echo "fuzz smoke runs passed: ${#targets[@]} targets"
