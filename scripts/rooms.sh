# Rooms on Snapcast for scripts/run --rooms (sourced, not run): an MPD with
# a FIFO output feeding a snapserver, and three snapclient rooms that record
# what they play to files. Everything on 127.0.0.1, on ports that were free;
# every process goes into the caller's pids array, so its exit trap stops
# them by pid.

rooms_ids=(living-room kitchen patio)
rooms_names=("Living Room" "Kitchen" "Patio")

# A TCP port on 127.0.0.1 that nothing answers on, and not handed out yet.
rooms_taken=""
rooms_free_port() {
  local port
  while :; do
    port=$((20000 + RANDOM % 40000))
    case " $rooms_taken " in *" $port "*) continue ;; esac
    if ! (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null; then
      rooms_taken="$rooms_taken $port"
      echo "$port"
      return
    fi
  done
}

# Waits up to 10 s until something answers on the port.
rooms_wait_port() {
  local i
  for i in $(seq 1 200); do
    if (exec 3<>"/dev/tcp/127.0.0.1/$1") 2>/dev/null; then
      return 0
    fi
    sleep 0.05
  done
  return 1
}

# One JSON-RPC request to snapserver's control port; prints the answer line.
rooms_call() {
  local reply=""
  exec 4<>"/dev/tcp/127.0.0.1/$rooms_control_port"
  printf '%s\n' "$1" >&4
  IFS= read -r -t 2 reply <&4 || true
  exec 4>&-
  printf '%s\n' "$reply"
}

# A few short tagged tunes, one per room's name, for when no music is given.
rooms_make_music() {
  local folder=$1 tmp
  mkdir -p "$folder/Vantor Rooms"
  tmp=$(mktemp -d "$folder/.tunes.XXXXXX")
  python3 - "$tmp" <<'EOF'
import array, math, sys, wave
rate = 22050
tunes = {
    "1": [60, 64, 67, 72, 67, 64, 60, 55, 57, 60, 64, 60],
    "2": [62, 65, 69, 74, 72, 69, 65, 62, 64, 67, 71, 67],
    "3": [57, 60, 64, 69, 67, 64, 60, 57, 59, 62, 65, 62],
}
for name, notes in tunes.items():
    samples = array.array("h")
    for repeat in range(4):
        for note in notes:
            frequency = 440 * 2 ** ((note - 69) / 12)
            length = int(rate * 0.6)
            for i in range(length):
                envelope = min(1.0, i / 400) * (1 - i / length) ** 0.5
                t = i / rate
                value = math.sin(2 * math.pi * frequency * t) + 0.3 * math.sin(4 * math.pi * frequency * t)
                samples.append(int(9000 * envelope * value))
    with wave.open(f"{sys.argv[1]}/{name}.wav", "wb") as out:
        out.setnchannels(1)
        out.setsampwidth(2)
        out.setframerate(rate)
        out.writeframes(samples.tobytes())
EOF
  local titles=("Living Room Waltz" "Kitchen Shuffle" "Patio Evening") i
  for i in 1 2 3; do
    flac --silent --force -o "$folder/Vantor Rooms/0$i.flac" --tag=ARTIST="Vantor Rooms" \
      --tag=ALBUM="Three Rooms" --tag=TITLE="${titles[i - 1]}" --tag=TRACKNUMBER=$i \
      "$tmp/$i.wav"
  done
  rm -rf "$tmp"
}

