#!/usr/bin/env bash
# The Windows stage: cross-builds OstrelSdkWin.dll, the host adapters, the
# demo host, the development signing DLLs and the tests with mingw-w64,
# checks the DLL's export and import tables, runs the tests under wine in a
# fresh prefix, and then the Windows demo: the demo host under wine against
# ostrel-server on a loopback port, through the steps of scripts/demo.sh
# (which counts as one test). Ends with "windows: N passed, M failed" and
# exits non-zero when anything failed.
#
# Builds in $OSTREL_BUILD_ROOT/win (default: build/win in the source tree).
# ostrel-server is the Linux one of the release stage of scripts/test.sh,
# $OSTREL_BUILD_ROOT/release/tools/ostrel-server; when that is missing it is
# built in $OSTREL_BUILD_ROOT/win-server.
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build_root="${OSTREL_BUILD_ROOT:-$root/build}"
dir="$build_root/win"
jobs="$(nproc)"
started=$SECONDS

"$root/scripts/install-deps.sh" g++-mingw-w64-x86-64-posix wine64 curl

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

# ostrel-server of the Linux side: the release stage's, else one built here.
linux_server() {
  local server="$build_root/release/tools/ostrel-server"
  if [[ ! -x $server ]]; then
    local server_dir="$build_root/win-server"
    mkdir -p "$server_dir"
    cmake -S "$root" -B "$server_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
      -DOSTREL_BUILD_TESTS=OFF -DOSTREL_BUILD_BENCHMARKS=OFF -DOSTREL_BUILD_EXAMPLES=OFF \
      -DOSTREL_BUILD_HOST_ADAPTERS=OFF >"$server_dir/configure.log" 2>&1 &&
      cmake --build "$server_dir" -j "$jobs" --target ostrel-server \
        >"$server_dir/build.log" 2>&1 ||
      { tail -40 "$server_dir/configure.log" "$server_dir/build.log" >&2; return 1; }
    server="$server_dir/tools/ostrel-server"
  fi
  echo "$server"
}

source "$root/scripts/demo-server.sh"

# The path wine gives a Linux path: drive Z: is the root folder.
windows_path() { local path="$1"; echo "Z:${path//\//\\}"; }

# Expects the exact line in the text.
expect_line() {
  if ! grep -qxF -- "$2" <<<"$1"; then
    echo "windows demo: missing the line \"$2\""
    return 1
  fi
}

# The steps of scripts/demo.sh with the cross-built demo host: first start,
# a published change, a restart that the file store serves first, an
# offline restart; every request signed by the Windows development DLLs.
# Each step is bounded in time, and the server is stopped whatever happens.
windows_demo() (
  set -euo pipefail
  server="$(linux_server)"
  work="$(mktemp -d "${TMPDIR:-/tmp}/ostrel-windemo.XXXXXX")"
  server_pid=""
  trap 'stop_demo_server; rm -rf "$work"' EXIT
  start_demo_server "$server" "$root/examples/demo/data" "$work"
  echo "== ostrel-server ($server) serves $work/data on 127.0.0.1:$port"

  demo=("$dir/tools/demo/ostrel_demo.exe")
  options=(--server "127.0.0.1:$port" --store "$(windows_path "$work/store")"
           --sign-dir "$(windows_path "$dir/tools/devsign")")
  # The program writes its console in text mode, with CR LF line ends.
  step() { timeout 120 "$wine" "${demo[@]}" "$1" "${options[@]}" | tr -d '\r' | tee "$work/$1.out"; }

  step first
  first="$(cat "$work/first.out")"
  expect_line "$first" "  ui.theme           = light (namespace not loaded yet)"
  expect_line "$first" "  ui.theme           = dark (found)"
  expect_line "$first" "  features.newEditor = on (found)"
  expect_line "$first" "  features.maxTabs   = 16 (found)"
  [[ $(grep -c '(downloaded)$' <<<"$first") -eq 3 ]] || { echo "not three downloads"; return 1; }

  publish_theme_change "$work"

  step update
  update="$(cat "$work/update.out")"
  [[ $(grep -c '(from the store)$' <<<"$update") -eq 3 ]] || { echo "not three restored"; return 1; }
  expect_line "$update" "  ui.theme           = dark (found)"
  expect_line "$update" "  ui.theme           = solarized (found)"
  grep -q '^  listener: ui  *version [0-9]* (downloaded)$' <<<"$update" ||
    { echo "no download of the published ui"; return 1; }

  step offline
  offline="$(cat "$work/offline.out")"
  expect_line "$offline" "  ui.theme           = solarized (found)"
  expect_line "$offline" "  features.maxTabs   = 16 (found)"
  [[ -f $work/store/k-ui.rec ]] || { echo "the file store holds no record of ui"; return 1; }

  stop_demo_server
  echo
  echo "== the server's log"
  sed 's/^/  /' "$work/server.log"
  # Both update checks were signed with a signature the server accepted.
  [[ $(grep -c 'GET /checkUpdate?.* -> 200$' "$work/server.log") -eq 2 ]] ||
    { echo "the server did not accept two signed update checks"; return 1; }
)

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

echo
echo "== the Windows demo under wine (log in $dir/demo.log)"
if windows_demo >"$dir/demo.log" 2>&1; then
  passed=$((passed + 1))
  echo "windows demo: passed"
else
  failed=$((failed + 1))
  cat "$dir/demo.log"
  echo "windows demo: FAILED"
fi
summary "$passed" "$failed"
[[ $failed -eq 0 ]]
