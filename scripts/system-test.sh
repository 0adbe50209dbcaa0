#!/usr/bin/env bash
# The service on a booted Debian 12 system, installed from its packages as an integrator would:
# builds the .debs (dpkg-buildpackage) and checks them with lintian, boots a minimal Debian 12
# root with systemd-nspawn, installs them there with apt and checks, on the running system, bus
# activation by an unprivileged user's first call, the service's user and sandbox, a stream's
# catalogue, the journal, a crash, an orderly stop, purge and reinstall.
#   scripts/system-test.sh [BUILD_DIR]     (default build-release)
# BUILD_DIR/system-test/ keeps the bootstrapped root (root.tar, made once), the packages (built
# again only when the source changed) and the logs. Needs root, systemd-nspawn and a cgroup file
# system (in a chroot it mounts one); without them it says why it skipped and exits 0.
set -euo pipefail
cd "$(dirname "$0")/.."
source_dir=$PWD
stream=$source_dir/tests/data/captures/ts/multi-programme-ac3-subtitles.ts
largest_section=$source_dir/tests/data/captures/pmt/test-018.p1.v4.0.sec
unit=trevalo_service.service
bus_name=org.ondrel.TCServer.trevalo_service
object=/org/ondrel/TCServer/trevalo_service

skip() {
  echo "system test skipped: $*" >&2
  exit 0
}
[ "$(id -u)" -eq 0 ] || skip "it needs root (debootstrap, systemd-nspawn)"
for tool in debootstrap systemd-nspawn nsenter dpkg-buildpackage lintian; do
  command -v "$tool" >/dev/null || skip "$tool is missing (scripts/setup.sh package installs it)"
done

# A chroot (a freshly bootstrapped root entered with chroot, as a newcomer's first try may be) is
# no place for systemd-nspawn: it needs / to be a mount point, and /sys with the cgroup file
# system. There the test runs again in a mount namespace of its own, chrooted into a bind mount of
# this same root made under a private /tmp, with sysfs and the cgroup file system mounted in it;
# all of that ends with the namespace.
self=$source_dir/scripts/system-test.sh
if [ "${TREVALO_SYSTEM_TEST_STAGE:-}" = rerooting ]; then
  top=/tmp/.trevalo-system-test-root
  { mount --make-private /tmp && mkdir -p "$top" && mount --rbind / "$top" &&
    mount --make-rprivate "$top"; } || skip "cannot make a bind mount of / in a mount namespace"
  if [ -z "$(ls -A "$top/sys/fs/cgroup" 2>/dev/null)" ]; then
    { mount -t sysfs sysfs "$top/sys" && mount -t cgroup2 cgroup2 "$top/sys/fs/cgroup"; } ||
      skip "cannot mount sysfs and the cgroup file system in a mount namespace"
  fi
  exec chroot "$top" env TREVALO_SYSTEM_TEST_STAGE=rerooted "$self" "$@"
fi
if ! mountpoint -q /; then
  [ -z "${TREVALO_SYSTEM_TEST_STAGE:-}" ] || skip "/ is no mount point even in a mount namespace of its own"
  mountpoint -q /tmp || skip "/ is no mount point (a chroot?) and /tmp is none either: nowhere to make one"
  echo "system test: / is no mount point (a chroot): running in a mount namespace of its own" >&2
  TREVALO_SYSTEM_TEST_STAGE=rerooting exec unshare --mount --propagation unchanged "$self" "$@"
fi
# systemd-nspawn places the container's systemd in a cgroup of its own.
if [ -z "$(ls -A /sys/fs/cgroup 2>/dev/null)" ]; then
  skip "no cgroup file system at /sys/fs/cgroup: systemd-nspawn cannot boot a container"
fi
work=$(mkdir -p "${1:-build-release}/system-test" && cd "${1:-build-release}/system-test" && pwd)
# The flood client of the fault and flood checks, built with the benchmarks.
flood_client=$work/../bin/bus_flood
if [ ! -x "$flood_client" ]; then
  echo "system test FAILED: no $flood_client: build ${1:-build-release} with the benchmarks (TREVALO_BENCH, on by default)" >&2
  exit 1
