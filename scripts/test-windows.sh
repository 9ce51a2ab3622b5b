#!/usr/bin/env bash
# The Windows stage: cross-builds OstrelSdkWin.dll and the tests with
# mingw-w64, checks the DLL's export and import tables, and runs the tests
# under wine in a fresh prefix. Ends with "windows: N passed, M failed" and
# exits non-zero when anything failed.
#
# Builds in $OSTREL_BUILD_ROOT/win (default: build/win in the source tree).
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
dir="${OSTREL_BUILD_ROOT:-$root/build}/win"
jobs="$(nproc)"
started=$SECONDS

"$root/scripts/install-deps.sh" g++-mingw-w64-x86-64-posix wine64

wine="$(command -v wine64 || command -v wine || true)"
if [[ -z $wine && -x /usr/lib/wine/wine64 ]]; then wine=/usr/lib/wine/wine64; fi
if [[ -z $wine ]]; then
  echo "test-windows: no wine found" >&2
  exit 1
fi

summary() {
  echo "windows stage: $((SECONDS - started)) s"
  echo "windows: $1 passed, $2 failed"
}

mkdir -p "$dir"
if ! cmake --preset win-mingw -S "$root" -B "$dir" -DOSTREL_WINE="$wine" \
    >"$dir/configure.log" 2>&1; then
  cat "$dir/configure.log"
  summary 0 1
  exit 1
fi
if ! cmake --build "$dir" -j "$jobs" >"$dir/build.log" 2>&1; then
  grep -E -B2 -A12 'error|Error' "$dir/build.log" | head -200
  summary 0 1
  exit 1
fi
echo "OstrelSdkWin.dll tables:"
x86_64-w64-mingw32-objdump -p "$dir/src/OstrelSdkWin.dll" |
  grep -E '^\s+DLL Name:|^\s+\[ *[0-9]+\] [A-Za-z_]' | sed 's/^\s*/  /'

# A prefix of its own, so that nothing of an earlier run or of the user's
# ~/.wine is seen, and no display: the tests are console programs.
prefix="$(mktemp -d "${TMPDIR:-/tmp}/ostrel-wine.XXXXXX")"
wineserver="$(command -v wineserver64 || command -v wineserver || echo /usr/lib/wine/wineserver64)"
cleanup() {
  WINEPREFIX="$prefix" "$wineserver" -k 2>/dev/null || true
  rm -rf "$prefix"
}
trap cleanup EXIT
export WINEPREFIX="$prefix" WINEDEBUG=-all DISPLAY=
"$wine" wineboot --init >"$dir/wineboot.log" 2>&1 || { cat "$dir/wineboot.log"; }

log="$dir/ctest.log"
status=0
ctest --test-dir "$dir" --output-on-failure -j "$jobs" 2>&1 | tee "$log" || status=$?

passed=0
failed=0
line="$(grep -E '^[0-9]+% tests passed' "$log" | tail -1 || true)"
if [[ $line =~ ([0-9]+)\ tests\ failed\ out\ of\ ([0-9]+) ]]; then
  failed=${BASH_REMATCH[1]}
  passed=$((BASH_REMATCH[2] - BASH_REMATCH[1]))
fi
if [[ $status -ne 0 && $failed -eq 0 ]]; then failed=1; fi
summary "$passed" "$failed"
[[ $failed -eq 0 ]]
