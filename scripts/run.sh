#!/usr/bin/env bash
# Installs what is missing, builds, and runs trevalo_service on a D-Bus bus: the one named by
# DBUS_SESSION_BUS_ADDRESS, or a private dbus-daemon started here (its address is printed).
# Stop it with Ctrl-C.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j"$(nproc)" --target trevalo_service

bus_pid=
cleanup() { [ -n "$bus_pid" ] && kill "$bus_pid" 2>/dev/null || true; }
trap cleanup EXIT
if [ -z "${DBUS_SESSION_BUS_ADDRESS:-}" ]; then
  address_file=$(mktemp)
  dbus-daemon --session --nofork --print-address=1 >"$address_file" 2>/dev/null &
  bus_pid=$!
  while [ ! -s "$address_file" ]; do sleep 0.05; done
  DBUS_SESSION_BUS_ADDRESS=$(head -n1 "$address_file")
  export DBUS_SESSION_BUS_ADDRESS
  rm -f "$address_file"
  echo "trevalo_service: private bus at DBUS_SESSION_BUS_ADDRESS=$DBUS_SESSION_BUS_ADDRESS" >&2
fi
build/bin/trevalo_service