fi

step() { echo "== system test: $*" >&2; }
fail() {
  echo "system test FAILED: $*" >&2
  exit 1
}

# --- the packages, built from a copy of the tree (dpkg-buildpackage writes beside the source),
# without what they neither build nor ship
packages=$work/packages
package_source=(--exclude='./build*' --exclude='./obj-*' --exclude=./.git --exclude=./tests
  --exclude=./bench --exclude=./fuzz --exclude=./scripts -C "$source_dir" .)
source_key=$(tar --sort=name --mtime=@0 --owner=0 --group=0 -cf - "${package_source[@]}" | sha256sum | cut -c1-16)
if [ "$(cat "$packages/source-key" 2>/dev/null)" != "$source_key" ]; then
  step "building the packages (log: $work/package-build.log)"
  rm -rf "$packages" && mkdir -p "$packages/trevalo-service"
  tar -cf - "${package_source[@]}" | tar -C "$packages/trevalo-service" -xf -
  (cd "$packages/trevalo-service" &&
    DEB_BUILD_OPTIONS="parallel=$(nproc)" dpkg-buildpackage -b -us -uc) >"$work/package-build.log" 2>&1 ||
    fail "dpkg-buildpackage failed: tail of $work/package-build.log:$(echo; tail -20 "$work/package-build.log")"
  rm -rf "$packages/trevalo-service"
  lintian --fail-on error "$packages"/*.changes >"$packages/lintian.log" 2>&1 ||
    fail "lintian reports errors:$(echo; cat "$packages/lintian.log")"
  echo "$source_key" >"$packages/source-key"
fi
debs=("$packages"/trevalo-service_*.deb "$packages"/trevalo-cli_*.deb)
grep -v "root privileges" "$packages/lintian.log" | sed "s/^/lintian: /" >&2 || true

# --- a minimal Debian 12 with systemd and dbus, from this machine's apt sources, made once
root_tar=$work/root.tar
if [ ! -s "$root_tar" ]; then
  if [ -f /etc/apt/sources.list.d/debian.sources ]; then
    mirror=$(awk '/^URIs:/ { print $2; exit }' /etc/apt/sources.list.d/debian.sources)
  else
    mirror=$(awk '$1 == "deb" { print $2; exit }' /etc/apt/sources.list)
  fi
  step "bootstrapping Debian 12 from $mirror (once; log: $work/debootstrap.log)"
  rm -rf "$work/root.new"
  debootstrap --variant=minbase --include=systemd,systemd-sysv,dbus bookworm "$work/root.new" \
    "$mirror" >"$work/debootstrap.log" 2>&1 || fail "debootstrap failed: see $work/debootstrap.log"
  if [ -f /etc/apt/sources.list.d/debian.sources ]; then
    cp /etc/apt/sources.list.d/debian.sources "$work/root.new/etc/apt/sources.list.d/"
    rm -f "$work/root.new/etc/apt/sources.list"
  fi
  # The libraries the packages need, so that installing them later takes no download.
  dependencies=$(dpkg-deb -f "${debs[0]}" Depends | tr ',' '\n' | sed 's/[|(].*//; s/ //g' | tr '\n' ' ')
  chroot "$work/root.new" sh -c "apt-get update -qq && DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends $dependencies && apt-get clean" \
    >>"$work/debootstrap.log" 2>&1 || fail "installing the packages' dependencies failed: see $work/debootstrap.log"
  tar -C "$work/root.new" -cf "$root_tar.new" . && mv "$root_tar.new" "$root_tar" && rm -rf "$work/root.new"
fi