# start_rooms STATE [MUSIC]: sets rooms_mpd_port and rooms_control_port.
start_rooms() {
  local state=$1 music=$2 i
  if [ -z "$music" ]; then
    music="$state/music"
    rooms_make_music "$music"
  fi
  mkdir -p "$state/mpd/playlists" "$state/snapserver" "$state/rooms"
  rooms_mpd_port=$(rooms_free_port)
  rooms_control_port=$(rooms_free_port)
  local stream_port
  stream_port=$(rooms_free_port)
  local fifo="$state/snapfifo"
  mkfifo "$fifo"

  cat >"$state/snapserver.conf" <<EOF
[server]
datadir = $state/snapserver
[http]
enabled = false
[tcp]
bind_to_address = 127.0.0.1
port = $rooms_control_port
[stream]
bind_to_address = 127.0.0.1
port = $stream_port
source = pipe://$fifo?name=MPD&sampleformat=48000:16:2&codec=pcm&mode=read
buffer = 400
[logging]
sink = stdout
EOF
  snapserver -c "$state/snapserver.conf" >"$state/snapserver.log" 2>&1 &
  pids+=("$!")
  if ! rooms_wait_port "$rooms_control_port"; then
    cat "$state/snapserver.log"
    echo "snapserver did not start" >&2
    exit 1
  fi

  cat >"$state/mpd/mpd.conf" <<EOF
music_directory "$music"
playlist_directory "$state/mpd/playlists"
db_file "$state/mpd/database"
state_file "$state/mpd/state"
sticker_file "$state/mpd/sticker.sql"
bind_to_address "127.0.0.1"
port "$rooms_mpd_port"
zeroconf_enabled "no"
audio_output {
  type "fifo"
  name "Snapcast"
  path "$fifo"
  format "48000:16:2"
  mixer_type "software"
}
EOF
  mpd --no-daemon --stderr "$state/mpd/mpd.conf" >"$state/mpd.log" 2>&1 &
  pids+=("$!")
  if ! rooms_wait_port "$rooms_mpd_port"; then
    cat "$state/mpd.log"
    echo "mpd did not start" >&2
    exit 1
  fi

  for i in "${!rooms_ids[@]}"; do
    snapclient -h 127.0.0.1 -p "$stream_port" --hostID "${rooms_ids[i]}" \
      --player "file:filename=$state/rooms/${rooms_ids[i]}.pcm" --logsink null \
      >/dev/null 2>&1 &
    pids+=("$!")
  done
  # A room is named once snapserver knows it: it comes with its first hello.
  for i in "${!rooms_ids[@]}"; do
    local named=""
    for _ in $(seq 1 100); do
      if rooms_call '{"id":1,"jsonrpc":"2.0","method":"Server.GetStatus"}' |
        grep -q "\"id\":\"${rooms_ids[i]}\""; then
        rooms_call "{\"id\":2,\"jsonrpc\":\"2.0\",\"method\":\"Client.SetName\",\"params\":{\"id\":\"${rooms_ids[i]}\",\"name\":\"${rooms_names[i]}\"}}" >/dev/null
        named=yes
        break
      fi
      sleep 0.1
    done
    if [ -z "$named" ]; then
      echo "room ${rooms_names[i]} did not reach snapserver" >&2
      exit 1
    fi
  done

  # The recordings grow by 192 kB a second each; emptied every minute they
  # stay small on disk (the files become sparse, the rooms write on).
  (while sleep 60; do truncate -s 0 "$state"/rooms/*.pcm; done) &
  pids+=("$!")

  rooms_state=$state
  local joined
  joined=$(printf ', %s' "${rooms_names[@]}")
  echo "Rooms: ${joined:2}"
  echo "  MPD on 127.0.0.1:$rooms_mpd_port plays into snapserver (control port" \
    "$rooms_control_port); each room records what it plays to $state/rooms/ID.pcm"
  echo "  (raw 48 kHz 16-bit stereo)."
}

# play_rooms VANTORCTL ARGS...: the music on, round and round (once the
# server has found MPD).
play_rooms() {
  local ctl=("$@")
  for _ in $(seq 1 50); do
    if "${ctl[@]}" repeat all >/dev/null 2>&1; then
      "${ctl[@]}" play-path /Music/Songs >/dev/null
      return
    fi
    sleep 0.1
  done
  echo "the server did not reach MPD; the rooms stay silent" >&2
}

# What each room plays now: music or silence (its last half second).
report_rooms() {
  local i
  for i in "${!rooms_ids[@]}"; do
    local file="$rooms_state/rooms/${rooms_ids[i]}.pcm" loud
    loud=$(tail -c 96000 "$file" 2>/dev/null | od -An -v -td2 -w2 |
      awk '{ v = $1 < 0 ? -$1 : $1; if (v > m) m = v } END { print m + 0 }')
    if [ "$loud" -gt 1000 ]; then
      echo "  ${rooms_names[i]}: playing music"
    else
      echo "  ${rooms_names[i]}: silent"
    fi
  done
}
