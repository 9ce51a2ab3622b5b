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

work="$(mktemp -d)"
server_pid=""
cleanup() {
  if [[ -n $server_pid ]] && kill -0 "$server_pid" 2>/dev/null; then
    kill -TERM "$server_pid"
    wait "$server_pid" || true
  fi
  rm -rf "$work"
}
trap cleanup EXIT

cp -r "$root/examples/demo/data" "$work/data"
"$out/tools/ostrel-server" --data "$work/data" --port 0 --bind 127.0.0.1 >"$work/server.log" 2>&1 &
server_pid=$!
port=""
for _ in $(seq 100); do
  port="$(sed -n 's/^listening on 127\.0\.0\.1:\([0-9][0-9]*\)$/\1/p' "$work/server.log")"
  [[ -n $port ]] && break
  kill -0 "$server_pid" 2>/dev/null || break
  sleep 0.1
done
if [[ -z $port ]]; then
  echo "ostrel-server did not start:"; cat "$work/server.log"; exit 1
fi
echo "== ostrel-server serves $work/data on 127.0.0.1:$port"

demo=("$out/tools/demo/ostrel_demo")
options=(--server "127.0.0.1:$port" --store "$work/store.db" --sign-dir "$out/tools/devsign")
"${demo[@]}" first "${options[@]}"

echo
echo "== 5. change ui.json (theme dark -> solarized) and publish it"
sed -i 's/"theme": "dark"/"theme": "solarized"/' "$work/data/demo-app/ui.json"
echo "  server: $(curl -sS --max-time 10 -X POST --data '' "http://127.0.0.1:$port/admin/publish")"

"${demo[@]}" update "${options[@]}"
"${demo[@]}" offline "${options[@]}"

kill -TERM "$server_pid"
wait "$server_pid" || true
server_pid=""
echo
echo "== the server's log"
sed 's/^/  /' "$work/server.log"