# --- boot it
machine=$work/machine
nspawn=
leader=
finish() {
  local status=$?
  if [ -n "$nspawn" ] && kill -0 "$nspawn" 2>/dev/null; then
    if [ "$status" -ne 0 ] && [ -n "$leader" ]; then
      inside journalctl -b --no-pager >"$work/journal.log" 2>&1 || true
      echo "system test: the container's journal: $work/journal.log" >&2
    fi
    kill -TERM "$nspawn" # the container shuts down in order
    for _ in $(seq 100); do kill -0 "$nspawn" 2>/dev/null || break; sleep 0.1; done
    kill -KILL "$nspawn" 2>/dev/null || true
    wait "$nspawn" 2>/dev/null || true
  fi
  rm -rf "$machine"
}
trap finish EXIT
rm -rf "$machine" && mkdir -p "$machine" && tar -C "$machine" -xf "$root_tar"
# The container's /tmp is a tmpfs: the packages and the stream go elsewhere.
mkdir -p "$machine/srv/trevalo" && cp "${debs[@]}" "$stream" "$largest_section" "$flood_client" "$machine/srv/trevalo/"
step "booting it with systemd-nspawn (console: $work/boot.log)"
started=$(date +%s.%N)
# The journal on a file system as small as a receiver's flash, where journald's free-space factor
# leaves its rate limit near the unit's own burst.
systemd-nspawn --boot --register=no --keep-unit --quiet --console=read-only -D "$machine" \
  --tmpfs=/var/log/journal:size=64M,mode=2755 </dev/null >"$work/boot.log" 2>&1 &
nspawn=$!

# This machine's PID 1 may not be systemd (no machinectl): the container is reached through the
# namespaces of its systemd, the child of systemd-nspawn.
for _ in $(seq 200); do
  kill -0 "$nspawn" 2>/dev/null || fail "systemd-nspawn ended:$(echo; tail -20 "$work/boot.log")"
  for status in /proc/[0-9]*/status; do
    if grep -q "^PPid:[[:space:]]*$nspawn\$" "$status" 2>/dev/null &&
      grep -q '^Name:[[:space:]]*systemd$' "$status" 2>/dev/null; then
      leader=$(basename "$(dirname "$status")")
    fi
  done
  [ -n "$leader" ] && break
  sleep 0.1
done
[ -n "$leader" ] || fail "no systemd inside the container:$(echo; tail -20 "$work/boot.log")"
inside() { nsenter -t "$leader" -a -r -w env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LANG=C.UTF-8 "$@"; }
as_nobody() { inside setpriv --reuid=nobody --regid=nogroup --clear-groups "$@"; }
# A client admitted to requests: in group trevalo, as the player's user would be.
as_client() { inside setpriv --reuid=nobody --regid=nogroup --groups=trevalo "$@"; }
# "offline", or no bus to connect to, until systemd listens; then --wait waits for the boot to end.
for _ in $(seq 300); do
  state=$(timeout 60 nsenter -t "$leader" -a -r -w systemctl is-system-running --wait 2>&1 || true)
  case "$state" in offline | "Failed to connect to bus"*) ;; *) break ;; esac
  sleep 0.1
done
case "$state" in
  running) ;;
  degraded) echo "system test: the container runs degraded: $(inside systemctl --failed --plain --no-legend | tr '\n' ' ')" >&2 ;;
  *) fail "the container did not boot ($state):$(echo; tail -20 "$work/boot.log")" ;;
esac
echo "system test: systemd $state after $(awk "BEGIN { printf \"%.1f\", $(date +%s.%N) - $started }") s" >&2

# --- the checks
passed=0
failed=0
check() { # DESCRIPTION COMMAND...: one check, counted
  local description=$1
  shift
  if "$@"; then
    passed=$((passed + 1))
    echo "ok: $description" >&2
  else
    failed=$((failed + 1))
    echo "FAILED: $description" >&2
  fi
}
equals() { # ACTUAL EXPECTED
  [ "$1" = "$2" ] || {
    echo "  got: $1" >&2
    echo "  expected: $2" >&2
    return 1
  }
}
property() { inside systemctl show -P "$1" "$unit"; }
install_packages() {
  inside env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends \
    "${debs[@]/#$packages//srv/trevalo}" >>"$work/apt.log" 2>&1
}
first_call_activates() {
  equals "$(property ActiveState)" inactive &&
    as_nobody busctl --system introspect "$bus_name" "$object" | grep -q '^org\.ondrel\.TCServer ' &&
    equals "$(property ActiveState)" active
}

