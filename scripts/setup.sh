#!/usr/bin/env bash
# Installs, from Debian packages, what the asked-for job needs and the machine lacks:
#   scripts/setup.sh build   the service and the client
#   scripts/setup.sh test    the build, the test suite, the benchmarks, the fuzzer and the
#                            system test (default)
#   scripts/setup.sh demo    the build, a bus and ffmpeg for scripts/run.sh
#   scripts/setup.sh package the build and what makes and checks the Debian packages
#                            (dpkg-buildpackage -b, lintian)
#   scripts/setup.sh cross   the build, the cross compilers, qemu and mmdebstrap for
#                            scripts/cross.sh, and the programs its tests run on this machine
# Safe to run again: it installs nothing when everything is present. To add a package, add it
# to the job that needs it.
set -euo pipefail

job=${1:-test}
build_packages=(
  build-essential cmake pkg-config
  libglib2.0-dev libjsoncpp-dev libefl-all-dev libsystemd-dev
  libdbus-1-dev groff-base man-db
)
test_packages=(
  dbus-daemon dbus-bin libglib2.0-bin
  libgtest-dev libgmock-dev libbenchmark-dev libdvbpsi-dev
  clang clang-format libclang-rt-14-dev
  systemd
)
demo_packages=(
  dbus-daemon dbus-bin
  ffmpeg
)
package_packages=(
  debhelper dpkg-dev lintian
)
# scripts/system-test.sh: a Debian root booted in a container.
system_test_packages=(
  debootstrap systemd-container
)
cross_packages=(
  crossbuild-essential-armhf crossbuild-essential-arm64
  qemu-user-static binfmt-support mmdebstrap
  dbus-daemon dbus-bin libglib2.0-bin systemd
)

case "$job" in
  build) packages=("${build_packages[@]}") ;;
  test) packages=("${build_packages[@]}" "${test_packages[@]}" "${package_packages[@]}"
    "${system_test_packages[@]}") ;;
  demo) packages=("${build_packages[@]}" "${demo_packages[@]}") ;;
  package) packages=("${build_packages[@]}" "${package_packages[@]}") ;;
  cross) packages=("${build_packages[@]}" "${cross_packages[@]}") ;;
  *)
    echo "usage: $0 [build|test|demo|package|cross]" >&2
    exit 2
    ;;
esac

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
