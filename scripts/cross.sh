#!/usr/bin/env bash
# Builds the whole tree (service, client, tests) for a receiver's processor and runs the test
# suite under emulation:
#   scripts/cross.sh armhf     32-bit ARM (arm-linux-gnueabihf)
#   scripts/cross.sh arm64     64-bit ARM (aarch64-linux-gnu)
# Debian's cross compiler builds against a root of the target architecture (the sysroot): the
# development packages the tree links against and their dependencies, unpacked by mmdebstrap from
# this machine's apt sources, and kept in /var/cache/trevalo-cross/<arch> (TREVALO_CROSS_CACHE)
# for the next run: it is made again only when its package list or sources change. The target
# programs run under qemu-user through binfmt_misc, their loader and libraries taken from the
# root; the tests' bus daemons and tools are this machine's own.
# Needs root or sudo for the packages, binfmt_misc and the root. Ends with CTest's summary.
set -euo pipefail
cd "$(dirname "$0")/.."

arch=${1:-}
case "$arch" in
  armhf) triplet=arm-linux-gnueabihf qemu=qemu-arm ;;
  arm64) triplet=aarch64-linux-gnu qemu=qemu-aarch64 ;;
  *)
    echo "usage: $0 armhf|arm64" >&2
    exit 2
    ;;
esac
scripts/setup.sh cross

if [ "$(id -u)" -eq 0 ]; then
  as_root=(env)
else
  as_root=(sudo env)
fi

# Target programs run under qemu whoever starts them: the tests start the service, the client
# and each other through plain exec.
binfmt=/proc/sys/fs/binfmt_misc
if [ ! -e "$binfmt/status" ]; then
  "${as_root[@]}" mount -t binfmt_misc binfmt_misc "$binfmt"
fi
if [ ! -e "$binfmt/$qemu" ]; then
  "${as_root[@]}" update-binfmts --enable "$qemu"
fi
if [ "$(head -n 1 "$binfmt/$qemu")" != enabled ]; then
  echo "cross: binfmt_misc does not run $arch programs ($binfmt/$qemu)" >&2
  exit 1
fi

# The Debian suites this machine installs from, one sources.list line each: the release and its
# updates. Not the security suite: a mirror's may lack, or hold a half-synced index of, another
# architecture, and a root to build and test against needs none of its fixes.
codename=$(. /etc/os-release && echo "$VERSION_CODENAME")
debian_sources() {
  apt-get indextargets --format '$(REPO_URI) $(RELEASE) $(COMPONENT)' 'Created-By: Packages' |
    awk -v release="$codename" '
      $2 == release || $2 == release "-updates" {
        key = $1 " " $2
        if (!(key in components)) order[++n] = key
        if (index(" " components[key] " ", " " $3 " ") == 0) components[key] = components[key] " " $3
      }
      END { for (i = 1; i <= n; i++) print "deb " order[i] components[order[i]] }'
}
sources=$(debian_sources)
if [ -z "$sources" ]; then
  "${as_root[@]}" apt-get update -qq
  sources=$(debian_sources)
fi
if ! awk -v release="$codename" '$3 == release { found = 1 } END { exit !found }' <<<"$sources"; then
  echo "cross: no apt source of Debian $codename on this machine" >&2
  exit 1
fi

# What the tree links against on the target: the development packages that scripts/setup.sh
# installs here for the build and the tests (not the fuzzers' clang runtime), the C library and
# the C++ library of the cross compiler's version.
mapfile -t target_packages < <(sed -n '/^\(build\|test\)_packages=(/,/^)/p' scripts/setup.sh |
  grep -o '\blib[a-z0-9.+-]*-dev\b' | grep -v '^libclang-rt-')
if [ ${#target_packages[@]} -eq 0 ]; then
  echo "cross: no development packages found in scripts/setup.sh" >&2
  exit 1
fi
gcc_major=$("$triplet-g++" -dumpversion | cut -d. -f1)
target_packages+=(libc6-dev "libstdc++-$gcc_major-dev")
key=$(printf '%s\n' "$codename" "$arch" "$sources" "${target_packages[@]}" | sha256sum | cut -c1-16)
cache=${TREVALO_CROSS_CACHE:-/var/cache/trevalo-cross}
root=$cache/$arch

make_root() {
  local new=$root.new
  echo "== making the $arch root in $root (mmdebstrap)" >&2
  "${as_root[@]}" rm -rf "$new"
  # Only unpacked, as a sysroot needs: nothing of the target runs, so no emulation is needed.
  local -a suites
  mapfile -t suites <<<"$sources"
  if ! "${as_root[@]}" mmdebstrap --variant=extract --architectures="$arch" \
    --include="$(IFS=,; echo "${target_packages[*]}")" "$codename" "$new" "${suites[@]}" \
    >"$cache/$arch.log" 2>&1; then
    tail -n 20 "$cache/$arch.log" >&2
    exit 1
  fi
  echo "$key" | "${as_root[@]}" tee "$new/.trevalo-sysroot" >/dev/null
  "${as_root[@]}" rm -rf "$root"
  "${as_root[@]}" mv "$new" "$root"
}

lock=$cache/$arch.lock
"${as_root[@]}" mkdir -p "$cache"
[ -e "$lock" ] || "${as_root[@]}" touch "$lock"
exec 9<"$lock"
flock -x 9
if [ "$(cat "$root/.trevalo-sysroot" 2>/dev/null)" != "$key" ]; then
  make_root
else
  echo "== the $arch root: $root (cached)" >&2
fi
flock -s 9 # other runs may use the root meanwhile, but not make it again
# What the build and the tests start must not inherit the lock: a bus daemon or service left
# behind would hold it, and the next run would wait for it forever.

build=${TREVALO_CROSS_BUILD_DIR:-build-$arch}
jobs=$(nproc)
echo "== $build: configure and build for $triplet" >&2
cmake -S . -B "$build" -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/toolchains/$triplet.cmake" \
  -DTREVALO_SYSROOT="$root" -DCMAKE_BUILD_TYPE=Release -DTREVALO_WERROR=ON \
  -DTREVALO_BENCH=OFF >/dev/null 9<&-
cmake --build "$build" -j"$jobs" 9<&-

service=$build/bin/trevalo_service
echo "== $service: $("$triplet-readelf" -h "$service" | awk -F: '/Class|Machine/ { gsub(/^ +/, "", $2); printf "%s ", $2 }')" >&2

echo "== $build: tests under qemu" >&2
(cd "$build" && ctest --output-on-failure -j"$jobs" --timeout 900) 9<&-