step "installing the packages with apt (log: $work/apt.log)"
: >"$work/apt.log"
install_packages || fail "apt could not install the packages:$(echo; tail -20 "$work/apt.log")"
check "the service's system user exists" inside getent passwd trevalo_service >/dev/null
check "the unit is enabled and not started" equals "$(inside systemctl is-enabled "$unit")/$(property ActiveState)" enabled/inactive
# The kernel refuses user namespaces to a container started from a chroot, and the unit's
# PrivateUsers= would then keep the service from starting at all: such a run goes without it.
if ! inside unshare --user true 2>/dev/null; then
  echo "system test: the kernel refuses user namespaces in this container (started from a chroot): the service runs without PrivateUsers= here" >&2
  inside sh -c "mkdir -p /run/systemd/system/$unit.d &&
    printf '[Service]\nPrivateUsers=no\n' >/run/systemd/system/$unit.d/no-user-namespace.conf" &&
    inside systemctl daemon-reload
fi
check "an unprivileged user's first call starts the service" first_call_activates

pid=$(property MainPID)
proc_status=$(inside cat "/proc/$pid/status" || true)
field() { awk -v name="$1:" '$1 == name { print $2 }' <<<"$proc_status"; }
check "it runs as trevalo_service, without capabilities or new privileges, under a seccomp filter" \
  equals "$(field Uid) $(field CapEff) $(field NoNewPrivs) $(field Seccomp)" \
  "$(inside id -u trevalo_service) 0000000000000000 1 2"
exposure=$(inside systemd-analyze security "$unit" 2>&1 |
  sed -n 's/.*Overall exposure level for [^:]*: \([0-9.]*\).*/\1/p')
echo "system test: systemd-analyze security $unit: ${exposure:-?}" >&2
check "the loaded unit's exposure is at most 1.0" awk -v e="$exposure" 'BEGIN { exit !(e != "" && e <= 1.0) }'

catalogue=$(as_client trevalo-cli pmt /srv/trevalo/"$(basename "$stream")")
check "trevalo-cli pmt gives the stream's catalogue" equals "$catalogue" "$(
  cat <<'EOF'
programme 8801: PMT version 10 on PID 100 (0x0064), 106 bytes: catalogue rebuilt
KIND      #  PID           TAG  ENCODING  LANG  ROLE                FLAGS
video     0  110 (0x006E)  -    AVC (1)   -     -
audio     0  121 (0x0079)  -    AC-3 (0)  fra   main, multichannel
audio     1  122 (0x007A)  -    AC-3 (0)  eng   main, multichannel
audio     2  123 (0x007B)  -    AC-3 (0)  qad   main, stereo
subtitle  0  142 (0x008E)  -    -         fra   -
subtitle  1  143 (0x008F)  -    -         fra   hard of hearing
EOF
)"
check "an index out of range is refused" equals "$(as_client trevalo-cli call GetAudio --data 9)" '{"return_data":""}'
refused_request() { ! as_nobody trevalo-cli call SizeOfAudio 2>&1 | grep -q '"return_data"'; }
check "a user outside group trevalo reads nothing through requests" refused_request

