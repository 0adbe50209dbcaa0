#!/usr/bin/env bash
# Installs, from Debian packages, whatever the build, the service and the tests need and the
# machine lacks. Safe to run again: it installs nothing when everything is present.
set -euo pipefail

packages=(
  build-essential cmake pkg-config clang clang-format libclang-rt-14-dev
  libglib2.0-dev libglib2.0-bin libsystemd-dev libjsoncpp-dev libefl-all-dev dbus-daemon dbus-bin
  libgtest-dev libgmock-dev libbenchmark-dev libdvbpsi-dev ffmpeg libdbus-1-dev groff-base man-db
  systemd
)

missing=()
for package in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$package")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

if [ "$(id -u)" -eq 0 ]; then
  as_root=(env DEBIAN_FRONTEND=noninteractive)
elif command -v sudo >/dev/null 2>&1; then
  as_root=(sudo env DEBIAN_FRONTEND=noninteractive)
else
  echo "setup: these packages are missing and there is neither root nor sudo: ${missing[*]}" >&2
  exit 1
fi

echo "setup: installing ${missing[*]}" >&2
"${as_root[@]}" apt-get update -qq
"${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
