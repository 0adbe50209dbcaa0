#!/usr/bin/env bash
# The first run: installs what is missing, builds trevalo_service and trevalo-cli, starts a
# private D-Bus bus (unless DBUS_SESSION_BUS_ADDRESS names one), starts the service, makes a
# sample broadcast stream with ffmpeg, sends its PMT with trevalo-cli and prints the catalogue
# the service made of it. Then it stops everything it started.
#
#   scripts/run.sh           the demo, then everything stops
#   scripts/run.sh --serve   the demo, then the service keeps running until Ctrl-C; prints the
#                            bus address to use with trevalo-cli
#
# TREVALO_BUILD_DIR chooses the build directory (default: build). A run started while another
# is going on (a --serve run, say) keeps its files in build/demo/run-PID instead.
set -euo pipefail
cd "$(dirname "$0")/.."

serve=false
case "${1:-}" in
  "") ;;
  --serve) serve=true ;;
  -h | --help)
    sed -n '2,13p' "$0" | sed 's/^# \{0,1\}//'
    exit 0
    ;;
  *)
    echo "run.sh: unknown option '$1' (see scripts/run.sh --help)" >&2
    exit 2
    ;;
esac

build=${TREVALO_BUILD_DIR:-build}
demo=$build/demo
cli=$build/bin/trevalo-cli
bus_name=org.ondrel.TCServer.trevalo_service

step() { printf '\n== %s\n' "$*"; }

scripts/setup.sh demo
mkdir -p "$demo"
# A run holds build/demo for as long as it goes on (a --serve run until Ctrl-C); a second run at
# the same time keeps its files apart, so that it never overwrites the first one's logs.
exec 9>>"$demo/.in-use"
if ! flock -n 9; then
  demo=$demo/run-$$
  mkdir -p "$demo"
  echo "run.sh: another run.sh is using $build/demo; this run's files go to $demo" >&2
fi

step "building trevalo_service and trevalo-cli in $build/ (log: $demo/build.log)"
if ! { cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTREVALO_TESTS=OFF -DTREVALO_BENCH=OFF &&
  cmake --build "$build" -j"$(nproc)" --target trevalo_service trevalo-cli; } >"$demo/build.log" 2>&1; then
  tail -n 30 "$demo/build.log" >&2
  echo "run.sh: the build failed; the whole log is in $demo/build.log" >&2
  exit 1
fi

bus_pid=
service_pid=
stop_all() {
  if [ -n "$service_pid" ] && kill -0 "$service_pid" 2>/dev/null; then
    kill -TERM "$service_pid" 2>/dev/null || true
    wait "$service_pid" 2>/dev/null || true
    echo "trevalo_service stopped"
  fi
  if [ -n "$bus_pid" ] && kill -0 "$bus_pid" 2>/dev/null; then
    kill -TERM "$bus_pid" 2>/dev/null || true
    wait "$bus_pid" 2>/dev/null || true
    echo "private bus stopped"
  fi
}
trap stop_all EXIT
trap 'exit 130' INT TERM

if [ -z "${DBUS_SESSION_BUS_ADDRESS:-}" ]; then
  dbus-daemon --session --nofork --print-address=1 >"$demo/bus.address" 2>"$demo/bus.log" &
  bus_pid=$!
  for _ in $(seq 200); do # 10 s: a busy machine can be slow to start it
    [ -s "$demo/bus.address" ] && break
    sleep 0.05
  done
  DBUS_SESSION_BUS_ADDRESS=$(head -n1 "$demo/bus.address")
  if [ -z "$DBUS_SESSION_BUS_ADDRESS" ]; then
    echo "run.sh: dbus-daemon did not start: see $demo/bus.log" >&2
    exit 1
  fi
  export DBUS_SESSION_BUS_ADDRESS
  step "private bus started: DBUS_SESSION_BUS_ADDRESS=$DBUS_SESSION_BUS_ADDRESS"
else
  step "using the bus at DBUS_SESSION_BUS_ADDRESS=$DBUS_SESSION_BUS_ADDRESS"
fi

step "starting trevalo_service (its log: $demo/service.log)"
"$build/bin/trevalo_service" 2>"$demo/service.log" &
service_pid=$!
# The pid of the process owning the name; empty while nobody does (gdbus then fails, which
# under pipefail is no reason to stop).
owner_pid() {
  { gdbus call --address "$DBUS_SESSION_BUS_ADDRESS" --dest org.freedesktop.DBus \
    --object-path /org/freedesktop/DBus --method org.freedesktop.DBus.GetConnectionUnixProcessID \
    "$bus_name" 2>/dev/null || true; } | sed -n 's/^(uint32 \([0-9]*\),)$/\1/p'
}
# Another process may own the name already: only the one started here will do.
owner=
for _ in $(seq 600); do
  owner=$(owner_pid)
  [ "$owner" = "$service_pid" ] && break
  if ! kill -0 "$service_pid" 2>/dev/null; then
    tail -n 5 "$demo/service.log" >&2
    if [ -n "$owner" ]; then
      echo "run.sh: $bus_name is owned by another process (pid $owner:" \
        "$(readlink "/proc/$owner/exe" 2>/dev/null || echo 'executable unknown')), so the" \
        "trevalo_service started here stopped; stop that one or use another bus" >&2
    else
      echo "run.sh: trevalo_service stopped at once: see $demo/service.log" >&2
    fi
    service_pid=
    exit 1
  fi
  sleep 0.05
done
if [ "$owner" != "$service_pid" ]; then
  echo "run.sh: after 30 s, $bus_name is owned by ${owner:-nobody}, not by the" \
    "trevalo_service started here (pid $service_pid): see $demo/service.log" >&2
  exit 1
fi
echo "trevalo_service (pid $service_pid) owns $bus_name"

sample=$demo/sample.ts
step "making a sample broadcast stream with ffmpeg: $sample"
echo "AVC video; AC-3 (English) and Enhanced AC-3 (German) as DVB private streams; MPEG audio (French)"
ffmpeg -hide_banner -loglevel error -nostdin -y \
  -f lavfi -i testsrc2=size=640x360:rate=25 \
  -f lavfi -i sine=frequency=440:sample_rate=48000 \
  -f lavfi -i sine=frequency=550:sample_rate=48000 \
  -f lavfi -i sine=frequency=660:sample_rate=48000 \
  -t 4 -map 0:v -map 1:a -map 2:a -map 3:a \
  -c:v libx264 -preset ultrafast -pix_fmt yuv420p \
  -c:a:0 ac3 -c:a:1 eac3 -c:a:2 mp2 \
  -metadata:s:a:0 language=eng -metadata:s:a:1 language=deu -metadata:s:a:2 language=fra \
  -metadata service_provider=trevalo -metadata service_name="Trevalo test card" \
  -mpegts_flags system_b -f mpegts "$sample"

step "sending its PMT to the service: $cli pmt $sample"
"$cli" pmt "$sample"

if $serve; then
  trap 'exit 0' INT TERM # asked for: an orderly end
  step "trevalo_service keeps running; Ctrl-C stops it"
  echo "From another terminal:"
  echo "  export DBUS_SESSION_BUS_ADDRESS='$DBUS_SESSION_BUS_ADDRESS'"
  echo "  $cli catalogue"
  echo "  $cli pmt YOUR-RECORDING.ts --program N"
  wait "$service_pid" || true
  service_pid=
else
  step "done; try it yourself: $cli --help, or scripts/run.sh --serve to keep the service running"
fi