# The journal: one entry per line, sent by the service itself with its fields.
inside journalctl --sync
journal() { inside journalctl --no-pager "_SYSTEMD_UNIT=$unit" "_PID=$pid" _COMM=trevalo_service "$@"; }
# Each entry, one JSON object a line: the letter and tag the line starts with give its PRIORITY
# and SYSLOG_IDENTIFIER, and the service's own lines (not the framework's, tag ONDREL) carry the
# code fields.
entries_of_their_lines() {
  journal -o json | awk '
    BEGIN { split("V 7 D 7 I 6 W 4 E 3 F 2", pairs); for (i = 1; i < 12; i += 2) of[pairs[i]] = pairs[i + 1] }
    function field(name) {
      if (!match($0, "\"" name "\":\"([^\"\\\\]|\\\\.)*\"")) return "-"
      return substr($0, RSTART + length(name) + 4, RLENGTH - length(name) - 5)
    }
    {
      message = field("MESSAGE")
      priority = of[substr(message, 1, 1)]
      tag = substr(message, 3, index(message, "(") - 3)
      if (field("PRIORITY") != priority || field("SYSLOG_IDENTIFIER") != tag || tag == "" ||
          field("_TRANSPORT") != "journal" || (tag != "ONDREL" && (field("CODE_FILE") == "-" ||
          field("CODE_LINE") == "-" || field("CODE_FUNC") == "-"))) {
        print "  " $0 > "/dev/stderr"
        wrong++
      }
      if (priority == 6) info++
      if (priority == 3) errors++
    }
    END { exit !(NR > 0 && info > 0 && errors > 0 && wrong == 0) }'
}
check "the journal holds the service's lines, each with its PRIORITY, SYSLOG_IDENTIFIER and code fields" \
  entries_of_their_lines
check "no line reached the journal through standard error as well" \
  equals "$(inside journalctl --no-pager -q "_SYSTEMD_UNIT=$unit" _TRANSPORT=stdout -o cat)" ""
check "each line once: the one line naming the stream's 'qad' track" \
  equals "$(journal -o cat | grep -c 'ISO 639 Language, qad audio desc false')" 1
errors=$(inside journalctl --no-pager -q "_SYSTEMD_UNIT=$unit" -p err -o cat)
check "journalctl -p err shows the error lines only" \
  equals "$(grep -c 'GetAudio([0-9]*) > \[GetAudio:[0-9]*\] invalid index' <<<"$errors")/$(grep -vc '^E/TREVALO_SERVICE(' <<<"$errors")" 1/0

restarted() {
  inside sh -c "kill -SEGV $pid"
  for _ in $(seq 100); do
    [ "$(property MainPID)" != "$pid" ] && [ "$(property ActiveState)" = active ] && break
    sleep 0.1
  done
  equals "$(property NRestarts)" 1 &&
    equals "$(as_client trevalo-cli call SizeOfAudio)" '{"return_data":0}'
}
check "a crash (SIGSEGV) is restarted and the next call answered" restarted

# --- faults and floods: each check prints its figure (docs/reliability.md keeps them)
figure() { echo "system test: figure: $*" >&2; }
now() { date +%s.%N; }
since() { awk -v from="$1" -v to="$(now)" 'BEGIN { printf "%.1f", to - from }'; }
# Calls SizeOfAudio until one is answered, for at most $1 seconds; true when one was.
answered_within() {
  local until
  until=$(awk -v now="$(now)" -v limit="$1" 'BEGIN { printf "%.0f", now + limit }')
  while [ "$(date +%s)" -le "$until" ]; do
    # Any catalogue: the flood's clients may have sent their section to the new process.
    as_client trevalo-cli --timeout 5 call SizeOfAudio 2>/dev/null | grep -q '^{"return_data":[0-9]*}$' && return 0
    sleep 0.2
  done
  return 1
}
# Waits until the unit runs a main process other than $1; true when it does within 30 s.
runs_anew() {
  local _
  for _ in $(seq 300); do
    [ "$(property MainPID)" != "$1" ] && [ "$(property MainPID)" != 0 ] &&
      [ "$(property ActiveState)" = active ] && return 0
    sleep 0.1
  done
  return 1
}
# What systemd itself logged of the unit (not the service's own lines).
unit_journal() { inside journalctl --no-pager -q _PID=1 "UNIT=$unit" -o cat "$@"; }
# True when the unit's journal has a line matching $1 (read whole: with pipefail, a reader that
# stops at the first match fails the writer).
unit_journal_has() { [ "$(unit_journal | grep -c -E "$1")" -gt 0 ]; }
# What systemd said of the unit in the last minute, for a check that failed.
systemd_said() {
  inside journalctl --no-pager -q -u "$unit" _PID=1 --since=-60s -o short-monotonic | tail -15 | sed 's/^/  systemd: /' >&2
  return 1
}

