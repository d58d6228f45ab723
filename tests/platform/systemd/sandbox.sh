#!/bin/bash
# A real systemd for the service tests: systemd-nspawn boots this machine's own root file
# system read-only (throw-away /etc, /var, /run, /tmp) to basic.target, so only journald and
# dbus run; the host's /etc/systemd is never touched. Needs root and systemd-container
# (scripts/setup.sh installs it).
#
#   sandbox.sh boot STATE_DIR [NSPAWN_ARGS...]   waits for the manager; prints "leader=PID"
#                                                (the host pid of the sandbox's systemd); with
#                                                RDX_SANDBOX_OWNER=PID it is torn down when
#                                                that process ends
#   sandbox.sh teardown STATE_DIR                powers it off (SIGTERM, then SIGKILL) and
#                                                removes STATE_DIR
set -uo pipefail
die() { echo "$*" >&2; exit 1; }
command=${1:-}; state=${2:-}
[ -n "$state" ] || die "usage: sandbox.sh boot|teardown STATE_DIR [NSPAWN_ARGS...]"
shift 2
hostroot=$state/hostroot

wait_gone() {  # PID TENTHS
  local i
  for ((i = 0; i < $2; i++)); do kill -0 "$1" 2>/dev/null || return 0; sleep 0.1; done
  return 1
}

case $command in
boot)
  [ "$(id -u)" = 0 ] || die "needs root (systemd-nspawn)"
  command -v systemd-nspawn >/dev/null || die "systemd-nspawn is missing (package systemd-container)"
  command -v busctl >/dev/null || die "busctl is missing (package systemd)"
  [ -x /lib/systemd/systemd ] || die "/lib/systemd/systemd is missing (package systemd)"
  [ -e /usr/share/dbus-1/system.conf ] || die "the system bus is missing (package dbus)"
  mkdir -p "$hostroot" || die "cannot create $hostroot"
  # nspawn refuses -D / and a recursive bind would drag in the host's /dev: bind / alone.
  mountpoint -q "$hostroot" || mount --bind / "$hostroot" || die "cannot bind / to $hostroot"
  machine=$(basename "$state")
  # --register=no and --keep-unit: no systemd-machined and no host systemd to ask for a scope.
  setsid systemd-nspawn -D "$hostroot" --register=no --keep-unit --private-network \
      --link-journal=no --resolv-conf=off --timezone=off --console=read-only \
      --machine="$machine" --volatile=state --overlay=+/etc::/etc "$@" \
      --boot systemd.unit=basic.target </dev/null >"$state/nspawn.log" 2>&1 &
  nspawn=$!
  echo "$nspawn" >"$state/nspawn.pid"
  leader=
  for ((i = 0; i < ${RDX_SANDBOX_BOOT_TENTHS:-300}; i++)); do
    kill -0 "$nspawn" 2>/dev/null || { tail -5 "$state/nspawn.log" >&2; die "systemd-nspawn exited"; }
    if [ -z "$leader" ]; then
      for c in $(cat "/proc/$nspawn/task/$nspawn/children" 2>/dev/null); do
        [ "$(cat "/proc/$c/comm" 2>/dev/null)" = systemd ] && leader=$c
      done
    fi
    if [ -n "$leader" ]; then
      s=$(busctl --address="unix:path=/proc/$leader/root/run/dbus/system_bus_socket" \
          get-property org.freedesktop.systemd1 /org/freedesktop/systemd1 \
          org.freedesktop.systemd1.Manager SystemState 2>/dev/null)
      case $s in *running*|*degraded*)
        echo "$leader" >"$state/leader.pid"
        # A test program that dies without tearing down takes its sandbox with it.
        if [ -n "${RDX_SANDBOX_OWNER:-}" ]; then
          setsid bash -c 'while kill -0 "$1" 2>/dev/null && [ -d "$3" ]; do sleep 1; done
                          "$2" teardown "$3"' watcher "$RDX_SANDBOX_OWNER" "$0" "$state" \
            </dev/null >/dev/null 2>&1 &
        fi
        echo "leader=$leader"; exit 0 ;;
      esac
    fi
    sleep 0.1
  done
  tail -5 "$state/nspawn.log" >&2
  "$0" teardown "$state"
  die "systemd did not come up in time"
  ;;
teardown)
  if [ -f "$state/nspawn.pid" ]; then
    nspawn=$(cat "$state/nspawn.pid")
    leader=$(cat "$state/leader.pid" 2>/dev/null)
    if kill -0 "$nspawn" 2>/dev/null; then
      # Everything in the sandbox is thrown away, so no clean power-off is needed: killing
      # the init of its PID namespace ends every process in it at once, and nspawn follows.
      if [ -n "$leader" ] && [ "$(cat "/proc/$leader/comm" 2>/dev/null)" = systemd ]; then
        kill -KILL "$leader"
      else
        kill -TERM "$nspawn"  # nspawn turns it into a power-off of the container
      fi
      if ! wait_gone "$nspawn" 150; then
        kill -KILL "$nspawn" 2>/dev/null
        wait_gone "$nspawn" 50
      fi
    fi
  fi
  # The bind of / must be gone before anything is removed: never recurse into it.
  if mountpoint -q "$hostroot" 2>/dev/null; then
    umount "$hostroot" 2>/dev/null || umount -l "$hostroot" || die "cannot unmount $hostroot"
  fi
  mountpoint -q "$hostroot" 2>/dev/null && die "$hostroot is still mounted; $state left in place"
  [ -d "$hostroot" ] && rmdir "$hostroot"
  rm -f "$state/nspawn.log" "$state/nspawn.pid" "$state/leader.pid"
  [ -d "$state" ] && rmdir "$state"
  exit 0
  ;;
*) die "usage: sandbox.sh boot|teardown STATE_DIR [NSPAWN_ARGS...]" ;;
esac
