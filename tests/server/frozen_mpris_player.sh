#!/bin/bash
# vantor-server --mpris in front of a real mpv (mpv-mpris) that freezes
# (SIGSTOP, as a player hung on a busy desktop), with vantorctl users on
# 127.0.0.1; prints how long each of them waits. Runs on a session bus of
# its own:
#   dbus-run-session -- tests/server/frozen_mpris_player.sh MODE [BUILD]
# MODE: start  the player frozen as the server starts
#       early  a client asking for Play while the server starts, before it
#              says it is listening
#       loop   user A presses next every 2.2 s, user B asks the status
#       burst  three users press next together, a fourth asks the status
set -u
mode=${1:-loop}
B=${2:-$(cd "$(dirname "$0")/../../build" && pwd)}
W=$(mktemp -d)
python3 - "$W/a.wav" <<'PY'
import sys, wave
w = wave.open(sys.argv[1], "wb"); w.setnchannels(1); w.setsampwidth(2); w.setframerate(8000)
w.writeframes(b"\0\0" * 8000 * 120); w.close()
PY
mpv --no-config --no-video --ao=null --loop-playlist=inf --script=/usr/lib/mpv-mpris/mpris.so \
  "$W/a.wav" "$W/a.wav" >"$W/mpv.log" 2>&1 &
MPV=$!
for _ in $(seq 100); do playerctl -l 2>/dev/null | grep -q mpv && break; sleep 0.1; done
now() { date +%s.%N; }
since() { echo "$(now) - $1" | bc; }
free_port() { python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1",0)); print(s.getsockname()[1])'; }
PORT=$(free_port)
MPORT=$(free_port)
start_server() {
  T0=$(now)
  "$B/server/vantor-server" --mpris --bind 127.0.0.1 --port "$PORT" --no-discovery \
    --media-port "$MPORT" >"$W/server.out" 2>"$W/server.err" &
  SRV=$!
}
wait_ready() {
  for _ in $(seq 400); do grep -q listening "$W/server.out" && break; sleep 0.05; done
  printf 'server says it is listening after %.2f s\n' "$(since "$T0")"
}
ctl() { "$B/tools/vantorctl" --server 127.0.0.1 --port "$PORT" --media-port "$MPORT" "$@"; }
timed() {
  local a
  a=$(now)
  "$@" >/dev/null 2>&1
  local rc=$?
  printf '%-22s rc=%d %.2f s\n' "$*" $rc "$(since "$a")"
}

case "$mode" in
start)
  kill -STOP $MPV
  start_server
  wait_ready
  cat "$W/server.err"
  kill -CONT $MPV
  ;;
early)
  kill -STOP $MPV
  ( sleep 1.5; kill -CONT $MPV ) &
  start_server
  for _ in $(seq 30); do
    ctl play >"$W/st" 2>&1
    rc=$?
    printf '%.2f s: play rc=%d %s | listening printed: %s\n' "$(since "$T0")" $rc \
      "$(tail -1 "$W/st" | cut -c1-60)" "$(grep -c listening "$W/server.out")"
    grep -q listening "$W/server.out" && break
    sleep 0.2
  done
  ;;
loop)
  start_server
  wait_ready
  kill -STOP $MPV
  ( for _ in 1 2 3 4 5; do timed ctl next | sed 's/^/A /'; sleep 2.2; done ) &
  A=$!
  ( for _ in $(seq 40); do timed ctl status | sed 's/^/  B /'; sleep 0.3; done ) &
  C=$!
  wait $A $C
  kill -CONT $MPV
  ;;
burst)
  start_server
  wait_ready
  kill -STOP $MPV
  users=()
  for i in 1 2 3; do
    ( timed ctl next | sed "s/^/user$i /" ) &
    users+=($!)
  done
  sleep 0.1
  timed ctl status | sed 's/^/status /'
  wait "${users[@]}"
  kill -CONT $MPV
  ;;
esac
kill $SRV
wait $SRV 2>/dev/null
kill $MPV
wait $MPV 2>/dev/null
rm -rf "$W"