watchdog_restarts() {
  local stopped started
  stopped=$(property MainPID)
  started=$(now)
  inside sh -c "kill -STOP $stopped"
  runs_anew "$stopped" && answered_within 20 || return 1
  figure "SIGSTOP to the next answer: $(since "$started") s (WatchdogSec=$(property WatchdogUSec), TimeoutAbortSec=$(property TimeoutAbortUSec))"
  inside journalctl --sync
  unit_journal_has 'Watchdog timeout' || {
    echo "  no 'Watchdog timeout' line in the unit's journal" >&2
    return 1
  }
  unit_journal | grep -E "Main process exited.*(ABRT|KILL)" | tail -1 | sed 's/^/  journal: /' >&2
}
check "a SIGSTOPped service is killed by the watchdog and answers again" watchdog_restarts

bus_restart_ends_all() {
  local old started watching following status_watch status_follow
  old=$(property MainPID)
  as_client trevalo-cli watch >"$work/watch.out" 2>"$work/watch.err" &
  watching=$!
  as_client trevalo-cli pmt --follow /srv/trevalo/"$(basename "$stream")" >"$work/follow.out" 2>"$work/follow.err" &
  following=$!
  for _ in $(seq 100); do
    [ -s "$work/watch.out" ] && [ -s "$work/follow.out" ] && break
    sleep 0.1
  done
  started=$(now)
  inside systemctl restart dbus
  status_watch=0 status_follow=0
  wait "$watching" || status_watch=$?
  wait "$following" || status_follow=$?
  figure "systemctl restart dbus: watch and pmt --follow ended after $(since "$started") s"
  answered_within 20 || return 1
  figure "systemctl restart dbus to the next answer: $(since "$started") s"
  inside journalctl --sync
  # Each ends with one error line (watch has said what it watches before).
  equals "$status_watch $(grep -c '^trevalo-cli: ' "$work/watch.err") $status_follow $(grep -c '^trevalo-cli: ' "$work/follow.err")" "2 1 2 1" &&
    [ "$(inside journalctl --no-pager -q "_PID=$old" -o cat | grep -c 'lost the bus')" -gt 0 ] &&
    [ "$(property MainPID)" != "$old" ]
}
check "systemctl restart dbus: the service leaves with its error line and is back; watch and pmt --follow end with status 2" \
  bus_restart_ends_all

flood=/srv/trevalo/bus_flood
flood_section=/srv/trevalo/$(basename "$largest_section")
# The most the service held of each while eight clients flooded it, against the unit's bounds:
# threads and open files from /proc, memory as the cgroup's MemoryCurrent where the container
# accounts it, else the process's VmRSS (more than it is charged: shared library pages included).
bounded_under_flood() {
  local pid sending tasks=0 files=0 memory=0 value
  pid=$(property MainPID)
  as_client "$flood" --section "$flood_section" --clients 8 --seconds 6 >"$work/bounds-flood.out" 2>&1 &
  sending=$!
  while kill -0 "$sending" 2>/dev/null; do
    value=$(inside sh -c "ls /proc/$pid/task | wc -l; ls /proc/$pid/fd | wc -l
      awk '\$1 == \"VmRSS:\" { print \$2 * 1024 }' /proc/$pid/status" 2>/dev/null | tr '\n' ' ')
    set -- $value "$(property MemoryCurrent)"
    [ "${1:-0}" -gt "$tasks" ] && tasks=$1
    [ "${2:-0}" -gt "$files" ] && files=$2
    case "$4" in [0-9]*) value=$4 ;; *) value=${3:-0} ;; esac
    [ "$value" -gt "$memory" ] && memory=$value
    sleep 0.2
  done
  wait "$sending" || systemd_said || return 1
  figure "$(cat "$work/bounds-flood.out")"
  figure "under the flood: $tasks threads (TasksMax $(property TasksMax)), $files open files (LimitNOFILE $(property LimitNOFILE)), $((memory / 1024)) KiB (MemoryCurrent $(property MemoryCurrent), MemoryHigh $(($(property MemoryHigh) / 1024)) KiB, MemoryMax $(($(property MemoryMax) / 1024)) KiB)"
  [ "$tasks" -gt 0 ] && [ $((2 * tasks)) -le "$(property TasksMax)" ] &&
    [ $((2 * files)) -le "$(property LimitNOFILE)" ] && [ $((2 * memory)) -le "$(property MemoryHigh)" ]
}
check "under a flood of eight clients the service holds at most half of the unit's tasks, open files and memory" \
  bounded_under_flood

