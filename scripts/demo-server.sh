# Sourced by demo.sh and test-windows.sh: ostrel-server on a free loopback
# port, serving a copy of the demo's data, and the demo's published change.

# start_demo_server SERVER DATA WORK: copies DATA to WORK/data, serves it,
# logs to WORK/server.log and sets server_pid and port. Returns 1, with the
# server's log printed, when it does not start within ten seconds.
start_demo_server() {
  local server="$1" data="$2" work="$3"
  cp -r "$data" "$work/data"
  "$server" --data "$work/data" --port 0 --bind 127.0.0.1 >"$work/server.log" 2>&1 &
  server_pid=$!
  port=""
  for _ in $(seq 100); do
    port="$(sed -n 's/^listening on 127\.0\.0\.1:\([0-9][0-9]*\)$/\1/p' "$work/server.log")"
    [[ -n $port ]] && return 0
    kill -0 "$server_pid" 2>/dev/null || break
    sleep 0.1
  done
  echo "ostrel-server did not start:"
  cat "$work/server.log"
  return 1
}

# stop_demo_server: ends the server, forcibly after five seconds.
stop_demo_server() {
  if [[ -n ${server_pid:-} ]]; then
    kill -TERM "$server_pid" 2>/dev/null || true
    for _ in $(seq 50); do kill -0 "$server_pid" 2>/dev/null || break; sleep 0.1; done
    kill -KILL "$server_pid" 2>/dev/null || true
    wait "$server_pid" 2>/dev/null || true
  fi
  server_pid=""
}

# publish_theme_change WORK: the demo's step 5, a changed ui.json published.
publish_theme_change() {
  echo
  echo "== 5. change ui.json (theme dark -> solarized) and publish it"
  sed -i 's/"theme": "dark"/"theme": "solarized"/' "$1/data/demo-app/ui.json"
  echo "  server: $(curl -sS --max-time 10 -X POST --data '' "http://127.0.0.1:$port/admin/publish")"
}
