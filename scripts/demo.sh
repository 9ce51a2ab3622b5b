#!/usr/bin/env bash
# The SDK end to end on this machine: installs what is missing, builds the
# library, ostrel-server, the development signing library and the demo host,
# serves a copy of examples/demo/data on a free loopback port and runs the
# demo host against it (libcurl, an SQLite store in a temporary folder, signed
# requests): first start, a published change, a restart without network.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
out="${OSTREL_BUILD_ROOT:-$root/build/demo}"

"$root/scripts/install-deps.sh" curl

echo "== building (log in $out/build.log)"
mkdir -p "$out"
cmake -S "$root" -B "$out" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DOSTREL_BUILD_TESTS=OFF \
  -DOSTREL_BUILD_BENCHMARKS=OFF >"$out/configure.log" 2>&1 ||
  { cat "$out/configure.log"; exit 1; }
cmake --build "$out" -j "$(nproc)" --target ostrel-server ostrel_devsign ostrel_demo \
  >"$out/build.log" 2>&1 || { tail -40 "$out/build.log"; exit 1; }

source "$root/scripts/demo-server.sh"
work="$(mktemp -d)"
server_pid=""
trap 'stop_demo_server; rm -rf "$work"' EXIT

start_demo_server "$out/tools/ostrel-server" "$root/examples/demo/data" "$work"
echo "== ostrel-server serves $work/data on 127.0.0.1:$port"

demo=("$out/tools/demo/ostrel_demo")
options=(--server "127.0.0.1:$port" --store "$work/store.db" --sign-dir "$out/tools/devsign")
"${demo[@]}" first "${options[@]}"

publish_theme_change "$work"

"${demo[@]}" update "${options[@]}"
"${demo[@]}" offline "${options[@]}"

stop_demo_server
echo
echo "== the server's log"
sed 's/^/  /' "$work/server.log"