killed_under_load() {
  local killed started sending outcome
  as_client "$flood" --section "$flood_section" --clients 8 --seconds 8 --timeout-ms 5000 \
    >"$work/kill-flood.out" 2>&1 &
  sending=$!
  sleep 2
  killed=$(property MainPID)
  started=$(now)
  inside sh -c "kill -KILL $killed"
  answered_within 20 || systemd_said || return 1
  figure "kill -9 under eight clients to the next answer: $(since "$started") s"
  outcome=0
  wait "$sending" || outcome=$?
  figure "$(cat "$work/kill-flood.out")"
  [ "$outcome" -eq 0 ] || systemd_said
}
check "kill -9 while eight clients send: every call answered or refused within its time-out, the next call answered" \
  killed_under_load

crash_loop() {
  local crashes=0 failed_at pid
  inside systemctl reset-failed "$unit"
  while [ "$crashes" -lt 6 ]; do
    pid=$(property MainPID)
    [ "$pid" != 0 ] || systemd_said || return 1
    inside sh -c "kill -SEGV $pid"
    crashes=$((crashes + 1))
    [ "$crashes" -lt 6 ] && { runs_anew "$pid" || return 1; }
  done
  for _ in $(seq 100); do [ "$(property ActiveState)" = failed ] && break; sleep 0.1; done
  failed_at=$(now)
  # The unit's Result stays that of the last crash ('signal'); the journal names the start limit.
  equals "$(property ActiveState)" failed || return 1
  inside journalctl --sync
  unit_journal_has 'Start request repeated too quickly' || return 1
  if as_client trevalo-cli --timeout 5 call SizeOfAudio >/dev/null 2>&1; then
    echo "  a call within the start limit's interval was answered" >&2
    return 1
  fi
  answered_within 60 || systemd_said || return 1
  figure "six SIGSEGVs: start-limit-hit, the first call answered $(since "$failed_at") s after the unit failed (StartLimitIntervalSec=$(property StartLimitIntervalUSec))"
}
check "a crash loop: the start limit stops it, the journal says so, a call after the interval starts it" crash_loop

# The service's lines of one request of the largest captured section, counted in the journal.
lines_per_request() {
  local pid before
  pid=$(property MainPID)
  inside journalctl --sync
  before=$(inside journalctl --no-pager -q "_PID=$pid" -o cat | wc -l)
  as_client "$flood" --section "$flood_section" --requests 1 >/dev/null || return 1
  inside journalctl --sync
  echo $(($(inside journalctl --no-pager -q "_PID=$pid" -o cat | wc -l) - before))
}
# The journal, on its 64 MiB file system, under the fastest flood for longer than the unit's
# rate-limit interval: journald suppresses nothing (it would say so with the next line after the
# interval), and the lines it keeps come whole, request by request.
journal_keeps_the_flood() {
  local lines interval pid flood_started
  lines=$(lines_per_request) || return 1
  # Shown as a time span ("1s"); the unit gives it in whole seconds.
  interval=$(property LogRateLimitIntervalUSec | sed -n 's/^\([0-9]*\)s$/\1/p')
  [ -n "$interval" ] || return 1
  pid=$(property MainPID)
  flood_started=$(now)
  as_client "$flood" --section "$flood_section" --clients 8 --seconds $((interval + 10)) \
    >"$work/journal-flood.out" 2>&1 || return 1
  sleep $((interval + 1))
  as_client "$flood" --section "$flood_section" --requests 1 >/dev/null || return 1
  inside journalctl --sync
  local rate
  rate=$(sed -n 's/.*: \([0-9]*\) answered a second.*/\1/p' "$work/journal-flood.out")
  figure "$(cat "$work/journal-flood.out")"
  figure "journal flood: $lines lines a request, $((rate * lines)) lines a second; LogRateLimitIntervalSec=${interval}s, LogRateLimitBurst=$(property LogRateLimitBurst); journal $(inside df -k --output=size /var/log/journal | tail -1) KiB"
  # journald's own line, from the next interval on: "Suppressed N messages from UNIT".
  if inside journalctl --no-pager -q -o cat --since "@${flood_started%.*}" | grep "Suppressed .* $unit" >&2; then
    return 1
  fi
  inside journalctl --no-pager -q "_PID=$pid" -o cat | awk -v lines="$lines" '
    /IfMessageReceived!!/ { if (!started) started = 1; requests++ }
    started { held++; if (/ret_data = /) whole = held }
    END {
      printf "  journal: %d requests kept whole, %d lines\n", requests, whole > "/dev/stderr"
      exit !(requests > 0 && whole == requests * lines)
    }'
}
check "the journal on a 64 MiB file system keeps every line of a flood at the highest rate, none suppressed" \
  journal_keeps_the_flood

stopped_in_order() {
  local last
  last=$(property MainPID)
  inside systemctl stop "$unit" &&
    equals "$(property ActiveState) $(property ExecMainCode) $(property ExecMainStatus)" "inactive 1 0" &&
    inside journalctl --no-pager -q "_PID=$last" -o cat | grep -q 'OnTerminate'
}
check "systemctl stop: the orderly lines and status 0" stopped_in_order

# A follower of a recording may start the service with its first request; a systemctl stop
# under it then stays stopped: it waits for the name without asking for it.
stop_stays_under_a_follower() {
  local follower stayed
  follower=$(as_client sh -c "trevalo-cli pmt --follow /srv/trevalo/$(basename "$stream") \
    >/tmp/follower.out 2>/tmp/follower.err & echo \$!")
  for _ in $(seq 300); do inside grep -q 'catalogue rebuilt' /tmp/follower.out && break; sleep 0.1; done
  inside systemctl stop "$unit"
  for _ in $(seq 300); do inside grep -q 'waiting for' /tmp/follower.err && break; sleep 0.1; done
  sleep 3 # several of the follower's turns
  stayed=$(property ActiveState)
  inside kill "$follower"
  equals "$stayed $(inside grep -c 'waiting for' /tmp/follower.err)" "inactive 1"
}
check "systemctl stop stays stopped under a running pmt --follow" stop_stays_under_a_follower

# Purge a running service; then nothing of the packages is left, and installing again works.
as_nobody busctl --system introspect "$bus_name" "$object" >/dev/null
pid=$(property MainPID)
files=$(inside sh -c 'dpkg -L trevalo-service trevalo-cli | while read -r f; do [ -d "$f" ] || echo "$f"; done')
purged() {
  inside env DEBIAN_FRONTEND=noninteractive apt-get purge -y -q trevalo-service trevalo-cli >>"$work/apt.log" 2>&1 &&
    ! inside test -e "/proc/$pid" &&
    equals "$(inside sh -c 'while read -r f; do [ -e "$f" ] || [ -L "$f" ] && echo "$f"; done' <<<"$files
/etc/systemd/system/dbus-$bus_name.service
/etc/systemd/system/multi-user.target.wants/$unit")" ""
}
check "apt purge stops the service and leaves none of the packages' files" purged
reinstalled() {
  install_packages && first_call_activates
}
check "installing again after the purge: the first call starts the service" reinstalled

echo "system-test: $passed passed, $failed failed" >&2
[ "$failed" -eq 0 ]
